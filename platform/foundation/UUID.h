#pragma once

#include <string>

namespace vitrel {

// A fresh random UUID (RFC 4122, version 4) as upper-case text of 36 characters, from the system's generator. Any
// thread.
std::string UUIDString();

} // namespace vitrel
