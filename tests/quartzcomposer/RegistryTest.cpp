#include "quartzcomposer/Play.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>

namespace vitrel::qc {

namespace {

// A composition of one patch with every output published; `settings` as its state.
CompositionFile alone(const std::string& name, const Dictionary& settings)
{
    const std::string identifier = name.substr(std::min(name.find('/'), name.size() - 1) + 1);
    Dictionary node{{"class", name.substr(0, name.find('/'))}, {"key", "p"}, {"state", settings}};
    if (!identifier.empty())
        node["identifier"] = identifier;
    Array published;
    auto patch = registry().make(name);
    patch->configure({&settings, identifier, {}});
    for (const auto& port : patch->outputs())
        published.push_back(Dictionary{{"key", port->key()}, {"node", "p"}, {"port", port->key()}});
    const Dictionary root{
        {"class", "QCPatch"}, {"state", Dictionary{{"nodes", Array{node}}, {"publishedOutputPorts", published}}}};
    return *compositionOfPropertyList(Dictionary{{"rootPatch", root}});
}

std::string outputsOf(Player& player)
{
    std::string all;
    for (const PublishedPort& port : player.graph->outputs()) {
        const PortValue value = player.value(port.key);
        const auto* number = value.as<double>();
        EXPECT_TRUE(!number || std::isfinite(*number)) << port.key;
        all += port.key + "=" + shown(value) + " ";
    }
    return all;
}

} // namespace

// Two ports of one key: the second can be neither stored nor connected. A patch that reads a setting that isn't there,
// divides by its zero defaults, or gives other values when the same moment is asked for again.
TEST(EveryPatch, HasNoTwoPortsOfOneKeyAndGivesFiniteNumbersTheSameAgainForTheSameTimes)
{
    for (const std::string& name : registry().names()) {
        SCOPED_TRACE(name);
        auto patch = registry().make(name);
        patch->timebase = Patch::Timebase::External;
        patch->configure({});
        patch->addSystemPorts();
        std::set<std::string> inputs, outputs;
        for (const auto& port : patch->inputs())
            EXPECT_TRUE(inputs.insert(port->key()).second) << port->key();
        for (const auto& port : patch->outputs())
            EXPECT_TRUE(outputs.insert(port->key()).second) << port->key();
        Player first(alone(name, {})), second(alone(name, {}));
        for (const double time : {0.0, 0.5, 7.25, 1.0, 1.0, 0.0}) {
            first.frame(time);
            second.frame(time);
            EXPECT_EQ(outputsOf(first), outputsOf(second)) << "at " << time;
        }
        EXPECT_EQ(first.graph->dangling(), 0);
    }
}

// Settings come from files: a text where a number stands, a number that isn't one, a list in place of a text.
TEST(EveryPatch, TakesSettingsOfWrongTypesForMissing)
{
    const Value wrong[] = {"text", -1, 1e300, std::nan(""), true, Array{1, "x"}, Dictionary{{"a", 1}}, Bytes{1, 2, 3}};
    for (const std::string& name : registry().names()) {
        SCOPED_TRACE(name);
        for (const Value& value : wrong) {
            Dictionary settings;
            for (const char* key :
                {"inputCount", "outputCount", "numberOfOperations", "operationCount", "numberOfInputs", "portClass",
                    "savedPorts", "format", "style", "expression", "script", "randomSeed", "variability", "imageData",
                    "keys", "slices", "stacks", "lightCount", "numberOfLights", "numberOfPoints", "sizeMode",
                    "manualLayout", "fontName", "fontSize", "horizontalAlignment", "startUpDelay", "controlPointTimes",
                    "controlPointValues", "controlPointStart", "timebase", "resetOutputs", "continuous", "hasBypass"})
                settings[key] = value;
            Player player(alone(name, settings));
            player.over({0, 1});
            outputsOf(player);
        }
    }
}

} // namespace vitrel::qc
