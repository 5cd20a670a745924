#include "platform/quartzcomposer/graph/InputDescription.h"

#include <algorithm>
#include <cmath>

namespace vitrel::qc {

namespace {

// As deep as a composition may be.
constexpr int kMaxLevels = 64;
constexpr std::size_t kMostLabels = 256;

std::string textAt(const Dictionary& dictionary, std::string_view key)
{
    const auto* text = textMember(dictionary, key);
    return text ? *text : std::string();
}

void takeNumber(double& into, const Dictionary& from, std::string_view key)
{
    const Value* value = member(from, key);
    const auto number = value ? value->number() : std::nullopt;
    if (number && std::isfinite(*number))
        into = *number;
}

// Lines between the groups of a menu are no choices.
void takeLabels(std::vector<std::string>& into, const Dictionary& from, std::string_view key)
{
    const Array* labels = arrayMember(from, key);
    if (!labels)
        return;
    into.clear();
    for (const Value& label : *labels) {
        const auto* text = label.as<std::string>();
        if (text && *text != "-" && into.size() < kMostLabels)
            into.push_back(*text);
    }
}

// What the port at the end of the publications says of itself.
void describe(InputDescription& input, const CompositionFile& file, const PatchRegistry& registry,
    const FileNode& macro, const std::string& key, int level)
{
    const auto published = std::find_if(macro.publishedInputs.begin(), macro.publishedInputs.end(),
        [&](const FilePublishedPort& port) { return port.key == key; });
    if (published == macro.publishedInputs.end() || level > kMaxLevels)
        return;
    const auto node = std::find_if(
        macro.nodes.begin(), macro.nodes.end(), [&](const FileNode& child) { return child.key == published->node; });
    if (node == macro.nodes.end())
        return;
    const auto definition = file.virtualPatches.find(node->className);
    describe(input, file, registry, definition == file.virtualPatches.end() ? *node : definition->second,
        published->port, level + 1);
    const auto description = registry.describe(node->className, node->identifier);
    const DescribedPort* port = description ? description->port(published->port) : nullptr;
    if (node->className == "QCSplitter" && node->state) {
        // Whose own words would be the same for each.
        takeNumber(input.least, *node->state, "inputMin");
        takeNumber(input.most, *node->state, "inputMax");
        takeLabels(input.labels, *node->state, "indexLabels");
    } else if (port) {
        input.meaning = port->meaning;
        input.unit = port->measure.unit;
        input.least = port->measure.least;
        input.most = port->measure.most;
        input.labels.assign(port->measure.labels.begin(), port->measure.labels.end());
    }
}

} // namespace

std::vector<InputDescription> describedInputs(
    const CompositionFile& file, const CompositionGraph& graph, const PatchRegistry& registry)
{
    std::vector<InputDescription> inputs;
    const Dictionary* all = dictionaryMember(file.top(), "portAttributes");
    for (const PublishedPort& port : graph.inputs()) {
        InputDescription input;
        input.key = input.title = port.key;
        input.type = port.type;
        describe(input, file, registry, file.root, port.key, 0);
        if (const Dictionary* own = all ? dictionaryMember(*all, port.key) : nullptr) {
            if (const std::string name = textAt(*own, "name"); !name.empty())
                input.title = name;
            if (const std::string words = textAt(*own, "description"); !words.empty())
                input.meaning = words;
            if (const std::string unit = textAt(*own, "units"); !unit.empty())
                input.unit = unit;
            takeNumber(input.least, *own, "CIAttributeSliderMin");
            takeNumber(input.most, *own, "CIAttributeSliderMax");
            takeLabels(input.labels, *own, "menu");
        }
        if (input.least > input.most)
            std::swap(input.least, input.most);
        inputs.push_back(std::move(input));
    }
    return inputs;
}

} // namespace vitrel::qc
