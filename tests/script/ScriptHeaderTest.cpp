#include "platform/quartzcomposer/script/ScriptHeader.h"

#include <gmock/gmock.h>

#include <chrono>

namespace vitrel {
namespace {

constexpr const char* kLetters = "BINSCGTV"; // Boolean Index Number String Color imaGe sTructure Virtual

// "N:a T:b[3]" for the outputs, then "|", then the same for the inputs.
std::string listed(const ScriptHeader& header)
{
    std::string text;
    for (const auto* list : {&header.outputs, &header.inputs}) {
        for (const auto& parameter : *list) {
            text += (text.empty() || text.back() == '|' ? "" : ",") + std::string(1, kLetters[int(parameter.type)])
                + ':' + parameter.key;
            if (parameter.arrayCount)
                text += '[' + std::to_string(parameter.arrayCount) + ']';
        }
        if (list == &header.outputs)
            text += '|';
    }
    return text;
}

TEST(ScriptHeader, IsFoundWhereverItStands)
{
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"function (__number a) main (__string b) { }", "N:a|S:b", "the plain form"},
        {"function () main () {}", "|", "no ports"},
        {"function(__boolean a,__index b,__number c,__string d,__color e,__image f,__structure g,__virtual h)main(){}",
            "B:a,I:b,N:c,S:d,C:e,G:f,T:g,V:h|", "every type, no blanks"},
        {"function\n(\n\t__number\tx,\r\n__number y)\nmain\n(__structure\nz)\n{", "N:x,N:y|T:z",
            "line breaks anywhere"},
        {"function (__number Z ) main (__number A , __number B)", nullptr, "no body"},
        {"function (__number Z ) main (__number A , __number  B){", "N:Z |N:A ,N:B",
            "blanks behind a name belong to it"},
        {"function (__number a[4]) main (__image tex[2], __number n) {", "N:a[4]|G:tex[2],N:n", "arrays"},
        {"/* function (__number x) main (__number y) { */ function (__number a) main () {", "N:a|",
            "a comment before it"},
        {"// function (__number x) main () {\nfunction (__number a) main () {", "N:a|", "a line comment before it"},
        {"var s = \"function (__number x) main () {\"; function (__number a) main () {", "N:a|", "a string before it"},
        {"var r = /[/\"]\"/; function (__number a) main () {", "N:a|", "a quote in a regular expression"},
        {"var q = 4 / 2; var s = '/'; function (__number a) main () {", "N:a|", "a division"},
        {"function f(x) { return x; } function (__number a) main () {", "N:a|", "another function before it"},
        {"(function () { })(); function (__number a) main () {", "N:a|", "a nameless one"},
        {"function (__number a, // first\n __number b /* second */) main () {", "N:a,N:b |", "comments in the lists"},
        {"function (__number a, ,) main (__number b,) {", "N:a|N:b", "commas too many"},
        {"function (__number a, __string a) main () {", "N:a|", "the first of two has the name"},
        {"function (__number \xC3\xA9t\xC3\xA9) main (__number $_1) {", "N:\xC3\xA9t\xC3\xA9|N:$_1", "other letters"},
        {"function (a) main (__date b) {", "V:a|V:b", "no type, unknown type: anything"},
        {"function main (a) { return a; }", nullptr, "plain JavaScript has no header"},
        {"function (__number a) other () {", nullptr, "another name"},
        {"function (__number a main () {", nullptr, "a bracket is missing"},
        {"function (__number a[0]) main () {", nullptr, "an array of none"},
        {"function (__number a[x]) main () {", nullptr, "an array of no number"},
        {"function (__number a[4097]) main () {", nullptr, "too many ports"},
        {"function (__number a[3000], __number b[1000]) main (__number c[100]) {", nullptr, "too many together"},
        {"", nullptr, "nothing"},
    };
    for (const auto& [text, ports, why] : cases) {
        const auto header = parseScriptHeader(text);
        ASSERT_EQ(header.has_value(), ports != nullptr) << text << ": " << why;
        if (header) {
            EXPECT_EQ(listed(*header), ports) << why;
        }
    }
}

TEST(ScriptHeader, TheTextBecomesPlainJavaScriptLineByLine)
{
    const std::pair<const char*, const char*> cases[] = {
        {"var n = 0;\nfunction (__number a,\n__number b) main (__number c , __string d[2])\n{\n return 1; }",
            "var n = 0;\nfunction main(c, d) {\n\n\n return 1; }"},
        {"function () main () { __structure params = new Object(); }",
            "function main() { var params = new Object(); }"},
        {"function () main () { for (__number i = 0; i < 3; i++) {} }",
            "function main() { for (var i = 0; i < 3; i++) {} }"},
        {"function f(__number a, __string b) {} function () main () {}", "function f( a,  b) {} function main() {}"},
        {"function () main () { var __number a = 1, __number b; }", "function main() { var  a = 1,  b; }"},
        {"function () main () { s = \"__number x\"; // __number y\n}",
            "function main() { s = \"__number x\"; // __number y\n}"},
    };
    for (const auto& [text, source] : cases) {
        const auto header = parseScriptHeader(text);
        ASSERT_TRUE(header) << text;
        EXPECT_EQ(header->source, source);
    }
}

// A reader that starts over at each word or bracket needs minutes for these.
TEST(ScriptHeader, HostileTextsTakeLinearTime)
{
    const auto repeated = [](std::string_view piece) {
        std::string text;
        while (text.size() + piece.size() <= 1u << 20)
            text += piece;
        return text;
    };
    const auto start = std::chrono::steady_clock::now();
    for (const char* piece : {"function(", "function (a", "function() main(", "function/**/", "(", "/", "'", "`\\",
             "/*", "function (__number a,", "__number ", "\n//", "["})
        EXPECT_FALSE(parseScriptHeader(repeated(piece))) << piece;
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
    EXPECT_FALSE(parseScriptHeader(std::string((1u << 20) + 1, ' ')));
}

} // namespace
} // namespace vitrel
