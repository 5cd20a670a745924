#include "quartzcomposer/Play.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>

namespace vitrel::qc {

namespace {

// A patch "p" of which inputs are published under their own names.
std::string withInputs(std::string_view members, std::initializer_list<const char*> inputs, const std::string& output)
{
    std::string published;
    for (const std::string input : inputs)
        published += (published.empty() ? "\"" : ", \"") + input + "\": \"p." + input + "\"";
    return R"({"inputs": {)" + published + R"(}, "outputs": {"out": "p.)" + output + R"("}, "patches": {"p": {)"
        + std::string(members) + "}}}";
}

// Plays a script of steps: a time, then what is written at it; one frame a step; the outputs in a row.
struct Step {
    double time;
    std::vector<std::pair<const char*, Value>> writes;
};
std::string played(std::string_view text, std::initializer_list<Step> steps)
{
    Player player(text);
    std::string all;
    for (const Step& step : steps) {
        for (const auto& [key, value] : step.writes)
            EXPECT_TRUE(player.graph->setInput(key, value)) << key;
        player.frame(step.time);
        all += (all.empty() ? "" : " ") + player.out();
    }
    return all;
}

std::string lfo(int type, const std::string& more = "")
{
    return onePatch(
        R"("class": "QCLFO", "inputs": {"inputPeriod": 4, "inputAmplitude": 2, "inputOffset": 10, "inputType": )"
            + std::to_string(type) + more + "}",
        "outputValue");
}

} // namespace

// Eighths of a period from 0, by hand from the formulas.
TEST(LFO, HasEightWaves)
{
    const char* const waves[] = {
        "10 11.4142 12 11.4142 10 8.58579 8 8.58579 10", // sine
        "12 11.4142 10 8.58579 8 8.58579 10 11.4142 12", // cosine
        "10 11 12 11 10 9 8 9 10", // triangle
        "12 12 12 12 8 8 8 8 12", // square
        "8 8.5 9 9.5 10 10.5 11 11.5 8", // up
        "12 11.5 11 10.5 10 9.5 9 8.5 12", // down
        "12 12 8 8 8 8 8 8 12", // a quarter is high
    };
    for (int type = 0; type < 7; ++type)
        EXPECT_EQ(evaluated(lfo(type), {0, 0.5, 1, 1.5, 2, 2.5, 3, 3.5, 4}), waves[type]) << "type " << type;
    EXPECT_EQ(evaluated(lfo(0, R"(, "inputPhase": 90)"), {0, 1}), "12 10") << "90 degrees make a cosine";
    EXPECT_EQ(evaluated(onePatch(R"("class": "QCLFO", "inputs": {"inputPeriod": 0, "inputOffset": 3})", "outputValue"),
                  {1.3}),
        "3");
    EXPECT_EQ(evaluated(onePatch(R"("class": "QCLFO", "inputs": {"inputPeriod": -2, "inputOffset": 3})", "outputValue"),
                  {1.3}),
        "3");
}

TEST(LFO, KeepsARandomValueForAPeriod)
{
    Player player(lfo(7));
    std::set<std::string> values;
    for (int period = 0; period < 20; ++period) {
        const std::string first = player.over({period * 4.0});
        EXPECT_EQ(player.over({period * 4 + 3.99}), first);
        EXPECT_GE(player.number(), 8);
        EXPECT_LE(player.number(), 12);
        values.insert(first);
    }
    EXPECT_GT(values.size(), 15u);
    EXPECT_EQ(Player(lfo(7)).over({9}), player.over({9})) << "the seed decides";
}

TEST(Interpolation, RepeatsAsItsModeSays)
{
    const char* const modes[] = {"1 2 3 3 3 3 3", "1 2 1 2 1 2 1", "1 2 3 2 1 2 3", "1 2 3 2 1 1 1"};
    for (int mode = 0; mode < 4; ++mode) {
        const std::string members
            = R"("class": "QCInterpolation", "inputs": {"inputValue1": 1, "inputValue2": 3, "inputDuration": 2, "inputRepeat": )"
            + std::to_string(mode) + "}";
        EXPECT_EQ(evaluated(onePatch(members, "outputValue"), {0, 1, 2, 3, 4, 5, 6}), modes[mode]) << "mode " << mode;
    }
    EXPECT_EQ(evaluated(onePatch(
                  R"("class": "QCInterpolation", "inputs": {"inputValue1": 1, "inputValue2": 3, "inputDuration": 0})",
                  "outputValue")),
        "3");
    EXPECT_EQ(evaluated(onePatch(R"("class": "QCInterpolation", "inputs": {"inputValue2": 1, "inputInterpolation": 4})",
                            "outputValue"),
                  {0.5}),
        "0.125");
    EXPECT_EQ(evaluated(onePatch(R"("class": "QCInterpolation", "inputs": {"inputValue2": 1},
        "settings": {"controlPointCount": 1, "controlPointTimes": [0.5], "controlPointValues": [0.8], "controlPointStart": 0.2, "controlPointEnd": 0.4})",
                            "outputValue"),
                  {0, 0.5, 1, 2}),
        "0.2 0.8 0.4 0.4")
        << "a curve of one's own goes through its points";
}

TEST(Smooth, MovesFromWhereItIsToItsTarget)
{
    const std::string smooth
        = withInputs(R"("class": "QCSmooth", "inputs": {"inputIncreasingDuration": 2, "inputDecreasingDuration": 1})",
            {"inputValue"}, "outputValue");
    EXPECT_EQ(played(smooth, {{0, {{"inputValue", 10}}}, {1, {{"inputValue", 14}}}, {2, {}}, {3, {}}, {4, {}}}),
        "10 10 12 14 14")
        << "the first value at once, then two seconds up";
    EXPECT_EQ(played(smooth, {{0, {{"inputValue", 10}}}, {1, {{"inputValue", 6}}}, {1.5, {}}, {2, {}}}), "10 10 8 6")
        << "one second down";
    EXPECT_EQ(played(smooth,
                  {{0, {{"inputValue", 0}}}, {1, {{"inputValue", 4}}}, {2, {{"inputValue", 0}}}, {2.5, {}}, {3, {}}}),
        "0 0 2 1 0")
        << "a change on the way starts from the present value";
    const std::string atOnce
        = withInputs(R"("class": "QCSmooth", "inputs": {"inputIncreasingDuration": 0})", {"inputValue"}, "outputValue");
    EXPECT_EQ(played(atOnce, {{0, {{"inputValue", 1}}}, {1, {{"inputValue", 5}}}}), "1 5");
}

TEST(Counter, CountsRisingEdges)
{
    const std::string counter
        = withInputs(R"("class": "QCCounter")", {"inputSignal", "inputSignalDown", "inputSignalReset"}, "outputCount");
    const Value on = true, off = false;
    EXPECT_EQ(played(counter,
                  {{0, {}}, {1, {{"inputSignal", on}}}, {2, {}}, {3, {{"inputSignal", off}}},
                      {4, {{"inputSignal", on}}}, {5, {{"inputSignalDown", on}}}, {6, {{"inputSignalDown", off}}},
                      {7, {{"inputSignalDown", on}}}, {8, {{"inputSignalDown", off}}}, {9, {{"inputSignalDown", on}}},
                      {10, {{"inputSignal", off}}}, {11, {{"inputSignal", on}}}, {12, {{"inputSignalReset", on}}}}),
        "0 1 1 1 2 1 1 0 0 0 0 1 0");
}

TEST(Pulse, LastsForOneFrame)
{
    const char* const modes[] = {"false true false false", "false false false true", "false true false true"};
    for (int mode = 0; mode < 3; ++mode) {
        const std::string pulse
            = withInputs(R"("class": "QCPulse", "inputs": {"inputMode": )" + std::to_string(mode) + "}",
                {"inputSignal"}, "outputSignal");
        EXPECT_EQ(
            played(pulse, {{0, {}}, {1, {{"inputSignal", true}}}, {2, {}}, {3, {{"inputSignal", false}}}}), modes[mode])
            << mode;
    }
    const std::string leading = withInputs(R"("class": "QCPulse")", {"inputSignal"}, "outputSignal");
    EXPECT_EQ(played(leading, {{0, {{"inputSignal", true}}}, {1, {}}}), "true false")
        << "before the first frame it counts as false";
}

TEST(Signal, FollowsItsMode)
{
    const auto signal = [](int mode) {
        return withInputs(
            R"("class": "QCSignal", "inputs": {"inputParam": 2, "inputMode": )" + std::to_string(mode) + "}",
            {"inputParam"}, "outputSignal");
    };
    const auto marks = [](const std::string& outputs) {
        std::string out;
        for (std::size_t at = 0; at < outputs.size();
             at = outputs.find(' ', at) == std::string::npos ? outputs.size() : outputs.find(' ', at) + 1)
            out += outputs[at] == 't' ? '1' : '0';
        return out;
    };
    EXPECT_EQ(marks(played(signal(0), {{0, {}}, {1, {}}, {2, {}}, {3, {}}, {4, {}}, {5, {}}})), "001000")
        << "once, after x";
    EXPECT_EQ(marks(played(signal(1), {{0, {}}, {1, {}}, {2, {}}, {3, {}}, {4, {}}, {5, {}}})), "001010") << "every x";
    EXPECT_EQ(marks(played(signal(2), {{0, {}}, {1, {}}, {2, {}}, {3, {}}, {4, {}}, {5, {}}})), "101010")
        << "at the start, too";
    EXPECT_EQ(marks(played(signal(3), {{0, {}}, {1, {{"inputParam", 3}}}, {2, {}}, {3, {{"inputParam", 2}}}})), "0101")
        << "when x changes";
    EXPECT_EQ(marks(played(signal(4), {{0, {}}, {1, {{"inputParam", 3}}}, {2, {}}})), "110") << "at the start, too";
    EXPECT_EQ(marks(played(signal(1), {{0, {}}, {5, {}}, {5.5, {}}, {6, {}}})), "0101")
        << "late frames don't move the beat";
}

TEST(StopWatch, RunsBetweenItsSignals)
{
    const std::string watch = withInputs(
        R"("class": "QCClock")", {"inputStartSignal", "inputStopSignal", "inputResetSignal"}, "outputTime");
    EXPECT_EQ(played(watch,
                  {{0, {}}, {1, {{"inputStartSignal", true}}}, {3, {}}, {4, {{"inputStopSignal", true}}}, {6, {}},
                      {7, {{"inputResetSignal", true}}}}),
        "0 0 2 3 3 0");
}

TEST(SampleHold, FollowsAndHolds)
{
    const std::string hold = withInputs(
        R"("class": "QCSampleHold")", {"inputSampleValue", "inputSampling", "inputResetSignal"}, "outputValue");
    EXPECT_EQ(played(hold,
                  {{0, {{"inputSampling", false}, {"inputSampleValue", 1}}}, {1, {{"inputSampling", true}}},
                      {2, {{"inputSampleValue", "b"}}}, {3, {{"inputSampling", false}, {"inputSampleValue", 3}}},
                      {4, {{"inputResetSignal", true}}}, {5, {}}}),
        "null 1 'b' 'b' null null");
}

TEST(Watcher, SaysWhenItsInputChanged)
{
    const std::string watcher
        = withInputs(R"("class": "QCWatcher", "settings": {"portClass": "QCStringPort"})", {"input"}, "outputSignal");
    EXPECT_EQ(played(watcher, {{0, {{"input", "a"}}}, {1, {}}, {2, {{"input", "b"}}}, {3, {}}, {4, {{"input", "b"}}}}),
        "false false true false false");
}

TEST(Queue, GathersValuesOldestFirst)
{
    const std::string queue = withInputs(R"("class": "QCQueue", "inputs": {"inputSize": 3})",
        {"inputValue", "inputFilling", "inputResetSignal", "inputSize"}, "outputQueue");
    EXPECT_EQ(played(queue,
                  {{0, {{"inputValue", 1}}}, {1, {{"inputValue", 2}}}, {2, {}}, {3, {{"inputValue", 3}}},
                      {4, {{"inputFilling", false}, {"inputValue", 4}}}, {5, {{"inputSize", 1}}},
                      {6, {{"inputResetSignal", true}}}, {7, {{"inputFilling", true}}}}),
        "[1] [1, 2] [1, 2, 2] [2, 2, 3] [2, 2, 3] [3] [] [4]");
    const std::string changes
        = withInputs(R"("class": "QCQueue", "inputs": {"inputSize": 3}, "settings": {"continuous": 0})", {"inputValue"},
            "outputQueue");
    EXPECT_EQ(played(changes, {{0, {{"inputValue", 1}}}, {1, {}}, {2, {{"inputValue", 2}}}, {3, {}}}),
        "[1] [1] [1, 2] [1, 2]");
}

TEST(Recursor, GivesWhatTheParentPublishedInTheLastFrame)
{
    const std::string text
        = R"({"inputs": {"reset": "r.inputInitialize"}, "outputs": {"sum": "m.outputValue"}, "patches": {
        "r": {"class": "QCRecursor", "settings": {"savedPorts": [["QCNumberPort", "sum"]]}, "inputs": {"Initial_sum": 10}},
        "m": {"class": "QCMath", "inputs": {"operation_1": 0, "operand_1": 1}}}, "connections": ["r.sum > m.inputValue"]})";
    Player player(text);
    EXPECT_EQ(player.over({0, 1, 2, 3}, "sum"), "11 12 13 14");
    player.graph->setInput("reset", true);
    EXPECT_EQ(player.over({4, 5}, "sum"), "11 11");
    player.graph->setInput("reset", false);
    EXPECT_EQ(player.over({6}, "sum"), "12");
    EXPECT_EQ(player.over({0, 1}, "sum"), "11 12") << "time that jumps back starts anew";
}

TEST(Differential, SumsAndDerives)
{
    EXPECT_EQ(
        played(withInputs(R"("class": "QCDifferentialValue", "identifier": "integrator")",
                   {"inputValue", "inputResetSignal"}, "outputValue"),
            {{0, {{"inputValue", 3}}}, {1, {}}, {3, {}}, {4, {{"inputValue", 0}}}, {5, {{"inputResetSignal", true}}}}),
        "0 3 9 9 0");
    EXPECT_EQ(played(withInputs(
                         R"("class": "QCDifferentialValue", "identifier": "derivator")", {"inputValue"}, "outputValue"),
                  {{0, {{"inputValue", 3}}}, {2, {{"inputValue", 7}}}, {3, {}}}),
        "0 2 0");
}

// Within its range, the same for the same seed, and without jumps unless they are asked for.
TEST(Random, IsSmoothBoundedAndRepeatable)
{
    const auto random = [](const std::string& settings) {
        return onePatch(
            R"("class": "QCRandom", "inputs": {"inputMin": -2, "inputMax": 6}, "settings": {)" + settings + "}",
            "outputValue");
    };
    Player smooth(random(R"("variability": 0.5, "randomSeed": 7)")),
        again(random(R"("variability": 0.5, "randomSeed": 7)")),
        other(random(R"("variability": 0.5, "randomSeed": 8)")), wild(random(R"("variability": 0)"));
    double last = 0, least = 9, most = -9, greatestStep = 0, wildest = 0, lastWild = 0;
    bool differs = false;
    for (int k = 0; k < 3000; ++k) {
        const double t = k / 100.0;
        for (Player* player : {&smooth, &again, &other, &wild})
            player->frame(t);
        const double now = smooth.number();
        EXPECT_EQ(now, again.number());
        differs |= now != other.number();
        greatestStep = k ? std::max(greatestStep, std::fabs(now - last)) : 0;
        wildest = k ? std::max(wildest, std::fabs(wild.number() - lastWild)) : 0;
        last = now;
        lastWild = wild.number();
        least = std::min(least, now);
        most = std::max(most, now);
    }
    EXPECT_GE(least, -2);
    EXPECT_LE(most, 6);
    EXPECT_GT(most - least, 4) << "it uses its range";
    EXPECT_LT(greatestStep, 0.8);
    EXPECT_GT(wildest, 4);
    EXPECT_TRUE(differs);
}

// The three time bases. A local one begins when its consumer is enabled again; an external one has a port.
TEST(Timebase, IsTheParentsItsOwnOrAPort)
{
    EXPECT_EQ(
        evaluated(
            R"({"outputs": {"out": "p.outputTime"}, "patches": {"p": {"class": "QCTime", "settings": {"timebase": "external"}},
        "m": {"class": "QCMath", "inputs": {"operation_1": 2, "operand_1": 10}}, "t": {"class": "QCTime"}},
        "connections": ["t.outputTime > m.inputValue", "m.outputValue > p._time"]})",
            {0, 1.5}),
        "0 15");
    Player local(
        R"({"inputs": {"on": "s._enable"}, "patches": {"t": {"class": "QCTime", "settings": {"timebase": "local"}},
        "s": {"class": "QCPatch", "inputs": {"v": "b.inputX"}, "patches": {"b": {"class": "QCSprite"}}}}, "connections": ["t.outputTime > s.v"],
        "outputs": {"time": "t.outputTime"}})");
    local.graph->setInput("on", false);
    local.frame(1);
    local.graph->setInput("on", true);
    EXPECT_EQ(local.over({2, 3}, "time"), "0 1");
    local.graph->setInput("on", false);
    local.frame(5);
    local.frame(6);
    local.graph->setInput("on", true);
    EXPECT_EQ(local.over({7, 8}, "time"), "0 1");
    EXPECT_EQ(
        evaluated(
            R"({"outputs": {"out": "m.o"}, "patches": {"m": {"class": "QCPatch", "settings": {"timebase": "external"}, "inputs": {"_time": 7},
        "outputs": {"o": "t.outputTime"}, "patches": {"t": {"class": "QCTime"}}}}})",
            {0, 1}),
        "7 7")
        << "a macro passes its own time on";
}

} // namespace vitrel::qc
