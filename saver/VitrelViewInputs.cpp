// What is written to the composition's inputs, and the track that it comes from.
#include "imaging/NSImage+Nq.h"
#include "music/TrackKeys.h"
#include "platform/appkit/NSImage.h"
#include "platform/foundation/Surroundings.h"
#include "saver/InputKeys.h"
#include "saver/VitrelView.h"

#include <algorithm>
#include <string_view>

namespace vitrel {
namespace {

bool contains(const std::vector<std::string>& keys, std::string_view key)
{
    return std::find(keys.begin(), keys.end(), key) != keys.end();
}

} // namespace

std::vector<std::string> VitrelView::inputKeys() const
{
    return send(viewQuartzComposition_, &QCView::inputKeys);
}

void VitrelView::writeInput(const Value& value, const std::string& key)
{
    if (!viewQuartzComposition_)
        return;
    if (viewQuartzComposition_->setValueForInputKey(value, key) && inputObserver_)
        inputObserver_(value, key);
}

Value VitrelView::squared(const Value& value) const
{
    const auto image = value.image();
    if (!image || image->representations().empty())
        return value;
    const NSBitmapImageRep& first = image->representations().front();
    const int side = std::min(first.pixelsWide(), first.pixelsHigh());
    if (side < 1)
        return value;
    return resizeImageToFillSize(*image, {double(side), double(side)});
}

void VitrelView::updateQCRendererInputData()
{
    const auto keys = inputKeys();
    const bool requiresSquareImage = contains(keys, kRequiresSquareImage);
    bool found = false;
    for (const std::string key : kTrackInputKeys) {
        if (!contains(keys, key))
            continue;
        Value value;
        if (dataiTunes_) {
            if (const auto entry = dataiTunes_->find(key); entry != dataiTunes_->end())
                value = entry->second;
        }
        if (requiresSquareImage && (key == kiTunesArtwork || key == kiVisualizeAlbumArt))
            value = squared(value);
        writeInput(value, key);
        if (key == kiTunesName && !send(nqiTunesManager_, &NqiTunesManager::isRunning)
            && !PreferencesWC::isCatalinaHTTPAPIFixEnabled(surroundings_))
            writeInput("No music playing", key);
        found = true;
    }
    compositionSupportsItunes_ = found;
    updateCompositionInputs();
    visualizerInputs_.setTrack(dataiTunes_.get());
    showEvening();
}

void VitrelView::showEvening()
{
    if (!dataiTunes_)
        return; // the stop has begun
    const auto entry = [this](const char* key) {
        const auto found = dataiTunes_->find(key);
        return found == dataiTunes_->end() ? Value() : found->second;
    };
    // A track without a cover has a picture all the same, which is none of the evening's.
    if (entry(kiTunesIsArtworkAvailable) == Value(true))
        eveningCovers_.show(entry(kiTunesArtwork).image());
    if (contains(inputKeys(), EveningCovers::kInput)) {
        eveningCovers_.want();
        writeEvening();
    }
}

void VitrelView::writeEvening()
{
    if (dataiTunes_ && contains(inputKeys(), EveningCovers::kInput))
        writeInput(eveningCovers_.covers(), EveningCovers::kInput);
}

// A composition was loaded.
void VitrelView::beginVisualizing()
{
    visualizerInputs_.begin(inputKeys(), isPreview());
    surroundings_.runLoop->cancelPreviousPerformRequestsWithTargetSelector(
        *this, SELECTOR(VitrelView, updateTrackPosition));
    // Nobody tells a position on the companion's road.
    if (dataiTunes_ && nqiTunesManager_ && visualizerInputs_.wantsPosition())
        ask(SELECTOR(VitrelView, updateTrackPosition), 0);
}

void VitrelView::hear(const SoundHeard& heard)
{
    visualizerInputs_.hear(heard);
    if (heard.peak == heard_.peak && heard.spectrum == heard_.spectrum)
        return;
    heard_ = heard;
    if (soundObserver_)
        soundObserver_(heard);
}

void VitrelView::updateTrackPosition()
{
    const double reported = send(nqiTunesManager_, &NqiTunesManager::playerPosition);
    const bool isPlaying = send(nqiTunesManager_, &NqiTunesManager::isPlaying);
    const double step = visualizerInputs_.setPosition(reported, isPlaying, surroundings_.clock->now());
    ask(SELECTOR(VitrelView, updateTrackPosition), step);
}

void VitrelView::setQuartzCompositionValue(const Value& value, const std::string& key)
{
    if (contains(inputKeys(), key))
        writeInput(value, key);
}

void VitrelView::updateQCRendererInputDataSystem()
{
    const auto keys = inputKeys();
    isQCSystemCompatible_ = std::any_of(
        std::begin(kSystemInputKeys), std::end(kSystemInputKeys), [&](const char* key) { return contains(keys, key); });
}

std::shared_ptr<FeedInputView> VitrelView::retained()
{
    return std::static_pointer_cast<VitrelView>(shared_from_this());
}

Value VitrelView::valueForInputKey(const std::string& key) const
{
    return send(viewQuartzComposition_, &QCView::valueForInputKey, key);
}

void VitrelView::updateView()
{
    send(preferencesWC_, &PreferencesWC::updateView);
}

void VitrelView::updateCompositionInputs()
{
    if (!dataiTunes_)
        return; // the stop has begun, and has ended the loads
    feedInput_.updateCompositionInputs();
}

void VitrelView::setTrackData(const Value& info)
{
    if (!dataiTunes_)
        return; // the stop has begun
    Value track = info;
    if (const auto* members = info.dictionary()) {
        const auto entry = members->find("TrackData");
        track = entry == members->end() ? Value() : entry->second;
    }
    const auto object = std::dynamic_pointer_cast<SBTrack>(track.object());
    const bool isPlaying = send(nqiTunesManager_, &NqiTunesManager::isPlaying);
    writeTrack(*dataiTunes_, object.get(), isPlaying, artworkEmpty(surroundings_));
    trackDataDidChange();
}

void VitrelView::setTrackDataFromPacket(const Dictionary& packet)
{
    if (!dataiTunes_)
        return;
    writePacket(*dataiTunes_, packet, artworkEmpty(surroundings_));
    if (packet.contains("Track Artwork")) {
        const auto image = dataiTunes_->find(kiTunesArtwork);
        debugImage_ = image == dataiTunes_->end() ? nullptr : image->second.image();
    }
    trackDataDidChange();
}

void VitrelView::trackDataDidChange()
{
    retrigger();
    ask(SELECTOR(VitrelView, updateQCRendererInputData), 0);
}

void VitrelView::retrigger()
{
    // Past the record, which holds the true state and is written in the next turn.
    if (retrigger_.isDue(inputKeys(), surroundings_.clock->date()))
        writeInput(false, kiVisualizeIsPlaying);
}

void VitrelView::updateTrackData()
{
    const auto track = send(nqiTunesManager_,
        static_cast<std::shared_ptr<SBTrack> (NqiTunesManager::*)() const>(&NqiTunesManager::currentTrack));
    setTrackData(track ? Value(std::shared_ptr<NSObject>(track)) : Value());
}

void VitrelView::removeiTunesData()
{
    if (!dataiTunes_)
        return;
    dataiTunes_->clear();
    ask(SELECTOR(VitrelView, updateQCRendererInputData), 0);
}

void VitrelView::trackChanged(const Value& info)
{
    if (send(nqiTunesManager_, &NqiTunesManager::isPlaying))
        iTunesIsPlaying();
    else if (send(nqiTunesManager_, &NqiTunesManager::isPaused) || send(nqiTunesManager_, &NqiTunesManager::isStopped))
        iTunesIsPaused();
    setTrackData(info);
}

void VitrelView::itunesDidClose()
{
    removeiTunesData();
}

void VitrelView::clearSongIDWithArtworkCount(const Value&) { }

std::shared_ptr<const NSImage> VitrelView::imageFromText(const std::string& text) const
{
    return vitrel::imageFromText(text);
}

} // namespace vitrel
