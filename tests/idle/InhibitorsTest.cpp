#include "programs/idle/Inhibitors.h"
#include "programs/idle/OtherSavers.h"
#include "programs/idle/PowerSupply.h"

#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

namespace vitrel {
namespace {

TEST(Inhibitors, MusicAloneHoldsNothingBack)
{
    const std::tuple<const char*, const char*, bool> cases[] = {
        {"firefox", "video-playing", true}, {"firefox", "audio-playing", false},
        {"/usr/bin/chromium", "Playing audio", false}, {"/usr/bin/chromium", "Playing video", true},
        {"Player", "Playing MUSIC", false}, {"Player", "Playing audio and video", true}, {"Talk", "Audio call", true},
        {"vlc", "Playing some media.", true}, {"backup", "", true},
        {"audio", "writing a disc", true}, // the reason counts, not the name
    };
    for (const auto& [who, why, holds] : cases)
        EXPECT_EQ(holdsSaverBack({who, why}), holds) << who << ": " << why;
}

TEST(Inhibitors, RequestsBelongToTheirCallers)
{
    InhibitorBook book;
    const auto film = book.add(":1.1", {"film", "video"}), song = book.add(":1.2", {"song", "music"});
    EXPECT_NE(film, song);
    EXPECT_TRUE(book.holdsSaverBack());
    EXPECT_FALSE(book.remove(":1.2", film)) << "another's";
    EXPECT_TRUE(book.remove(":1.1", film));
    EXPECT_FALSE(book.remove(":1.1", film));
    EXPECT_FALSE(book.holdsSaverBack());
    book.add(":1.3", {"film", "video"});
    book.add(":1.3", {"film", "video"});
    book.removeAll(":1.3");
    EXPECT_FALSE(book.holdsSaverBack()) << "a caller that dies takes its requests along";
    EXPECT_EQ(book.all().size(), 1u);
}

TEST(Inhibitors, AFloodOfRequestsIsRefused)
{
    InhibitorBook book;
    const std::string huge(1 << 20, 'x');
    std::uint32_t last = 1;
    int taken = 0;
    for (; last && taken < 5000; taken += last != 0)
        last = book.add(":1.1", {huge, huge});
    EXPECT_EQ(taken, 1000);
    EXPECT_LE(book.all().front().why.size(), 1000u);
    int callers = 1;
    while (callers < 1000 && book.add(":2." + std::to_string(callers), {}))
        ++callers;
    EXPECT_EQ(callers, 50);
}

TEST(PowerSupply, IsTheBatteryOnlyWhenNothingIsPluggedIn)
{
    const std::tuple<std::vector<std::pair<const char*, const char*>>, bool, const char*> cases[] = {
        {{}, false, "a desktop"},
        {{{"AC/type", "Mains\n"}, {"AC/online", "1\n"}, {"BAT0/type", "Battery\n"}}, false, "plugged in"},
        {{{"AC/type", "Mains\n"}, {"AC/online", "0\n"}, {"BAT0/type", "Battery\n"}}, true, "not plugged in"},
        {{{"A/type", "Mains"}, {"A/online", "0"}, {"B/type", "Battery"}, {"C/type", "USB"}, {"C/online", "1"}}, false,
            "by another plug"},
        {{{"B/type", "Battery\n"}, {"B/status", "Discharging\n"}}, true, "no plug is told of"},
        {{{"B/type", "Battery\n"}, {"B/status", "Full\n"}}, false, "fed"},
        {{{"m/type", "Battery\n"}, {"m/scope", "Device\n"}, {"m/status", "Discharging\n"}}, false, "a mouse"},
        {{{"B/type", ""}, {"x", "no folder"}}, false, "nonsense"},
    };
    for (const auto& [files, onBattery, why] : cases) {
        const TemporaryFolder folder;
        for (const auto& [name, text] : files)
            folder.write(name, text);
        EXPECT_EQ(isOnBattery(folder.path()), onBattery) << why;
    }
    EXPECT_FALSE(isOnBattery("/nowhere"));
}

TEST(OtherSavers, AreToldByTheNamesOfProcesses)
{
    const TemporaryFolder folder;
    folder.write("12/comm", "xss-lock\n");
    folder.write("13/comm", "xss-lock\n");
    folder.write("14/comm", "gnome-screensav\n"); // as the kernel cuts it off
    folder.write("15/comm", "bash\n");
    folder.write("self/comm", "swayidle\n"); // no process
    folder.write("16/other", "");
    std::string found;
    for (const auto& saver : otherSavers(folder.path()))
        found += saver.program + (saver.advice.empty() ? " " : "! ");
    EXPECT_EQ(found, "xss-lock! gnome-screensav ");
}

} // namespace
} // namespace vitrel
