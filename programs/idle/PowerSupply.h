#pragma once

#include <string>

namespace vitrel {

// Whether the machine lives on its battery: it has one of its own, and nothing that is plugged in gives power.
// `folder` holds an entry for each supply, as the kernel's "power_supply" class does. Any thread.
bool isOnBattery(const std::string& folder = "/sys/class/power_supply");

} // namespace vitrel
