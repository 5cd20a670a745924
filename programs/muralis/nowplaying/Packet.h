#pragma once

#include "base/Date.h"
#include "platform/scriptingbridge/SBApplication.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>

namespace vitrel {

// The track packet as the saver reads it, but for its "Date". `track` may be null; `cover` is the base64 text of an
// image file, null for none. Any thread.
nlohmann::json trackPacket(std::uint32_t playerState, const SBTrack* track, const std::string* cover);
// The packet when no player runs: with nothing in it the saver's record is filled with empty texts and zeros.
nlohmann::json emptyPacket();

// A track's length "h:mm:ss" in minutes and seconds, which is what the saver counts by; other texts as they are.
std::string minutesAndSeconds(const std::string& time);

// As the saver writes dates on this wire: "2026-11-16 21.54.29.123", in UTC. From 1970 on.
std::string packetDate(Date date);

// One line; bytes that aren't UTF-8 are replaced.
std::string jsonText(const nlohmann::json& json);

} // namespace vitrel
