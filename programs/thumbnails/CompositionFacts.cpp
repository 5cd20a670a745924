#include "programs/thumbnails/CompositionFacts.h"

namespace vitrel {

namespace {

constexpr std::size_t kLongest = 4000, kMostMissing = 50;

std::string textAt(const nlohmann::ordered_json& said, const char* key)
{
    const auto found = said.find(key);
    return found != said.end() && found->is_string() ? found->get<std::string>().substr(0, kLongest) : std::string();
}

} // namespace

CompositionFacts compositionFacts(const nlohmann::ordered_json& said)
{
    CompositionFacts facts;
    if (!said.is_object())
        return facts;
    facts = {textAt(said, "title"), textAt(said, "author"), textAt(said, "description"), {}};
    const auto missing = said.find("missing");
    if (missing == said.end() || !missing->is_array())
        return facts;
    for (const auto& one : *missing) {
        if (one.is_string() && facts.missing.size() < kMostMissing)
            facts.missing.push_back(one.get<std::string>().substr(0, kLongest));
    }
    return facts;
}

} // namespace vitrel
