#pragma once

#include "base/Clock.h"
#include "platform/foundation/NSObject.h"
#include "platform/scriptingbridge/SBApplication.h"
#include "programs/muralis/nowplaying/Covers.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace vitrel {

struct PlayerSurroundings;

// What the companion has to say: the packet of the track that plays, and an identifier that moves exactly when the
// packet does. The player's position is no part of it. Both stand ready as JSON texts, so that an answer costs nothing.
// Main thread.
class NowPlaying
{
public:
    // So long a new track waits for its cover, at most: else the saver would show the picture of tracks without one for
    // a moment, and fetch the packet twice.
    static constexpr Seconds kCoverTime{0.3};

    // `surroundings` give the loop, the clock, the queue for covers (user-initiated), the notifications and the player.
    // `run` tells this run's identifiers from those of others; letters and digits.
    NowPlaying(const PlayerSurroundings& surroundings, std::string run);
    ~NowPlaying();
    NowPlaying(const NowPlaying&) = delete;
    NowPlaying& operator=(const NowPlaying&) = delete;

    // Who is told of the cover's bytes now and whenever something of the player has changed; null where there is none,
    // or none yet.
    void setOnArtwork(std::function<void(const std::shared_ptr<const Bytes>& artwork)> onArtwork);

    // {"ChangeID":TEXT}. Neither is ever null.
    const std::shared_ptr<const std::string>& stateAnswer() const { return stateAnswer_; }
    // {"Data":PACKET}
    const std::shared_ptr<const std::string>& dataAnswer() const { return dataAnswer_; }

private:
    class Observer;
    void update();
    void tellArtwork(std::shared_ptr<const Bytes> artwork);
    bool waitsForCover(bool isMissing);
    void publish(nlohmann::json packet);

    const PlayerSurroundings& surroundings_;
    const std::string run_;
    std::shared_ptr<SBApplication> player_;
    std::shared_ptr<Observer> observer_;
    Covers covers_;
    std::function<void(const std::shared_ptr<const Bytes>&)> onArtwork_;
    std::shared_ptr<const Bytes> artwork_;
    std::optional<Seconds> coverLimit_; // while a cover is missing
    nlohmann::json packet_; // without its date
    std::uint64_t count_ = 0; // of the states so far
    std::shared_ptr<const std::string> stateAnswer_, dataAnswer_;
    std::shared_ptr<int> alive_ = std::make_shared<int>();
};

} // namespace vitrel
