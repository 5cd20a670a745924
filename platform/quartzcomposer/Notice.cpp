#include "platform/quartzcomposer/Notice.h"

#include "platform/quartzcomposer/patches/TextLayout.h"

#include <algorithm>
#include <cmath>

namespace vitrel {

namespace {

constexpr NSColor kPlate{0.06, 0.06, 0.08, 0.9}, kLetters{1, 0.86, 0.8, 1};

// From its lower left corner on, in units.
void drawRectangle(
    qc::Stage& stage, double x, double y, double width, double height, const NSColor& color, const qc::ImageRef& image)
{
    qc::Paint paint;
    paint.image = image;
    paint.nearest = image != nullptr;
    stage.drawFlat(
        qc::rectangle(width, height, color), qc::Matrix::translation(x + width / 2, y + height / 2, 0), paint);
}

} // namespace

void Notice::set(std::string text)
{
    text_ = std::move(text);
    image_.reset();
}

void Notice::draw(qc::Stage& stage)
{
    const int wide = stage.canvas().width();
    if (text_.empty() || wide < 1)
        return;
    if (!image_ || width_ != wide) {
        constexpr double kSmallest = 12, kPerWidth = 85; // 15 pixels on a picture 1280 wide
        qc::TextStyle style;
        style.fontName = "Inter-Medium";
        style.size = std::max(kSmallest, wide / kPerWidth);
        style.horizontal = qc::TextAlignment::Natural;
        auto set = qc::setText(text_, style);
        if (const double most = wide - 4 * style.size; set.width > most) {
            style.width = most;
            set = qc::setText(text_, style);
        }
        if (!set.bitmap)
            return;
        image_ = std::make_shared<qc::BitmapImage>(set.bitmap);
        width_ = wide;
    }
    const double pixel = stage.unitsPerPixel(), margin = std::max(8.0, wide / 100.0) * pixel, pad = margin / 2;
    const double width = image_->extent().width * pixel, height = image_->extent().height * pixel;
    const auto snapped
        = [pixel](double units, double border) { return std::round((units + border) / pixel) * pixel - border; };
    const double left = snapped(margin - 1, 1),
                 bottom = snapped(margin - stage.heightInUnits() / 2, stage.heightInUnits() / 2);
    drawRectangle(stage, left, bottom, width + 2 * pad, height + 2 * pad, kPlate, nullptr);
    drawRectangle(stage, snapped(left + pad, 1), snapped(bottom + pad, stage.heightInUnits() / 2), width, height,
        kLetters, image_);
}

} // namespace vitrel
