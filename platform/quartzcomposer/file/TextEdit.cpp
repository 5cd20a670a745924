// Changes within a text form that leave the rest of it as its author wrote it.
#include "platform/quartzcomposer/file/TextForm.h"
#include "platform/quartzcomposer/file/TextTree.h"
#include "platform/quartzcomposer/file/TextValues.h"

#include <algorithm>
#include <vector>

namespace vitrel::qc {

namespace {

struct Change {
    std::size_t from, to;
    std::string text;
};

std::string quotedKey(const std::string& key)
{
    return nlohmann::ordered_json(jsonText(key)).dump();
}

// The blanks that a line of members of this object begins with; empty for one that stands on one line.
std::string indentation(std::string_view text, const TextNode& object)
{
    if (object.children.empty())
        return "";
    const std::size_t key = object.children.front().keyOffset, line = text.rfind('\n', key);
    if (line == text.npos || line < object.offset)
        return "";
    return std::string(text.substr(line, key - line));
}

} // namespace

std::optional<std::string> textWithValues(std::string_view text, const std::map<std::string, std::string>& values)
{
    const auto tree = textTree(text);
    if (!tree || !tree->is(TextNode::Kind::Object))
        return std::nullopt;
    const TextNode* given = tree->member("values");
    if (given && !given->is(TextNode::Kind::Object))
        return std::nullopt;
    std::vector<Change> changes;
    std::string added;
    const std::string indent = given ? indentation(text, *given) : "";
    const std::string between = indent.empty() ? ", " : "," + indent;
    for (const auto& [key, value] : values) {
        if (const TextNode* old = given ? given->member(key) : nullptr)
            changes.push_back({old->offset, old->end, value});
        else
            added += (added.empty() ? "" : between) + quotedKey(key) + ": " + value;
    }
    if (!added.empty() && given && given->children.empty())
        changes.push_back({given->offset + 1, given->end - 1, " " + added + " "});
    else if (!added.empty() && given)
        changes.push_back({given->children.back().end, given->children.back().end, between + added});
    else if (!added.empty()) {
        const std::string outer = indentation(text, *tree);
        changes.push_back({tree->offset + 1, tree->offset + 1,
            (outer.empty() ? " " : outer) + "\"values\": { " + added + " }" + (tree->children.empty() ? " " : ",")});
    }
    std::sort(changes.begin(), changes.end(), [](const Change& a, const Change& b) { return a.from > b.from; });
    std::string edited(text);
    for (const Change& change : changes)
        edited.replace(change.from, change.to - change.from, change.text);
    return edited;
}

} // namespace vitrel::qc
