#pragma once

#include "platform/foundation/Value.h"

#include <map>
#include <string>

namespace sdbus {
class Variant;
} // namespace sdbus

namespace vitrel {

// What a player sent, of whatever type, as a value of ours: integers of any width as int64 (saturated), object paths
// as texts, variants within variants unwrapped. Nothing for types that no player uses. Never throws.
Value valueOf(const sdbus::Variant& variant);
Dictionary dictionaryOf(const std::map<std::string, sdbus::Variant>& members);

} // namespace vitrel
