// Arithmetic, logic and comparison.
#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "platform/quartzcomposer/patches/Curves.h"

namespace vitrel::qc {

namespace {

// Keeps what follows from a division by nothing out of the graph.
double finite(double number)
{
    return std::isfinite(number) ? number : 0;
}

class MathPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Math", "Applies its operations in turn, from left to right: none goes before another.",
            {{"inputValue", "What it starts from"},
                {"operation_*", "What is done with the operand of the same number",
                    menu({"Add", "Subtract", "Multiply", "Divide", "Modulo", "Power", "Minimum", "Maximum"})},
                {"operand_*", "The second number of the operation of the same number"},
                {"outputValue", "The result; a division by 0 gives 0"}},
            {{"numberOfOperations|operationCount", DescribedSetting::Number, "How many operations; 1 without it",
                {"", 0, 1024}}}};
    }

private:
    Input<double> value{*this, "inputValue"};
    Output<double> result{*this, "outputValue"};

    void configure(const Settings& settings) override
    {
        const double asked = settings.number("numberOfOperations", settings.number("operationCount", 1));
        for (int k = 1; k <= std::clamp(asked, 0.0, 1024.0); ++k) {
            operations_.push_back(&addInput("operation_" + std::to_string(k), PortType::Index, std::uint32_t(0)));
            operands_.push_back(&addInput("operand_" + std::to_string(k), PortType::Number, 0.0));
        }
    }
    void evaluate(Evaluation&) override
    {
        double number = value();
        for (std::size_t k = 0; k < operands_.size(); ++k)
            number = finite(
                applied(*operations_[k]->value().as<std::uint32_t>(), number, *operands_[k]->value().as<double>()));
        result.set(number);
    }
    static double applied(std::uint32_t operation, double a, double b)
    {
        switch (operation) {
        case 0:
            return a + b;
        case 1:
            return a - b;
        case 2:
            return a * b;
        case 3:
            return b == 0 ? 0 : a / b;
        case 4:
            return b == 0 ? 0 : std::fmod(a, b);
        case 5:
            return std::pow(a, b);
        case 6:
            return std::min(a, b);
        case 7:
            return std::max(a, b);
        default:
            return a;
        }
    }

    std::vector<InputPort*> operations_, operands_;
};

class LogicPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Logic", "Combines two truths.",
            {{"inputValue1", "The first"}, {"inputValue2", "The second; Not doesn't look at it"},
                {"inputOperation", "How they are combined", menu({"And", "Or", "Xor", "Not", "Nand", "Nor", "Nxor"})},
                {"outputResult", "Whether it holds"}}};
    }

private:
    Input<bool> first{*this, "inputValue1"}, second{*this, "inputValue2"};
    Input<std::uint32_t> operation{*this, "inputOperation"};
    Output<bool> result{*this, "outputResult"};

    void evaluate(Evaluation&) override
    {
        const bool a = first(), b = second();
        const bool results[] = {a && b, a || b, a != b, !a, !(a && b), !(a || b), a == b};
        result.set(results[std::min<std::uint32_t>(operation(), 6)]);
    }
};

class ConditionalPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Conditional", "Compares two numbers.",
            {{"inputValue1", "The first"}, {"inputValue2", "The second"},
                {"inputTest", "What the first must be, compared with the second",
                    menu({"Equal", "Not Equal", "Greater", "Lower", "Greater or Equal", "Lower or Equal"})},
                {"inputTolerance", "How far apart they may be and still be equal", kNotNegative},
                {"outputResult", "Whether it is so"}}};
    }

private:
    Input<double> first{*this, "inputValue1"}, second{*this, "inputValue2"};
    Input<std::uint32_t> test{*this, "inputTest"};
    Input<double> tolerance{*this, "inputTolerance"};
    Output<bool> result{*this, "outputResult"};

    void evaluate(Evaluation&) override
    {
        const double a = first(), b = second(), allowed = std::max(0.0, tolerance());
        const bool results[] = {std::fabs(a - b) <= allowed, std::fabs(a - b) > allowed, a > b - allowed,
            a < b + allowed, a >= b - allowed, a <= b + allowed};
        result.set(results[std::min<std::uint32_t>(test(), 5)]);
    }
};

class RoundPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Round", "The whole numbers next to a number.",
            {{"inputValue", "The number"}, {"outputRound", "The nearest; halves go away from 0"},
                {"outputFloor", "The one below"}, {"outputCeil", "The one above"}}};
    }

private:
    Input<double> value{*this, "inputValue"};
    Output<double> nearest{*this, "outputRound"}, lower{*this, "outputFloor"}, upper{*this, "outputCeil"};

    void evaluate(Evaluation&) override
    {
        nearest.set(std::round(value()));
        lower.set(std::floor(value()));
        upper.set(std::ceil(value()));
    }
};

class RangePatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Range", "Keeps a number between two ends.",
            {{"inputValue", "The number"}, {"inputMin", "The lower end"}, {"inputMax", "The upper end"},
                {"outputClip", "The number, cut off at the ends"},
                {"outputRoll", "The number, rolled around from one end to the other"}}};
    }

private:
    Input<double> value{*this, "inputValue"}, low{*this, "inputMin"}, high{*this, "inputMax", 1};
    Output<double> clip{*this, "outputClip"}, roll{*this, "outputRoll"};

    void evaluate(Evaluation&) override
    {
        double least = low(), most = high();
        // Files store a NaN for a range that is open above.
        if (std::isnan(most)) {
            clip.set(std::max(value(), least));
            roll.set(std::max(value(), least));
            return;
        }
        if (most < least)
            std::swap(least, most);
        clip.set(finite(std::clamp(value(), least, most)));
        roll.set(least + wrapped(value() - least, most - least));
    }
};

// The sum of value times seconds, by rectangles, or the change per second.
template <bool Integrates> class DifferentialPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        if (!Integrates)
            return {"Derivator", "How fast a number changes.",
                {{"inputValue", "The number"}, {"inputResetSignal", "Without effect here"},
                    {"outputValue", "The change in a second"}}};
        return {"Integrator", "The sum of a number over time: 3 for three seconds make 9.",
            {{"inputValue", "What is added in a second"}, {"inputResetSignal", "While it is true the sum is 0"},
                {"outputValue", "The sum so far"}}};
    }

private:
    Input<double> value{*this, "inputValue"};
    Input<bool> reset{*this, "inputResetSignal"};
    Output<double> result{*this, "outputValue"};

    Kind kind() const override { return Kind::Timed; }
    void evaluate(Evaluation& e) override
    {
        Memory& memory = memory_.at(scope);
        const double passed = memory.known ? std::max(0.0, time() - memory.time) : 0;
        if (Integrates) {
            memory.sum = reset() ? 0 : finite(memory.sum + value() * passed);
            result.set(memory.sum);
            if (value() != 0 && !reset())
                e.needFrame();
        } else if (passed > 0 || !memory.known) {
            const double change = passed > 0 ? finite((value() - memory.last) / passed) : 0;
            result.set(change);
            if (change != 0)
                e.needFrame();
        }
        memory.last = value();
        memory.time = time();
        memory.known = true;
    }

    struct Memory {
        bool known = false;
        double time = 0, last = 0, sum = 0;
    };
    PerIteration<Memory> memory_;
};

} // namespace

void registerNumbersPatches(PatchRegistry& registry)
{
    registry.family("Numbers and colours");
    registry.add<MathPatch>("QCMath");
    registry.add<LogicPatch>("QCLogic");
    registry.add<ConditionalPatch>("QCConditional");
    registry.add<RoundPatch>("QCRoundValue");
    registry.add<RangePatch>("QCRangeValue");
    registry.add<DifferentialPatch<true>>("QCDifferentialValue");
    registry.add<DifferentialPatch<false>>("QCDifferentialValue/derivator");
}

} // namespace vitrel::qc
