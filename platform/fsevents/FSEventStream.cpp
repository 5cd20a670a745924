#include "platform/fsevents/FSEventStream.h"

#include <poll.h>

#include <algorithm>
#include <utility>

namespace vitrel {
namespace {

// The two ends of a rename are told one right behind the other.
constexpr Seconds kOtherEnd{0.01};

} // namespace

FSEventStream::FSEventStream(FSEventStreamCallback callback, void* info, std::vector<std::string> paths,
    FSEventStreamEventId sinceWhen, double latency, FSEventStreamCreateFlags, std::string stateFolder)
    : callback_(callback)
    , info_(info)
    , paths_(std::move(paths))
    , sinceWhen_(sinceWhen)
    , latency_(std::max(latency, 0.0))
    , journals_(std::move(stateFolder))
{ }

FSEventStream::~FSEventStream()
{
    stop();
}

void FSEventStream::scheduleWithRunLoop(RunLoop& loop)
{
    loop_ = &loop;
}

bool FSEventStream::start()
{
    if (!loop_ || watch_)
        return false;
    auto watch = std::make_unique<TreeWatch>(paths_);
    if (watch->descriptor() < 0)
        return false;
    watch_ = std::move(watch);
    alive_ = std::make_shared<int>();

    auto known = journals_.load(watch_->roots());
    FSEvents told;
    const bool fromNow = sinceWhen_ == kFSEventStreamEventIdSinceNow;
    if (known) {
        journal_ = std::move(*known);
        std::copy_if(journal_.events.begin(), journal_.events.end(), std::back_inserter(told),
            [this](const FSEvent& event) { return event.id > sinceWhen_; });
        watch_->start(std::exchange(journal_.snapshot, {}));
    } else {
        watch_->start(std::nullopt);
    }
    FSEvents events;
    if (!fromNow && (!known || sinceWhen_ < journal_.from)) {
        for (const auto& root : watch_->roots())
            events.push_back({0, kFSEventStreamEventFlagMustScanSubDirs | kFSEventStreamEventFlagItemIsDir, root});
    }
    const FSEvents changes = watch_->takeEvents();
    events.insert(events.end(), changes.begin(), changes.end());
    if (!known)
        journal_.from = journal_.last = journals_.take(1, fromNow ? 0 : sinceWhen_);
    number(events);
    journal_.snapshot = watch_->snapshot();
    journals_.save(watch_->roots(), journal_);
    journal_.snapshot.clear();
    told.insert(told.end(), events.begin(), events.end());
    if (!fromNow && !told.empty()) {
        loop_->post([this, alive = std::weak_ptr(alive_), told = std::move(told)]() mutable {
            if (!alive.expired())
                deliver(std::move(told));
        });
    }
    loop_->watch(watch_->descriptor(), POLLIN, [this](short) { readable(); });
    return true;
}

void FSEventStream::number(FSEvents& events)
{
    if (events.empty())
        return;
    const auto floor
        = sinceWhen_ == kFSEventStreamEventIdSinceNow ? journal_.last : std::max(sinceWhen_, journal_.last);
    FSEventStreamEventId next = journals_.take(events.size(), floor);
    for (auto& event : events) {
        event.id = next++;
        journal_.add(event);
    }
}

void FSEventStream::readable()
{
    watch_->read();
    if (watch_->hasHalfRenames() && !(renames_ && renames_->isValid()))
        renames_ = loop_->scheduledTimer(kOtherEnd, false, [this] {
            watch_->dropHalfRenames();
            readable();
        });
    FSEvents events = watch_->takeEvents();
    number(events);
    if (latency_ <= Seconds(0)) {
        deliver(std::move(events));
        return;
    }
    waiting_.insert(waiting_.end(), events.begin(), events.end());
    if (!waiting_.empty() && !(delivery_ && delivery_->isValid()))
        delivery_ = loop_->scheduledTimer(latency_, false, [this] { deliver(std::exchange(waiting_, {})); });
}

void FSEventStream::deliver(FSEvents events)
{
    if (events.empty())
        return;
    std::vector<std::string> paths;
    std::vector<FSEventStreamEventFlags> flags;
    std::vector<FSEventStreamEventId> ids;
    for (auto& event : events) {
        paths.push_back(std::move(event.path));
        flags.push_back(event.flags);
        ids.push_back(event.id);
    }
    callback_(this, info_, paths.size(), paths, flags.data(), ids.data());
}

void FSEventStream::stop()
{
    if (!watch_)
        return;
    for (auto* timer : {&delivery_, &renames_}) {
        if (*timer)
            (*timer)->invalidate();
    }
    loop_->unwatch(watch_->descriptor());
    alive_.reset();
    waiting_.clear();
    journal_.snapshot = watch_->snapshot();
    journals_.save(watch_->roots(), journal_);
    journal_.snapshot.clear();
    watch_.reset();
}

void FSEventStream::invalidate()
{
    stop();
}

} // namespace vitrel
