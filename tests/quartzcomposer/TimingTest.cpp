#include "quartzcomposer/Play.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>

namespace vitrel::qc {

namespace {

// What is written at a time, ahead of its frame.
struct Step {
    double time;
    std::map<std::string, Value> writes = {};
};

// An output of a patch in each frame; what a step writes is published under its own name.
std::string played(const std::string& patch, const std::string& output, const std::vector<Step>& steps)
{
    std::map<std::string, std::string> published;
    for (const Step& step : steps) {
        for (const auto& [key, value] : step.writes)
            published[key] = key + ": 'p." + key + "'";
    }
    std::string inputs, all;
    for (const auto& [key, entry] : published)
        inputs += (inputs.empty() ? "" : ", ") + entry;
    Player player("{inputs: {" + inputs + "}, outputs: {out: 'p." + output + "'}, patches: {p: " + patch + "}}");
    for (const auto& [time, writes] : steps) {
        for (const auto& [key, value] : writes)
            EXPECT_TRUE(player.graph->setInput(key, value)) << key;
        all += (all.empty() ? "" : " ") + player.over({time});
    }
    return all;
}

std::string lfo(int type, const std::string& more = "")
{
    return "QCLFO {inputPeriod: 4, inputAmplitude: 2, inputOffset: 10, inputType: " + std::to_string(type) + more + "}";
}

} // namespace

// Eighths of a period from 0, by hand from the formulas.
TEST(LFO, HasEightWaves)
{
    const std::vector<double> eighths = {0, 0.5, 1, 1.5, 2, 2.5, 3, 3.5, 4};
    const char* const out = "outputValue";
    expectAll({
        {lfo(0), out, "10 11.4142 12 11.4142 10 8.58579 8 8.58579 10", eighths, "sine"},
        {lfo(1), out, "12 11.4142 10 8.58579 8 8.58579 10 11.4142 12", eighths, "cosine"},
        {lfo(2), out, "10 11 12 11 10 9 8 9 10", eighths, "triangle"},
        {lfo(3), out, "12 12 12 12 8 8 8 8 12", eighths, "square"},
        {lfo(4), out, "8 8.5 9 9.5 10 10.5 11 11.5 8", eighths, "up"},
        {lfo(5), out, "12 11.5 11 10.5 10 9.5 9 8.5 12", eighths, "down"},
        {lfo(6), out, "12 12 8 8 8 8 8 8 12", eighths, "a quarter is high"},
        {lfo(0, ", inputPhase: 90"), out, "12 10", {0, 1}, "90 degrees make a cosine"},
        {"QCLFO {inputPeriod: 0, inputOffset: 3}", out, "3", {1.3}},
        {"QCLFO {inputPeriod: -2, inputOffset: 3}", out, "3", {1.3}},
    });
}

TEST(LFO, KeepsARandomValueForAPeriod)
{
    const std::string random = onePatch(lfo(7), "outputValue");
    Player player(random);
    std::set<std::string> values;
    for (int period = 0; period < 20; ++period) {
        const std::string first = player.over({period * 4.0});
        EXPECT_EQ(player.over({period * 4 + 3.99}), first);
        EXPECT_GE(player.number(), 8);
        EXPECT_LE(player.number(), 12);
        values.insert(first);
    }
    EXPECT_GT(values.size(), 15u);
    EXPECT_EQ(Player(random).over({9}), player.over({9})) << "the seed decides";
}

TEST(Interpolation, RepeatsAsItsModeSays)
{
    const std::vector<double> times = {0, 1, 2, 3, 4, 5, 6};
    const std::string twoSeconds = "QCInterpolation {inputValue1: 1, inputValue2: 3, inputDuration: 2, inputRepeat: ";
    const char* const out = "outputValue";
    expectAll({
        {twoSeconds + "0}", out, "1 2 3 3 3 3 3", times},
        {twoSeconds + "1}", out, "1 2 1 2 1 2 1", times},
        {twoSeconds + "2}", out, "1 2 3 2 1 2 3", times},
        {twoSeconds + "3}", out, "1 2 3 2 1 1 1", times},
        {"QCInterpolation {inputValue1: 1, inputValue2: 3, inputDuration: 0}", out, "3"},
        {"QCInterpolation {inputValue2: 1, inputInterpolation: 4}", out, "0.125", {0.5}},
        {"QCInterpolation {inputValue2: 1} with {controlPointCount: 1, controlPointTimes: [0.5], "
         "controlPointValues: [0.8], controlPointStart: 0.2, controlPointEnd: 0.4}",
            out, "0.2 0.8 0.4 0.4", {0, 0.5, 1, 2}, "a curve of one's own goes through its points"},
    });
}

// Patches that remember: frames at times, with what is written ahead of them.
TEST(Memory, GivesEachFrameWhatFollowsFromThoseBefore)
{
    const Value on = true, off = false;
    const char *const smooth = "QCSmooth {inputIncreasingDuration: 2, inputDecreasingDuration: 1}", *to = "inputValue";
    const char *const up = "inputSignal", *const down = "inputSignalDown", *const sampling = "inputSampling";
    const auto signal = [](int mode) { return "QCSignal {inputParam: 2, inputMode: " + std::to_string(mode) + "}"; };
    const std::vector<Step> seconds = {{0}, {1}, {2}, {3}, {4}, {5}},
                            edges = {{0}, {1, {{up, on}}}, {2}, {3, {{up, off}}}};
    const std::tuple<std::string, std::string, std::vector<Step>, const char*, const char*> cases[] = {
        {smooth, "outputValue", {{0, {{to, 10}}}, {1, {{to, 14}}}, {2}, {3}, {4}}, "10 10 12 14 14",
            "the first value at once, then two seconds up"},
        {smooth, "outputValue", {{0, {{to, 10}}}, {1, {{to, 6}}}, {1.5}, {2}}, "10 10 8 6", "one second down"},
        {smooth, "outputValue", {{0, {{to, 0}}}, {1, {{to, 4}}}, {2, {{to, 0}}}, {2.5}, {3}}, "0 0 2 1 0",
            "a change on the way starts from the present value"},
        {"QCSmooth {inputIncreasingDuration: 0}", "outputValue", {{0, {{to, 1}}}, {1, {{to, 5}}}}, "1 5", "at once"},
        {"QCCounter", "outputCount",
            {{0}, {1, {{up, on}}}, {2}, {3, {{up, off}}}, {4, {{up, on}}}, {5, {{down, on}}}, {6, {{down, off}}},
                {7, {{down, on}}}, {8, {{down, off}}}, {9, {{down, on}}}, {10, {{up, off}}}, {11, {{up, on}}},
                {12, {{"inputSignalReset", on}}}},
            "0 1 1 1 2 1 1 0 0 0 0 1 0", "rising edges, and never below 0"},
        {"QCPulse {inputMode: 0}", "outputSignal", edges, "false true false false", "for a frame, when it rises"},
        {"QCPulse {inputMode: 1}", "outputSignal", edges, "false false false true", "when it falls"},
        {"QCPulse {inputMode: 2}", "outputSignal", edges, "false true false true", "either"},
        {"QCPulse", "outputSignal", {{0, {{up, on}}}, {1}}, "true false", "before the first frame it counts as false"},
        {signal(0), "outputSignal", seconds, "false false true false false false", "once, after x"},
        {signal(1), "outputSignal", seconds, "false false true false true false", "every x"},
        {signal(2), "outputSignal", seconds, "true false true false true false", "at the start, too"},
        {signal(3), "outputSignal", {{0}, {1, {{"inputParam", 3}}}, {2}, {3, {{"inputParam", 2}}}},
            "false true false true", "when x changes"},
        {signal(4), "outputSignal", {{0}, {1, {{"inputParam", 3}}}, {2}}, "true true false", "at the start, too"},
        {signal(1), "outputSignal", {{0}, {5}, {5.5}, {6}}, "false true false true", "late frames keep the beat"},
        {"QCClock", "outputTime",
            {{0}, {1, {{"inputStartSignal", on}}}, {3}, {4, {{"inputStopSignal", on}}}, {6},
                {7, {{"inputResetSignal", on}}}},
            "0 0 2 3 3 0", "runs between its signals"},
        {"QCSampleHold", "outputValue",
            {{0, {{sampling, off}, {"inputSampleValue", 1}}}, {1, {{sampling, on}}}, {2, {{"inputSampleValue", "b"}}},
                {3, {{sampling, off}, {"inputSampleValue", 3}}}, {4, {{"inputResetSignal", on}}}, {5}},
            "null 1 'b' 'b' null null", "follows and holds"},
        {"QCWatcher with {portClass: 'QCStringPort'}", "outputSignal",
            {{0, {{"input", "a"}}}, {1}, {2, {{"input", "b"}}}, {3}, {4, {{"input", "b"}}}},
            "false false true false false", "when its input changed"},
        {"QCQueue {inputSize: 3}", "outputQueue",
            {{0, {{to, 1}}}, {1, {{to, 2}}}, {2}, {3, {{to, 3}}}, {4, {{"inputFilling", off}, {to, 4}}},
                {5, {{"inputSize", 1}}}, {6, {{"inputResetSignal", on}}}, {7, {{"inputFilling", on}}}},
            "[1] [1, 2] [1, 2, 2] [2, 2, 3] [2, 2, 3] [3] [] [4]", "the oldest first"},
        {"QCQueue {inputSize: 3} with {continuous: 0}", "outputQueue", {{0, {{to, 1}}}, {1}, {2, {{to, 2}}}, {3}},
            "[1] [1] [1, 2] [1, 2]", "changes only"},
        {"QCDifferentialValue/integrator", "outputValue",
            {{0, {{to, 3}}}, {1}, {3}, {4, {{to, 0}}}, {5, {{"inputResetSignal", on}}}}, "0 3 9 9 0", "sums"},
        {"QCDifferentialValue/derivator", "outputValue", {{0, {{to, 3}}}, {2, {{to, 7}}}, {3}}, "0 2 0", "derives"},
    };
    for (const auto& [patch, output, steps, results, why] : cases)
        EXPECT_EQ(played(patch, output, steps), results) << patch << ": " << why;
}

TEST(Recursor, GivesWhatTheParentPublishedInTheLastFrame)
{
    Player player(R"({inputs: {reset: 'r.inputInitialize'}, outputs: {sum: 'm.outputValue'}, patches: {
        r: QCRecursor {Initial_sum: 10} with {savedPorts: [['QCNumberPort', 'sum']]},
        m: QCMath {operation_1: 0, operand_1: 1}}, connections: ['r.sum > m.inputValue']})");
    EXPECT_EQ(player.over({0, 1, 2, 3}, "sum"), "11 12 13 14");
    player.graph->setInput("reset", true);
    EXPECT_EQ(player.over({4, 5}, "sum"), "11 11");
    player.graph->setInput("reset", false);
    EXPECT_EQ(player.over({6}, "sum"), "12");
    EXPECT_EQ(player.over({0, 1}, "sum"), "11 12") << "time that jumps back starts anew";
}

// Within its range, the same for the same seed, and without jumps unless they are asked for.
TEST(Random, IsSmoothBoundedAndRepeatable)
{
    const auto values = [](const std::string& settings) {
        Player player(onePatch("QCRandom {inputMin: -2, inputMax: 6} with {" + settings + "}", "outputValue"));
        std::vector<double> all;
        for (int k = 0; k < 3000; ++k) {
            player.frame(k / 100.0);
            all.push_back(player.number());
        }
        return all;
    };
    const auto greatestStep = [](const std::vector<double>& all) {
        double step = 0;
        for (std::size_t k = 1; k < all.size(); ++k)
            step = std::max(step, std::fabs(all[k] - all[k - 1]));
        return step;
    };
    const auto smooth = values("variability: 0.5, randomSeed: 7");
    EXPECT_EQ(values("variability: 0.5, randomSeed: 7"), smooth);
    EXPECT_NE(values("variability: 0.5, randomSeed: 8"), smooth);
    const auto [least, most] = std::minmax_element(smooth.begin(), smooth.end());
    EXPECT_GE(*least, -2);
    EXPECT_LE(*most, 6);
    EXPECT_GT(*most - *least, 4) << "it uses its range";
    EXPECT_LT(greatestStep(smooth), 0.8);
    EXPECT_GT(greatestStep(values("variability: 0")), 4);
}

// The three time bases. A local one begins when its consumer is enabled again; an external one has a port.
TEST(Timebase, IsTheParentsItsOwnOrAPort)
{
    Player external(R"({outputs: {out: 'p.outputTime', macro: 'm.o'}, patches: {p: QCTime with {timebase: 'external'},
        ten: QCMath {operation_1: 2, operand_1: 10}, t: QCTime,
        m: QCPatch {_time: 7} with {timebase: 'external'} outputs {o: 't.outputTime'} patches {t: QCTime}},
        connections: ['t.outputTime > ten.inputValue', 'ten.outputValue > p._time']})");
    EXPECT_EQ(external.over({0, 1.5}), "0 15");
    EXPECT_EQ(external.over({0, 1}, "macro"), "7 7") << "a macro passes its own time on";
    Player local(R"({inputs: {on: 's._enable'}, patches: {t: QCTime with {timebase: 'local'},
        s: QCPatch {v: 'b.inputX'} patches {b: QCSprite}}, connections: ['t.outputTime > s.v'],
        outputs: {time: 't.outputTime'}})");
    for (const double start : {1, 5}) {
        local.graph->setInput("on", false);
        local.frame(start);
        local.frame(start + 0.5);
        local.graph->setInput("on", true);
        EXPECT_EQ(local.over({start + 1, start + 2}, "time"), "0 1");
    }
}

} // namespace vitrel::qc
