#include "platform/quartzcomposer/graph/CompositionAbout.h"

#include "platform/quartzcomposer/file/TextValues.h"
#include "platform/quartzcomposer/graph/CompositionGraph.h"

namespace vitrel::qc {

namespace {

constexpr std::size_t kLongestName = 120, kLongestDescription = 600; // characters
constexpr std::size_t kMostMissing = 20;
constexpr std::size_t kMostRead = 1u << 16; // bytes of a text

// Without the tags and entities that some descriptions have: it is shown as plain text.
std::string withoutMarkup(const std::string& text)
{
    std::string out;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char next = at + 1 < text.size() ? text[at + 1] : ' ';
        const bool isTag = text[at] == '<' && (next == '/' || next == '!' || (next >= 'A' && next <= 'z'));
        const auto end = isTag ? text.find('>', at) : text.npos;
        if (end == text.npos) {
            out += text[at];
            continue;
        }
        out += ' ';
        at = end;
    }
    for (const auto& [entity, character] :
        {std::pair("&nbsp;", " "), {"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&#39;", "'"}, {"&amp;", "&"}}) {
        const std::string_view name = entity;
        for (auto at = out.find(name); at != out.npos; at = out.find(name, at + 1))
            out.replace(at, name.size(), character);
    }
    return out;
}

std::string inOneLine(const Dictionary& top, const char* key, std::size_t characters)
{
    const std::string* text = textMember(top, key);
    const std::string plain = text ? shownText(withoutMarkup(text->substr(0, kMostRead)), kMostRead) : "";
    std::string out;
    for (const char c : plain) { // words with one blank between them
        if (c != ' ' || (!out.empty() && out.back() != ' '))
            out += c;
    }
    if (out.ends_with(' '))
        out.pop_back();
    return shownText(out, characters);
}

} // namespace

CompositionAbout aboutComposition(const CompositionFile& file, const PatchRegistry& registry)
{
    const Dictionary& top = file.top();
    CompositionAbout about{inOneLine(top, "name", kLongestName), inOneLine(top, "copyright", kLongestName),
        inOneLine(top, "description", kLongestDescription), {}};
    for (const auto& [name, count] : unsupportedClasses(file, registry)) {
        if (about.missing.size() < kMostMissing)
            about.missing.push_back(shownText(name, kLongestName));
    }
    return about;
}

} // namespace vitrel::qc
