// Images that live on from frame to frame.
#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "platform/quartzcomposer/scene/Canvas.h"

#include <algorithm>
#include <cmath>

namespace vitrel::qc {

namespace {

// Keeps a picture and takes another, or a part of it, in its place. It draws at once: what is put off would grow by a
// level with each frame of a loop.
class AccumulatorPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Image Accumulator",
            "Keeps an image and takes another in its place, so that an image can be made from the one before.",
            {{"inputWidth", "How wide it is; 0: as the picture", {"pixels", 0, kMaxSide}},
                {"inputHeight", "How high it is; 0: as the picture", {"pixels", 0, kMaxSide}},
                {"inputAccumulate", "Whether it takes the image; if not, it keeps what it has"},
                {"inputImage", "What it takes"},
                {"inputDirtyOriginX", "The left edge of the part that it takes", kPixels},
                {"inputDirtyOriginY", "The lower edge of the part that it takes", kPixels},
                {"inputDirtyWidth", "How wide that part is; 0: all of it", kLength},
                {"inputDirtyHeight", "How high that part is; 0: all of it", kLength}, {"outputImage", "What it has"}},
            {{"accumulatorContinuous", DescribedSetting::Flag,
                 "Whether it takes the image in each frame; if not, when something changed"},
                {"accumulatorFormat", DescribedSetting::Text,
                    "How fine its colours are; RGBAf has more than 256 steps of each", {}, {"RGBA8", "RGBAf"}}}};
    }

private:
    Input<std::uint32_t> width{*this, "inputWidth"}, height{*this, "inputHeight"};
    Input<bool> accumulate{*this, "inputAccumulate", true};
    Input<ImageRef> image{*this, "inputImage"};
    Input<double> dirtyX{*this, "inputDirtyOriginX"}, dirtyY{*this, "inputDirtyOriginY"},
        dirtyWidth{*this, "inputDirtyWidth"}, dirtyHeight{*this, "inputDirtyHeight"};
    Output<ImageRef> result{*this, "outputImage"};

    static constexpr std::uint32_t kMaxSide = 16'384; // of what a canvas takes; it may have fewer pixels

    void configure(const Settings& settings) override
    {
        continuous_ = settings.flag("accumulatorContinuous", false);
        fine_ = settings.text("accumulatorFormat") == "RGBAf";
    }
    Kind kind() const override { return continuous_ ? Kind::Timed : Kind::Pure; }

    void evaluate(Evaluation& e) override
    {
        const auto side = [](std::uint32_t asked, int outer) {
            return static_cast<int>(
                std::clamp<std::uint32_t>(asked ? asked : static_cast<std::uint32_t>(std::max(outer, 1)), 1, kMaxSide));
        };
        const Canvas& canvas = e.stage.canvas();
        const int w = side(width(), canvas.width()), h = side(height(), canvas.height());
        const Extent whole{0, 0, double(w), double(h), false};
        if (kept_ && !(kept_->extent() == whole))
            kept_ = nullptr;
        if (kept_ && !accumulate())
            return;
        const ImageRef before = kept_;
        e.stage.beginImage(w, h, false, fine_);
        if (accumulate())
            take(e.stage, whole, before);
        Stage::Drawn drawn;
        e.stage.endImage(drawn);
        kept_ = drawn.image;
        result.set(kept_);
        if (continuous_)
            e.needFrame();
    }
    void take(Stage& stage, const Extent& whole, const ImageRef& before)
    {
        Extent part = whole;
        if (dirtyWidth() > 0 && dirtyHeight() > 0)
            part = intersect(whole, {dirtyX(), dirtyY(), dirtyWidth(), dirtyHeight(), false});
        if (before && !(part == whole))
            put(stage, before, whole, whole, whole);
        if (part.empty() || !std::isfinite(part.x + part.y + part.width + part.height))
            return;
        if (!(part == whole))
            put(stage, nullptr, part, part, whole);
        if (!image())
            return;
        // One without an end fills the picture, as it does where it is shown.
        const Extent there = image()->extent().infinite ? whole : image()->extent();
        const Extent shown = intersect(part, there);
        if (!shown.empty())
            put(stage, image(), there, shown, whole);
    }
    // The part `shown` of a picture that covers `there`, pixel for pixel and in the place of what was.
    static void put(
        Stage& stage, const ImageRef& picture, const Extent& there, const Extent& shown, const Extent& whole)
    {
        Paint paint;
        paint.image = picture;
        paint.blending = Blending::Replace;
        paint.nearest = std::floor(there.x) == there.x && std::floor(there.y) == there.y;
        const double unit = stage.unitsPerPixel();
        auto corners
            = rectangle(shown.width * unit, shown.height * unit, picture ? NSColor{1, 1, 1, 1} : NSColor{0, 0, 0, 0});
        for (SolidVertex& corner : corners) {
            corner.u = (shown.x - there.x + corner.u * shown.width) / there.width;
            corner.v = (shown.y - there.y + corner.v * shown.height) / there.height;
        }
        const Matrix place = Matrix::translation((shown.x + (shown.width - whole.width) / 2) * unit,
            (shown.y + (shown.height - whole.height) / 2) * unit, 0);
        stage.drawFlat(corners, place, paint);
    }

    ImageRef kept_;
    bool continuous_ = false, fine_ = false;
};

} // namespace

void registerFeedbackPatches(PatchRegistry& registry)
{
    registry.family("Images");
    registry.add<AccumulatorPatch>("QCImageAccumulator");
}

} // namespace vitrel::qc
