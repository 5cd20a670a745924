#include "platform/scriptingbridge/DemoPlayer.h"

#include "platform/appkit/NSImage.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/NSDistributedNotificationCenter.h"
#include "platform/foundation/Queue.h"
#include "platform/foundation/Surroundings.h"

namespace vitrel {

namespace {

std::shared_ptr<const Bytes> coverNamed(const NSBundle& bundle, const std::string& name)
{
    constexpr std::size_t kMost = 4u << 20;
    const auto path = bundle.pathForResourceOfType(name, "png");
    if (!path)
        return nullptr;
    auto bytes = readFile(*path, kMost);
    return bytes ? std::make_shared<const Bytes>(*std::move(bytes)) : nullptr;
}

} // namespace

std::vector<DemoTrack> demoTracks(const NSBundle& bundle)
{
    return {{"Harbour Lights", "The Long Nights", "Almanac", "Ambient", 1999, 225, coverNamed(bundle, "DemoHarbour")},
        {"Paper Mountains", "Ida Holm & the Weather", "Field Notes", "Folk", 2014, 194,
            coverNamed(bundle, "DemoMountains")},
        {"Night Train to Trieste", "Orchestra Sereno", "Timetables", "Jazz", 1968, 301,
            coverNamed(bundle, "DemoTrain")}};
}

class DemoPlayer::Application final : public SBApplication
{
public:
    explicit Application(const Clock& clock)
        : clock_(clock)
    { }
    bool isRunning() const override { return track != nullptr; }
    std::uint32_t playerState() const override { return track ? kPlayerStatePlaying : 0; }
    double playerPosition() const override { return track ? (clock_.now() - start).count() : 0; }
    std::shared_ptr<SBTrack> currentTrack() const override { return track; }

    std::shared_ptr<SBTrack> track;
    Seconds start{0};

private:
    const Clock& clock_;
};

DemoPlayer::DemoPlayer(const PlayerSurroundings& surroundings, std::vector<DemoTrack> tracks)
    : surroundings_(surroundings)
    , tracks_(std::move(tracks))
    , covers_(tracks_.size())
    , application_(std::make_shared<Application>(*surroundings.clock))
{
    if (tracks_.empty())
        return;
    show(0);
    timer_ = surroundings_.runLoop->scheduledTimer(kTrackTime, true, [this] { show((index_ + 1) % tracks_.size()); });
}

DemoPlayer::~DemoPlayer()
{
    send(timer_, &NSTimer::invalidate);
    alive_.reset();
    application_->track.reset();
}

std::shared_ptr<SBApplication> DemoPlayer::applicationWithBundleIdentifier(const std::string& identifier)
{
    identifier_ = identifier;
    return application_;
}

void DemoPlayer::show(std::size_t index)
{
    index_ = index;
    application_->start = surroundings_.clock->now();
    tell();
    decode(index);
    decode((index + 1) % tracks_.size());
}

void DemoPlayer::decode(std::size_t index)
{
    const auto& cover = tracks_[index].cover;
    if (!cover || covers_[index])
        return;
    surroundings_.artworkQueue->async([this, weak = std::weak_ptr(alive_), loop = surroundings_.runLoop, cover, index] {
        loop->post([this, weak, index, image = NSImage::imageWithData(*cover)] {
            if (weak.expired() || covers_[index])
                return;
            covers_[index] = image;
            if (index == index_)
                tell();
        });
    });
}

void DemoPlayer::tell()
{
    const DemoTrack& from = tracks_[index_];
    auto track = std::make_shared<SBTrack>();
    track->name = from.name;
    track->artist = from.artist;
    track->album = from.album;
    track->genre = from.genre;
    track->year = from.year;
    track->time = trackTime(from.length);
    track->trackNumber = static_cast<std::int64_t>(index_) + 1;
    track->trackCount = static_cast<std::int64_t>(tracks_.size());
    if (const auto& image = covers_[index_])
        track->artworks.push_back(std::make_shared<SBArtwork>(from.cover, image));
    else if (from.cover)
        track->artworks.push_back(std::make_shared<SBArtwork>(nullptr));
    application_->track = track;
    if (identifier_.empty() || !surroundings_.notificationCenter)
        return;
    surroundings_.notificationCenter->postNotificationNameObjectUserInfo(identifier_ + ".playerInfo",
        identifier_ + ".player",
        {{"Player State", "Playing"}, {"Artwork Count", std::int64_t(track->artworks.size())}, {"Name", track->name}});
}

} // namespace vitrel
