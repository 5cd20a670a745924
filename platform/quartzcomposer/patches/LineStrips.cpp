// Lines through many points in one call, with smooth edges. A patch of this player's own.
#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "platform/quartzcomposer/patches/Drawing.h"
#include "platform/quartzcomposer/patches/GLTools.h"
#include "platform/quartzcomposer/patches/Points.h"

#include <cmath>

namespace vitrel::qc {

namespace {

// A point of a strip in units, and what it is of the strip's width and opacity.
struct StripPoint {
    double x = 0, y = 0, width = 1, opacity = 1;
    bool operator==(const StripPoint&) const = default;
};

// What one point takes of a list of numbers.
struct PointForm {
    int numbers = 2, width = -1, opacity = -1;
};

PointForm formNamed(const std::string& name)
{
    return name == "x y opacity"      ? PointForm{3, -1, 2}
        : name == "x y width"         ? PointForm{3, 2, -1}
        : name == "x y width opacity" ? PointForm{4, 2, 3}
                                      : PointForm{};
}

double numberOf(const PortValue& value)
{
    const double* number = value.as<double>();
    const double given = number ? *number : *converted(value, PortType::Number).as<double>();
    return std::isfinite(given) ? std::clamp(given, -1e4, 1e4) : 0;
}

std::vector<StripPoint> stripOf(const Structure& list, const PointForm& form)
{
    std::vector<StripPoint> points;
    const auto step = static_cast<std::size_t>(form.numbers);
    const auto count = std::min(list.members.size() / step, kMostStructurePoints);
    points.reserve(count);
    for (std::size_t k = 0; k < count; ++k) {
        const auto number
            = [&](int at) { return numberOf(list.members[k * step + static_cast<std::size_t>(at)].value); };
        StripPoint point{number(0), number(1)};
        if (form.width >= 0)
            point.width = std::max(0.0, number(form.width));
        if (form.opacity >= 0)
            point.opacity = std::clamp(number(form.opacity), 0.0, 1.0);
        // A point upon the last has no direction.
        if (points.empty() || std::hypot(point.x - points.back().x, point.y - points.back().y) > 1e-7)
            points.push_back(point);
    }
    return points;
}

// The corners of strips. Each point has a middle, full, and an edge on either side that has run out: what lies between
// is as dark as the line covers it. A line of more than two pixels has two full corners, so that its body is even.
class StripShape
{
public:
    // Lengths in units: half of the width, and of a pixel.
    StripShape(double half, double pixel)
        : half_(half)
        , pixel_(pixel)
    { }

    void add(std::vector<StripPoint> points, bool isClosed, const NSColor& from, const NSColor& to)
    {
        if (isClosed && points.size() > 2) {
            StripPoint first = points.front();
            if (std::hypot(first.x - points.back().x, first.y - points.back().y) > 1e-7)
                points.push_back(first);
        } else {
            isClosed = false;
        }
        const std::size_t count = points.size();
        if (count < 2)
            return;
        for (std::size_t k = 0; k < count; ++k) {
            const StripPoint& before = k > 0 ? points[k - 1] : isClosed ? points[count - 2] : points[0];
            const StripPoint& behind = k + 1 < count ? points[k + 1] : isClosed ? points[1] : points[k];
            corners(points[k], before, behind, mixedColor(from, to, double(k) / double(count - 1)), k > 0);
        }
    }

    const std::vector<SolidVertex>& vertices() const { return vertices_; }
    // Numbers of vertices within pieces that a 16-bit number reaches.
    struct Piece {
        std::size_t first = 0;
        std::vector<std::uint16_t> corners;
    };
    const std::vector<Piece>& pieces() const { return pieces_; }

private:
    void corners(const StripPoint& at, const StripPoint& before, const StripPoint& behind, NSColor color, bool goesOn)
    {
        // Across the bend, and longer there, so that the line keeps its width; but no spike where it turns back.
        double dx = behind.x - before.x, dy = behind.y - before.y;
        if (std::hypot(dx, dy) < 1e-9) {
            dx = at.x - before.x;
            dy = at.y - before.y;
        }
        const double length = std::hypot(dx, dy);
        const double nx = -dy / length, ny = dx / length;
        const double px = at.x - before.x, py = at.y - before.y, part = std::hypot(px, py);
        const double along = part > 0 ? std::abs((px * dx + py * dy) / (part * length)) : 1;
        const double longer = std::min(1 / std::max(along, 0.1), 2.0);
        // A line thinner than this shimmers: it is paler instead.
        constexpr double kThinnest = 1.2; // pixels
        const double wanted = half_ * at.width, thinnest = kThinnest / 2 * pixel_;
        const double half = std::max(wanted, thinnest);
        color.alpha *= at.opacity * (wanted < thinnest ? wanted / thinnest : 1);
        NSColor clear = color;
        clear.alpha = 0;
        const bool isWide = half_ > pixel_;
        // What runs out over a pixel on either side covers as much as a sharp edge in its middle.
        const double full = isWide ? std::max(half - pixel_ / 2, 0.0) * longer : 0,
                     edge = (isWide ? half + pixel_ / 2 : 2 * half) * longer;
        const auto vertex = [&](double across, const NSColor& c) {
            vertices_.push_back({{at.x + nx * across, at.y + ny * across, 0}, {0, 0, 1}, 0, 0, c});
        };
        const std::size_t each = isWide ? 4 : 3;
        if (pieces_.empty() || vertices_.size() - pieces_.back().first + 2 * each > 65'000)
            beginPiece(goesOn ? each : 0);
        const auto first = vertices_.size() - pieces_.back().first;
        vertex(edge, clear);
        vertex(full, color);
        if (isWide)
            vertex(-full, color);
        vertex(-edge, clear);
        for (std::size_t k = 0; goesOn && k + 1 < each; ++k) {
            const auto a = static_cast<std::uint16_t>(first - each + k), b = static_cast<std::uint16_t>(first + k);
            for (const int corner : {a + 0, a + 1, b + 0, b + 0, a + 1, b + 1})
                pieces_.back().corners.push_back(static_cast<std::uint16_t>(corner));
        }
    }
    // The last point of the strip stands at its beginning once more.
    void beginPiece(std::size_t repeated)
    {
        pieces_.push_back({vertices_.size(), {}});
        for (std::size_t k = 0; k < repeated; ++k)
            vertices_.push_back(SolidVertex(vertices_[vertices_.size() - repeated]));
    }

    double half_, pixel_;
    std::vector<SolidVertex> vertices_;
    std::vector<Piece> pieces_;
};

class LineStripPatch final : public SolidPatch
{
public:
    static PatchDescription description()
    {
        return PatchDescription{"Line Strip", "Lines through many points, with smooth edges, drawn at once.",
            {{"inputPoints", "The numbers of the points one behind the other, or a list of such lists: a strip each"},
                {"inputWidth", "How wide a line is; below 1.2 pixels it becomes paler instead of thinner", kSize},
                {"inputColor", "The colour of a strip's start"}, {"inputEndColor", "The colour of a strip's end"},
                {"inputColors",
                    "A list of colours, [red, green, blue, alpha] each, one a strip, by which its own are "
                    "multiplied"},
                {"inputClosed", "Whether a strip goes back to its start"},
                {"inputBlending", kBlendingMeaning, blendings()}}}
            .with(placePorts())
            .with({{"pointForm", DescribedSetting::Text,
                "What numbers a point has, \"x y\" without it; width and "
                "opacity are parts of the line's",
                {}, {"x y", "x y opacity", "x y width", "x y width opacity"}}});
    }

private:
    Input<StructureRef> points{*this, "inputPoints"}, colors{*this, "inputColors"};
    Input<double> width{*this, "inputWidth", 0.004};
    Input<NSColor> color{*this, "inputColor", {1, 1, 1, 1}}, endColor{*this, "inputEndColor", {1, 1, 1, 1}};
    Input<bool> closed{*this, "inputClosed"};
    Input<std::uint32_t> blending{*this, "inputBlending", 1};

    static constexpr std::size_t kMostStrips = 1000;

    void configure(const Settings& settings) override { form_ = formNamed(settings.text("pointForm")); }
    void draw(Evaluation& e) override
    {
        if (!points() || points()->members.empty())
            return;
        const double unit = e.stage.unitsPerPixel();
        const double half = std::isfinite(width()) ? std::clamp(width(), 0.0, 4.0) / 2 : 0;
        StripShape shape(half, unit);
        if (!points()->members.front().value.as<StructureRef>()) {
            shape.add(stripOf(*points(), form_), closed(), color(), endColor());
        } else {
            std::size_t left = kMostStructurePoints;
            for (std::size_t k = 0; k < countOf(points(), kMostStrips) && !e.exhausted(); ++k) {
                const auto* list = points()->members[k].value.as<StructureRef>();
                if (!list || !*list)
                    continue;
                auto strip = stripOf(**list, form_);
                strip.resize(std::min(strip.size(), left));
                left -= strip.size();
                const NSColor tint = tintOf(k);
                shape.add(std::move(strip), closed(), multiplied(color(), tint), multiplied(endColor(), tint));
            }
        }
        Paint paint;
        paint.blending = blendingOf(blending());
        for (const StripShape::Piece& piece : shape.pieces()) {
            const auto& all = shape.vertices();
            const std::size_t count = std::min<std::size_t>(all.size() - piece.first, 65'536);
            if (!piece.corners.empty())
                e.stage.drawShared(std::span(all).subspan(piece.first, count), piece.corners, place(), paint);
        }
    }
    NSColor tintOf(std::size_t strip) const
    {
        const PortValue* given = colors() ? colors()->atIndex(strip) : nullptr;
        return given ? colorOf(*given, true).value_or(NSColor{1, 1, 1, 1}) : NSColor{1, 1, 1, 1};
    }
    static NSColor multiplied(const NSColor& a, const NSColor& b)
    {
        const auto part = [](double p, double q) { return std::clamp(p * q, 0.0, 1.0); };
        return {part(a.red, b.red), part(a.green, b.green), part(a.blue, b.blue), part(a.alpha, b.alpha)};
    }

    PointForm form_;
};

} // namespace

void registerLineStripsPatches(PatchRegistry& registry)
{
    registry.family("Drawing");
    registry.add<LineStripPatch>("VitrelLineStrip");
}

} // namespace vitrel::qc
