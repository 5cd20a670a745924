#pragma once

#include <cstdint>

namespace vitrel {

// A key that went down.
struct NSEvent {
    // The platform's code of the key, whatever the keyboard's layout.
    std::uint16_t keyCode = 0;

    static constexpr std::uint16_t kDelete = 51;
};

} // namespace vitrel
