#include "platform/quartzcomposer/drawing/GLCanvas.h"
#include "platform/quartzcomposer/drawing/GLContext.h"
#include "platform/quartzcomposer/file/TextForm.h"
#include "quartzcomposer/Play.h"

#include <gtest/gtest.h>

#include <cmath>

namespace vitrel::qc {

// Compositions that mean harm. Each of these tests ends, and what it has made is of a size that fits; without the limit
// that it is about it would take minutes, or all memory.

namespace {

constexpr std::size_t kMostText = 5u << 20;

// A list of two lists of two lists ...: small, and without end for whoever walks it.
Value bomb(int levels)
{
    Value value = "x";
    for (int level = 0; level < levels; ++level)
        value = Array{value, value};
    return value;
}

std::string script(const std::string& text)
{
    return R"("class": "QCJavaScript", "settings": {"script": ")" + text + "\"}";
}

} // namespace

TEST(Hostile, ScriptsThatNeverEndAreGivenUp)
{
    Player player(R"({"inputs": {"t": "p.t"}, "outputs": {"out": "p.n"}, "patches": {"p": {)"
        + script("function (__number n) main (__number t) { while (true) {} }") + "}}}");
    for (int frame = 0; frame < 200; ++frame) {
        player.graph->setInput("t", frame + 1);
        player.frame(frame);
        EXPECT_EQ(player.out(), "0");
    }
    std::string many;
    for (int k = 0; k < 300; ++k)
        many += (k ? ", \"p" : "\"p") + std::to_string(k) + "\": {"
            + script("function (__number n) main (__number t) { while (true) {} }") + "}, \"s" + std::to_string(k)
            + R"(": {"class": "QCSprite"})";
    std::string connections;
    for (int k = 0; k < 300; ++k)
        connections += (k ? ", \"p" : "\"p") + std::to_string(k) + ".n > s" + std::to_string(k) + ".inputX\"";
    Player crowd("{\"patches\": {" + many + "}, \"connections\": [" + connections + "]}");
    const auto first = crowd.frame(0);
    EXPECT_LT(first.evaluations, 600u) << "a frame isn't as long as all of them together";
    EXPECT_FALSE(std::isinf(first.next)) << "what is left has its turn";
}

// Each of these doubles in every frame, or in every patch of a row.
TEST(Hostile, TextsThatDoubleStopGrowing)
{
    Player printer(
        R"({"outputs": {"out": "p.outputString"}, "patches": {"p": {"class": "QCStringFormat", "settings": {"format": "x%@%@"}}},
        "connections": ["p.outputString > p.argument_1", "p.outputString > p.argument_2"]})");
    for (int frame = 0; frame < 60; ++frame)
        printer.over({double(frame)});
    EXPECT_LE(printer.value().as<std::string>()->size(), kMostText);

    std::string patches = R"("r0": {"class": "QCStringFormat", "settings": {"format": "aaaaaaaaaa"}})", connections;
    for (int k = 1; k < 12; ++k) {
        const std::string n = std::to_string(k), type = k % 2 ? "QCStringReplace" : "QCGrep";
        patches += ", \"r" + n + "\": {\"class\": \"" + type
            + R"(", "inputs": {"inputSearchString": "a", "inputPattern": "a", ")"
            + (k % 2 ? "inputReplaceString" : "inputReplace")
            + R"(": "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa"}})";
        connections += (k > 1 ? ", \"r" : "\"r") + std::to_string(k - 1) + ".outputString > r" + n
            + (k % 2 ? ".inputSourceString\"" : ".inputString\"");
    }
    Player row(R"({"outputs": {"out": "r11.outputString"}, "patches": {)" + patches + R"(}, "connections": [)"
        + connections + "]}");
    row.frame(0);
    EXPECT_LE(row.value().as<std::string>()->size(), kMostText);

    Player scripted(R"({"outputs": {"out": "p.b"}, "patches": {"p": {)"
        + script("function (__string b) main (__string a) { return {b: a + a + 'x'}; }")
        + R"(}}, "connections": ["p.b > p.a"]})");
    for (int frame = 0; frame < 40; ++frame)
        scripted.over({double(frame)});
    EXPECT_LE(scripted.value().as<std::string>()->size(), 64u << 20);
}

TEST(Hostile, StructuresThatHoldThemselvesStopGrowing)
{
    Player queue(
        R"({"outputs": {"out": "q.outputQueue"}, "patches": {"q": {"class": "QCQueue", "inputs": {"inputSize": 2}}}, "connections": ["q.outputQueue > q.inputValue"]})");
    for (int frame = 0; frame < 200; ++frame) {
        queue.frame(frame);
        hostValue(queue.value());
    }
    Player doubled(R"({"outputs": {"out": "p.b"}, "patches": {"p": {)"
        + script("function (__structure b) main (__structure a) { return {b: [a, a]}; }")
        + R"(}}, "connections": ["p.b > p.a"]})");
    for (int frame = 0; frame < 25; ++frame)
        doubled.frame(frame), doubled.value();
    Player long_(
        R"({"outputs": {"out": "q.outputQueue"}, "patches": {"t": {"class": "QCTime"}, "q": {"class": "QCQueue", "inputs": {"inputSize": 4294967295}}}, "connections": ["t.outputTime > q.inputValue"]})");
    std::size_t size = 0;
    for (int frame = 0; frame < 11'000; ++frame)
        long_.frame(frame), size = (*long_.value().as<StructureRef>())->members.size();
    EXPECT_LE(size, 10'000u);
}

// A host's structure, or a file's, whose parts are shared into a billion.
TEST(Hostile, SharedPartsAreWalkedToALimit)
{
    Player player(
        R"({"inputs": {"s": "s.input", "v": "v.input", "t": "t.input"}, "outputs": {"out": "t.output", "list": "s.output"}, "patches": {
        "s": {"class": "QCSplitter", "settings": {"portClass": "QCStructurePort"}}, "v": {"class": "QCSplitter"}, "t": {"class": "QCSplitter", "settings": {"portClass": "QCStringPort"}}}})");
    for (const char* key : {"s", "v", "t"})
        player.graph->setInput(key, bomb(50));
    player.frame(0);
    EXPECT_LE(player.value().as<std::string>()->size(), kMostText);
    EXPECT_LE(description(bomb(60)).size(), kMostText);

    const Dictionary state{{"setting", bomb(60)}, {"nodes", Array{}}};
    const auto file
        = compositionOfPropertyList(Dictionary{{"rootPatch", Dictionary{{"class", "QCPatch"}, {"state", state}}}});
    ASSERT_TRUE(file);
    EXPECT_EQ(textForm(*file), "");
}

TEST(Hostile, FiltersOverTheirOwnResultEnd)
{
    Player player(
        R"({"outputs": {"out": "f.outputImage"}, "patches": {"g": {"class": "QCImageFilter", "identifier": "CIConstantColorGenerator"},
        "f": {"class": "QCImageFilter", "identifier": "CIAdditionCompositing"}}, "connections": ["g.outputImage > f.inputImage", "f.outputImage > f.inputBackgroundImage"]})");
    int levels = 0;
    for (int frame = 0; frame < 500; ++frame) {
        player.frame(frame);
        const auto image = *player.value().as<ImageRef>();
        const auto* filtered = dynamic_cast<const FilteredImage*>(image.get());
        ASSERT_TRUE(filtered);
        levels = std::max(levels, filtered->levels);
    }
    EXPECT_LE(levels, 64);
}

// Forty filters, each with the one before at both of its inputs: a trillion passes.
TEST(Hostile, FiltersThatDoubleAreDrawnToALimit)
{
    if (!GLContext::current())
        GTEST_SKIP();
    std::string patches
        = R"("f0": {"class": "QCImageFilter", "identifier": "CICheckerboardGenerator"}, "s": {"class": "QCSprite"})",
        connections = "\"f40.outputImage > s.inputImage\"";
    for (int k = 1; k <= 40; ++k) {
        const std::string n = std::to_string(k), before = "f" + std::to_string(k - 1);
        patches += ", \"f" + n + R"(": {"class": "QCImageFilter", "identifier": "CIAdditionCompositing"})";
        connections += ", \"" + before + ".outputImage > f" + n + ".inputImage\", \"" + before + ".outputImage > f" + n
            + ".inputBackgroundImage\"";
    }
    const CompositionFile file = fileOf("{\"patches\": {" + patches + "}, \"connections\": [" + connections + "]}");
    CompositionGraph graph(file, registry());
    const auto canvas = GLCanvas::make(64, 64, true);
    Stage stage(*canvas);
    graph.frame(stage, 0, {});
    std::vector<std::uint32_t> pixels(64 * 64);
    canvas->readInto(pixels.data(), 64);
}

// Sizes of images, copies and texts as large as a port can say, a hundred times.
TEST(Hostile, SizesAreHeldToWhatFits)
{
    std::string texts, spheres;
    for (int k = 0; k < 100; ++k) {
        const std::string n = std::to_string(k);
        texts += (k ? ", \"t" : "\"t") + n
            + R"(": {"class": "QCTextImage", "settings": {"manualLayout": true}, "inputs": {"inputString": "x", "inputGlyphSize": 1e9,
            "inputWidth": 1e9, "inputHeight": 1e9}}, "d)"
            + n + R"(": {"class": "QCImageDimensions"})";
        spheres += (k ? ", \"s" : "\"s") + n
            + R"(": {"class": "QCSphere", "settings": {"slices": 1e9, "stacks": 1e9}}, "p)" + n
            + R"(": {"class": "QCParticleSystem", "inputs": {"inputCount": 4294967295}})";
    }
    std::string outputs;
    for (int k = 0; k < 100; ++k) {
        const std::string n = std::to_string(k);
        outputs += (k ? ", \"" : "\"") + n + "\": \"t" + n + ".outputImage\"";
    }
    Player player("{\"outputs\": {" + outputs + "}, \"patches\": {" + texts + "}}");
    player.frame(0);
    double bytes = 0;
    for (int k = 0; k < 100; ++k) {
        const auto image = *player.value(std::to_string(k)).as<ImageRef>();
        bytes += image ? image->extent().width * image->extent().height * 4 : 0;
    }
    EXPECT_GT(bytes, 0);
    EXPECT_LE(bytes, 96 << 20);

    Player solids("{\"patches\": {" + spheres + "}}");
    EXPECT_LE(solids.frame(10).evaluations, 200u);
}

// Thirty images in each other, each as large as can be, with a depth buffer of its own.
TEST(Hostile, ImagesInImagesShareABound)
{
    if (!GLContext::current())
        GTEST_SKIP();
    std::string inner = R"("s": {"class": "QCSprite"})", connections;
    for (int level = 0; level < 30; ++level) {
        inner
            = R"("r": {"class": "QCRenderInImage", "inputs": {"inputWidth": 4294967295, "inputHeight": 4294967295}, "patches": {)"
            + inner + "}" + connections + R"(}, "s": {"class": "QCSprite"})";
        connections = R"(, "connections": ["r.outputImage > s.inputImage"])";
    }
    const CompositionFile file = fileOf("{\"patches\": {" + inner + "}" + connections + "}");
    CompositionGraph graph(file, registry());
    EXPECT_EQ(graph.dangling(), 0);
    const auto canvas = GLCanvas::make(64, 64, true);
    Stage stage(*canvas);
    graph.frame(stage, 0, {});
    std::vector<std::uint32_t> pixels(64 * 64);
    canvas->readInto(pixels.data(), 64);
    EXPECT_FALSE(Texture::make(8192, 8192, nullptr)) << "256 MiB at once";
    EXPECT_TRUE(Texture::make(64, 64, nullptr)) << "a little is left, or free again";
}

// Ports, connections and values multiply by the instances of a definition.
TEST(Hostile, DefinitionsMultiplyWithinLimits)
{
    const auto with = [](const std::string& definition, int instances) {
        std::string patches;
        for (int k = 0; k < instances; ++k)
            patches += (k ? ", \"p" : "\"p") + std::to_string(k) + R"(": {"class": "/v"})";
        return R"({"patches": {)" + patches + R"(}, "virtualPatches": {"/v": )" + definition + "}}";
    };
    Player wide(with(R"({"patches": {"m": {"class": "QCMath", "settings": {"numberOfOperations": 1024}}}})", 20'000));
    EXPECT_LE(wide.graph->patches(), 2'000u);

    std::string connections;
    for (int k = 0; k < 40'000; ++k)
        connections += (k ? ", \"m" : "\"m") + std::to_string(k) + ".x > m.y\"";
    Player tangled(with(R"({"patches": {"m": {"class": "QCMath"}}, "connections": [)" + connections + "]}", 20'000));
    EXPECT_LE(tangled.graph->dangling(), 2'000'000);
}

TEST(Hostile, PatternsThatTryEverythingAreGivenUp)
{
    const std::string text(40, 'a');
    EXPECT_EQ(evaluated(onePatch(
                  R"j("class": "QCGrep", "inputs": {"inputPattern": "(a+)+$", "inputString": ")j" + text + "b\"}",
                  "outputString")),
        "'" + text + "b'");
}

} // namespace vitrel::qc
