// Stand-ins for a third party's tools on structures and numbers.
#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "platform/quartzcomposer/patches/Expression.h"

#include <algorithm>
#include <cmath>

namespace vitrel::qc {

namespace {

constexpr std::size_t kMostMembers = 10'000; // of a list that grows by itself
constexpr std::size_t kMostPorts = 256;

// Counts those of its channel that have had their turn in this frame.
class OrderPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Order (Data Tools)",
            "Counts: each patch of a channel gets the number of those that had their turn in this frame before it.",
            {{"inputChannel", "The name of the channel"}, {"outputOrder", "The number, from 0 on"}}};
    }

private:
    Input<std::string> channel{*this, "inputChannel"};
    Output<std::uint32_t> order{*this, "outputOrder"};
    Kind kind() const override { return Kind::Timed; }
    void evaluate(Evaluation& e) override
    {
        if (e.turns.size() < kMostMembers || e.turns.count(channel()))
            order.set(e.turns[channel()]++);
    }
};

// Lines of "name = expression", each an output; those above may be used below.
class MultiExpressionPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Multi Expression (Data Tools)", "Several formulas, a line each; a line may use those above it.",
            {{"*", "A variable of the formulas, or the result of the line of this name"}},
            {{"expression", DescribedSetting::Text, "The lines: a name, =, a formula", {}, {},
                R"({"lines": ["x = order * 2", "y = x + order / 2"]})"}}};
    }

private:
    void configure(const Settings& settings) override
    {
        std::string text = settings.text("expression");
        std::replace(text.begin(), text.end(), '\r', '\n');
        std::replace(text.begin(), text.end(), ';', '\n');
        for (std::size_t at = 0; at < text.size() && lines_.size() < kMostPorts;) {
            const std::size_t end = std::min(text.find('\n', at), text.size());
            addLine(text.substr(at, end - at));
            at = end + 1;
        }
    }
    void addLine(const std::string& line)
    {
        const std::size_t sign = line.find('=');
        if (sign == line.npos || sign + 1 >= line.size() || line[sign + 1] == '=')
            return;
        const auto trim = [](std::string text) {
            text.erase(0, std::min(text.find_first_not_of(" \t"), text.size()));
            text.erase(text.find_last_not_of(" \t") + 1);
            return text;
        };
        Line made;
        made.name = trim(line.substr(0, sign));
        if (made.name.empty() || output(made.name))
            return;
        made.expression = Expression::parse(line.substr(sign + 1));
        for (const std::string& name : made.expression.variables()) {
            const auto above
                = std::find_if(lines_.begin(), lines_.end(), [&](const Line& other) { return other.name == name; });
            if (above != lines_.end()) {
                made.from.push_back({nullptr, static_cast<std::size_t>(above - lines_.begin())});
                continue;
            }
            InputPort* port = input(name);
            if (!port)
                port = &addInput(name, PortType::Number, 0.0);
            made.from.push_back({port, 0});
        }
        made.port = &addOutput(made.name, PortType::Number);
        lines_.push_back(std::move(made));
    }
    void evaluate(Evaluation&) override
    {
        std::vector<double> results, values;
        for (const Line& line : lines_) {
            values.clear();
            for (const auto& [port, above] : line.from)
                values.push_back(port ? *port->value().as<double>() : results[above]);
            const double number = line.expression.evaluate(values);
            results.push_back(std::isfinite(number) ? number : 0);
            line.port->set(results.back());
        }
    }
    struct Line {
        std::string name;
        Expression expression;
        std::vector<std::pair<InputPort*, std::size_t>> from; // an input, or a line above
        OutputPort* port = nullptr;
    };
    std::vector<Line> lines_;
};

// The structure with a value more, at its end or at its beginning, while it pushes.
class PushPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Structure Push (Data Tools)", "A structure with a value more, while it pushes.",
            {{"inputStructure", "What it is put into"}, {"inputValue", "What is put in"},
                {"inputPushing", "Whether it is put in"},
                {"inputDirection", "Where it is put", menu({"At the End", "At the Beginning"})},
                {"outputStructure", "The longer structure"}}};
    }

private:
    Input<StructureRef> structure{*this, "inputStructure"};
    Input<PortValue> value{*this, "inputValue"};
    Input<bool> pushing{*this, "inputPushing"};
    Input<std::uint32_t> direction{*this, "inputDirection"};
    Output<StructureRef> result{*this, "outputStructure"};

    Kind kind() const override { return Kind::Timed; }
    void evaluate(Evaluation& e) override
    {
        if (!pushing() || (structure() && structure()->members.size() >= kMostMembers)) {
            result.set(structure());
            return;
        }
        auto longer = structure() ? std::make_shared<Structure>(*structure()) : std::make_shared<Structure>();
        const std::string key = longer->keyed ? std::to_string(longer->members.size()) : std::string();
        longer->members.insert(direction() == 0 ? longer->members.end() : longer->members.begin(), {key, value()});
        result.set(longer);
        e.needFrame();
    }
};

class ToolSampleHoldPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Sample & Hold (Data Tools)",
            "Hands its value on while it samples, and keeps the last one while it doesn't.",
            {{"inputValue", "What it follows"}, {"inputSampling", "Whether it follows; if not, it holds"},
                {"outputValue", "The value that is followed or held"}}};
    }

private:
    Input<PortValue> value{*this, "inputValue"};
    Input<bool> sampling{*this, "inputSampling"};
    Output<PortValue> result{*this, "outputValue"};
    Kind kind() const override { return Kind::Timed; }
    void evaluate(Evaluation&) override
    {
        if (sampling())
            held_.at(scope) = value();
        result.set(held_.at(scope));
    }
    PerIteration<PortValue> held_;
};

// Members by the names of the outputs: keys, or positions.
class BreakOutPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Structure Break Out (Data Tools)", "Members of a structure, each at an output of its name.",
            {{"inputStructure", "What they are taken from"},
                {"*", "The member of this key, or at this place in a list"}},
            {{"outputPortNames", DescribedSetting::List, "The keys, or places from 0 on", {}, {}, R"(["0", "1"])"}}};
    }

private:
    Input<StructureRef> structure{*this, "inputStructure"};

    void configure(const Settings& settings) override
    {
        const Value* stored = settings.find("outputPortNames");
        const Array* names = stored ? stored->array() : nullptr;
        for (std::size_t k = 0; names && k < std::min(names->size(), kMostPorts); ++k)
            if (const auto* name = (*names)[k].as<std::string>(); name && !output(*name))
                ports_.push_back(&addOutput(*name, PortType::Virtual));
    }
    void evaluate(Evaluation&) override
    {
        for (OutputPort* port : ports_) {
            const PortValue* member = nullptr;
            if (structure())
                member = structure()->keyed ? structure()->atKey(port->key())
                                            : structure()->atIndex(positionIn(port->key()));
            port->set(member ? *member : PortValue());
        }
    }
    static std::size_t positionIn(const std::string& name)
    {
        const bool isNumber = !name.empty() && name.size() < 8 && name.find_first_not_of("0123456789") == name.npos;
        return isNumber ? static_cast<std::size_t>(std::stoul(name)) : ~std::size_t(0);
    }
    std::vector<OutputPort*> ports_;
};

// A list of its inputs.
class MakerPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Structure Maker (Data Tools)", "A list of its inputs.",
            {{"inputSkipEmptyInputs", "Whether inputs with nothing are left out"},
                {"Input *", "The member of this number, from 1 on"}, {"outputStructure", "The list"}},
            {{"StructureMakerInputCount", DescribedSetting::Number, "How many inputs; 2 without it",
                {"", 0, kMostPorts}}}};
    }

private:
    Input<bool> skips{*this, "inputSkipEmptyInputs"};
    Output<StructureRef> result{*this, "outputStructure"};

    void configure(const Settings& settings) override
    {
        const double count = std::clamp(settings.number("StructureMakerInputCount", 2), 0.0, double(kMostPorts));
        for (int k = 1; k <= count; ++k)
            ports_.push_back(&addInput("Input " + std::to_string(k), PortType::Virtual, {}));
    }
    void evaluate(Evaluation&) override
    {
        auto list = std::make_shared<Structure>();
        for (const InputPort* port : ports_)
            if (!skips() || !port->value().isNothing())
                list->members.push_back({{}, port->value()});
        result.set(list);
    }
    std::vector<InputPort*> ports_;
};

} // namespace

void registerDataToolsPatches(PatchRegistry& registry)
{
    registry.family("Third parties' patches, stood in for");
    registry.addStandIn<OrderPatch>("DTOrderPatch");
    registry.addStandIn<MultiExpressionPatch>("DTMultiExpressionPatch");
    registry.addStandIn<PushPatch>("DTStructurePushPatch");
    registry.addStandIn<ToolSampleHoldPatch>("DTSampleHoldPatch");
    registry.addStandIn<BreakOutPatch>("DTStructureBreakOutPatch");
    registry.addStandIn<MakerPatch>("StructureMaker");
}

} // namespace vitrel::qc
