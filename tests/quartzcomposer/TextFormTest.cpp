#include "platform/quartzcomposer/file/TextForm.h"

#include "quartzcomposer/Play.h"
#include "quartzcomposer/Trees.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <cmath>

#include <sys/stat.h>
#include <unistd.h>

namespace vitrel::qc {

namespace {

const Value& at(const Value& value, const std::string& path)
{
    static const Value nothing;
    const std::size_t end = path.find('/');
    const std::string step = path.substr(0, end);
    const Value* next = value.array() ? &value.array()->at(std::stoul(step))
        : value.dictionary()          ? member(*value.dictionary(), step)
                                      : nullptr;
    return !next ? nothing : end == path.npos ? *next : at(*next, path.substr(end + 1));
}

Value listOf(std::string_view text, const std::string& folder = "")
{
    auto list = compositionFromText(text, folder);
    EXPECT_TRUE(list) << list.error().reason;
    return list ? *list : Value();
}

} // namespace

// Each kind of value has one place in the file.
TEST(TextForm, BecomesThePropertyListOfTheFormat)
{
    TemporaryFolder folder;
    folder.write("dot.png", "GIF89a-bytes");
    const Value list = listOf(R"({"inputs": {"Name": "t.inputString"}, "values": {"Name": "No title"}, "patches": {
        "t": {"class": "QCTextImage", "inputs": {"inputGlyphSize": 0.5, "_enable": true}, "settings": {"manualLayout": false, "script": {"lines": ["a", "", "b"]}}},
        "a.b": {"class": "QCImageLoader", "settings": {"imageData": {"image": "dot.png"}, "other": {"data": "AQL/"}}},
        "f": {"class": "QCImageFilter/CIGaussianBlur", "inputs": {"inputColor": "#ff8000ff", "short": "#000000", "text": {"text": "#ff8000ff"},
            "nan": {"real": "nan"}, "inf": {"real": "-inf"}, "when": {"date": 60}, "odd": {"dictionary": {"text": 1}}}}},
        "connections": [["a.b", "outputImage", "f", "inputImage"], "t.output.1 > f.in.2"]})",
        folder.path());
    const std::string root = "rootPatch/state/", nodes = root + "nodes/",
                      ports = nodes + "2/state/ivarInputPortStates/", connections = root + "connections/connection_";
    const std::pair<std::string, Value> places[] = {
        {"inputParameters/Name", "No title"},
        {"rootPatch/class", "QCPatch"},
        {nodes + "0/key", "t"},
        {nodes + "0/state/ivarInputPortStates/inputGlyphSize/value", 0.5},
        {nodes + "0/state/systemInputPortStates/_enable/value", true},
        {nodes + "0/state/manualLayout", false},
        {nodes + "0/state/script", "a\n\nb"},
        {nodes + "1/key", "a.b"},
        {nodes + "1/state/imageData", Bytes{'G', 'I', 'F', '8', '9', 'a', '-', 'b', 'y', 't', 'e', 's'}},
        {nodes + "1/state/other", Bytes{1, 2, 255}},
        {nodes + "2/class", "QCImageFilter"},
        {nodes + "2/identifier", "CIGaussianBlur"},
        {ports + "inputColor/value", Dictionary{{"red", 1.0}, {"green", 128 / 255.0}, {"blue", 0.0}, {"alpha", 1.0}}},
        {ports + "short/value/alpha", 1.0},
        {ports + "text/value", "#ff8000ff"},
        {ports + "inf/value", -HUGE_VAL},
        {ports + "when/value", Date::fromReferenceDate(60)},
        {ports + "odd/value", Dictionary{{"text", 1}}},
        {connections + "1/sourceNode", "a.b"},
        {connections + "2/sourcePort", "output.1"},
        {connections + "2/destinationPort", "in.2"},
        {root + "publishedInputPorts/0/port", "inputString"},
    };
    for (const auto& [path, value] : places)
        EXPECT_EQ(at(list, path), value) << path;
    EXPECT_TRUE(std::isnan(*at(list, ports + "nan/value").number()));
}

// A value at the port that is published is the published input's; layers are drawn in the order of the text, not of the
// alphabet.
TEST(TextForm, MovesAPublishedPortsValueAndKeepsTheOrder)
{
    const Value root = listOf(R"({"inputs": {"z": "m.inputValue", "a": "a.input"},
        "patches": {"m": {"class": "QCMath", "inputs": {"inputValue": 5}}, "a": {"class": "QCSplitter"}}})");
    EXPECT_EQ(at(root, "inputParameters/z"), Value(5));
    EXPECT_TRUE(at(root, "rootPatch/state/nodes/0/state/ivarInputPortStates/inputValue").isNothing());
    EXPECT_EQ(at(root, "rootPatch/state/nodes/0/key"), Value("m"));
    EXPECT_EQ(at(root, "rootPatch/state/publishedInputPorts/0/key"), Value("z"));
    const Value inner = listOf(R"({"patches": {"p": {"class": "QCPatch", "inputs": {"n": "m.inputValue"},
        "patches": {"m": {"class": "QCMath", "inputs": {"inputValue": 5}}}}}})");
    EXPECT_EQ(at(inner, "rootPatch/state/nodes/0/state/publishedInputPorts/0/state/value"), Value(5));
}

// One line with the place, for a person with an editor.
TEST(TextForm, SaysWhatIsWrongWhere)
{
    const char* const noObject = "the text is no JSON object with \"patches\"";
    const std::pair<const char*, const char*> cases[] = {
        {"", "in line 1, column 1: unexpected end of input; expected '[', '{', or a literal"},
        {"[]", noObject},
        {"// words\n {\"patches\": {}", "in line 2, column 16: unexpected end of input; expected ',' or '}'"},
        {"{\"inputs\": {}}", noObject},
        {R"({"patches": {"a": 1}})", "in /a: a patch is an object"},
        {R"({"patches": {"a": {"class": "QCPatch", "patches": {"b": {}}}}})", "in /a/b: a patch needs a class"},
        {R"({"inputs": {"x": "a.b"}, "patches": {}})", "at the top: input \"x\" publishes no port of a patch here"},
        {R"({"outputs": {"x": "ab"}, "patches": {}})", "at the top: output \"x\" is no \"patch.port\""},
        {R"({"patches": {}, "connections": ["a.b -> c.d"]})",
            "at the top: \"a.b -> c.d\" is no connection; it reads \"patch.port > patch.port\""},
        {R"({"patches": {}, "connections": [3]})",
            "at the top: \"\" is no connection; it reads \"patch.port > patch.port\""},
        {R"({"patches": {"a": {"class": "X", "inputs": {"i": {"image": "no such file.png"}}}}})",
            "the image file \"no such file.png\" can't be read"},
        {R"({"patches": {"a": {"class": "X", "inputs": {"i": {"data": "!"}}}}})", "\"data\" is no base64"},
    };
    for (const auto& [text, reason] : cases) {
        const auto list = compositionFromText(text, "/nowhere");
        ASSERT_FALSE(list) << text;
        EXPECT_EQ(list.error().reason, reason) << text;
    }
    EXPECT_EQ(compositionFromText(std::string(100'000, '['), "").error().reason,
        "the text nests too deep, or an object in it has too many members");
    std::string deep = R"({"class": "QCMath"})";
    for (int level = 0; level < 200; ++level)
        deep = R"({"class": "QCPatch", "patches": {"p": )" + deep + "}}";
    EXPECT_THAT(
        compositionFromText(R"({"patches": {"p": )" + deep + "}}", "").error().reason, testing::HasSubstr("levels"));
}

// A text from a stranger mustn't carry off what else lies on the disk, nor hang on it.
TEST(TextForm, TakesPicturesBesideItAndBeneathAndNothingElse)
{
    TemporaryFolder outer;
    const std::string folder = outer / "in", picture = "GIF89a";
    ASSERT_EQ(::mkdir(folder.c_str(), 0700) | ::mkdir((folder + "/deep").c_str(), 0700), 0);
    outer.write("out.gif", picture);
    for (const char* name : {"in/a.gif", "in/deep/b.gif"})
        outer.write(name, picture);
    outer.write("in/secret", "-----BEGIN");
    ASSERT_EQ(::symlink("../out.gif", (folder + "/link.gif").c_str()) | ::symlink("deep", (folder + "/way").c_str())
            | ::mkfifo((folder + "/pipe.gif").c_str(), 0600),
        0);
    const auto whyNot = [&](const std::string& name) {
        const auto made = compositionFromText(
            R"({"patches": {"a": {"class": "X", "settings": {"s": {"image": ")" + name + R"("}}}}})", folder);
        return made ? std::string() : made.error().reason.substr(("the image file \"" + name + "\" ").size());
    };
    for (const char* name : {"a.gif", "./a.gif", "deep/b.gif", "deep//b.gif"})
        EXPECT_EQ(whyNot(name), "") << name;
    for (const std::string& name : {folder + "/a.gif", std::string("/dev/zero"), std::string("../out.gif"),
             std::string("deep/../a.gif"), std::string("link.gif"), std::string("way/b.gif"), std::string()})
        EXPECT_EQ(whyNot(name), "lies neither beside the text nor beneath, or behind a link") << name;
    EXPECT_EQ(whyNot("secret"), "is no picture");
    for (const char* name : {"pipe.gif", "deep", "none.gif"})
        EXPECT_EQ(whyNot(name), "can't be read") << name;
}

// Wrong types anywhere are errors or left out, never a crash of the JSON library.
TEST(TextForm, StandsWrongTypesEverywhere)
{
    const char* const members[] = {"class", "identifier", "inputs", "outputs", "settings", "patches", "connections",
        "values", "raw", "virtualPatches"};
    const char* const wrong[] = {"1", "\"t\"", "[1]", "[[]]", "{\"a\": 1}", "{\"a\": {\"b\": [1]}}", "null",
        "{\"a\": {\"lines\": 1}, \"b\": {\"lines\": {\"c\": 1}}}",
        "{\"ports\": 1, \"published\": [], \"state\": 3, \"stored\": \"x\", \"top\": 1}",
        "{\"ports\": {\"ivarInputPortStates\": {\"a\": [1]}}, \"published\": {\"publishedInputPorts\": 1}}"};
    for (const char* member : members) {
        for (const char* value : wrong) {
            const std::string entry = "\"" + std::string(member) + "\": " + value + "}";
            for (const std::string& text :
                {"{\"patches\": {}, " + entry, R"({"patches": {"p": {"class": "QCPatch", )" + entry + "}}",
                    R"({"patches": {}, "virtualPatches": {"/v": {"patches": {}, )" + entry + "}}"}) {
                const auto list = compositionFromText(text, "");
                EXPECT_TRUE(list || !list.error().reason.empty()) << text;
                if (list && compositionOfPropertyList(*list))
                    textForm(*compositionOfPropertyList(*list));
            }
        }
    }
}

// There and back: what the form has no word for survives, and odd names come back as they were.
TEST(TextForm, ComesBackAsTheSameFile)
{
    const auto port = [](Value value) { return Dictionary{{"value", std::move(value)}}; };
    const auto node = [](const char* className, const char* key, Dictionary state) {
        return Dictionary{{"class", className}, {"key", key}, {"state", std::move(state)}};
    };
    const Dictionary labelled{{"operand_1", port(1.5)}, {"label", Dictionary{{"userInfo", Bytes{1}}}}};
    const Dictionary state{
        {"nodes",
            Array{node("QCMath", "a.b",
                      {{"ivarInputPortStates", Dictionary{{"inputValue", port(2)}}},
                          {"customInputPortStates", labelled}, {"userInfo", Bytes{4, 11}},
                          {"systemInputPortStates", Dictionary{{"_enable", port(false)}}}, {"numberOfOperations", 1}}),
                node("QCSplitter", " > ", {{"portClass", "QCNumberPort"}, {"indexLabels", Array{"-", "#ffffff"}}}),
                node("/v", "v", {{"customInputPortStates", Dictionary{{"Z ", port(std::nan(""))}}}}),
                node("QCPatch", "m", {{"nodes", Array{}}})}},
        {"connections",
            Dictionary{{"connection_7",
                Dictionary{{"sourceNode", "a.b"}, {"sourcePort", "outputValue"}, {"destinationNode", " > "},
                    {"destinationPort", "input"}}}}},
        {"publishedInputPorts",
            Array{Dictionary{{"key", "in"}, {"node", "a.b"}, {"port", "inputValue"},
                {"state", Dictionary{{"userInfo", Bytes{9}}}}}}},
        {"publishedOutputPorts",
            Array{Dictionary{{"key", "out"}, {"node", " > "}, {"port", "output"}, {"state", Dictionary{}}}}}};
    const Dictionary inner{{"nodes", Array{node("QCTime", "t", {{"timebase", "local"}})}}};
    const Dictionary definition{{"frameworkVersion", "1"}, {"inputParameters", Dictionary{{"Z ", 3.0}}},
        {"rootPatch", Dictionary{{"class", "QCPatch"}, {"state", inner}}}};
    const Value list = Dictionary{{"frameworkVersion", "{156.28}"}, {"description", "line\nline"}, {"aspectRatio", 1.6},
        {"templateImageData", Bytes{1, 2}},
        {"portAttributes",
            Dictionary{
                {"in",
                    Dictionary{{"name", "#ffffff"}, {"description", "a\nb"}, {"units", "s"},
                        {"CIAttributeSliderMin", 1}, {"CIAttributeSliderMax", 2.5}, {"menu", Array{"#000000", "-"}}}},
                {"empty", Dictionary{}}, {"odd", Dictionary{{"name", "Odd"}, {"kind", "x"}}},
                {"flag", Dictionary{{"CIAttributeSliderMin", true}}},
                {"nan", Dictionary{{"CIAttributeSliderMax", std::nan("")}}}, {"text", "t"},
                {"mixed", Dictionary{{"menu", Array{"a", 1}}}}}},
        {"inputParameters",
            Dictionary{{"in", Dictionary{{"red", 0.2}, {"green", 0.4}, {"blue", 0.6}, {"alpha", 1.0}}}}},
        {"rootPatch", Dictionary{{"class", "QCPatch"}, {"state", state}}},
        {"virtualPatches", Dictionary{{"/v", definition}}}};
    const auto file = compositionOfPropertyList(list);
    ASSERT_TRUE(file);
    const auto back = compositionFromText(textForm(*file), "");
    ASSERT_TRUE(back) << back.error().reason;
    EXPECT_EQ(difference(list, *back), "") << textForm(*file);
    EXPECT_EQ(textForm(*compositionOfPropertyList(*back)), textForm(*file));
}

// What several compositions share lies in a file of its own, which can name no other.
TEST(TextForm, TakesDefinitionsFromFilesBeside)
{
    TemporaryFolder folder;
    std::filesystem::create_directory(folder.path() + "/parts");
    folder.write("parts/double.json",
        R"({"inputs": {"n": "E.n"}, "outputs": {"twice": "E.outputResult"}, // as the composition's own
            "patches": {"E": {"class": "QCExpression", "settings": {"expression": "2 * n"}}}})");
    folder.write("nested.json", R"({"patches": {}, "virtualPatches": {"/x": {"file": "parts/double.json"}}})");
    folder.write("other.txt", "secret");
    folder.write("long.json", "{\"patches\": {}}" + std::string(1 << 20, ' '));
    std::filesystem::create_symlink("/etc/hostname", folder.path() + "/link.json");
    const auto with = [](const std::string& file) {
        return R"({"outputs": {"four": "D.twice"}, "patches": {"D": {"class": "/double", "inputs": {"n": 2}}},
            "virtualPatches": {"/double": {"file": ")"
            + file + "\"}}}";
    };
    const auto made = compositionFromText(with("parts/double.json"), folder.path());
    ASSERT_TRUE(made) << made.error().reason;
    const auto file = compositionOfPropertyList(*made);
    ASSERT_TRUE(file);
    EXPECT_EQ(file->virtualPatches.count("/double"), 1u);
    for (const auto& [name, why] :
        std::map<std::string, std::string>{{"nowhere.json", "can't be read"},
            {"../parts/double.json", "lies neither beside"}, {"link.json", "lies neither beside"},
            {"nested.json", "definitions of its own"}, {"other.txt", "no JSON object"}, {"long.json", "longer than"}}) {
        const auto none = compositionFromText(with(name), folder.path());
        ASSERT_FALSE(none) << name;
        EXPECT_THAT(none.error().reason, testing::HasSubstr(why));
    }
}

// What people are to read is written as an author's own, and a file of it is no stranger's.
TEST(TextForm, HasOptionsOfPublishedInputs)
{
    const std::string text = R"({"patches": {}, "options": {"A": {"title": "T", "min": 0, "labels": ["x"]}}})";
    const auto made = compositionFromText(text, "");
    ASSERT_TRUE(made) << made.error().reason;
    EXPECT_EQ(*member(*made->dictionary(), "portAttributes"),
        Value(Dictionary{{"A", Dictionary{{"name", "T"}, {"CIAttributeSliderMin", 0}, {"menu", Array{"x"}}}}}));
    const std::string again = textForm(*compositionOfPropertyList(*made));
    EXPECT_EQ(again.find("\"raw\": {}"), std::string::npos) << again;
    EXPECT_NE(again.find("\"options\""), std::string::npos);
    for (const char* bad : {R"([])", R"({"A": 1})", R"({"A": {"min": "1"}})", R"({"A": {"labels": ["x", 1]}})",
             R"({"A": {"labels": {"x": "y"}}})", R"({"A": {"title": {"text": "x"}}})", R"({"A": {"name": "x"}})"})
        EXPECT_FALSE(compositionFromText(R"({"patches": {}, "options": )" + std::string(bad) + "}", "")) << bad;
}

} // namespace vitrel::qc
