#pragma once

#include "platform/sound/SoundRing.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace vitrel {

// What a confined process may ask of the one outside.
struct OutsidePermissions {
    bool players = true; // what those on the session bus say
    std::vector<std::string> feedFiles; // addresses of feeds on this machine; those of the web need no permission
    std::uint16_t companionPort = 0; // on the loopback; 0 for none
    bool sound = false; // what this computer plays
    std::string coverFolder; // where the covers of this evening are kept; empty: nowhere
};

// Answers what comes through a connected socket, which it takes over, until the other end goes. Gives an exit code.
// In a process of its own. What is heard goes into the ring; null for none.
int serveFromOutside(
    int socket, const OutsidePermissions& permissions, const std::shared_ptr<SoundRing>& ring = nullptr);

} // namespace vitrel
