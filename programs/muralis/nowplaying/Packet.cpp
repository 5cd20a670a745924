#include "programs/muralis/nowplaying/Packet.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace vitrel {

namespace {

// The saver takes "Playing", and by that exact text, for a player that plays.
const char* stateText(std::uint32_t state)
{
    switch (state) {
    case kPlayerStatePlaying:
        return "Playing";
    case kPlayerStatePaused:
        return "Paused";
    case kPlayerStateFastForwarding:
        return "Fast Forwarding";
    case kPlayerStateRewinding:
        return "Rewinding";
    default:
        return "Stopped";
    }
}

} // namespace

nlohmann::json trackPacket(std::uint32_t playerState, const SBTrack* track, const std::string* cover)
{
    nlohmann::json packet{{"Player State", stateText(playerState)}};
    if (!track)
        return packet;
    packet["Name"] = track->name;
    packet["Artist"] = track->artist;
    packet["Album"] = track->album;
    packet["Genre"] = track->genre;
    packet["Composer"] = track->composer;
    packet["Length"] = track->time;
    packet["Time"] = minutesAndSeconds(track->time);
    packet["Year"] = track->year;
    packet["TrackNumber"] = track->trackNumber;
    packet["TrackCount"] = track->trackCount;
    packet["DiscNumber"] = track->discNumber;
    packet["DiscCount"] = track->discCount;
    packet["UserRating"] = track->rating;
    packet["PlayCount"] = track->playedCount;
    if (cover)
        packet["Track Artwork"] = *cover;
    return packet;
}

nlohmann::json emptyPacket()
{
    return trackPacket(kPlayerStateStopped, nullptr, nullptr);
}

std::string minutesAndSeconds(const std::string& time)
{
    int hours = 0, minutes = 0, seconds = 0, end = 0;
    if (std::sscanf(time.c_str(), "%4d:%2d:%2d%n", &hours, &minutes, &seconds, &end) != 3
        || std::size_t(end) != time.size())
        return time;
    char text[32];
    std::snprintf(text, sizeof text, "%d:%02d", hours * 60 + minutes, seconds);
    return text;
}

std::string packetDate(Date date)
{
    using namespace std::chrono;
    const auto all = milliseconds(static_cast<std::int64_t>(std::floor(date.secondsSince1970 * 1000)));
    const auto day = floor<days>(all);
    const year_month_day calendar{sys_days(day)};
    const auto left = static_cast<int>((all - day).count());
    char text[64];
    std::snprintf(text, sizeof text, "%d-%02u-%02u %02d.%02d.%02d.%03d", static_cast<int>(calendar.year()),
        static_cast<unsigned>(calendar.month()), static_cast<unsigned>(calendar.day()), left / 3'600'000,
        left / 60'000 % 60, left / 1000 % 60, left % 1000);
    return text;
}

std::string jsonText(const nlohmann::json& json)
{
    return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

} // namespace vitrel
