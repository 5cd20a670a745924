#include "saver/CompositionOptions.h"
#include "support/Saver.h"

#include <gmock/gmock.h>

#include <cmath>

namespace vitrel {
namespace {

using qc::InputDescription;
using qc::PortType;
using testing::ElementsAre, testing::IsEmpty, testing::Pair;

InputDescription input(const char* key, PortType type)
{
    InputDescription input;
    input.key = key;
    input.type = type;
    return input;
}

// A user's value in the place of the track, or a control for what nobody can type.
TEST(Options, AreWhatNobodyElseFeedsAndAControlCanSet)
{
    for (const char* key : {"TextSize", "CPU", "inputColor", "_protocolInput_Pace"})
        EXPECT_TRUE(isOption(input(key, PortType::Number))) << key;
    for (const char* key : {"Name", "albumArt", "totalTimeInMS", "Christmas_mode", "RequiresSquareImage",
             "Muralis_RSS_Feed", "Muralis_RSS_ArticlesCount", "_protocolInput_AudioPeak", "inputTrackPosition",
             "_protocolInput_PreviewMode", "Covers_This_Evening", "Vitrel_Feed_Entries"})
        EXPECT_FALSE(isOption(input(key, PortType::Number))) << key;
    for (const PortType type : {PortType::Boolean, PortType::Index, PortType::String, PortType::Color})
        EXPECT_TRUE(isOption(input("Mine", type))) << qc::nameOf(type);
    for (const PortType type :
        {PortType::Image, PortType::Structure, PortType::Virtual, PortType::Mesh, PortType::Interaction})
        EXPECT_FALSE(isOption(input("Mine", type))) << qc::nameOf(type);
}

TEST(Options, TakeWhatFitsAndNothingElse)
{
    InputDescription size = input("s", PortType::Number), way = input("w", PortType::Index),
                     count = input("c", PortType::Index);
    size.least = 0.5;
    size.most = 2;
    way.labels = {"Calm", "Wild", "7"};
    count.most = 9.5;
    const InputDescription flag = input("f", PortType::Boolean), text = input("t", PortType::String),
                           tint = input("i", PortType::Color);
    const std::optional<Value> none;
    const NSColor half{1, 0.5, 0, 1};
    const std::tuple<const InputDescription*, Value, std::optional<Value>> cases[] = {{&size, 1.25, 1.25},
        {&size, 1, 1.0}, {&size, 7, 2.0}, {&size, -7, 0.5}, {&size, "1.5", 1.5}, {&size, "1.5x", none},
        {&size, "", none}, {&size, "inf", none}, {&size, std::nan(""), none}, {&size, Value(), none},
        {&size, Array{1}, none}, {&way, 1, 1}, {&way, "Wild", 1}, {&way, "7", 2}, {&way, "wild", none}, {&way, 9, 2},
        {&way, -1, 0}, {&way, 0.5, none}, {&count, 20, 9}, {&count, 1e300, 9}, {&flag, true, true}, {&flag, 0, false},
        {&flag, "true", true}, {&flag, "yes", none}, {&flag, 2, none}, {&text, "a\nb", "a\nb"}, {&text, 1.5, "1.5"},
        {&text, Array{}, none}, {&text, std::string(70'000, 'x'), none}, {&tint, half, half},
        {&tint, Array{1, 0.5, 0}, half}, {&tint, Array{7, 0.5, -1, 1}, half}, {&tint, "#ff0000", NSColor{1, 0, 0, 1}},
        {&tint, "red", none}, {&tint, Dictionary{{"red", 1}, {"green", 0.5}, {"blue", 0}}, half},
        {&tint, Array{1, 0}, none}, {&tint, Array{1, 0, 0, 1, 1}, none}, {&tint, Array{1, 0, 0, "x"}, none},
        {&tint, Array{1, 0, std::nan("")}, none}, {&tint, 1, none}};
    for (const auto& [option, given, expected] : cases)
        EXPECT_EQ(optionValue(*option, given), expected) << option->key << " " << description(given);
    EXPECT_EQ(optionValue(tint, storedOption(half)), Value(half)) << "as it is stored";
}

// What was taken back stays, another's write is written over, or each change of one option writes all.
TEST(Options, ArePlayedOverTheCompositionsOwnValuesAndGiveThemBack)
{
    Composer composer;
    RecordingQCView view(composer);
    view.values = {{"a", 1.0}, {"b", 2.0}, {"t", "own"}, {"Name", "N"}};
    PlayedOptions options(view,
        {input("a", PortType::Number), input("b", PortType::Number), input("t", PortType::String),
            input("Name", PortType::String), input("held", PortType::Number)});
    options.leave("held");
    EXPECT_EQ(options.inputs().size(), 4u);
    EXPECT_EQ(options.ownValue("b"), Value(2.0));
    EXPECT_EQ(options.ownValue("Name"), Value());
    std::vector<std::string> told;
    const auto apply = [&](const Dictionary& stored) {
        options.apply(
            stored, [&](const Value& value, const std::string& key) { told.push_back(key + description(value)); });
        return std::exchange(told, {});
    };
    EXPECT_THAT(apply({}), IsEmpty());
    EXPECT_THAT(apply({{"a", 5}, {"t", "mine"}, {"Name", "x"}, {"gone", 1}, {"held", 3}}), ElementsAre("a5", "tmine"));
    view.writes.clear();
    EXPECT_THAT(apply({{"a", 5.0}, {"b", 6}, {"t", "mine"}}), ElementsAre("b6"));
    EXPECT_THAT(apply({{"a", "nonsense"}, {"b", 6}}), ElementsAre("a1", "town"));
    EXPECT_THAT(view.writes, ElementsAre(Pair("b", Value(6.0)), Pair("a", Value(1.0)), Pair("t", Value("own"))));
    composer.refuses = true;
    EXPECT_THAT(apply({{"a", 9}}), IsEmpty());
}

} // namespace
} // namespace vitrel
