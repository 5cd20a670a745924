#include "programs/muralis/http/UsedIdentities.h"

#include <cstring>
#include <random>
#include <utility>

namespace vitrel {

std::optional<Identity> makeIdentity(std::string_view text)
{
    constexpr std::string_view form = "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX";
    constexpr std::string_view digits = "0123456789ABCDEF";
    if (text.size() != form.size())
        return std::nullopt;
    Identity identity{};
    std::size_t digit = 0;
    for (std::size_t k = 0; k < form.size(); ++k) {
        if (form[k] == '-') {
            if (text[k] != '-')
                return std::nullopt;
            continue;
        }
        const std::size_t value = digits.find(text[k]);
        if (value == std::string_view::npos)
            return std::nullopt;
        identity[digit / 2] = static_cast<std::uint8_t>(identity[digit / 2] << 4 | value);
        ++digit;
    }
    return identity;
}

// Whoever asks chooses the identity, so the hash must not be one that can be foreseen.
std::size_t UsedIdentities::Hash::operator()(const Identity& identity) const
{
    static const std::uint64_t secret = std::uint64_t(std::random_device()()) << 32 | std::random_device()();
    std::uint64_t halves[2];
    std::memcpy(halves, identity.data(), sizeof halves);
    const auto mixed = [](std::uint64_t x) {
        x = (x ^ x >> 30) * 0xBF58476D1CE4E5B9u;
        x = (x ^ x >> 27) * 0x94D049BB133111EBu;
        return x ^ x >> 31;
    };
    return static_cast<std::size_t>(mixed(mixed(halves[0] ^ secret) ^ halves[1]));
}

bool UsedIdentities::use(const Identity& identity, Seconds now)
{
    if (!begun_ || now - *begun_ >= span_) {
        older_ = begun_ && now - *begun_ < 2 * span_ ? std::exchange(newer_, {}) : Set();
        newer_.clear();
        begun_ = now;
    }
    if (older_.count(identity) != 0 || newer_.size() >= kMostInSet)
        return false;
    return newer_.insert(identity).second;
}

} // namespace vitrel
