// What compositions hear and visualisers are fed, in whole programs: with the example, which publishes all there is.
#include "programs/Program.h"
#include "sound/SoundServer.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

namespace vitrel {
namespace {

using testing::IsEmpty, testing::SizeIs, testing::Gt;

struct Sounds : testing::Test {
    // From the trace of a snapshot: what was heard as "sound", and what each input was given, in turn.
    std::map<std::string, std::vector<nlohmann::json>> traced(std::vector<std::string> words)
    {
        const std::string trace = folder / "trace.jsonl", out = folder / "out.png";
        words.insert(words.begin(), {"snapshot", "--output", out, "--size", "64x36", "--trace", trace});
        words.push_back(VITREL_COMPOSITIONS "/Spectrum Ring.json");
        Program program(std::move(words));
        EXPECT_TRUE(program.endsWell()) << program.errors();
        std::map<std::string, std::vector<nlohmann::json>> found;
        std::istringstream text(TemporaryFolder::read(trace));
        for (std::string line; std::getline(text, line);) {
            const auto one = nlohmann::json::parse(line);
            found[one.value("key", "sound")].push_back(one.contains("sound") ? one["sound"]["peak"] : one["value"]);
        }
        return found;
    }
    TemporaryFolder folder;
};

TEST_F(Sounds, AVisualiserIsFedWhatIsHeardAndTheTrack)
{
    auto demo = traced({"--demo", "--after", "1.5"});
    EXPECT_THAT(demo["sound"], SizeIs(Gt(10u)));
    EXPECT_EQ(demo["_protocolInput_AudioPeak"].size(), demo["sound"].size() + 1) << "silence first";
    EXPECT_EQ(demo["_protocolInput_AudioSpectrum"].back().size(), 16u);
    EXPECT_EQ(demo["_protocolInput_TrackInfo"].back()["name"], "Harbour Lights");
    EXPECT_EQ(demo["_protocolInput_TrackInfo"].back()["duration"], 225);
    EXPECT_EQ(demo["_protocolInput_TrackSignal"], (std::vector<nlohmann::json>{true, false}));
    const auto& positions = demo["_protocolInput_TrackPosition"];
    EXPECT_THAT(positions, SizeIs(Gt(8u)));
    EXPECT_TRUE(std::is_sorted(positions.begin(), positions.end()));
    EXPECT_THAT(demo["_protocolInput_PreviewMode"], IsEmpty());
    EXPECT_THAT(traced({"--demo", "--sound", "off", "--after", "0.7"})["sound"], IsEmpty());
    EXPECT_THAT(traced({"--without-data", "--after", "0.7"})["sound"], IsEmpty());

    // Half a second of a rectangle, 8 bits of 8 kHz.
    std::string file("RIFF\xC4\x0F\0\0WAVEfmt \x10\0\0\0\1\0\1\0\x40\x1F\0\0\x40\x1F\0\0\1\0\x08\0"
                     "data\xA0\x0F\0\0",
        44);
    for (int k = 0; k < 4000; ++k)
        file += k % 10 < 5 ? '\xC0' : '\x40';
    auto played = traced({"--sound", folder.write("x.wav", file), "--after", "1.5"});
    EXPECT_THAT(played["sound"], testing::Contains(Gt(0.3)));
    EXPECT_EQ(played["sound"].back(), 0) << "once";
}

TEST_F(Sounds, AFileThatIsNoneIsSaidInOneLine)
{
    for (const std::string& name : {std::string("none.wav"), folder.write("text.wav", "no sound"), folder.path()}) {
        Program program({"snapshot", "--output", folder / "out.png", "--sound", name});
        EXPECT_TRUE(program.fails(1)) << program.errors();
        EXPECT_THAT(program.errors(), testing::HasSubstr(" is no sound: "));
    }
}

// The whole road, confined: a real server, whose microphone hums all the time, the process outside, the ring.
TEST_F(Sounds, WhatThisComputerPlaysIsHeardThroughTheProcessOutside)
{
    if (!SoundServer::isInstalled(SoundServer::Kind::PulseAudio))
        GTEST_SKIP() << "without a server";
    const SoundServer server(SoundServer::Kind::PulseAudio);
    EXPECT_THAT(traced({"--after", "1.5"})["sound"], IsEmpty()) << "nothing plays";
    const TonePlayer player(1000);
    EXPECT_THAT(traced({"--after", "4"})["sound"], testing::Contains(Gt(0.3)));
    EXPECT_THAT(traced({"--after", "1.5", "--sound", "off"})["sound"], IsEmpty());
}

} // namespace
} // namespace vitrel
