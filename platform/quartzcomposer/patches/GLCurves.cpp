// Stand-ins for a third party's curves: one by formulas, one through points.
#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "platform/quartzcomposer/patches/Expression.h"
#include "platform/quartzcomposer/patches/GLTools.h"
#include "platform/quartzcomposer/patches/Points.h"

namespace vitrel::qc {

namespace {

constexpr std::uint32_t kMostSteps = 10'000;

// Formulas of t, which runs from 0 to 1 along the curve, of the time, and of what a structure adds.
class LineExpressionPatch final : public ConsumerPatch
{
public:
    static PatchDescription description()
    {
        return PatchDescription{"Line Expression (GL Tools)",
            "A curve by formulas of t, which runs from 0 to 1 along it, and of time.",
            {{"inputXExpression|inputYExpression|inputZExpression", "The formula of where it is, along this axis",
                 kUnits},
                {"inputRExpression|inputGExpression|inputBExpression|inputAExpression",
                    "The formula of this part of its colour", kShare},
                {"inputSteps", "Of how many lines it is made", {"", 1, kMostSteps}},
                {"inputWidth", "How wide it is", {"pixels", 1, 256}},
                {"inputAdditionalVariables", "Numbers for other names in the formulas, by these names"}}}
            .with(dashPorts())
            .with(ToolPlace::ports())
            .with(ToolModes::ports());
    }

private:
    Input<std::string> formulas[7]{{*this, "inputXExpression", std::string("t-0.5")},
        {*this, "inputYExpression", std::string("0")}, {*this, "inputZExpression", std::string("0")},
        {*this, "inputRExpression", std::string("1")}, {*this, "inputGExpression", std::string("1")},
        {*this, "inputBExpression", std::string("1")}, {*this, "inputAExpression", std::string("1")}};
    Input<std::uint32_t> steps{*this, "inputSteps", 100}, pattern{*this, "inputPattern", 65535},
        repeat{*this, "inputRepeatCount", 1};
    Input<double> width{*this, "inputWidth", 1};
    Input<StructureRef> more{*this, "inputAdditionalVariables"};
    ToolPlace place{*this};
    ToolModes modes{*this, 3, 1};

    void draw(Evaluation& e) override
    {
        for (std::size_t f = 0; f < 7; ++f)
            formulas_[f].take(formulas[f](), more().get(), time());
        e.needFrame(); // the formulas see the time
        const std::uint32_t count = std::min(steps(), kMostSteps);
        std::vector<SolidVertex> corners;
        SolidVertex last;
        for (std::uint32_t k = 0; k <= count && count > 0 && !e.exhausted(); ++k) {
            double v[7];
            for (std::size_t f = 0; f < 7; ++f)
                v[f] = formulas_[f].at(double(k) / count);
            const auto part = [](double c) { return std::clamp(c, 0.0, 1.0); };
            const SolidVertex corner{
                {v[0], v[1], v[2]}, {0, 0, 1}, 0, 0, {part(v[3]), part(v[4]), part(v[5]), part(v[6])}};
            if (k > 0)
                corners.insert(corners.end(), {last, corner});
            last = corner;
        }
        Paint paint = modes.paint();
        paint.lineWidth = pixelSize(width());
        e.stage.draw(Primitive::Lines, corners, place.matrix(), paint);
    }

    struct Formula {
        void take(const std::string& now, const Structure* more, double time)
        {
            if (text != now || !isRead) {
                text = now;
                isRead = true;
                expression = Expression::parse(text);
            }
            values.clear();
            along = ~std::size_t(0);
            for (const std::string& name : expression.variables()) {
                if (name == "t")
                    along = values.size();
                const PortValue* given = more ? more->atKey(name) : nullptr;
                values.push_back(name == "time" ? time : given ? *converted(*given, PortType::Number).as<double>() : 0);
            }
        }
        double at(double t)
        {
            if (along < values.size())
                values[along] = t;
            const double value = expression.evaluate(values);
            return std::isfinite(value) ? value : 0;
        }
        std::string text;
        bool isRead = false;
        Expression expression;
        std::vector<double> values;
        std::size_t along = 0;
    };
    Formula formulas_[7];
};

// Through its control points, the straighter the greater the tension.
class SplinePatch final : public ConsumerPatch
{
public:
    static PatchDescription description()
    {
        return PatchDescription{"Spline (GL Tools)", "A curve through points.",
            {{"X* Position", "Where the point of this number is, to the right", kUnits},
                {"Y* Position", "Where the point of this number is, upwards", kUnits},
                {"Z* Position", "Where the point of this number is, towards the viewer", kUnits},
                {"inputShowPoints", "Whether the points are drawn"},
                {"inputShowSubdivisionPoints", "Whether the steps between them are drawn"},
                {"inputUsePointColor", "Whether both are drawn in the points' colour"},
                {"inputPointColor", "The points' colour"},
                {"inputSubdivisions", "Of how many lines it is made from point to point", {"", 1, 500}},
                {"inputStipple|inputStippleScale", "Without effect here: lines have no gaps"},
                {"inputWidth", "How wide it is", {"pixels", 1, 256}},
                {"inputPointSize", "How large points are", {"pixels", 1, 256}},
                {"inputTension", "How straight it is: straight between the points at 1"}},
            {{"controlPoints", DescribedSetting::Number, "How many points", {"", 0, kMostPoints}},
                {"x*|y*|z*", DescribedSetting::Number,
                    "Where the point of this number is, from 0 on, along this axis, unless its port says it", kUnits},
                {"r*|g*|b*|a*", DescribedSetting::Number,
                    "This part of the colour of the point of this number, from 0 on", kShare}}}
            .with(ToolModes::ports());
    }

private:
    Input<bool> showsPoints{*this, "inputShowPoints"}, showsSteps{*this, "inputShowSubdivisionPoints"},
        usesPointColor{*this, "inputUsePointColor"};
    Input<std::uint32_t> subdivisions{*this, "inputSubdivisions", 20}, stipple{*this, "inputStipple", 65535},
        stippleScale{*this, "inputStippleScale", 1};
    Input<double> width{*this, "inputWidth", 1}, pointSize{*this, "inputPointSize", 8}, tension{*this, "inputTension"};
    Input<NSColor> pointColor{*this, "inputPointColor", {1, 1, 1, 1}};
    ToolModes modes{*this, 3, 1};

    static constexpr double kMostPoints = 64;

    void configure(const Settings& settings) override
    {
        const int count = static_cast<int>(std::clamp(settings.number("controlPoints", 0), 0.0, kMostPoints));
        for (int k = 0; k < count; ++k) {
            const std::string n = std::to_string(k), port = std::to_string(k + 1) + " Position";
            const auto setting = [&](const char* name, double usual) { return settings.number(name + n, usual); };
            ports_.push_back({&addInput("X" + port, PortType::Number, setting("x", 0)),
                &addInput("Y" + port, PortType::Number, setting("y", 0)),
                &addInput("Z" + port, PortType::Number, setting("z", 0))});
            colors_.push_back({setting("r", 1), setting("g", 1), setting("b", 1), setting("a", 1)});
        }
    }
    void draw(Evaluation& e) override
    {
        std::vector<SolidVertex> points, curve;
        for (std::size_t k = 0; k < ports_.size(); ++k) {
            const auto at = [&](std::size_t axis) { return *ports_[k][axis]->value().as<double>(); };
            points.push_back({{at(0), at(1), at(2)}, {0, 0, 1}, 0, 0, colors_[k]});
        }
        const std::uint32_t steps = std::clamp<std::uint32_t>(subdivisions(), 1, 500);
        for (std::size_t k = 0; k + 1 < points.size(); ++k)
            for (std::uint32_t s = 0; s < steps; ++s)
                curve.push_back(between(points, k, double(s) / steps));
        if (!points.empty())
            curve.push_back(points.back());
        std::vector<SolidVertex> lines;
        for (std::size_t k = 0; k + 1 < curve.size(); ++k)
            lines.insert(lines.end(), {curve[k], curve[k + 1]});
        Paint paint = modes.paint();
        paint.lineWidth = pixelSize(width());
        e.stage.draw(Primitive::Lines, lines, {}, paint);
        paint.lineWidth = pixelSize(pointSize());
        for (std::vector<SolidVertex>* shown : {showsSteps() ? &curve : nullptr, showsPoints() ? &points : nullptr}) {
            if (!shown)
                continue;
            for (SolidVertex& point : *shown)
                point.color = usesPointColor() ? pointColor() : point.color;
            e.stage.draw(Primitive::Points, *shown, {}, paint);
        }
    }
    // A cardinal spline: the slope in a point is that from the one before to the one behind.
    SolidVertex between(const std::vector<SolidVertex>& p, std::size_t k, double t) const
    {
        const SolidVertex &before = p[k > 0 ? k - 1 : 0], &a = p[k], &b = p[k + 1],
                          &behind = p[std::min(k + 2, p.size() - 1)];
        const double c = (1 - tension()) / 2, t2 = t * t, t3 = t2 * t;
        const auto mix = [&](double w, double x, double y, double z) {
            return (2 * t3 - 3 * t2 + 1) * x + (t3 - 2 * t2 + t) * c * (y - w) + (3 * t2 - 2 * t3) * y
                + (t3 - t2) * c * (z - x);
        };
        const auto at = [&](double Vec3::*axis) {
            return mix(before.position.*axis, a.position.*axis, b.position.*axis, behind.position.*axis);
        };
        return {{at(&Vec3::x), at(&Vec3::y), at(&Vec3::z)}, {0, 0, 1}, 0, 0, mixedColor(a.color, b.color, t)};
    }
    std::vector<std::array<InputPort*, 3>> ports_;
    std::vector<NSColor> colors_;
};

} // namespace

void registerGLCurvesPatches(PatchRegistry& registry)
{
    registry.family("Third parties' patches, stood in for");
    registry.addStandIn<LineExpressionPatch>("KinemeGLLineExpressionPatch");
    registry.addStandIn<SplinePatch>("KinemeGLSplinePatch");
}

} // namespace vitrel::qc
