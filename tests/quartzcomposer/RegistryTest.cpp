#include "quartzcomposer/Play.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>

namespace vitrel::qc {

namespace {

// A composition of one patch with every output published; `settings` as its state.
CompositionFile alone(const std::string& name, const Dictionary& settings)
{
    Dictionary state = settings, node{{"class", name.substr(0, name.find('/'))}, {"key", "p"}};
    if (name.find('/') != std::string::npos)
        node["identifier"] = name.substr(name.find('/') + 1);
    Array published;
    auto patch = registry().make(name);
    node["state"] = state;
    patch->configure(
        {node["state"].dictionary(), name.find('/') == std::string::npos ? "" : name.substr(name.find('/') + 1), {}});
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

class EveryPatch : public testing::TestWithParam<std::string>
{
};

} // namespace

// Two ports of one key: the second can be neither stored nor connected.
TEST_P(EveryPatch, HasNoTwoPortsOfOneKey)
{
    auto patch = registry().make(GetParam());
    patch->timebase = Patch::Timebase::External;
    patch->configure({});
    patch->addSystemPorts();
    std::set<std::string> inputs, outputs;
    for (const auto& port : patch->inputs())
        EXPECT_TRUE(inputs.insert(port->key()).second) << port->key();
    for (const auto& port : patch->outputs())
        EXPECT_TRUE(outputs.insert(port->key()).second) << port->key();
}

// A patch that reads a setting that isn't there, divides by its zero defaults, or gives other values when the same
// moment is asked for again.
TEST_P(EveryPatch, GivesFiniteNumbersAndTheSameAgainForTheSameTimes)
{
    Player first(alone(GetParam(), {})), second(alone(GetParam(), {}));
    for (const double time : {0.0, 0.5, 7.25, 1.0, 1.0, 0.0}) {
        first.frame(time);
        second.frame(time);
        EXPECT_EQ(outputsOf(first), outputsOf(second)) << "at " << time;
    }
    EXPECT_EQ(first.graph->dangling(), 0);
}

// Settings come from files: a text where a number stands, a number that isn't one, a list in place of a text.
TEST_P(EveryPatch, TakesSettingsOfWrongTypesForMissing)
{
    const Value wrong[] = {"text", -1, 1e300, std::nan(""), true, Array{1, "x"}, Dictionary{{"a", 1}}, Bytes{1, 2, 3}};
    for (const Value& value : wrong) {
        Dictionary settings;
        for (const char* key : {"inputCount", "outputCount", "numberOfOperations", "operationCount", "numberOfInputs",
                 "portClass", "savedPorts", "format", "style", "expression", "script", "randomSeed", "variability",
                 "imageData", "keys", "slices", "stacks", "lightCount", "numberOfLights", "numberOfPoints", "sizeMode",
                 "manualLayout", "fontName", "fontSize", "horizontalAlignment", "startUpDelay", "controlPointTimes",
                 "controlPointValues", "controlPointStart", "timebase", "resetOutputs", "continuous", "hasBypass"})
            settings[key] = value;
        Player player(alone(GetParam(), settings));
        player.frame(0);
        player.frame(1);
        outputsOf(player);
    }
}

INSTANTIATE_TEST_SUITE_P(Registry, EveryPatch, testing::ValuesIn(registry().names()), [](const auto& info) {
    std::string name = info.param;
    for (char& c : name)
        c = c == '/' ? '_' : c;
    return name;
});

} // namespace vitrel::qc
