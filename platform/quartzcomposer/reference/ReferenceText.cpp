#include "platform/quartzcomposer/reference/ReferenceText.h"

#include "base/Text.h"

#include <algorithm>

namespace vitrel::qc {

namespace {

constexpr std::size_t kLeast = 40; // columns; narrower would be a column of words
constexpr std::size_t kWidestKey = 30;

// Characters, not bytes.
std::size_t widthOf(std::string_view text)
{
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

// Words in lines, all but the first after `indent` blanks; a word that is longer than a line has one of its own.
std::string wrapped(std::string_view text, std::size_t indent, std::size_t columns)
{
    std::string out;
    std::size_t column = indent;
    for (std::size_t from = 0; from < text.size();) {
        const std::size_t to = std::min(text.find(' ', from), text.size());
        const std::string_view word = text.substr(from, to - from);
        if (column > indent && column + 1 + widthOf(word) > columns) {
            out += "\n" + std::string(indent, ' ');
            column = indent;
        } else if (column > indent) {
            out += ' ';
            ++column;
        }
        out += word;
        column += widthOf(word);
        from = to + 1;
    }
    return out + "\n";
}

struct Row {
    std::string key, meaning, details;
};

std::string joined(std::initializer_list<std::string> parts)
{
    std::string out;
    for (const std::string& part : parts)
        out += (out.empty() || part.empty() ? "" : "; ") + part;
    return out;
}

std::string table(const char* heading, const std::vector<Row>& rows, std::size_t columns)
{
    if (rows.empty())
        return {};
    std::size_t widest = 0;
    for (const Row& row : rows)
        widest = std::max(widest, widthOf(row.key));
    const std::size_t indent = std::min(widest, kWidestKey) + 4;
    std::string out = std::string("\n") + heading + "\n";
    for (const Row& row : rows) {
        const std::size_t used = 2 + widthOf(row.key);
        out += "  " + row.key;
        out += used + 2 > indent ? "\n" + std::string(indent, ' ') : std::string(indent - used, ' ');
        out += wrapped(row.meaning, indent, columns) + std::string(indent, ' ') + wrapped(row.details, indent, columns);
    }
    return out;
}

std::vector<Row> rowsOf(const std::vector<ReferencePort>& ports)
{
    std::vector<Row> rows;
    for (const ReferencePort& port : ports) {
        const std::string usual = usualInWords(port.usual);
        rows.push_back({port.words.key, port.words.meaning,
            joined({typeInWords(port.type), measureInWords(port.words.measure),
                usual.empty() ? std::string() : "usually " + usual})});
    }
    return rows;
}

std::vector<Row> rowsOf(const std::vector<DescribedSetting>& settings)
{
    std::vector<Row> rows;
    for (const DescribedSetting& setting : settings) {
        std::string words;
        for (const char* word : setting.words)
            words += (words.empty() ? "" : ", ") + std::string(word);
        rows.push_back({setting.key, setting.meaning,
            joined({kindInWords(setting.kind), measureInWords(setting.measure), words,
                *setting.example ? std::string("such as ") + setting.example : std::string()})});
    }
    return rows;
}

} // namespace

std::string referenceList(const std::vector<ReferenceFamily>& families, std::size_t columns)
{
    columns = std::max(columns, kLeast);
    std::string out;
    for (const ReferenceFamily& family : families) {
        std::size_t widest = 0;
        for (const ReferencePatch& patch : family.patches)
            widest = std::max(widest, widthOf(patch.name));
        out += (out.empty() ? "" : "\n") + family.name + "\n";
        for (const ReferencePatch& patch : family.patches) {
            const bool fits = 2 + widest + 2 + widthOf(patch.title) <= columns;
            out += "  " + patch.name
                + (fits ? std::string(widest - widthOf(patch.name) + 2, ' ') : std::string("\n      ")) + patch.title
                + "\n";
        }
    }
    return out;
}

std::string referencePage(const ReferencePatch& patch, std::size_t columns)
{
    columns = std::max(columns, kLeast);
    std::string out = patch.title + "\n" + patch.name + "\n\n" + wrapped(patch.sentence, 0, columns);
    if (patch.isMacro)
        out += wrapped("It holds patches, and publishes ports of theirs.", 0, columns);
    if (patch.standsIn)
        out += wrapped(
            "A third party's patch, stood in for by what its published descriptions and files tell.", 0, columns);
    return out + table("Inputs", rowsOf(patch.inputs), columns) + table("Outputs", rowsOf(patch.outputs), columns)
        + table("Settings", rowsOf(patch.settings), columns);
}

const ReferencePatch* patchNamed(const std::vector<ReferenceFamily>& families, const std::string& name)
{
    const std::string wanted = asciiLowercase(name);
    const ReferencePatch* kind = nullptr;
    int kinds = 0;
    for (const ReferenceFamily& family : families) {
        for (const ReferencePatch& patch : family.patches) {
            const std::string lower = asciiLowercase(patch.name);
            if (lower == wanted)
                return &patch;
            if (lower.ends_with("/" + wanted)) {
                kind = &patch;
                ++kinds;
            }
        }
    }
    return kinds == 1 ? kind : nullptr;
}

} // namespace vitrel::qc
