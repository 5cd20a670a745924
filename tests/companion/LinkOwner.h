#pragma once

#include "companion/MuralisLink.h"
#include "platform/foundation/Queue.h"
#include "support/FakeURLSession.h"
#include "support/ManualLoop.h"

#include <memory>
#include <regex>
#include <string>
#include <vector>

namespace vitrel {

// What stands in for a view: it notes what it is given.
struct LinkOwner final : MuralisLinkOwner, std::enable_shared_from_this<LinkOwner> {
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
    // A tick whose query is answered.
    void ask(const std::string& answer)
    {
        poll();
        session.answer(answer);
        settle();
    }
    // What is asked for, and the display, of each unanswered request.
    std::string waiting() const
    {
        static const std::regex url("http://localhost:9802/music/(\\w+)\\?screen=(\\d*)&.*");
        std::string out;
        for (const auto& request : session.requests)
            out += std::regex_replace(request.url, url, "$1 $2 ");
        return out;
    }
};

} // namespace vitrel
