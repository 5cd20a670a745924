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
#include "saver/EveningCovers.h"
#include "saver/VisualizerInputs.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vitrel {

class NSBundle;
struct Surroundings;

// The saver's view, one for each display and each preview. It chooses and loads a composition into a QCView of its
// own and keeps the composition's inputs fed; it draws nothing, and has no work per frame but where a visualiser hears
// something else than in the last. What drives it are its own delayed calls and the events of its subsystems. Views
// share the player's manager and the stored settings and don't coordinate. Main thread.
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
    // Brings the composition to the view's size.
    void updateQuartzViewFrame();
    // Called after each write that an input of the composition took; nothing stands for a cleared one.
    using InputObserver = std::function<void(const Value& value, const std::string& key)>;
    // Where the covers of this evening are kept; null: in the view alone. Ahead of the first composition.
    void setCoverShelf(std::shared_ptr<CoverShelf> shelf) { eveningCovers_.setShelf(std::move(shelf)); }
    void setInputObserver(InputObserver observer) { inputObserver_ = std::move(observer); }
    // Called ahead of a frame in which something else is heard than in the one before.
    using SoundObserver = std::function<void(const SoundHeard& heard)>;
    void setSoundObserver(SoundObserver observer) { soundObserver_ = std::move(observer); }
    // Starts the orderly stop: ends all delayed calls and timers, after half a second fades the window and pauses,
    // 0.03 seconds later closes the window and lets go of the composition. The host calls it once.
    void cleanup();
    // The last of these steps, for a host that can't wait for it.
    void endCleanup();

    // What the platform calls once the view has its window, and when the configure sheet closes.
    void awakeFromNib();
    void windowWillClose(const Value& notification) override;

    // Which composition plays: the stored path if the user's list has entries, else that of a composition among the
    // resources; absent if there is none either.
    std::optional<std::string> filePathActive() const;
    std::optional<NSURL> urlDefaultComposition() const;
    void loadQuartzView();
    void loadFile();
    // Tears the composition's view down and builds it anew, in three steps of 0.23 seconds together. Asked for again
    // meanwhile, it starts over, so that one chain is under way at a time.
    void reloadFile();
    void fileDidChange() override;
    // For whoever writes the composition: the file is read anew into the view that there is, at once. Where that can't
    // be done, as fileDidChange.
    void reloadInPlace();

    // The track. `info` is the dictionary of `trackChanged`, an SBTrack, or nothing.
    void setTrackData(const Value& info);
    void setTrackDataFromPacket(const Dictionary& packet);
    void itunesDidClose() override;
    std::shared_ptr<const NSImage> imageFromText(const std::string& text) const;
    // Writes the track record to the inputs that the composition declares.
    void updateQCRendererInputData();
    // Writes one input if the composition declares it. Nothing clears it.
    void setQuartzCompositionValue(const Value& value, const std::string& key) override;

    bool isFileLoaded() const { return isFileLoaded_; }
    bool compositionSupportsItunes() const { return compositionSupportsItunes_; }
    // Whether the composition that was loaded last declares an input of system statistics.
    bool isQCSystemCompatible() const { return isQCSystemCompatible_; }
    // The last image of a track packet.
    const std::shared_ptr<const NSImage>& debugImage() const { return debugImage_; }
    const std::shared_ptr<QCView>& viewQuartzComposition() const { return viewQuartzComposition_; }
    const std::shared_ptr<PreferencesWC>& preferencesWC() const { return preferencesWC_; }
    const std::shared_ptr<NSTimer>& rssFeedReloader() const { return feedInput_.rssFeedReloader(); }
    const std::optional<NSURL>& loadedURL() const { return loadedURL_; }
    std::optional<std::string> lastStateID() const { return muralisLink_.lastStateID(); }
    // The track record and the system record; null once the stop has begun.
    const std::shared_ptr<Dictionary>& dataiTunes() const { return dataiTunes_; }
    const std::shared_ptr<Dictionary>& dataSystem() const { return dataSystem_; }
    // Null on the companion's road.
    const std::shared_ptr<NqiTunesManager>& nqiTunesManager() const { return nqiTunesManager_; }

private:
    explicit VitrelView(const Surroundings& surroundings);
    void ask(Selector selector, double seconds);
    void windowDidLoad();
    void loop();
    void cleanupNow();
    void updateData() { }

    // The choice of a composition, its loading and reloading.
    // Null without an identifier of the bundle.
    std::shared_ptr<ScreenSaverDefaults> screensaverDefaults() const;
    std::optional<std::vector<std::string>> filePaths() const;
    std::optional<std::string> resource(const NSBundle* bundle, const char* name) const;
    void randomizeFile();
    NSSize fitContentView();
    std::shared_ptr<QCView> makeQuartzView(NSSize size);
    void configureQuartzView();
    void loadFileByBookmark();
    void loadBundledComposition() { }
    void replaceQuartzView();
    void endCleanupForFileReload();
    void prepareToReloadFile();

    // The inputs.
    std::vector<std::string> inputKeys() const override;
    Value valueForInputKey(const std::string& key) const override;
    void writeInput(const Value& value, const std::string& key);
    Value squared(const Value& image) const;
    void retrigger();
    void beginVisualizing();
    void hear(const SoundHeard& heard);
    void updateTrackPosition();
    void updateQCRendererInputDataSystem();
    void updateCompositionInputs() override;
    void showEvening();
    void writeEvening();

    // What the player tells.
    void trackChanged(const Value& info) override;
    void clearSongIDWithArtworkCount(const Value& count) override;
    void iTunesIsPlaying() { }
    void iTunesIsPaused() { updateData(); }
    void updateTrackData();
    void removeiTunesData();
    void trackDataDidChange();

    // What the feed and the companion's link ask.
    std::shared_ptr<FeedInputView> retained() override;
    void updateView() override;
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

    EveningCovers eveningCovers_;
    VisualizerInputs visualizerInputs_;
    SoundHeard heard_; // told last
    InputObserver inputObserver_;
    SoundObserver soundObserver_;
};

} // namespace vitrel
