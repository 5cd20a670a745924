#include "companion/MuralisLink.h"

#include "base/Clock.h"
#include "companion/MuralisAnswer.h"
#include "platform/foundation/Queue.h"
#include "platform/foundation/RunLoop.h"
#include "platform/foundation/UUID.h"
#include "support/DateKit.h"
#include "support/PrintKit.h"

#include <utility>

namespace vitrel {
namespace {

constexpr Seconds kSecondApplication{1};
// Of answers whose packets wait for that; what is beyond is applied once. Only a companion gone mad gets there.
constexpr std::size_t kMostHeldBytes = 64u << 20;

} // namespace

// A hold of the owner that is let go on the main thread, wherever this ends.
struct MuralisLink::Kept {
    explicit Kept(std::shared_ptr<MuralisLink> link)
        : mainQueue(link->means_.mainQueue)
        , link(std::move(link))
    { }
    Kept(const Kept&) = delete;
    Kept& operator=(const Kept&) = delete;
    ~Kept()
    {
        if (link)
            mainQueue.post([link = std::move(link)] {});
    }
    RunLoop& mainQueue;
    std::shared_ptr<MuralisLink> link;
};

MuralisLink::MuralisLink(const Means& means, MuralisLinkOwner& owner)
    : means_(means)
    , owner_(owner)
{ }

std::shared_ptr<MuralisLink> MuralisLink::held()
{
    return {owner_.keptAlive(), this};
}

void MuralisLink::scheduleQueryMuralisApp()
{
    isDownloadScheduled_ = true;
    if (!isDownloadInProgress_)
        queryMuralisAppOnBackgroundThread();
}

void MuralisLink::queryMuralisAppOnBackgroundThread()
{
    means_.queue.async([kept = std::make_shared<Kept>(held()), displayNumber = owner_.displayNumber()] {
        kept->link->query(kept, displayNumber, false);
    });
}

void MuralisLink::queryMuralis(const std::string& displayNumber, bool requestData)
{
    query(std::make_shared<Kept>(held()), displayNumber, requestData);
}

void MuralisLink::query(const std::shared_ptr<Kept>& kept, const std::string& displayNumber, bool requestData)
{
    isDownloadScheduled_ = false;
    isDownloadInProgress_ = true;
    if (!owner_.isCompanionUsed() || !means_.session)
        return;
    const std::string date = universalDatetimeFormatted(means_.clock.date(), kCompanionDatePattern);
    const std::string url = "http://localhost:" + std::to_string(means_.port)
        + std::string(requestData ? kCompanionDataTarget : kCompanionStateTarget) + displayNumber
        + escapedCompanionQuery(UUIDString(), date);
    const auto task = means_.session->dataTaskWithURLCompletionHandler(
        url, [kept, displayNumber](const std::optional<Bytes>& data, const std::optional<std::string>& error) {
            MuralisLink& link = *kept->link;
            link.respond(data, error.has_value(), displayNumber);
            link.finish(std::move(kept->link));
        });
    // The answer may come, and the link go, before this returns.
    task->resume();
}

void MuralisLink::respond(const std::optional<Bytes>& data, bool isFailed, const std::string& displayNumber)
{
    if (!data || isFailed)
        return;
    const auto answer = readMuralisAnswer(*data);
    if (!answer) {
        print::line(print::joined("queryMuralis(_:requestData:)", "🔴 Error converting data",
            "The data couldn’t be read because it isn’t in the correct format."));
        return;
    }
    if (answer->data) {
        means_.mainQueue.post([self = held(), packet = answer->data, reference = lastStateID(), bytes = data->size()] {
            self->handOver(packet, reference, bytes);
        });
    }
    if (!answer->changeID || lastStateID() == answer->changeID)
        return;
    means_.mainQueue.post(
        [self = held(), identifier = *answer->changeID, displayNumber] { self->change(identifier, displayNumber); });
}

void MuralisLink::handOver(
    std::shared_ptr<const Dictionary> packet, const std::optional<std::string>& reference, std::size_t bytes)
{
    owner_.takeTrackPacket(*packet);
    if (heldBytes_ + bytes > kMostHeldBytes)
        return;
    heldBytes_ += bytes;
    means_.mainQueue.postAfter(kSecondApplication, [self = held(), packet = std::move(packet), reference, bytes] {
        self->heldBytes_ -= bytes;
        if (self->lastStateID() == reference)
            self->owner_.takeTrackPacket(*packet);
    });
}

void MuralisLink::change(const std::string& identifier, const std::string& displayNumber)
{
    setLastStateID(identifier);
    queryMuralis(displayNumber, true);
    isDownloadScheduled_ = true;
}

void MuralisLink::didFinishDownload()
{
    finish(held());
}

void MuralisLink::finish(std::shared_ptr<MuralisLink> self)
{
    means_.mainQueue.post([self = std::move(self)] {
        self->isDownloadInProgress_ = false;
        if (self->isDownloadScheduled_)
            self->queryMuralisAppOnBackgroundThread();
    });
}

std::optional<std::string> MuralisLink::lastStateID() const
{
    const std::lock_guard lock(lastStateIDMutex_);
    return lastStateID_;
}

void MuralisLink::setLastStateID(std::optional<std::string> identifier)
{
    const std::lock_guard lock(lastStateIDMutex_);
    lastStateID_ = std::move(identifier);
}

} // namespace vitrel
