#pragma once

#include "companion/MuralisLink.h"
#include "platform/foundation/Queue.h"
#include "support/FakeURLSession.h"
#include "support/ManualLoop.h"

#include <memory>
#include <string>
#include <vector>

namespace vitrel {

// What stands in for a view: it notes what it is given.
class LinkOwner final : public MuralisLinkOwner, public std::enable_shared_from_this<LinkOwner>
{
public:
    explicit LinkOwner(const MuralisLink::Means& means)
        : link(means, *this)
    { }
    std::shared_ptr<const void> keptAlive() override { return shared_from_this(); }
    std::string displayNumber() override { return display; }
    bool isCompanionUsed() override { return isUsed; }
    void takeTrackPacket(const Dictionary& packet) override { packets.push_back(packet); }

    std::string display = "7";
    bool isUsed = true;
    std::vector<Dictionary> packets;
    MuralisLink link;
};

// A link with time, queue and session in the test's hand.
struct LinkInHand : ManualLoop {
    ManualQueue queue;
    FakeURLSession session;
    std::shared_ptr<LinkOwner> owner
        = std::make_shared<LinkOwner>(MuralisLink::Means{clock, loop, queue, &session, kCompanionPort});
    MuralisLink& link = owner->link;

    // All that is due on the main queue now and all that follows at once.
    void settle()
    {
        while (loop.turn() > 0) { }
    }
    // A tick, and the query that it starts goes out.
    void poll()
    {
        link.scheduleQueryMuralisApp();
        queue.drain();
    }
    // "state" or "data" and the display of each unanswered request.
    std::string waiting() const
    {
        std::string out;
        for (const auto& request : session.requests) {
            const bool isState = request.url.starts_with("http://localhost:9802/music/ChangeID?screen=");
            const bool isData = request.url.starts_with("http://localhost:9802/music/Data?screen=");
            const auto from = request.url.find('=') + 1;
            out += (out.empty() ? "" : " ")
                + std::string(isState ? "state"
                        : isData      ? "data"
                                      : "?")
                + request.url.substr(from, request.url.find('&') - from);
        }
        return out;
    }
};

} // namespace vitrel
