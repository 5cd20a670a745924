#include "platform/appkit/NSImage.h"
#include "platform/quartzcomposer/patches/Curves.h"
#include "platform/quartzcomposer/patches/Expression.h"
#include "quartzcomposer/Play.h"

#include <gmock/gmock.h>

#include <cmath>
#include <set>

namespace vitrel::qc {

// The thirteen curves: ends, halves that mirror each other, and values computed by hand from the formulas.
TEST(Curves, FollowTheirFormulas)
{
    for (std::uint32_t n = 0; n <= 12; ++n) {
        EXPECT_DOUBLE_EQ(curve(n, 0), 0) << n;
        EXPECT_NEAR(curve(n, 1), 1, 1e-15) << n;
        EXPECT_EQ(curve(n, -3), curve(n, 0)) << n;
        EXPECT_EQ(curve(n, 3), curve(n, 1)) << n;
        for (double t = 0; t < 1; t += 0.05)
            EXPECT_LE(curve(n, t), curve(n, t + 0.05) + 1e-12) << n << " rises";
    }
    for (const std::uint32_t n : {3u, 6u, 9u, 12u}) {
        EXPECT_NEAR(curve(n, 0.5), 0.5, 1e-12) << n;
        for (const double t : {0.1, 0.25, 0.4})
            EXPECT_NEAR(curve(n, t), 1 - curve(n, 1 - t), 1e-12) << n;
    }
    for (const std::uint32_t in : {1u, 4u, 7u, 10u}) { // "out" is "in" turned about
        for (const double t : {0.2, 0.5, 0.7})
            EXPECT_NEAR(curve(in + 1, t), 1 - curve(in, 1 - t), 1e-12) << in;
    }
    const std::tuple<std::uint32_t, double, double> byHand[]
        = {{0, 0.3, 0.3}, {1, 0.5, 0.25}, {2, 0.5, 0.75}, {3, 0.25, 0.125}, {4, 0.5, 0.125}, {5, 0.5, 0.875},
            {6, 0.25, 0.0625}, {7, 0.5, 0.03125}, {8, 0.1, 0.5}, {9, 0.25, 0.015625},
            {10, 1.0 / 3, 1 - std::sqrt(3) / 2}, {11, 1.0 / 3, 0.5}, {12, 1.0 / 3, 0.25}, {99, 0.3, 0.3}};
    for (const auto& [number, at, value] : byHand)
        EXPECT_NEAR(curve(number, at), value, 1e-12) << number;
}

// The font's metrics are the machine's; what holds everywhere is measured.
TEST(TextImage, MeasuresInUnitsOrPixels)
{
    Player units(
        R"({inputs: {text: 'p.inputString'}, outputs: {image: 'p.outputImage', w: 'p.outputWidth', h: 'p.outputHeight',
        lines: 'p.outputLineCount', glyphs: 'p.outputGlyphCount'},
        patches: {p: QCTextImage {inputGlyphSize: 0.1, inputFontName: 'LucidaGrande'}}, values: {text: 'Hamburg'}})",
        1280, 720);
    units.frame(0);
    const Extent size = (*units.value("image").as<ImageRef>())->extent();
    EXPECT_NEAR(size.height, 64 * 1.2, 15) << "a tenth of a unit is 64 pixels at a width of 1280";
    EXPECT_NEAR(units.number("w"), size.width / 640, 1e-9);
    EXPECT_NEAR(units.number("h"), size.height / 640, 1e-9);
    EXPECT_EQ(units.out("lines") + " " + units.out("glyphs"), "1 7");
    units.graph->setInput("text", "");
    units.frame(1);
    EXPECT_EQ(units.out("image") + " " + units.out("w"), "null 0");
}

// Colours inside structures come as colours, host lists nest, text is made sound.
TEST(Structures, HoldWhatTheHostGave)
{
    Player player("{inputs: {in: 'p.input'}, outputs: {out: 'p.output'}, patches: {p: QCSplitter with {portClass: "
                  "'QCStructurePort'}}}");
    player.graph->setInput("in", Array{Array{1, Value()}, NSColor{1, 0, 0, 1}, true, "\xff"});
    EXPECT_EQ(player.over({0}), "[[1, null], rgba(1, 0, 0, 1), true, '\xEF\xBF\xBD']");
}

// The whole road of a feed's text: parsed in a script, handed on as structures, its members asked for outside. A
// handle of an image comes out as the same image; arrays of arguments are arrays, arguments can't be written back.
TEST(JavaScript, TakesAFeedApartAndNothingFromABrokenBody)
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

    for (const std::string script : {"", "function main() {}", "function (__number a) main (__number b",
             "function (__number a) main () { return {a: ; }"}) {
        Player("{patches: {p: QCJavaScript with {script: '" + script + "'}}}").frame(0);
    }
}

// Precedence, associativity, degrees: each row is one way to be wrong.
TEST(Expression, ReadsTheGrammar)
{
    // result: with a = 2, b = 3, c = -1.5
    const std::tuple<const char*, double, const char*> cases[] = {{"1 + 2 * 3", 7, "* before +"},
        {"10 - 4 - 3", 3, "left to right"}, {"12 / 2 / 3", 2, "left to right"}, {"2 ^ 3 ^ 2", 512, "^ from the right"},
        {"2 * 3 ^ 2", 18, "^ before *"}, {"-2 ^ 2", -4, "^ before the sign"}, {"2 ^ -1", 0.5, "a sign behind ^"},
        {"7 % 4", 3, "C's modulo"}, {"-7 % 4", -3, "with the sign of the first"}, {"1 < 2 == 1", 1, "< before =="},
        {"1 + 1 > 1", 1, "+ before >"}, {"2 >= 2 && 3 <= 2", 0, ">= before &&"}, {"1 || 0 && 0", 1, "&& before ||"},
        {"!0 + 1", 2, "! before +"}, {"!2", 0, "not 0 is true"}, {"1 != 1", 0, "unequal"},
        {"(a & !0) | 0", 1, "single ones, as files have them"}, {"0 ? 1 : 2", 2, "choice"},
        {"0 ? 1 : 1 ? 3 : 4", 3, "choices from the right"}, {"1 < 2 ? 5 : 6", 5, "comparison before choice"},
        {"sin(90)", 1, "degrees"}, {"cos(180)", -1, "degrees"}, {"atan2(1, 0)", 90, "degrees"},
        {"asin(1)", 90, "degrees"}, {"log(1000)", 3, "base 10"}, {"ln(e)", 1, "natural"},
        {"min(3, 1, 2)", 1, "of more than two"}, {"max(a, b)", 3, "variables"},
        {"round(2.5) + floor(c) + ceil(c)", 0, "3 - 2 - 1"}, {"sign(c) * abs(c)", -1.5, "sign"},
        {"mod(7, 4) + fmod(7, 4)", 6, "both names"}, {"pow(2, 10)", 1024, "pow"},
        {"0.00000045 * 1e6", 0.45, "long and short literals"}, {".5 + 5.", 5.5, "points at either end"},
        {"a+b\n", 5, "a line end at the end"}, {"((((a))))", 2, "parentheses"}, {"1 / 0", 0, "division by zero"},
        {"1 % 0", 0, "modulo by zero"}, {"pi", 3.14159265358979323846, "constant"}};
    for (const auto& [text, result, why] : cases) {
        const Expression expression = Expression::parse(text);
        std::vector<double> values;
        for (const std::string& name : expression.variables())
            values.push_back(name == "a" ? 2 : name == "b" ? 3 : -1.5);
        EXPECT_NEAR(expression.evaluate(values), result, 1e-12) << text << ": " << why;
    }
}

TEST(Expression, GivesNothingForWhatIsNone)
{
    const std::string broken[] = {"", "  ", "1 +", "(1", "1)", "1 2", "* 3", "sin", "sin(", "sin()", "sin(1, 2)",
        "atan2(1)", "foo(1)", "1 ? 2", "1 : 2", "a b", "1..2", "#", "'x'", "1 = 2", "&", std::string("1\0+1", 4),
        std::string(70'000, '1') + "+1"};
    for (const std::string& text : broken) {
        const Expression expression = Expression::parse(text);
        const std::vector<double> values(expression.variables().size(), 7.0);
        const bool isVariable = text == "sin"; // a function's name alone is a name like any other
        EXPECT_EQ(expression.evaluate(values), isVariable ? 7 : 0) << text.substr(0, 40);
    }
}

// Each level of a deep text is a call within a call.
TEST(Expression, StandsDeepAndLongTexts)
{
    const std::string deep = std::string(20'000, '(') + "1" + std::string(20'000, ')');
    EXPECT_EQ(Expression::parse(deep).evaluate({}), 0);
    EXPECT_EQ(Expression::parse(std::string(50'000, '-') + "1").evaluate({}), 0);
    EXPECT_EQ(Expression::parse(std::string(50'000, '!') + "1").evaluate({}), 0);
    std::string power = "1";
    for (int k = 0; k < 20'000; ++k)
        power += "^1";
    EXPECT_EQ(Expression::parse(power).evaluate({}), 0);
    std::string sum = "0";
    for (int k = 0; k < 20'000; ++k)
        sum += "+1";
    EXPECT_EQ(Expression::parse(sum).evaluate({}), 20'000) << "a long chain is none";
    EXPECT_EQ(Expression::parse(std::string(100, '(') + "3" + std::string(100, ')')).evaluate({}), 3);
}

// Ports in the order of their first appearance, under the names as written.
TEST(Expression, MakesAPortForEachVariable)
{
    EXPECT_THAT(
        Expression::parse("Y * x + y * x * max(pi, Z_1)").variables(), testing::ElementsAre("Y", "x", "y", "Z_1"));
}

namespace {

// A composition of one patch with every output published; `settings` as its state.
CompositionFile alone(const std::string& name, const Dictionary& settings)
{
    const std::string identifier = name.substr(std::min(name.find('/'), name.size() - 1) + 1);
    Dictionary node{{"class", name.substr(0, name.find('/'))}, {"key", "p"}, {"state", settings}};
    if (!identifier.empty())
        node["identifier"] = identifier;
    Array published;
    auto patch = registry().make(name);
    patch->configure({&settings, identifier, {}});
    for (const auto& port : patch->outputs())
        published.push_back(Dictionary{{"key", port->key()}, {"node", "p"}, {"port", port->key()}});
    const Dictionary root{
        {"class", "QCPatch"}, {"state", Dictionary{{"nodes", Array{node}}, {"publishedOutputPorts", published}}}};
    return *compositionOfPropertyList(Dictionary{{"rootPatch", root}});
}

std::string outputsOf(Player& player)
{
    std::string all;
    for (const PublishedPort& port : player.graph->outputs()) {
        const PortValue value = player.value(port.key);
        const auto* number = value.as<double>();
        EXPECT_TRUE(!number || std::isfinite(*number)) << port.key;
        all += port.key + "=" + shown(value) + " ";
    }
    return all;
}

} // namespace

// Two ports of one key: the second can be neither stored nor connected. A patch that reads a setting that isn't there,
// divides by its zero defaults, or gives other values when the same moment is asked for again.
TEST(EveryPatch, HasNoTwoPortsOfOneKeyAndGivesFiniteNumbersTheSameAgainForTheSameTimes)
{
    for (const std::string& name : registry().names()) {
        SCOPED_TRACE(name);
        auto patch = registry().make(name);
        patch->timebase = Patch::Timebase::External;
        patch->configure({});
        patch->addSystemPorts();
        std::set<std::string> inputs, outputs;
        for (const auto& port : patch->inputs())
            EXPECT_TRUE(inputs.insert(port->key()).second) << port->key();
        for (const auto& port : patch->outputs())
            EXPECT_TRUE(outputs.insert(port->key()).second) << port->key();
        Player first(alone(name, {})), second(alone(name, {}));
        for (const double time : {0.0, 0.5, 7.25, 1.0, 1.0, 0.0}) {
            first.frame(time);
            second.frame(time);
            EXPECT_EQ(outputsOf(first), outputsOf(second)) << "at " << time;
        }
        EXPECT_EQ(first.graph->dangling(), 0);
    }
}

// Settings come from files: a text where a number stands, a number that isn't one, a list in place of a text.
TEST(EveryPatch, TakesSettingsOfWrongTypesForMissing)
{
    const Value wrong[] = {"text", -1, 1e300, std::nan(""), true, Array{1, "x"}, Dictionary{{"a", 1}}, Bytes{1, 2, 3}};
    for (const std::string& name : registry().names()) {
        SCOPED_TRACE(name);
        for (const Value& value : wrong) {
            Dictionary settings;
            for (const char* key :
                {"inputCount", "outputCount", "numberOfOperations", "operationCount", "numberOfInputs", "portClass",
                    "savedPorts", "format", "style", "expression", "script", "randomSeed", "variability", "imageData",
                    "keys", "slices", "stacks", "lightCount", "numberOfLights", "numberOfPoints", "sizeMode",
                    "manualLayout", "fontName", "fontSize", "horizontalAlignment", "startUpDelay", "controlPointTimes",
                    "controlPointValues", "controlPointStart", "timebase", "resetOutputs", "continuous", "hasBypass"})
                settings[key] = value;
            Player player(alone(name, settings));
            player.over({0, 1});
            outputsOf(player);
        }
    }
}

} // namespace vitrel::qc
