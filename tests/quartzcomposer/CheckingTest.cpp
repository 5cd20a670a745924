#include "platform/quartzcomposer/checking/NearestName.h"
#include "platform/quartzcomposer/checking/TextCheck.h"
#include "platform/quartzcomposer/file/CompositionReader.h"
#include "platform/quartzcomposer/file/TextForm.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

namespace vitrel::qc {

namespace {

const PatchRegistry& registry()
{
    static const PatchRegistry all = allPatches();
    return all;
}

std::string told(std::string_view text, const std::string& path = "/nowhere/t.json")
{
    std::string lines;
    for (const Diagnostic& diagnostic : checkText(text, path, registry()))
        lines += lineOf("t", diagnostic) + "\n";
    return lines;
}

// A text in which "@" marks where each of the messages belongs; in its order.
struct Mistake {
    std::string marked;
    std::vector<std::string> messages;
};

void expectTold(const Mistake& mistake)
{
    std::string text, expected;
    std::size_t line = 1, column = 1, number = 0;
    for (const char c : mistake.marked) {
        if (c == '@') {
            ASSERT_LT(number, mistake.messages.size());
            expected += "t:" + std::to_string(line) + ":" + std::to_string(column) + ": " + mistake.messages[number++]
                + "\n";
            continue;
        }
        text += c;
        line += c == '\n';
        column = c == '\n' ? 1 : column + 1;
    }
    EXPECT_EQ(number, mistake.messages.size());
    EXPECT_EQ(told(text), expected) << text;
}

std::string withPatches(const std::string& patches, const std::string& rest = "")
{
    return "{\"patches\": {\n" + patches + "\n}" + rest + "}";
}

} // namespace

// The place is the very word; the nearest name stands in the message.
TEST(TextCheck, TellsWhereAndWhatWasMeant)
{
    const std::string two = R"("T": {"class": "QCTextImage"}, "B": {"class": "QCBillboard"})";
    const std::string unseenT
        = R"(warning: nothing shows "T": it draws nothing, and nothing that is drawn or published comes from it)";
    const Mistake mistakes[] = {
        {R"({"patches": {"A": {"class": "QCClear" @"inputs": {}}}})",
            {"error: unexpected string literal; expected ',' or '}'"}},
        {R"({"patches": {@)", {"error: unexpected end of input; expected string literal"}},
        {"// words\n@[]", {R"(error: a composition is an object with "patches")"}},
        {"@{}", {R"(error: a composition is an object with "patches")"}},
        {withPatches("@" + two, R"(, @"conections": [], "inputs": @3)"),
            {unseenT, R"(error: nothing is called "conections" here; "connections" is near)",
                R"(error: "inputs" is an object)"}},
        {withPatches(
             R"("A": @{}, "C": @3, "D": {"class": "QCClear", "patches": {}}, "E": {"class": "QCClear", @"patches": {"X": {"class": "QCClear"}}})"),
            {R"(error: patch "A" has no "class")", R"(error: a patch is an object with a "class")",
                "error: QCClear holds no patches"}},
        {withPatches(R"("A": {"class": @"QCClaer"}, "B": {"class": @"/v"}, "C": {"class": @"Zzzz"})"),
            {R"(error: there is no class "QCClaer"; "QCClear" is near)", R"(error: "virtualPatches" has no "/v")",
                R"(error: there is no class "Zzzz")"}},
        {withPatches(
             R"("A": {"class": "QCClear", "inputs": {@"color": "#000000", "inputColor": "#111111", @"inputColor": @"#22222"}})"),
            {R"(error: "A" (QCClear) has no input "color"; "inputColor" is near)",
                R"(error: value of input "inputColor" stands twice here)",
                R"(error: input "inputColor": "#22222" is no colour; one reads "#rrggbb" or "#rrggbbaa")"}},
        {withPatches(R"("B": {"class": "QCBillboard", "inputs": {@"inputWidth": 1}},
 "E": {"class": "QCExpression", "settings": {"expression": "speed"}, "inputs": {@"sped": 1}})",
             R"(, "outputs": {"E": "E.outputResult"})"),
            {R"(error: "B" (QCBillboard) has no input "inputWidth" with these settings)",
                R"(error: "E" (QCExpression) has no input "sped"; "speed" is near)"}},
        {withPatches(
             R"("M": {"class": "QCPatch", "inputs": {"In": "T.@inputStrin", @"No": 3, "X": "@Y.z", "_enable": @2}, "patches": {@"T": {"class": "QCTextImage"}, "C": {"class": "QCClear"}}})"),
            {R"(error: "T" (QCTextImage) has no input "inputStrin"; "inputString" is near)",
                R"(error: "M" (QCPatch) has no input "No")", R"(error: there is no patch "Y" in "M"; "T" is near)",
                R"(error: input "_enable": true or false is wanted, not a number)", unseenT}},
        {withPatches(two, R"(,
 "inputs": {"N": "@Titel.inputString", @"N": "T.inputString", "S": "T.@inputStrin"}, "values": {@"M": 1},
 "outputs": {"O": "T.@inputString", "P": @"T"},
 "connections": ["T.@outputImag > B.inputImage", "T.outputImage > B.@outputHeight", "@T2.outputHeight > B.inputX", @"T > B"])"),
            {R"(error: there is no patch "Titel")", R"(error: input "N" stands twice here)",
                R"(error: "T" (QCTextImage) has no input "inputStrin"; "inputString" is near)",
                R"(error: no input "M" is published here; "N" is near)",
                R"(error: "T" (QCTextImage) has no output "inputString"; that is an input)",
                R"(error: output "P" is no "patch.port")",
                R"(error: "T" (QCTextImage) has no output "outputImag"; "outputImage" is near)",
                R"(error: "B" (QCBillboard) has no input "outputHeight")",
                R"(error: there is no patch "T2"; "T" is near)",
                R"(error: "T > B" is no connection; one reads "patch.port > patch.port")"}},
        {withPatches(R"("C": {"class": "QCClear"})", R"(,
 "inputs": {"Ink": "C.inputColor"}, "options": {"Ink": {"title": @3, @"labls": [], "labels": @["a", 1], "min": 2, "max": @1},
 @"Inc": {"min": 1, @"min": @"x"}, @"Ink": @1})"),
            {R"(error: "title": a text is wanted)", R"(error: an option has no "labls"; "labels" is near)",
                R"(error: "labels": a list of texts is wanted)", R"(warning: "max" is less than "min")",
                R"(error: nothing is published as "Inc" here; "Ink" is near)",
                R"(error: member "min" stands twice here)", R"(error: "min": a number is wanted)",
                R"(error: option "Ink" stands twice here)",
                R"(error: an option is an object with a "title" and the like)"}},
        {R"({"patches": {}, "raw": {}, "options": {"Gone": {}}})", {}},
        {R"({"patches": {}, "options": @[]})", {R"(error: "options" is an object of published inputs)"}},
    };
    for (const Mistake& mistake : mistakes)
        expectTold(mistake);
}

TEST(TextCheck, ValuesFitTheirPorts)
{
    TemporaryFolder folder;
    folder.write("dot.png", "GIF89a-bytes");
    folder.write("text.png", "a text");
    // A class with an input of each kind, by a script; and what each takes, and doesn't.
    const char* const kinds[] = {"boolean", "index", "number", "string", "color", "image", "structure", "virtual"};
    const std::pair<const char*, const char*> values[] = {// and for which of the kinds, in this order
        {"true", "yyyn nnny"}, {"1", "yyyy nnny"}, {"2", "nyyy nnny"}, {"-1", "nnyy nnny"}, {"1.5", "nnyy nnny"},
        {"4294967296", "nnyy nnny"}, {R"("a")", "nnny nnny"}, {R"("#ff0000")", "nnnw ynny"},
        {R"("#ff000")", "nnny nnny"}, {R"({"lines": ["a", "b"]})", "nnny nnny"}, {R"({"real": "nan"})", "nnyn nnny"},
        {R"({"real": "x"})", "nnnn nnnn"}, {R"({"lines": "a"})", "nnnn nnnn"}, {R"({"image": "dot.png"})", "nnnn nyny"},
        {R"({"image": "text.png"})", "nnnn nnnn"}, {R"({"image": "none.png"})", "nnnn nnnn"},
        {R"([1, 2])", "nnnn nnyy"}, {R"({"red": 1, "green": 0, "blue": 0})", "nnnn ynyy"},
        {R"({"a": {"date": "x"}})", "nnnn nnnn"}, {"null", "nnnn nnnn"}};
    for (const auto& [value, verdicts] : values) {
        std::string wanted = verdicts;
        std::erase(wanted, ' ');
        for (std::size_t k = 0; k < std::size(kinds); ++k) {
            const std::string text = withPatches(R"("J": {"class": "QCJavaScript", "inputs": {"v": )"
                    + std::string(value) + R"(}, "settings": {"script": "function (__number o) main (__)" + kinds[k]
                    + R"( v) { return {}; }"}})",
                R"(, "outputs": {"o": "J.o"})");
            const std::string lines = told(text, folder.path() + "/t.json");
            const char verdict = lines.empty() ? 'y' : lines.find(": error: ") != lines.npos ? 'n' : 'w';
            EXPECT_EQ(verdict, wanted[k]) << value << " for " << kinds[k] << ": " << lines;
        }
    }
}

// Texts of authors within the text: line and column are the file's, in a string as in a list of lines.
TEST(TextCheck, ScriptsAndKernelsHaveTheirOwnPlaces)
{
    expectTold({withPatches(R"x("J": {"class": "QCJavaScript", "settings": {"script": {"lines": [
  "function (__number o) main (__number \u00e4) {",
  "  var t = \"\\u00e4\";", "  return { o: @; };",
  "}"]}}},
"S": {"class": "QCJavaScript", "settings": {"script": "function (__number o) main (__number a) {\n  \u0076ar t = \"\\\"\"; return @]; }"}},
"H": {"class": "QCJavaScript", "settings": {"script": @"function main() { return 1; }"}},
"K": {"class": "QCImageKernel", "settings": {"sourceCode": "// x\nkernel vec4 f(sampler a)\n{ return sample(a, ; @}"}},
"V": {"class": "QCGLSLShader", "settings": {"vertexShader": "void main() {\n  gl_Position = ftransform();\n}", "fragmentShader": {"lines": ["void main()", "{ gl_FragColor = vec4(@gl_Nothing); }"]}
}
},
"E": {"class": "QCExpression", "settings": {"expression": "a +\n 3 @) * b"}})x",
                    R"(, "outputs": {"j": "J.o", "s": "S.o", "k": "K.outputImage", "e": "E.outputResult"})"),
        {"error: SyntaxError: expected expression, got ';'", "error: SyntaxError: expected expression, got ']'",
            "error: the script has no function main with types: function (__number result) main (__number value)",
            "error: a bracket that nothing opens", "error: 'gl_Nothing' isn't there",
            "error: the expression can't be read on from here"}});
}

// What came out of a file may hold what another program knows; but slips are told there, too.
TEST(TextCheck, WhatAFileHeldIsNoMistake)
{
    const std::string board = R"("B": {"class": "QCBillboard"})";
    EXPECT_EQ(
        told(withPatches(
            R"("P": {"class": "PluginPatch", "raw": {}, "inputs": {"a.b": "c.d", "n": null}}, "B": {"class": "QCBillboard", "raw": {}, "inputs": {"inputStrange": 4, "inputX": "1"}, "settings": {"odd": 1}})",
            R"(, "connections": ["P.any > B.inputImage"])")),
        "t:2:16: warning: there is no class \"PluginPatch\"\n"
        "t:2:132: warning: \"B\" (QCBillboard) has no input \"inputStrange\"\n");
    EXPECT_THAT(
        told(withPatches(
            R"("P": {"class": "QCSprit", "raw": {}}, "B": {"class": "QCBillboard", "raw": {}, "inputs": {"inputImag": 4}})")),
        testing::AllOf(testing::HasSubstr("error: there is no class \"QCSprit\""),
            testing::HasSubstr("error: \"B\" (QCBillboard) has no input \"inputImag\"")));
}

// The text of a file that another program may have written says so at each of its patches; of one of ours it doesn't.
TEST(TextCheck, TextsOfOtherProgramsFilesAreKnown)
{
    for (const auto& [version, isForeign] : {std::pair("332", false), {"103.4", true}}) {
        const std::string text = textForm(*compositionOfPropertyList(Value(Dictionary{{"frameworkVersion", version},
            {"rootPatch",
                Dictionary{{"class", "QCPatch"},
                    {"state",
                        Dictionary{{"nodes",
                            Array{Dictionary{{"class", "QCClear"}, {"key", "C"},
                                {"state", Dictionary{{"version", std::int64_t(1)}}}}}}}}}}})));
        EXPECT_EQ(told(text).empty(), isForeign) << text;
    }
    // Another number is no slip of the pen.
    EXPECT_EQ(told(withPatches(R"("Way1": {"class": "QCLFO", "raw": {}}, "S": {"class": "QCSprite"})",
                  R"(, "raw": {}, "connections": ["Way2.outputValue > S.inputX", "Wy1.outputValue > S.inputY"])")),
        "t:3:32: warning: there is no patch \"Way2\"; \"Way1\" is near\n"
        "t:3:63: error: there is no patch \"Wy1\"; \"Way1\" is near\n");
}

TEST(TextCheck, EachInputHasOneSourceAndEachPatchAUse)
{
    const std::string patches
        = R"("L": {"class": "QCLFO"}, @"M": {"class": "QCLFO"}, @"D": {"class": "QCLFO"}, "S": {"class": "QCSprite"}, "Sign": {"class": "QCSplitter"},
 "I": {"class": "QCPatch", "patches": {"C": {"class": "QCClear"}}}, @"R": {"class": "QCRenderInImage", "patches": {"C": {"class": "QCClear"}}},
 "T": {"class": "QCTextImage"})";
    expectTold({withPatches(patches, R"(, "inputs": {"X": "S.inputX", "RequiresSquareImage": "Sign.input"},
 "connections": ["L.outputValue > @S.inputX", "L.outputValue > S.inputY", "L.outputValue > @S.inputY", "M.outputValue > D.inputPhase", "@T.outputImage > S.inputZ"])"),
        {R"(warning: nothing shows "M": it draws nothing, and nothing that is drawn or published comes from it)",
            R"(warning: nothing shows "D": it draws nothing, and nothing that is drawn or published comes from it)",
            R"(warning: nothing shows "R": it draws nothing, and nothing that is drawn or published comes from it)",
            R"(error: input "inputX" of "S" has two sources, the other in line 5)",
            R"(error: input "inputY" of "S" has two sources, the other in line 6)",
            "warning: a value of type image never becomes one of type number"}});
}

// What the classes say of ranges, menus and settings.
TEST(TextCheck, RangesAndSettingsAreThoseOfTheClass)
{
    expectTold({withPatches(
                    R"("L": {"class": "QCLFO", "inputs": {"inputType": 7, "inputPeriod": 0, "inputPWMRatio": 1}},
 "M": {"class": "QCLFO", "inputs": {"inputType": @8, "inputPeriod": @-0.5, "inputPWMRatio": @1.5}, "settings": {"randomSeed": @"x", @"randomSede": 1}},
 "T": {"class": "QCTextImage", "settings": {"manualLayout": @"yes", "horizontalAlignment": @"Centred", "timebase": @"own"}})",
                    R"(, "outputs": {"a": "L.outputValue", "b": "M.outputValue", "c": "T.outputImage"})"),
        {"warning: input \"inputType\": 8 is none of the choices: 0 Sine, 1 Cosine, 2 Triangle, 3 Square, 4 Sawtooth "
         "Up, 5 "
         "Sawtooth Down, 6 PWM, 7 Random",
            "warning: input \"inputPeriod\": -0.5 is out of range: at least 0",
            "warning: input \"inputPWMRatio\": 1.5 is out of range: 0 to 1",
            "error: setting \"randomSeed\": a number is wanted, not the text \"x\"",
            "error: \"M\" (QCLFO) has no setting \"randomSede\"; \"randomSeed\" is near",
            "error: setting \"manualLayout\": true or false is wanted, not the text \"yes\"",
            "error: setting \"horizontalAlignment\": \"Centred\" is none of \"Normal\", \"Opposite\", \"Centered\", "
            "\"Justified\"; \"Centered\" is near",
            "error: setting \"timebase\": \"own\" is none of \"parent\", \"local\", \"external\""}});
}

// However many there are: fifty are told, and quickly.
TEST(TextCheck, ManyMistakes)
{
    std::string patches;
    for (int k = 0; k < 2000; ++k)
        patches += (k ? ",\n" : "") + ("\"P" + std::to_string(k))
            + R"(": {"class": "QCSprite", "inputs": {"inputWidht": 1}})";
    const auto found = checkText(withPatches(patches), "/nowhere/t.json", registry());
    ASSERT_EQ(found.size(), kMostDiagnostics);
    EXPECT_EQ(found.back().place.line, 51u);
}

TEST(NearestName, CountsLettersAndForgivesPrefixes)
{
    const std::pair<const char*, std::size_t> words[] = {{"kitten", 0}, {"KITTEN", 0}, {"sitten", 1}, {"kiten", 1},
        {"kittten", 1}, {"iktten", 1}, {"sittin", 2}, {"sitting", 3}, {"", 4}, {"dog", 4}};
    for (const auto& [word, far] : words)
        EXPECT_EQ(distance("kitten", word, 3), far) << word;
    const std::vector<std::string> names{"inputWidth", "inputHeight", "QCSprite", "CIGaussianBlur"};
    for (const auto& [given, meant] : std::initializer_list<std::pair<const char*, const char*>>{
             {"width", "inputWidth"}, {"inputHieght", "inputHeight"}, {"Sprite", "QCSprite"}, {"qcsprit", "QCSprite"},
             {"GBlur", ""}, {"GausianBlur", "CIGaussianBlur"}, {"inputDepth", ""}, {"Hxxyht", ""},
             {"Hxyght", "inputHeight"}, {"x", ""}})
        EXPECT_EQ(nearestName(given, names), meant) << given;
}

// Every composition of ours has nothing to mend, but for the examples that show what a broken script does, and a number
// that is none of a menu's or beyond its range.
TEST(TextCheck, OurOwnCompositionsAreInOrder)
{
    const std::set<std::string> strange{"QCJavaScript.json", "QCLFO.json", "QCMath.json"};
    for (const char* folder :
        {"docs/patches", "examples/compositions", "examples/authoring", "resources/compositions"}) {
        for (const auto& entry : std::filesystem::directory_iterator(std::string(VITREL_SOURCE) + "/" + folder)) {
            if (entry.path().extension() != ".json" || strange.count(entry.path().filename()))
                continue;
            std::ifstream file(entry.path());
            const std::string text{std::istreambuf_iterator<char>(file), {}};
            EXPECT_EQ(told(text, entry.path()), "") << entry.path();
        }
    }
}

TEST(Checking, KnowsThePortsOfDefinitionsInFiles)
{
    TemporaryFolder folder;
    folder.write("double.json",
        R"({"inputs": {"n": "E.n"}, "outputs": {"twice": "E.outputResult"},
            "patches": {"E": {"class": "QCExpression", "settings": {"expression": "2 * n"}}}})");
    const std::string path = folder.path() + "/t.json";
    const auto with = [](const std::string& port, const std::string& file) {
        return "{\"outputs\": {\"a\": \"D.twice\"}, \"patches\": {\"D\": {\"class\": \"/double\", \"inputs\": {\""
            + port + "\": 2}}}, \"virtualPatches\": {\"/double\": {\"file\": " + file + "}}}";
    };
    EXPECT_EQ(told(with("n", "\"double.json\""), path), "");
    EXPECT_THAT(told(with("m", "\"double.json\""), path), testing::HasSubstr("\"m\""));
    EXPECT_THAT(
        told(with("n", "\"gone.json\""), path), "t:1:130: error: the definition in \"gone.json\" can't be read\n");
    EXPECT_THAT(told(with("n", "7"), path), testing::HasSubstr("\"file\" is the name of a text"));
    EXPECT_THAT(told(R"({"patches": {}, "$schema": 5})"), testing::HasSubstr("\"$schema\" is a text"));
}

} // namespace vitrel::qc
