#pragma once

#include "base/Result.h"
#include "platform/quartzcomposer/file/CompositionFile.h"
#include "platform/quartzcomposer/graph/PatchRegistry.h"

#include <optional>
#include <string>
#include <vector>

namespace vitrel::qc {

// What a picture of a composition shows, before anything has a place. All texts are the file's own, as they are.
struct Diagram {
    struct Port {
        std::string key, label;
        PortType type = PortType::Virtual;
        std::string value; // for people; empty for a usual one
        std::optional<NSColor> color; // the value, where it is one
        std::string published; // the key that it is published under; empty if it isn't
    };
    enum class Kind { Processor, Consumer, Macro, Unknown, Input, Output };
    struct Box {
        Kind kind = Kind::Processor;
        std::string name, title, detail;
        int layer = 0; // of those that draw on one level, from 1; 0: it draws nothing
        int inside = 0; // patches in a folded macro
        std::vector<Port> inputs, outputs;
        std::size_t leftOut = 0; // inputs
    };
    // A macro that is open, or all of the composition.
    struct Frame {
        std::string name, title;
        int layer = 0;
        std::vector<std::size_t> boxes; // their places
        std::vector<Frame> frames;
    };
    struct Edge {
        std::size_t from = 0, to = 0; // boxes
        std::string output, input; // ports
        PortType type = PortType::Virtual;
    };
    Frame root;
    std::vector<Box> boxes;
    std::vector<Edge> edges;
    int folded = 0; // macros
};

// Of a large composition macros stay folded, the inner and larger ones first; `open` names those that don't, by their
// names or paths ("Outer/Inner"). The error is a text for people: a level with more than a picture can show, or an
// `open` that names none.
Result<Diagram, std::string> diagramOf(
    const CompositionFile& file, const PatchRegistry& registry, const std::vector<std::string>& open);

// The words of a port's key: "inputPixelsWide" is "Pixels Wide".
std::string portLabel(const std::string& key);
// A value in few words. Empty for nothing.
std::string valueLabel(const PortValue& value);

} // namespace vitrel::qc
