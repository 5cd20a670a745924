#include "platform/quartzcomposer/file/CompositionFile.h"

#include "platform/foundation/PropertyList.h"

#include <algorithm>

namespace vitrel::qc {

namespace {

// The largest file seen has 4,400 patches on 12 levels and some 10,000 connections. Objects of a property list may be
// shared, so a small file can hold a tree without end.
constexpr std::size_t kMaxNodes = 60'000;
constexpr std::size_t kMaxConnections = 200'000;
constexpr std::size_t kMaxPorts = 300'000;
constexpr int kMaxLevels = 64;
// Names and stored texts that are copied out of the list, in which a long one may stand in many places.
constexpr std::size_t kMaxText = 32u << 20;

std::string textAt(const Dictionary& dictionary, const char* key)
{
    const auto* text = textMember(dictionary, key);
    return text ? *text : std::string();
}

class Reader
{
public:
    // False if the limits are exceeded.
    bool read(const Dictionary& from, FileNode& node, int level)
    {
        if (level > kMaxLevels || ++nodes_ > kMaxNodes)
            return false;
        node.className = text(from, "class");
        node.key = text(from, "key");
        node.identifier = text(from, "identifier");
        node.state = dictionaryMember(from, "state");
        if (!node.state)
            return true;
        for (const char* kind : {"systemInputPortStates", "ivarInputPortStates", "customInputPortStates"}) {
            const Dictionary* ports = dictionaryMember(*node.state, kind);
            if (ports && !readValues(*ports, node.portValues))
                return false;
        }
        if (!readPublished(*node.state, "publishedInputPorts", node.publishedInputs)
            || !readPublished(*node.state, "publishedOutputPorts", node.publishedOutputs) || !readConnections(node))
            return false;
        if (text_ > kMaxText)
            return false;
        if (const Array* children = arrayMember(*node.state, "nodes")) {
            for (const Value& child : *children) {
                if (!child.dictionary())
                    continue;
                node.nodes.emplace_back();
                if (!read(*child.dictionary(), node.nodes.back(), level + 1))
                    return false;
            }
        }
        return true;
    }

private:
    bool readValues(const Dictionary& ports, std::map<std::string, Value>& values)
    {
        for (const auto& [key, port] : ports) {
            if (++ports_ > kMaxPorts)
                return false;
            const Value* value = port.dictionary() ? member(*port.dictionary(), "value") : nullptr;
            const auto* stored = value ? value->as<std::string>() : nullptr;
            text_ += key.size() + (stored ? stored->size() : 0);
            if (text_ > kMaxText)
                return false;
            if (value)
                values.insert_or_assign(key, *value);
        }
        return true;
    }

    bool readPublished(const Dictionary& state, const char* kind, std::vector<FilePublishedPort>& published)
    {
        const Array* entries = arrayMember(state, kind);
        if (!entries)
            return true;
        for (const Value& entry : *entries) {
            if (++ports_ > kMaxPorts || text_ > kMaxText)
                return false;
            if (!entry.dictionary())
                continue;
            const Dictionary* stored = dictionaryMember(*entry.dictionary(), "state");
            const Value* value = stored ? member(*stored, "value") : nullptr;
            const auto* text = value ? value->as<std::string>() : nullptr;
            text_ += text ? text->size() : 0;
            published.push_back({this->text(*entry.dictionary(), "key"), this->text(*entry.dictionary(), "node"),
                this->text(*entry.dictionary(), "port"), value ? *value : Value()});
        }
        return true;
    }

    bool readConnections(FileNode& node)
    {
        const Dictionary* connections = dictionaryMember(*node.state, "connections");
        if (!connections)
            return true;
        // By their numbers: the last one to an input wins.
        std::vector<const Dictionary::value_type*> inOrder;
        for (const auto& entry : *connections)
            inOrder.push_back(&entry);
        std::stable_sort(
            inOrder.begin(), inOrder.end(), [](auto* a, auto* b) { return a->first.size() < b->first.size(); });
        for (const auto* entry : inOrder) {
            if (++connections_ > kMaxConnections || text_ > kMaxText)
                return false;
            const Dictionary* ends = entry->second.dictionary();
            if (ends)
                node.connections.push_back({text(*ends, "sourceNode"), text(*ends, "sourcePort"),
                    text(*ends, "destinationNode"), text(*ends, "destinationPort")});
        }
        return true;
    }

    std::string text(const Dictionary& from, const char* key)
    {
        std::string text = textAt(from, key);
        text_ += text.size();
        return text;
    }

    std::size_t nodes_ = 0, connections_ = 0, ports_ = 0, text_ = 0;
};

void readParameters(const Dictionary& from, std::map<std::string, Value>& into)
{
    if (const Dictionary* parameters = dictionaryMember(from, "inputParameters"))
        into.insert(parameters->begin(), parameters->end());
}

void countNode(const FileNode& node, std::map<std::string, int>& counts)
{
    if (!node.className.empty())
        ++counts[node.className];
    for (const FileNode& child : node.nodes)
        countNode(child, counts);
}

} // namespace

CompositionResult compositionOfPropertyList(const Value& propertyList)
{
    const CompositionError tooLarge{"it has more patches, ports or levels than can be played"};
    CompositionFile file;
    file.propertyList = propertyList;
    if (!propertyList.dictionary())
        return CompositionError{"the top object is no dictionary"};
    const Dictionary* root = dictionaryMember(file.top(), "rootPatch");
    if (!root || textAt(*root, "class").empty())
        return CompositionError{"there is no root patch"};
    Reader reader;
    if (!reader.read(*root, file.root, 0))
        return tooLarge;
    readParameters(file.top(), file.inputParameters);
    if (const Dictionary* definitions = dictionaryMember(file.top(), "virtualPatches")) {
        for (const auto& [identifier, definition] : *definitions) {
            const Dictionary* members = definition.dictionary();
            const Dictionary* patch = members ? dictionaryMember(*members, "rootPatch") : nullptr;
            if (!patch)
                continue;
            if (!reader.read(*patch, file.virtualPatches[identifier], 0))
                return tooLarge;
            readParameters(*members, file.virtualDefaults[identifier]);
        }
    }
    return file;
}

CompositionResult readComposition(ByteView data)
{
    const auto propertyList = propertyListWithData(data);
    if (!propertyList)
        return CompositionError{"it is no property list"};
    return compositionOfPropertyList(*propertyList);
}

void countClasses(const CompositionFile& file, std::map<std::string, int>& counts)
{
    countNode(file.root, counts);
    for (const auto& [identifier, node] : file.virtualPatches)
        countNode(node, counts);
}

} // namespace vitrel::qc
