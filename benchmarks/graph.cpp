// What a frame of the composition player costs, in processor time: graphs without drawing, and drawing at 1280x720.
#include "platform/quartzcomposer/drawing/GLCanvas.h"
#include "platform/quartzcomposer/drawing/GLContext.h"
#include "platform/quartzcomposer/file/CompositionReader.h"
#include "platform/quartzcomposer/file/TextForm.h"
#include "platform/quartzcomposer/graph/CompositionGraph.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>

namespace vitrel::qc {
namespace {

// An iterator whose sprites each stand where five patches say.
std::string sprites(int count)
{
    return R"json({"patches": {
        "Clear": {"class": "QCClear", "inputs": {"inputColor": "#000000ff"}, "settings": {"clearDepthBuffer": false}},
        "Many": {"class": "QCIterator", "inputs": {"inputCount": )json"
        + std::to_string(count) + R"json(}, "patches": {
            "Which": {"class": "QCIteratorVariables"},
            "Time": {"class": "QCTime"},
            "Angle": {"class": "QCExpression", "settings": {"expression": "time * 40 + position * 3600"}},
            "X": {"class": "QCExpression", "settings": {"expression": "cos(angle) * (0.1 + 0.8 * position)"}},
            "Y": {"class": "QCExpression", "settings": {"expression": "sin(angle) * (0.1 + 0.4 * position)"}},
            "Color": {"class": "QCColorFromComponents", "identifier": "hsl", "inputs": {"input2": 0.7, "input3": 0.6}},
            "Sprite": {"class": "QCSprite", "inputs": {"inputWidth": 0.02, "inputHeight": 0.02, "inputZBuffer": 0}}},
          "connections": ["Which.outputPosition > Angle.position", "Time.outputTime > Angle.time",
            "Angle.outputResult > X.angle", "Which.outputPosition > X.position", "Angle.outputResult > Y.angle",
            "Which.outputPosition > Y.position", "Which.outputPosition > Color.input1", "X.outputResult > Sprite.inputX",
            "Y.outputResult > Sprite.inputY", "Color.outputColor > Sprite.inputColor"]}}})json";
}

// Many patches in chains of a hundred that nothing moves, and one sprite that does.
std::string still(int patches)
{
    std::string nodes, connections;
    for (int k = 0; k < patches; ++k) {
        nodes += R"("M)" + std::to_string(k)
            + R"(": {"class": "QCMath", "inputs": {"operand_1": 1.0}, "settings": {"numberOfOperations": 1}}, )";
        if (k % 100)
            connections += "\"M" + std::to_string(k - 1) + ".outputValue > M" + std::to_string(k) + ".inputValue\", ";
        else
            nodes += R"("S)" + std::to_string(k)
                + R"(": {"class": "QCSprite", "inputs": {"inputZBuffer": 0, "inputWidth": 0.01, "inputHeight": 0.01}}, )";
        if (k % 100 == 99)
            connections += "\"M" + std::to_string(k) + ".outputValue > S" + std::to_string(k - 99) + ".inputX\", ";
    }
    return "{\"patches\": {" + nodes
        + R"("T": {"class": "QCTime"}, "Moves": {"class": "QCSprite", "inputs": {"inputZBuffer": 0}}},
        "connections": [)"
        + connections + R"("T.outputTime > Moves.inputX"]})";
}

CompositionFile made(const std::string& text)
{
    return *compositionOfPropertyList(*compositionFromText(text, "."));
}

struct Played {
    explicit Played(CompositionFile composition)
        : file(std::move(composition))
        , registry(allPatches())
        , graph(file, registry)
    { }
    CompositionFile file;
    PatchRegistry registry;
    CompositionGraph graph;
};

void play(benchmark::State& state, const CompositionFile& file, bool drawn)
{
    Played played(file);
    NullCanvas none(1280, 720);
    const auto canvas = drawn ? GLCanvas::make(1280, 720, played.graph.needsDepth()) : nullptr;
    if (drawn && !canvas) {
        state.SkipWithError("no OpenGL");
        return;
    }
    Stage stage(drawn ? static_cast<Canvas&>(*canvas) : none);
    std::vector<std::uint32_t> pixels(1280 * 720);
    std::uint64_t evaluations = 0;
    double time = 0;
    const auto frame = [&] {
        evaluations += played.graph.frame(stage, time, Date{1.7e9 + time}).evaluations;
        if (drawn)
            canvas->readInto(pixels.data(), 1280);
        time += 1.0 / 60;
    };
    frame();
    evaluations = 0;
    for (auto _ : state)
        frame();
    state.counters["evaluations"] = benchmark::Counter(double(evaluations), benchmark::Counter::kAvgIterations);
}

BENCHMARK_CAPTURE(play, sprites_500_graph, made(sprites(500)), false)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime();
BENCHMARK_CAPTURE(play, sprites_500_drawn, made(sprites(500)), true)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime();
BENCHMARK_CAPTURE(play, still_4000_graph, made(still(4000)), false)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime();

} // namespace
} // namespace vitrel::qc

int main(int argc, char** argv)
{
    vitrel::qc::prepareSoftwareRendering();
    benchmark::Initialize(&argc, argv);
    // Compositions on the command line: evaluated, and drawn.
    for (int k = 1; k < argc; ++k) {
        const auto file = vitrel::qc::readCompositionFile(argv[k]);
        for (const bool drawn : {false, true}) {
            const std::string name = std::string(argv[k]) + (drawn ? "/drawn" : "/graph");
            if (file)
                benchmark::RegisterBenchmark(
                    name.c_str(), [file, drawn](benchmark::State& state) { vitrel::qc::play(state, *file, drawn); })
                    ->Unit(benchmark::kMillisecond)
                    ->MeasureProcessCPUTime();
        }
    }
    benchmark::RunSpecifiedBenchmarks();
}
