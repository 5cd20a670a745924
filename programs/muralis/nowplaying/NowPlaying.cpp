#include "programs/muralis/nowplaying/NowPlaying.h"

#include "platform/foundation/NSDistributedNotificationCenter.h"
#include "platform/foundation/RunLoop.h"
#include "platform/foundation/Surroundings.h"
#include "programs/muralis/nowplaying/Packet.h"

#include <utility>

namespace vitrel {

namespace {

// Whom the player's changes are posted for; nobody else reads it.
constexpr const char* kIdentifier = "muralis";

} // namespace

class NowPlaying::Observer final : public NSObject
{
public:
    explicit Observer(NowPlaying& owner)
        : owner_(owner)
    { }
    void playerInfo(const Value&) { owner_.update(); }

private:
    NowPlaying& owner_;
};

NowPlaying::NowPlaying(const PlayerSurroundings& surroundings, std::string run)
    : surroundings_(surroundings)
    , run_(std::move(run))
    , observer_(std::make_shared<Observer>(*this))
    , covers_(*surroundings.runLoop, *surroundings.userInitiatedQueue, [this] { update(); })
{
    player_ = surroundings.players->applicationWithBundleIdentifier(kIdentifier);
    surroundings.notificationCenter->addObserverSelectorNameObject(
        observer_, SELECTOR(Observer, playerInfo), std::string(kIdentifier) + ".playerInfo");
    update();
}

NowPlaying::~NowPlaying()
{
    surroundings_.notificationCenter->removeObserver(*observer_);
}

void NowPlaying::setOnArtwork(std::function<void(const std::shared_ptr<const Bytes>&)> onArtwork)
{
    onArtwork_ = std::move(onArtwork);
    if (onArtwork_)
        onArtwork_(artwork_);
}

void NowPlaying::tellArtwork(std::shared_ptr<const Bytes> artwork)
{
    artwork_ = std::move(artwork);
    if (onArtwork_)
        onArtwork_(artwork_);
}

void NowPlaying::update()
{
    if (!send(player_, &SBApplication::isRunning)) {
        coverLimit_.reset();
        tellArtwork(nullptr);
        publish(emptyPacket());
        return;
    }
    const auto track = player_->currentTrack();
    const bool hasArtwork = track && !track->artworks.empty() && track->artworks.front();
    tellArtwork(hasArtwork ? track->artworks.front()->rawData() : nullptr);
    std::shared_ptr<const std::string> text;
    bool isMissing = false;
    if (hasArtwork) {
        const auto cover = artwork_ ? covers_.find(track->artworks.front()) : std::nullopt;
        isMissing = !cover;
        if (cover)
            text = cover->text;
    }
    const bool waits = waitsForCover(isMissing);
    if (!waits || !stateAnswer_) // there is nothing to say meanwhile
        publish(trackPacket(player_->playerState(), track.get(), text.get()));
}

bool NowPlaying::waitsForCover(bool isMissing)
{
    if (!isMissing) {
        coverLimit_.reset();
        return false;
    }
    const Seconds now = surroundings_.clock->now();
    if (!coverLimit_) {
        coverLimit_ = now + kCoverTime;
        surroundings_.runLoop->postAfter(kCoverTime, [this, weak = std::weak_ptr(alive_)] {
            if (!weak.expired() && coverLimit_)
                update();
        });
    }
    return now < *coverLimit_;
}

void NowPlaying::publish(nlohmann::json packet)
{
    if (packet == packet_)
        return;
    packet_ = packet;
    ++count_;
    packet["Date"] = packetDate(surroundings_.clock->date());
    stateAnswer_ = std::make_shared<const std::string>(jsonText({{"ChangeID", run_ + "-" + std::to_string(count_)}}));
    dataAnswer_ = std::make_shared<const std::string>("{\"Data\":" + jsonText(packet) + "}");
}

} // namespace vitrel
