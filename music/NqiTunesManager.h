#pragma once

#include "platform/foundation/NSObject.h"
#include "platform/foundation/Value.h"
#include "platform/scriptingbridge/SBApplication.h"

#include <memory>
#include <string>
#include <vector>

namespace vitrel {

struct Surroundings;

inline constexpr const char* kAppBundleIDiTunes = "com.apple.iTunes";
inline constexpr const char* kAppBundleIDMusic = "com.apple.Music";

// Whom the manager tells. Each event may be left alone.
class NqiTunesObserver
{
public:
    virtual ~NqiTunesObserver() = default;
    // The player plays: a dictionary with "Date" and, if there is one, "TrackData", an SBTrack.
    virtual void trackChanged(const Value& /*info*/) { }
    virtual void playerDidPause() { }
    virtual void playerDidStop() { }
    virtual void clearSongIDWithArtworkCount(const Value& /*count*/) { }
    // The player has gone.
    virtual void itunesDidClose() { }
};

// Watches the music player and tells what happens there. One for all views of a saver, made by the first that takes
// the direct road. Main thread.
class NqiTunesManager : public NSObject, public SBApplicationDelegate
{
public:
    static NqiTunesManager& shared(const Surroundings& surroundings);
    // Makes one and starts it. What is not `shared` is for tests.
    static std::shared_ptr<NqiTunesManager> init(const Surroundings& surroundings);

    // Observers are held, and told in the order of adding; one that was added twice is told twice. Not from inside
    // an event.
    void addObserver(std::shared_ptr<NqiTunesObserver> observer);
    void removeObserver(const NqiTunesObserver& observer);

    bool isRunning() const;
    bool isPlaying() const;
    bool isPaused() const;
    bool isStopped() const;
    float playerPosition() const; // seconds
    // Null if the player doesn't run.
    std::shared_ptr<SBTrack> currentTrack() const;
    std::shared_ptr<SBTrack> currentTrackiTunes() const;
    std::shared_ptr<SBTrack> currentTrackMusic() const;
    // Of the shared instance, without asking whether the player runs.
    static std::shared_ptr<SBTrack> currentTrack(const Surroundings& surroundings);
    static std::shared_ptr<const NSImage> trackArtwork(const Surroundings& surroundings);

    // The image of an artwork; null if it holds none.
    std::shared_ptr<const NSImage> trackToImage(const SBArtwork& artwork) const;
    std::shared_ptr<const NSImage> trackToImageForiTunes(const SBArtwork& artwork) const;
    std::shared_ptr<const NSImage> trackToImageForMusic(const SBArtwork& artwork) const;

    // Which of the two players it is goes by the system's version alone.
    std::string bundleIDiTunesMusic() const;
    bool isAppAvailableiTunes() const;
    bool isAppAvailableMusic() const;
    std::shared_ptr<SBApplication> iTunesApp() const { return _iTunes; }
    std::shared_ptr<SBApplication> musicApp() const { return _iTunes; }
    std::shared_ptr<SBApplication> sbApp() const { return _iTunes; }
    bool isARunningApplication() const;

    void allDistributedNotifications(const Value& notification);
    void updateiTunesInfo();
    void checkIfiTunesDidClose();
    void itunesDidClose();
    void eventDidFailWithError(const std::string& event, const NSError& error) override;

    // Says every tenth of a second whether the player runs. Nothing starts it.
    void logiTunesStatus();

    // Lets go of the player, the observers and the notifications.
    void cleanup();
    void removeObservers();

    const std::shared_ptr<ITLibrary>& lib() const { return lib_; }
    const Dictionary& errors() const { return errors_; }
    const std::vector<std::shared_ptr<NqiTunesObserver>>& observers() const { return observers_; }

private:
    explicit NqiTunesManager(const Surroundings& surroundings);
    void load();
    std::shared_ptr<NqiTunesManager> self();
    bool playerStateIs(std::uint32_t state) const;
    template <class Event> void tell(Event event);
    void askLater(Selector selector, double seconds);

    const Surroundings& surroundings_;
    std::shared_ptr<ITLibrary> lib_;
    Dictionary errors_;
    std::vector<std::shared_ptr<NqiTunesObserver>> observers_;
    std::shared_ptr<SBApplication> _iTunes;
};

} // namespace vitrel
