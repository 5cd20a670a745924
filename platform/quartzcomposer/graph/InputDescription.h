#pragma once

#include "platform/quartzcomposer/file/CompositionFile.h"
#include "platform/quartzcomposer/graph/CompositionGraph.h"

#include <string>
#include <vector>

namespace vitrel::qc {

// A published input as a person sets it: what the file says of it (its label, limits, menu), else what the port behind
// it says of itself.
struct InputDescription {
    std::string key;
    PortType type = PortType::Virtual;
    std::string title; // the key if nobody says more
    std::string meaning, unit;
    double least = -kEndless, most = kEndless;
    std::vector<std::string> labels; // of an index, from 0 on
};

// Of the outermost patch, in the file's order; `graph` is made of `file`.
std::vector<InputDescription> describedInputs(
    const CompositionFile& file, const CompositionGraph& graph, const PatchRegistry& registry);

} // namespace vitrel::qc
