// The page docs/feed-elements.md is what users are promised. Each of its rows is put to the parser, which is then the
// one that has to agree: the tests never look at what the tables say.
#include "FeedKit/Leaves.h"
#include "FeedKit/xml/XMLFeedParser.h"

#include <fstream>
#include <gmock/gmock.h>
#include <regex>

namespace FeedKit {
namespace {

struct Attribute {
    std::string name, type;
};

struct Making {
    std::string field, how; // added, array, first, last
    std::vector<Attribute> attributes;
};

struct Listed {
    std::string format, path;
    std::vector<Making> start;
    std::string textField, textRule;
};

std::vector<Making> makingsIn(const std::string& cell)
{
    static const std::regex clause("`([^`]+)` (added|array|first|last)( with ([^;]*))?(; |$)");
    static const std::regex attribute("`([^`]+)`( \\(([^)]*)\\))?");
    std::vector<Making> makings;
    for (std::sregex_iterator at(cell.begin(), cell.end(), clause), end; at != end; ++at) {
        makings.push_back({(*at)[1], (*at)[2], {}});
        const std::string with = (*at)[4];
        for (std::sregex_iterator a(with.begin(), with.end(), attribute); a != end; ++a)
            makings.back().attributes.push_back({(*a)[1], (*a)[3]});
    }
    return makings;
}

std::vector<Listed> listing()
{
    std::ifstream page(VITREL_DOCS "/feed-elements.md");
    static const std::regex row("\\| `([^`]+)` \\| (.*) \\| (.*) \\|");
    static const std::regex text("`([^`]+)` (.*)");
    std::vector<Listed> rows;
    std::string format;
    for (std::string line; std::getline(page, line);) {
        std::smatch found;
        if (line.starts_with("## "))
            format = line.substr(3);
        if (!std::regex_match(line, found, row))
            continue;
        Listed listed{format, found[1], makingsIn(found[2]), {}, {}};
        const std::string cell = found[3];
        if (std::regex_match(cell, found, text)) {
            listed.textField = found[1];
            listed.textRule = found[2];
        }
        rows.push_back(listed);
    }
    return rows;
}

std::vector<std::string> namesIn(const std::string& path)
{
    std::vector<std::string> names;
    std::stringstream in(path.substr(1));
    for (std::string name; std::getline(in, name, '/');)
        names.push_back(name);
    return names;
}

// The root selects the type and does nothing else.
bool isRoot(const Listed& row)
{
    return row.path.find('/', 1) == row.path.npos;
}

// The elements of the path, one in the other, and `inner` in place of the last one, behind an element that means
// nothing: with that the model is there also at the level of the root.
std::string documentAround(const std::string& path, const std::string& inner)
{
    auto names = namesIn(path);
    names.pop_back();
    std::string document;
    for (const auto& name : names)
        document += "<" + name + ">";
    document += "<x/>" + inner;
    for (auto name = names.rbegin(); name != names.rend(); ++name)
        document += "</" + *name + ">";
    return document;
}

std::string element(const std::string& path, const std::string& attributes, const std::string& text)
{
    const auto name = namesIn(path).back();
    return "<" + name + attributes + ">" + text + "</" + name + ">";
}

Leaves parsed(const std::string& document)
{
    XMLFeedParser parser(FeedKit::bytesOf(document));
    const auto feed = parser.parse();
    EXPECT_TRUE(feed) << document << ": " << feed.error().payload();
    return feed ? leavesOf(*feed) : Leaves();
}

// Where a field of the page lies: in element `last` of the innermost array, in the first of all others.
std::string placeOf(std::string field, int last = 0)
{
    for (auto at = field.rfind("[]"); at != field.npos; at = field.rfind("[]")) {
        field.replace(at, 2, "[" + std::to_string(last) + "]");
        last = 0;
    }
    return field;
}

// What the leaves of the innermost making grow by.
void expectMade(Leaves& expected, const Making& making)
{
    const auto array = making.field.substr(0, making.field.rfind("[]"));
    if (making.how == "added")
        expected[placeOf(array)] = "[]";
    expected[placeOf(making.field)] = making.how == "array" ? "[]" : "{}";
}

struct Sample {
    const char *text, *value; // absent if null
};

Sample sampleOf(const std::string& type, bool good)
{
    if (type == "integer")
        return good ? Sample{"-42", "-42"} : Sample{"4 2", nullptr};
    if (type == "number")
        return good ? Sample{"2.5", "2.500000"} : Sample{"2,5", nullptr};
    if (type == "boolean")
        return good ? Sample{"Yes", "yes"} : Sample{"perhaps", nullptr};
    if (type == "duration")
        return good ? Sample{" 1:30 ", "90.000000"} : Sample{"1.5", nullptr};
    if (type == "date")
        return good ? Sample{"Mon, 02 Jan 2006 15:04:05 GMT", "1136214245.000000"} : Sample{"some day", nullptr};
    if (type == "period")
        return good ? Sample{"Weekly", "weekly"} : Sample{"fortnightly", nullptr};
    return good ? Sample{" a b ", "\" a b \""} : Sample{"", "\"\""};
}

using ListedElement = testing::TestWithParam<Listed>;

TEST_P(ListedElement, MakesItsObjectsAndReadsTheirAttributes)
{
    const auto& row = GetParam();
    const Leaves before = parsed(documentAround(row.path, ""));
    Leaves expected = before;
    for (const auto& making : row.start)
        expectMade(expected, making);
    EXPECT_EQ(parsed(documentAround(row.path, element(row.path, "", ""))), expected);
    // An attribute that isn't listed makes no difference but for the presence of `attributes`.
    auto withForeign = expected;
    if (!row.start.empty() && !row.start.back().attributes.empty())
        withForeign[placeOf(row.start.back().field) + ".attributes"] = "{}";
    EXPECT_EQ(parsed(documentAround(row.path, element(row.path, " a:foreign='x'", ""))), withForeign);

    for (const bool good : {true, false}) {
        auto with = expected;
        std::string attributes;
        for (const auto& making : row.start) {
            const auto at = placeOf(making.field) + ".attributes";
            for (const auto& [name, type] : making.attributes) {
                const auto sample = sampleOf(type, good);
                attributes += " " + name + "='" + sample.text + "'";
                with[at] = "{}";
                if (sample.value)
                    with[at + "." + (type.starts_with("as ") ? type.substr(3) : name)] = sample.value;
            }
        }
        EXPECT_EQ(parsed(documentAround(row.path, element(row.path, attributes, ""))), with);
    }
}

// One that wins the wrong way round, or opens a new element where it shouldn't, shows only when it comes twice.
TEST_P(ListedElement, ComesTwice)
{
    const auto& row = GetParam();
    const std::string how = row.start.empty() ? "" : row.start.back().how;
    const auto twice = [&](const std::string& attribute, const std::string& one, const std::string& two) {
        const auto with = [&](const std::string& value) {
            return attribute.empty() ? std::string() : " " + attribute + "='" + value + "'";
        };
        return parsed(documentAround(row.path, element(row.path, with(one), one) + element(row.path, with(two), two)));
    };
    // Two empty ones: each one more of its array, or as good as one.
    auto expected = parsed(documentAround(row.path, element(row.path, "", "")));
    if (how == "added")
        expected[placeOf(row.start.back().field, 1)] = "{}";
    EXPECT_EQ(twice("", "", ""), expected);

    const auto good = sampleOf(row.textRule, true), bad = sampleOf(row.textRule, false);
    if (row.textRule == "appended" && how == "added") {
        expected[placeOf(row.textField, 0)] = "\"A\"";
        expected[placeOf(row.textField, 1)] = "\"B\"";
        EXPECT_EQ(twice("", "A", "B"), expected);
    } else if (row.textRule == "appended") {
        expected[placeOf(row.textField)] = how == "last" ? "\"B\"" : "\"AB\"";
        EXPECT_EQ(twice("", "A", "B"), expected);
    } else if (bad.value == nullptr && how != "added") {
        EXPECT_EQ(twice("", good.text, bad.text), expected) << "what doesn't read takes away what did";
    }

    if (how.empty())
        return;
    const auto& attributes = row.start.back().attributes;
    const auto text = std::find_if(attributes.begin(), attributes.end(), [](auto& one) { return one.type.empty(); });
    if (text == attributes.end())
        return;
    const auto leaves = twice(text->name, "one", "two");
    const auto value = [&](int last) {
        const auto found = leaves.find(placeOf(row.start.back().field, last) + ".attributes." + text->name);
        return found == leaves.end() ? std::string("none") : found->second;
    };
    EXPECT_EQ(value(0), how == "last" ? "\"two\"" : "\"one\"");
    if (how == "added") {
        EXPECT_EQ(value(1), "\"two\"");
    }
}

// What a text is to the rules that keep no single value: the leaves that come to its field.
const std::tuple<std::string_view, const char*, Leaves> kTexts[]
    = {{"", "text", {}}, {"appended", " A &amp;<![CDATA[ <B>]]>", {{"", "\" A & <B>\""}}},
        {"appended", "<![CDATA[]]>", {{"", "\"\""}}}, {"appended", "A<x>B</x>C", {{"", "\"A\""}}},
        {"each added", "A&amp;B", {{"[0]", "\"A\""}, {"[1]", "\"&\""}, {"[2]", "\"B\""}}},
        {"keywords", "a, b ,c", {{"[0]", "\"a\""}, {"[1]", "\"b\""}, {"[2]", "\"c\""}}},
        {"keywords", "a<![CDATA[b]]>", {{"[0]", "\"a\""}, {"[1]", "\"b\""}}}, {"keywords", "<![CDATA[]]>", {}},
        {"tags", "gone<![CDATA[news: 5, x:y]]>",
            {{"[0]", "{}"}, {"[0].tag", "\"news\""}, {"[0].weight", "5"}, {"[1]", "{}"}, {"[1].tag", "\"x\""}}},
        {"position", "52.1 -4.3", {{".latitude", "52.100000"}, {".longitude", "-4.300000"}}},
        {"position", "52.1 x", {{".latitude", "52.100000"}}}, {"position", "52.1  4.3", {}},
        {"hour", "0", {{"[0]", "0"}}}, {"hour", "23", {{"[0]", "23"}}}, {"hour", "24", {}}, {"hour", "-1", {}},
        {"day", "MONDAY", {{"[0]", "monday"}}}, {"day", "Mon", {}}};

TEST_P(ListedElement, PutsItsTextIntoItsFieldAndNowhereElse)
{
    const auto& row = GetParam();
    const auto with
        = [&](const std::string& text) { return parsed(documentAround(row.path, element(row.path, "", text))); };
    const Leaves without = with("");
    const auto grown = [&](const Leaves& by) {
        auto leaves = without;
        for (const auto& [path, value] : by)
            leaves[placeOf(row.textField) + path] = value;
        return leaves;
    };
    bool isTold = false;
    for (const auto& [rule, text, leaves] : kTexts) {
        if (rule == row.textRule) {
            EXPECT_EQ(with(text), grown(leaves)) << text;
            isTold = true;
        }
    }
    if (isTold)
        return;
    const auto good = sampleOf(row.textRule, true), bad = sampleOf(row.textRule, false);
    ASSERT_TRUE(bad.value == nullptr) << "no such rule: " << row.textRule;
    EXPECT_EQ(with(good.text), grown({{"", good.value}}));
    EXPECT_EQ(with(bad.text), without);
    // The last text alone counts.
    EXPECT_EQ(with(std::string(good.text) + "&lt;"), without);
    EXPECT_EQ(with(std::string("&lt;<!-- cut -->") + good.text), grown({{"", good.value}}));
}

std::vector<Listed> withoutRoots()
{
    auto rows = listing();
    std::erase_if(rows, isRoot);
    return rows;
}

INSTANTIATE_TEST_SUITE_P(Page, ListedElement, testing::ValuesIn(withoutRoots()), [](const auto& info) {
    auto name = info.param.format + std::to_string(info.index) + info.param.path;
    return std::regex_replace(name, std::regex("[^A-Za-z0-9]"), "_");
});

TEST(FeedElementsPage, HasTheTablesRowsInTheirOrderAndNoOthers)
{
    std::map<std::string, std::vector<std::string>> listed;
    for (const auto& row : listing()) {
        listed[row.format].push_back(row.path);
        if (isRoot(row)) {
            EXPECT_TRUE(row.start.empty() && row.textRule.empty()) << row.path;
            EXPECT_EQ(parsed("<" + row.path.substr(1) + " version='1'><x/></" + row.path.substr(1) + ">"), Leaves());
        }
    }
    EXPECT_EQ(listed["RSS"], rssPathTable().paths());
    EXPECT_EQ(listed["RDF"], rdfPathTable().paths());
    EXPECT_EQ(listed["Atom"], atomPathTable().paths());
}

} // namespace
} // namespace FeedKit
