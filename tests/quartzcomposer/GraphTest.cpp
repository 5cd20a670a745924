#include "platform/quartzcomposer/graph/InputDescription.h"
#include "quartzcomposer/Play.h"

#include <gtest/gtest.h>

#include <set>

#include <cmath>

namespace vitrel::qc {

namespace {

std::string keysOf(const std::vector<PublishedPort>& ports)
{
    std::string keys;
    for (const PublishedPort& port : ports)
        keys += port.key + ":" + nameOf(port.type) + ",";
    return keys;
}

// A sprite keeps what is connected to it computed: without a consumer nobody asks.
std::string watched(const std::string& patches, const std::string& connections)
{
    return "{patches: {" + patches + ", eye: QCSprite}, connections: [" + connections + "]}";
}

} // namespace

// Hosts find inputs by their order in the file and set them by key; the values come from the top of the file.
TEST(PublishedPorts, KeepTheirOrderTypesAndValuesInInnerMacrosToo)
{
    Player player(
        R"({inputs: {z: 't.inputString', a: 'm.deep', 'Title ': 'c.inputColor', gone: 't.noSuchPort', q: 's.input'},
        outputs: {y: 't.outputImage', b: 'c.output1'},
        values: {z: 'text', a: 3, 'Title ': '#ff0000ff', unknown: 1},
        patches: {t: QCTextImage, c: QCColorToComponents, s: QCSplitter,
            m: QCPatch {deep: 'inner.deeper'} patches {
                inner: QCPatch {deeper: 'r.inputValue'} patches {r: QCRoundValue}}}})");
    EXPECT_EQ(keysOf(player.graph->inputs()), "z:string,a:number,Title :color,q:virtual,");
    EXPECT_EQ(keysOf(player.graph->outputs()), "y:image,b:number,");
    EXPECT_EQ(player.graph->dangling(), 1);
    EXPECT_EQ(player.graph->input("a"), Value(3.0));
    EXPECT_EQ(player.graph->input("z"), Value("text"));
    EXPECT_EQ(player.graph->input("Title "), Value(NSColor{1, 0, 0, 1}));
    EXPECT_TRUE(player.graph->input("q").isNothing());
    EXPECT_TRUE(player.graph->input("Title").isNothing()) << "keys are compared exactly";
    EXPECT_EQ(player.over({0}, "b"), "1");

    const std::string macro
        = "{outputs: {out: 'm.o'}, patches: {m: QCPatch {i: 'r.inputValue'} outputs {o: 'r.outputCeil'} "
          "values {i: 2.5} patches {r: QCRoundValue}";
    EXPECT_EQ(evaluated(macro + "}}"), "3");
    EXPECT_EQ(evaluated(macro
                  + ", n: QCSplitter {input: 7.5} with {portClass: 'QCNumberPort'}}, connections: ['n.output > m.i']}"),
        "8");
}

// Definitions are instances of a macro: their defaults, the instance's values, and one that holds itself.
// The file's own words come before the port's; a splitter's limits before nothing; through macros, too.
TEST(PublishedPorts, AreDescribedByTheFileElseByThePortBehindThem)
{
    const CompositionFile file
        = fileOf(R"({inputs: {Ratio: 'M.Ratio', Way: 'S.input', Mode: 'L.inputType', Free: 'E.x'},
        patches: {M: QCPatch {Ratio: 'L.inputPWMRatio'} patches {L: QCLFO},
        S: QCSplitter with {portClass: 'QCNumberPort', inputMin: 5, inputMax: -2.5}, L: QCLFO, E: QCExpression with {expression: 'x'}},
        raw: {top: {portAttributes: {Ratio: {CIAttributeSliderMax: 0.5},
            Mode: {name: 'How it moves', description: 'One of two', menu: ['Calm', '-', 'Wild', 3]}}}}})");
    const CompositionGraph graph(file, registry());
    const auto inputs = describedInputs(file, graph, registry());
    ASSERT_EQ(inputs.size(), 4u);
    EXPECT_EQ(inputs[0].title, "Ratio");
    EXPECT_EQ(inputs[0].meaning, registry().describe("QCLFO")->port("inputPWMRatio")->meaning);
    EXPECT_EQ(std::pair(inputs[0].least, inputs[0].most), std::pair(0.0, 0.5));
    EXPECT_EQ(inputs[1].type, PortType::Number);
    EXPECT_EQ(std::pair(inputs[1].least, inputs[1].most), std::pair(-2.5, 5.0)) << "in order";
    EXPECT_EQ(inputs[2].title, "How it moves");
    EXPECT_EQ(inputs[2].meaning, "One of two");
    EXPECT_EQ(inputs[2].labels, (std::vector<std::string>{"Calm", "Wild"}));
    EXPECT_EQ(inputs[3].most, kEndless);
}

TEST(VirtualPatches, AreMacrosOfTheirDefinition)
{
    const auto with = [&](const std::string& patches, const std::string& connections = "") {
        return evaluated("{outputs: {out: 'p.o'}, patches: {" + patches + "}, connections: [" + connections
            + R"(], virtualPatches: {'/twice': {inputs: {x: 'm.inputValue', y: 'm.operand_1'},
            outputs: {o: 'm.outputValue'}, values: {x: 5, y: 2}, patches: {m: QCMath {operation_1: 2}}}}})");
    };
    EXPECT_EQ(with("p: /twice"), "10") << "the definition's values";
    EXPECT_EQ(with("p: /twice {x: 1.5}"), "3") << "the instance's";
    EXPECT_EQ(with("q: /twice {x: 4}, p: /twice {y: 3}", "'q.o > p.x'"), "24") << "two instances keep apart";
    EXPECT_EQ(with("p: /Twice"), "null") << "an identifier is compared exactly";

    Player nested(R"({outputs: {out: 'p.o'}, patches: {p: /a}, virtualPatches: {'/b': {patches: {again: /a}},
        '/a': {outputs: {o: 't.outputRound'}, patches: {t: QCRoundValue {inputValue: 4}, self: /a, other: /b}}}})");
    EXPECT_EQ(nested.over({0}), "4");
    EXPECT_EQ(nested.graph->unsupported().at("/a"), 2) << "in itself, and in what it holds";
}

TEST(UnknownClasses, AreNamedAndHarmless)
{
    Player player(R"({outputs: {out: 'r.outputRound'}, patches: {g: QCPlugInPatch/Plug, f: QCImageFilter/CIUnknown,
        k: {class: 'KinemeThing', patches: {in: QCTime}, outputs: {o: 'in.outputTime'}}, v: /gone,
        r: QCRoundValue {inputValue: 2}}, connections: ['k.o > r.inputValue', 'r.outputRound > g.x']})");
    EXPECT_EQ(player.over({0}), "2");
    EXPECT_EQ(player.graph->dangling(), 0) << "a connection to a stranger isn't dangling";
    const std::map<std::string, int> named{
        {"KinemeThing", 1}, {"QCPlugInPatch/Plug", 1}, {"QCImageFilter/CIUnknown", 1}, {"/gone", 1}};
    EXPECT_EQ(player.graph->unsupported(), named);
    EXPECT_EQ(unsupportedClasses(*player.file, registry()), named);
}

// Only the chosen source may be asked: a counter behind the other one must not count.
TEST(Laziness, AMultiplexerAsksOneSource)
{
    Player player(
        R"({inputs: {index: 'x.inputIndex', signal: 'c.inputSignal'}, outputs: {out: 'x.output'}, patches: {
        c: QCCounter, x: QCMultiplexer {source_0: -1} with {inputCount: 2, portClass: 'QCNumberPort'}},
        connections: ['c.outputCount > x.source_1']})");
    for (int k = 0; k < 6; ++k) {
        player.graph->setInput("signal", k % 2 == 1);
        player.over({double(k)});
    }
    player.graph->setInput("index", 1);
    EXPECT_EQ(player.over({6}), "1") << "only this frame's edge";
}

// Cycles are legal and common: one answers with its last run, and the values settle in the frames that follow.
TEST(Cycles, AnswerWithTheLastRunAndSettle)
{
    const std::string plus = "a: QCMath {operation_1: 0, operand_1: 1}",
                      range = plus + ", b: QCRangeValue {inputMin: 0, inputMax: 3}",
                      ring = "'a.outputValue > b.inputValue', 'b.outputClip > a.inputValue'";
    const std::string published = "{outputs: {out: 'a.outputValue'}, patches: {";
    EXPECT_EQ(evaluated(published + range + "}, connections: [" + ring + "]}", {0, 1, 2, 3, 4, 5}), "1 2 3 4 4 4");
    EXPECT_EQ(evaluated(published + plus + "}, connections: ['a.outputValue > a.inputValue']}", {0, 1, 2}), "1 2 3");
    EXPECT_EQ(evaluated("{outputs: {out: 'm.o'}, patches: {s: QCSplitter with {portClass: 'QCNumberPort'}, "
                        "m: QCPatch {i: 'a.inputValue'} outputs {o: 'a.outputValue'} patches {"
                      + plus + "}}, connections: ['m.o > s.input', 's.output > m.i']}",
                  {0, 1, 2}),
        "1 2 3")
        << "through the ports of a macro";
    Player frames(watched(range, ring + ", 'b.outputClip > eye.inputX'"));
    int asked = 0;
    for (double t = 0; t < 20; ++t)
        asked += std::isfinite(frames.frame(t).next);
    EXPECT_GE(asked, 3) << "until it has settled";
    EXPECT_LE(asked, 6) << "and no longer";
}

// A still composition costs nothing: no frame is asked for and none of four thousand patches is computed again.
TEST(Stillness, NothingChangesNothingIsComputed)
{
    // A tree rather than a chain, so that each is within reach.
    std::string tree;
    for (int k = 1; k < 4000; ++k)
        tree += "'m" + std::to_string((k - 1) / 2) + ".outputValue > m" + std::to_string(k) + ".inputValue', ";
    Player player("{inputs: {in: 'm0.inputValue'}, patches: {m0: QCMath, "
        + repeated(1, 4000, "m{k}: QCMath {operation_1: 0, operand_1: 1}") + ", "
        + repeated(2000, 4000, "s{k}: QCSprite") + "}, connections: [" + tree
        + repeated(2000, 4000, "'m{k}.outputValue > s{k}.inputX'") + "]}");
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
    // next: after a frame at 1.25
    const std::tuple<const char*, const char*, double> cases[] = {
        {"QCRoundValue", "outputRound", never},
        {"QCTime", "outputTime", 1.25},
        {"QCTime with {timebase: 'external'}", "outputTime", never},
        {"QCLFO", "outputValue", 1.25},
        {"QCLFO {inputAmplitude: 0}", "outputValue", never},
        {"QCLFO {inputType: 3, inputPeriod: 4}", "outputValue", 2},
        {"QCLFO {inputType: 7, inputPeriod: 2}", "outputValue", 2},
        {"QCInterpolation {inputValue2: 1, inputDuration: 1}", "outputValue", never},
        {"QCInterpolation {inputValue2: 1, inputDuration: 2}", "outputValue", 1.25},
        {"QCInterpolation {inputValue2: 0, inputRepeat: 1}", "outputValue", never},
        {"QCSmooth {inputValue: 1}", "outputValue", never},
        {"QCSignal {inputMode: 0, inputParam: 3}", "outputSignal", 4.25},
        {"QCRandom {inputMin: 1, inputMax: 1}", "outputValue", never},
        {"QCClock", "outputTime", never},
        {"QCSystemTime", "outputTime", 1.25},
    };
    for (const auto& [patch, output, next] : cases) {
        Player player(watched("p: " + std::string(patch), "'p." + std::string(output) + " > eye.inputX'"));
        EXPECT_DOUBLE_EQ(player.frame(1.25).next, next) << patch;
    }
    Player hidden("{patches: {t: QCTime, eye: QCSprite {_enable: false}}, connections: ['t.outputTime > eye.inputX']}");
    EXPECT_TRUE(std::isinf(hidden.frame(1).next)) << "a disabled consumer pulls nothing";
}

// A disabled macro doesn't run its nodes, and what it published stays.
TEST(Enable, RestsAMacroAndKeepsItsOutputs)
{
    Player player(R"({inputs: {on: 'm._enable'}, outputs: {n: 'c.outputCount'}, patches: {
        p: QCLFO {inputType: 3, inputPeriod: 2}, c: QCCounter,
        m: QCPatch {i: 'eye.inputX'} patches {eye: QCSprite}},
        connections: ['p.outputValue > c.inputSignal', 'c.outputCount > m.i']})");
    EXPECT_EQ(player.graph->inputs().size(), 1u);
    player.graph->setInput("on", false);
    EXPECT_EQ(player.frame(0).evaluations, 0u);
    player.graph->setInput("on", true);
    EXPECT_GT(player.frame(1).evaluations, 0u);
}

// A chain longer than the stack is deep is computed over several frames, and none is lost.
TEST(LongChains, CatchUpInTheFramesThatFollow)
{
    Player player("{outputs: {out: 'm19999.outputValue'}, patches: {m0: QCMath {inputValue: 5}, "
        + repeated(1, 20'000, "m{k}: QCMath {operation_1: 0, operand_1: 1}") + "}, connections: ["
        + repeated(1, 20'000, "'m{k-1}.outputValue > m{k}.inputValue'") + "]}");
    EXPECT_EQ(player.after(12), "20004");
}

// The same way through published ports alone: sixty levels down and up again for each of a chain's links.
TEST(LongChains, LeadThroughTheLevelsOfMacros)
{
    std::string macro = "QCMath {operation_1: 0, operand_1: 1}", in = "m.inputValue", out = "m.outputValue";
    for (int level = 0; level < 60; ++level) {
        macro = "QCPatch {i: '" + in + "'} outputs {o: '" + out + "'} patches {m: " + macro + "}";
        in = "m.i";
        out = "m.o";
    }
    Player player("{outputs: {out: 'c899.o'}, patches: {" + repeated(0, 900, "c{k}: " + macro) + "}, connections: ["
        + repeated(1, 900, "'c{k-1}.o > c{k}.i'") + "]}");
    EXPECT_EQ(player.graph->dangling(), 0);
    EXPECT_EQ(player.after(80), "900");
}

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
TEST(Iterator, KeepsMemoryApartAndNests)
{
    // In iteration k a pulse comes in every frame in which the time is k + 1 or more.
    EXPECT_EQ(iterated("3", "c.outputCount",
                  ", t: QCTime, e: QCConditional {inputTest: 2}, c: QCCounter, "
                  "b: QCExpression with {expression: 'i + 0.5'}",
                  ", 'v.outputIndex > b.i', 't.outputTime > e.inputValue1', 'b.outputResult > e.inputValue2', "
                  "'e.outputResult > c.inputSignal'",
                  {0, 1, 2, 3}),
        "[0, 0, 0, 1, 0, 0, 1, 1, 0, 1, 1, 1]");
    EXPECT_EQ(iterated("2", "i.r",
                  R"(, i: QCIterator {inputCount: 3, outer: 'e.outer'} outputs {r: 'e.outputResult'} patches {
                w: QCPatch {} outputs {x: 'v.outputIndex'} patches {v: QCIteratorVariables},
                e: QCExpression with {expression: 'outer * 10 + inner'}} connections ['w.x > e.inner'])",
                  ", 'v.outputIndex > i.outer'"),
        "[2, 12]")
        << "nested, the innermost counts";
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

// Points that scripts of one text throw would all fall on one place.
TEST(Scripts, DrawNumbersOfTheirOwn)
{
    const auto thrown = [] {
        const std::string script
            = "QCJavaScript with {script: 'function (__number x) main () { return {x: Math.random()}; }'}";
        Player player("{outputs: {a: 'a.x', b: 'b.x', c: 'm.c'}, patches: {a: " + script + ", b: " + script
            + ", m: QCPatch outputs {c: 'c.x'} patches {c: " + script + "}}}");
        player.frame(0);
        return std::set<std::string>{player.out("a"), player.out("b"), player.out("c")};
    };
    EXPECT_EQ(thrown().size(), 3u);
    EXPECT_EQ(thrown(), thrown());
}

} // namespace vitrel::qc
