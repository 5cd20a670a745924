#include "platform/quartzcomposer/file/CompositionReader.h"
#include "platform/quartzcomposer/graph/CompositionGraph.h"
#include "platform/quartzcomposer/graph/FrameProfile.h"

#include <gmock/gmock.h>

namespace vitrel::qc {
namespace {

double now = 0; // of the stop-watch

// Takes a second to be computed.
class SlowPatch : public Patch
{
    Input<double> input{*this, "inputValue"};
    Output<double> output{*this, "outputValue"};
    Kind kind() const override { return Kind::Timed; }
    void evaluate(Evaluation& e) override
    {
        now += 1;
        e.needFrame();
        e.needFrame();
        output.set(input() + e.time);
    }

public:
    static PatchDescription description() { return {}; }
};

// Two to be computed, and leaves four to the driver.
class DrawingPatch : public Patch
{
    Input<double> input{*this, "inputValue"};
    Kind kind() const override { return Kind::Consumer; }
    void evaluate(Evaluation& e) override
    {
        now += 2;
        e.needFrameAt(e.time + 0.5);
    }
    void draw(Evaluation&) override { left += 4; }

public:
    static PatchDescription description() { return {}; }
    static inline double left = 0;
};

TEST(FrameProfile, GivesEachPatchItsOwnTimeAndItsWishes)
{
    PatchRegistry registry;
    registry.add<Macro>("QCPatch");
    registry.add<SlowPatch>("Slow");
    registry.add<DrawingPatch>("Draws");
    const auto file = compositionOfFile(bytesOf(R"json({"patches": {
        "Macro": {"class": "QCPatch", "patches": {"Ball": {"class": "Draws"}, "In": {"class": "Slow"}}, "connections": ["In.outputValue > Ball.inputValue"]},
        "Twice": {"class": "Slow"}, "First": {"class": "Draws"}, "Second": {"class": "Draws"}, "Nobody": {"class": "Slow"}},
        "connections": ["Twice.outputValue > First.inputValue", "Twice.outputValue > Second.inputValue"]})json"),
        "/nowhere/x.json");
    ASSERT_TRUE(file);
    CompositionGraph graph(*file, registry);
    FrameProfile profile([] { return now; }, [] { now += std::exchange(DrawingPatch::left, 0); });
    graph.observe(&profile);
    NullCanvas canvas(8, 8);
    Stage stage(canvas);
    graph.frame(stage, 0, Date{});
    graph.frame(stage, 1, Date{});
    graph.observe(nullptr);
    graph.frame(stage, 2, Date{});

    std::map<std::string, FrameProfile::Cost> costs;
    double last = 1e9;
    for (const auto& cost : profile.costs()) {
        costs[cost.path] = cost;
        EXPECT_LE(cost.evaluation + cost.drawing, last) << "the dearest first";
        last = cost.evaluation + cost.drawing;
    }
    for (const char* path : {"Macro/Ball", "First", "Second"}) {
        EXPECT_EQ(costs[path].evaluation, 4) << path;
        EXPECT_EQ(costs[path].drawing, 8) << path;
        EXPECT_EQ(costs[path].calls, 2u);
        EXPECT_EQ(costs[path].atOnce, 0u);
        EXPECT_EQ(costs[path].soonest, 0.5);
        EXPECT_EQ(costs[path].className, "Draws");
    }
    for (const char* path : {"Macro/In", "Twice"}) {
        EXPECT_EQ(costs[path].evaluation, 2) << "once a frame: " << path;
        EXPECT_EQ(costs[path].drawing, 0);
        EXPECT_EQ(costs[path].calls, 2u);
        EXPECT_EQ(costs[path].atOnce, 2u) << "once a call";
        EXPECT_EQ(costs[path].soonest, 0);
    }
    EXPECT_EQ(costs["Macro"].evaluation + costs["Macro"].drawing, 0);
    EXPECT_EQ(costs["Macro"].calls, 2u);
    EXPECT_FALSE(costs.contains("Nobody")) << "asked for by none";
}

} // namespace
} // namespace vitrel::qc
