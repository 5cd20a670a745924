#include "programs/configure/SheetTexts.h"

#include "platform/foundation/LocalizedStrings.h"

#include <optional>
#include <string_view>
#include <vector>

namespace vitrel {
namespace {

constexpr std::string_view kPlace = "%@";

// The formats of the controller that have places for values.
constexpr const char* kFormats[] = {"Version %@ (%@)"};

// What stands in the places of `format`; absent if `text` wasn't made of it.
std::optional<std::vector<std::string>> valuesIn(std::string_view text, std::string_view format)
{
    std::vector<std::string> values;
    for (;;) {
        const auto place = format.find(kPlace);
        if (place == format.npos)
            return text == format ? std::optional(values) : std::nullopt;
        if (text.substr(0, place) != format.substr(0, place))
            return std::nullopt;
        text.remove_prefix(place);
        format.remove_prefix(place + kPlace.size());
        const auto mark = format.substr(0, format.find(kPlace));
        // The last value may hold the mark that ends it.
        const bool isLast = mark.size() == format.size();
        const auto end = mark.empty() ? text.size() : isLast ? text.rfind(mark) : text.find(mark);
        if (end == text.npos)
            return std::nullopt;
        values.emplace_back(text.substr(0, end));
        text.remove_prefix(end);
    }
}

std::string filled(std::string format, const std::vector<std::string>& values)
{
    std::size_t at = 0;
    for (const std::string& value : values) {
        at = format.find(kPlace, at);
        if (at == format.npos)
            break;
        format.replace(at, kPlace.size(), value);
        at += value.size();
    }
    return format;
}

} // namespace

QString shownName(const std::string& bytes)
{
    QString text = QString::fromUtf8(bytes.data(), qsizetype(bytes.size()));
    for (QChar& c : text) {
        const auto category = c.category();
        if (category == QChar::Other_Control || category == QChar::Separator_Line
            || category == QChar::Separator_Paragraph || (c >= QChar(0x202A) && c <= QChar(0x202E))
            || (c >= QChar(0x2066) && c <= QChar(0x2069)))
            c = QLatin1Char(' ');
    }
    return text;
}

QString escapedText(const QString& plain)
{
    return QLatin1String("<span>") + plain.toHtmlEscaped() + QLatin1String("</span>");
}

QString SheetTexts::operator()(const std::string& text) const
{
    std::string shown = NSLocalizedString(*surroundings_, text);
    for (const char* format : kFormats) {
        if (const auto values = valuesIn(text, format))
            shown = filled(NSLocalizedString(*surroundings_, format), *values);
    }
    return QString::fromStdString(shown);
}

} // namespace vitrel
