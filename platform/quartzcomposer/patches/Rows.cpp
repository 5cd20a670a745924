// What stands in a row, from a first to a last: lines in space, copies in time.
#include "platform/quartzcomposer/graph/Macro.h"
#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "platform/quartzcomposer/patches/Curves.h"
#include "platform/quartzcomposer/patches/Drawing.h"

namespace vitrel::qc {

namespace {

constexpr double kMostLines = 10'000; // a carpet; more would be a plane

double mix(double a, double b, double t)
{
    return a + (b - a) * t;
}

class LinesPatch final : public ConsumerPatch
{
public:
    static PatchDescription description()
    {
        return {"Lines",
            "Lines in a row from a first to a last, everything between them mixed. Each runs along its own x axis.",
            {{"inputStartX|inputStartY|inputStartZ", "Where the middle of the first is, along this axis", kUnits},
                {"inputStartRX|inputStartRY|inputStartRZ", "The turn of the first about this axis", kDegrees},
                {"inputStartLength", "How long the first is", kSize}, {"inputStartColor", "The colour of the first"},
                {"inputEndX|inputEndY|inputEndZ", "Where the middle of the last is, along this axis", kUnits},
                {"inputEndRX|inputEndRY|inputEndRZ", "The turn of the last about this axis", kDegrees},
                {"inputEndLength", "How long the last is", kSize}, {"inputEndColor", "The colour of the last"},
                {"inputAttractionAmount",
                    "How far the row is bent towards a place; by 2 its middle control point is there"},
                {"inputAttractionX|inputAttractionY|inputAttractionZ", "That place, along this axis", kUnits},
                {"inputPhase", "How far all are ahead on the row, which goes round; 0 for a row with both ends"},
                {"inputNumLines", "How many there are", {"", 0, kMostLines}},
                {"inputZBuffer", kDepthMeaning, depthTests()}}};
    }

private:
    struct End {
        End(Patch& patch, const std::string& name)
            : x{patch, "input" + name + "X"}
            , y{patch, "input" + name + "Y"}
            , z{patch, "input" + name + "Z"}
            , turnX{patch, "input" + name + "RX"}
            , turnY{patch, "input" + name + "RY"}
            , turnZ{patch, "input" + name + "RZ"}
            , length{patch, "input" + name + "Length", 1}
            , color{patch, "input" + name + "Color", {1, 1, 1, 1}}
        { }
        Input<double> x, y, z, turnX, turnY, turnZ, length;
        Input<NSColor> color;
    };
    End start{*this, "Start"}, end{*this, "End"};
    Input<double> amount{*this, "inputAttractionAmount"}, pullX{*this, "inputAttractionX"},
        pullY{*this, "inputAttractionY"}, pullZ{*this, "inputAttractionZ"}, phase{*this, "inputPhase"},
        count{*this, "inputNumLines", 10};
    Input<std::uint32_t> depth{*this, "inputZBuffer", 1};

    void draw(Evaluation& e) override
    {
        const int lines = static_cast<int>(count() >= 1 ? std::min(count(), kMostLines) : 0);
        std::vector<SolidVertex> corners;
        for (int k = 0; k < lines; ++k) {
            const double even = lines > 1 ? double(k) / (lines - 1) : 0;
            add(corners, phase() != 0 ? wrapped(double(k) / lines + phase(), 1) : even);
        }
        Paint paint;
        paint.depth = depthOf(depth());
        e.stage.draw(Primitive::Lines, corners, {}, paint);
    }
    // Each runs along its own x axis, with its middle on the row.
    void add(std::vector<SolidVertex>& corners, double t) const
    {
        const NSColor &a = start.color(), &b = end.color();
        SolidVertex corner;
        corner.color
            = {mix(a.red, b.red, t), mix(a.green, b.green, t), mix(a.blue, b.blue, t), mix(a.alpha, b.alpha, t)};
        const Matrix place = Matrix::translation(bent(start.x(), end.x(), pullX(), t),
                                 bent(start.y(), end.y(), pullY(), t), bent(start.z(), end.z(), pullZ(), t))
            * Matrix::rotations(mix(start.turnX(), end.turnX(), t), mix(start.turnY(), end.turnY(), t),
                mix(start.turnZ(), end.turnZ(), t));
        const double half = mix(start.length(), end.length(), t) / 2;
        for (const double x : {-half, half}) {
            const Vec4 at = place * Vec3{x, 0, 0};
            corner.position = {at.x, at.y, at.z};
            corner.normal = place.turned({0, 0, 1});
            corners.push_back(corner);
        }
    }
    // The row is a quadratic curve whose middle point the attraction draws to itself.
    double bent(double a, double b, double pull, double t) const
    {
        const double middle = (a + b) / 2, control = middle + (pull - middle) * amount() / 2;
        return (1 - t) * (1 - t) * a + 2 * t * (1 - t) * control + t * t * b;
    }
};

// Draws its nodes several times, each copy at a time of its own: between the first's and the last's from now.
class TimeLoopPatch final : public Macro
{
public:
    static PatchDescription description()
    {
        return {"Replicate in Time", "Draws what is inside several times, each copy at a later time.",
            {{"inputCount", "How many copies"},
                {"inputInterpolation", "How evenly their times lie between the ends", curves()},
                {"inputStart", "The time of the first, from now", kSeconds},
                {"inputEnd", "The time of the last, from now", kSeconds}}};
    }

private:
    Input<std::uint32_t> count{*this, "inputCount", 5}, curveNumber{*this, "inputInterpolation"};
    Input<double> start{*this, "inputStart"}, end{*this, "inputEnd", 1};

    void configure(const Settings&) override
    {
        inner_.outer = scope;
        inner_.iterates = true;
    }
    bool alwaysConsumer() const override { return true; }
    Scope* scopeOfNodes() override { return &inner_; }
    double timeForNodes(Evaluation& e) override
    {
        const double now = Macro::timeForNodes(e) + shift_;
        return std::isfinite(now) ? std::max(0.0, now) : 0;
    }
    void runNodes(Evaluation& e) override
    {
        // Nodes that ask which iteration they are in mean the one around.
        inner_.index = scope && scope->iterates ? scope->index : 0;
        inner_.count = scope && scope->iterates ? scope->count : 1;
        for (std::uint32_t k = 0; k < count() && e.iterationsLeft > 0 && !e.exhausted(); ++k) {
            --e.iterationsLeft;
            shift_ = mix(start(), end(), count() > 1 ? curve(curveNumber(), double(k) / (count() - 1)) : 0);
            inner_.path = (inner_.outer ? inner_.outer->path : 0) * 1'000'003u + k + 1;
            ++inner_.stamp;
            executeNodes(e);
        }
        shift_ = 0;
    }
    Scope inner_;
    double shift_ = 0;
};

} // namespace

void registerRowsPatches(PatchRegistry& registry)
{
    registry.family("Drawing");
    registry.add<LinesPatch>("QCLines");
    registry.family("Environments");
    registry.add<TimeLoopPatch>("QCTimeLoop");
}

} // namespace vitrel::qc
