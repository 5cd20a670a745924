// What compositions hear and visualisers are fed, in whole programs.
#include "programs/Program.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <cmath>

namespace vitrel {
namespace {

using nlohmann::json;

// A second of a tone, half as loud as can be, as a WAV file.
std::string tone(double frequency)
{
    constexpr std::uint32_t kRate = 8000;
    std::string data;
    const auto add = [](std::string& to, std::uint32_t number, int bytes) {
        for (; bytes > 0; --bytes, number >>= 8)
            to += char(number & 255);
    };
    for (std::uint32_t k = 0; k < kRate; ++k)
        add(data, std::uint32_t(std::int32_t(16383 * std::sin(6.28318530718 * frequency * k / kRate))), 2);
    std::string head = "RIFF";
    add(head, std::uint32_t(36 + data.size()), 4);
    head += "WAVEfmt ";
    for (const auto& [number, bytes] :
        {std::pair(16u, 4), {1u, 2}, {1u, 2}, {kRate, 4}, {2 * kRate, 4}, {2u, 2}, {16u, 2}})
        add(head, number, bytes);
    head += "data";
    add(head, std::uint32_t(data.size()), 4);
    return head + data;
}

struct Sounds : testing::Test {
    // The lines of the trace of a snapshot.
    std::vector<json> traced(std::vector<std::string> words)
    {
        const std::string trace = folder / "trace.jsonl";
        words.insert(words.begin(), {"snapshot", "--output", folder / "out.png", "--size", "64x36", "--trace", trace});
        Program program(std::move(words));
        EXPECT_TRUE(program.endsWell()) << program.errors();
        std::istringstream text(TemporaryFolder::read(trace));
        std::vector<json> lines;
        for (std::string line; std::getline(text, line);)
            lines.push_back(json::parse(line));
        return lines;
    }
    static std::vector<json> withMember(const std::vector<json>& lines, const char* name)
    {
        std::vector<json> found;
        for (const json& line : lines)
            if (line.contains(name))
                found.push_back(line.at(name));
        return found;
    }
    // What one input was given, in turn.
    static std::vector<json> given(const std::vector<json>& lines, const std::string& key)
    {
        std::vector<json> values;
        for (const json& line : lines)
            if (line.value("key", "") == key)
                values.push_back(line.at("value"));
        return values;
    }

    TemporaryFolder folder;
    const std::string visualizer = folder.write("v.json", R"({
        "inputs": {"_protocolInput_AudioPeak": "a.x", "inputAudioSpectrum": "s.input", "_protocolInput_TrackInfo": "i.input",
            "_protocolInput_TrackPosition": "a.y", "_protocolInput_TrackSignal": "t.input", "_protocolInput_PreviewMode": "p.input"},
        "patches": {"a": {"class": "QCExpression", "settings": {"expression": "x + y"}},
            "s": {"class": "QCSplitter", "settings": {"portClass": "QCStructurePort"}},
            "i": {"class": "QCSplitter", "settings": {"portClass": "QCStructurePort"}},
            "t": {"class": "QCSplitter", "settings": {"portClass": "QCBooleanPort"}},
            "p": {"class": "QCSplitter", "settings": {"portClass": "QCBooleanPort"}}, "c": {"class": "QCClear"}}})");
};

TEST_F(Sounds, AVisualiserIsFedWhatIsHeardAndTheTrack)
{
    const auto file = folder.write("tone.wav", tone(1000));
    const auto lines = traced({"--demo", "--sound", file, "--after", "1.5", visualizer});
    const auto peaks = given(lines, "_protocolInput_AudioPeak");
    ASSERT_GT(peaks.size(), 3u);
    EXPECT_EQ(peaks.front(), 0) << "silence, at once";
    EXPECT_GT(*std::max_element(peaks.begin(), peaks.end()), 0.3);
    EXPECT_EQ(peaks.back(), 0) << "it is over";
    // The band of 1 kHz is the ninth: 800 to 1163 Hz.
    const auto spectra = given(lines, "inputAudioSpectrum");
    ASSERT_GT(spectra.size(), 3u);
    const json& middle = spectra[spectra.size() / 2];
    ASSERT_EQ(middle.size(), 16u);
    EXPECT_EQ(std::max_element(middle.begin(), middle.end()) - middle.begin(), 8);
    const auto heard = withMember(lines, "sound");
    ASSERT_GT(heard.size(), 3u);
    EXPECT_EQ(heard[1].at("spectrum").size(), 16u);
    EXPECT_NE(heard[0], heard[1]) << "a line each time it changed";

    const auto infos = given(lines, "_protocolInput_TrackInfo");
    ASSERT_FALSE(infos.empty());
    EXPECT_EQ(infos.back().at("name"), "Harbour Lights");
    EXPECT_EQ(infos.back().at("duration"), 225);
    EXPECT_TRUE(infos.back().at("artwork").contains("image"));
    EXPECT_THAT(given(lines, "_protocolInput_TrackSignal"), testing::ElementsAre(true, false));
    const auto positions = given(lines, "_protocolInput_TrackPosition");
    EXPECT_GT(positions.size(), 8u);
    EXPECT_TRUE(std::is_sorted(positions.begin(), positions.end()));
    EXPECT_THAT(given(lines, "_protocolInput_PreviewMode"), testing::IsEmpty());
}

TEST_F(Sounds, TheExampleMovesWithTheDemonstrationAndIsStillWithoutSound)
{
    const std::string example = VITREL_COMPOSITIONS "/Spectrum Ring.json";
    const auto lines = traced({"--demo", "--after", "1.5", example});
    EXPECT_GT(withMember(lines, "sound").size(), 10u);
    EXPECT_THAT(
        withMember(traced({"--demo", "--sound", "off", "--after", "0.7", example}), "sound"), testing::IsEmpty());
    EXPECT_THAT(withMember(traced({"--without-data", "--after", "0.7", example}), "sound"), testing::IsEmpty());
}

TEST_F(Sounds, AFileThatIsNoneIsSaidInOneLine)
{
    for (const std::string& name : {std::string("none.wav"), folder.write("text.wav", "no sound"), folder.path()}) {
        Program program({"snapshot", "--output", folder / "out.png", "--sound", name});
        EXPECT_TRUE(program.fails(1)) << program.errors();
        EXPECT_THAT(program.errors(), testing::HasSubstr(" is no sound: "));
    }
}

} // namespace
} // namespace vitrel
