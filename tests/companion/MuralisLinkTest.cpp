#include "companion/MuralisLink.h"

#include "companion/LinkOwner.h"
#include "support/Repeated.h"

#include <gmock/gmock.h>

#include <set>

namespace vitrel {
namespace {

using testing::ElementsAre, testing::IsEmpty;

// Plays events: t a tick, q the queue runs, f the answer of the oldest request has been dealt with, x a tick in which
// the companion is gone.
void play(LinkInHand& in, const std::string& events)
{
    in.link.setLastStateID("A");
    for (const char event : events) {
        if (event == 't')
            in.link.scheduleQueryMuralisApp();
        else if (event == 'q')
            in.queue.drain();
        else if (event == 'f')
            in.session.answer(R"({"ChangeID": "A"})"), in.settle();
        else
            in.session.fail(), in.settle();
    }
}

TEST(Pacing, OneStateQueryAtATimeAndNoWishIsLost)
{
    const std::tuple<const char*, int, bool, bool, const char*> cases[] = {
        {"", 0, false, false, "idle"},
        {"t", 0, false, true, "the mark is set by the query, not by the tick"},
        {"tq", 1, true, false, "idle: the tick starts one"},
        {"tqt", 1, true, true, "a tick during a query leaves a wish"},
        {"tqttt", 1, true, true, "wishes don't pile up"},
        {"tqf", 1, false, false, "no wish, no query"},
        {"tqtf", 1, false, true, "a wish: the next is on its way at once"},
        {"tqttfq", 2, true, false, "two wishes are one query"},
        {"ttqq", 2, true, false, "a second tick ahead of the queue starts a second query"},
        {"tqtxq", 2, true, false, "a failure ends a query like an answer"},
        {"tqxtqxtq", 3, true, false, "an absent companion is asked at each tick"},
    };
    for (const auto& [events, sent, inProgress, scheduled, why] : cases) {
        LinkInHand in;
        play(in, events);
        EXPECT_EQ(in.session.sent, sent) << events << ": " << why;
        EXPECT_EQ(in.link.isDownloadScheduled(), scheduled) << events << ": " << why;
        EXPECT_EQ(in.link.isDownloadInProgress(), inProgress) << events << ": " << why;
    }
}

TEST(Pacing, WithoutTheGateOrASessionAQueryIsMarkedAndGoesNowhere)
{
    LinkInHand in;
    in.owner->isUsed = false;
    in.poll();
    in.poll();
    EXPECT_EQ(in.session.sent, 0);
    EXPECT_TRUE(in.link.isDownloadInProgress());
    const auto owner = std::make_shared<LinkOwner>(MuralisLink::Means{in.clock, in.loop, in.queue, nullptr});
    owner->link.queryMuralis("", false);
    EXPECT_TRUE(owner->link.isDownloadInProgress());
}

TEST(Query, IsAFreshTokenBehindTheDisplaysNumber)
{
    LinkInHand in;
    in.clock.start = Date{1794866069.123};
    in.link.queryMuralis("12", false);
    in.clock.time = Seconds(0.001);
    in.link.queryMuralis("12", true);
    in.link.queryMuralis("", false);
    std::set<std::string> identities;
    const char* heads[] = {"http://localhost:9802/music/ChangeID?screen=12&s=",
        "http://localhost:9802/music/Data?screen=12&s=", "http://localhost:9802/music/ChangeID?screen=&s="};
    const char* dates[] = {"2026-11-16 21.54.29.123", "2026-11-16 21.54.29.124", "2026-11-16 21.54.29.124"};
    for (std::size_t k = 0; k < 3; ++k) {
        const std::string& url = in.session.requests[k].url;
        const std::string id = url.substr(url.find("&id=") + 4, 36);
        const auto query = url.find("&s=");
        EXPECT_EQ(url.substr(0, query + 3), heads[k]);
        EXPECT_EQ(url.substr(query), escapedCompanionQuery(id, dates[k]));
        EXPECT_NE(url.find("%20"), url.npos);
        identities.insert(id);
    }
    EXPECT_EQ(identities.size(), 3u);
}

TEST(Answer, ANewStateLeadsToTheTrackAndAtOnceToTheNextStateQuery)
{
    LinkInHand in;
    in.link.scheduleQueryMuralisApp();
    in.owner->display = "8"; // after the hand-over to the queue
    in.queue.drain();
    EXPECT_EQ(in.waiting(), "ChangeID 7 ");
    in.session.answer(R"({"ChangeID": "A"})");
    EXPECT_EQ(in.link.lastStateID(), std::nullopt) << "nothing of it off the main queue";
    in.settle();
    in.queue.drain();
    EXPECT_EQ(in.link.lastStateID(), "A");
    EXPECT_EQ(in.waiting(), "Data 7 ChangeID 8 ") << "the data for the display of the answered request";
    in.session.answer(R"({"Data": {"Name": "Song"}})");
    in.settle();
    EXPECT_THAT(in.owner->packets, ElementsAre(Dictionary{{"Name", "Song"}}));
    EXPECT_FALSE(in.link.isDownloadInProgress()) << "although a state query is under way";
    in.session.answer(R"({"ChangeID": "A"})");
    in.settle();
    EXPECT_TRUE(in.queue.blocks.empty());
    EXPECT_FALSE(in.link.isDownloadScheduled());
}

TEST(Answer, ChangesAreToldByInequalityAlone)
{
    const std::tuple<std::optional<std::string>, const char*, int, const char*> cases[]
        = {{std::nullopt, R"({"ChangeID": ""})", 1, "empty is not null"}, {"", R"({"ChangeID": ""})", 0, "empty again"},
            {"A", R"({"ChangeID": "A"})", 0, "the same"}, {"A", R"({"ChangeID": "a"})", 1, "another"},
            {"A", R"({"ChangeID": "A", "Data": {}})", 0, "a packet with the same state"},
            {"A", R"({"ChangeID": "A", "ChangeID": "B"})", 1, "the last counts"}};
    for (const auto& [last, answer, requests, why] : cases) {
        LinkInHand in;
        in.link.setLastStateID(last);
        in.ask(answer);
        EXPECT_EQ(in.session.sent - 1, requests) << why;
    }
}

std::string printedFor(LinkInHand& in, const std::string& answer)
{
    in.poll();
    testing::internal::CaptureStdout();
    in.session.answer(answer);
    in.settle();
    return testing::internal::GetCapturedStdout();
}

// Whatever comes, the query ends and the next tick asks again.
TEST(Answer, WhatIsOfAnotherKindIsPassedOver)
{
    const std::tuple<const char*, bool, std::size_t, int, const char*> cases[] = {{"", true, 0, 0, "no bytes"},
        {"<html>403</html>", true, 0, 0, "an error page"}, {R"({"ChangeID": "B")", true, 0, 0, "cut off"},
        {R"({"ChangeID": "B"} x)", true, 0, 0, "something behind it"},
        {"{\"ChangeID\": \"\xFF\"}", true, 0, 0, "no UTF-8"},
        {R"({"ChangeID": 1e999})", true, 0, 0, "a number that is none"}, {"[1, 2]", false, 0, 0, "an array"},
        {"5", false, 0, 0, "a number"}, {R"("ChangeID")", false, 0, 0, "a text"}, {"null", false, 0, 0, "null"},
        {R"([{"ChangeID": "B", "Data": {}}])", false, 0, 0, "an object, but inside"}, {"{}", false, 0, 0, "empty"},
        {R"({"changeid": "B", "data": {}})", false, 0, 0, "other keys"},
        {R"({"ChangeID": 5, "Data": {}})", false, 1, 0, "a number for the state"},
        {R"({"ChangeID": null, "Data": {}})", false, 1, 0, "null for the state"},
        {R"({"ChangeID": ["B"], "Data": {}})", false, 1, 0, "an array for the state"},
        {R"({"ChangeID": {"ChangeID": "B"}, "Data": {}})", false, 1, 0, "an object for the state"},
        {R"({"ChangeID": "B", "Data": "x"})", false, 0, 1, "a text for the packet"},
        {R"({"ChangeID": "B", "Data": [{}]})", false, 0, 1, "an array for the packet"},
        {R"({"ChangeID": "B", "Data": null})", false, 0, 1, "null for the packet"},
        {R"({"ChangeID": "B", "Data": {}, "Data": 1})", false, 0, 1, "the last packet counts"},
        {R"({"Other": {"Data": {}, "ChangeID": "B"}})", false, 0, 0, "further inside"}};
    for (const auto& [answer, isPrinted, packets, requests, why] : cases) {
        LinkInHand in;
        in.link.setLastStateID("A");
        EXPECT_EQ(printedFor(in, answer),
            isPrinted
                ? "queryMuralis(_:requestData:) 🔴 Error converting data The data couldn’t be read because it isn’t "
                  "in the correct format.\n"
                : "")
            << why;
        EXPECT_EQ(in.owner->packets.size(), packets) << why;
        EXPECT_EQ(in.session.sent - 1, requests) << why;
        EXPECT_FALSE(in.link.isDownloadInProgress()) << why;
    }
}

TEST(Answer, AFailedRequestPrintsNothingAndKeepsAll)
{
    LinkInHand in;
    in.link.setLastStateID("A");
    in.poll();
    testing::internal::CaptureStdout();
    in.session.fail();
    in.settle();
    in.poll();
    in.session.take(0).handler(Bytes{'{'}, "an error beside data");
    in.settle();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(in.link.lastStateID(), "A");
    EXPECT_FALSE(in.link.isDownloadInProgress());
}

TEST(Packet, IsAppliedAgainAfterASecondIfTheStateIsStillTheSame)
{
    const std::tuple<std::optional<std::string>, std::optional<std::string>, std::size_t, const char*> cases[]
        = {{"A", "A", 2, "the same"}, {std::nullopt, std::nullopt, 2, "both null"}, {"A", "B", 1, "moved on"},
            {std::nullopt, "A", 1, "came"}, {std::nullopt, "", 1, "null is not empty"}};
    for (const auto& [before, after, times, why] : cases) {
        LinkInHand in;
        in.link.setLastStateID(before);
        in.ask(R"({"Data": {"Name": "Song"}})");
        ASSERT_EQ(in.owner->packets.size(), 1u) << why;
        in.link.setLastStateID(after);
        EXPECT_EQ(in.comesAfter(Seconds(1), [&] { return in.owner->packets.size() == 2; }), times == 2) << why;
        in.fastForwardBy(Seconds(5));
        EXPECT_EQ(in.owner->packets.size(), times) << "and never again";
    }
    LinkInHand in; // with a new state beside it
    in.link.setLastStateID("A");
    in.ask(R"({"ChangeID": "B", "Data": {"Name": "Song"}})");
    EXPECT_EQ(in.waiting(), "Data 7 ");
    in.fastForwardBy(Seconds(2));
    EXPECT_THAT(in.owner->packets, ElementsAre(Dictionary{{"Name", "Song"}}));
}

TEST(Packet, HoldsEveryKindOfValueThatJsonHas)
{
    LinkInHand in;
    in.ask(
        R"({"Data": {"t": "\u00e9\ud83c\udfb5", "i": -5, "most": 9223372036854775807, "big": 9223372036854775808, "f": 1.5, "b": true,
        "n": null, "a": [1, ["x"]], "o": {"k": {}}, "twice": 1, "twice": 2}, "Rest": [{"t": 1}]})");
    ASSERT_EQ(in.owner->packets.size(), 1u);
    EXPECT_EQ(in.owner->packets[0],
        (Dictionary{{"t", "é🎵"}, {"i", -5}, {"most", INT64_MAX}, {"big", 9223372036854775808.0}, {"f", 1.5},
            {"b", true}, {"n", Value()}, {"a", Array{1, Array{"x"}}}, {"o", Dictionary{{"k", Dictionary{}}}},
            {"twice", 2}}));
}

TEST(Answer, ThatIsBuiltToExhaustIsRefused)
{
    const auto nested = [](std::size_t levels, const char* open, const char* close) {
        return "{\"ChangeID\": \"B\", \"Data\": {\"x\": " + repeated(open, levels) + "1" + repeated(close, levels)
            + "}}";
    };
    const auto many = [](std::size_t values) { return "{\"Data\": {\"x\": [0" + repeated(",0", values - 1) + "]}}"; };
    const std::string other = "{\"Rest" + many(200'000).substr(6); // the same beside the packet costs nothing
    const std::tuple<std::string, bool, const char*> cases[]
        = {{nested(510, "[", "]"), false, "as deep as the platform reads"}, {nested(511, "[", "]"), true, "one deeper"},
            {nested(100'000, "[", "]"), true, "arrays without end"},
            {nested(100'000, "{\"a\": ", "}"), true, "objects without end"},
            {std::string(1'000'000, '['), true, "opened alone"}, {many(100'000), false, "many values"},
            {many(100'001), true, "one more"}, {other, false, "as many of no interest"}};
    for (const auto& [answer, isRefused, why] : cases) {
        LinkInHand in;
        EXPECT_EQ(!printedFor(in, answer).empty(), isRefused) << why;
        EXPECT_FALSE(in.link.isDownloadInProgress()) << why;
    }
}

// Covers of the greatest size within a second: they are shown, and not all of them kept.
TEST(Packet, HugeOnesWaitForTheirSecondApplicationOnlyAsFarAsMemoryAllows)
{
    LinkInHand in;
    const auto packet = [](std::size_t size) {
        const std::string head = R"({"Data": {"Track Artwork": ")", tail = R"("}})";
        return head + std::string(size - head.size() - tail.size(), 'A') + tail;
    };
    const auto take = [&](const std::string& answer) {
        in.ask(answer);
        return std::exchange(in.owner->packets, {}).size();
    };
    for (const std::size_t size : {40u << 20, (24u << 20) + 1, 24u << 20})
        EXPECT_EQ(take(packet(size)), 1u);
    in.fastForwardBy(Seconds(2));
    EXPECT_EQ(std::exchange(in.owner->packets, {}).size(), 2u) << "64 MiB have room for the first and the last";
    take(packet(100));
    in.fastForwardBy(Seconds(2));
    EXPECT_EQ(in.owner->packets.size(), 1u) << "and are free again";
}

// The owner is a view: it must live while a request does, and end on the main thread.
TEST(Owner, LivesAsLongAsARequestAndGoesOnTheMainThreadAlsoWhereTheSessionOrTheQueueDropsIt)
{
    for (const bool isDropped : {false, true}) {
        LinkInHand in;
        const std::weak_ptr<LinkOwner> weak = in.owner;
        in.poll();
        if (isDropped)
            in.link.queryMuralisAppOnBackgroundThread();
        in.owner.reset();
        EXPECT_FALSE(weak.expired());
        isDropped ? in.session.invalidateAndCancel() : in.session.answer("{}");
        in.queue.blocks.clear();
        EXPECT_FALSE(weak.expired()) << "not within the handler";
        in.settle();
        EXPECT_TRUE(weak.expired());
    }
}

} // namespace
} // namespace vitrel
