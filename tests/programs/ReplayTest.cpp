// The same moment again: traces, and films.
#include "programs/Program.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

namespace vitrel {
namespace {

using Words = std::vector<std::string>;

// Everything that could differ from one run to the next: inputs, a picture, sound, waves, chance, the date, a script's
// memory and its own chance, a picture that is read while it plays.
constexpr const char* kSource = R"json({
  "inputs": { "Size": "Size.input", "Flag": "Rises.inputSignal", "Cover": "Cover.input", "Name": "Name.input" },
  "outputs": { "Rises": "Rises.outputCount", "Now": "Now.outputTime", "Peak": "Hears.outputPeak",
               "Name": "Name.output", "Wide": "Measure.outputPixelsWide" },
  "patches": {
    "Clear": { "class": "QCClear" },
    "Size": { "class": "QCSplitter", "settings": { "portClass": "QCNumberPort" } },
    "Now": { "class": "QCSystemTime" },
    "Hears": { "class": "QCAudioInput" },
    "Rises": { "class": "QCCounter" },
    "Name": { "class": "QCSplitter", "settings": { "portClass": "QCStringPort" } },
    "Cover": { "class": "QCSplitter", "settings": { "portClass": "QCImagePort" } },
    "Measure": { "class": "QCImageDimensions" },
    "Wave": { "class": "QCLFO", "inputs": { "inputPeriod": 1.7 } },
    "Chance": { "class": "QCRandom" },
    "Script": { "class": "QCJavaScript", "settings": { "newMode": 1, "script":
      "var sum = 0; function (__number x, __number y) main (__number now, __number peak) { sum += Math.random(); return {x: Math.sin(sum + now / 7), y: peak + Math.random() / 9}; }" } },
    "Beside": { "class": "QCImageDownloader", "inputs": { "inputURL": "code.png" } },
    "Board": { "class": "QCBillboard" },
    "Ball": { "class": "QCBillboard", "inputs": { "inputScale": 0.4 } },
    "Third": { "class": "QCBillboard", "inputs": { "inputScale": 0.3 } }
  },
  "connections": [ "Cover.output > Board.inputImage", "Cover.output > Measure.inputImage", "Wave.outputValue > Board.inputRotation", "Size.output > Third.inputY", "Chance.outputValue > Board.inputX",
    "Now.outputTime > Script.now", "Hears.outputPeak > Script.peak", "Script.x > Ball.inputX", "Script.y > Ball.inputY",
    "Beside.outputImage > Ball.inputImage", "Beside.outputImage > Third.inputImage", "Wave.outputValue > Third.inputX" ]
})json";

class Replays : public testing::Test
{
protected:
    void SetUp() override
    {
        run({"code", "hello", folder_ / "code.png"});
        run({"code", "cover", folder_ / "t.jsonl.images/" + kHash + ".png", "--scale", "2"}, true);
        folder_.write("all.json", kSource);
        folder_.write("t.jsonl",
            R"({"t":0,"view":0,"key":"Name","value":"first","date":978307300}
{"t":0,"view":0,"key":"Cover","value":{"image":[42,42],"hash":")"
                + kHash + R"("}}
{"t":0.5,"view":1,"key":"Name","value":"another view"}
{"t":0.5,"view":0,"key":"Name","value":"second"}
{"t":0.51,"view":0,"key":"Flag","value":true}
{"t":0.511,"view":0,"key":"Flag","value":false}
{"t":0.6,"view":0,"sound":{"peak":0.75,"spectrum":[0.5,0.25]}}
{"t":1.2,"view":0,"key":"Cover","value":null}
)");
    }
    std::string run(const Words& words, bool inNewFolder = false)
    {
        if (inNewFolder)
            std::filesystem::create_directories(std::filesystem::path(words[2]).parent_path());
        Program program(words);
        EXPECT_EQ(program.wait(60), 0) << testing::PrintToString(words) << program.errors();
        return program.output();
    }
    bool hasOpenGL()
    {
        Program program({"snapshot", "-o", "/dev/null", "--replay", trace(), "--after", "0", "--size", "9x9", file()});
        return program.wait() == 0 || program.errors().find("OpenGL") == std::string::npos;
    }
    std::string file() const { return folder_ / "all.json"; }
    std::string trace() const { return folder_ / "t.jsonl"; }

    const std::string kHash = "00112233445566778899aabbccddeeff";
    TemporaryFolder folder_;
};

TEST_F(Replays, InputsPicturesSoundAndDateComeFromTheTraceInTheirTime)
{
    const std::string text = run({"evaluate", "--replay", trace(), file(), "--at", "0", "--at", "0.49", "--at", "0.5",
        "--at", "0.6", "--at", "1.25"});
    std::istringstream lines(text);
    const std::tuple<double, const char*, double, double, int> expected[]
        = {// time, name, peak, rises, width of the cover
            {0, "first", 0, 0, 42}, {0.49, "first", 0, 0, 42}, {0.5, "second", 0, 0, 42}, {0.6, "second", 0.75, 1, 42},
            {1.25, "second", 0.75, 1, 0}};
    for (const auto& [t, name, peak, rises, wide] : expected) {
        std::string line;
        ASSERT_TRUE(std::getline(lines, line));
        const auto outputs = nlohmann::json::parse(line)["outputs"];
        EXPECT_EQ(outputs["Name"], name) << t;
        EXPECT_EQ(outputs["Peak"], peak) << t;
        EXPECT_EQ(outputs["Rises"], rises) << t << ": a flag that was up for a moment";
        EXPECT_NEAR(outputs["Now"], 100 + t, 1e-6) << "seconds since 2001";
        EXPECT_EQ(outputs["Wide"] > 0, wide > 0) << t;
    }
    EXPECT_THAT(
        run({"evaluate", "--replay", trace(), "--view", "1", file(), "--at", "1"}), testing::HasSubstr("another view"));
}

TEST_F(Replays, TwoPicturesOfAMomentAreEqualToTheByte)
{
    if (!hasOpenGL())
        GTEST_SKIP() << "no OpenGL here";
    std::string pictures[3];
    for (std::size_t k = 0; k < 3; ++k) {
        const std::string out = folder_ / "out.png";
        run({"snapshot", "-o", out, "--size", "160x90", "--after", k == 2 ? "0.7" : "0.9", "--replay", trace(),
            file()});
        pictures[k] = TemporaryFolder::read(out);
    }
    EXPECT_GT(pictures[0].size(), 500u);
    EXPECT_TRUE(pictures[0] == pictures[1]);
    EXPECT_FALSE(pictures[0] == pictures[2]) << "it moves";
}

TEST_F(Replays, TwoFilmsAreEqualToTheByteAndAnInterruptedOneIsNone)
{
    if (!hasOpenGL())
        GTEST_SKIP() << "no OpenGL here";
    const std::string out = folder_ / "out.y4m";
    const auto film = [&](Words words) {
        words.insert(words.begin(), {"film", "--size", "34x20", "--seconds", "0.5"});
        run(words);
        return TemporaryFolder::read(out);
    };
    const std::string first = film({"--replay", trace(), file(), out});
    EXPECT_EQ(first.size(), first.find('\n') + 1 + 15 * (6 + 34u * 20 * 3 / 2)) << first.substr(0, 80);
    EXPECT_TRUE(first == film({"--replay", trace(), file(), out}));
    EXPECT_EQ(run({"film", "--size", "34x20", "--seconds", "0.5", "--replay", trace(), file(), "-"}), first);

    // Green all over, from a value given by hand.
    const std::string plain
        = folder_.write("plain.json", R"({"inputs":{"Tint":"C.inputColor"},"patches":{"C":{"class":"QCClear"}}})");
    const std::string green = film({"--input", "Tint=#00ff00", plain, out});
    for (std::size_t k = green.size() - 1020; k < green.size() - 340; ++k)
        EXPECT_NEAR(std::uint8_t(green[k]), 145, 1);
    EXPECT_NE(film({"--demo", out}), "") << "the default composition, with all that it is fed";

    const std::string long1 = folder_ / "long.webp";
    const std::size_t before = folder_.count();
    Program program({"film", "--seconds", "60", file(), long1});
    RealLoop().turnUntil([&] { return folder_.count() > before; }, 20);
    program.signal(SIGTERM);
    EXPECT_TRUE(program.fails(1)) << program.errors();
    EXPECT_EQ(folder_.count(), before);
}

// A real run, traced: what it was fed is what its trace feeds.
TEST_F(Replays, ATraceHasAllThatItTakesToSeeItAgain)
{
    const std::string traced = folder_ / "live.jsonl", again = folder_ / "again.png";
    Program program({"snapshot", "--demo", "-o", again, "--size", "64x36", "--after", "1.5", "--trace", traced,
        "--input", "Size=0.25", file()});
    if (program.wait() != 0)
        GTEST_SKIP() << program.errors();
    std::set<std::string> hashes;
    std::istringstream lines(TemporaryFolder::read(traced));
    int dates = 0;
    double size = 0;
    for (std::string line; std::getline(lines, line);) {
        const auto json = nlohmann::json::parse(line);
        dates += int(json.count("date"));
        if (json["key"] == "Size")
            size = json["value"];
    }
    EXPECT_EQ(dates, 1);
    EXPECT_EQ(size, 0.25) << "also by hand";
    const auto outputs = nlohmann::json::parse(run({"evaluate", "--replay", traced, file(), "--at", "1.4"}))["outputs"];
    EXPECT_EQ(outputs["Name"], "Harbour Lights");
}

TEST_F(Replays, WhatIsNoTraceOrHasNoPlaceBesideOneIsSaidInOneLine)
{
    const std::pair<Words, int> cases[] = {
        {{"snapshot", "-o", "x.png", "--replay", folder_ / "none", file()}, 1},
        {{"snapshot", "-o", "x.png", "--replay", file(), file()}, 1},
        {{"evaluate", "--replay", folder_.path(), file()}, 1},
        {{"play", "--window", "--replay", file()}, 1},
        {{"snapshot", "-o", "x.png", "--replay", trace(), "--demo"}, 2},
        {{"snapshot", "-o", "x.png", "--replay", trace(), "--trace", "t"}, 2},
        {{"snapshot", "-o", "x.png", "--replay", trace(), "--sound", "off"}, 2},
        {{"snapshot", "-o", "x.png", "--view", "1", file()}, 2},
        {{"film", file()}, 2},
        {{"film", "x.mp4"}, 2},
        {{"film", "--size", "1280x720", "--seconds", "600", file(), "x.gif"}, 2},
        {{"film", file(), folder_ / "no/x.gif"}, 1},
        {{"film", folder_ / "none", "x.gif"}, 1},
        {{"film", "--sound", file(), file(), "x.gif"}, 1},
        {{"film", "--input", "None=1", file(), "x.gif"}, 1},
    };
    for (const auto& [words, code] : cases) {
        Program program(words);
        EXPECT_TRUE(program.fails(code)) << testing::PrintToString(words) << program.errors();
    }
}

} // namespace
} // namespace vitrel
