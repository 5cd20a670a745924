// Texts: formats, pieces, comparison.
#include "base/Text.h"
#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "platform/quartzcomposer/patches/TextFormat.h"

#include <unicode/brkiter.h>
#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cmath>
#include <optional>

namespace vitrel::qc {

namespace {

// What a patch may make of texts: larger than any that is shown, smaller than what doubling texts in a loop reaches.
constexpr std::size_t kMaxText = 4u << 20;

std::string bounded(std::string text)
{
    if (text.size() > kMaxText) {
        text.resize(kMaxText);
        return repairedUtf8(text);
    }
    return text;
}

icu::UnicodeString unicode(const std::string& text)
{
    return icu::UnicodeString::fromUTF8(text);
}

std::string utf8(const icu::UnicodeString& text)
{
    std::string out;
    text.toUTF8String(out);
    return out;
}

// Every match replaced. Absent if the pattern fails, takes too long or the text grows beyond what a port holds.
std::optional<std::string> replacedAll(
    icu::RegexMatcher& matcher, const std::string& text, const icu::UnicodeString& replacement)
{
    UErrorCode status = U_ZERO_ERROR;
    const icu::UnicodeString subject = unicode(text);
    matcher.setTimeLimit(20, status); // steps of the engine, some milliseconds each
    matcher.reset(subject);
    icu::UnicodeString out;
    while (matcher.find(status) && U_SUCCESS(status)) {
        matcher.appendReplacement(out, replacement, status);
        if (U_FAILURE(status) || out.length() > static_cast<int>(kMaxText))
            return std::nullopt;
    }
    matcher.appendTail(out);
    return U_FAILURE(status) ? std::nullopt : std::optional(bounded(utf8(out)));
}

class PrinterPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"String Printer", "Prints its arguments into a format.",
            {{"argument_*", "What stands at the mark of this number, from 1 on"}, {"outputString", "The text"}},
            {{"format", DescribedSetting::Text,
                "The text, with a mark for each argument: %@ as text, %d whole, %.2f with decimals, %x in hexadecimal; "
                "%% is "
                "a per cent sign",
                {}, {}, R"("%@ of %d")"}}};
    }

private:
    Output<std::string> result{*this, "outputString"};

    void configure(const Settings& settings) override
    {
        format_ = settings.text("format");
        for (std::size_t k = 1; k <= countDirectives(format_); ++k)
            arguments_.push_back(&addInput("argument_" + std::to_string(k), PortType::Virtual, {}));
    }
    void evaluate(Evaluation&) override
    {
        std::vector<PortValue> values;
        for (const InputPort* port : arguments_)
            values.push_back(port->value());
        result.set(bounded(formatted(format_, values)));
    }
    std::string format_;
    std::vector<InputPort*> arguments_;
};

// The other way: reads what stands at the directives of the format.
class ScannerPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"String Scanner", "Reads a text by a format.",
            {{"inputString", "The text"}, {"argument_*", "What stands at the mark of this number, from 1 on"}},
            {{"format", DescribedSetting::Text,
                "What the text looks like, with a mark for each value: %@ a text up to the next character, %d and %f "
                "numbers",
                {}, {}, R"("%@: %d km")"}}};
    }

private:
    Input<std::string> text{*this, "inputString"};

    void configure(const Settings& settings) override
    {
        format_ = settings.text("format");
        for (std::size_t k = 1; k <= countDirectives(format_); ++k)
            arguments_.push_back(&addOutput("argument_" + std::to_string(k), PortType::Virtual));
    }
    void evaluate(Evaluation&) override
    {
        const auto values = scanned(format_, text());
        for (std::size_t k = 0; k < arguments_.size(); ++k)
            arguments_[k]->set(k < values.size() ? values[k] : PortValue());
    }
    std::string format_;
    std::vector<OutputPort*> arguments_;
};

class NumberFormatterPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Number Formatter", "Writes a number by a pattern.",
            {{"inputNumber", "The number"}, {"outputString", "The number as text"}},
            {{"format", DescribedSetting::Text,
                 "The pattern: 0 a figure that is always there, # one that may be missing, a comma groups; without it "
                 "as "
                 "short as it can be",
                 {}, {}, R"("#,##0.00")"},
                {"style", DescribedSetting::Text, "How it is written without a pattern", {},
                    {"Decimal", "Currency", "Percent", "Scientific", "Spell Out"}}}};
    }

private:
    Input<double> number{*this, "inputNumber"};
    Output<std::string> result{*this, "outputString"};

    void configure(const Settings& settings) override
    {
        format_ = NumberFormat(settings.text("format"), settings.text("style"));
    }
    void evaluate(Evaluation&) override { result.set(format_.format(number())); }
    NumberFormat format_;
};

class DateFormatterPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Date Formatter", "Writes a date or a time of day, in local time.",
            {{"inputTime", "Seconds since the beginning of 2001, UTC", kSeconds}, {"outputString", "The date as text"}},
            {{"format", DescribedSetting::Text, "The pattern: yyyy-MM-dd HH:mm:ss and the like, or %Y-%m-%d %H:%M", {},
                {}, R"("EEEE, d MMMM")"}}};
    }

private:
    Input<double> seconds{*this, "inputTime"};
    Output<std::string> result{*this, "outputString"};

    void configure(const Settings& settings) override { format_ = DateFormat(settings.text("format")); }
    void evaluate(Evaluation&) override { result.set(format_.format(Date::fromReferenceDate(seconds()))); }
    DateFormat format_;
};

class ComparePatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"String Compare", "Compares two texts.",
            {{"inputString1", "The first"}, {"inputString2", "The second"},
                {"outputResult", "Which comes first", menu({"Equal", "The First", "The Second"})}}};
    }

private:
    Input<std::string> first{*this, "inputString1"}, second{*this, "inputString2"};
    Output<std::uint32_t> result{*this, "outputResult"};
    void evaluate(Evaluation&) override
    {
        const int order = first().compare(second());
        result.set(order == 0 ? 0 : order < 0 ? 1 : 2);
    }
};

class LengthPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"String Length", "How long a text is.",
            {{"inputString", "The text"}, {"outputLength", "Its UTF-16 units: most letters are one"}}};
    }

private:
    Input<std::string> text{*this, "inputString"};
    Output<std::uint32_t> length{*this, "outputLength"};
    void evaluate(Evaluation&) override { length.set(static_cast<std::uint32_t>(unicode(text()).length())); }
};

class TruncatePatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"String Truncate", "Cuts a text to a number of characters or words.",
            {{"inputString", "The text"}, {"inputToken", "What is set where something is gone, such as an ellipsis"},
                {"inputDirection", "Where it is cut", menu({"At the End", "In the Middle", "At the Start"})},
                {"inputMode", "What is counted", menu({"Characters", "Words"})}, {"inputMax", "How many are left"},
                {"outputString", "What is left"}}};
    }

private:
    Input<std::string> text{*this, "inputString"}, token{*this, "inputToken"};
    Input<std::uint32_t> direction{*this, "inputDirection"}, mode{*this, "inputMode"}, most{*this, "inputMax", 5};
    Output<std::string> result{*this, "outputString"};

    void evaluate(Evaluation&) override
    {
        UErrorCode status = U_ZERO_ERROR;
        const std::unique_ptr<icu::BreakIterator> breaks(mode() == 1
                ? icu::BreakIterator::createWordInstance(icu::Locale::getRoot(), status)
                : icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
        const icu::UnicodeString whole = unicode(text());
        if (U_FAILURE(status)) {
            result.set(text());
            return;
        }
        breaks->setText(whole);
        // Borders behind each character, or each word with the blanks before it.
        std::vector<int> ends{0};
        for (int at = breaks->next(); at != icu::BreakIterator::DONE; at = breaks->next()) {
            if (mode() != 1 || breaks->getRuleStatus() != UBRK_WORD_NONE)
                ends.push_back(at);
        }
        const std::size_t pieces = ends.size() - 1, keep = most();
        if (pieces <= keep) {
            result.set(text());
            return;
        }
        const std::size_t head = direction() == 0 ? keep : direction() == 1 ? keep - keep / 2 : 0, tail = keep - head;
        const icu::UnicodeString start = whole.tempSubStringBetween(0, ends[head]),
                                 end = tail ? whole.tempSubString(ends[pieces - tail]) : icu::UnicodeString();
        result.set(bounded(utf8(start) + token() + utf8(end)));
    }
};

class ComponentsPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"String Components", "Cuts a text at each separator.",
            {{"inputString", "The text"},
                {"inputSeparator", "What stands between the pieces; without it the text stays whole"},
                {"outputComponents", "The pieces, a list of texts"}}};
    }

private:
    Input<std::string> text{*this, "inputString"}, separator{*this, "inputSeparator", "."};
    Output<StructureRef> components{*this, "outputComponents"};
    void evaluate(Evaluation&) override
    {
        constexpr std::size_t kMost = 100'000;
        auto list = std::make_shared<Structure>();
        std::size_t from = 0;
        while (list->members.size() < kMost) {
            const std::size_t at = separator().empty() ? std::string::npos : text().find(separator(), from);
            list->members.push_back({{}, text().substr(from, at == std::string::npos ? at : at - from)});
            if (at == std::string::npos)
                break;
            from = at + separator().size();
        }
        components.set(list);
    }
};

class GrepPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Grep", "Replaces what a regular expression finds. A broken expression changes nothing.",
            {{"inputString", "The text"}, {"inputPattern", "The regular expression"},
                {"inputReplace", "What stands there instead; $1 is what stood in the first parentheses"},
                {"inputCaseSensitive", "Whether capital letters differ from small ones"},
                {"outputString", "The text with what was replaced"}}};
    }

private:
    Input<std::string> text{*this, "inputString"}, pattern{*this, "inputPattern", "."},
        replacement{*this, "inputReplace"};
    Input<bool> caseSensitive{*this, "inputCaseSensitive"};
    Output<std::string> result{*this, "outputString"};
    void evaluate(Evaluation&) override
    {
        UErrorCode status = U_ZERO_ERROR;
        icu::RegexMatcher matcher(
            unicode(pattern()), caseSensitive() ? 0u : static_cast<std::uint32_t>(UREGEX_CASE_INSENSITIVE), status);
        if (U_FAILURE(status)) {
            result.set(text());
            return;
        }
        result.set(replacedAll(matcher, text(), unicode(replacement())).value_or(text()));
    }
};

class CasePatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"String Case", "Writes a text in capital or in small letters.",
            {{"inputString", "The text"},
                {"inputMode", "Which letters are capitals", menu({"The First of Each Word", "All", "None"})},
                {"outputString", "The text in these letters"}}};
    }

private:
    Input<std::string> text{*this, "inputString"};
    Input<std::uint32_t> mode{*this, "inputMode"};
    Output<std::string> result{*this, "outputString"};
    void evaluate(Evaluation&) override
    {
        icu::UnicodeString changed = unicode(text());
        if (mode() == 0)
            changed.toTitle(nullptr, icu::Locale::getRoot());
        else if (mode() == 1)
            changed.toUpper(icu::Locale::getRoot());
        else
            changed.toLower(icu::Locale::getRoot());
        result.set(bounded(utf8(changed)));
    }
};

class RangePatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"String Range", "A part of a text.",
            {{"inputString", "The text"}, {"inputIndex", "Its first character, from 0 on"},
                {"inputLength", "How many characters, or as many as there are"}, {"outputString", "The part"}}};
    }

private:
    Input<std::string> text{*this, "inputString"};
    Input<std::uint32_t> first{*this, "inputIndex"}, length{*this, "inputLength"};
    Output<std::string> result{*this, "outputString"};
    void evaluate(Evaluation&) override
    {
        const icu::UnicodeString whole = unicode(text());
        const auto from
            = static_cast<int>(std::min<std::uint32_t>(first(), static_cast<std::uint32_t>(whole.length())));
        const auto count
            = static_cast<int>(std::min<std::uint32_t>(length(), static_cast<std::uint32_t>(whole.length() - from)));
        result.set(repairedUtf8(utf8(whole.tempSubString(from, count))));
    }
};

class ReplacePatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"String Search and Replace", "Replaces a text within a text, literally: neither is an expression.",
            {{"inputSourceString", "The text"}, {"inputSearchString", "What is looked for; nothing is never found"},
                {"inputReplaceString", "What stands there instead"},
                {"inputCaseSensitive", "Whether capital letters differ from small ones"},
                {"outputString", "The text with what was replaced"}}};
    }

private:
    Input<std::string> text{*this, "inputSourceString"}, search{*this, "inputSearchString"},
        replacement{*this, "inputReplaceString"};
    Input<bool> caseSensitive{*this, "inputCaseSensitive", true};
    Output<std::string> result{*this, "outputString"};
    void evaluate(Evaluation&) override
    {
        UErrorCode status = U_ZERO_ERROR;
        const std::uint32_t flags = (caseSensitive() ? 0u : std::uint32_t(UREGEX_CASE_INSENSITIVE)) | UREGEX_LITERAL;
        if (search().empty()) {
            result.set(text());
            return;
        }
        icu::RegexMatcher matcher(unicode(search()), flags, status);
        if (U_FAILURE(status)) {
            result.set(text());
            return;
        }
        icu::UnicodeString literal = unicode(replacement());
        literal.findAndReplace("\\", "\\\\").findAndReplace("$", "\\$");
        result.set(replacedAll(matcher, text(), literal).value_or(text()));
    }
};

// HH:MM:SS:FF at 30 frames a second.
class TimecodePatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"String Timecode", "Seconds as hours, minutes, seconds and frames, thirty a second.",
            {{"inputTime", "The seconds", {"seconds", 0, 359999}}, {"outputString", "The time as HH:MM:SS:FF"}}};
    }

private:
    Input<double> seconds{*this, "inputTime"};
    Output<std::string> result{*this, "outputString"};
    void evaluate(Evaluation&) override
    {
        const double whole = std::clamp(seconds(), 0.0, 359999.0);
        const auto total = static_cast<long>(std::floor(whole * 30 + 1e-6));
        const auto two = [](long n) { return (n < 10 ? "0" : "") + std::to_string(n); };
        result.set(
            two(total / 108000) + ":" + two(total / 1800 % 60) + ":" + two(total / 30 % 60) + ":" + two(total % 30));
    }
};

} // namespace

void registerStringsPatches(PatchRegistry& registry)
{
    registry.family("Text");
    registry.add<PrinterPatch>("QCStringFormat");
    registry.add<ScannerPatch>("QCStringFormat/scanner");
    registry.add<NumberFormatterPatch>("QCNumberFormatter");
    registry.add<DateFormatterPatch>("QCDateFormatter");
    registry.add<ComparePatch>("QCStringCompare");
    registry.add<LengthPatch>("QCStringLength");
    registry.add<TruncatePatch>("QCStringTruncate");
    registry.add<ComponentsPatch>("QCStringComponents");
    registry.add<GrepPatch>("QCGrep");
    registry.add<CasePatch>("QCStringCase");
    registry.add<RangePatch>("QCStringRange");
    registry.add<ReplacePatch>("QCStringReplace");
    registry.add<TimecodePatch>("QCStringTimecode");
}

} // namespace vitrel::qc
