#include "platform/appkit/NamedReferences.h"

#include <algorithm>
#include <iterator>

namespace vitrel {
namespace {

constexpr std::size_t kLongestName = 31;
constexpr std::size_t kLongestBareName = 6;

constexpr NamedReference kReferences[] = {
#define R(name, first, second, isBare) {name, first, second, isBare},
#include "platform/appkit/NamedReferences.inc"
#undef R
};

static_assert(std::is_sorted(std::begin(kReferences), std::end(kReferences),
    [](const NamedReference& a, const NamedReference& b) { return a.name < b.name; }));
static_assert(std::all_of(std::begin(kReferences), std::end(kReferences),
    [](const NamedReference& one) { return one.name.size() <= (one.isBare ? kLongestBareName : kLongestName); }));

bool isOfName(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

const NamedReference* referenceNamed(std::string_view name)
{
    const auto* found = std::lower_bound(std::begin(kReferences), std::end(kReferences), name,
        [](const NamedReference& one, std::string_view wanted) { return one.name < wanted; });
    return found != std::end(kReferences) && found->name == name ? found : nullptr;
}

} // namespace

std::optional<FoundReference> namedReferenceAt(std::string_view text)
{
    const auto name = text.substr(0,
        static_cast<std::size_t>(
            std::find_if_not(text.begin(), text.begin() + std::min(text.size(), kLongestName + 1), isOfName)
            - text.begin()));
    if (name.size() < text.size() && text[name.size()] == ';') {
        if (const auto* found = referenceNamed(name))
            return FoundReference{*found, name.size() + 1};
    }
    for (auto length = std::min(name.size(), kLongestBareName); length > 0; --length) {
        const auto* found = referenceNamed(name.substr(0, length));
        if (found && found->isBare)
            return FoundReference{*found, length};
    }
    return std::nullopt;
}

} // namespace vitrel
