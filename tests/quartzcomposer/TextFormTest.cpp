#include "platform/quartzcomposer/file/TextForm.h"

#include "quartzcomposer/Play.h"
#include "quartzcomposer/Trees.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

namespace vitrel::qc {

namespace {

const Value& at(const Value& value, const std::string& path)
{
    const Value* here = &value;
    for (std::size_t from = 0; from < path.size();) {
        const std::size_t end = std::min(path.find('/', from), path.size());
        const std::string step = path.substr(from, end - from);
        from = end + 1;
        static const Value nothing;
        if (here->array()) {
            const std::size_t k = std::stoul(step);
            here = k < here->array()->size() ? &(*here->array())[k] : &nothing;
        } else if (here->dictionary() && here->dictionary()->count(step)) {
            here = &here->dictionary()->at(step);
        } else {
            return nothing;
        }
    }
    return *here;
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
    folder.write("dot.png", "bytes");
    const Value list = listOf(R"({"inputs": {"Name": "t.inputString"}, "values": {"Name": "No title"}, "patches": {
        "t": {"class": "QCTextImage", "inputs": {"inputGlyphSize": 0.5, "_enable": true}, "settings": {"manualLayout": false, "script": {"lines": ["a", "", "b"]}}},
        "a.b": {"class": "QCImageLoader", "settings": {"imageData": {"image": "dot.png"}, "other": {"data": "AQL/"}}},
        "f": {"class": "QCImageFilter/CIGaussianBlur", "inputs": {"inputColor": "#ff8000ff", "short": "#000000", "text": {"text": "#ff8000ff"},
            "nan": {"real": "nan"}, "inf": {"real": "-inf"}, "when": {"date": 60}, "odd": {"dictionary": {"text": 1}}}}},
        "connections": [["a.b", "outputImage", "f", "inputImage"], "t.output.1 > f.in.2"]})",
        folder.path());
    const std::string nodes = "rootPatch/state/nodes/";
    EXPECT_EQ(at(list, "inputParameters/Name"), Value("No title"));
    EXPECT_EQ(at(list, "rootPatch/class"), Value("QCPatch"));
    EXPECT_EQ(at(list, nodes + "0/key"), Value("t"));
    EXPECT_EQ(at(list, nodes + "0/state/ivarInputPortStates/inputGlyphSize/value"), Value(0.5));
    EXPECT_EQ(at(list, nodes + "0/state/systemInputPortStates/_enable/value"), Value(true));
    EXPECT_EQ(at(list, nodes + "0/state/manualLayout"), Value(false));
    EXPECT_EQ(at(list, nodes + "0/state/script"), Value("a\n\nb"));
    EXPECT_EQ(at(list, nodes + "1/key"), Value("a.b"));
    EXPECT_EQ(at(list, nodes + "1/state/imageData"), Value(Bytes{'b', 'y', 't', 'e', 's'}));
    EXPECT_EQ(at(list, nodes + "1/state/other"), Value(Bytes{1, 2, 255}));
    EXPECT_EQ(at(list, nodes + "2/class"), Value("QCImageFilter"));
    EXPECT_EQ(at(list, nodes + "2/identifier"), Value("CIGaussianBlur"));
    const std::string ports = nodes + "2/state/ivarInputPortStates/";
    EXPECT_EQ(at(list, ports + "inputColor/value"),
        Value(Dictionary{{"red", 1.0}, {"green", 128 / 255.0}, {"blue", 0.0}, {"alpha", 1.0}}));
    EXPECT_EQ(at(list, ports + "short/value/alpha"), Value(1.0));
    EXPECT_EQ(at(list, ports + "text/value"), Value("#ff8000ff"));
    EXPECT_TRUE(std::isnan(*at(list, ports + "nan/value").number()));
    EXPECT_EQ(at(list, ports + "inf/value"), Value(-HUGE_VAL));
    EXPECT_EQ(at(list, ports + "when/value"), Value(Date::fromReferenceDate(60)));
    EXPECT_EQ(at(list, ports + "odd/value"), Value(Dictionary{{"text", 1}}));
    EXPECT_EQ(at(list, "rootPatch/state/connections/connection_1/sourceNode"), Value("a.b"));
    EXPECT_EQ(at(list, "rootPatch/state/connections/connection_2/sourcePort"), Value("output.1"));
    EXPECT_EQ(at(list, "rootPatch/state/connections/connection_2/destinationPort"), Value("in.2"));
    EXPECT_EQ(at(list, "rootPatch/state/publishedInputPorts/0/port"), Value("inputString"));
}

// A value that stands at the port that is published is the published input's.
TEST(TextForm, MovesAPublishedPortsValueToItsPlace)
{
    const Value root = listOf(
        R"({"inputs": {"n": "m.inputValue"}, "patches": {"m": {"class": "QCMath", "inputs": {"inputValue": 5}}}})");
    EXPECT_EQ(at(root, "inputParameters/n"), Value(5));
    EXPECT_TRUE(at(root, "rootPatch/state/nodes/0/state/ivarInputPortStates/inputValue").isNothing());
    const Value inner = listOf(
        R"({"patches": {"p": {"class": "QCPatch", "inputs": {"n": "m.inputValue"}, "patches": {"m": {"class": "QCMath", "inputs": {"inputValue": 5}}}}}})");
    EXPECT_EQ(at(inner, "rootPatch/state/nodes/0/state/publishedInputPorts/0/state/value"), Value(5));
}

// Layers are drawn in the order of the text, not of the alphabet.
TEST(TextForm, KeepsTheOrderOfPatchesAndInputs)
{
    const Value list = listOf(
        R"({"inputs": {"z": "b.input", "a": "a.input"}, "patches": {"b": {"class": "QCSplitter"}, "a": {"class": "QCSplitter"}}})");
    EXPECT_EQ(at(list, "rootPatch/state/nodes/0/key"), Value("b"));
    EXPECT_EQ(at(list, "rootPatch/state/publishedInputPorts/0/key"), Value("z"));
}

// One line with the place, for a person with an editor.
TEST(TextForm, SaysWhatIsWrongWhere)
{
    struct {
        const char *text, *reason;
    } const cases[] = {
        {"", "the text is no JSON object with \"patches\""},
        {"[]", "the text is no JSON object with \"patches\""},
        {"{\"patches\": {}", "the text is no JSON object with \"patches\""},
        {R"({"inputs": {}})", "the text is no JSON object with \"patches\""},
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

// Wrong types anywhere are errors or left out, never a crash of the JSON library.
TEST(TextForm, StandsWrongTypesEverywhere)
{
    const char* const members[] = {"class", "identifier", "inputs", "outputs", "settings", "patches", "connections",
        "values", "raw", "virtualPatches"};
    const char* const wrong[] = {"1", "\"t\"", "[1]", "[[]]", "{\"a\": 1}", "{\"a\": {\"b\": [1]}}", "null",
        "{\"ports\": 1, \"published\": [], \"state\": 3, \"stored\": \"x\", \"top\": 1}",
        "{\"ports\": {\"ivarInputPortStates\": {\"a\": [1]}}, \"published\": {\"publishedInputPorts\": 1}}"};
    for (const char* member : members) {
        for (const char* value : wrong) {
            const std::string entry = "\"" + std::string(member) + "\": " + value;
            for (const std::string& text :
                {"{\"patches\": {}, " + entry + "}", R"({"patches": {"p": {"class": "QCPatch", )" + entry + "}}}",
                    R"({"patches": {}, "virtualPatches": {"/v": {"patches": {}, )" + entry + "}}}"}) {
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
    const Dictionary state{
        {"nodes",
            Array{Dictionary{{"class", "QCMath"}, {"key", "a.b"},
                      {"state",
                          Dictionary{{"ivarInputPortStates", Dictionary{{"inputValue", port(2)}}},
                              {"customInputPortStates",
                                  Dictionary{{"operand_1", port(1.5)}, {"label", Dictionary{{"userInfo", Bytes{1}}}}}},
                              {"systemInputPortStates", Dictionary{{"_enable", port(false)}}},
                              {"userInfo", Bytes{4, 11}}, {"numberOfOperations", 1}}}},
                Dictionary{{"class", "QCSplitter"}, {"key", " > "},
                    {"state", Dictionary{{"portClass", "QCNumberPort"}, {"indexLabels", Array{"-", "#ffffff"}}}}},
                Dictionary{{"class", "/v"}, {"key", "v"},
                    {"state", Dictionary{{"customInputPortStates", Dictionary{{"Z ", port(std::nan(""))}}}}}},
                Dictionary{{"class", "QCPatch"}, {"key", "m"}, {"state", Dictionary{{"nodes", Array{}}}}}}},
        {"connections",
            Dictionary{{"connection_7",
                Dictionary{{"sourceNode", "a.b"}, {"sourcePort", "outputValue"}, {"destinationNode", " > "},
                    {"destinationPort", "input"}}}}},
        {"publishedInputPorts",
            Array{Dictionary{{"key", "in"}, {"node", "a.b"}, {"port", "inputValue"},
                {"state", Dictionary{{"userInfo", Bytes{9}}}}}}},
        {"publishedOutputPorts",
            Array{Dictionary{{"key", "out"}, {"node", " > "}, {"port", "output"}, {"state", Dictionary{}}}}}};
    const Value list = Dictionary{{"frameworkVersion", "{156.28}"}, {"description", "line\nline"}, {"aspectRatio", 1.6},
        {"templateImageData", Bytes{1, 2}}, {"portAttributes", Dictionary{{"in", Dictionary{{"name", "In"}}}}},
        {"inputParameters",
            Dictionary{{"in", Dictionary{{"red", 0.2}, {"green", 0.4}, {"blue", 0.6}, {"alpha", 1.0}}}}},
        {"rootPatch", Dictionary{{"class", "QCPatch"}, {"state", state}}},
        {"virtualPatches",
            Dictionary{{"/v",
                Dictionary{{"frameworkVersion", "1"}, {"inputParameters", Dictionary{{"Z ", 3.0}}},
                    {"rootPatch",
                        Dictionary{{"class", "QCPatch"},
                            {"state",
                                Dictionary{{"nodes",
                                    Array{Dictionary{{"class", "QCTime"}, {"key", "t"},
                                        {"state", Dictionary{{"timebase", "local"}}}}}}}}}}}}}}};
    const auto file = compositionOfPropertyList(list);
    ASSERT_TRUE(file);
    const auto back = compositionFromText(textForm(*file), "");
    ASSERT_TRUE(back) << back.error().reason;
    EXPECT_EQ(difference(comparable(list), comparable(*back)), "") << textForm(*file);
    EXPECT_EQ(textForm(*compositionOfPropertyList(*back)), textForm(*file));
}

} // namespace vitrel::qc
