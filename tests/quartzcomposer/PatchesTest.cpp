#include "platform/appkit/NSImage.h"
#include "platform/quartzcomposer/patches/Curves.h"
#include "platform/quartzcomposer/patches/Expression.h"
#include "quartzcomposer/Play.h"

#include <gmock/gmock.h>

#include <cmath>
#include <set>

namespace vitrel::qc {

// Operations by their number, left to right without precedence; zero where arithmetic gives up.
TEST(Math, AppliesItsOperationsInTurn)
{
    const char* const results[] = {"9", "5", "14", "3.5", "1", "49", "2", "7", "7"};
    for (int k = 0; k <= 8; ++k) {
        const std::string operation = "QCMath {inputValue: 7, operand_1: 2, operation_1: " + std::to_string(k);
        expectAll({{operation + "} with {numberOfOperations: 1}", "outputValue", results[k]}});
    }
    expectAll({
        {"QCMath {inputValue: 1, operation_1: 0, operand_1: 2, operation_2: 2, operand_2: 3} with {operationCount: 2}",
            "outputValue", "9"},
        {"QCMath {inputValue: 4} with {numberOfOperations: 0}", "outputValue", "4"},
        {"QCMath {inputValue: 4, operation_1: 3, operand_1: 0}", "outputValue", "0"},
        {"QCMath {inputValue: 4, operation_1: 4, operand_1: 0}", "outputValue", "0"},
        {"QCMath {inputValue: -7, operation_1: 4, operand_1: 4}", "outputValue", "-3"},
        {"QCMath {inputValue: -4, operation_1: 5, operand_1: 0.5}", "outputValue", "0"},
    });
}

// For 00, 01, 10, 11: AND, OR, XOR, NOT of the first, NAND, NOR, NXOR.
TEST(Logic, HasSevenOperations)
{
    const std::string results[] = {"0001", "0111", "0110", "1100", "1110", "1000", "1001"};
    for (std::size_t k = 0; k < 7 * 4; ++k)
        expectAll({{"QCLogic {inputOperation: " + std::to_string(k / 4) + ", inputValue1: " + std::to_string(k / 2 % 2)
                + ", inputValue2: " + std::to_string(k % 2) + "}",
            "outputResult", results[k / 4][k % 4] == '1' ? "true" : "false"}});
}

TEST(Conditional, ComparesWithATolerance)
{
    // results: tests 0 to 5: = != > < >= <=
    const std::tuple<double, double, double, const char*> cases[] = {
        {1, 1, 0, "100011"}, {2, 1, 0, "011010"}, {1, 2, 0, "010101"},
        {1.25, 1, 0.25, "101011"}, // equal within the tolerance; greater counts from second - tolerance
        {1.5, 1, 0.25, "011010"}, {1, 1, -1, "100011"}, // no tolerance below 0
    };
    for (const auto& [first, second, tolerance, results] : cases) {
        for (int test = 0; test < 6; ++test)
            expectAll({{"QCConditional {inputValue1: " + std::to_string(first)
                    + ", inputValue2: " + std::to_string(second) + ", inputTolerance: " + std::to_string(tolerance)
                    + ", inputTest: " + std::to_string(test) + "}",
                "outputResult", results[test] == '1' ? "true" : "false"}});
    }
}

TEST(RoundAndRange, TakeNumbersApart)
{
    expectAll({
        {"QCRoundValue {inputValue: 2.5}", "outputRound", "3"},
        {"QCRoundValue {inputValue: -2.5}", "outputRound", "-3"},
        {"QCRoundValue {inputValue: -2.5}", "outputFloor", "-3"},
        {"QCRoundValue {inputValue: -2.5}", "outputCeil", "-2"},
        {"QCRangeValue {inputValue: 7, inputMin: 0, inputMax: 5}", "outputClip", "5"},
        {"QCRangeValue {inputValue: 7, inputMin: 0, inputMax: 5}", "outputRoll", "2"},
        {"QCRangeValue {inputValue: -1, inputMin: 0, inputMax: 5}", "outputRoll", "4"},
        {"QCRangeValue {inputValue: -1, inputMin: 10, inputMax: 12}", "outputRoll", "11"},
        {"QCRangeValue {inputValue: 3, inputMin: 5, inputMax: 1}", "outputClip", "3"},
        {"QCRangeValue {inputValue: 3, inputMin: 2, inputMax: 2}", "outputRoll", "2"},
        {"QCRangeValue {inputValue: 1e9, inputMin: 0, inputMax: {real: 'nan'}}", "outputClip", "1e+09"},
    });
}

TEST(Colors, AreMadeOfComponentsAndTakenApart)
{
    expectAll({
        {"QCColorFromComponents/rgb {input1: 0.25, input2: 0.5, input3: 1, inputAlpha: 0.5}", "outputColor",
            "rgba(0.25, 0.5, 1, 0.5)"},
        {"QCColorFromComponents/hsl {input1: 0, input2: 1, input3: 0.5}", "outputColor", "rgba(1, 0, 0, 1)"},
        {"QCColorFromComponents/hsl {input1: 0.5, input2: 1, input3: 0.25}", "outputColor", "rgba(0, 0.5, 0.5, 1)"},
        {"QCColorFromComponents/hsl {input1: 1.5, input2: 1, input3: 0.5}", "outputColor", "rgba(0, 1, 1, 1)"},
        {"QCColorToComponents/rgb {inputColor: '#ff8000ff'}", "output3", "0"},
        {"QCColorToComponents/hsl {inputColor: '#00ff00ff'}", "output1", "0.333333"},
        {"QCColorToComponents/hsl {inputColor: '#00ff00ff'}", "output3", "0.5"},
        {"QCColorTransform {inputColor: '#ff0000ff', inputHue: 120, inputAlpha: 0.5}", "outputColor",
            "rgba(0, 1, 0, 0.5)"},
        {"QCColorMixer {inputColor1: '#000000ff', inputColor2: '#ffffff00', inputMix: 0.25}", "outputColor",
            "rgba(0.25, 0.25, 0.25, 0.75)"},
    });
}

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

TEST(Strings, AreTakenApartAndPutTogether)
{
    expectAll({
        {R"(QCStringFormat/printer {argument_1: 0.5, argument_2: 'all', argument_3: 2.9, argument_4: 1.005} with {format: '%@ of %@ at %d%%, %.2f'})",
            "outputString", "'0.5 of all at 2%, 1.00'"},
        {R"(QCStringFormat {argument_1: -3, argument_2: 7, argument_3: 0.25,
            argument_4: 's', argument_5: 2.25, argument_6: 5, argument_7: 255} with {format: '%i %u %g %s %05.1f|%-4d|%x'})",
            "outputString", "'-3 7 0.25 s 002.2|5   |ff'"},
        {"QCStringFormat with {format: '100%, sure %'}", "outputString", "'100%, sure %'"},
        {"QCStringFormat {argument_1: 1} with {format: '%n%*d%1000000000d'}", "outputString",
            "'%n%*d" + std::string(98, ' ') + "1'"},
        {"QCStringFormat {argument_1: true} with {format: '%@%@'}", "outputString", "'1'"},
        {"QCStringFormat/scanner {inputString: 'Rome: 12 km'} with {format: '%@: %d km'}", "argument_1", "'Rome'"},
        {"QCStringFormat/scanner {inputString: 'Rome: 12 km'} with {format: '%@: %d km'}", "argument_2", "12"},
        {"QCNumberFormatter {inputNumber: 2.5} with {format: '0.00'}", "outputString", "'2.50'"},
        {"QCNumberFormatter {inputNumber: 7} with {format: '00'}", "outputString", "'07'"},
        {"QCNumberFormatter {inputNumber: 1234567} with {format: '#,##0'}", "outputString", "'1,234,567'"},
        {"QCNumberFormatter {inputNumber: 0.1}", "outputString", "'0.1'"},
        {"QCDateFormatter {inputTime: 86400} with {format: 'yyyy-MM-dd HH:mm:ss'}", "outputString",
            "'2001-01-02 00:00:00'"},
        {"QCDateFormatter {inputTime: 3660} with {format: '%H:%M'}", "outputString", "'01:01'"},
        {"QCDateFormatter {inputTime: 1e300} with {format: '%H:%M'}", "outputString", "''"},
        {"QCStringCompare {inputString1: 'a', inputString2: 'a'}", "outputResult", "0"},
        {"QCStringCompare {inputString1: 'a', inputString2: 'b'}", "outputResult", "1"},
        {"QCStringCompare {inputString1: 'b', inputString2: 'a'}", "outputResult", "2"},
        {"QCStringLength {inputString: 'héé𝄞'}", "outputLength", "5"},
        {"QCStringTruncate {inputString: 'abcdefgh', inputMax: 3, inputToken: '…'}", "outputString", "'abc…'"},
        {"QCStringTruncate {inputString: 'abcdefgh', inputMax: 3, inputDirection: 1, inputToken: '-'}", "outputString",
            "'ab-h'"},
        {"QCStringTruncate {inputString: 'abcdefgh', inputMax: 3, inputDirection: 2}", "outputString", "'fgh'"},
        {"QCStringTruncate {inputString: 'one two three', inputMax: 2, inputMode: 1, inputToken: '…'}", "outputString",
            "'one two…'"},
        {"QCStringTruncate {inputString: 'abc', inputMax: 3, inputToken: '…'}", "outputString", "'abc'"},
        {"QCStringTruncate {inputString: 'abc', inputMax: 0, inputToken: '…'}", "outputString", "'…'"},
        {"QCStringComponents {inputString: 'a--b--', inputSeparator: '--'}", "outputComponents", "['a', 'b', '']"},
        {"QCStringComponents {inputString: 'abc', inputSeparator: ''}", "outputComponents", "['abc']"},
        {R"(QCGrep {inputString: 'A1b22', inputPattern: '[a-z](\\d+)', inputReplace: '<$1>'})", "outputString",
            "'<1><22>'"},
        {"QCGrep {inputString: 'A1b22', inputPattern: '[a-z]', inputReplace: '', inputCaseSensitive: true}",
            "outputString", "'A122'"},
        {"QCGrep {inputString: 'same', inputPattern: '('}", "outputString", "'same'"},
        {"QCStringCase {inputString: 'straße one', inputMode: 1}", "outputString", "'STRASSE ONE'"},
        {"QCStringCase {inputString: 'ONE two', inputMode: 0}", "outputString", "'One Two'"},
        {"QCStringRange {inputString: 'abcdef', inputIndex: 2, inputLength: 3}", "outputString", "'cde'"},
        {"QCStringRange {inputString: 'abcdef', inputIndex: 9, inputLength: 4294967295}", "outputString", "''"},
        {R"(QCStringReplace {inputSourceString: 'a.b.c', inputSearchString: '.', inputReplaceString: '$1\\'})",
            "outputString", "'a$1\\b$1\\c'"},
        {"QCStringReplace {inputSourceString: 'aAa', inputSearchString: 'a', inputReplaceString: 'b', "
         "inputCaseSensitive: false}",
            "outputString", "'bbb'"},
        {"QCStringTimecode {inputTime: 3661.5}", "outputString", "'01:01:01:15'"},
    });
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
    expectAll({
        {"QCTextImage {inputString: 'x', inputGlyphSize: 20, inputWidth: 120, inputHeight: 90} with {manualLayout: "
         "true}",
            "outputImage", "image 120x90"},
        {"QCTextImage {inputString: 'word word word word', inputGlyphSize: 20, inputWidth: 60} with {manualLayout: "
         "true}",
            "outputLineCount", "4", {0}, "a width wraps lines"},
    });
}

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

TEST(Structures, HoldWhatTheHostGaveAndAreAskedCountedCutAndSorted)
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
    // Colours inside structures come as colours, host lists nest, text is made sound.
    EXPECT_EQ(through(Array{Array{1, Value()}, NSColor{1, 0, 0, 1}, true, "\xff"},
                  "QCSplitter with {portClass: 'QCStructurePort'}", "input", "output"),
        "[[1, null], rgba(1, 0, 0, 1), true, '\xEF\xBF\xBD']");
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
    expectAll({
        {"QCJavaScript with {script: 'function (__number a) main () { return {a: ; }'}", "a", "0"},
        {"QCJavaScript with {script: 'function (__number a, __number b) main () { return {b: 2}; }'}", "b", "2"},
    });
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
    EXPECT_EQ(
        evaluated(onePatch("QCExpression {x: 4, y: '0.5'} with {expression: 'x * 2 + y'}", "outputResult")), "8.5");
    EXPECT_EQ(evaluated(onePatch("QCExpression with {expression: 'ln(0) + sqrt(0 - 1)'}", "outputResult")), "0")
        << "what is no number is 0";
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
