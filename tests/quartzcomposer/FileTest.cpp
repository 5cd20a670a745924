#include "platform/foundation/PropertyList.h"
#include "platform/quartzcomposer/file/CompositionReader.h"
#include "quartzcomposer/Play.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>

namespace vitrel::qc {

namespace {

Value node(const char* className, const char* key, Dictionary state = {})
{
    return Dictionary{{"class", className}, {"key", key}, {"state", std::move(state)}};
}

Value composition(Array nodes, Dictionary more = {})
{
    Dictionary state = std::move(more);
    state["nodes"] = std::move(nodes);
    return Dictionary{{"rootPatch", Dictionary{{"class", "QCPatch"}, {"state", std::move(state)}}}};
}

Value stored(Value value)
{
    return Dictionary{{"value", std::move(value)}};
}

Value connection(const char* from, const char* out, const char* to, const char* in)
{
    return Dictionary{{"sourceNode", from}, {"sourcePort", out}, {"destinationNode", to}, {"destinationPort", in}};
}

std::string whyNot(const CompositionResult& result)
{
    return result ? "" : result.error().reason;
}

} // namespace

// What is no composition says so in a word; nothing else may.
TEST(CompositionFile, IsADictionaryWithARootPatchOfAClass)
{
    const std::pair<Value, const char*> bad[] = {
        {Array{1}, "the top object is no dictionary"},
        {"text", "the top object is no dictionary"},
        {Dictionary{{"frameworkVersion", "332"}}, "there is no root patch"},
        {Dictionary{{"rootPatch", "QCPatch"}}, "there is no root patch"},
        {Dictionary{{"rootPatch", Dictionary{{"state", Dictionary{}}}}}, "there is no root patch"},
        {Dictionary{{"rootPatch", Dictionary{{"class", 1}}}}, "there is no root patch"},
    };
    for (const auto& [list, reason] : bad) {
        EXPECT_EQ(whyNot(readComposition(binaryPropertyList(list))), reason) << description(list);
    }
    for (const std::string text : {"", "bplist00", "{\"rootPatch\": {}}", "<plist>", "\xff\xfe"})
        EXPECT_EQ(whyNot(readComposition(bytesOf(text))), "it is no property list") << text;
    const Value least = Dictionary{{"rootPatch", Dictionary{{"class", "QCPatch"}}}};
    EXPECT_TRUE(readComposition(binaryPropertyList(least)));
    EXPECT_TRUE(readComposition(bytesOf(xmlPropertyList(least))));
}

// Both forms under any name, by what is in the file; a pipe or a device would keep the reader waiting.
TEST(CompositionFile, IsReadFromRegularFilesOfEitherForm)
{
    TemporaryFolder folder;
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    for (const std::string& path : {folder.path(), std::string("/dev/zero"), folder / "pipe"})
        EXPECT_EQ(whyNot(readCompositionFile(path)), "it is no file") << path;
    for (const std::string& path : {folder / "none", std::string()})
        EXPECT_EQ(whyNot(readCompositionFile(path)), "there is no such file") << path;
    const auto list = binaryPropertyList(composition({node("QCMath", "m")}));
    for (const auto& [name, contents] : {std::pair<const char*, std::string_view>{"a.qtz", textOf(list)},
             {"a.json", " \n{\"patches\": {\"m\": {\"class\": \"QCMath\"}}}"},
             {"b", "// mine\n{\"patches\": {\"m\": {\"class\": \"QCMath\"}}}"}}) {
        const std::string path = folder.write(name, contents);
        const auto file = readCompositionFile(path);
        ASSERT_TRUE(file) << name << file.error().reason;
        EXPECT_EQ(file->path, path);
        ASSERT_EQ(file->root.nodes.size(), 1u) << name;
        EXPECT_EQ(file->root.nodes[0].className, "QCMath") << name;
    }
    folder.write("other.json", "{\"name\": \"a package\"}");
    folder.write("A.QTZ", "half");
    for (const auto& [name, why] :
        {std::pair("A.QTZ", ""), {"a.json", ""}, {"other.json", "the text is no JSON object with \"patches\""},
            {"b", "its name ends neither in .qtz nor in .json"}})
        EXPECT_EQ(whyNoComposition(folder / name), why) << name;
}

// Members of wrong types count as missing, stray entries are left out, and the rest plays.
TEST(CompositionFile, IsLenientInsideAndCountsItsClasses)
{
    const Value odd = composition(
        {1, "x", Dictionary{},
            node("QCRoundValue", "r",
                {{"ivarInputPortStates", Dictionary{{"inputValue", stored(2.5)}, {"odd", 7}, {"none", Dictionary{}}}},
                    {"customInputPortStates", Array{1}}, {"userInfo", Bytes{4, 11}}}),
            node("QCRoundValue", "r", {{"ivarInputPortStates", Dictionary{{"inputValue", stored(9)}}}}), // a key again
            Dictionary{{"class", "QCRoundValue"}, {"key", 5}, {"state", "none"}}},
        {{"publishedOutputPorts",
             Array{3, Dictionary{{"key", "out"}, {"node", "r"}, {"port", "outputCeil"}},
                 Dictionary{{"key", "out"}, {"node", "r"}, {"port", "outputFloor"}},
                 Dictionary{{"key", "lost"}, {"node", "nobody"}, {"port", "x"}}, Dictionary{}}},
            {"publishedInputPorts", Dictionary{}},
            {"connections",
                Dictionary{{"connection_1", connection("r", "outputCeil", "nobody", "x")}, {"c", 5},
                    {"d", Dictionary{{"sourceNode", 1}}}}}});
    auto file = compositionOfPropertyList(odd);
    ASSERT_TRUE(file);
    Player player(std::move(*file));
    player.frame(0);
    EXPECT_EQ(player.out(), "3") << "the first of a key";
    EXPECT_GT(player.graph->dangling(), 0);

    const auto counted = compositionOfPropertyList(composition(
        {node("QCMath", "a"), node("QCPatch", "b", {{"nodes", Array{node("QCMath", "c")}}}), node("/v", "d")}));
    std::map<std::string, int> counts;
    countClasses(*counted, counts);
    EXPECT_EQ(counts, (std::map<std::string, int>{{"QCPatch", 2}, {"QCMath", 2}, {"/v", 1}}));
}

// Stored values: custom after ivar, numbers in any form, two sources for one input.
TEST(CompositionFile, ReadsValuesAndConnectionsAsTheEditorStoredThem)
{
    const auto number = [](const Value& ivar, const Value& custom = {}) {
        Dictionary state{{"ivarInputPortStates", Dictionary{{"inputValue", stored(ivar)}}}};
        if (!custom.isNothing())
            state["customInputPortStates"] = Dictionary{{"inputValue", stored(custom)}};
        return state;
    };
    const auto shows = [](Array nodes, Dictionary connections = {}) {
        auto file = compositionOfPropertyList(composition(std::move(nodes),
            {{"connections", std::move(connections)},
                {"publishedOutputPorts", Array{Dictionary{{"key", "out"}, {"node", "m"}, {"port", "outputValue"}}}}}));
        return Player(std::move(*file)).over({0});
    };
    EXPECT_EQ(shows({node("QCMath", "m", number(1.5))}), "1.5");
    EXPECT_EQ(shows({node("QCMath", "m", number(true))}), "1");
    EXPECT_EQ(shows({node("QCMath", "m", number("2.5"))}), "2.5");
    EXPECT_EQ(shows({node("QCMath", "m", number(1.5, 4))}), "4") << "custom after ivar";
    EXPECT_EQ(shows({node("QCMath", "m", number(std::nan("")))}), "0") << "a stored NaN doesn't come out of arithmetic";
    EXPECT_EQ(shows({node("QCMath", "m", number(Array{1}))}), "0");
    Dictionary connections;
    for (int k = 1; k <= 12; ++k) // the twelfth is the last, though "connection_12" sorts before "connection_2"
        connections["connection_" + std::to_string(k)]
            = connection(k == 12 ? "two" : "one", "outputValue", "m", "inputValue");
    EXPECT_EQ(
        shows({node("QCMath", "one", number(1)), node("QCMath", "two", number(2)), node("QCMath", "m")}, connections),
        "2")
        << "an input keeps the last of its sources";
}

// The root's values stand at the top; what stands at the entry or the child is another's.
TEST(CompositionFile, GivesThePublishedInputsTheirValues)
{
    Value list = composition({node("QCMath", "m"), node("QCImageDimensions", "d")},
        {{"publishedInputPorts",
            Array{Dictionary{{"key", "n"}, {"node", "m"}, {"port", "inputValue"}},
                Dictionary{{"key", "image"}, {"node", "d"}, {"port", "inputImage"}}}}});
    Dictionary top = *list.dictionary();
    top["inputParameters"] = Dictionary{{"n", 7}, {"image", Bytes{1, 2, 3}}, {"gone", 1}};
    auto file = compositionOfPropertyList(top);
    Player player(std::move(*file));
    EXPECT_EQ(player.graph->input("n"), Value(7.0));
    EXPECT_TRUE(player.graph->input("image").isNothing()) << "bytes that are no picture";
}

// Limits: each of these is small in the file and without end, or nearly, when it is walked.
TEST(CompositionFile, EndsAtLimits)
{
    const char* const tooMuch = "it has more patches, ports or levels than can be played";
    const auto refuses = [&](const Value& list, const char* why) {
        EXPECT_EQ(whyNot(compositionOfPropertyList(list)), tooMuch) << why;
    };
    refuses(composition(Array(1'000'000, node("QCMath", "m"))), "a million patches");

    Value deep = node("QCPatch", "p");
    for (int level = 0; level < 150; ++level)
        deep = node("QCPatch", "p", {{"nodes", Array{deep}}});
    refuses(composition({deep}), "as many levels as a property list can have");

    Value shared = node("QCMath", "m");
    for (int level = 0; level < 30; ++level)
        shared = node("QCPatch", "p", {{"nodes", Array(2, shared)}});
    refuses(composition({shared}), "a billion through sharing");

    Dictionary connections;
    const Value one = connection("a", "b", "c", "d");
    for (int k = 0; k < 1000; ++k)
        connections[std::to_string(k)] = one;
    refuses(composition(Array(1000, node("QCPatch", "p", {{"connections", connections}}))), "a million connections");

    const std::string name(1'000'000, 'n');
    Dictionary many;
    for (int k = 0; k < 1000; ++k)
        many[std::to_string(k)] = connection(name.c_str(), "b", "c", "d");
    refuses(composition({node("QCPatch", "p", {{"connections", many}})}), "one long name a thousand times");
}

// Definitions multiply what the file holds.
TEST(CompositionFile, DefinitionsMultiplyUpToALimit)
{
    Dictionary definitions;
    for (int level = 0; level < 20; ++level) {
        const std::string inner = "/" + std::to_string(level + 1);
        Array ten;
        for (int k = 0; k < 10; ++k)
            ten.push_back(node(level == 19 ? "QCMath" : inner.c_str(), std::to_string(k).c_str()));
        definitions["/" + std::to_string(level)] = composition(ten);
    }
    Dictionary top = *composition({node("/0", "p")}).dictionary();
    top["virtualPatches"] = definitions;
    auto file = compositionOfPropertyList(top);
    ASSERT_TRUE(file);
    Player player(std::move(*file));
    EXPECT_LE(player.graph->patches(), 200'000u);
    player.frame(0);
}

} // namespace vitrel::qc
