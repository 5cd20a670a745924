#pragma once

#include "base/Clock.h"

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <unordered_set>

namespace vitrel {

// A UUID's 16 bytes.
using Identity = std::array<std::uint8_t, 16>;

// Only as `uuidString` writes it: 36 characters, upper-case digits, hyphens at their places.
std::optional<Identity> makeIdentity(std::string_view text);

// Identities that were used: none is taken twice within `span`. Two sets, of which the older goes whole when the
// newer is `span` old, so forgetting costs nothing and needs no timer. One thread.
class UsedIdentities
{
public:
    // A set takes so many, some 4 MiB: what a hundred views ask for. With more, all are refused: forgetting some
    // would let those be used again.
    static constexpr std::size_t kMostInSet = std::size_t(1) << 17;

    explicit UsedIdentities(Seconds span)
        : span_(span)
    { }
    // True if it is new; it is used from now on. `now` never runs backwards.
    bool use(const Identity& identity, Seconds now);

private:
    struct Hash {
        std::size_t operator()(const Identity& identity) const;
    };
    using Set = std::unordered_set<Identity, Hash>;

    const Seconds span_;
    std::optional<Seconds> begun_; // of the newer set
    Set newer_, older_;
};

} // namespace vitrel
