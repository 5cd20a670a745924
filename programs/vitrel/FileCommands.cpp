// Commands that work on composition files and show nothing: inspect, make, evaluate.
#include "base/Text.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/PropertyList.h"
#include "platform/quartzcomposer/file/CompositionReader.h"
#include "platform/quartzcomposer/file/TextForm.h"
#include "platform/quartzcomposer/graph/CompositionGraph.h"
#include "platform/quartzcomposer/loading/LoadQueue.h"
#include "platform/quartzcomposer/picturing/DiagramText.h"
#include "platform/quartzcomposer/picturing/GraphPicture.h"
#include "programs/vitrel/Commands.h"
#include "programs/vitrel/Confining.h"
#include "programs/vitrel/SaverOptions.h"
#include "programs/vitrel/TextReport.h"
#include "programs/vitrel/ValueJson.h"
#include "traces/Replay.h"
#include "traces/TracePictures.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <iostream>
#include <string_view>

namespace vitrel {

namespace {

using Json = nlohmann::ordered_json;

void printLine(const Json& json)
{
    std::cout << json.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n' << std::flush;
}

int inspect(const std::string& path, bool source)
{
    const bool isTold = !source && reportText(path).hasErrors;
    const auto file = qc::readCompositionFile(path);
    if (!file && isTold)
        return 1;
    if (!file)
        return complain(path + " is no composition: " + file.error().reason);
    if (source) {
        const std::string text = qc::textForm(*file);
        if (text.empty())
            return complain(path + " shares its parts into more than a text can hold");
        std::cout << text << '\n';
        return 0;
    }
    const auto registry = qc::allPatches();
    const qc::CompositionGraph graph(*file, registry);
    Json inputs = Json::array(), outputs = Json::array(), patches = Json::object(), unsupported = Json::object(),
         stoodIn = Json::object();
    for (const auto& port : graph.inputs())
        inputs.push_back(
            {{"key", port.key}, {"type", qc::nameOf(port.type)}, {"value", valueJson(graph.inputPort(port.key))}});
    for (const auto& port : graph.outputs())
        outputs.push_back({{"key", port.key}, {"type", qc::nameOf(port.type)}});
    std::map<std::string, int> counts;
    qc::countClasses(*file, counts);
    for (const auto& [name, count] : counts)
        patches[name] = count;
    for (const auto& [name, count] : qc::unsupportedClasses(*file, registry))
        unsupported[name] = count;
    for (const auto& [name, count] : counts)
        if (registry.standsIn(name))
            stoodIn[name] = count;
    printLine({{"inputs", inputs}, {"outputs", outputs}, {"patches", patches}, {"unsupported", unsupported},
        {"stoodIn", stoodIn}});
    return 0;
}

// Within this time, or not at all: what a file wants to be drawn may be a tangle.
constexpr unsigned kDrawingSeconds = 30;

void endOfDrawing(int)
{
    constexpr std::string_view line = "vitrel: the graph is too tangled to be drawn in half a minute\n";
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, line.data(), line.size());
    _exit(1);
}

int drawGraph(const std::string& path, const std::string& out, const std::vector<std::string>& open)
{
    const auto file = qc::readCompositionFile(path);
    if (!file)
        return complain(path + " is no composition: " + file.error().reason);
    std::signal(SIGALRM, endOfDrawing);
    alarm(kDrawingSeconds);
    const auto diagram = qc::diagramOf(*file, qc::allPatches(), open);
    if (!diagram)
        return complain(path + ": " + diagram.error());
    const auto kind = asciiLowercase(out).ends_with(".png") ? qc::GraphPictureKind::PNG : qc::GraphPictureKind::SVG;
    const auto picture = qc::graphPicture(qc::diagramText(*diagram, path.substr(path.rfind('/') + 1)), kind);
    if (!picture)
        return complain(path + ": " + picture.error());
    alarm(0);
    return writeFile(out, *picture) == 0 ? 0 : complain("can't write " + out);
}

int make(const std::string& source, const std::string& out, bool strict)
{
    constexpr std::size_t kMaxText = 64u << 20;
    const auto text = readFile(source, kMaxText);
    if (!text)
        return complain("can't read " + source);
    if (!qc::isTextForm(textOf(*text)))
        return complain(source + " is no text form of a composition");
    const auto diagnostics = qc::checkText(textOf(*text), source, qc::allPatches());
    printDiagnostics(source, diagnostics);
    if (qc::hasErrors(diagnostics) || (strict && !diagnostics.empty()))
        return 1;
    const auto made = qc::compositionFromText(textOf(*text), qc::folderOf(source));
    if (!made)
        return complain(source + ": " + made.error().reason);
    const Bytes bytes = binaryPropertyList(*made);
    if (const auto read = qc::readComposition(bytes); bytes.empty() || !read)
        return complain(source + " makes no composition" + (bytes.empty() ? "" : ": " + read.error().reason));
    return writeFile(out, bytes) == 0 ? 0 : complain("can't write " + out);
}

struct EvaluateOptions {
    std::string path;
    std::vector<double> at;
    std::vector<std::string> inputs;
    double fps = 60;
    std::string replay; // a trace; empty: none
    std::optional<int> view;
};

// The trace that feeds it, if one is to; an exit code, with a line on standard error, if that can't be read.
Result<std::unique_ptr<Replay>, int> replayFor(const EvaluateOptions& options)
{
    if (options.replay.empty())
        return std::unique_ptr<Replay>();
    auto trace = readTrace(options.replay, options.view);
    if (!trace)
        return complain(trace.error());
    return std::make_unique<Replay>(*std::move(trace));
}

int evaluate(EvaluateOptions options)
{
    const auto file = qc::readCompositionFile(options.path);
    if (!file)
        return complain(options.path + " is no composition: " + file.error().reason);
    const auto registry = qc::allPatches();
    qc::CompositionGraph graph(*file, registry);
    for (const std::string& text : options.inputs) {
        const auto input = inputArgument(text);
        if (!input)
            return complain("--input takes KEY=VALUE", 2);
        if (!graph.setInput(input->key, input->value))
            return complain("the composition has no input \"" + input->key + "\" that takes this value");
    }
    if (options.at.empty())
        options.at.push_back(0);
    std::sort(options.at.begin(), options.at.end());
    const auto replay = replayFor(options);
    if (!replay)
        return replay.error();
    qc::loadAtOnce();
    qc::NullCanvas canvas(1280, 720);
    qc::Stage stage(canvas);
    std::uint64_t step = 0;
    for (const double at : options.at) {
        const auto play = [&](double time) {
            Date date = Date::fromReferenceDate(time);
            if (Replay* const feeds = replay->get()) {
                feeds->advance(time, [&](const Value& value, const std::string& key) { graph.setInput(key, value); });
                graph.hear({feeds->heard(), feeds->isSilent()});
                date = feeds->date();
            }
            graph.frame(stage, time, date);
            std::vector<std::pair<std::string, qc::PortValue>> outputs;
            for (const auto& port : graph.outputs())
                outputs.emplace_back(port.key, graph.output(port.key, stage));
            return outputs;
        };
        for (; static_cast<double>(step) / options.fps < at; ++step)
            play(static_cast<double>(step) / options.fps);
        if (static_cast<double>(step) / options.fps == at)
            ++step;
        Json outputs = Json::object();
        for (const auto& [key, value] : play(at))
            outputs[key] = valueJson(value);
        printLine({{"t", at}, {"outputs", outputs}});
    }
    return 0;
}

} // namespace

void addInspect(CLI::App& app, Action& action)
{
    auto* command = app.add_subcommand("inspect", "Tell what a composition takes, gives and is made of, as JSON");
    const auto path = std::make_shared<std::string>();
    const auto source = std::make_shared<bool>(false);
    command->add_option("FILE", *path, "The composition")->required();
    const auto graph = std::make_shared<std::string>();
    const auto open = std::make_shared<std::vector<std::string>>();
    auto* text = command->add_flag("--source", *source, "Print the text form instead");
    auto* picture = command->add_option("--graph", *graph, "Draw its graph into this file, .svg or .png, instead");
    picture->excludes(text);
    command->add_option("--open", *open, "Draw what is in the macro of this name or path, too; may be given again")
        ->allow_extra_args(false)
        ->needs(picture);
    command->callback([&action, path, source, graph, open] {
        action = [=] {
            if (const std::string name = asciiLowercase(*graph);
                !name.empty() && !name.ends_with(".svg") && !name.ends_with(".png"))
                return complain("--graph takes a .svg or a .png", 2);
            confineToDrawing({{*path}, {*graph}});
            return graph->empty() ? inspect(*path, *source) : drawGraph(*path, *graph, *open);
        };
    });
}

void addMake(CLI::App& app, Action& action)
{
    auto* command = app.add_subcommand("make", "Make a composition from its text form");
    const auto source = std::make_shared<std::string>(), out = std::make_shared<std::string>();
    const auto strict = std::make_shared<bool>(false);
    command->add_option("SOURCE", *source, "The text form, JSON")->required();
    command->add_option("OUT", *out, "The composition to write")->required();
    command->add_flag("--strict", *strict, "Make nothing if there is as much as a warning");
    command->callback([&action, source, out, strict] {
        action = [=] {
            confineToDrawing({{*source}, {*out}});
            return make(*source, *out, *strict);
        };
    });
}

void addEvaluate(CLI::App& app, Action& action)
{
    auto* command = app.add_subcommand("evaluate", "Play a composition without a display and print its outputs");
    const auto options = std::make_shared<EvaluateOptions>();
    command->add_option("FILE", options->path, "The composition")->required();
    command->add_option("--at", options->at, "Seconds at which to print; may be given again")
        ->check(CLI::Range(0.0, 86400.0))
        ->allow_extra_args(false);
    command->add_option("--fps", options->fps, "Frames a second")->check(CLI::Range(0.01, 1000.0));
    command->add_option("--input", options->inputs, "KEY=VALUE sets a published input")->allow_extra_args(false);
    addReplayOptions(*command, options->replay, options->view);
    command->callback([&action, options] {
        action = [=] {
            CommandFiles files{{options->path}, {}};
            if (!options->replay.empty())
                files.alone = {options->replay, pictureFolderOf(options->replay)};
            confineToDrawing(files);
            return evaluate(*options);
        };
    });
}

} // namespace vitrel
