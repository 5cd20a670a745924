#pragma once

#include "base/Result.h"
#include "platform/foundation/Value.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace vitrel::qc {

struct FilePublishedPort {
    std::string key, node, port;
    Value value; // nothing if none is stored
};

struct FileConnection {
    std::string sourceNode, sourcePort, destinationNode, destinationPort;
};

// One patch as the file has it. `state` points into the composition's property list.
struct FileNode {
    std::string className, key, identifier;
    const Dictionary* state = nullptr; // null: none
    std::vector<FileNode> nodes;
    std::vector<FileConnection> connections;
    std::vector<FilePublishedPort> publishedInputs, publishedOutputs;
    std::map<std::string, Value> portValues; // stored values by port key
};

// A composition file: a plain tree of patches, ports and connections, nothing resolved. Owns the property list that
// it points into. Immutable once read.
struct CompositionFile {
    Value propertyList;
    FileNode root;
    std::map<std::string, FileNode> virtualPatches; // by identifier, which begins with "/"
    std::map<std::string, std::map<std::string, Value>> virtualDefaults; // their inputParameters
    std::map<std::string, Value> inputParameters;
    std::string path; // of the file, empty for one from memory

    const Dictionary& top() const { return *propertyList.dictionary(); }
};

// What makes a file no composition.
struct CompositionError {
    std::string reason; // one line, for a person
};

using CompositionResult = Result<CompositionFile, CompositionError>;

// Reads a property list of either kind. Lenient inside: what has a wrong type counts as missing, what doesn't fit is
// left out. An error if it is no composition: no property list, no dictionary, no root patch with a class; or if it is
// larger than any composition is. Any thread.
CompositionResult readComposition(ByteView data);
CompositionResult compositionOfPropertyList(const Value& propertyList);

// Patches by class, embedded definitions included, as often as the file holds them.
void countClasses(const CompositionFile& file, std::map<std::string, int>& counts);

} // namespace vitrel::qc
