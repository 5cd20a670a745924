// Values that move by their own speed: a force pushes, the physics carry on. They are wired in a circle: what the
// physics give comes back, a frame later, as what the force starts from.
#include "platform/quartzcomposer/graph/PatchRegistry.h"

#include <algorithm>
#include <cmath>

namespace vitrel::qc {

namespace {

// A frame that comes late must not throw things off the screen.
constexpr double kLongestStep = 1.0 / 30;
// How a published spring of stiffness 30 and friction 8 comes to stand in a quarter of a second.
constexpr double kPush = 5.5, kDrag = 1.5;
constexpr double kSpeedSpan = 0.1; // seconds over which the speed of a sampled value is taken
constexpr double kRest = 1e-5; // of a value's size a second: nobody sees it move
constexpr double kMost = 1e9; // of speeds and values; far from where sums lose their digits

double kept(double number)
{
    return std::isfinite(number) ? std::clamp(number, -kMost, kMost) : 0;
}

double numberOf(const InputPort* port)
{
    return kept(*port->value().as<double>());
}

// What both do: so many values, each with its memory, and the seconds that have passed.
class MovingPatch : public Patch
{
public:
    Kind kind() const override { return Kind::Timed; }
    static DescribedSetting countSetting()
    {
        return {"numberOfInputs", DescribedSetting::Number, "How many values; 1 without it", {"", 0, 1024}};
    }

protected:
    Input<bool> sampling{*this, "inputSampling"};

    static int count(const Settings& settings)
    {
        return static_cast<int>(std::clamp(settings.number("numberOfInputs", 1), 0.0, 1024.0));
    }
    double step(bool known, double last) const
    {
        return known && time() > last ? std::min(time() - last, kLongestStep) : 0;
    }
};

class PhysicsPatch final : public MovingPatch
{
public:
    static PatchDescription description()
    {
        return {"Physics",
            "Lets values go on by themselves: while it samples it follows its inputs and learns their speed, then it "
            "carries on from there.",
            {{"inputSampling", "Whether it follows; if not, the values move on by their own speed"},
                {"inputFriction", "How much the speed is slowed", {"", 0, 1000}},
                {"input_*", "A value, numbered from 1 on"}, {"output_*", "Where the value of this number is now"}},
            {countSetting()}};
    }

private:
    Input<double> friction{*this, "inputFriction"};

    void configure(const Settings& settings) override
    {
        for (int k = 1; k <= count(settings); ++k) {
            values_.push_back(&addInput("input_" + std::to_string(k), PortType::Number, 0.0));
            results_.push_back(&addOutput("output_" + std::to_string(k), PortType::Number));
        }
    }
    void evaluate(Evaluation& e) override
    {
        Memory& memory = memory_.at(scope);
        const double passed = step(memory.known, memory.time);
        memory.bodies.resize(values_.size());
        for (std::size_t k = 0; k < values_.size(); ++k) {
            Body& body = memory.bodies[k];
            const double value = numberOf(values_[k]);
            if (!memory.known)
                body = {value, value, 0, std::fabs(value)};
            else if (sampling())
                sample(body, value, passed);
            else if (passed > 0)
                carryOn(body, value, passed);
            results_[k]->set(body.at);
            if (!memory.known || body.speed != 0)
                e.needFrame();
        }
        memory.known = true;
        memory.time = time();
    }

    struct Body {
        double at = 0, input = 0, speed = 0, size = 0;
    };
    static void sample(Body& body, double value, double passed)
    {
        if (passed > 0)
            body.speed = kept(
                body.speed + ((value - body.input) / passed - body.speed) * (1 - std::exp(-passed / kSpeedSpan)));
        body.at = body.input = value;
        rest(body);
    }
    // The drag acts in halves about the push: so the motion is the same at any rate of frames.
    void carryOn(Body& body, double value, double passed) const
    {
        const double drag = std::exp(-kDrag * std::clamp(friction(), 0.0, 1000.0) * passed);
        body.speed = kept((body.speed * drag + (value - body.at) / passed) * drag);
        body.size = std::max(body.size, std::fabs(value));
        rest(body);
        body.at = kept(body.at + body.speed * passed);
        body.input = value;
    }
    static void rest(Body& body)
    {
        if (std::fabs(body.speed) < kRest * body.size) {
            body.speed = 0;
            body.size = std::fabs(body.at);
        }
    }

    struct Memory {
        bool known = false;
        double time = 0;
        std::vector<Body> bodies;
    };
    PerIteration<Memory> memory_;
    std::vector<InputPort*> values_;
    std::vector<OutputPort*> results_;
};

class ForcePatch final : public MovingPatch
{
public:
    static PatchDescription description()
    {
        return {"Force", "A force upon values, to be carried on by Physics: moves them by what it does in this frame.",
            {{"inputSampling", "While it is true there is no force"}, {"input_*", "A value, numbered from 0 on"},
                {"effect_*", "The force upon a value, numbered from 1 on: 5.5 times it, in the square of the seconds"},
                {"output_*", "The value, moved; numbered from 1 on"}},
            {countSetting()}};
    }

private:
    void configure(const Settings& settings) override
    {
        for (int k = 1; k <= count(settings); ++k) {
            values_.push_back(&addInput("input_" + std::to_string(k - 1), PortType::Number, 0.0));
            effects_.push_back(&addInput("effect_" + std::to_string(k), PortType::Number, 0.0));
            results_.push_back(&addOutput("output_" + std::to_string(k), PortType::Number));
        }
    }
    void evaluate(Evaluation&) override
    {
        Memory& memory = memory_.at(scope);
        const double passed = sampling() ? 0 : step(memory.known, memory.time);
        for (std::size_t k = 0; k < values_.size(); ++k)
            results_[k]->set(kept(numberOf(values_[k]) + kPush * numberOf(effects_[k]) * passed * passed));
        memory = {true, time()};
    }

    struct Memory {
        bool known = false;
        double time = 0;
    };
    PerIteration<Memory> memory_;
    std::vector<InputPort*> values_, effects_;
    std::vector<OutputPort*> results_;
};

} // namespace

void registerPhysicsPatches(PatchRegistry& registry)
{
    registry.family("Numbers and colours");
    registry.add<PhysicsPatch>("QCPhysics");
    registry.add<ForcePatch>("QCPhysicsEffect");
}

} // namespace vitrel::qc
