#include "platform/quartzcomposer/file/CompositionReader.h"
#include "platform/quartzcomposer/picturing/DiagramText.h"
#include "platform/quartzcomposer/picturing/GraphPicture.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace vitrel::qc {
namespace {

using testing::ElementsAre, testing::HasSubstr, testing::IsEmpty, testing::Not, testing::UnorderedElementsAre;

const PatchRegistry& registry()
{
    static const auto all = allPatches();
    return all;
}

CompositionFile composition(const std::string& text)
{
    auto file = compositionOfFile(bytesOf(text), "/nowhere/x.json");
    EXPECT_TRUE(file) << (file ? "" : file.error().reason);
    return std::move(*file);
}

Diagram diagram(const CompositionFile& file, const std::vector<std::string>& open = {})
{
    auto made = diagramOf(file, registry(), open);
    EXPECT_TRUE(made) << (made ? "" : made.error());
    return made ? *std::move(made) : Diagram();
}

std::vector<std::string> names(const Diagram& diagram, const std::vector<std::size_t>& boxes)
{
    std::vector<std::string> names;
    for (const std::size_t place : boxes)
        names.push_back(diagram.boxes[place].name);
    return names;
}

// "from.port > to.port"
std::vector<std::string> edges(const Diagram& diagram)
{
    std::vector<std::string> edges;
    for (const auto& edge : diagram.edges)
        edges.push_back(diagram.boxes[edge.from].name + "." + edge.output + " > " + diagram.boxes[edge.to].name + "."
            + edge.input + " " + nameOf(edge.type));
    return edges;
}

const Diagram::Box& boxNamed(const Diagram& diagram, const std::string& name)
{
    for (const auto& box : diagram.boxes) {
        if (box.name == name)
            return box;
    }
    ADD_FAILURE() << "no box " << name;
    static const Diagram::Box none;
    return none;
}

constexpr const char* kNested = R"json({
  "inputs": { "Speed": "Macro.Period", "Tint": "Clear.inputColor" },
  "outputs": { "Out": "Macro.Wave" },
  "patches": {
    "Clear": { "class": "QCClear", "inputs": { "inputColor": "#ff0000ff" } },
    "Strange": { "class": "QCNobodyKnows", "inputs": { "inputThing": 4 } },
    "Macro": { "class": "QCPatch", "inputs": { "Period": "Inner.P" }, "outputs": { "Wave": "Inner.W" }, "patches": {
      "Inner": { "class": "QCPatch", "inputs": { "P": "LFO.inputPeriod" }, "outputs": { "W": "LFO.outputValue" }, "patches": {
        "LFO": { "class": "QCLFO", "inputs": { "inputPeriod": 3.0, "inputPhase": 0.0, "inputAmplitude": 0.25 } } } } } },
    "Turn": { "class": "QCCamera", "inputs": { "inputTranslateX": 0.5 }, "patches": { "Ball": { "class": "QCSprite" }, "Far": { "class": "QCSprite" } } },
    "Last": { "class": "QCSprite" } },
  "connections": [ "Macro.Wave > Last.inputX", "Strange.outputY > Last.inputY", "Macro.Wave > Turn._enable" ]
})json";

TEST(Diagram, ShowsWhatMattersAndLeadsThroughMacros)
{
    const CompositionFile file = composition(kNested);
    const Diagram d = diagram(file);
    EXPECT_THAT(names(d, d.root.boxes), ElementsAre("Clear", "Strange", "Last", "Speed", "Tint", "Out"));
    ASSERT_EQ(d.root.frames.size(), 2u);
    EXPECT_EQ(d.root.frames[0].name, "Macro");
    EXPECT_EQ(d.root.frames[1].name, "Turn");
    EXPECT_THAT(edges(d),
        UnorderedElementsAre("LFO.outputValue > Last.inputX number", "Strange.outputY > Last.inputY number",
            "LFO.outputValue > Turn._enable number", "Speed. > LFO.inputPeriod number",
            "Tint. > Clear.inputColor color", "LFO.outputValue > Out. number"));
    EXPECT_EQ(boxNamed(d, "Clear").kind, Diagram::Kind::Consumer);
    EXPECT_EQ(boxNamed(d, "LFO").kind, Diagram::Kind::Processor);
    EXPECT_EQ(boxNamed(d, "Strange").kind, Diagram::Kind::Unknown);
    EXPECT_EQ(boxNamed(d, "Tint").kind, Diagram::Kind::Input);
    EXPECT_EQ(boxNamed(d, "Clear").layer, 1);
    EXPECT_EQ(d.root.frames[1].layer, 2);
    EXPECT_EQ(boxNamed(d, "Far").layer, 2) << "within its macro";
    EXPECT_EQ(boxNamed(d, "Last").layer, 3);
    EXPECT_EQ(boxNamed(d, "Strange").layer, 0);
    // Ports: connected, published, or with another value than the usual.
    const auto ports = [&](const std::string& name) {
        std::vector<std::string> words;
        for (const auto& port : boxNamed(d, name).inputs)
            words.push_back(port.label + "=" + port.value + (port.published.empty() ? "" : " as " + port.published));
        return words;
    };
    EXPECT_THAT(ports("LFO"), ElementsAre("Period= as P", "Amplitude=0.25"));
    EXPECT_THAT(ports("Strange"), ElementsAre("Thing=4"));
    EXPECT_THAT(ports("Turn"), UnorderedElementsAre("Translate X=0.5", "enable="));
    EXPECT_THAT(ports("Ball"), IsEmpty());
}

TEST(Diagram, FoldsWhatIsntLegibleAndOpensWhatIsNamed)
{
    std::string many;
    for (int k = 0; k < 99; ++k)
        many += (k ? ",\"p" : "\"p") + std::to_string(k) + R"(":{"class":"QCMath"})";
    const CompositionFile file = composition(
        R"({"patches":{"Few":{"class":"QCPatch","patches":{"x":{"class":"QCMath"},"y":{"class":"QCMath"}}},"Many":{"class":"QCPatch",
"outputs":{"Sum":"p5.outputValue"},"patches":{)"
        + many + R"(}},"After":{"class":"QCMath"}},"connections":["Many.Sum > After.inputValue"]})");
    const Diagram folded = diagram(file);
    EXPECT_EQ(folded.folded, 1);
    EXPECT_EQ(boxNamed(folded, "Many").inside, 99);
    EXPECT_EQ(boxNamed(folded, "Many").kind, Diagram::Kind::Macro);
    EXPECT_THAT(edges(folded), ElementsAre("Many.Sum > After.inputValue number"));
    EXPECT_EQ(folded.root.frames.size(), 1u) << "the small one is open";
    const Diagram open = diagram(file, {"Many"});
    EXPECT_EQ(open.folded, 1) << "and there is no room for the small one";
    EXPECT_THAT(edges(open), ElementsAre("p5.outputValue > After.inputValue number"));
    EXPECT_FALSE(diagramOf(file, registry(), {"None"}));
    EXPECT_TRUE(diagramOf(file, registry(), {"Few", "Many"}));
}

TEST(Diagram, SaysPortsAndValuesInFewWords)
{
    EXPECT_EQ(portLabel("inputPixelsWide"), "Pixels Wide");
    EXPECT_EQ(portLabel("_protocolInput_AudioPeak"), "Audio Peak");
    EXPECT_EQ(portLabel("operand_1"), "operand 1");
    EXPECT_EQ(portLabel("input"), "input");
    EXPECT_EQ(valueLabel(PortValue(1.0 / 3)), "0.3333");
    EXPECT_EQ(valueLabel(PortValue(true)), "yes");
    EXPECT_EQ(valueLabel(PortValue(NSColor{1, 0, 0, 0.5})), "#ff000080");
    EXPECT_EQ(valueLabel(PortValue(std::string(30, 'a'))), "\u201C" + std::string(26, 'a') + "\u2026\u201D");
}

// Names that would be tags, ends of labels, other nodes; what no reader of XML takes.
TEST(DiagramText, HasNothingOfTheFileButText)
{
    const CompositionFile file
        = composition("{\"patches\":{\"<b>&\\\"\\u0001\\n\":{\"class\":\"</"
                      "table>>];\"},\"\xEF\xBF\xBF\":{\"class\":\"QCTextImage\",\"inputs\":{\"inputString\":"
                      "\"<img src='x'/> \\\\N\"}}}}");
    const std::string text = diagramText(diagram(file), "<title>");
    EXPECT_THAT(text, HasSubstr("&lt;b&gt;&amp;&quot;  <"));
    EXPECT_THAT(text, HasSubstr("&lt;title&gt;"));
    EXPECT_THAT(text, Not(HasSubstr("<img")));
    EXPECT_THAT(text, Not(HasSubstr("</table>>];<")));
    EXPECT_THAT(text, Not(HasSubstr("\xEF\xBF\xBF")));
    const auto svg = graphPicture(text, GraphPictureKind::SVG);
    ASSERT_TRUE(svg) << svg.error();
    EXPECT_THAT(
        std::string(textOf(*svg)), testing::AllOf(HasSubstr("<svg"), HasSubstr("not supported"), HasSubstr("Inter")));
    EXPECT_FALSE(graphPicture("no graph", GraphPictureKind::SVG));
}

TEST(GraphPicture, IsAPictureOfEveryRealComposition)
{
    const auto png = graphPicture(diagramText(diagram(composition(kNested)), "x"), GraphPictureKind::PNG);
    ASSERT_TRUE(png) << png.error();
    EXPECT_EQ(textOf(*png).substr(1, 3), "PNG");
    const std::string folder = VITREL_SAMPLES "/compositions";
    if (!std::filesystem::is_directory(folder))
        GTEST_SKIP() << "no samples here";
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() != ".qtz")
            continue;
        const auto file = readCompositionFile(entry.path());
        const auto made = file ? diagramOf(*file, registry(), {}) : Result<Diagram, std::string>(std::string("unread"));
        ASSERT_TRUE(made) << entry.path() << made.error();
        EXPECT_FALSE(made->boxes.empty()) << entry.path();
        EXPECT_TRUE(graphPicture(diagramText(*made, "x"), GraphPictureKind::SVG)) << entry.path();
    }
}

} // namespace
} // namespace vitrel::qc
