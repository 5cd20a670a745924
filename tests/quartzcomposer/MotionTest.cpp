#include "quartzcomposer/Play.h"

#include <gtest/gtest.h>

#include <cmath>

namespace vitrel::qc {

// The handles as an author's file has them, by the rule with NumPy: offsets, kept within their stretch.
TEST(TimeLine, BendsByItsHandles)
{
    const std::string frames
        = "[{kf: {time: 0, value: 0.00489729642868042}, rc: {time: 0, value: 0.12455515284091234}},"
          "{kf: {time: 1.9953800439834595, value: 1.0139449834823608}, rc: {time: 0.0038629770278930664,"
          "value: -0.0015241970786265826}, lc: {time: -0.013966172933578491, value: 0.005510568618774414}},"
          "{kf: {time: 0.0014857632340863347, value: 1.0194555521011353}}, {kf: {time: 1.9992430210113525, value: 0}}]";
    const double expected[][2] = {{-1, 0.0049}, {0, 0.0049}, {0.0007, 0.531}, {0.0015, 1.0195}, {1, 1.0188},
        {1.9953, 1.0140}, {1.998, 0.775}, {1.9992, 0.129}, {5, 0}};
    for (const auto& [time, value] : expected) {
        Player player(onePatch("QCTimeLine {_time: " + std::to_string(time)
                + "} with {timebase: 'external', timeLines: {timeLines: [{portNumber: 1, keyFrames: " + frames + "}]}}",
            "output_1"));
        EXPECT_EQ(player.frame(0).next, INFINITY) << "it moves as the time from outside does";
        EXPECT_NEAR(player.number(), value, 6e-4) << time;
    }
    expectAll({{"QCTimeLine with {timeLines: {timeLines: [{portNumber: -1e300, keyFrames: [{kf: {time: {real: 'nan'}, "
                "value: 3}}, {kf: 1}, 7]}, 1]}}",
        "output_0", "3", {0}, "what is no number is 0"}});
}

// A spring, wired as libraries of interactions do it: it comes as fast, and swings over as little, as the published
// spring of that stiffness and friction, at every rate of frames; then it stands, and asks for no more frames.
TEST(Physics, MakeTheSpringThatTheirNumbersMean)
{
    const auto spring = [](double stiffness, double friction) {
        return Player("{inputs: {L: 's.L'}, outputs: {out: 's.y'}, patches: {s: QCPatch {L: 'f.L', y: 'b.output_1'} "
                      "outputs {y: 'b.output_1'} patches {r: QCRecursor with {savedPorts: [['QCNumberPort', 'y']]}, "
                      "f: QCExpression with {expression: '-"
            + std::to_string(stiffness)
            + "*(y-L)'}, e: QCPhysicsEffect with {numberOfInputs: 1}, b: QCPhysics {inputFriction: "
            + std::to_string(friction)
            + "} with {numberOfInputs: 1}} connections ['r.y > f.y', 'r.y > e.input_0', 'f.outputResult > e.effect_1', "
              "'e.output_1 > b.input_1']}}");
    };
    for (const int rate : {30, 60, 120}) {
        Player player = spring(30, 8);
        player.over({0, 0.1});
        EXPECT_EQ(player.number(), 0);
        player.graph->setInput("L", 1.0);
        double reached = 0, most = 0, next = 0;
        for (int k = 1; k <= 2 * rate; ++k) {
            next = player.frame(0.1 + double(k) / rate).next;
            const double y = player.number();
            most = std::max(most, y);
            reached = y >= 0.9 && reached == 0 ? double(k) / rate : reached;
        }
        EXPECT_GT(reached, 0.2) << rate;
        EXPECT_LT(reached, 0.35) << rate;
        EXPECT_LT(most, 1.02) << rate;
        EXPECT_NEAR(player.number(), 1, 1e-4) << rate;
        EXPECT_EQ(next, INFINITY) << rate;
    }
    Player wild = spring(500, 1);
    wild.graph->setInput("L", 1.0);
    for (int k = 0; k < 600; ++k) {
        wild.frame(k / 30.0);
        ASSERT_LT(std::fabs(wild.number()), 4) << k;
    }
    // Follows at 2 a second, is let go, and has slowed down by e to the 3 times friction times the seconds: 2 / (3 *
    // 4).
    Player thrown(
        "{inputs: {in: 's.in', held: 's.held'}, outputs: {out: 's.y'}, patches: {s: QCPatch {in: "
        "'x.source_1', held: 'h.input'} outputs {y: 'b.output_1'} patches {h: QCSplitter with {portClass: "
        "'QCBooleanPort'}, r: QCRecursor with {savedPorts: [['QCNumberPort', 'y']]}, x: QCMultiplexer with "
        "{portClass: 'QCNumberPort'}, b: QCPhysics {inputFriction: 4} with {numberOfInputs: 1}} connections "
        "['r.y > x.source_0', 'h.output > x.inputIndex', 'h.output > b.inputSampling', 'x.output > b.input_1']}}");
    thrown.graph->setInput("held", true);
    for (int k = 0; k <= 240; ++k) {
        thrown.graph->setInput("held", k <= 60);
        thrown.graph->setInput("in", k / 30.0);
        thrown.frame(k / 60.0);
        const double y = thrown.number();
        EXPECT_TRUE(k > 60 || y == k / 30.0) << k;
    }
    EXPECT_NEAR(thrown.number(), 2 + 2.0 / 12, 0.02);
}

} // namespace vitrel::qc
