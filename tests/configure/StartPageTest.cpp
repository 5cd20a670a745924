#include "configure/Sheet.h"
#include "preferences/StartSettings.h"

#include <gmock/gmock.h>

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QSpinBox>
#include <QTabBar>
#include <QTabWidget>

namespace vitrel {
namespace {

using testing::ElementsAre, testing::IsEmpty, testing::StartsWith;

struct StartSheet : Sheet {
    StartSheet()
        : Sheet({}, "", [](Sheet& in) { in.program = "/bin/vitrel"; })
    {
        EXPECT_THAT(runs, IsEmpty()) << "nothing is run before the page is seen";
        open();
    }
    void open()
    {
        auto& bar = *find<QTabWidget>("pages").tabBar();
        QTest::mouseClick(&bar, Qt::LeftButton, {}, bar.tabRect(1).center());
        settle();
    }
    // The next program's words, once it has been answered.
    std::string answer(const std::optional<ProgramRun>& how)
    {
        if (runs.empty())
            return "none";
        const Run run = runs.front();
        runs.erase(runs.begin());
        std::string words;
        for (const auto& word : run.words)
            words += (words.empty() ? "" : " ") + word;
        run.ended(how);
        settle();
        return words;
    }
    QCheckBox& theSwitch() { return find<QCheckBox>("startSwitch"); }
    std::string inForce() { return find<QLabel>("startInForce").text().toStdString(); }
};

constexpr const char* kLook = "/bin/vitrel idle --status";
constexpr const char* kUnit = "systemctl --user is-enabled vitrel-idle.service";

TEST(StartPage, SaysWhatIsInForceAndShowsOnlyWhatActs)
{
    struct Case {
        const char *status, *unit;
        int unitCode;
        bool canSwitch, isOn, hasMinutes, hasDisplays;
        const char* says;
    };
    const Case cases[] = {
        {"state\twaiting\n", "enabled\n", 0, true, true, true, true, "Vitrel waits"},
        {"state\tpossible\n", "disabled\n", 1, true, false, true, true, "Nothing starts"},
        {"state\tpossible\n", "enabled\n", 0, true, true, true, true, "It doesn’t run now"},
        {"state\tpossible\n", "Failed to connect to bus: No medium found\n", 1, false, false, true, true,
            "There is no systemd"},
        {"state\tpossible\n", nullptr, 0, false, false, true, true, "There is no systemd"},
        {"state\twaiting\n", nullptr, 0, false, false, true, true, "Vitrel waits"},
        {"state\tpossible\n", "not-found\n", 4, false, false, true, true, "The service vitrel-idle isn’t installed"},
        {"state\tpossible\n", "Failed to get unit file state: No such file or directory\n", 1, false, false, true, true,
            "The service"},
        {"state\timpossible\nadvice\tno timer\n", "disabled\n", 1, true, false, true, true,
            "This desktop doesn’t tell"},
        {"state\tother\nby\tswayidle\nadvice\tswayidle -w\n", "disabled\n", 1, false, false, false, true,
            "swayidle waits on this desktop and decides when. Have it start Vitrel:\nswayidle -w"},
    };
    StartSheet in;
    bool first = true;
    for (const auto& one : cases) {
        if (!std::exchange(first, false)) {
            in.find<QTabWidget>("pages").setCurrentIndex(0);
            in.open();
        }
        ASSERT_EQ(in.answer(ProgramRun{0, one.status}), kLook);
        ASSERT_EQ(in.answer(one.unit ? std::optional(ProgramRun{one.unitCode, one.unit}) : std::nullopt), kUnit);
        const std::string why = std::string(one.status) + (one.unit ? one.unit : "none");
        EXPECT_THAT(in.inForce(), StartsWith(one.says)) << why;
        EXPECT_EQ(in.theSwitch().isVisible() && in.theSwitch().isEnabled(), one.canSwitch) << why;
        EXPECT_EQ(in.theSwitch().isChecked(), one.isOn) << why;
        EXPECT_EQ(in.find<QSpinBox>("startMinutes").isVisible(), one.hasMinutes) << why;
        EXPECT_EQ(in.find<QCheckBox>("startOnBattery").isVisible(), one.hasMinutes) << why;
        EXPECT_EQ(in.find<QComboBox>("startDisplays").isVisible(), one.hasDisplays) << why;
        EXPECT_THAT(in.runs, IsEmpty()) << why;
    }
}

TEST(StartPage, TheSwitchTellsSystemdOrXScreenSaverAndComesBackWhereThatFails)
{
    StartSheet in;
    in.answer(ProgramRun{0, "state\tpossible\n"});
    in.answer(ProgramRun{1, "disabled\n"});
    in.click("startSwitch");
    EXPECT_FALSE(in.theSwitch().isEnabled()) << "until it is done";
    EXPECT_EQ(
        in.answer(ProgramRun{1, "Failed: <b>no</b>\nmore\n"}), "systemctl --user enable --now vitrel-idle.service");
    EXPECT_FALSE(in.theSwitch().isChecked());
    EXPECT_EQ(in.inForce(), "That couldn’t be done: Failed: <b>no</b>");
    in.click("startSwitch");
    in.answer(ProgramRun{0, ""});
    in.noticeWrites();
    in.answer(ProgramRun{0, "state\twaiting\n"});
    in.answer(ProgramRun{0, "enabled\n"});
    EXPECT_TRUE(in.theSwitch().isChecked());
    in.click("startSwitch");
    EXPECT_EQ(in.answer(ProgramRun{0, ""}), "systemctl --user disable --now vitrel-idle.service");
    in.noticeWrites();
    in.answer(ProgramRun{0, "state\tother\nby\txscreensaver\n"});
    EXPECT_EQ(in.answer(ProgramRun{1, ""}), "/bin/vitrel xscreensaver status");
    EXPECT_FALSE(in.theSwitch().isChecked());
    EXPECT_FALSE(in.find<QComboBox>("startDisplays").isVisible()) << "it gives a window for each";
    in.click("startSwitch");
    EXPECT_EQ(in.answer(ProgramRun{0, ""}), "/bin/vitrel xscreensaver add");
}

TEST(StartPage, StoresAtOnceAndShowsWhatOthersStore)
{
    StartSheet in;
    const auto stored = [&] { return startSettings(in.surroundings); };
    auto& minutes = in.find<QSpinBox>("startMinutes");
    EXPECT_EQ(minutes.value(), 5);
    in.key(minutes, Qt::Key_Up);
    EXPECT_EQ(stored().afterMinutes, 6);
    in.key(in.find<QDoubleSpinBox>("startFade"), Qt::Key_Down);
    EXPECT_EQ(stored().fade, Seconds(0));
    in.click("startOnBattery");
    EXPECT_FALSE(stored().onBattery);
    auto& displays = in.find<QComboBox>("startDisplays");
    in.key(displays, Qt::Key_Down);
    EXPECT_THAT(stored().displays, ElementsAre("primary"));
    in.key(displays, Qt::Key_Up);
    EXPECT_THAT(stored().displays, IsEmpty());
    in.other().setValueForKey(Sheet::kDomain, "Start After Minutes", 42);
    in.other().setValueForKey(Sheet::kDomain, "Start Displays", Array{"DP-7", "DP-8"});
    in.noticeWrites();
    EXPECT_EQ(minutes.value(), 42);
    EXPECT_EQ(displays.currentText(), QLatin1String("DP-7,DP-8"));
    EXPECT_THAT(stored().displays, ElementsAre("DP-7", "DP-8")) << "a look stores nothing";
    EXPECT_EQ(in.reloads(), 0);
}

TEST(ProgramRuns, TellHowAProgramEndedAndNothingOnceTheyAreGone)
{
    std::vector<std::string> told;
    const auto tell = [&](const std::optional<ProgramRun>& run) {
        told.push_back(run ? std::to_string(run->code) + run->output : "absent");
    };
    {
        ProgramRuns runs;
        runs.run({"/bin/sh", "-c", "echo out; echo err >&2; exit 3"}, tell);
        EXPECT_TRUE(QTest::qWaitFor([&] { return told.size() == 1; }));
        runs.run({"/no/such/program"}, tell);
        EXPECT_TRUE(QTest::qWaitFor([&] { return told.size() == 2; }));
        runs.run({"/bin/sleep", "600"}, tell);
    }
    EXPECT_THAT(told, ElementsAre("3out\nerr\n", "absent"));
}

} // namespace
} // namespace vitrel
