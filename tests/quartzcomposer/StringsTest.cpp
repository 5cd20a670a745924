#include "quartzcomposer/Play.h"

#include <gtest/gtest.h>

namespace vitrel::qc {

namespace {

struct Row {
    const char* members;
    const char* port;
    const char* result;
};

} // namespace

TEST(Strings, AreTakenApartAndPutTogether)
{
    const Row rows[] = {
        {R"("class": "QCStringFormat", "identifier": "printer", "settings": {"format": "%@ of %@ at %d%%, %.2f"},
            "inputs": {"argument_1": 0.5, "argument_2": "all", "argument_3": 2.9, "argument_4": 1.005})",
            "outputString", "'0.5 of all at 2%, 1.00'"},
        {R"("class": "QCStringFormat", "settings": {"format": "%i %u %g %s %05.1f|%-4d|%x"}, "inputs": {"argument_1": -3, "argument_2": 7, "argument_3": 0.25,
            "argument_4": "s", "argument_5": 2.25, "argument_6": 5, "argument_7": 255})",
            "outputString", "'-3 7 0.25 s 002.2|5   |ff'"},
        {R"("class": "QCStringFormat", "settings": {"format": "100%, sure %"})", "outputString", "'100%, sure %'"},
        {R"("class": "QCStringFormat", "settings": {"format": "%n%*d%1000000000d"}, "inputs": {"argument_1": 1})",
            "outputString",
            "'%n%*d                                                                                                  "
            "1'"},
        {R"("class": "QCStringFormat", "settings": {"format": "%@%@"}, "inputs": {"argument_1": true})", "outputString",
            "'1'"},
        {R"("class": "QCStringFormat", "identifier": "scanner", "settings": {"format": "%@: %d km"}, "inputs": {"inputString": "Rome: 12 km"})",
            "argument_1", "'Rome'"},
        {R"("class": "QCStringFormat", "identifier": "scanner", "settings": {"format": "%@: %d km"}, "inputs": {"inputString": "Rome: 12 km"})",
            "argument_2", "12"},
        {R"("class": "QCNumberFormatter", "settings": {"format": "0.00"}, "inputs": {"inputNumber": 2.5})",
            "outputString", "'2.50'"},
        {R"("class": "QCNumberFormatter", "settings": {"format": "00"}, "inputs": {"inputNumber": 7})", "outputString",
            "'07'"},
        {R"("class": "QCNumberFormatter", "settings": {"format": "#,##0"}, "inputs": {"inputNumber": 1234567})",
            "outputString", "'1,234,567'"},
        {R"("class": "QCNumberFormatter", "inputs": {"inputNumber": 0.1})", "outputString", "'0.1'"},
        {R"("class": "QCDateFormatter", "settings": {"format": "yyyy-MM-dd HH:mm:ss"}, "inputs": {"inputTime": 86400})",
            "outputString", "'2001-01-02 00:00:00'"},
        {R"("class": "QCDateFormatter", "settings": {"format": "%H:%M"}, "inputs": {"inputTime": 3660})",
            "outputString", "'01:01'"},
        {R"("class": "QCDateFormatter", "settings": {"format": "%H:%M"}, "inputs": {"inputTime": 1e300})",
            "outputString", "''"},
        {R"("class": "QCStringCompare", "inputs": {"inputString1": "a", "inputString2": "a"})", "outputResult", "0"},
        {R"("class": "QCStringCompare", "inputs": {"inputString1": "a", "inputString2": "b"})", "outputResult", "1"},
        {R"("class": "QCStringCompare", "inputs": {"inputString1": "b", "inputString2": "a"})", "outputResult", "2"},
        {R"("class": "QCStringLength", "inputs": {"inputString": "héé𝄞"})", "outputLength", "5"},
        {R"("class": "QCStringTruncate", "inputs": {"inputString": "abcdefgh", "inputMax": 3, "inputToken": "…"})",
            "outputString", "'abc…'"},
        {R"("class": "QCStringTruncate", "inputs": {"inputString": "abcdefgh", "inputMax": 3, "inputDirection": 1, "inputToken": "-"})",
            "outputString", "'ab-h'"},
        {R"("class": "QCStringTruncate", "inputs": {"inputString": "abcdefgh", "inputMax": 3, "inputDirection": 2})",
            "outputString", "'fgh'"},
        {R"("class": "QCStringTruncate", "inputs": {"inputString": "one two three", "inputMax": 2, "inputMode": 1, "inputToken": "…"})",
            "outputString", "'one two…'"},
        {R"("class": "QCStringTruncate", "inputs": {"inputString": "abc", "inputMax": 3, "inputToken": "…"})",
            "outputString", "'abc'"},
        {R"("class": "QCStringTruncate", "inputs": {"inputString": "abc", "inputMax": 0, "inputToken": "…"})",
            "outputString", "'…'"},
        {R"("class": "QCStringComponents", "inputs": {"inputString": "a--b--", "inputSeparator": "--"})",
            "outputComponents", "['a', 'b', '']"},
        {R"("class": "QCStringComponents", "inputs": {"inputString": "abc", "inputSeparator": ""})", "outputComponents",
            "['abc']"},
        {R"j("class": "QCGrep", "inputs": {"inputString": "A1b22", "inputPattern": "[a-z](\\d+)", "inputReplace": "<$1>"})j",
            "outputString", "'<1><22>'"},
        {R"("class": "QCGrep", "inputs": {"inputString": "A1b22", "inputPattern": "[a-z]", "inputReplace": "", "inputCaseSensitive": true})",
            "outputString", "'A122'"},
        {R"j("class": "QCGrep", "inputs": {"inputString": "same", "inputPattern": "("})j", "outputString", "'same'"},
        {R"("class": "QCStringCase", "inputs": {"inputString": "straße one", "inputMode": 1})", "outputString",
            "'STRASSE ONE'"},
        {R"("class": "QCStringCase", "inputs": {"inputString": "ONE two", "inputMode": 0})", "outputString",
            "'One Two'"},
        {R"("class": "QCStringRange", "inputs": {"inputString": "abcdef", "inputIndex": 2, "inputLength": 3})",
            "outputString", "'cde'"},
        {R"("class": "QCStringRange", "inputs": {"inputString": "abcdef", "inputIndex": 9, "inputLength": 4294967295})",
            "outputString", "''"},
        {R"("class": "QCStringReplace", "inputs": {"inputSourceString": "a.b.c", "inputSearchString": ".", "inputReplaceString": "$1\\"})",
            "outputString", "'a$1\\b$1\\c'"},
        {R"("class": "QCStringReplace", "inputs": {"inputSourceString": "aAa", "inputSearchString": "a", "inputReplaceString": "b", "inputCaseSensitive": false})",
            "outputString", "'bbb'"},
        {R"("class": "QCStringTimecode", "inputs": {"inputTime": 3661.5})", "outputString", "'01:01:01:15'"},
    };
    for (const auto& [members, port, result] : rows)
        EXPECT_EQ(evaluated(onePatch(members, port)), result) << members;
}

// The font's metrics are the machine's; what holds everywhere is measured.
TEST(TextImage, MeasuresInUnitsOrPixels)
{
    Player units(
        R"({"inputs": {"text": "p.inputString"}, "outputs": {"image": "p.outputImage", "w": "p.outputWidth", "h": "p.outputHeight",
        "lines": "p.outputLineCount", "glyphs": "p.outputGlyphCount"},
        "patches": {"p": {"class": "QCTextImage", "inputs": {"inputGlyphSize": 0.1, "inputFontName": "LucidaGrande"}}}, "values": {"text": "Hamburg"}})",
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
    EXPECT_EQ(
        evaluated(onePatch(
            R"("class": "QCTextImage", "settings": {"manualLayout": true}, "inputs": {"inputString": "x", "inputGlyphSize": 20,
        "inputWidth": 120, "inputHeight": 90})",
            "outputImage")),
        "image 120x90");
    EXPECT_EQ(
        evaluated(onePatch(
            R"("class": "QCTextImage", "settings": {"manualLayout": true}, "inputs": {"inputString": "word word word word", "inputGlyphSize": 20,
        "inputWidth": 60})",
            "outputLineCount")),
        "4")
        << "a width wraps lines";
}

} // namespace vitrel::qc
