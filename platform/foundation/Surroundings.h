#pragma once

#include "base/Bytes.h"
#include "platform/foundation/NSLog.h"
#include "platform/foundation/OperatingSystemVersion.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <typeindex>
#include <unordered_map>
#include <utility>
#include <vector>

namespace FeedKit {
class Fetcher;
}

namespace vitrel {

class Clock;
class DefaultsStore;
class NSBundle;
class NSDistributedNotificationCenter;
class NSOpenPanel;
class NSWindow;
class NSWorkspace;
class PlayerProvider;
class QCView;
class Queue;
class RunLoop;
class URLSession;

// The platform's and the system's `shared` instances, one of each type, made when they are first asked for. Any
// thread; what is made may ask for others, but not for itself.
class SharedInstances
{
public:
    template <class T, class Make> T& of(Make make)
    {
        const std::lock_guard lock(mutex_);
        if (const auto found = instances_.find(typeid(T)); found != instances_.end())
            return *static_cast<T*>(found->second.get());
        std::shared_ptr<T> made = make();
        T& instance = *made;
        instances_[typeid(T)] = made;
        order_.push_back(std::move(made));
        return instance;
    }
    SharedInstances() = default;
    SharedInstances(const SharedInstances&) = delete;
    SharedInstances& operator=(const SharedInstances&) = delete;
    ~SharedInstances() { clear(); }

    // Releases them, the last made first, for an owner whose other parts must outlive them.
    void clear()
    {
        instances_.clear();
        while (!order_.empty())
            order_.pop_back();
    }

private:
    std::recursive_mutex mutex_;
    std::unordered_map<std::type_index, std::shared_ptr<void>> instances_;
    std::vector<std::shared_ptr<void>> order_;
};

// All that differs between a real run and a test, in parts: each class asks for the part that it needs, each program
// and test makes the smallest that has all of it. Who makes it owns what is pointed to and keeps it alive for longer
// than anything that was made with it. There are no other globals, so two whole savers live in one process. What isn't
// said to be absent at times is always there.
struct BasicSurroundings {
    const Clock* clock = nullptr;
    RunLoop* runLoop = nullptr;
    // The bundle with the classes and resources, and the host's own, which may be the same. May be null.
    const NSBundle* classBundle = nullptr;
    const NSBundle* mainBundle = nullptr;
    LogSink log;
    mutable SharedInstances shared;
};

// For work beside the main thread.
struct QueueSurroundings : virtual BasicSurroundings {
    Queue* userInteractiveQueue = nullptr;
    Queue* userInitiatedQueue = nullptr;
};

struct PlayerSurroundings : QueueSurroundings {
    NSDistributedNotificationCenter* notificationCenter = nullptr;
    // For the covers of tracks alone, so that they wait for nothing else.
    Queue* artworkQueue = nullptr;
    // The bytes of a cover by its address, on that queue; none where it is read directly. It ends soon once `stop` is
    // set.
    std::function<std::optional<Bytes>(const std::string& address, const std::atomic<bool>& stop)> artworkReader;
    // Null without a player to observe, and while it is made.
    PlayerProvider* players = nullptr;
};

// What is stored, and what it depends on.
struct SettingsSurroundings : virtual BasicSurroundings {
    DefaultsStore* defaults = nullptr;
    OperatingSystemVersion systemVersion;
    // The user's languages, the preferred one first, as in "de" or "zh-Hans"; without any, texts stay as they are.
    std::vector<std::string> languages;
    // A uniform number of 32 bits; the system's own where none is given.
    std::function<std::uint32_t()> arc4random;
};

// What the configure sheet asks of the desktop; where one is absent, nothing happens.
struct SheetSurroundings : SettingsSurroundings {
    NSWorkspace* workspace = nullptr;
    std::function<void(std::shared_ptr<NSOpenPanel>)> showOpenPanel;
    // Ends the sheet: the host closes its window.
    std::function<void(const std::shared_ptr<NSWindow>&)> endSheet;
};

// A whole saver's.
struct Surroundings : PlayerSurroundings, SheetSurroundings {
    // Makes a view without a size that plays compositions. May give null.
    std::function<std::shared_ptr<QCView>()> makeQCView;
    // Of the companion's queries; null where nothing is fetched.
    URLSession* urlSession = nullptr;
    // Where feeds come from; null where none is loaded.
    std::shared_ptr<FeedKit::Fetcher> feedFetcher;
    // For feeds alone: a server may take a minute over one, which nothing else should wait for.
    Queue* feedQueue = nullptr;
    // Bundle identifiers of the applications that run.
    std::function<std::vector<std::string>()> runningApplications;

    // What is shared goes before all else.
    ~Surroundings() { shared.clear(); }
};

// The number that `surroundings` give, else one of the system's.
std::uint32_t arc4random(const SettingsSurroundings& surroundings);

} // namespace vitrel
