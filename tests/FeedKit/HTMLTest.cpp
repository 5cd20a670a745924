#include "FeedKit/html/Characters.h"
#include "FeedKit/html/References.h"
#include "FeedKit/html/TagScanner.h"
#include "FeedKit/html/Text.h"
#include "support/Repeated.h"

#include <gtest/gtest.h>

namespace FeedKit {
namespace {

using vitrel::repeated;

TEST(HTML, ResolvesReferences)
{
    // Source, in a text, in an attribute; the first row of each group is the rule, the others its edges.
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"&eacute;&Eacute;&AElig;&zwnj;&thetasym;&apos;", "éÉÆ\u200Cϑ'", "éÉÆ\u200Cϑ'"}, // both ends of the table
        {"&Apos; &nosuchname; & &; &#; &#x; &#xg", "&Apos; &nosuchname; & &; &#; &#x; &#xg",
            "&Apos; &nosuchname; & &; &#; &#x; &#xg"},
        {"&copy &amp &lt3", "© & &lt3", "© & &lt3"}, // by their names' whole length
        {"?a&copy=1", "?a©=1", "?a&copy=1"},
        {"&yuml &Omega &apos &euro", "ÿ &Omega &apos &euro", "ÿ &Omega &apos &euro"},
        {"&#65;&#x42;&#X43 &#1F",
            "ABC \x01"
            "F",
            "ABC \x01"
            "F"},
        {"&#128;&#146;&#159;&#129;&#160;", "€’Ÿ\u0081\u00A0", "€’Ÿ\u0081\u00A0"},
        {"&#0;&#xD7FF;&#xD800;&#xDFFF;&#xE000;&#x10FFFF;&#x110000;", "\uFFFD\uD7FF\uFFFD\uFFFD\uE000\U0010FFFF\uFFFD",
            "\uFFFD\uD7FF\uFFFD\uFFFD\uE000\U0010FFFF\uFFFD"},
        {"&#4294967361;&#18446744073709551681;", "\uFFFD\uFFFD", "\uFFFD\uFFFD"}, // 65 more than what wraps around
    };
    for (const auto& [source, text, attribute] : cases) {
        std::string out;
        appendResolved(out, source, ReferencePlace::text);
        EXPECT_EQ(out, text) << source;
        const std::string quoted = "<a x=\"" + std::string(source) + "\">";
        EXPECT_EQ(TagScanner(quoted).next()->attribute("x"), attribute) << source;
    }
}

// Each piece as a letter and what it holds: t text, h hidden, < and > tags.
std::string piecesOf(std::string_view html)
{
    std::string out;
    TagScanner scanner(html);
    while (const auto piece = scanner.next()) {
        out += "th<>"[static_cast<int>(piece->kind)];
        out += piece->name.empty() ? piece->text : piece->name;
        for (const char* name : {"href", "x"}) {
            if (const auto value = piece->attribute(name))
                out.append(",").append(name).append("=").append(*value);
        }
        out += '|';
    }
    return out;
}

TEST(HTML, ScansTagsAsBrowsersDo)
{
    const std::tuple<const char*, const char*> cases[] = {{"a<B>b</B >c<br/>", "ta|<B|tb|>B|tc|<br|"},
        {"1 < 2 <3 <", "t1 < 2 <3 <|"}, {"<a HREF=u x='>\"' x=2>", "<a,href=u,x=>\"|"},
        {"<a x href = \"u\"/>", "<a,href=u,x=|"}, {"<a/href=u/v>b", "<a,href=u/v|tb|"}, {"<a =x=1 \"x=2>b", "<a|tb|"},
        {"<a x=>b", "<a,x=|tb|"},
        {"a<!-- <b> -- > -->b<!-->c<!--->d<!--x--!>e<!doctype html>f<?php > ?>g</ x>h", "ta|tb|tc|td|te|tf|t ?>g|th|"},
        {"<script>'<b>' </scripts></SCRIPT>a", "<script|h'<b>' </scripts>|>SCRIPT|ta|"},
        {"<title><b>&amp;</title><style>x", "<title|t<b>&amp;|>title|<style|hx|"}, {"a<b x='>c", "ta|"},
        {"a<!-- b>c", "ta|"}, {"a<b", "ta|"}, {"a<b x", "ta|"}, {"<script>", "<script|"}};
    for (const auto& [html, pieces] : cases)
        EXPECT_EQ(piecesOf(html), pieces) << html;
}

TEST(HTML, BecomesText)
{
    const std::tuple<const char*, const char*, const char*> cases[] = {{" A\t <b>b</b>\r\nc ", "A b c", "A b c"},
        {"a<b> b </b> c", "a b c", "a b c"}, {"<p>A</P><div><p>B</p></div>\n<p></p>C", "A\nB\nC", "A B C"},
        {"A<br>B<br> <BR/><br>C<br>", "A\nB\n\nC", "A B C"}, {"A<br><p>B", "A\nB", "A B"},
        {"<table><tr><td>1<td>2<tr><th>3</th></table>", "1 2\n3", "1 2 3"},
        {"<h1>T</h1>x<ul><li>A<li>B</ul>y", "T\nx\nA\nB\ny", "T x A B y"},
        {"<pre>a\n  b\n\n\nc</pre>d\ne", "a\nb\n\nc\nd e", "a b c d e"},
        {"<script>no()</script>A<style>no</style><!-- no -->B<img alt=no>", "AB", "AB"},
        {"&lt;b&gt; &amp;amp;", "<b> &amp;", "<b> &amp;"},
        {"a&nbsp;\u00A0 b&#160;<p>&nbsp;<p>\x01\x7F"
         "c",
            "a b\nc", "a b c"},
        {"\u00E0\u00C2", "\u00E0\u00C2", "\u00E0\u00C2"}, {"<search>a<blockquotes>b<address>c", "ab\nc", "ab c"}};
    for (const auto& [html, text, line] : cases) {
        EXPECT_EQ(textOfHTML(html), text) << html;
        EXPECT_EQ(lineOfHTML(html), line) << html;
    }
    EXPECT_EQ(htmlOfText("a <b> & \"c\"\nd"), "a &lt;b&gt; &amp; &quot;c&quot;<br>\nd");
}

// Any of these would take hours if something behind it were looked for again and again.
TEST(HTML, TakesLinearTime)
{
    for (const char* piece : {"<", "<a", "<a<", "</", "<!--", "<!", "<?", "&", "&#", "&#x1", "&lt", "<a x=\"",
             "<a x='>", "<title>", "<script></scripts", "<b>", "<br>", "\u00A0", "--!>"}) {
        const std::string html = repeated(piece, 10'000'000 / std::string_view(piece).size());
        EXPECT_LE(textOfHTML(html).size(), html.size()) << piece;
    }
}

} // namespace
} // namespace FeedKit
