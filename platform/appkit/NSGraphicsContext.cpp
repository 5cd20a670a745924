#include "platform/appkit/NSGraphicsContext.h"

#include "platform/appkit/ImageScaling.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace vitrel {

namespace {

// As for decoded images: what OpenGL promises, and 64 MiB.
constexpr double kLongestSide = 8192;
constexpr double kMostPixels = 16.0 * 1024 * 1024;

bool isFinite(const NSRect& rect)
{
    return std::isfinite(rect.origin.x) && std::isfinite(rect.origin.y) && std::isfinite(rect.size.width)
        && std::isfinite(rect.size.height);
}

cairo_operator_t operatorOf(NSCompositingOperation operation)
{
    switch (operation) {
    case NSCompositingOperation::Copy:
        return CAIRO_OPERATOR_SOURCE;
    case NSCompositingOperation::SourceOver:
        return CAIRO_OPERATOR_OVER;
    case NSCompositingOperation::SourceIn:
        return CAIRO_OPERATOR_IN;
    }
    return CAIRO_OPERATOR_OVER;
}

void holdToAlpha(std::uint32_t& word)
{
    const std::uint32_t alpha = word >> 24;
    if (alpha == 255)
        return;
    const auto held = [&](int shift) { return std::min(word >> shift & 255, alpha) << shift; };
    word = alpha << 24 | held(16) | held(8) | held(0);
}

// How many pixels become one beforehand at this scale.
int pixelsToAverage(double scale)
{
    constexpr double kMost = 16; // as shrunkByBoxes takes them
    constexpr double kLeft = 1.5; // from here on the library's filter averages, too
    if (!(scale > 0))
        return 1;
    const double shrink = std::min(1 / scale, kMost * kLeft), whole = std::round(shrink);
    if (whole <= kMost && std::abs(shrink - whole) < 1e-9)
        return int(whole);
    return std::max(1, int(shrink / kLeft));
}

cairo_surface_t* surfaceOf(const Bitmap& bitmap)
{
    // Cairo only reads what is used as a source.
    auto* pixels = reinterpret_cast<unsigned char*>(const_cast<std::uint32_t*>(bitmap.pixels.data()));
    return cairo_image_surface_create_for_data(
        pixels, CAIRO_FORMAT_ARGB32, bitmap.width, bitmap.height, bitmap.width * 4);
}

} // namespace

struct NSGraphicsContext::Canvas {
    Canvas(int width, int height)
        : bitmap{width, height, std::vector<std::uint32_t>(std::size_t(width) * std::size_t(height))}
        , surface(surfaceOf(bitmap))
        , cairo(cairo_create(surface))
    { }
    ~Canvas()
    {
        cairo_destroy(cairo);
        cairo_surface_destroy(surface);
    }
    Bitmap bitmap;
    cairo_surface_t* surface;
    cairo_t* cairo;
};

NSGraphicsContext::NSGraphicsContext(NSSize size)
    : size_(size)
{
    if (!std::isfinite(size.width) || !std::isfinite(size.height) || size.width <= 0 || size.height <= 0)
        return;
    double scale = std::min({1.0, kLongestSide / size.width, kLongestSide / size.height});
    scale *= std::min(1.0, std::sqrt(kMostPixels / (size.width * scale) / (size.height * scale)));
    const auto pixels = [&](double points) {
        return int(std::clamp(scale < 1 ? std::floor(points * scale) : std::ceil(points), 1.0, kLongestSide));
    };
    canvas_ = std::make_unique<Canvas>(pixels(size.width), pixels(size.height));
    const double x = scale < 1 ? canvas_->bitmap.width / size.width : 1;
    const double y = scale < 1 ? canvas_->bitmap.height / size.height : 1;
    cairo_translate(canvas_->cairo, 0, canvas_->bitmap.height);
    cairo_scale(canvas_->cairo, x, -y);
}

NSGraphicsContext::~NSGraphicsContext() = default;

void NSGraphicsContext::translateXByYBy(double x, double y)
{
    if (canvas_ && std::isfinite(x) && std::isfinite(y))
        cairo_translate(canvas_->cairo, x, y);
}

void NSGraphicsContext::rotateByDegrees(double degrees)
{
    if (canvas_ && std::isfinite(degrees))
        cairo_rotate(canvas_->cairo, degrees * std::numbers::pi / 180);
}

void NSGraphicsContext::scaleBy(double factor)
{
    // Cairo takes no matrix that can't be undone.
    if (canvas_ && std::isnormal(factor))
        cairo_scale(canvas_->cairo, factor, factor);
}

void NSGraphicsContext::drawInRectFromRectOperationFraction(
    const NSImage& image, NSRect destination, NSRect source, NSCompositingOperation operation, double fraction)
{
    draw(image, destination, source, operation, fraction, interpolation_);
}

void NSGraphicsContext::drawInRectFromRectOperationFractionRespectFlippedHints(const NSImage& image, NSRect destination,
    NSRect source, NSCompositingOperation operation, double fraction, bool, const Dictionary& hints)
{
    auto interpolation = interpolation_;
    if (const auto hint = hints.find(NSImageHintInterpolation); hint != hints.end()) {
        const auto* number = hint->second.as<std::int64_t>();
        if (number && *number == 2)
            interpolation = NSImageInterpolation::Low;
        else if (number && *number == 3)
            interpolation = NSImageInterpolation::High;
    }
    draw(image, destination, source, operation, fraction, interpolation);
}

void NSGraphicsContext::draw(const NSImage& image, NSRect destination, NSRect source, NSCompositingOperation operation,
    double fraction, NSImageInterpolation interpolation)
{
    const NSSize size = image.size();
    if (source == NSRect{})
        source.size = size;
    if (!canvas_ || image.representations().empty() || !isFinite(destination) || !isFinite(source))
        return;
    const auto& bitmap = image.representations().front().bitmap();
    // Of another number of pixels than its size says, it would be read beyond its end.
    if (!bitmap || bitmap->pixels.empty() || bitmap->width < 1
        || bitmap->pixels.size() != std::size_t(bitmap->width) * std::size_t(bitmap->height) || !(size.width > 0)
        || !(size.height > 0))
        return;
    if (!(source.size.width > 0) || !(source.size.height > 0) || !(destination.size.width > 0)
        || !(destination.size.height > 0))
        return;

    // Only what lies in the image is drawn, on its share of the destination.
    const double left = std::max(0.0, source.origin.x), bottom = std::max(0.0, source.origin.y);
    const double width = std::min(size.width, source.origin.x + source.size.width) - left;
    const double height = std::min(size.height, source.origin.y + source.size.height) - bottom;
    if (!(width > 0) || !(height > 0))
        return;
    const double xScale = destination.size.width / source.size.width;
    const double yScale = destination.size.height / source.size.height;

    cairo_t* cairo = canvas_->cairo;
    cairo_save(cairo);
    // Points of the image, y downwards from its top, as the pixels lie.
    cairo_translate(cairo, destination.origin.x - source.origin.x * xScale,
        destination.origin.y + (size.height - source.origin.y) * yScale);
    cairo_scale(cairo, xScale, -yScale);
    cairo_rectangle(cairo, left, size.height - bottom - height, width, height);
    cairo_clip(cairo);
    cairo_scale(cairo, size.width / bitmap->width, size.height / bitmap->height);
    // Where a picture shrinks a lot, its pixels are averaged first: the library would take them one by one. What is
    // left for it is enough for its filter, unless it comes out even.
    int columns = 1, rows = 1;
    if (interpolation == NSImageInterpolation::Low) {
        cairo_matrix_t matrix;
        cairo_get_matrix(cairo, &matrix);
        columns = pixelsToAverage(std::hypot(matrix.xx, matrix.yx));
        rows = pixelsToAverage(std::hypot(matrix.xy, matrix.yy));
    }
    Bitmap shrunk;
    if (columns > 1 || rows > 1) {
        const double perX = bitmap->width / size.width, perY = bitmap->height / size.height;
        const int x0 = std::min(int(left * perX), bitmap->width - 1);
        const int y0 = std::min(int((size.height - bottom - height) * perY), bitmap->height - 1);
        const int x1 = std::clamp(int(std::ceil((left + width) * perX)), x0 + 1, bitmap->width);
        const int y1 = std::clamp(int(std::ceil((size.height - bottom) * perY)), y0 + 1, bitmap->height);
        shrunk = shrunkByBoxes(*bitmap, x0, y0, x1 - x0, y1 - y0, columns, rows);
        cairo_translate(cairo, x0, y0);
        cairo_scale(cairo, columns, rows);
    }
    cairo_surface_t* pixels = surfaceOf(shrunk.pixels.empty() ? *bitmap : shrunk);
    cairo_set_source_surface(cairo, pixels, 0, 0);
    cairo_pattern_set_extend(cairo_get_source(cairo), CAIRO_EXTEND_PAD);
    cairo_pattern_set_filter(
        cairo_get_source(cairo), interpolation == NSImageInterpolation::High ? CAIRO_FILTER_BEST : CAIRO_FILTER_GOOD);
    cairo_set_operator(cairo, operatorOf(operation));
    // This filter overshoots at edges, each channel for itself.
    overshot_ |= interpolation == NSImageInterpolation::High;
    if (fraction < 1)
        cairo_paint_with_alpha(cairo, std::max(0.0, fraction));
    else
        cairo_paint(cairo);
    cairo_restore(cairo);
    cairo_surface_destroy(pixels);
}

void NSGraphicsContext::fillRectUsingOperation(NSRect rect, NSCompositingOperation operation)
{
    if (!canvas_ || !isFinite(rect))
        return;
    cairo_t* cairo = canvas_->cairo;
    cairo_save(cairo);
    // Operations that clear what the source doesn't cover do so within the clip.
    cairo_rectangle(cairo, rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
    cairo_clip(cairo);
    cairo_set_source_rgba(cairo, color_.red, color_.green, color_.blue, color_.alpha);
    cairo_set_operator(cairo, operatorOf(operation));
    cairo_paint(cairo);
    cairo_restore(cairo);
}

std::shared_ptr<const NSImage> NSGraphicsContext::unlockFocus()
{
    std::vector<NSBitmapImageRep> representations;
    if (canvas_) {
        cairo_surface_flush(canvas_->surface);
        cairo_surface_finish(canvas_->surface);
        if (overshot_)
            std::for_each(canvas_->bitmap.pixels.begin(), canvas_->bitmap.pixels.end(), holdToAlpha);
        representations.emplace_back(std::make_shared<const Bitmap>(std::move(canvas_->bitmap)));
        canvas_.reset();
    }
    return std::make_shared<const NSImage>(size_, std::move(representations));
}

} // namespace vitrel
