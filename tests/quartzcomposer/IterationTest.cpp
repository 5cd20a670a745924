#include "quartzcomposer/Play.h"

#include <gtest/gtest.h>

namespace vitrel::qc {

namespace {

// What `gathered`, a port inside of an iterator with the patches `inner` and "v" for its place, is in each iteration.
std::string iterated(const char* count, const std::string& gathered, const std::string& inner = "",
    const std::string& connections = "", const std::vector<double>& times = {0})
{
    Player player("{outputs: {out: 'i.list'}, patches: {i: QCIterator {inputCount: " + std::string(count)
        + "} outputs {list: 'q.outputQueue'} patches {v: QCIteratorVariables, q: QCQueue {inputSize: 100}" + inner
        + "} connections ['" + gathered + " > q.inputValue'" + connections + "]}}");
    player.over(times);
    return player.out();
}

} // namespace

// Position, count and index in each iteration; outputs of the iterator are those of its last one.
TEST(Iterator, TellsItsNodesWhereTheyAre)
{
    EXPECT_EQ(iterated("4", "v.outputIndex"), "[0, 1, 2, 3]");
    EXPECT_EQ(iterated("5", "v.outputPosition"), "[0, 0.25, 0.5, 0.75, 1]");
    EXPECT_EQ(iterated("1", "v.outputPosition"), "[0]");
    EXPECT_EQ(iterated("3", "v.outputCount"), "[3, 3, 3]");
    EXPECT_EQ(evaluated(onePatch("QCIteratorVariables", "outputCount")), "1") << "none is running";
    Player player(R"({inputs: {n: 'i.inputCount'}, values: {n: 4}, outputs: {out: 'i.last'}, patches: {
        i: QCIterator {} outputs {last: 'v.outputIndex'} patches {v: QCIteratorVariables}}})");
    EXPECT_EQ(player.over({0}), "3");
    player.graph->setInput("n", 0);
    EXPECT_EQ(player.over({1}), "3") << "no iteration leaves what was";
}

// A patch without memory that depends on nothing of the iteration is computed once; one that does, in each.
TEST(Iterator, ComputesOnlyWhatDiffers)
{
    EXPECT_EQ(iterated("3", "a.outputValue", ", a: QCMath {operation_1: 2, operand_1: 10}",
                  ", 'v.outputIndex > a.inputValue'"),
        "[0, 10, 20]");
    Player still(R"({patches: {i: QCIterator {inputCount: 50} patches {a: QCMath, s: QCSprite}
        connections ['a.outputValue > s.inputX']}})");
    EXPECT_EQ(still.frame(0).evaluations, 51u);
    EXPECT_EQ(still.frame(1).evaluations, 50u);
}

// Memory is kept for each iteration: counters count apart. A queue is one for all.
TEST(Iterator, KeepsMemoryApart)
{
    // In iteration k a pulse comes in every frame in which the time is k + 1 or more.
    EXPECT_EQ(iterated("3", "c.outputCount",
                  ", t: QCTime, e: QCConditional {inputTest: 2}, c: QCCounter, "
                  "b: QCExpression with {expression: 'i + 0.5'}",
                  ", 'v.outputIndex > b.i', 't.outputTime > e.inputValue1', 'b.outputResult > e.inputValue2', "
                  "'e.outputResult > c.inputSignal'",
                  {0, 1, 2, 3}),
        "[0, 0, 0, 1, 0, 0, 1, 1, 0, 1, 1, 1]");
}

TEST(Iterator, NestsAndTheInnermostCounts)
{
    EXPECT_EQ(iterated("2", "i.r",
                  R"(, i: QCIterator {inputCount: 3, outer: 'e.outer'} outputs {r: 'e.outputResult'} patches {
                w: QCPatch {} outputs {x: 'v.outputIndex'} patches {v: QCIteratorVariables},
                e: QCExpression with {expression: 'outer * 10 + inner'}} connections ['w.x > e.inner'])",
                  ", 'v.outputIndex > i.outer'"),
        "[2, 12]");
}

// All iterators of a frame together stay below a bound, whatever the counts say.
TEST(Iterator, EndsHoweverManyTimesItIsToRun)
{
    std::string inner = "s: QCSprite", copies = "s: QCSprite";
    for (int level = 0; level < 5; ++level)
        inner = "i: QCIterator {inputCount: 4000000000} patches {" + inner + "}";
    for (int level = 0; level < 2; ++level)
        copies = "r: QCReplicator {inputCopies: 4000000000} patches {" + copies + "}";
    for (const std::string& patches : {inner, copies}) {
        Player player("{patches: {" + patches + "}}");
        EXPECT_LE(player.frame(0).evaluations, 1'000'000u);
        EXPECT_LE(player.frame(1).evaluations, 1'000'000u);
    }
}

} // namespace vitrel::qc
