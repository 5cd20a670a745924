#pragma once

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace vitrel {

// What a composition's file says of itself, and what it would need to play in full. A stranger's words.
struct CompositionFacts {
    std::string title, author, description;
    std::vector<std::string> missing; // classes of patches that aren't there
    friend bool operator==(const CompositionFacts&, const CompositionFacts&) = default;
};

// From what a confined process says; what doesn't fit is left out.
CompositionFacts compositionFacts(const nlohmann::ordered_json& said);

} // namespace vitrel
