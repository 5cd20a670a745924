#include "platform/appkit/NSAttributedString.h"

#include <gtest/gtest.h>

namespace vitrel {
namespace {

std::string plain(std::string_view html)
{
    return NSAttributedString::initWithHTML(html)->string();
}

TEST(NSAttributedString, LaysHTMLOutInLines)
{
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"", "", "nothing"},
        {"Hello  <b>wor</b>ld\n again ", "Hello world again", "white space collapses, also over elements"},
        {"a<b> b </b> c", "a b c", "to one blank"},
        {"<p>A</p>\n<p> B </p>\n", "A\nB", "paragraphs; no line end behind the last"},
        {"<p>A<p>B", "A\nB", "without their end tags"},
        {"<p></p><p>A</p><div></div>", "A", "empty ones make no lines"},
        {"<div><div>A</div></div><div>B", "A\nB", "nor do nested ones"},
        {"A<br>B<br/><br />C<br>", "A\nB\n\nC", "each break ends a line"},
        {"<h1>T</h1>t<hr>u", "T\nt\nu", "headings and rules"},
        {"x<ul><li>A</li><li>B <i>b</i></ul>y", "x\nA\nB b\ny", "each item a line"},
        {"<table><tr><td>1</td><td>2</td></tr><tr><td>3</table>", "1\n2\n3", "each cell"},
        {"a<pre>x\n  y\n</pre>b", "a\nx\n  y\nb", "preformatted text keeps its lines and blanks"},
        {"<head><title>no</title><style>p{}</style></head><script>'<p>no'</script>A<!-- no --><iframe>no</iframe>", "A",
            "what isn't shown"},
        {"A<img src='x' alt='no'>B", "AB", "pictures"},
        {"&lt;p&gt; &amp;amp; &hellip;&nbsp;&eacute;&#8364;&#x20ac;&apos;", "<p> &amp; …\u00A0é€€'",
            "references, once"},
        {"it&#146;s &#133; &#x80;", "it\u2019s \u2026 \u20AC", "numbers that mean Windows-1252"},
        {"AT&T &bogus; &", "AT&T &bogus; &", "what is none"},
        {"5 < 6 > 4", "5 < 6 > 4", "a bare less-than"},
        {"日本<br>\u00FCber", "日本\n\u00FCber", "UTF-8"},
        {"<meta charset='utf-16'>\u00E9", "\u00E9", "a document's own word on its encoding doesn't count"},
        {"<meta charset=koi8-r>\u00E9日", "\u00E9日", "whichever it is"},
        {"\u00E9<meta http-equiv=Content-Type content='text/html; charset=iso-8859-1'>日", "\u00E9日",
            "or in which form"},
        {"<?xml version='1.0' encoding='windows-1252'?>\u00E9日", "\u00E9日", "of XML, too"},
        {"&comma;&check;&NewLine;&Tab;&NotEqualTilde;&Copf;&copy;", ",\u2713 \u2242\u0338\u2102\u00A9",
            "names that HTML 4 hadn't, of one character and of two"},
        {"&copy2 &notit; &notin; &amplt; &eacute&Eacute.", "\u00A92 \u00ACit; \u2209 &lt; \u00E9\u00C9.",
            "old names without a semicolon, the longest that is there"},
        {"&lt;b&gt; &LT &lbrack;&num;38&semi; &amp;lt; &check &hellip", "<b> < [#38; &lt; &check &hellip",
            "what they stand for is no markup, and new names need their semicolon"},
        {"<a title='&quot;>no&QUOT;'>A&quot;</a>", "A\"", "in attributes they end nothing"},
        {"A<video><source src=x><p>no</p></video><audio>no</audio><canvas>no</canvas><iframe>no</iframe>B", "AB",
            "what is there for browsers that can't show the element"},
        {"<p", "", "a tag that is cut off"},
        {"A</div></p></b>B", "A\nB", "ends without starts"},
    };
    for (const auto& [html, text, why] : cases)
        EXPECT_EQ(plain(html), text) << html << ": " << why;
}

// Readers that keep a tree take minutes and gigabytes over these; a time limit of the test runner would end them.
TEST(NSAttributedString, TakesLinearTimeOverHostileDocumentsAndCutsNoCharacter)
{
    for (const char* piece : {"<div>", "<b>", "<table><tr><td>", "<a href=\"", "<", "<p ", "&lt;", "<ul><li>", "</p>",
             "<!--", "<script>", "&#", "<select><option>", "\xFF", "<font><p>"}) {
        std::string html;
        while (html.size() < (1u << 20))
            html += piece;
        EXPECT_LE(plain(html + "end").size(), 2 * html.size() + 3) << piece;
    }
    EXPECT_EQ(plain(std::string(8u << 20, 'x')).size(), 4u << 20) << "what is beyond the limit doesn't count";

    // Of three bytes each, which fit neither the reader's pieces nor the limit.
    const auto text = [](std::size_t count) {
        std::string made = "a";
        for (std::size_t k = 0; k < count; ++k)
            made += "日";
        return made;
    };
    EXPECT_TRUE(plain(text(100'000)) == text(100'000));
    EXPECT_TRUE(plain(text(2'000'000)) == text(((4u << 20) - 1) / 3)) << "as many as fit whole";
}

} // namespace
} // namespace vitrel
