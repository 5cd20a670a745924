#include "quartzcomposer/Play.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

namespace vitrel::qc {

namespace {

std::vector<std::string> keysOf(const std::vector<PublishedPort>& ports)
{
    std::vector<std::string> keys;
    for (const PublishedPort& port : ports)
        keys.push_back(port.key + ":" + nameOf(port.type));
    return keys;
}

// A sprite keeps what is connected to it computed: without a consumer nobody asks.
std::string watched(const std::string& patches, const std::string& connections)
{
    return R"({"patches": {)" + patches + R"(, "eye": {"class": "QCSprite"}}, "connections": [)" + connections + "]}";
}

} // namespace

// Hosts find inputs by their order in the file and set them by key; the values come from the top of the file.
TEST(PublishedPorts, KeepTheirOrderTypesAndValues)
{
    Player player(
        R"({"inputs": {"z": "t.inputString", "a": "m.deep", "Title ": "c.inputColor", "gone": "t.noSuchPort", "q": "s.input"},
        "outputs": {"y": "t.outputImage", "b": "c.output1"},
        "values": {"z": "text", "a": 3, "Title ": "#ff0000ff", "unknown": 1},
        "patches": {"t": {"class": "QCTextImage"}, "c": {"class": "QCColorToComponents"}, "s": {"class": "QCSplitter"},
            "m": {"class": "QCPatch", "inputs": {"deep": "inner.deeper"}, "patches": {"inner": {"class": "QCPatch", "inputs": {"deeper": "r.inputValue"},
                "patches": {"r": {"class": "QCRoundValue"}}}}}}})");
    EXPECT_THAT(
        keysOf(player.graph->inputs()), testing::ElementsAre("z:string", "a:number", "Title :color", "q:virtual"));
    EXPECT_THAT(keysOf(player.graph->outputs()), testing::ElementsAre("y:image", "b:number"));
    EXPECT_EQ(player.graph->dangling(), 1);
    EXPECT_EQ(player.graph->input("a"), Value(3.0));
    EXPECT_EQ(player.graph->input("z"), Value("text"));
    EXPECT_EQ(player.graph->input("Title "), Value(NSColor{1, 0, 0, 1}));
    EXPECT_TRUE(player.graph->input("q").isNothing());
    EXPECT_TRUE(player.graph->input("Title").isNothing()) << "keys are compared exactly";
    EXPECT_EQ(player.over({0}, "b"), "1");
}

TEST(PublishedPorts, OfInnerMacrosTakeTheirOwnValue)
{
    EXPECT_EQ(
        evaluated(
            R"({"outputs": {"out": "m.o"}, "patches": {"m": {"class": "QCPatch", "inputs": {"i": "r.inputValue"}, "outputs": {"o": "r.outputCeil"},
        "values": {"i": 2.5}, "patches": {"r": {"class": "QCRoundValue"}}}}})"),
        "3");
    EXPECT_EQ(
        evaluated(
            R"({"outputs": {"out": "m.o"}, "patches": {"n": {"class": "QCSplitter", "inputs": {"input": 7.5}, "settings": {"portClass": "QCNumberPort"}},
        "m": {"class": "QCPatch", "inputs": {"i": "r.inputValue"}, "outputs": {"o": "r.outputCeil"},
        "values": {"i": 2.5}, "patches": {"r": {"class": "QCRoundValue"}}}}, "connections": ["n.output > m.i"]})"),
        "8");
}

// Definitions are instances of a macro: their defaults, the instance's values, and one that holds itself.
TEST(VirtualPatches, AreMacrosOfTheirDefinition)
{
    const char* const definition
        = R"("virtualPatches": {"/twice": {"inputs": {"x": "m.inputValue", "y": "m.operand_1"}, "outputs": {"o": "m.outputValue"},
        "values": {"x": 5, "y": 2}, "patches": {"m": {"class": "QCMath", "inputs": {"operation_1": 2}}}}})";
    const auto with = [&](const std::string& patches, const std::string& connections = "") {
        return R"({"outputs": {"out": "p.o"}, "patches": {)" + patches + R"(}, "connections": [)" + connections + "], "
            + definition + "}";
    };
    EXPECT_EQ(evaluated(with(R"("p": {"class": "/twice"})")), "10") << "the definition's values";
    EXPECT_EQ(evaluated(with(R"("p": {"class": "/twice", "inputs": {"x": 1.5}})")), "3") << "the instance's";
    EXPECT_EQ(
        evaluated(with(R"("q": {"class": "/twice", "inputs": {"x": 4}}, "p": {"class": "/twice", "inputs": {"y": 3}})",
            R"("q.o > p.x")")),
        "24")
        << "two instances keep apart";
    EXPECT_EQ(evaluated(with(R"("p": {"class": "/Twice"})")), "null") << "an identifier is compared exactly";

    Player nested(R"({"outputs": {"out": "p.o"}, "patches": {"p": {"class": "/a"}}, "virtualPatches": {
        "/a": {"outputs": {"o": "t.outputRound"}, "patches": {"t": {"class": "QCRoundValue", "inputs": {"inputValue": 4}}, "self": {"class": "/a"}, "other": {"class": "/b"}}},
        "/b": {"patches": {"again": {"class": "/a"}}}}})");
    nested.frame(0);
    EXPECT_EQ(nested.out(), "4");
    EXPECT_EQ(nested.graph->unsupported().at("/a"), 2) << "in itself, and in what it holds";
}

TEST(UnknownClasses, AreNamedAndHarmless)
{
    Player player(
        R"({"outputs": {"out": "r.outputRound"}, "patches": {"k": {"class": "KinemeThing", "patches": {"in": {"class": "QCTime"}}, "outputs": {"o": "in.outputTime"}},
        "g": {"class": "QCPlugInPatch", "identifier": "Plug"}, "f": {"class": "QCImageFilter", "identifier": "CIUnknown"}, "v": {"class": "/gone"},
        "r": {"class": "QCRoundValue", "inputs": {"inputValue": 2}}}, "connections": ["k.o > r.inputValue", "r.outputRound > g.x"]})");
    player.frame(0);
    EXPECT_EQ(player.out(), "2");
    EXPECT_EQ(player.graph->dangling(), 0) << "a connection to a stranger isn't dangling";
    const std::map<std::string, int> named{
        {"KinemeThing", 1}, {"QCPlugInPatch/Plug", 1}, {"QCImageFilter/CIUnknown", 1}, {"/gone", 1}};
    EXPECT_EQ(player.graph->unsupported(), named);
    EXPECT_EQ(unsupportedClasses(*player.file, registry()), named);
}

// Only the chosen source may be asked: a counter behind the other one must not count.
TEST(Laziness, TheMultiplexerAsksOnlyTheChosenSource)
{
    Player player(
        R"({"inputs": {"index": "x.inputIndex", "signal": "c.inputSignal"}, "outputs": {"out": "x.output"}, "patches": {
        "c": {"class": "QCCounter"}, "x": {"class": "QCMultiplexer", "settings": {"inputCount": 2, "portClass": "QCNumberPort"}, "inputs": {"source_0": -1}}},
        "connections": ["c.outputCount > x.source_1"]})");
    for (int k = 0; k < 6; ++k) {
        player.graph->setInput("signal", k % 2 == 1);
        player.frame(k);
        player.out();
    }
    player.graph->setInput("index", 1);
    player.frame(6);
    EXPECT_EQ(player.out(), "1") << "only this frame's edge";
    player.graph->setInput("index", 99);
    EXPECT_EQ(player.over({7}), "1") << "beyond the last: the last";
}

TEST(Demultiplexer, HandsTheValueToOneDestination)
{
    Player keeps(
        R"({"inputs": {"index": "x.inputIndex", "v": "x.input"}, "outputs": {"a": "x.destination_0", "b": "x.destination_1"},
        "patches": {"x": {"class": "QCDemultiplexer", "settings": {"outputCount": 2, "portClass": "QCNumberPort"}, "inputs": {"inputReset": -1}}}})");
    keeps.graph->setInput("v", 5);
    EXPECT_EQ(keeps.over({0}, "a"), "5");
    EXPECT_EQ(keeps.out("b"), "0");
    keeps.graph->setInput("index", 1);
    EXPECT_EQ(keeps.over({1}, "a"), "5") << "keeps its last value";
    EXPECT_EQ(keeps.out("b"), "5");
    EXPECT_EQ(
        evaluated(onePatch(
            R"("class": "QCDemultiplexer", "settings": {"outputCount": 2, "portClass": "QCNumberPort", "resetOutputs": true},
        "inputs": {"inputReset": -1, "inputIndex": 1, "input": 5})",
            "destination_0")),
        "-1");
}

// Cycles are legal and common: one answers with its last run, and the values settle in the frames that follow.
TEST(Cycles, AnswerWithTheLastRunAndSettle)
{
    Player ring(
        R"({"outputs": {"out": "a.outputValue"}, "patches": {"a": {"class": "QCMath", "inputs": {"operation_1": 0, "operand_1": 1}},
        "b": {"class": "QCRangeValue", "inputs": {"inputMin": 0, "inputMax": 3}}}, "connections": ["a.outputValue > b.inputValue", "b.outputClip > a.inputValue"]})");
    EXPECT_EQ(ring.over({0, 1, 2, 3, 4, 5}), "1 2 3 4 4 4");
    Player itself(
        R"({"outputs": {"out": "a.outputValue"}, "patches": {"a": {"class": "QCMath", "inputs": {"operation_1": 0, "operand_1": 1}}},
        "connections": ["a.outputValue > a.inputValue"]})");
    EXPECT_EQ(itself.over({0, 1, 2}), "1 2 3");
    Player macros(
        R"({"outputs": {"out": "m.o"}, "patches": {"m": {"class": "QCPatch", "inputs": {"i": "a.inputValue"}, "outputs": {"o": "a.outputValue"},
        "patches": {"a": {"class": "QCMath", "inputs": {"operation_1": 0, "operand_1": 1}}}}, "s": {"class": "QCSplitter", "settings": {"portClass": "QCNumberPort"}}},
        "connections": ["m.o > s.input", "s.output > m.i"]})");
    EXPECT_EQ(macros.over({0, 1, 2}), "1 2 3") << "through the ports of a macro";
    Player frames(watched(
        R"("a": {"class": "QCMath", "inputs": {"operation_1": 0, "operand_1": 1}}, "b": {"class": "QCRangeValue", "inputs": {"inputMin": 0, "inputMax": 3}})",
        R"("a.outputValue > b.inputValue", "b.outputClip > a.inputValue", "b.outputClip > eye.inputX")"));
    int asked = 0;
    for (double t = 0; t < 20; ++t)
        asked += std::isfinite(frames.frame(t).next);
    EXPECT_GE(asked, 3) << "until it has settled";
    EXPECT_LE(asked, 6) << "and no longer";
}

// A still composition costs nothing: no frame is asked for and none of four thousand patches is computed again.
TEST(Stillness, NothingChangesNothingIsComputed)
{
    std::string patches = R"("m0": {"class": "QCMath"})", connections;
    for (int k = 1; k < 4000; ++k) {
        const std::string n = std::to_string(k), before = std::to_string(k - 1);
        patches += ", \"m" + n + R"(": {"class": "QCMath", "inputs": {"operation_1": 0, "operand_1": 1}})";
        // A tree rather than a chain, so that each is within reach.
        connections
            += (k > 1 ? ", " : "") + ("\"m" + std::to_string((k - 1) / 2)) + ".outputValue > m" + n + ".inputValue\"";
    }
    std::string text = R"({"inputs": {"in": "m0.inputValue"}, "patches": {)" + patches;
    for (int k = 2000; k < 4000; ++k) {
        const std::string n = std::to_string(k);
        text += ", \"s" + n + R"(": {"class": "QCSprite"})";
        connections += ", \"m" + n + ".outputValue > s" + n + ".inputX\"";
    }
    Player player(text + R"(}, "connections": [)" + connections + "]}");
    EXPECT_EQ(player.graph->dangling(), 0);
    const auto first = player.frame(0);
    EXPECT_GE(first.evaluations, 4000u);
    EXPECT_TRUE(std::isinf(first.next));
    const auto second = player.frame(1);
    EXPECT_EQ(second.evaluations, 2000u) << "the sprites alone, which draw";
    EXPECT_TRUE(std::isinf(second.next));
    player.graph->setInput("in", 1);
    EXPECT_GE(player.frame(2).evaluations, 4000u);
    player.graph->setInput("in", 1);
    EXPECT_EQ(player.frame(3).evaluations, 2000u) << "the same value is no change";
}

// When the next frame can differ, by what the picture follows.
TEST(Stillness, TheNextFrameIsAskedForWhenItCanDiffer)
{
    const double never = HUGE_VAL;
    struct {
        const char* patch;
        const char* output;
        double next; // after a frame at 1.25
    } const cases[] = {
        {R"("class": "QCRoundValue")", "outputRound", never},
        {R"("class": "QCTime")", "outputTime", 1.25},
        {R"("class": "QCTime", "settings": {"timebase": "external"})", "outputTime", never},
        {R"("class": "QCLFO")", "outputValue", 1.25},
        {R"("class": "QCLFO", "inputs": {"inputAmplitude": 0})", "outputValue", never},
        {R"("class": "QCLFO", "inputs": {"inputType": 3, "inputPeriod": 4})", "outputValue", 2},
        {R"("class": "QCLFO", "inputs": {"inputType": 7, "inputPeriod": 2})", "outputValue", 2},
        {R"("class": "QCInterpolation", "inputs": {"inputValue2": 1, "inputDuration": 1})", "outputValue", never},
        {R"("class": "QCInterpolation", "inputs": {"inputValue2": 1, "inputDuration": 2})", "outputValue", 1.25},
        {R"("class": "QCInterpolation", "inputs": {"inputValue2": 0, "inputRepeat": 1})", "outputValue", never},
        {R"("class": "QCSmooth", "inputs": {"inputValue": 1})", "outputValue", never},
        {R"("class": "QCSignal", "inputs": {"inputMode": 0, "inputParam": 3})", "outputSignal", 4.25},
        {R"("class": "QCRandom", "inputs": {"inputMin": 1, "inputMax": 1})", "outputValue", never},
        {R"("class": "QCClock")", "outputTime", never},
        {R"("class": "QCSystemTime")", "outputTime", 1.25},
    };
    for (const auto& [patch, output, next] : cases) {
        Player player(watched(std::string("\"p\": {") + patch + "}", "\"p." + std::string(output) + " > eye.inputX\""));
        EXPECT_DOUBLE_EQ(player.frame(1.25).next, next) << patch;
    }
    Player hidden(
        R"({"patches": {"t": {"class": "QCTime"}, "eye": {"class": "QCSprite", "inputs": {"_enable": false}}}, "connections": ["t.outputTime > eye.inputX"]})");
    EXPECT_TRUE(std::isinf(hidden.frame(1).next)) << "a disabled consumer pulls nothing";
}

// A disabled macro doesn't run its nodes, and what it published stays.
TEST(Enable, RestsAMacroAndKeepsItsOutputs)
{
    Player player(R"({"inputs": {"on": "m._enable"}, "outputs": {"n": "c.outputCount"}, "patches": {
        "p": {"class": "QCLFO", "inputs": {"inputType": 3, "inputPeriod": 2}}, "c": {"class": "QCCounter"},
        "m": {"class": "QCPatch", "inputs": {"i": "eye.inputX"}, "patches": {"eye": {"class": "QCSprite"}}}},
        "connections": ["p.outputValue > c.inputSignal", "c.outputCount > m.i"]})");
    EXPECT_EQ(player.graph->inputs().size(), 1u);
    player.graph->setInput("on", false);
    EXPECT_EQ(player.frame(0).evaluations, 0u);
    player.graph->setInput("on", true);
    EXPECT_GT(player.frame(1).evaluations, 0u);
}

// A chain longer than the stack is deep is computed over several frames, and none is lost.
TEST(LongChains, CatchUpInTheFramesThatFollow)
{
    constexpr int kLength = 20'000;
    std::string patches = R"("m0": {"class": "QCMath", "inputs": {"inputValue": 5}})", connections;
    for (int k = 1; k < kLength; ++k) {
        const std::string n = std::to_string(k);
        patches += ", \"m" + n + R"(": {"class": "QCMath", "inputs": {"operation_1": 0, "operand_1": 1}})";
        connections += (k > 1 ? ", \"m" : "\"m") + std::to_string(k - 1) + ".outputValue > m" + n + ".inputValue\"";
    }
    Player player(R"({"outputs": {"out": "m)" + std::to_string(kLength - 1) + R"(.outputValue"}, "patches": {)"
        + patches + R"(}, "connections": [)" + connections + "]}");
    std::string last;
    for (int frame = 0; frame < 12; ++frame)
        last = player.over({double(frame)});
    EXPECT_EQ(last, std::to_string(5 + kLength - 1));
}

// The same way through published ports alone: sixty levels down and up again for each of a chain's links.
TEST(LongChains, LeadThroughTheLevelsOfMacros)
{
    constexpr int kLength = 900, kDeep = 60;
    std::string patches, connections;
    for (int k = 0; k < kLength; ++k) {
        std::string macro = R"({"class": "QCMath", "inputs": {"operation_1": 0, "operand_1": 1}})", in = "m.inputValue",
                    out = "m.outputValue";
        for (int level = 0; level < kDeep; ++level) {
            macro = R"({"class": "QCPatch", "inputs": {"i": ")" + in + R"("}, "outputs": {"o": ")" + out
                + R"("}, "patches": {"m": )" + macro + "}}";
            in = "m.i";
            out = "m.o";
        }
        const std::string name = "c" + std::to_string(k), before = "c" + std::to_string(k - 1);
        patches += (k ? ", \"" : "\"") + name + "\": " + macro;
        if (k)
            connections += (k > 1 ? ", \"" : "\"") + before + ".o > " + name + ".i\"";
    }
    Player player(R"({"outputs": {"out": "c)" + std::to_string(kLength - 1) + R"(.o"}, "patches": {)" + patches
        + R"(}, "connections": [)" + connections + "]}");
    EXPECT_EQ(player.graph->dangling(), 0);
    std::string last;
    for (int frame = 0; frame < 80; ++frame)
        last = player.over({double(frame)});
    EXPECT_EQ(last, std::to_string(kLength));
}

} // namespace vitrel::qc
