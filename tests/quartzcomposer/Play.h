#pragma once

#include "platform/quartzcomposer/file/CompositionFile.h"
#include "platform/quartzcomposer/graph/CompositionGraph.h"

#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vitrel::qc {

const PatchRegistry& registry();

// A composition from its text form, with less ink: names go without quotes, texts may stand in single ones, and a patch
// may be QCMath {inputValue: 4} with {numberOfOperations: 0}: its class, its inputs, its settings; then, if it has
// them, outputs {...} patches {...} connections [...]. The test fails if the text is no composition.
CompositionFile fileOf(std::string_view text);

// A composition that is played by hand, without a picture.
class Player
{
public:
    explicit Player(std::string_view text, int width = 640, int height = 360);
    explicit Player(CompositionFile file, int width = 640, int height = 360);

    CompositionGraph::Frame frame(double time);
    // A published output after the last frame, as `shown` has it.
    std::string out(const std::string& key = "out");
    PortValue value(const std::string& key = "out") { return graph->output(key, stage); }
    double number(const std::string& key = "out");
    // `key` at each of the times, in frames of their own.
    std::string over(const std::vector<double>& times, const std::string& key = "out");

    // The same after `frames` frames, at the times 0, 1, 2 and so on, each of which is asked for it.
    std::string after(int frames, const std::string& key = "out");

    std::unique_ptr<CompositionFile> file;
    NullCanvas canvas;
    Stage stage;
    std::unique_ptr<CompositionGraph> graph;
};

// A value in a form that a table can hold: 1.5, true, 'text', [1, 2], {a: 1}, rgba(1, 0, 0, 1), image 4x2, null.
// Numbers with six digits.
std::string shown(const PortValue& value);

// The published output "out" of a composition, at each of the times.
std::string evaluated(std::string_view text, const std::vector<double>& times = {0});

// A composition of the patch "p", with its output `port` published as "out".
std::string onePatch(std::string_view patch, std::string_view port);

// The text for each number from `from` on below `to`, with it for {k} and the one before it for {k-1}; commas between.
std::string repeated(int from, int to, std::string_view text);

// What a patch alone has at a port, at each of the times.
struct Row {
    std::string patch, port, result;
    std::vector<double> times = {0};
    const char* why = "";
};
void expectAll(std::initializer_list<Row> rows);

} // namespace vitrel::qc
