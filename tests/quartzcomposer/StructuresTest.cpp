#include "quartzcomposer/Play.h"

#include "platform/appkit/NSImage.h"

#include <gtest/gtest.h>

namespace vitrel::qc {

namespace {

// A structure written by a host into "in", through a patch of structures.
std::string through(const Value& structure, std::string_view members, std::string_view input, std::string_view output)
{
    Player player("{inputs: {in: 'p." + std::string(input) + "'}, outputs: {out: 'p." + std::string(output)
        + "'}, patches: {p: " + std::string(members) + "}}");
    EXPECT_TRUE(player.graph->setInput("in", structure));
    player.frame(0);
    return player.out();
}

} // namespace

TEST(Structures, AreAskedCountedCutAndSorted)
{
    const Array list{"b", 2, Dictionary{{"k", 3}}, "a", 1};
    const Dictionary keyed{{"one", 1}, {"two", "zwei"}};
    const std::tuple<Value, const char*, const char*, const char*> cases[] = {
        {list, "QCStructureMember/index {inputIndex: 2}", "outputMember", "{k: 3}"},
        {list, "QCStructureMember/index {inputIndex: 5}", "outputMember", "null"},
        {keyed, "QCStructureMember/index {inputIndex: 1}", "outputMember", "'zwei'"},
        {keyed, "QCStructureMember/key {inputKey: 'one'}", "outputMember", "1"},
        {keyed, "QCStructureMember/key {inputKey: 'One'}", "outputMember", "null"},
        {list, "QCStructureMember/key {inputKey: '0'}", "outputMember", "null"},
        {keyed, "QCStructureMember/keyAtIndex {inputIndex: 1}", "outputMember", "'two'"},
        {list, "QCStructureMember/keyAtIndex {inputIndex: 1}", "outputMember", "null"},
        {list, "QCStructureCount", "outputCount", "5"},
        {Value(), "QCStructureCount", "outputCount", "0"},
        {list, "QCStructureSort", "outputStructure", "[1, 2, 'a', 'b', {k: 3}]"},
        {Array{Dictionary{{"n", 2}}, Dictionary{{"m", 0}}, Dictionary{{"n", 1}}},
            "QCStructureSort {inputSortingKey: 'n'}", "outputStructure", "[{n: 1}, {n: 2}, {m: 0}]"},
        {list, "QCStructureRange {inputIndex: 3, inputLength: 9}", "outputStructure", "['a', 1]"},
        {list, "QCStructureRange {inputIndex: 9, inputLength: 4294967295}", "outputStructure", "[]"},
        {keyed, "QCStructureReverse", "outputStructure", "{two: 'zwei', one: 1}"},
    };
    for (const auto& [structure, members, output, result] : cases)
        EXPECT_EQ(through(structure, members, "inputStructure", output), result) << members;
}

// Colours inside structures come as colours, host lists nest, text is made sound.
TEST(Structures, HoldWhatTheHostGave)
{
    EXPECT_EQ(through(Array{Array{1, Value()}, NSColor{1, 0, 0, 1}, true, "\xff"},
                  "QCSplitter with {portClass: 'QCStructurePort'}", "input", "output"),
        "[[1, null], rgba(1, 0, 0, 1), true, '\xEF\xBF\xBD']");
}

// The whole road of a feed's text: parsed in a script, handed on as structures, its members asked for outside. A
// handle of an image comes out as the same image; arrays of arguments are arrays, arguments can't be written back.
TEST(JavaScript, TakesAFeedApart)
{
    Player player(R"j({inputs: {json: 'p.json', art: 'p.art', given: 'p.given', dye: 'p.dye'},
        outputs: {feed: 'p.feed', title: 'p.title', count: 'p.count', runs: 'p.runsSoFar', first: 'p.first',
            cover: 'p.cover', tint: 'p.tint', s0: 'p.sums_0', s1: 'p.sums_1', w0: 'w.output'},
        patches: {w: QCSplitter {input: 1} with {portClass: 'QCNumberPort'},
            p: QCJavaScript {weights_1: 0.5} with {script: {lines: ['var runs = 0;',
            'function (__structure feed, __string title, __number count, __index runsSoFar, __virtual first,',
            '    __image cover, __color tint, __number sums[2])',
            'main (__string json, __image art, __number weights[3], __structure given, __color dye) {',
            '  var doc = JSON.parse(json); ++runs; weights[0] = 100;',
            '  return {feed: doc.items, title: doc.items[1].title, count: doc.items.length, runsSoFar: runs,',
            '    first: doc.items[0], cover: art, tint: dye,',
            '    sums: [weights[0] + weights[1], given.a + given.b[1]]}; }']}}},
        connections: ['w.output > p.weights_0']})j");
    const auto art = std::make_shared<const NSImage>(
        std::make_shared<const Bitmap>(Bitmap{3, 2, std::vector<std::uint32_t>(6, 0xFFFFFFFFu)}));
    player.graph->setInput(
        "json", R"({"items": [{"title": "Ünïcode 𝄞", "n": null, "tags": [1, [2.5, "x"], []]}, {"title": "zwei"}]})");
    player.graph->setInput("art", Value(art));
    player.graph->setInput("given", Dictionary{{"a", 1}, {"b", Array{1, 20}}});
    player.graph->setInput("dye", NSColor{0.25, 0.5, 0.75, 1});
    player.frame(0);
    const std::string first = "{title: 'Ünïcode 𝄞', n: null, tags: [1, [2.5, 'x'], []]}";
    const std::pair<const char*, std::string> results[]
        = {{"feed", "[" + first + ", {title: 'zwei'}]"}, {"title", "'zwei'"}, {"count", "2"}, {"first", first},
            {"cover", "image 3x2"}, {"tint", "rgba(0.25, 0.5, 0.75, 1)"}, {"s1", "21"}, {"w0", "1"}};
    for (const auto& [key, result] : results)
        EXPECT_EQ(player.out(key), result) << key;
    EXPECT_EQ(*player.value("cover").as<ImageRef>(), *player.graph->inputPort("art").as<ImageRef>())
        << "the same handle";
    EXPECT_EQ(player.over({1}, "runs"), "1") << "runs only when an input changed";
    player.graph->setInput("json", "no JSON");
    EXPECT_EQ(player.over({2}, "title"), "'zwei'") << "an exception leaves the outputs";
    EXPECT_EQ(player.out("runs"), "1");
}

TEST(JavaScript, WithoutAHeaderOrWithABrokenBodyGivesNothing)
{
    for (const std::string script : {"", "function main() {}", "function (__number a) main (__number b",
             "function (__number a) main () { return {a: ; }"}) {
        Player("{patches: {p: QCJavaScript with {script: '" + script + "'}}}").frame(0);
    }
    expectAll({
        {"QCJavaScript with {script: 'function (__number a) main () { return {a: ; }'}", "a", "0"},
        {"QCJavaScript with {script: 'function (__number a, __number b) main () { return {b: 2}; }'}", "b", "2"},
    });
}

} // namespace vitrel::qc
