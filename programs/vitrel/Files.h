#pragma once

#include "base/Bytes.h"

#include <optional>
#include <string>
#include <utility>

namespace vitrel {

// Written beside its place and moved there, so that nobody ever sees half a file.
bool writeWhole(const std::string& path, ByteView bytes);

// "1280x720": both from 1 to 8192.
std::optional<std::pair<int, int>> parseSize(const std::string& text);

} // namespace vitrel
