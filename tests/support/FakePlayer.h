#pragma once

#include "platform/appkit/ImageCoding.h"
#include "platform/scriptingbridge/SBApplication.h"

#include <memory>
#include <string>

namespace vitrel {

// A player in the test's hand.
class FakePlayer final : public SBApplication
{
public:
    bool isRunning() const override { return running; }
    std::uint32_t playerState() const override { return state; }
    double playerPosition() const override { return position; }
    std::shared_ptr<SBTrack> currentTrack() const override { return track; }

    bool running = false;
    std::uint32_t state = kPlayerStateStopped;
    double position = 0;
    std::shared_ptr<SBTrack> track;
};

class FakePlayers final : public PlayerProvider
{
public:
    std::shared_ptr<SBApplication> applicationWithBundleIdentifier(const std::string& bundleIdentifier) override
    {
        identifier = bundleIdentifier;
        return player;
    }
    Result<std::shared_ptr<ITLibrary>, NSError> libraryWithAPIVersion(const std::string& version) override
    {
        if (libraryFails)
            return NSError{"ITLibrary", 1, "no library of version " + version};
        return PlayerProvider::libraryWithAPIVersion(version);
    }

    std::shared_ptr<FakePlayer> player = std::make_shared<FakePlayer>();
    std::string identifier;
    bool libraryFails = false;
};

inline Bytes pngOf(int width, int height)
{
    Bitmap bitmap{width, height, {}};
    bitmap.pixels.assign(std::size_t(width) * std::size_t(height), 0xFF336699);
    return *pngRepresentation(bitmap);
}

inline std::shared_ptr<SBTrack> trackNamed(const std::string& name)
{
    auto track = std::make_shared<SBTrack>();
    track->name = name;
    return track;
}

} // namespace vitrel
