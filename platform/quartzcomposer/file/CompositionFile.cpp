#include "platform/quartzcomposer/file/CompositionFile.h"

#include "platform/foundation/PropertyList.h"

#include <algorithm>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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
constexpr std::size_t kMaxFile = 64u << 20;

const Value* find(const Dictionary& dictionary, const char* key)
{
    const auto found = dictionary.find(std::string_view(key));
    return found == dictionary.end() ? nullptr : &found->second;
}

std::string textAt(const Dictionary& dictionary, const char* key)
{
    const Value* value = find(dictionary, key);
    const auto* text = value ? value->as<std::string>() : nullptr;
    return text ? *text : std::string();
}

const Dictionary* dictionaryAt(const Dictionary& dictionary, const char* key)
{
    const Value* value = find(dictionary, key);
    return value ? value->dictionary() : nullptr;
}

const Array* arrayAt(const Dictionary& dictionary, const char* key)
{
    const Value* value = find(dictionary, key);
    return value ? value->array() : nullptr;
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
        node.state = dictionaryAt(from, "state");
        if (!node.state)
            return true;
        for (const char* kind : {"systemInputPortStates", "ivarInputPortStates", "customInputPortStates"}) {
            const Dictionary* ports = dictionaryAt(*node.state, kind);
            if (ports && !readValues(*ports, node.portValues))
                return false;
        }
        if (!readPublished(*node.state, "publishedInputPorts", node.publishedInputs)
            || !readPublished(*node.state, "publishedOutputPorts", node.publishedOutputs) || !readConnections(node))
            return false;
        if (text_ > kMaxText)
            return false;
        if (const Array* children = arrayAt(*node.state, "nodes")) {
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
            const Value* value = port.dictionary() ? find(*port.dictionary(), "value") : nullptr;
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
        const Array* entries = arrayAt(state, kind);
        if (!entries)
            return true;
        for (const Value& entry : *entries) {
            if (++ports_ > kMaxPorts || text_ > kMaxText)
                return false;
            if (!entry.dictionary())
                continue;
            const Dictionary* stored = dictionaryAt(*entry.dictionary(), "state");
            const Value* value = stored ? find(*stored, "value") : nullptr;
            const auto* text = value ? value->as<std::string>() : nullptr;
            text_ += text ? text->size() : 0;
            published.push_back({this->text(*entry.dictionary(), "key"), this->text(*entry.dictionary(), "node"),
                this->text(*entry.dictionary(), "port"), value ? *value : Value()});
        }
        return true;
    }

    bool readConnections(FileNode& node)
    {
        const Dictionary* connections = dictionaryAt(*node.state, "connections");
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

std::optional<CompositionFile> fail(CompositionError* error, const char* reason)
{
    if (error)
        error->reason = reason;
    return std::nullopt;
}

void readParameters(const Dictionary& from, std::map<std::string, Value>& into)
{
    if (const Dictionary* parameters = dictionaryAt(from, "inputParameters"))
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

std::optional<CompositionFile> compositionOfPropertyList(const Value& propertyList, CompositionError* error)
{
    CompositionFile file;
    file.propertyList = propertyList;
    if (!propertyList.dictionary())
        return fail(error, "the top object is no dictionary");
    const Dictionary* root = dictionaryAt(file.top(), "rootPatch");
    if (!root || textAt(*root, "class").empty())
        return fail(error, "there is no root patch");
    Reader reader;
    if (!reader.read(*root, file.root, 0))
        return fail(error, "it has more patches, ports or levels than can be played");
    readParameters(file.top(), file.inputParameters);
    if (const Dictionary* definitions = dictionaryAt(file.top(), "virtualPatches")) {
        for (const auto& [identifier, definition] : *definitions) {
            const Dictionary* members = definition.dictionary();
            const Dictionary* patch = members ? dictionaryAt(*members, "rootPatch") : nullptr;
            if (!patch)
                continue;
            if (!reader.read(*patch, file.virtualPatches[identifier], 0))
                return fail(error, "it has more patches, ports or levels than can be played");
            readParameters(*members, file.virtualDefaults[identifier]);
        }
    }
    return file;
}

std::optional<CompositionFile> readComposition(ByteView data, CompositionError* error)
{
    const auto propertyList = propertyListWithData(data);
    if (!propertyList)
        return fail(error, "it is no property list");
    return compositionOfPropertyList(*propertyList, error);
}

std::optional<Bytes> bytesOfRegularFile(const std::string& path, std::size_t limit)
{
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        return std::nullopt;
    struct stat status {
    };
    std::optional<Bytes> bytes;
    if (fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && static_cast<std::size_t>(status.st_size) <= limit) {
        bytes.emplace(static_cast<std::size_t>(status.st_size));
        std::size_t have = 0;
        while (have < bytes->size()) {
            const ssize_t got = read(fd, bytes->data() + have, bytes->size() - have);
            if (got <= 0)
                break;
            have += static_cast<std::size_t>(got);
        }
        bytes->resize(have);
    }
    close(fd);
    return bytes;
}

std::optional<CompositionFile> readCompositionFile(const std::string& path, CompositionError* error)
{
    const auto bytes = bytesOfRegularFile(path, kMaxFile);
    if (!bytes)
        return fail(error, "it can't be read");
    auto file = readComposition(*bytes, error);
    if (file)
        file->path = path;
    return file;
}

void countClasses(const CompositionFile& file, std::map<std::string, int>& counts)
{
    countNode(file.root, counts);
    for (const auto& [identifier, node] : file.virtualPatches)
        countNode(node, counts);
}

} // namespace vitrel::qc
