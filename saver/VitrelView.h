#pragma once

#include "companion/MuralisLink.h"
#include "feedinput/FeedInput.h"
#include "music/NqiTunesManager.h"
#include "music/TrackRecord.h"
#include "platform/foundation/NSURL.h"
#include "platform/foundation/RunLoop.h"
#include "platform/foundation/Value.h"
#include "platform/quartzcomposer/QCView.h"
#include "platform/screensaver/ScreenSaverDefaults.h"
#include "platform/screensaver/ScreenSaverView.h"
#include "preferences/PreferencesWC.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vitrel {

class NSBundle;
struct Surroundings;

// The saver's view, one for each display and each preview. It chooses and loads a composition into a QCView of its
// own and keeps the composition's inputs fed; it draws nothing and has no work per frame. What drives it are its own
// delayed calls and the events of its subsystems. Views share the player's manager and the stored settings and don't
// coordinate. Main thread, but for the three atomic members.
class VitrelView : public ScreenSaverView,
                   public NqiTunesObserver,
                   public FeedInputView,
                   public CompositionChangeReceiver,
                   public NSWindowDelegate,
                   private MuralisLinkOwner
{
public:
    // Makes the view and runs its construction up to the delayed calls; null for a frame that no view can have.
    // `frame` in points, origin at the lower left. `isPreview` goes to the base only. The run loop holds the view
    // from here on, until `cleanup` has run to its end. `surroundings` must outlive it.
    static std::shared_ptr<VitrelView> initWithFrameIsPreview(
        const Surroundings& surroundings, NSRect frame, bool isPreview);
    ~VitrelView() override;

    // For the host. The animation's start and stop go to the base alone: they start and stop nothing here.
    void startAnimation() override;
    void stopAnimation() override;
    void drawRect(NSRect rect) override;
    bool hasConfigureSheet() const override { return true; }
    // A new controller at each call; the view becomes the delegate of its window.
    std::shared_ptr<NSWindow> configureSheet() override;

    // Starts the orderly stop: ends all delayed calls and timers, after half a second fades the window and pauses,
    // 0.03 seconds later closes the window and lets go of the composition. The host calls it once.
    void cleanup();
    void cleanupNow();
    void endCleanup();

    void awakeFromNib();
    void loadQuartzView();
    void windowDidLoad();
    void updateQuartzViewFrame();
    void loop();
    void windowWillClose(const Value& notification) override;
    void updateData() { }

    // Which composition plays. Null without an identifier of the bundle.
    std::shared_ptr<ScreenSaverDefaults> screensaverDefaults() const;
    std::optional<std::vector<std::string>> filePaths() const;
    // The stored path if the user's list has entries, else that of a composition among the resources; absent if
    // there is none either.
    std::optional<std::string> filePathActive() const;
    std::optional<NSURL> urlDefaultComposition() const;
    void randomizeFile();
    void loadFile();
    void loadBundledComposition() { }
    void fileDidChange() override;
    // Tears the composition's view down and builds it anew, in three steps of 0.23 seconds together. Asked for again
    // meanwhile, it starts over, so that one chain is under way at a time.
    void reloadFile();
    void endCleanupForFileReload();
    void prepareToReloadFile();

    // Writes the track record to the inputs that the composition declares.
    void updateQCRendererInputData();
    void updateQCRendererInputDataSystem();
    // Writes one input if the composition declares it. Nothing clears it.
    void setQuartzCompositionValue(const Value& value, const std::string& key) override;

    // The feed's articles (feedinput/FeedInput.h).
    void updateCompositionInputs() override;
    void loadRSSFeed(const std::string& address) { feedInput_.loadRSSFeed(address); }
    void didReceiveRSSFeed(const FeedKit::RSSFeed& feed) { feedInput_.didReceiveRSSFeed(feed); }
    void didReceiveAtomFeed(const FeedKit::AtomFeed& feed) { feedInput_.didReceiveAtomFeed(feed); }
    void setQuartzCompositionJSONValue(const Dictionary& info, const std::string& key)
    {
        feedInput_.setQuartzCompositionJSONValue(info, key);
    }

    // The track. `info` is the dictionary of `trackChanged`, an SBTrack, or nothing.
    void setTrackData(const Value& info);
    void setTrackDataFromPacket(const Dictionary& packet);
    void updateTrackData();
    void removeiTunesData();
    void trackChanged(const Value& info) override;
    void itunesDidClose() override;
    void clearSongIDWithArtworkCount(const Value& count) override;
    void iTunesIsPlaying() { }
    void iTunesIsPaused() { updateData(); }
    std::shared_ptr<const NSImage> imageFromText(const std::string& text) const;

    // The companion's link. Main thread, but for `queryMuralis` and `didFinishDownload`, which any thread may call.
    void scheduleQueryMuralisApp() { muralisLink_.scheduleQueryMuralisApp(); }
    void queryMuralisAppOnBackgroundThread() { muralisLink_.queryMuralisAppOnBackgroundThread(); }
    // Sends one request with a fresh token: for the track if `requestData`, else for the state. `displayNumber` in
    // decimal, empty if unknown. The answer holds the view until it has come.
    void queryMuralis(const std::string& displayNumber, bool requestData)
    {
        muralisLink_.queryMuralis(displayNumber, requestData);
    }
    void didFinishDownload() { muralisLink_.didFinishDownload(); }
    // Any thread.
    bool isDownloadScheduled() const { return muralisLink_.isDownloadScheduled(); }
    void setIsDownloadScheduled(bool value) { muralisLink_.setIsDownloadScheduled(value); }
    bool isDownloadInProgress() const { return muralisLink_.isDownloadInProgress(); }
    void setIsDownloadInProgress(bool value) { muralisLink_.setIsDownloadInProgress(value); }
    std::optional<std::string> lastStateID() const { return muralisLink_.lastStateID(); }
    void setLastStateID(std::optional<std::string> identifier) { muralisLink_.setLastStateID(std::move(identifier)); }

    bool isFileLoaded() const { return isFileLoaded_; }
    bool compositionSupportsItunes() const { return compositionSupportsItunes_; }
    // Whether the composition that was loaded last declares an input of system statistics.
    bool isQCSystemCompatible() const { return isQCSystemCompatible_; }
    // The last image of a track packet.
    const std::shared_ptr<const NSImage>& debugImage() const { return debugImage_; }
    const std::shared_ptr<QCView>& viewQuartzComposition() const { return viewQuartzComposition_; }
    const std::shared_ptr<PreferencesWC>& preferencesWC() const { return preferencesWC_; }
    const Value& lastSentFeedJSON() const { return feedInput_.lastSentFeedJSON(); }
    const std::shared_ptr<NSTimer>& rssFeedReloader() const { return feedInput_.rssFeedReloader(); }
    std::int64_t articlesCount() const { return feedInput_.articlesCount(); }
    const std::optional<NSURL>& loadedURL() const { return loadedURL_; }
    // The track record and the system record; null once the stop has begun.
    const std::shared_ptr<Dictionary>& dataiTunes() const { return dataiTunes_; }
    const std::shared_ptr<Dictionary>& dataSystem() const { return dataSystem_; }
    // Null on the companion's road.
    const std::shared_ptr<NqiTunesManager>& nqiTunesManager() const { return nqiTunesManager_; }
    Date lastChange() const { return retrigger_.lastChange(); }

    const Surroundings& surroundings() const { return surroundings_; }

    // Called after each write that an input of the composition took; nothing stands for a cleared one.
    using InputObserver = std::function<void(const Value& value, const std::string& key)>;
    void setInputObserver(InputObserver observer) { inputObserver_ = std::move(observer); }

private:
    explicit VitrelView(const Surroundings& surroundings);
    void ask(Selector selector, double seconds);
    NSSize fitContentView();
    std::shared_ptr<QCView> makeQuartzView(NSSize size) const;
    void configureQuartzView();
    std::optional<std::string> resource(const NSBundle* bundle, const char* name) const;
    void loadFileByBookmark();
    void replaceQuartzView();
    std::shared_ptr<FeedInputView> retained() override;
    std::vector<std::string> inputKeys() const override;
    Value valueForInputKey(const std::string& key) const override;
    void updateView() override;
    void writeInput(const Value& value, const std::string& key);
    Value squared(const Value& image) const;
    void retrigger();
    void trackDataDidChange();

    std::shared_ptr<const void> keptAlive() override { return shared_from_this(); }
    std::string displayNumber() override;
    bool isCompanionUsed() override;
    void takeTrackPacket(const Dictionary& packet) override { setTrackDataFromPacket(packet); }

    const Surroundings& surroundings_;

    std::optional<NSURL> url_;
    bool isQCSystemCompatible_ = false;
    bool isFileLoaded_ = false;
    bool compositionSupportsItunes_ = false;
    std::shared_ptr<const NSImage> debugImage_;
    std::shared_ptr<QCView> viewQuartzComposition_;
    std::shared_ptr<PreferencesWC> preferencesWC_;
    FeedInput feedInput_;
    std::optional<NSURL> loadedURL_;
    std::shared_ptr<Dictionary> dataiTunes_;
    std::shared_ptr<NqiTunesManager> nqiTunesManager_;
    Retrigger retrigger_;
    std::shared_ptr<Dictionary> dataSystem_;
    MuralisLink muralisLink_;

    InputObserver inputObserver_;
};

} // namespace vitrel
