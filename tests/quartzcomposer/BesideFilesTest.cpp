#include "platform/quartzcomposer/loading/BesideFiles.h"
#include "base/Text.h"
#include "platform/quartzcomposer/file/CompositionReader.h"
#include "platform/quartzcomposer/loading/XMLStructure.h"
#include "quartzcomposer/Play.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>

#include <sys/stat.h>

namespace vitrel::qc {

namespace {

std::string xml(const std::string& document)
{
    return shown(StructureRef(structureOfXML(bytesOf(document))));
}

// `text` as a composition in that file; its output "out" after the first frame.
std::string outOf(const TemporaryFolder& folder, const std::string& name, const std::string& text)
{
    CompositionFile file = fileOf(text);
    file.path = folder / name;
    return Player(std::move(file)).over({0});
}

} // namespace

TEST(XMLStructure, IsWhatTheRootHolds)
{
    EXPECT_EQ(xml("<a b='1'><c>2</c><d> x <e/> y </d><c f='3'> t </c><g h='4'/></a>"),
        "{b: '1', c: '2', d: {e: ''}, c: 't', g: {h: '4'}}");
    EXPECT_EQ(xml("<a>text</a>"), "{}");
    for (const char* const refused : {"", "<a>", "<a></b>", "text", "<a>&x;</a>", "<!DOCTYPE a><a/>",
             "<!DOCTYPE a [<!ENTITY x 'xxxxxxxx'><!ENTITY y '&x;&x;&x;&x;'>]><a>&y;</a>",
             "<!DOCTYPE a [<!ENTITY x SYSTEM 'file:///etc/passwd'>]><a>&x;</a>"})
        EXPECT_EQ(xml(refused), "null") << refused;
    const auto nested = [](std::size_t levels) {
        std::string begin, end;
        for (std::size_t k = 0; k < levels; ++k) {
            begin += "<a>";
            end += "</a>";
        }
        return xml(begin + end) != "null";
    };
    EXPECT_TRUE(nested(64));
    EXPECT_FALSE(nested(65));
    std::string many(4'000'008, ' ');
    for (std::size_t k = 0; k < 1'000'001; ++k)
        many.replace(k * 4, 4, "<a/>");
    EXPECT_EQ(xml("<r>" + many + "</r>"), "null");
}

TEST(BesideFiles, AreNamedBeneathTheFolder)
{
    const std::pair<const char*, const char*> names[] = {{"a.png", "a.png"}, {"./a//b.png", "a/b.png"},
        {"file:a.png", "a.png"}, {"/home/me/x/a.png", "a.png"}, {"file:///home/me/x/a.png", "a.png"}, {"", nullptr},
        {"/", nullptr}, {"/home/me/xy/a.png", nullptr}, {"/home/me/x/../a", nullptr}, {"~/a", nullptr},
        {"a/../b", nullptr}, {"..", nullptr}, {"http://h/a", nullptr}, {"file://h/a", nullptr}, {".", "."}};
    for (const auto& [path, name] : names)
        EXPECT_EQ(nameBeneath("/home/me/x", path).value_or("nothing"), name ? name : "nothing") << path;
    EXPECT_FALSE(nameBeneath("", "a.png")) << "a composition from memory";
}

// A document, a link out, a pipe that nobody writes, a folder, one of 10,500 names, and compositions in a circle.
TEST(BesideFiles, AreReadAndNothingElse)
{
    const TemporaryFolder outside, folder;
    outside.write("secret.xml", "<a><b>secret</b></a>");
    folder.write("in/good.xml", "<a><b>good</b></a>");
    std::filesystem::create_symlink(outside / "secret.xml", folder / "link.xml");
    std::filesystem::create_directory_symlink(outside.path(), folder / "away");
    ASSERT_EQ(mkfifo((folder / "pipe.xml").c_str(), 0600), 0);
    const auto read = [&](const std::string& url) {
        return outOf(folder, "main.qtz", onePatch("QCXMLDownloader {inputURL: '" + url + "'}", "outputStructure"));
    };
    EXPECT_EQ(read("in/good.xml"), "{b: 'good'}");
    EXPECT_EQ(read(folder / "in/good.xml"), "{b: 'good'}");
    for (const std::string& url : {std::string("link.xml"), std::string("away/secret.xml"), std::string("pipe.xml"),
             std::string("in"), std::string("none.xml"), outside / "secret.xml"})
        EXPECT_EQ(read(url), "null") << url;

    for (int k = 0; k < 10'500; ++k)
        folder.write("many/" + std::to_string(k), "");
    const auto all = filesBeneath(folder.path(), "many", {});
    ASSERT_TRUE(all);
    EXPECT_LE(all->size(), 10'000u);
    EXPECT_GE(all->size(), 9'990u);
    EXPECT_EQ(filesBeneath(folder.path(), "in", {}), std::vector{folder / "in/good.xml"});
    EXPECT_FALSE(filesBeneath(folder.path(), "away", {}));
    EXPECT_FALSE(filesBeneath(folder.path(), "..", {}));
    EXPECT_EQ(filesBeneath(outside.path(), ".", {true, true})->size(), 0u) << "no picture";
}

TEST(Importer, PlaysWhatFitsToADepthOfFourAndNoCircle)
{
    const TemporaryFolder folder;
    const auto importer = [](const std::string& path) {
        return "{outputs: {out: 'p.n'}, patches: {p: QCPatchRenderer {inputPath: '" + path
            + "', x: 3} with {compositionMode: 'processor', compositionInputs: [{key: 'x', class: 'QCNumberPort'}], "
              "compositionOutputs: [{key: 'n', class: 'QCNumberPort'}]}}}";
    };
    const auto file = [&](const std::string& name, const std::string& from) {
        folder.write(name,
            R"({"inputs": {"x": "p.x"}, "outputs": {"n": "p.n"}, "patches": {"p": {"class": "QCPatchRenderer",
            "inputs": {"inputPath": ")"
                + from + R"("}, "settings": {"compositionMode": "processor", "compositionInputs":
            [{"key": "x", "class": "QCNumberPort"}], "compositionOutputs": [{"key": "n", "class": "QCNumberPort"}]}}}})");
    };
    folder.write("twice.json", R"({"inputs": {"x": "m.inputValue"}, "outputs": {"n": "m.outputValue"},
        "patches": {"m": {"class": "QCMath", "inputs": {"operation_1": 2, "operand_1": 2}}}})");
    folder.write("other.json", R"({"inputs": {"x": "m.inputIndex"}, "outputs": {"n": "m.outputMember"},
        "patches": {"m": {"class": "QCStructureMember"}}})");
    EXPECT_EQ(outOf(folder, "main.qtz", importer("twice.json")), "6");
    EXPECT_EQ(outOf(folder, "main.qtz", importer("other.json")), "0") << "of another type";
    EXPECT_EQ(outOf(folder, "main.qtz", importer("main.qtz")), "0") << "itself";
    file("a.json", "b.json");
    file("b.json", "a.json");
    EXPECT_EQ(outOf(folder, "main.qtz", importer("a.json")), "0") << "a circle";
    file("1.json", "2.json");
    file("2.json", "3.json");
    file("3.json", "twice.json");
    EXPECT_EQ(outOf(folder, "main.qtz", importer("1.json")), "6") << "the fourth within";
    EXPECT_EQ(outOf(folder, "main.qtz", importer("0.json")), "0");
    file("0.json", "1.json");
    EXPECT_EQ(outOf(folder, "main.qtz", importer("0.json")), "0") << "the fifth";
}

} // namespace vitrel::qc
