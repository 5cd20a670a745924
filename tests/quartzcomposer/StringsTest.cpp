#include "quartzcomposer/Play.h"

#include <gtest/gtest.h>

namespace vitrel::qc {

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

} // namespace vitrel::qc
