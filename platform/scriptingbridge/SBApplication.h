#pragma once

#include "base/Bytes.h"
#include "base/Result.h"
#include "platform/foundation/NSError.h"
#include "platform/foundation/NSObject.h"
#include "platform/foundation/Value.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace vitrel {

// A picture of a track.
class SBArtwork : public NSObject
{
public:
    explicit SBArtwork(std::shared_ptr<const Bytes> rawData, std::shared_ptr<const NSImage> image = nullptr)
        : rawData_(std::move(rawData))
        , image_(std::move(image))
    { }
    // The bytes of an image file. Null while they are on their way, or if they can't be had.
    const std::shared_ptr<const Bytes>& rawData() const { return rawData_; }
    // What they hold, where it was decoded already; else it is decoded now, which takes its time. Null if it is no
    // picture, or without bytes.
    std::shared_ptr<const NSImage> image() const;
    // The picture as the newer player gives it: an image, or a descriptor of its bytes.
    virtual Result<Value, NSError> data() const;

private:
    std::shared_ptr<const Bytes> rawData_;
    std::shared_ptr<const NSImage> image_;
};

// Bytes that came as a reply and weren't made into an object.
class NSAppleEventDescriptor : public NSObject
{
public:
    explicit NSAppleEventDescriptor(std::shared_ptr<const Bytes> data)
        : data_(std::move(data))
    { }
    const std::shared_ptr<const Bytes>& data() const { return data_; }

private:
    std::shared_ptr<const Bytes> data_;
};

// A track of the player, as it was when it was asked for. Immutable once it is shared.
class SBTrack : public NSObject
{
public:
    std::string name, artist, album, genre, composer;
    std::string time; // "m:ss", from an hour on "h:mm:ss"; empty if unknown
    std::int64_t year = 0, trackNumber = 0, trackCount = 0, discNumber = 0, discCount = 0;
    std::int64_t rating = 0; // 0 to 100
    std::int64_t playedCount = 0;
    std::vector<std::shared_ptr<SBArtwork>> artworks;

    std::string description() const override { return "<track \"" + name + "\">"; }
};

// `seconds` as "m:ss", from an hour on as "h:mm:ss"; empty for 0 and less.
std::string trackTime(double seconds);

// The player's states, as four characters.
inline constexpr std::uint32_t kPlayerStatePlaying = 0x6B505350; // kPSP
inline constexpr std::uint32_t kPlayerStatePaused = 0x6B505370; // kPSp
inline constexpr std::uint32_t kPlayerStateStopped = 0x6B505353; // kPSS
inline constexpr std::uint32_t kPlayerStateFastForwarding = 0x6B505346; // kPSF
inline constexpr std::uint32_t kPlayerStateRewinding = 0x6B505352; // kPSR

// Told when something asked of the player failed.
class SBApplicationDelegate
{
public:
    virtual ~SBApplicationDelegate() = default;
    virtual void eventDidFailWithError(const std::string& event, const NSError& error) = 0;
};

// The proxy of a player. Reads answer at once, from what the player said last. Main thread.
class SBApplication : public NSObject
{
public:
    virtual bool isRunning() const = 0;
    // A state above; 0 if it doesn't run.
    virtual std::uint32_t playerState() const = 0;
    virtual double playerPosition() const = 0; // seconds
    // Null if it doesn't run.
    virtual std::shared_ptr<SBTrack> currentTrack() const = 0;

    void setDelegate(std::weak_ptr<SBApplicationDelegate> delegate) { delegate_ = std::move(delegate); }
    std::shared_ptr<SBApplicationDelegate> delegate() const { return delegate_.lock(); }

private:
    std::weak_ptr<SBApplicationDelegate> delegate_;
};

// The player's media library, of which nothing is read.
class ITLibrary : public NSObject
{
};

// Where players come from: the session bus, a demonstration, or a test. Main thread.
class PlayerProvider
{
public:
    virtual ~PlayerProvider() = default;
    // The proxy, for a player that may or may not run; from now on the player's changes are posted as distributed
    // notifications under this identifier. Null if there can be none.
    virtual std::shared_ptr<SBApplication> applicationWithBundleIdentifier(const std::string& identifier) = 0;
    // initWithAPIVersion:error: of the library.
    virtual Result<std::shared_ptr<ITLibrary>, NSError> libraryWithAPIVersion(const std::string& version);
};

} // namespace vitrel
