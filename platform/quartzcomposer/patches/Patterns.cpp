// Images that are made of numbers, and numbers that are made of images.
#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "platform/quartzcomposer/patches/Curves.h"

#include <algorithm>
#include <cmath>

namespace vitrel::qc {

namespace {

// 256 premultiplied colours from the first over the second, in the middle, to the third.
std::array<std::uint32_t, 256> ramp(const NSColor& start, const NSColor& middle, const NSColor& end)
{
    std::array<std::uint32_t, 256> out{};
    for (int k = 0; k < 256; ++k) {
        const NSColor &from = k < 128 ? start : middle, &to = k < 128 ? middle : end;
        const double f = k < 128 ? k / 128.0 : (k - 128) / 127.0;
        const auto part = [f](double a, double b) { return std::clamp(a + (b - a) * f, 0.0, 1.0); };
        const double alpha = part(from.alpha, to.alpha);
        const auto byte = [&](double c) { return static_cast<std::uint32_t>(std::lround(c * alpha * 255)); };
        out[static_cast<std::size_t>(k)] = byte(1) << 24 | byte(part(from.red, to.red)) << 16
            | byte(part(from.green, to.green)) << 8 | byte(part(from.blue, to.blue));
    }
    return out;
}

// Four waves that move against each other.
class PlasmaPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Plasma Image", "Four waves that move against each other, as an image of three colours.",
            {{"inputSaturate", "Whether what is beyond the ends takes their colours; if not, it goes back from there"},
                {"inputScale", "How small the waves are", kNotNegative},
                {"inputX", "How far they are shifted to the right, in widths"},
                {"inputY", "How far they are shifted upwards, in heights"},
                {"inputAmplitude", "How far they go from the middle colour; 0.5 reaches the ends"},
                {"inputColorStart", "The colour of the troughs"}, {"inputColorMiddle", "The colour in between"},
                {"inputColorEnd", "The colour of the crests"}, {"outputImage", "The image"}},
            {{"width", DescribedSetting::Number, "How wide the image is; 256 without it", {"pixels", 1, kMaxSide}},
                {"height", DescribedSetting::Number, "How high the image is; 256 without it",
                    {"pixels", 1, kMaxSide}}}};
    }

private:
    Input<bool> saturate{*this, "inputSaturate"};
    Input<double> scale{*this, "inputScale", 0.5}, x{*this, "inputX"}, y{*this, "inputY"},
        amplitude{*this, "inputAmplitude", 0.5};
    Input<NSColor> start{*this, "inputColorStart", {0, 0, 0, 1}}, middle{*this, "inputColorMiddle", {0.5, 0.5, 0.5, 1}},
        end{*this, "inputColorEnd", {1, 1, 1, 1}};
    Output<ImageRef> image{*this, "outputImage"};

    static constexpr double kMaxSide = 1024; // each pixel of it is counted in each frame

    Kind kind() const override { return Kind::Timed; }
    void configure(const Settings& settings) override
    {
        width_ = static_cast<int>(std::clamp(settings.number("width", 256), 1.0, kMaxSide));
        height_ = static_cast<int>(std::clamp(settings.number("height", 256), 1.0, kMaxSide));
    }
    void evaluate(Evaluation& e) override
    {
        e.needFrame();
        const double t = time(), k = 2 * kPi * (1 + 4 * scale());
        if (!roomForImages() || !std::isfinite(k + t + x() + y() + amplitude()))
            return;
        // Sums of waves along the axes are told by their sines and cosines, so that a pixel needs one root.
        struct Place {
            double p, wave, sine, cosine;
        };
        const auto along = [&](int size, double shift, double frequency, double phase, double slant) {
            std::vector<Place> places;
            for (int n = 0; n < size; ++n) {
                const double p = (n + 0.5) / size + shift, a = k * 0.7 * p + slant;
                places.push_back({p, std::sin(k * frequency * p + phase), std::sin(a), std::cos(a)});
            }
            return places;
        };
        const auto columns = along(width_, x(), 1, t, 1.1 * t), rows = along(height_, y(), 1.3, -0.7 * t, 0);
        const auto colors = ramp(start(), middle(), end());
        auto bitmap = std::make_shared<Bitmap>(Bitmap{width_, height_, {}});
        bitmap->pixels.reserve(columns.size() * rows.size());
        for (auto row = rows.rbegin(); row != rows.rend(); ++row) { // the top first
            for (const Place& column : columns) {
                const double slant = column.sine * row->cosine + column.cosine * row->sine;
                const double ring = std::sin(k * std::hypot(column.p - 0.5, row->p - 0.5) - 1.3 * t);
                const double v = (column.wave + row->wave + slant + ring) / 4;
                bitmap->pixels.push_back(colors[index(0.5 + amplitude() * v)]);
            }
        }
        image.set(ownImage(std::move(bitmap)));
    }
    std::size_t index(double v) const
    {
        if (!saturate()) { // mirrored at the ends
            v = std::fabs(std::fmod(v, 2.0));
            v = v > 1 ? 2 - v : v;
        }
        return static_cast<std::size_t>(std::lround(std::clamp(v, 0.0, 1.0) * 255));
    }
    int width_ = 256, height_ = 256;
};

// Heat that rises from a row of embers and fades.
class FlamePatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Flame Image", "A fire of 128 by 128 pixels that burns from below.",
            {{"inputColorStart", "The colour of what is cold"}, {"inputColorMiddle", "The colour in between"},
                {"inputColorEnd", "The colour of what is hot"}, {"outputImage", "The image"}}};
    }

private:
    Input<NSColor> start{*this, "inputColorStart", {0, 0, 0, 1}}, middle{*this, "inputColorMiddle", {1, 0.3, 0, 1}},
        end{*this, "inputColorEnd", {1, 1, 0.6, 1}};
    Output<ImageRef> image{*this, "outputImage"};

    static constexpr std::size_t kSide = 128;
    static constexpr double kStep = 1.0 / 30; // seconds between two states of the fire
    static constexpr int kMaxSteps = 60; // at once: after a pause it goes on from where it was

    Kind kind() const override { return Kind::Timed; }
    void evaluate(Evaluation& e) override
    {
        e.needFrame();
        const double now = std::isfinite(time()) ? std::clamp(time(), 0.0, 1e9) : 0;
        const auto wanted = static_cast<std::uint64_t>(now / kStep) + kSide;
        if (heat_.empty())
            heat_.assign(kSide * (kSide + 1), 0);
        if (step_ + kSide + kMaxSteps < wanted)
            step_ = wanted - kSide;
        for (; step_ < wanted; ++step_)
            rise();
        if (!roomForImages())
            return;
        const auto colors = ramp(start(), middle(), end());
        auto bitmap = std::make_shared<Bitmap>(Bitmap{int(kSide), int(kSide), {}});
        for (std::size_t k = 0; k < kSide * kSide; ++k)
            bitmap->pixels.push_back(colors[static_cast<std::size_t>(std::clamp(heat_[k], 0.f, 255.f))]);
        image.set(ownImage(std::move(bitmap)));
    }
    // Each place takes the mean of those beneath it, a little cooler.
    void rise()
    {
        for (std::size_t x = 0; x < kSide; ++x)
            heat_[kSide * kSide + x] = hashed(1, step_ / 2 * kSide + x / 3) > 0.45 ? 275.f : 20.f;
        for (std::size_t y = 0; y < kSide; ++y) {
            const float* below = &heat_[(y + 1) * kSide];
            for (std::size_t x = 0; x < kSide; ++x) {
                const float sum = below[x] * 2 + below[(x + 1) % kSide] + below[(x + kSide - 1) % kSide];
                heat_[y * kSide + x] = std::max(0.f, sum / 4 - 1.6f);
            }
        }
    }
    std::vector<float> heat_; // from the top, and the embers beneath
    std::uint64_t step_ = 0;
};

// How much of an image has each of 256 values, channel by channel. Only of images whose pixels are at hand.
class HistogramPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Image Histogram",
            "How much of an image has each of the 256 values. Only of pictures: what is drawn or filtered gives "
            "nothing.",
            {{"inputImage", "The image"},
                {"outputRedHistogram|outputGreenHistogram|outputBlueHistogram|outputAlphaHistogram",
                    "Of this channel, a list of 256 parts of all pixels, each from 0 to 1"}}};
    }

private:
    Input<ImageRef> image{*this, "inputImage"};
    Output<StructureRef> red{*this, "outputRedHistogram"}, green{*this, "outputGreenHistogram"},
        blue{*this, "outputBlueHistogram"}, alpha{*this, "outputAlphaHistogram"};
    void evaluate(Evaluation&) override
    {
        const auto bitmap = image() ? image()->bitmap() : nullptr;
        Output<StructureRef>* const outputs[] = {&blue, &green, &red, &alpha};
        for (int channel = 0; channel < 4; ++channel) {
            if (!bitmap || bitmap->pixels.empty()) {
                outputs[channel]->set(nullptr);
                continue;
            }
            std::array<std::size_t, 256> counts{};
            for (const std::uint32_t pixel : bitmap->pixels)
                ++counts[pixel >> (8 * channel) & 255];
            auto structure = std::make_shared<Structure>();
            for (const std::size_t count : counts)
                structure->members.push_back({{}, double(count) / double(bitmap->pixels.size())});
            outputs[channel]->set(StructureRef(structure));
        }
    }
};

} // namespace

void registerPatternsPatches(PatchRegistry& registry)
{
    registry.family("Images");
    registry.add<PlasmaPatch>("QCPlasmaImage");
    registry.add<FlamePatch>("QCFlameImage");
    registry.add<HistogramPatch>("QCImageHistogram");
}

} // namespace vitrel::qc
