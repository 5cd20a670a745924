#include "programs/muralis/http/Admission.h"
#include "companion/token/Token.h"
#include "muralis/Caller.h"
#include "support/DateKit.h"

#include <gtest/gtest.h>

#include <functional>

namespace vitrel {
namespace {

const std::string kIdentity = "68753A44-4D6F-1226-9C60-0050E4C00067";

// Percent-escapes are read exactly; "+" is a character of base64 and no blank.
TEST(CompanionTarget, TakesTheFiveKeysOnceEach)
{
    const auto target = makeCompanionTarget("/music/Data?screen=7&s=a+/==&id=I&d=x%20y%2Bz&h=%zz%4");
    ASSERT_TRUE(target);
    EXPECT_EQ(target->question, CompanionQuestion::Data);
    EXPECT_EQ(target->signature, "a+/==");
    EXPECT_EQ(target->id, "I");
    EXPECT_EQ(target->date, "x y+z");
    EXPECT_EQ(target->seal, "%zz%4");
    EXPECT_EQ(makeCompanionTarget("/music/ChangeID?screen=&s=&id=&d=&h=")->question, CompanionQuestion::State);

    for (const char* bad : {"", "/", "/music/Data", "/music/Data?",
             "/music/data?screen=&s=&id=&d=&h=", "/music/Data/?screen=&s=&id=&d=&h=",
             "//music/Data?screen=&s=&id=&d=&h=", "http://localhost/music/Data?screen=&s=&id=&d=&h=",
             "/music/Data?screen=&s=&id=&d=", "/music/Data?screen=&s=&id=&d=&h=&h=",
             "/music/Data?screen=&s=&id=&d=&h=&x=", "/music/Data?s=&id=&d=&h=", "/music/Data?screen=&s=&id=&d=&h=&",
             "/music/Data?screen=&&s=&id=&d=&h=", "/music/Data?screen&s=&id=&d=&h=",
             "/music/Dat%61?screen=&s=&id=&d=&h=", "/music/Data?screen=&S=&id=&d=&h="})
        EXPECT_FALSE(makeCompanionTarget(bad)) << bad;
}

TEST(CompanionDate, IsReadToTheMillisecondAndNothingElseIs)
{
    // seconds: by `date -u +%s.%3N`
    const std::tuple<const char*, double> good[]
        = {{"1970-01-01 00.00.00.000", 0}, {"2026-11-16 21.54.29.123", 1794866069.123},
            {"2024-02-29 23.59.59.999", 1709251199.999}, {"9999-12-31 00.00.00.000", 253402214400}};
    for (const auto& [text, seconds] : good) {
        ASSERT_TRUE(companionDate(text)) << text;
        EXPECT_NEAR(companionDate(text)->secondsSince1970, seconds, 1e-6) << text;
    }
    for (const char* bad : {"", "2026-11-16", "2026-11-16 21:54:29.123", "2026-11-16T21.54.29.123",
             "2026-11-16 21.54.29.12", "2026-11-16 21.54.29.1234", "2026-02-29 00.00.00.000", "2026-13-01 00.00.00.000",
             "2026-00-01 00.00.00.000", "2026-01-00 00.00.00.000", "2026-11-16 24.00.00.000", "2026-11-16 23.60.00.000",
             "2026-11-16 23.00.60.000", "-026-11-16 21.54.29.123", "2026-11-16 21.54.29.1 3"})
        EXPECT_FALSE(companionDate(bad)) << bad;
}

TEST(Identity, IsAnUpperCaseUUID)
{
    EXPECT_TRUE(makeIdentity(kIdentity));
    EXPECT_EQ((*makeIdentity(kIdentity))[15], 0x67);
    for (const char* bad : {"", "68753a44-4D6F-1226-9C60-0050E4C00067", "68753A44-4D6F-1226-9C60-0050E4C0006",
             "68753A44-4D6F-1226-9C60-0050E4C000677", "{8753A44-4D6F-1226-9C60-0050E4C00067",
             "68753A4404D6F-1226-9C60-0050E4C00067", "68753A44-4D6F-1226-9C60-0050E4C0006G"})
        EXPECT_FALSE(makeIdentity(bad)) << bad;
}

struct Door {
    ManualClock clock;
    Admission admission{clock};
    bool isOwn = true;
    int lookedUp = 0;

    HttpRequest request(double offset = 0, const std::string& identity = freshIdentity()) const
    {
        HttpRequest request;
        request.method = "GET";
        request.host = "localhost:9802";
        request.target = signedTarget(kCompanionStateTarget, {clock.date().secondsSince1970 + offset}, identity);
        return request;
    }
    bool lets(const HttpRequest& request)
    {
        return admission.admit(request, [this] { return ++lookedUp, isOwn; }).has_value();
    }
};

// The saver of a user in Bangkok writes the year 2569 of the Buddhist calendar, one in Cairo the digits of Arabic; and
// the companion may have been started by a login that knows of no language.
TEST(Admission, ReadsDatesAsAnyUserWritesThem)
{
    for (const auto& [locale, own] : {std::pair("th_TH.UTF-8", "C"), {"ar_EG.UTF-8", "th_TH.UTF-8"},
             {"fa_IR.UTF-8", "C"}, {"ar_SA.UTF-8", "fa_IR.UTF-8"}, {"th_TH.UTF-8", "th_TH.UTF-8"}}) {
        setenv("LC_ALL", locale, 1);
        Door door;
        door.clock.time = Seconds(1794866069.0); // 2026-11-16
        const auto date = universalDatetimeFormatted(door.clock.date(), kCompanionDatePattern);
        const auto old = universalDatetimeFormatted({door.clock.date().secondsSince1970 - 301}, kCompanionDatePattern);
        EXPECT_FALSE(date.starts_with("2026-")) << date;
        setenv("LC_ALL", own, 1);
        auto request = door.request();
        for (const auto& text : {date, old}) {
            request.target = std::string(kCompanionStateTarget) + escapedCompanionQuery(freshIdentity(), text);
            EXPECT_EQ(door.lets(request), text == date) << locale << ": " << text;
        }
        setenv("LC_ALL", "C", 1);
    }
}

// Whatever is wrong keeps a request out and leaves nothing behind: the right one with the same identity still gets
// in. Were the identity noted before the check, anyone could use up others' identities, and all of the memory.
TEST(Admission, RefusesWhatIsWrongAndRemembersNothingOfIt)
{
    const auto replace = [](std::string& text, const std::string& from, const std::string& to) {
        const auto at = text.find(from);
        ASSERT_NE(at, std::string::npos) << from;
        text.replace(at, from.size(), to);
    };
    const auto flip = [](std::string& text, const std::string& key) {
        char& c = text[text.find(key) + key.size() + 3];
        c = c == 'A' ? 'B' : 'A';
    };
    const std::tuple<const char*, std::function<void(HttpRequest&, Door&)>> cases[] = {
        {"a character of s", [&](HttpRequest& r, Door&) { flip(r.target, "&s="); }},
        {"a character of h", [&](HttpRequest& r, Door&) { flip(r.target, "&h="); }},
        {"h cut short", [&](HttpRequest& r, Door&) { r.target.pop_back(); }},
        {"another millisecond", [&](HttpRequest& r, Door&) { r.target[r.target.find("&h=") - 1] ^= 1; }},
        {"a blank written as plus", [&](HttpRequest& r, Door&) { replace(r.target, "%20", "+"); }},
        {"a date too old", [&](HttpRequest& r, Door& d) { r = d.request(-300.001, kIdentity); }},
        {"a date too new", [&](HttpRequest& r, Door& d) { r = d.request(300.001, kIdentity); }},
        {"another method", [&](HttpRequest& r, Door&) { r.method = "POST"; }},
        {"a method in small letters", [&](HttpRequest& r, Door&) { r.method = "get"; }},
        {"another host", [&](HttpRequest& r, Door&) { r.host = "evil.example"; }},
        {"no host", [&](HttpRequest& r, Door&) { r.host = ""; }},
        {"a page", [&](HttpRequest& r, Door&) { r.isFromPage = true; }},
        {"another user", [&](HttpRequest&, Door& d) { d.isOwn = false; }},
    };
    for (const auto& [why, spoil] : cases) {
        Door door;
        HttpRequest request = door.request(0, kIdentity);
        spoil(request, door);
        EXPECT_FALSE(door.lets(request)) << why;
        door.isOwn = true;
        EXPECT_TRUE(door.lets(door.request(0, kIdentity))) << why;
        EXPECT_FALSE(door.lets(door.request(1, kIdentity))) << why << ", then taken twice";
    }
}

// The lookup of the caller's user reads long lists; a flood of forged requests must not cause any.
TEST(Admission, LooksUpTheCallerOnlyForAGoodTokenOfUpToFiveMinutesOff)
{
    Door door;
    HttpRequest forged = door.request();
    forged.target[forged.target.find("&h=") + 4] ^= 1;
    EXPECT_FALSE(door.lets(forged));
    EXPECT_FALSE(door.lets(door.request(-400)));
    EXPECT_EQ(door.lookedUp, 0);
    EXPECT_TRUE(door.lets(door.request(-300)));
    EXPECT_TRUE(door.lets(door.request(300))) << "five minutes, on both sides";
    EXPECT_EQ(door.lookedUp, 2);
}

// An identity that came with a date ahead stays good for ten minutes; forgotten sooner, it could be used again.
TEST(Admission, KnowsAnIdentityForAsLongAsItsDatePasses)
{
    Door door;
    ASSERT_TRUE(door.lets(door.request()));
    door.clock.time += Seconds(550); // so that its set is nearly full of age
    const HttpRequest early = door.request(300);
    ASSERT_TRUE(door.lets(early));
    for (int minute = 0; minute < 10; ++minute) {
        door.clock.time += Seconds(60);
        EXPECT_FALSE(door.lets(early)) << minute;
        EXPECT_TRUE(door.lets(door.request())) << minute;
    }
}

// Beyond the limit new ones are refused; to forget some would let those be used again.
TEST(UsedIdentities, AreBoundedAndForgottenInTime)
{
    UsedIdentities used(Seconds(600));
    const auto identity = [](std::uint32_t number) {
        Identity identity{};
        std::memcpy(identity.data(), &number, sizeof number);
        return identity;
    };
    for (std::uint32_t k = 0; k < UsedIdentities::kMostInSet; ++k)
        ASSERT_TRUE(used.use(identity(k), Seconds(10)));
    EXPECT_FALSE(used.use(identity(~0u), Seconds(609.9)));
    EXPECT_TRUE(used.use(identity(~0u), Seconds(610)));
    EXPECT_FALSE(used.use(identity(0), Seconds(1209)));
    EXPECT_TRUE(used.use(identity(0), Seconds(1210)));
    EXPECT_TRUE(used.use(identity(0), Seconds(1e6)));
}

} // namespace
} // namespace vitrel
