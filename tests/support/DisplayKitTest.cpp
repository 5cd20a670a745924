#include "support/DisplayKit.h"

#include "platform/appkit/DisplayInformation.h"
#include "platform/appkit/NSScreen.h"

#include <gtest/gtest.h>

namespace vitrel {
namespace {

NSScreen screenWith(Value number)
{
    NSScreen screen;
    screen.localizedName = "local";
    if (!number.isNothing())
        screen.deviceDescription["NSScreenNumber"] = std::move(number);
    return screen;
}

Value info(int vendor, int product, Value serial, Value names)
{
    Dictionary members{{"DisplayVendorID", vendor}, {"DisplayProductID", product}};
    if (!serial.isNothing())
        members["DisplaySerialNumber"] = std::move(serial);
    if (!names.isNothing())
        members["DisplayProductName"] = std::move(names);
    return members;
}

// Three displays of two models; the list of what the monitors say begins with the wrong one.
struct Displays {
    std::vector<DisplayInformation> list{
        {11, 1, 2, 30, "UUID-11", info(1, 2, 30, Dictionary{{"en", "Wrong serial"}})},
        {12, 1, 2, 31, "UUID-12", info(1, 2, 31, Dictionary{{"de", "Richtig"}, {"en", "Right"}})},
        {13, 1, 2, 0, "", info(1, 2, {}, Dictionary{})},
        {14, 9, 9, 9, "UUID-14", {}},
    };
    int asked = 0;
    DisplaySurroundings surroundings;

    Displays()
    {
        surroundings.systemVersion = {10, 14, 6};
        surroundings.displays = [this] {
            ++asked;
            return list;
        };
        surroundings.screens = [] {
            std::vector<std::shared_ptr<const NSScreen>> screens;
            for (Value number : {Value(), Value("12"), Value(11), Value(13), Value(12), Value(12)})
                screens.push_back(std::make_shared<const NSScreen>(screenWith(number)));
            return screens;
        };
    }
    std::string printedName(Value number, std::optional<std::string>* name = nullptr)
    {
        testing::internal::CaptureStdout();
        const auto found = _displayName(surroundings, screenWith(std::move(number)));
        if (name)
            *name = found;
        else
            EXPECT_EQ(found, std::nullopt);
        return testing::internal::GetCapturedStdout();
    }
};

TEST(DisplayKit, ANumberIsUnsignedWith32BitsOrAbsent)
{
    const std::pair<Value, std::optional<std::string>> cases[] = {{Value(), std::nullopt}, {Value("7"), std::nullopt},
        {Value(-1), std::nullopt}, {Value(std::int64_t(4294967296)), std::nullopt}, {Value(7.0), std::nullopt},
        {Value(std::int64_t(4294967295)), "4294967295"}, {Value(0), "0"}};
    for (const auto& [entry, text] : cases) {
        const NSScreen screen = screenWith(entry);
        EXPECT_EQ(displayIDInt(screen).has_value(), text.has_value()) << description(entry);
        EXPECT_EQ(screenNumber(screen).has_value(), text.has_value()) << description(entry);
        EXPECT_EQ(screenNumberStringValue(screen), text) << description(entry);
    }
}

TEST(DisplayKit, FindsTheFirstScreenThatTheTextNamesExactly)
{
    const Displays in;
    const auto screens = in.surroundings.screens();
    const auto number
        = [](const std::shared_ptr<const NSScreen>& screen) { return screen ? displayIDInt(*screen).value_or(0) : 0; };
    EXPECT_EQ(number(screenForNumber(in.surroundings, "12")), 12u);
    EXPECT_EQ(number(screenForDisplayID(in.surroundings, "11")), 11u);
    EXPECT_EQ(number(screenForIdentifier(in.surroundings, "UUID-12")), 12u);
    for (const char* text : {"", "012", "+12", " 12", "99", "UUID-12"})
        EXPECT_EQ(screenForNumber(in.surroundings, text), nullptr) << text;
    for (const char* text : {"", "uuid-12", "UUID-14", "12"})
        EXPECT_EQ(screenForIdentifier(in.surroundings, text), nullptr) << text;
    EXPECT_EQ(uuidForDisplayID(in.surroundings, 12), "UUID-12");
    EXPECT_EQ(uuidForDisplayID(in.surroundings, 13), std::nullopt) << "empty is none";
    EXPECT_EQ(uuidForDisplayID(in.surroundings, 99), std::nullopt);
    EXPECT_EQ(screenForNumber(DisplaySurroundings(), "12"), nullptr);
}

TEST(DisplayKit, TheNameIsThatOfTheMonitorWithAllThreeNumbers)
{
    Displays in;
    std::optional<std::string> name;
    EXPECT_EQ(in.printedName(12, &name), "");
    EXPECT_EQ(name, "Richtig") << "the first language, whichever it is";
    EXPECT_EQ(getIOService(in.surroundings, 12), 2u) << "the first has another serial";
    EXPECT_EQ(in.printedName(13), "") << "a missing serial is 0; no names, no message";
    in.list[1].info = info(1, 2, 31, Dictionary{{"en", 5}});
    EXPECT_EQ(in.printedName(12), "");
    EXPECT_EQ(displayOrLocalizedName(in.surroundings, screenWith(11)), "Wrong serial");
    in.surroundings.systemVersion = {10, 15, 0};
    EXPECT_EQ(displayOrLocalizedName(in.surroundings, screenWith(11)), "local");
}

TEST(DisplayKit, SaysWhyThereIsNoName)
{
    Displays in;
    EXPECT_EQ(in.printedName({}), "Could not get CGDirectDisplayID from NSScreen.\n");
    EXPECT_EQ(in.printedName(14), "Could not get valid io_service_t.\n");
    EXPECT_EQ(in.printedName(99), "Could not get valid io_service_t.\n");
    // Unplugged between the two looks.
    in.surroundings.displays = [&in] {
        auto list = in.list;
        if (in.asked++ > 2)
            list[1].info = {};
        return list;
    };
    in.asked = 2;
    EXPECT_EQ(in.printedName(12), "IODisplayCreateInfoDictionary could not convert or cast to [String: AnyObject]\n");
}

} // namespace
} // namespace vitrel
