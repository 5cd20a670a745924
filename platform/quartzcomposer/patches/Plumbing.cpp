// Patches that hand values on: macros, splitters, switches, feedback.
#include "platform/quartzcomposer/graph/Macro.h"
#include "platform/quartzcomposer/graph/PatchRegistry.h"

#include <algorithm>

namespace vitrel::qc {

namespace {

// The most ports that a setting may ask for; 22 is the most seen.
constexpr double kMaxPorts = 1024;

std::size_t portCount(const Settings& settings, const char* key, double usual)
{
    return static_cast<std::size_t>(std::clamp(settings.number(key, usual), 0.0, kMaxPorts));
}

// What many of these patches are told: the type of their ports.
DescribedSetting portClass()
{
    return {"portClass", DescribedSetting::Text, "The type of its ports; any without it", {},
        {"QCVirtualPort", "QCBooleanPort", "QCIndexPort", "QCNumberPort", "QCStringPort", "QCColorPort",
            "QCGLImagePort", "QCImagePort", "QCStructurePort", "QCMeshPort", "QCInteractionPort"}};
}

// Hands its input on, converted to the type of the setting.
class SplitterPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Input Splitter",
            "Hands its input on, converted to a type: one place to publish, or to connect many from.",
            {{"input", "What it hands on"}, {"output", "The same, as the type of the setting"}}, {portClass()}};
    }

private:
    void configure(const Settings& settings) override
    {
        const PortType type = portTypeNamed(settings.text("portClass"));
        input_ = &addInput("input", type, zeroOf(type));
        output_ = &addOutput("output", type);
    }
    void evaluate(Evaluation&) override { output_->set(input_->value()); }

    InputPort* input_ = nullptr;
    OutputPort* output_ = nullptr;
};

// Asks only the chosen source.
class MultiplexerPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Multiplexer", "Chooses one of its sources. Only the chosen one is computed.",
            {{"inputIndex", "Which source, from 0 on; beyond the last it stays with the last"},
                {"source_*", "What it may choose, numbered from 0 on"}, {"output", "The chosen source"}},
            {portClass(),
                {"inputCount", DescribedSetting::Number, "How many sources; 2 without it", {"", 0, kMaxPorts}}}};
    }

private:
    Input<std::uint32_t> index{*this, "inputIndex"};

    void configure(const Settings& settings) override
    {
        const PortType type = portTypeNamed(settings.text("portClass"));
        for (std::size_t k = 0; k < portCount(settings, "inputCount", 2); ++k) {
            sources_.push_back(&addInput("source_" + std::to_string(k), type, zeroOf(type)));
            sources_.back()->lazy = true;
        }
        output_ = &addOutput("output", type);
    }
    Kind kind() const override { return Kind::Timed; } // looks at lazy inputs itself
    void evaluate(Evaluation& e) override
    {
        if (sources_.empty())
            return;
        InputPort& chosen = *sources_[std::min<std::size_t>(index(), sources_.size() - 1)];
        chosen.pull(e);
        output_->set(chosen.value());
    }

    std::vector<InputPort*> sources_;
    OutputPort* output_ = nullptr;
};

class DemultiplexerPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Demultiplexer", "Hands its input on to one of several outputs.",
            {{"inputIndex", "Which output, from 0 on; beyond the last there is none"}, {"input", "What it hands on"},
                {"inputReset", "What the others get, if they are reset"},
                {"destination_*", "One of the outputs, numbered from 0 on"}},
            {portClass(),
                {"outputCount", DescribedSetting::Number, "How many outputs; 2 without it", {"", 0, kMaxPorts}},
                {"resetOutputs", DescribedSetting::Flag,
                    "Whether the others get the reset value; without it they keep what they had"}}};
    }

private:
    Input<std::uint32_t> index{*this, "inputIndex"};

    void configure(const Settings& settings) override
    {
        const PortType type = portTypeNamed(settings.text("portClass"));
        value_ = &addInput("input", type, zeroOf(type));
        reset_ = &addInput("inputReset", type, zeroOf(type));
        resets_ = settings.flag("resetOutputs", false);
        for (std::size_t k = 0; k < portCount(settings, "outputCount", 2); ++k)
            destinations_.push_back(&addOutput("destination_" + std::to_string(k), type));
    }
    void evaluate(Evaluation&) override
    {
        for (std::size_t k = 0; k < destinations_.size(); ++k) {
            if (k == index())
                destinations_[k]->set(value_->value());
            else if (resets_)
                destinations_[k]->set(reset_->value());
        }
    }

    InputPort *value_ = nullptr, *reset_ = nullptr;
    bool resets_ = false;
    std::vector<OutputPort*> destinations_;
};

class SampleHoldPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Sample & Hold", "Hands its value on while it samples, and keeps the last one while it doesn't.",
            {{"inputSampleValue", "What it follows"}, {"inputSampling", "Whether it follows; if not, it holds"},
                {"inputResetSignal", "When it rises, what is held is forgotten"},
                {"outputValue", "The value that is followed or held; nothing before the first"}}};
    }

private:
    Input<PortValue> value{*this, "inputSampleValue"};
    Input<bool> sampling{*this, "inputSampling", true};
    Input<bool> reset{*this, "inputResetSignal"};
    Output<PortValue> result{*this, "outputValue"};

    Kind kind() const override { return Kind::Timed; }
    void evaluate(Evaluation&) override
    {
        Memory& memory = memory_.at(scope);
        if (reset() && !memory.reset)
            memory.held = {};
        memory.reset = reset();
        if (sampling())
            memory.held = value();
        result.set(memory.held);
    }

    struct Memory {
        PortValue held;
        bool reset = false;
    };
    PerIteration<Memory> memory_;
};

// True in the frame in which its input changed.
class WatcherPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Watcher", "Tells when a value changes.",
            {{"input", "What is watched"}, {"outputSignal", "True for the one frame in which the input has changed"}},
            {portClass()}};
    }

private:
    Output<bool> signal{*this, "outputSignal"};

    void configure(const Settings& settings) override
    {
        const PortType type = portTypeNamed(settings.text("portClass"));
        input_ = &addInput("input", type, zeroOf(type));
    }
    Kind kind() const override { return Kind::Timed; }
    void evaluate(Evaluation& e) override
    {
        Memory& memory = memory_.at(scope);
        const bool changed = memory.known && !sameValue(memory.last, input_->value());
        memory = {true, input_->value()};
        signal.set(changed);
        if (changed)
            e.needFrame();
    }

    struct Memory {
        bool known = false;
        PortValue last;
    };
    InputPort* input_ = nullptr;
    PerIteration<Memory> memory_;
};

// Gives what the parent's published outputs had in the last frame.
class RecursorPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Feedback",
            "Gives what the macro around it published in the frame before. The way to let a value follow from its "
            "last.",
            {{"inputInitialize", "While it is true the outputs show the initial values"},
                {"Initial_*", "What the output of this key shows at first"},
                {"*", "What the macro's published output of this key had in the last frame"}},
            {{"savedPorts", DescribedSetting::List,
                "Pairs of a port class and the key of a published output of the macro around it, one for each output",
                {}, {}, R"([["QCNumberPort", "sum"], ["QCGLImagePort", "picture"]])"}}};
    }

private:
    Input<bool> initialize{*this, "inputInitialize"};

    void configure(const Settings& settings) override
    {
        const Value* saved = settings.find("savedPorts");
        const Array* pairs = saved ? saved->array() : nullptr;
        for (std::size_t k = 0; pairs && k < std::min<std::size_t>(pairs->size(), 256); ++k) {
            const Array* pair = (*pairs)[k].array();
            const auto* portClass = pair && pair->size() == 2 ? (*pair)[0].as<std::string>() : nullptr;
            const auto* key = portClass ? (*pair)[1].as<std::string>() : nullptr;
            if (!key)
                continue;
            const PortType type = portTypeNamed(*portClass);
            ports_.push_back({*key, &addInput("Initial_" + *key, type, zeroOf(type)), &addOutput(*key, type), {}});
        }
        if (parent)
            parent->onPublished([this](const std::string& key, const PortValue& value) {
                for (Port& port : ports_) {
                    if (port.key == key)
                        port.last.at(scope) = {true, value};
                }
            });
    }
    Kind kind() const override { return Kind::Timed; }
    void evaluate(Evaluation& e) override
    {
        if (parent)
            e.remembering.push_back(parent);
        for (Port& port : ports_) {
            Memory& last = port.last.at(scope);
            // As it was drawn: kept as what it is drawn from, it would grow by a level with each frame.
            if (auto* image = std::get_if<ImageRef>(static_cast<PortValue::Base*>(&last.value)); image && *image)
                *image = e.stage.realized(*image);
            const std::uint64_t before = port.output->version();
            port.output->set(initialize() || !last.known || time() <= 0 ? port.initial->value() : last.value);
            if (port.output->version() != before)
                e.needFrame();
        }
    }

    struct Memory {
        bool known = false;
        PortValue value;
    };
    struct Port {
        std::string key;
        InputPort* initial;
        OutputPort* output;
        PerIteration<Memory> last;
    };
    std::vector<Port> ports_;
};

// Takes part in the layers so that what it watches is computed; says nothing in a saver.
class LogPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Log", "A layer that draws nothing and watches a value, so that it is computed.",
            {{"inputValue", "What is watched"}}};
    }

private:
    Input<PortValue> value{*this, "inputValue"};
    Kind kind() const override { return Kind::Consumer; }
};

} // namespace

void registerPlumbingPatches(PatchRegistry& registry)
{
    registry.family("Macros and what hands values on");
    registry.add<Macro>("QCPatch");
    registry.add<SplitterPatch>("QCSplitter");
    registry.add<MultiplexerPatch>("QCMultiplexer");
    registry.add<DemultiplexerPatch>("QCDemultiplexer");
    registry.add<SampleHoldPatch>("QCSampleHold");
    registry.add<WatcherPatch>("QCWatcher");
    registry.add<RecursorPatch>("QCRecursor");
    registry.add<LogPatch>("QCLog");
}

} // namespace vitrel::qc
