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

// A composition from its text form; the test fails if the text isn't one.
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
    std::string over(std::initializer_list<double> times, const std::string& key = "out");

    std::unique_ptr<CompositionFile> file;
    NullCanvas canvas;
    Stage stage;
    std::unique_ptr<CompositionGraph> graph;
};

// A value in a form that a table can hold: 1.5, true, 'text', [1, 2], {a: 1}, rgba(1, 0, 0, 1), image 4x2, null.
// Numbers with six digits.
std::string shown(const PortValue& value);

// The published output "out" of a composition, at each of the times.
std::string evaluated(std::string_view text, std::initializer_list<double> times = {0});

// The text form of one patch "p", whose members are given, with its output `port` published as "out".
std::string onePatch(std::string_view members, std::string_view port);

} // namespace vitrel::qc
