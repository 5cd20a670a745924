#pragma once

#include "platform/quartzcomposer/file/TextTree.h"
#include "platform/quartzcomposer/graph/Macro.h"
#include "platform/quartzcomposer/graph/PatchRegistry.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vitrel::qc {

// "patch.port", or an array of the two, taken apart.
struct PortReference {
    std::string patch, port;
    // Where the parts begin: of one string, the number of the byte in it; else the offset of an element.
    std::size_t patchAt = 0, portAt = 0;
};
std::optional<PortReference> portReference(const TextNode& node);

// "patch.port > patch.port", or an array of the four, taken apart.
struct ConnectionEnds {
    PortReference from, to;
};
std::optional<ConnectionEnds> connectionEnds(const TextNode& entry);

// A patch of a text form as the player would see it: made by the registry and configured with the text's settings, but
// part of no graph. The text and the registry must outlive it.
struct PatchLooks {
    using Ports = std::map<std::string, PortType>;

    const TextNode* node = nullptr;
    std::string name; // in its macro; empty for the outermost
    std::string className, identifier;
    bool isKnown = false; // its class is there; a virtual one's definition
    bool isForeign = false; // it came out of a file, which may hold what isn't known here
    bool isMacro = false;
    bool draws = false; // or holds what does
    std::unique_ptr<Patch> patch; // null if it isn't known, or virtual
    Dictionary values; // its settings
    std::optional<PatchDescription> description;
    Ports ownInputs; // its class's
    Ports inputs, outputs; // all, and at a macro those that it publishes
    std::vector<PatchLooks> children;

    const PatchLooks* child(const std::string& name) const;
    Settings settings() const;
    std::shared_ptr<const Importing> importing;
    std::string folder;
};

// Patches of a macro from which nothing comes that anybody sees.
std::vector<const PatchLooks*> unseenPatches(const PatchLooks& macro);

// Looks at the patches of one text.
class PatchReader
{
public:
    // `path` is the text's own.
    PatchReader(const TextNode& composition, const PatchRegistry& registry, const std::string& path);
    // The outermost patch of the composition or of a definition of a virtual patch, with all that is in it.
    PatchLooks read(const TextNode& composition);

private:
    PatchLooks readPatch(const TextNode& node, const std::string& name, int level);
    void makePatch(PatchLooks& looks);
    void publish(PatchLooks& looks, const TextNode& node);

    const TextNode& composition_;
    const PatchRegistry& registry_;
    std::string folder_;
    std::shared_ptr<const Importing> importing_;
    std::map<std::string, std::pair<PatchLooks::Ports, PatchLooks::Ports>> virtualPorts_;
    std::map<std::string, bool> virtualDraws_;
};

} // namespace vitrel::qc
