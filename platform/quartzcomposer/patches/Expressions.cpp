// The mathematical expression: a text that is read once and computed when a variable changes.
#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "platform/quartzcomposer/patches/Expression.h"

#include <algorithm>

namespace vitrel::qc {

namespace {

class ExpressionPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Mathematical Expression",
            "A formula; each name in it is an input. Angles are degrees, and what is no number is 0.",
            {{"*", "The variable of this name"}, {"outputResult", "What the formula comes to"}},
            {{"expression", DescribedSetting::Text,
                "The formula: + - * / %, comparisons, && || !, a ? b : c, and functions such as sin, min, floor, sqrt",
                {}, {}, R"("a * sin(t) + b")"}}};
    }

private:
    Output<double> result{*this, "outputResult"};

    void configure(const Settings& settings) override
    {
        expression_ = Expression::parse(settings.text("expression"));
        for (const std::string& name : expression_.variables())
            variables_.push_back(&addInput(name, PortType::Number, 0.0));
        values_.resize(variables_.size());
    }
    std::vector<SourceFault> sourceFaults(const Settings& settings) const override
    {
        const std::string text = settings.text("expression");
        if (!expression_.fault())
            return {};
        const std::string before = text.substr(0, *expression_.fault());
        const auto line = static_cast<std::uint32_t>(1 + std::count(before.begin(), before.end(), '\n'));
        const auto begin = before.rfind('\n') == before.npos ? 0 : before.rfind('\n') + 1;
        const auto column = static_cast<std::uint32_t>(before.size() - begin + 1);
        return {{"expression", line, column,
            before.size() < text.size() ? "the expression can't be read on from here"
                                        : "the expression isn't complete"}};
    }
    void evaluate(Evaluation&) override
    {
        for (std::size_t k = 0; k < variables_.size(); ++k)
            values_[k] = *variables_[k]->value().as<double>();
        const double number = expression_.evaluate(values_);
        result.set(std::isfinite(number) ? number : 0.0);
    }

    Expression expression_;
    std::vector<InputPort*> variables_;
    std::vector<double> values_;
};

} // namespace

void registerExpressionsPatches(PatchRegistry& registry)
{
    registry.family("Numbers and colours");
    registry.add<ExpressionPatch>("QCExpression");
}

} // namespace vitrel::qc
