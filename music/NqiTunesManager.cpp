#include "music/NqiTunesManager.h"

#include "platform/appkit/NSImage.h"
#include "platform/foundation/NSDistributedNotificationCenter.h"
#include "platform/foundation/NSLog.h"
#include "platform/foundation/RunLoop.h"
#include "platform/foundation/Surroundings.h"

#include <algorithm>

namespace vitrel {
namespace {

// Single precision, widened.
constexpr double kShortDelay = 0.30000001192092896;
constexpr double kPausedDelay = 1.0;
// The connection to the application is invalid.
constexpr long kConnectionInvalid = -609;

std::shared_ptr<const NSImage> imageOf(const std::shared_ptr<const Bytes>& bytes)
{
    return bytes ? NSImage::imageWithData(*bytes) : nullptr;
}

} // namespace

NqiTunesManager& NqiTunesManager::shared(const Surroundings& surroundings)
{
    return surroundings.shared.of<NqiTunesManager>([&] { return init(surroundings); });
}

std::shared_ptr<NqiTunesManager> NqiTunesManager::init(const Surroundings& surroundings)
{
    std::shared_ptr<NqiTunesManager> manager(new NqiTunesManager(surroundings));
    manager->load();
    return manager;
}

NqiTunesManager::NqiTunesManager(const Surroundings& surroundings)
    : surroundings_(surroundings)
{ }

std::shared_ptr<NqiTunesManager> NqiTunesManager::self()
{
    return std::static_pointer_cast<NqiTunesManager>(shared_from_this());
}

void NqiTunesManager::load()
{
    if (surroundings_.players)
        _iTunes = surroundings_.players->applicationWithBundleIdentifier(bundleIDiTunesMusic());
    send(_iTunes, &SBApplication::setDelegate, self());
    if (surroundings_.notificationCenter)
        surroundings_.notificationCenter->addObserverSelectorNameObject(
            self(), SELECTOR(NqiTunesManager, allDistributedNotifications), bundleIDiTunesMusic() + ".playerInfo");
    if (!surroundings_.players)
        return;
    const auto library = surroundings_.players->libraryWithAPIVersion("1.0");
    if (library)
        lib_ = *library;
    else
        NSLog(surroundings_.log, "Error loading ITLibrary %@", {library.error().description()});
}

void NqiTunesManager::addObserver(std::shared_ptr<NqiTunesObserver> observer)
{
    if (observer)
        observers_.push_back(std::move(observer));
}

void NqiTunesManager::removeObserver(const NqiTunesObserver& observer)
{
    std::erase_if(observers_, [&](const auto& entry) { return entry.get() == &observer; });
}

template <class Event> void NqiTunesManager::tell(Event event)
{
    const auto now = observers_; // an observer that leaves from inside must not pull the list away
    for (const auto& observer : now)
        event(*observer);
}

void NqiTunesManager::askLater(Selector selector, double seconds)
{
    surroundings_.runLoop->performSelectorWithObjectAfterDelay(shared_from_this(), selector, {}, Seconds(seconds));
}

bool NqiTunesManager::isRunning() const
{
    return send(_iTunes, &SBApplication::isRunning);
}

bool NqiTunesManager::playerStateIs(std::uint32_t state) const
{
    return send(_iTunes, &SBApplication::playerState) == state;
}

bool NqiTunesManager::isPlaying() const
{
    return playerStateIs(kPlayerStatePlaying);
}
bool NqiTunesManager::isPaused() const
{
    return playerStateIs(kPlayerStatePaused);
}
bool NqiTunesManager::isStopped() const
{
    return playerStateIs(kPlayerStateStopped);
}

float NqiTunesManager::playerPosition() const
{
    return static_cast<float>(send(_iTunes, &SBApplication::playerPosition));
}

std::shared_ptr<SBTrack> NqiTunesManager::currentTrack() const
{
    return isRunning() ? send(_iTunes, &SBApplication::currentTrack) : nullptr;
}

std::shared_ptr<SBTrack> NqiTunesManager::currentTrackiTunes() const
{
    return isRunning() ? send(iTunesApp(), &SBApplication::currentTrack) : nullptr;
}

std::shared_ptr<SBTrack> NqiTunesManager::currentTrackMusic() const
{
    return isRunning() ? send(musicApp(), &SBApplication::currentTrack) : nullptr;
}

std::shared_ptr<SBTrack> NqiTunesManager::currentTrack(const Surroundings& surroundings)
{
    return send(shared(surroundings).sbApp(), &SBApplication::currentTrack);
}

std::shared_ptr<const NSImage> NqiTunesManager::trackArtwork(const Surroundings& surroundings)
{
    const auto track = currentTrack(surroundings);
    if (!track || track->artworks.empty() || !track->artworks.front())
        return nullptr;
    return shared(surroundings).trackToImage(*track->artworks.front());
}

std::shared_ptr<const NSImage> NqiTunesManager::trackToImage(const SBArtwork& artwork) const
{
    return isAppAvailableMusic() ? trackToImageForMusic(artwork) : trackToImageForiTunes(artwork);
}

std::shared_ptr<const NSImage> NqiTunesManager::trackToImageForiTunes(const SBArtwork& artwork) const
{
    return artwork.image();
}

std::shared_ptr<const NSImage> NqiTunesManager::trackToImageForMusic(const SBArtwork& artwork) const
{
    if (!isAppAvailableMusic())
        return artwork.image();
    const auto data = artwork.data();
    if (!data) {
        NSLog(surroundings_.log, "Exception : %@", {data.error().description()});
        return nullptr;
    }
    if (const auto descriptor = std::dynamic_pointer_cast<NSAppleEventDescriptor>(data->object()))
        return imageOf(descriptor->data());
    return data->image();
}

std::string NqiTunesManager::bundleIDiTunesMusic() const
{
    return isAppAvailableMusic() ? kAppBundleIDMusic : kAppBundleIDiTunes;
}

bool NqiTunesManager::isAppAvailableiTunes() const
{
    return surroundings_.systemVersion < OperatingSystemVersion{10, 15, 0};
}

bool NqiTunesManager::isAppAvailableMusic() const
{
    return !isAppAvailableiTunes();
}

bool NqiTunesManager::isARunningApplication() const
{
    bool runs = false;
    if (!surroundings_.runningApplications)
        return runs;
    for (const std::string& identifier : surroundings_.runningApplications())
        runs = runs || identifier == bundleIDiTunesMusic();
    return runs;
}

void NqiTunesManager::allDistributedNotifications(const Value& value)
{
    const auto notification = std::dynamic_pointer_cast<NSNotification>(value.object());
    // The sender tells whose notification it is, not the name.
    if (!notification || notification->object != bundleIDiTunesMusic() + ".player")
        return;
    const Value* state = member(notification->userInfo, "Player State");
    const Value* count = member(notification->userInfo, "Artwork Count");
    if (state && *state == Value("Paused"))
        askLater(SELECTOR(NqiTunesManager, updateiTunesInfo), kPausedDelay);
    if (!isRunning()) {
        itunesDidClose();
        return;
    }
    if (notification->name == bundleIDiTunesMusic() + ".playerInfo") {
        const Value artworkCount = count ? *count : Value();
        tell([&](NqiTunesObserver& observer) { observer.clearSongIDWithArtworkCount(artworkCount); });
    }
    updateiTunesInfo();
}

void NqiTunesManager::updateiTunesInfo()
{
    if (!isRunning()) {
        itunesDidClose();
        return;
    }
    const auto application = isAppAvailableMusic() ? musicApp() : iTunesApp();
    const std::uint32_t state = application->playerState();
    const Date date = surroundings_.clock->date();
    const auto track = application->currentTrack();
    switch (state) {
    case kPlayerStatePlaying: {
        // A player that quits between the two reads has no track: the event then says only that something changed.
        Dictionary info{{"Date", date}};
        if (track)
            info["TrackData"] = std::shared_ptr<NSObject>(track);
        const Value value(std::move(info));
        tell([&](NqiTunesObserver& observer) { observer.trackChanged(value); });
        break;
    }
    case kPlayerStatePaused:
        askLater(SELECTOR(NqiTunesManager, checkIfiTunesDidClose), kShortDelay);
        tell([](NqiTunesObserver& observer) { observer.playerDidPause(); });
        break;
    case kPlayerStateStopped:
        tell([](NqiTunesObserver& observer) { observer.playerDidStop(); });
        break;
    case kPlayerStateFastForwarding:
    case kPlayerStateRewinding:
        break;
    default:
        askLater(SELECTOR(NqiTunesManager, updateiTunesInfo), kShortDelay);
    }
}

void NqiTunesManager::checkIfiTunesDidClose()
{
    if (!isRunning())
        itunesDidClose();
}

void NqiTunesManager::itunesDidClose()
{
    tell([](NqiTunesObserver& observer) { observer.itunesDidClose(); });
}

void NqiTunesManager::eventDidFailWithError(const std::string&, const NSError& error)
{
    if (error.code == kConnectionInvalid)
        askLater(SELECTOR(NqiTunesManager, itunesDidClose), 0);
}

void NqiTunesManager::logiTunesStatus()
{
    NSLog(surroundings_.log, isRunning() ? "is running" : "is NOT running");
    askLater(SELECTOR(NqiTunesManager, logiTunesStatus), 0.1);
}

void NqiTunesManager::cleanup()
{
    _iTunes.reset();
    observers_.clear();
    removeObservers();
}

void NqiTunesManager::removeObservers()
{
    send(surroundings_.notificationCenter, &NSDistributedNotificationCenter::removeObserver, *this);
}

} // namespace vitrel
