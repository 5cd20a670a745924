#include "platform/quartzcomposer/drawing/GLCanvas.h"
#include "platform/quartzcomposer/drawing/GLContext.h"
#include "platform/quartzcomposer/file/TextForm.h"
#include "quartzcomposer/Play.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <ctime>

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

double processorSeconds()
{
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return double(time.tv_sec) + double(time.tv_nsec) * 1e-9;
}

std::size_t textSize(Player& player)
{
    return player.value().as<std::string>()->size();
}

} // namespace

TEST(Hostile, ScriptsThatNeverEndAreGivenUp)
{
    const std::string endless
        = "QCJavaScript with {script: 'function (__number n) main (__number t) { while (true) {} }'}";
    Player player("{inputs: {t: 'p.t'}, outputs: {out: 'p.n'}, patches: {p: " + endless + "}}");
    for (int frame = 0; frame < 200; ++frame) {
        player.graph->setInput("t", frame + 1);
        EXPECT_EQ(player.over({double(frame)}), "0");
    }
    Player crowd("{patches: {" + repeated(0, 300, "p{k}: " + endless + ", s{k}: QCSprite") + "}, connections: ["
        + repeated(0, 300, "'p{k}.n > s{k}.inputX'") + "]}");
    const auto first = crowd.frame(0);
    EXPECT_LT(first.evaluations, 600u) << "a frame isn't as long as all of them together";
    EXPECT_FALSE(std::isinf(first.next)) << "what is left has its turn";

    // Each waits for the one before, so that all are asked before the first has cost anything.
    Player row("{patches: {s: QCSprite, " + repeated(0, 60, "p{k}: " + endless)
        + "}, connections: ['p59.n > s.inputX', " + repeated(1, 60, "'p{k-1}.n > p{k}.t'") + "]}");
    EXPECT_LT(row.frame(0).evaluations, 45u);
}

// What is drawn costs the driver time that no patch sees: screens over screens, and filters of all sizes.
TEST(Hostile, WhatIsDrawnIsLeftOutOnceAFrameHasTakenLong)
{
    if (!GLContext::current())
        GTEST_SKIP();
    for (const std::string& text :
        {"{patches: {" + repeated(0, 4000, "s{k}: QCSprite {inputWidth: 2, inputHeight: 2}") + "}}",
            std::string("{patches: {p: QCParticleSystem {inputCount: 20000, inputLifetime: 9, inputMinSize: 9, "
                        "inputMaxSize: 9}}}"),
            "{patches: {g: QCImageFilter/CICheckerboardGenerator, c: QCImageFilter/CICrop {inputRectangle_Z: 8000, "
            "inputRectangle_W: 8000}, f0: QCImageFilter/CIGaussianBlur, s: QCSprite, "
                + repeated(1, 60, "f{k}: QCImageFilter/CIGaussianBlur {inputRadius: 2}")
                + "}, connections: ['g.outputImage > c.inputImage', 'c.outputImage > f0.inputImage', "
                  "'f59.outputImage > s.inputImage', "
                + repeated(1, 60, "'f{k-1}.outputImage > f{k}.inputImage'") + "]}"}) {
        const CompositionFile file = fileOf(text);
        CompositionGraph graph(file, registry());
        const auto canvas = GLCanvas::make(1600, 1000, true);
        Stage stage(*canvas);
        std::vector<std::uint32_t> pixels(1600 * 1000);
        for (const double time : {0, 1}) {
            const auto begun = std::chrono::steady_clock::now();
            const double spent = processorSeconds();
            graph.frame(stage, time, {});
            canvas->readInto(pixels.data(), 1600);
            const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begun;
            // Where others keep the processors, a single filter takes long; where there are many, all together.
            EXPECT_LT(std::min(taken.count(), processorSeconds() - spent), 6) << text.substr(0, 60);
        }
        canvas->beginFrame(std::chrono::steady_clock::time_point::max());
        canvas->clear({1, 0, 0, 1}, true, true, 0xF);
        canvas->readInto(pixels.data(), 1600);
        EXPECT_EQ(pixels[0], 0xFFFF0000) << "the next frame is drawn as ever";
    }
}

// Loops without end in both shaders, a sum and brackets as deep as are let through, and a kernel as dear as may be.
TEST(Hostile, ProgramsOfAuthorsEnd)
{
    if (!GLContext::current())
        GTEST_SKIP();
    std::string sum = "a = a";
    for (int k = 0; k < 700; ++k)
        sum += " + a";
    const std::string loops = "float a = 1.0; for (;;) while (true) a = sin(a + " + std::string(60, '(') + "0.1"
        + std::string(60, ')') + ");";
    for (const std::string& patches :
        {"g: QCGLSLShader with {vertexShader: 'void main() { " + loops + " gl_Position = ftransform() * a; }', "
                + "fragmentShader: 'void main() { " + loops + sum + "; gl_FragColor = vec4(a); }'} patches {"
                + "s: QCSprite {inputWidth: 2, inputHeight: 2}, t: QCSphere}",
            std::string(
                "k: QCImageKernel with {sourceCode: 'kernel vec4 k() { vec4 c; for (int i = 0; i < 64; ++i) for "
                "(int j = 0; j < 64; ++j) c += sin(c + 1.0); return c; }'}, b: QCBillboard}, connections: "
                "['k.outputImage > b.inputImage'], virtualPatches: {")}) {
        const CompositionFile file = fileOf("{patches: {" + patches + "}}");
        CompositionGraph graph(file, registry());
        EXPECT_TRUE(graph.unsupported().empty());
        const auto canvas = GLCanvas::make(400, 250, true);
        Stage stage(*canvas);
        std::vector<std::uint32_t> pixels(400 * 250);
        for (const double time : {0, 1}) {
            const double spent = processorSeconds();
            graph.frame(stage, time, {});
            canvas->readInto(pixels.data(), 400);
            EXPECT_LT(processorSeconds() - spent, 10) << patches.substr(0, 40);
        }
    }
}

// Each of these doubles in every frame, or in every patch of a row.
TEST(Hostile, TextsThatDoubleStopGrowing)
{
    Player printer(R"({outputs: {out: 'p.outputString'}, patches: {p: QCStringFormat with {format: 'x%@%@'}},
        connections: ['p.outputString > p.argument_1', 'p.outputString > p.argument_2']})");
    printer.after(60);
    EXPECT_LE(textSize(printer), kMostText);

    const std::string many(64, 'a');
    Player row("{outputs: {out: 'g5.outputString'}, patches: {g0: QCStringFormat with {format: 'aaaaaaaaaa'}, "
        + repeated(1, 6,
            "r{k}: QCStringReplace {inputSearchString: 'a', inputReplaceString: '" + many
                + "'}, g{k}: QCGrep {inputPattern: 'a', inputReplace: '" + many + "'}")
        + "}, connections: ["
        + repeated(1, 6, "'g{k-1}.outputString > r{k}.inputSourceString', 'r{k}.outputString > g{k}.inputString'")
        + "]}");
    row.frame(0);
    EXPECT_LE(textSize(row), kMostText);

    Player scripted(R"j({outputs: {out: 'p.b'}, connections: ['p.b > p.a'], patches: {p: QCJavaScript with {script:
        'function (__string b) main (__string a) { return {b: a + a + 1}; }'}}})j");
    scripted.after(40);
    EXPECT_LE(textSize(scripted), 64u << 20);
}

TEST(Hostile, StructuresThatHoldThemselvesStopGrowing)
{
    Player queue(R"({outputs: {out: 'q.outputQueue'}, patches: {q: QCQueue {inputSize: 2}},
        connections: ['q.outputQueue > q.inputValue']})");
    for (int frame = 0; frame < 200; ++frame) {
        queue.frame(frame);
        hostValue(queue.value());
    }
    Player doubled(R"j({outputs: {out: 'p.b'}, connections: ['p.b > p.a'], patches: {p: QCJavaScript with {script:
        'function (__structure b) main (__structure a) { return {b: [a, a]}; }'}}})j");
    for (int frame = 0; frame < 25; ++frame)
        doubled.frame(frame), doubled.value();
    Player longest(R"({outputs: {out: 'q.outputQueue'}, patches: {t: QCTime, q: QCQueue {inputSize: 4294967295}},
        connections: ['t.outputTime > q.inputValue']})");
    for (int frame = 0; frame < 11'000; ++frame)
        longest.frame(frame), longest.value();
    EXPECT_LE((*longest.value().as<StructureRef>())->members.size(), 10'000u);
}

// A host's structure, or a file's, whose parts are shared into a billion.
TEST(Hostile, SharedPartsAreWalkedToALimit)
{
    Player player(
        R"({inputs: {s: 's.input', v: 'v.input', t: 't.input'}, outputs: {out: 't.output', list: 's.output'}, patches: {
        s: QCSplitter with {portClass: 'QCStructurePort'}, v: QCSplitter, t: QCSplitter with {portClass: 'QCStringPort'}}})");
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
        R"({outputs: {out: 'f.outputImage'}, patches: {g: QCImageFilter/CIConstantColorGenerator,
        f: QCImageFilter/CIAdditionCompositing}, connections: ['g.outputImage > f.inputImage', 'f.outputImage > f.inputBackgroundImage']})");
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

// Forty filters, each with the one before at both of its inputs: a trillion passes. And thirty images in each other,
// each as large as can be, with a depth buffer of its own.
TEST(Hostile, FiltersAndImagesAreDrawnToALimit)
{
    if (!GLContext::current())
        GTEST_SKIP();
    std::string inner = "s: QCSprite", connections;
    for (int level = 0; level < 30; ++level) {
        inner = "r: QCRenderInImage {inputWidth: 4294967295, inputHeight: 4294967295} patches {" + inner + "}"
            + connections + ", s: QCSprite";
        connections = " connections ['r.outputImage > s.inputImage']";
    }
    for (const std::string& text : {"{patches: {f0: QCImageFilter/CICheckerboardGenerator, s: QCSprite, "
                 + repeated(1, 41, "f{k}: QCImageFilter/CIAdditionCompositing")
                 + "}, connections: ['f40.outputImage > s.inputImage', "
                 + repeated(
                     1, 41, "'f{k-1}.outputImage > f{k}.inputImage', 'f{k-1}.outputImage > f{k}.inputBackgroundImage'")
                 + "]}",
             "{patches: {" + inner + "}, connections: ['r.outputImage > s.inputImage']}"}) {
        const CompositionFile file = fileOf(text);
        CompositionGraph graph(file, registry());
        EXPECT_EQ(graph.dangling(), 0);
        const auto canvas = GLCanvas::make(64, 64, true);
        Stage stage(*canvas);
        graph.frame(stage, 0, {});
        std::vector<std::uint32_t> pixels(64 * 64);
        canvas->readInto(pixels.data(), 64);
    }
    EXPECT_FALSE(Texture::make(8192, 8192, nullptr)) << "256 MiB at once";
    EXPECT_TRUE(Texture::make(64, 64, nullptr)) << "a little is left, or free again";
}

// Sizes of images, copies and texts as large as a port can say, a hundred times.
TEST(Hostile, SizesAreHeldToWhatFits)
{
    Player player("{outputs: {" + repeated(0, 100, "o{k}: 't{k}.outputImage'") + "}, patches: {"
        + repeated(0, 100,
            "t{k}: QCTextImage {inputString: 'x', inputGlyphSize: 1e9, inputWidth: 1e9, inputHeight: 1e9} with "
            "{manualLayout: true}")
        + "}}");
    player.frame(0);
    double bytes = 0;
    for (int k = 0; k < 100; ++k) {
        const auto image = *player.value("o" + std::to_string(k)).as<ImageRef>();
        bytes += image ? image->extent().width * image->extent().height * 4 : 0;
    }
    EXPECT_GT(bytes, 0);
    EXPECT_LE(bytes, 96 << 20);

    Player solids("{patches: {"
        + repeated(
            0, 100, "s{k}: QCSphere with {slices: 1e9, stacks: 1e9}, p{k}: QCParticleSystem {inputCount: 4294967295}")
        + "}}");
    EXPECT_LE(solids.frame(10).evaluations, 200u);
}

// Ports, connections and values multiply by the instances of a definition.
TEST(Hostile, DefinitionsMultiplyWithinLimits)
{
    const auto with = [](const std::string& definition) {
        return "{patches: {" + repeated(0, 20'000, "p{k}: /v") + "}, virtualPatches: {'/v': " + definition + "}}";
    };
    Player wide(with("{patches: {m: QCMath with {numberOfOperations: 1024}}}"));
    EXPECT_LE(wide.graph->patches(), 2'000u);
    Player tangled(with("{patches: {m: QCMath}, connections: [" + repeated(0, 40'000, "'m{k}.x > m.y'") + "]}"));
    EXPECT_LE(tangled.graph->dangling(), 2'000'000);
}

TEST(Hostile, PatternsThatTryEverythingAreGivenUp)
{
    const std::string text = std::string(40, 'a') + "b";
    expectAll({{"QCGrep {inputPattern: '(a+)+$', inputString: '" + text + "'}", "outputString", "'" + text + "'"}});
}

} // namespace vitrel::qc
