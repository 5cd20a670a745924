#pragma once

#include "platform/quartzcomposer/graph/PatchRegistry.h"

#include <nlohmann/json.hpp>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vitrel::qc {

struct ReferencePort {
    DescribedPort words; // of a key, or of a pattern of keys that the settings decide
    PortType type = PortType::Virtual; // any, if the settings decide it
    nlohmann::ordered_json usual; // as the text form has it, without settings; null: none, or nothing
};

// A class of patches, or a kind of one that has words of its own.
struct ReferencePatch {
    std::string name; // "QCMath", "QCStructureMember/key", "QCImageFilter/CICrop"
    std::string family, title, sentence;
    bool isMacro = false; // it holds patches
    bool canRest = false; // it has an _enable, at least by some settings
    bool standsIn = false;
    std::vector<ReferencePort> inputs, outputs;
    std::vector<DescribedSetting> settings;
};

struct ReferenceFamily {
    std::string name;
    std::vector<ReferencePatch> patches; // by name
};

// In the order of the pages. What depends on settings is found out by making patches with what is described of these.
std::vector<ReferenceFamily> reference(const PatchRegistry& registry);

// A patch of the class, without settings and with each of those that its words suggest: examples, words, flags, counts.
// `asked` takes the keys of all settings that these look for, if it isn't null.
using Seen = std::function<void(const Patch& patch)>;
void eachExample(
    const PatchRegistry& registry, const std::string& name, std::set<std::string>* asked, const Seen& seen);

// The names of classes and kinds that have words.
std::vector<std::string> describedNames(const PatchRegistry& registry);
// Of one of these.
PatchDescription describedAs(const PatchRegistry& registry, const std::string& name);

// What an author calls it: "any" for one that takes all.
const char* typeInWords(PortType type);
// "seconds, 0 to 1", "at least 0", "0 Sine, 1 Cosine"; empty if there is nothing to say.
std::string measureInWords(const Measure& measure);
// "number", "true or false" ...
const char* kindInWords(DescribedSetting::Kind kind);
// A usual value as one reads it: yes, 0.5, "text", #ffffffff; empty for none.
std::string usualInWords(const nlohmann::ordered_json& usual);

} // namespace vitrel::qc
