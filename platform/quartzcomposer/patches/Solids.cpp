// Consumers that draw bodies: spheres, cubes, cylinders, particles.
#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "platform/quartzcomposer/patches/Curves.h"
#include "platform/quartzcomposer/patches/Drawing.h"

#include <map>

namespace vitrel::qc {

namespace {

int detail(const Settings& settings, const char* key, int usual)
{
    return static_cast<int>(std::clamp(settings.number(key, usual), 3.0, 128.0));
}

// Two triangles of a grid cell, counter-clockwise from outside.
void addCell(std::vector<SolidVertex>& out, const SolidVertex& a, const SolidVertex& b, const SolidVertex& c,
    const SolidVertex& d)
{
    out.insert(out.end(), {a, b, c, a, c, d});
}

// A sphere of diameter 1: corners of a grid from pole to pole, and the triangles between them.
struct Grid {
    std::vector<SolidVertex> vertices;
    std::vector<std::uint16_t> corners;
};

std::shared_ptr<const Grid> madeSphere(int slices, int stacks)
{
    const auto circle = [](int steps, double from, double span) {
        std::vector<std::pair<double, double>> points; // sine and cosine
        for (int k = 0; k <= steps; ++k)
            points.emplace_back(std::sin(from + span * k / steps), std::cos(from + span * k / steps));
        return points;
    };
    const auto longitudes = circle(slices, 0, 2 * kPi), latitudes = circle(stacks, -kPi / 2, kPi);
    auto grid = std::make_shared<Grid>();
    for (int stack = 0; stack <= stacks; ++stack) {
        for (int slice = 0; slice <= slices; ++slice) {
            const auto& [sine, cosine] = longitudes[static_cast<std::size_t>(slice)];
            const auto& [height, radius] = latitudes[static_cast<std::size_t>(stack)];
            const Vec3 n{radius * sine, height, radius * cosine};
            grid->vertices.push_back(
                {{n.x / 2, n.y / 2, n.z / 2}, n, double(slice) / slices, double(stack) / stacks, {1, 1, 1, 1}});
        }
    }
    const auto number = [&](int slice, int stack) { return static_cast<std::uint16_t>(stack * (slices + 1) + slice); };
    for (int stack = 0; stack < stacks; ++stack) {
        for (int slice = 0; slice < slices; ++slice) {
            const std::uint16_t a = number(slice, stack), b = number(slice + 1, stack),
                                c = number(slice + 1, stack + 1), d = number(slice, stack + 1);
            if (stack > 0) // at the poles two corners are one
                grid->corners.insert(grid->corners.end(), {a, b, c});
            if (stack + 1 < stacks)
                grid->corners.insert(grid->corners.end(), {a, c, d});
        }
    }
    return grid;
}

// One for all patches of the same fineness, for as long as one of them lives.
std::shared_ptr<const Grid> unitSphere(int slices, int stacks)
{
    static auto& made = *new std::map<std::pair<int, int>, std::weak_ptr<const Grid>>;
    auto& kept = made[{slices, stacks}];
    auto grid = kept.lock();
    if (!grid)
        kept = grid = madeSphere(slices, stacks);
    return grid;
}

class SpherePatch : public SolidPatch
{
public:
    static PatchDescription description(const std::string& kind)
    {
        return PatchDescription{kind.empty() ? "Sphere" : "Quadric Sphere",
            kind.empty() ? "A sphere. An image goes around it."
                         : "A sphere under the name that older files have for it.",
            {{"inputScale", "Its diameter", kSize}, {"inputColor", kColorMeaning},
                {"inputImage", "What goes around it, from pole to pole"}},
            {{"slices", DescribedSetting::Number, "How many parts it has around its axis; 24 without it", {"", 3, 128}},
                {"stacks", DescribedSetting::Number, "How many parts it has from pole to pole; 12 without it",
                    {"", 3, 128}}}}
            .with(placePorts())
            .with(Modes::ports());
    }

protected:
    Input<double> scale{*this, "inputScale", 0.1};
    Input<NSColor> color{*this, "inputColor", {1, 1, 1, 1}};
    Input<ImageRef> image{*this, "inputImage"};
    Modes modes{*this, 0, 1, 1};

    void configure(const Settings& settings) override
    {
        slices_ = detail(settings, "slices", 24);
        stacks_ = detail(settings, "stacks", 12);
    }
    void draw(Evaluation& e) override
    {
        Paint paint = modes.paint();
        paint.image = image();
        paint.mayComeEarlier = true;
        if (!grid_)
            grid_ = unitSphere(slices_, stacks_);
        vertices_ = grid_->vertices;
        for (SolidVertex& vertex : vertices_)
            vertex.color = color();
        e.stage.drawShared(vertices_, grid_->corners, place(), paint, Matrix::scale(scale(), scale(), scale()));
    }
    int slices_ = 24, stacks_ = 12;
    std::shared_ptr<const Grid> grid_;
    static inline std::vector<SolidVertex> vertices_; // of the sphere that is being drawn
};

class CylinderPatch final : public SolidPatch
{
public:
    static PatchDescription description()
    {
        return PatchDescription{"Cylinder", "A cylinder or a cone about its z axis, without ends.",
            {{"inputHeight", "How long it is", kUnits}, {"inputBase", "The diameter of its far end", kSize},
                {"inputTop", "The diameter of its near end", kSize}, {"inputColor", kColorMeaning},
                {"inputImage", "What goes around it"}},
            {{"slices", DescribedSetting::Number, "How many parts it has around its axis; 24 without it", {"", 3, 128}},
                {"stacks", DescribedSetting::Number, "How many parts it has along its axis; 1 without it",
                    {"", 1, 128}}}}
            .with(placePorts())
            .with(Modes::ports());
    }

private:
    Input<double> height{*this, "inputHeight", 0.1}, base{*this, "inputBase", 0.2}, top{*this, "inputTop", 0.2};
    Input<NSColor> color{*this, "inputColor", {1, 1, 1, 1}};
    Input<ImageRef> image{*this, "inputImage"};
    Modes modes{*this, 0, 1, 1};

    void configure(const Settings& settings) override
    {
        slices_ = detail(settings, "slices", 24);
        stacks_ = static_cast<int>(std::clamp(settings.number("stacks", 1), 1.0, 128.0));
    }
    void draw(Evaluation& e) override
    {
        std::vector<SolidVertex> corners;
        const auto corner = [&](int slice, int stack) {
            const double a = 2 * kPi * slice / slices_, v = double(stack) / stacks_;
            const double radius = (base() + (top() - base()) * v) / 2;
            const Vec3 n{std::cos(a), std::sin(a), height() != 0 ? (base() - top()) / (2 * height()) : 0};
            return SolidVertex{
                {n.x * radius, n.y * radius, (v - 0.5) * height()}, n, double(slice) / slices_, v, color()};
        };
        for (int stack = 0; stack < stacks_; ++stack)
            for (int slice = 0; slice < slices_; ++slice)
                addCell(corners, corner(slice, stack), corner(slice + 1, stack), corner(slice + 1, stack + 1),
                    corner(slice, stack + 1));
        Paint paint = modes.paint();
        paint.image = image();
        e.stage.draw(Primitive::Triangles, corners, place(), paint);
    }
    int slices_ = 24, stacks_ = 1;
};

class CubePatch final : public SolidPatch
{
public:
    static PatchDescription description()
    {
        return PatchDescription{"Cube", "A box with a colour and an image for each side.",
            {{"inputWidth", "How wide it is", kUnits}, {"inputHeight", "How high it is", kUnits},
                {"inputDepth", "How deep it is", kUnits},
                {"inputColorFront|inputColorLeft|inputColorRight|inputColorBack|inputColorTop|inputColorBottom",
                    "The colour of this side, by which its image is multiplied"},
                {"inputImageFront|inputImageLeft|inputImageRight|inputImageBack|inputImageTop|inputImageBottom",
                    "What is shown on this side"}}}
            .with(placePorts())
            .with(Modes::ports());
    }

private:
    struct Face {
        const char* name;
        Vec3 turn; // that brings +z there
        Matrix matrix() const { return Matrix::rotations(turn.x, turn.y, turn.z); }
    };
    static constexpr Face kFaces[] = {{"Front", {0, 0, 0}}, {"Left", {0, -90, 0}}, {"Right", {0, 90, 0}},
        {"Back", {0, 180, 0}}, {"Top", {-90, 0, 0}}, {"Bottom", {90, 0, 0}}};

    Input<double> width{*this, "inputWidth", 1}, height{*this, "inputHeight", 1}, depth{*this, "inputDepth", 1};
    Modes modes{*this, 0, 1, 1};

    void configure(const Settings&) override
    {
        for (const Face& face : kFaces) {
            colors_.push_back(&addInput(std::string("inputColor") + face.name, PortType::Color, NSColor{1, 1, 1, 1}));
            images_.push_back(&addInput(std::string("inputImage") + face.name, PortType::Image, ImageRef()));
        }
    }
    void draw(Evaluation& e) override
    {
        const Matrix size = Matrix::scale(width(), height(), depth());
        for (std::size_t k = 0; k < colors_.size(); ++k) {
            Paint paint = modes.paint();
            paint.image = *images_[k]->value().as<ImageRef>();
            const Matrix face = kFaces[k].matrix() * Matrix::translation(0, 0, 0.5);
            e.stage.draw(Primitive::Triangles, rectangle(1, 1, *colors_[k]->value().as<NSColor>()), place(), paint,
                true, size * face);
        }
    }
    std::vector<InputPort*> colors_, images_;
};

// A particle keeps the place, the speed, the colour and the size that it was born with: when the source moves on or
// changes, those in the air don't. When each is born follows from its number, its life and the time alone.
class ParticleSystemPatch final : public ConsumerPatch
{
public:
    static PatchDescription description()
    {
        const DescribedSetting fades{"interpolateSizeAndColor", DescribedSetting::Flag,
            "Whether size and colour go to their final ones; if not, they change by so much a second"};
        return {"Particle System", "Many small squares that are born at a place, fly away with random speeds and die.",
            {{"inputCount", "How many there are", {"", 0, kMost}},
                {"inputPositionX|inputPositionY|inputPositionZ", "Where they are born, along this axis", kUnits},
                {"inputColor", "Their colour at birth, by which their image is multiplied"},
                {"inputFinalColor", "Their colour at the end, with the setting interpolateSizeAndColor"},
                {"inputVelocityMinX|inputVelocityMinY|inputVelocityMinZ", "The least speed along this axis",
                    {"units a second"}},
                {"inputVelocityMaxX|inputVelocityMaxY|inputVelocityMaxZ", "The greatest speed along this axis",
                    {"units a second"}},
                {"inputMinSize", "The least size at birth", kSize},
                {"inputMaxSize", "The greatest size at birth", kSize},
                {"inputLifeTime", "How long each lives", {"seconds", 0.01, 1e9}},
                {"inputAttraction", "How strongly they are drawn back to where they were born; below 0, away"},
                {"inputGravity", "How strongly they fall", {"units a second squared"}},
                {"inputSizeDelta", "How much they grow in a second", kUnits},
                {"inputRedDelta|inputGreenDelta|inputBlueDelta|inputOpacityDelta",
                    "How much this part of the colour grows in a second"},
                {"inputFinalSize", "Their size at the end, with the setting interpolateSizeAndColor", kSize},
                {"inputSizeInterpolation", "How evenly the size goes to its final one", curves()},
                {"inputRedInterpolation|inputGreenInterpolation|inputBlueInterpolation|inputOpacityInterpolation",
                    "How evenly this part of the colour goes to its final one", curves()},
                {"inputBlending", kBlendingMeaning, blendings()}, {"inputImage", "What each shows"}},
            {fades,
                {"randomSeed", DescribedSetting::Number, "Another number, other particles; 1 without it", kNotNegative},
                {"startUpDelay", DescribedSetting::Number,
                    "How long it takes until all are born, if that is more than a life", kDuration}}};
    }

private:
    Input<std::uint32_t> count{*this, "inputCount", 100};
    Input<double> x{*this, "inputPositionX"}, y{*this, "inputPositionY"}, z{*this, "inputPositionZ"};
    Input<NSColor> color{*this, "inputColor", {1, 1, 1, 1}}, finalColor{*this, "inputFinalColor", {1, 1, 1, 0}};
    Input<double> minX{*this, "inputVelocityMinX", -0.5}, maxX{*this, "inputVelocityMaxX", 0.5},
        minY{*this, "inputVelocityMinY", -0.5}, maxY{*this, "inputVelocityMaxY", 0.5}, minZ{*this, "inputVelocityMinZ"},
        maxZ{*this, "inputVelocityMaxZ"}, minSize{*this, "inputMinSize", 0.05}, maxSize{*this, "inputMaxSize", 0.1},
        life{*this, "inputLifeTime", 2}, attraction{*this, "inputAttraction"}, gravity{*this, "inputGravity"},
        sizeDelta{*this, "inputSizeDelta"}, redDelta{*this, "inputRedDelta"}, greenDelta{*this, "inputGreenDelta"},
        blueDelta{*this, "inputBlueDelta"}, opacityDelta{*this, "inputOpacityDelta"},
        finalSize{*this, "inputFinalSize"};
    Input<std::uint32_t> sizeCurve{*this, "inputSizeInterpolation"}, redCurve{*this, "inputRedInterpolation"},
        greenCurve{*this, "inputGreenInterpolation"}, blueCurve{*this, "inputBlueInterpolation"},
        opacityCurve{*this, "inputOpacityInterpolation"}, blending{*this, "inputBlending", 2};
    Input<ImageRef> image{*this, "inputImage"};

    static constexpr std::uint32_t kMost = 20'000;

    void configure(const Settings& settings) override
    {
        seed_ = static_cast<std::uint64_t>(std::clamp(settings.number("randomSeed", 1), 0.0, 9e15));
        delay_ = std::max(0.0, settings.number("startUpDelay", 0));
        interpolates_ = settings.flag("interpolateSizeAndColor", false);
    }
    void draw(Evaluation& e) override
    {
        const double span = std::clamp(life(), 0.01, 1e9), now = std::isfinite(time()) ? std::min(time(), 1e12) : 0;
        const std::uint32_t most = std::min(count(), kMost);
        Paint paint;
        paint.image = image();
        paint.blending = blendingOf(blending());
        std::vector<SolidVertex> corners;
        corners.reserve(most * 6u);
        Memory& memory = memory_.at(scope);
        if (memory.born.size() != most)
            memory.born.resize(most);
        const Vec3 source{x(), y(), z()};
        const double before = memory.time;
        const bool jumped = !(before <= now) || now - before > span;
        for (std::uint32_t k = 0; k < most; ++k) {
            const double birth = hashed(seed_, k) * std::max(span, delay_);
            if (now < birth)
                continue;
            const double age = std::fmod(now - birth, span);
            Particle& particle = memory.born[k];
            const std::uint64_t turn = wholeOf((now - birth) / span) + 1;
            if (particle.turn != turn) {
                // Where the source was between two frames.
                const double f
                    = jumped || now <= before ? 1 : std::clamp((now - age - before) / (now - before), 0.0, 1.0);
                const auto mix = [f](double from, double to) { return from + (to - from) * f; };
                bear(particle, k, turn);
                particle.source
                    = {mix(memory.source.x, source.x), mix(memory.source.y, source.y), mix(memory.source.z, source.z)};
            }
            addParticle(e.stage, corners, particle, age, span);
        }
        memory.time = now;
        memory.source = source;
        // Corners are in the environment's coordinates already.
        e.stage.draw(Primitive::Triangles, corners, {}, paint, false);
        if (most > 0)
            e.needFrame();
    }

    struct Particle {
        std::uint64_t turn = 0; // 0: not born yet
        Vec3 source, velocity;
        double size = 0;
        NSColor color;
    };
    struct Memory {
        std::vector<Particle> born;
        double time = std::numeric_limits<double>::infinity();
        Vec3 source;
    };

    void bear(Particle& particle, std::uint32_t number, std::uint64_t turn) const
    {
        const auto random = [&](int which, double low, double high) {
            return low
                + (high - low)
                * hashed(seed_ + static_cast<std::uint64_t>(which) * 7919, number * 1'000'003ull + turn - 1);
        };
        particle.turn = turn;
        particle.velocity = {random(1, minX(), maxX()), random(2, minY(), maxY()), random(3, minZ(), maxZ())};
        particle.size = random(4, minSize(), maxSize());
        particle.color = color();
    }
    void addParticle(
        Stage& stage, std::vector<SolidVertex>& corners, const Particle& particle, double age, double span) const
    {
        const double t = age / span;
        const double pull = std::exp(-attraction() * age); // towards the source as it ages
        const Vec3& from = particle.source;
        const Vec3& speed = particle.velocity;
        const Vec3 at{from.x + speed.x * age * pull, from.y + speed.y * age * pull - gravity() * age * age / 2,
            from.z + speed.z * age * pull};
        const double size
            = std::clamp(interpolates_ ? particle.size + (finalSize() - particle.size) * curve(sizeCurve(), t)
                                       : particle.size + sizeDelta() * age,
                0.0, 100.0);
        if (size <= 0)
            return;
        const NSColor& c = particle.color;
        const NSColor& f = finalColor();
        const auto part = [&](double from, double to, double delta, std::uint32_t number) {
            return std::clamp(interpolates_ ? from + (to - from) * curve(number, t) : from + delta * age, 0.0, 1.0);
        };
        const NSColor now{part(c.red, f.red, redDelta(), redCurve()),
            part(c.green, f.green, greenDelta(), greenCurve()), part(c.blue, f.blue, blueDelta(), blueCurve()),
            part(c.alpha, f.alpha, opacityDelta(), opacityCurve())};
        if (now.alpha <= 0)
            return;
        // Turned back by the environment's rotation, so that it faces the viewer.
        const auto& m = stage.environment().model.m;
        const Vec3 right{m[0], m[4], m[8]}, up{m[1], m[5], m[9]};
        for (SolidVertex corner : rectangle(size, size, now)) {
            const Vec3 p = corner.position;
            corner.position = {at.x + right.x * p.x + up.x * p.y, at.y + right.y * p.x + up.y * p.y,
                at.z + right.z * p.x + up.z * p.y};
            corners.push_back(corner);
        }
    }
    PerIteration<Memory> memory_;
    std::uint64_t seed_ = 1;
    double delay_ = 0;
    bool interpolates_ = false;
};

} // namespace

void registerSolidsPatches(PatchRegistry& registry)
{
    registry.family("Drawing");
    registry.add<SpherePatch>("QCSphere");
    registry.add<SpherePatch>("QCQuadric/sphere");
    registry.add<CylinderPatch>("QCQuadric");
    registry.add<CubePatch>("QCCube");
    registry.add<ParticleSystemPatch>("QCParticleSystem");
}

} // namespace vitrel::qc
