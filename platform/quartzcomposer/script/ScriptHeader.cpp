#include "platform/quartzcomposer/script/ScriptHeader.h"

#include "base/Text.h"

#include <algorithm>
#include <unordered_set>

namespace vitrel {

namespace {

// The longest script seen in compositions has some tens of kilobytes.
constexpr std::size_t kLongestScript = 1u << 20;
// A patch with more ports than this is an attempt on memory.
constexpr int kMostPorts = 4096;

bool isWordCharacter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '$'
        || static_cast<unsigned char>(c) >= 0x80;
}

// The type of a word such as "__number"; absent if it is another word.
std::optional<ScriptType> typeOf(std::string_view word)
{
    constexpr struct {
        std::string_view word;
        ScriptType type;
    } types[] = {{"__boolean", ScriptType::Boolean}, {"__index", ScriptType::Index}, {"__number", ScriptType::Number},
        {"__string", ScriptType::String}, {"__color", ScriptType::Color}, {"__image", ScriptType::Image},
        {"__structure", ScriptType::Structure}, {"__virtual", ScriptType::Virtual}};
    for (const auto& type : types)
        if (type.word == word)
            return type.type;
    return std::nullopt;
}

// Where the comment that begins at `at` ends; `at` itself if none begins there. A line comment ends at its line break.
std::size_t afterComment(std::string_view text, std::size_t at)
{
    if (text.substr(at, 2) == "//")
        return std::min(text.find_first_of("\r\n", at), text.size());
    if (text.substr(at, 2) == "/*") {
        const auto end = text.find("*/", at + 2);
        return end == std::string_view::npos ? text.size() : end + 2;
    }
    return at;
}

std::size_t afterBlanks(std::string_view text, std::size_t at)
{
    while (at < text.size()) {
        const std::size_t next = isBlank(text[at]) ? at + 1 : afterComment(text, at);
        if (next == at)
            break;
        at = next;
    }
    return at;
}

std::size_t afterWord(std::string_view text, std::size_t at)
{
    while (at < text.size() && isWordCharacter(text[at]))
        ++at;
    return at;
}

// Where the string or regular expression that begins at `at` ends. An unfinished one ends with its line, a template
// with the text.
std::size_t afterLiteral(std::string_view text, std::size_t at)
{
    const char quote = text[at++];
    bool inClass = false; // of a regular expression: a slash within [] doesn't end it
    for (; at < text.size(); ++at) {
        const char c = text[at];
        if (c == '\\')
            ++at;
        else if ((c == '\n' || c == '\r') && quote != '`')
            return at;
        else if (quote == '/' && (c == '[' || c == ']'))
            inClass = c == '[';
        else if (c == quote && !inClass)
            return at + 1;
    }
    return text.size();
}

// Reads one list in brackets from `at`, which is behind the opening one, to behind the closing one.
std::optional<std::size_t> readList(std::string_view text, std::size_t at, std::vector<ScriptParameter>& list)
{
    for (;;) {
        at = afterBlanks(text, at);
        std::string item; // without comments
        while (at < text.size() && text[at] != ',' && text[at] != ')') {
            if (text[at] == '(' || text[at] == '{' || text[at] == ';' || text[at] == '"' || text[at] == '\'')
                return std::nullopt;
            const auto next = afterComment(text, at);
            if (next == at)
                item += text[at++];
            at = std::max(at, next);
        }
        if (at >= text.size())
            return std::nullopt;

        ScriptParameter parameter;
        const std::size_t wordEnd = afterWord(item, 0);
        std::size_t nameAt = 0;
        if (item.starts_with("__") && wordEnd < item.size()) {
            parameter.type = typeOf(std::string_view(item).substr(0, wordEnd)).value_or(ScriptType::Virtual);
            nameAt = afterBlanks(item, wordEnd);
        }
        std::size_t nameEnd = item.size();
        if (const auto bracket = item.find('[', nameAt); bracket != std::string::npos) {
            const auto count = leadingNumber(std::string_view(item).substr(bracket + 1));
            if (!count || *count < 1 || *count > kMostPorts || item.find(']', bracket) == std::string::npos)
                return std::nullopt;
            parameter.arrayCount = static_cast<int>(*count);
            nameEnd = bracket;
        }
        parameter.key = item.substr(nameAt, nameEnd - nameAt);
        const auto last = std::find_if_not(parameter.key.rbegin(), parameter.key.rend(), isBlank);
        parameter.name.assign(parameter.key.begin(), last.base());
        if (!parameter.name.empty())
            list.push_back(std::move(parameter));
        if (text[at++] == ')')
            return at;
    }
}

struct FoundHeader {
    std::size_t end; // behind the opening brace
    std::vector<ScriptParameter> outputs, inputs;
};

// The header whose word "function" ends at `at`. Each try ends at the next bracket that can't belong to it, so that
// many tries still take linear time.
std::optional<FoundHeader> readHeader(std::string_view text, std::size_t at)
{
    FoundHeader found{};
    at = afterBlanks(text, at);
    if (at >= text.size() || text[at] != '(')
        return std::nullopt;
    auto next = readList(text, at + 1, found.outputs);
    if (!next)
        return std::nullopt;
    at = afterBlanks(text, *next);
    const auto wordEnd = afterWord(text, at);
    if (text.substr(at, wordEnd - at) != "main")
        return std::nullopt;
    at = afterBlanks(text, wordEnd);
    if (at >= text.size() || text[at] != '(')
        return std::nullopt;
    next = readList(text, at + 1, found.inputs);
    if (!next)
        return std::nullopt;
    at = afterBlanks(text, *next);
    if (at >= text.size() || text[at] != '{')
        return std::nullopt;
    found.end = at + 1;
    return found;
}

// Of two parameters of one name the first has the port. False beyond the limit.
bool tidy(std::vector<ScriptParameter>& list, int& ports)
{
    std::unordered_set<std::string> names;
    std::erase_if(list, [&](const auto& parameter) { return !names.insert(parameter.key).second; });
    for (const auto& parameter : list)
        if ((ports += std::max(1, parameter.arrayCount)) > kMostPorts)
            return false;
    return true;
}

// Copies the text word by word, takes the header out and the type words, which also occur in bodies.
class Rewriter
{
public:
    explicit Rewriter(std::string_view text)
        : text_(text)
    {
        header_.source.reserve(text.size());
    }

    std::optional<ScriptHeader> run()
    {
        while (at_ < text_.size())
            step();
        int ports = 0;
        if (!found_ || !tidy(header_.outputs, ports) || !tidy(header_.inputs, ports))
            return std::nullopt;
        return std::move(header_);
    }

private:
    void step()
    {
        const char c = text_[at_];
        if (const auto next = isBlank(c) ? at_ + 1 : afterComment(text_, at_); next != at_) {
            copyTo(next);
        } else if (isWordCharacter(c)) {
            word();
        } else if (c == '"' || c == '\'' || c == '`' || (c == '/' && operandMayFollow())) {
            copyTo(afterLiteral(text_, at_));
            before_ = "\""; // an operand
        } else {
            if (c == '(')
                beforeBracket_ = before_;
            before_ = text_.substr(at_, 1);
            copyTo(at_ + 1);
        }
    }

    void word()
    {
        const auto end = afterWord(text_, at_);
        const auto text = text_.substr(at_, end - at_);
        if (!found_ && text == "function") {
            if (auto header = readHeader(text_, end)) {
                takeHeader(std::move(*header));
                return;
            }
        }
        if (typeOf(text)) {
            const auto next = afterBlanks(text_, end);
            if (next < text_.size() && isWordCharacter(text_[next])) {
                const bool declares = before_ != "," && before_ != "var" && before_ != "let" && before_ != "const"
                    && (before_ != "(" || beforeBracket_ == "for");
                header_.source += declares ? "var" : "";
                at_ = end;
                before_ = "var";
                return;
            }
        }
        before_ = text;
        copyTo(end);
    }

    void takeHeader(FoundHeader found)
    {
        found_ = true;
        header_.source += "function main(";
        for (const auto& input : found.inputs)
            header_.source += (&input == found.inputs.data() ? "" : ", ") + input.name;
        header_.source += ") {";
        header_.source.append(std::size_t(std::count(text_.begin() + std::ptrdiff_t(at_),
                                  text_.begin() + std::ptrdiff_t(found.end), '\n')),
            '\n');
        header_.outputs = std::move(found.outputs);
        header_.inputs = std::move(found.inputs);
        at_ = found.end;
        before_ = "{";
    }

    // Whether a slash here begins a regular expression rather than dividing.
    bool operandMayFollow() const
    {
        if (before_.empty())
            return true;
        const char last = before_.back();
        if (isWordCharacter(last))
            return before_ == "return" || before_ == "typeof" || before_ == "case" || before_ == "in";
        return last != ')' && last != ']' && last != '}' && last != '"';
    }

    void copyTo(std::size_t end)
    {
        header_.source.append(text_.substr(at_, end - at_));
        at_ = end;
    }

    const std::string_view text_;
    std::size_t at_ = 0;
    std::string_view before_, beforeBracket_; // the last word or sign, and the one before the last round bracket
    bool found_ = false;
    ScriptHeader header_;
};

} // namespace

std::optional<ScriptHeader> parseScriptHeader(std::string_view text)
{
    if (text.size() > kLongestScript)
        return std::nullopt;
    return Rewriter(text).run();
}

} // namespace vitrel
