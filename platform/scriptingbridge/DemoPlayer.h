#pragma once

#include "platform/foundation/RunLoop.h"
#include "platform/scriptingbridge/SBApplication.h"

#include <memory>
#include <string>
#include <vector>

namespace vitrel {

class NSBundle;
struct PlayerSurroundings;

struct DemoTrack {
    std::string name, artist, album, genre;
    std::int64_t year = 0;
    double length = 0; // seconds
    std::shared_ptr<const Bytes> cover; // an image file; null for none
};

// The three tracks of the demonstration, with the covers that lie among the bundle's resources.
std::vector<DemoTrack> demoTracks(const NSBundle& bundle);

// A built-in player that always plays: the tracks in turn, from the first, a new one every twenty seconds. It takes
// the road that a real one takes. Main thread.
class DemoPlayer final : public PlayerProvider
{
public:
    static constexpr Seconds kTrackTime{20};

    // Without tracks it doesn't run. `surroundings` give the run loop, the queue for artwork and the notification
    // center. Each cover is decoded on that queue ahead of its track; the first comes a moment after its track.
    DemoPlayer(const PlayerSurroundings& surroundings, std::vector<DemoTrack> tracks);
    ~DemoPlayer() override;

    std::shared_ptr<SBApplication> applicationWithBundleIdentifier(const std::string& identifier) override;

private:
    class Application;
    void show(std::size_t index);
    void decode(std::size_t index);
    void tell();

    const PlayerSurroundings& surroundings_;
    const std::vector<DemoTrack> tracks_;
    std::vector<std::shared_ptr<const NSImage>> covers_; // as far as they are decoded
    std::size_t index_ = 0;
    std::string identifier_;
    std::shared_ptr<Application> application_;
    std::shared_ptr<NSTimer> timer_;
    std::shared_ptr<int> alive_ = std::make_shared<int>();
};

} // namespace vitrel
