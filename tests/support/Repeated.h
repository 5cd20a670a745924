#pragma once

#include <string>
#include <string_view>

namespace vitrel {

inline std::string repeated(std::string_view text, std::size_t times)
{
    std::string out;
    for (std::size_t k = 0; k < times; ++k)
        out += text;
    return out;
}

} // namespace vitrel
