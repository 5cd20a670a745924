#include "quartzcomposer/Play.h"

#include <gtest/gtest.h>

#include <cmath>

namespace vitrel::qc {

namespace {

// An iterator "i" over `inner`, which gives "v" on the port `published`; "q" gathers what "i.o" was in each iteration.
std::string iterated(int count, const std::string& inner, const std::string& connections, const std::string& gathered)
{
    return R"({"inputs": {"n": "i.inputCount"}, "outputs": {"list": "i.list", "last": "i.last"}, "values": {"n": )"
        + std::to_string(count) + R"(},
        "patches": {"i": {"class": "QCIterator", "outputs": {"list": "q.outputQueue", "last": ")"
        + gathered + R"("},
            "patches": {"v": {"class": "QCIteratorVariables"}, "q": {"class": "QCQueue", "inputs": {"inputSize": 100}})"
        + inner + R"(},
            "connections": [")"
        + gathered + R"( > q.inputValue")" + connections + "]}}}";
}

} // namespace

// Position, count and index in each iteration; outputs of the iterator are those of its last one.
TEST(Iterator, TellsItsNodesWhereTheyAre)
{
    EXPECT_EQ(Player(iterated(4, "", "", "v.outputIndex")).over({0}, "list"), "[0, 1, 2, 3]");
    EXPECT_EQ(Player(iterated(5, "", "", "v.outputPosition")).over({0}, "list"), "[0, 0.25, 0.5, 0.75, 1]");
    EXPECT_EQ(Player(iterated(1, "", "", "v.outputPosition")).over({0}, "list"), "[0]");
    EXPECT_EQ(Player(iterated(3, "", "", "v.outputCount")).over({0}, "list"), "[3, 3, 3]");
    EXPECT_EQ(Player(iterated(4, "", "", "v.outputIndex")).over({0}, "last"), "3");
    EXPECT_EQ(evaluated(onePatch(R"("class": "QCIteratorVariables")", "outputCount")), "1") << "none is running";
    Player player(iterated(3, "", "", "v.outputIndex"));
    player.frame(0);
    player.out("list");
    player.graph->setInput("n", 0);
    player.frame(1);
    EXPECT_EQ(player.out("last"), "2") << "no iteration leaves what was";
}

// A patch without memory that depends on nothing of the iteration is computed once; one that does, in each.
TEST(Iterator, ComputesOnlyWhatDiffers)
{
    Player player(iterated(3, R"(, "a": {"class": "QCMath", "inputs": {"operation_1": 2, "operand_1": 10}})",
        R"(, "v.outputIndex > a.inputValue")", "a.outputValue"));
    EXPECT_EQ(player.over({0}, "list"), "[0, 10, 20]");
    Player still(
        R"({"patches": {"i": {"class": "QCIterator", "inputs": {"inputCount": 50}, "patches": {"a": {"class": "QCMath"}, "s": {"class": "QCSprite"}},
        "connections": ["a.outputValue > s.inputX"]}}})");
    EXPECT_EQ(still.frame(0).evaluations, 51u);
    EXPECT_EQ(still.frame(1).evaluations, 50u);
}

// Memory is kept for each iteration: counters count apart. A queue is one for all.
TEST(Iterator, KeepsMemoryApart)
{
    // In iteration k a pulse comes in every frame in which the time is k + 1 or more.
    Player player(iterated(3,
        R"(, "t": {"class": "QCTime"}, "e": {"class": "QCConditional", "inputs": {"inputTest": 2}}, "c": {"class": "QCCounter"},
        "f": {"class": "QCLogic"}, "b": {"class": "QCExpression", "settings": {"expression": "i + 0.5"}})",
        R"(, "v.outputIndex > b.i", "t.outputTime > e.inputValue1", "b.outputResult > e.inputValue2", "e.outputResult > c.inputSignal")",
        "c.outputCount"));
    EXPECT_EQ(player.over({0}, "list"), "[0, 0, 0]");
    EXPECT_EQ(player.over({1}, "list"), "[0, 0, 0, 1, 0, 0]");
    EXPECT_EQ(player.over({2}, "list"), "[0, 0, 0, 1, 0, 0, 1, 1, 0]");
    EXPECT_EQ(player.over({3}, "list"), "[0, 0, 0, 1, 0, 0, 1, 1, 0, 1, 1, 1]");
}

TEST(Iterator, NestsAndTheInnermostCounts)
{
    const std::string text
        = R"({"outputs": {"list": "o.list"}, "patches": {"o": {"class": "QCIterator", "inputs": {"inputCount": 2}, "outputs": {"list": "q.outputQueue"},
        "patches": {"v": {"class": "QCIteratorVariables"}, "q": {"class": "QCQueue", "inputs": {"inputSize": 100}},
            "i": {"class": "QCIterator", "inputs": {"inputCount": 3, "outer": "e.outer"}, "outputs": {"r": "e.outputResult"}, "patches": {
                "w": {"class": "QCPatch", "outputs": {"x": "v.outputIndex"}, "patches": {"v": {"class": "QCIteratorVariables"}}},
                "e": {"class": "QCExpression", "settings": {"expression": "outer * 10 + inner"}}}, "connections": ["w.x > e.inner"]}},
        "connections": ["v.outputIndex > i.outer", "i.r > q.inputValue"]}}})";
    EXPECT_EQ(Player(text).over({0}, "list"), "[2, 12]");
}

// All iterators of a frame together stay below a bound, whatever the counts say.
TEST(Iterator, EndsHoweverManyTimesItIsToRun)
{
    std::string inner = R"("s": {"class": "QCSprite"})";
    for (int level = 0; level < 5; ++level)
        inner = R"("i": {"class": "QCIterator", "inputs": {"inputCount": 4000000000}, "patches": {)" + inner + "}}";
    Player player(R"({"patches": {)" + inner + "}}");
    EXPECT_LE(player.frame(0).evaluations, 1'000'000u);
    EXPECT_LE(player.frame(1).evaluations, 1'000'000u);
    Player copies(
        R"({"patches": {"r": {"class": "QCReplicator", "inputs": {"inputCopies": 4000000000}, "patches": {"r": {"class": "QCReplicator",
        "inputs": {"inputCopies": 4000000000}, "patches": {"s": {"class": "QCSprite"}}}}}}})");
    EXPECT_LE(copies.frame(0).evaluations, 1'000'000u);
}

} // namespace vitrel::qc
