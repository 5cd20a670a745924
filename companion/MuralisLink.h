#pragma once

#include "companion/token/Token.h"
#include "platform/foundation/URLSession.h"
#include "platform/foundation/Value.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace vitrel {

class Clock;
class Queue;
class RunLoop;

// Who polls the companion, as the link sees it.
class MuralisLinkOwner
{
public:
    // Keeps the owner, and with it the link, while a request is under way. Any thread.
    virtual std::shared_ptr<const void> keptAlive() = 0;
    // Decimal number of the display that the owner is on; empty if it is on none. Main thread.
    virtual std::string displayNumber() = 0;
    // Whether the companion is the way to the track at all. Any thread.
    virtual bool isCompanionUsed() = 0;
    // Main thread.
    virtual void takeTrackPacket(const Dictionary& packet) = 0;

protected:
    ~MuralisLinkOwner() = default;
};

// The client of the companion: the pacing of its queries, their tokens, and what follows from an answer. It belongs to
// its owner, which lives on while a request does; the last hold of it is always let go on the main thread. A request
// that fails is told to nobody, and the next tick tries again.
class MuralisLink
{
public:
    struct Means {
        const Clock& clock;
        RunLoop& mainQueue;
        Queue& queue; // of user-interactive quality
        URLSession* session; // null: requests are made and lost
        std::uint16_t port = kCompanionPort;
    };

    MuralisLink(const Means& means, MuralisLinkOwner& owner);

    // A tick: wants a query, which starts unless one is under way. Main thread.
    void scheduleQueryMuralisApp();
    // Reads the display's number and has a state query sent from the queue. Main thread.
    void queryMuralisAppOnBackgroundThread();
    // Sends one request with a fresh token: for the track if `requestData`, else for the state. Returns at once. Any
    // thread.
    void queryMuralis(const std::string& displayNumber, bool requestData);
    // Ends a query on the main queue and starts the next if one is wanted. Any thread.
    void didFinishDownload();

    // Any thread.
    bool isDownloadScheduled() const { return isDownloadScheduled_; }
    void setIsDownloadScheduled(bool value) { isDownloadScheduled_ = value; }
    bool isDownloadInProgress() const { return isDownloadInProgress_; }
    void setIsDownloadInProgress(bool value) { isDownloadInProgress_ = value; }
    // The last state of the companion that has led to a data request.
    std::optional<std::string> lastStateID() const;
    void setLastStateID(std::optional<std::string> identifier);

private:
    struct Kept;
    std::shared_ptr<MuralisLink> held();
    void query(const std::shared_ptr<Kept>& kept, const std::string& displayNumber, bool requestData);
    void respond(const std::optional<Bytes>& data, bool isFailed, const std::string& displayNumber);
    void handOver(
        std::shared_ptr<const Dictionary> packet, const std::optional<std::string>& reference, std::size_t bytes);
    void change(const std::string& identifier, const std::string& displayNumber);
    void finish(std::shared_ptr<MuralisLink> self);

    const Means means_;
    MuralisLinkOwner& owner_;
    std::atomic<bool> isDownloadScheduled_ = false, isDownloadInProgress_ = false;
    mutable std::mutex lastStateIDMutex_;
    std::optional<std::string> lastStateID_; // guarded by lastStateIDMutex_
    std::size_t heldBytes_ = 0; // of packets that wait to be applied again; main thread
};

} // namespace vitrel
