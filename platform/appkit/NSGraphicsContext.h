#pragma once

#include "platform/appkit/NSImage.h"
#include "platform/foundation/Value.h"

#include <memory>

namespace vitrel {

// SourceIn keeps what is there only as a shape: as much of the source as it covers.
enum class NSCompositingOperation { Copy = 1, SourceOver = 2, SourceIn = 3 };

// Low is bilinear, with the pixels averaged where a picture shrinks; High takes more neighbours and more time.
enum class NSImageInterpolation { Low = 2, High = 3 };

// The key of a drawing hint: an interpolation as an integer.
inline constexpr const char* NSImageHintInterpolation = "NSImageHintInterpolation";

// The canvas of a new image, between lockFocus (the constructor) and unlockFocus. Points and pixels are the same, a
// fraction of a point takes a whole pixel; above 8192 points a side or 16 megapixels the pixels are coarser. The
// origin is the lower left corner. Any one thread.
class NSGraphicsContext
{
public:
    // Clear to start with. A size that is no size (0, negative, not finite) makes a canvas that nothing is drawn on.
    explicit NSGraphicsContext(NSSize size);
    ~NSGraphicsContext();
    NSGraphicsContext(const NSGraphicsContext&) = delete;
    NSGraphicsContext& operator=(const NSGraphicsContext&) = delete;

    void setImageInterpolation(NSImageInterpolation interpolation) { interpolation_ = interpolation; }

    // Change what later drawing takes its coordinates from; counter-clockwise, in degrees.
    void translateXByYBy(double x, double y);
    void rotateByDegrees(double degrees);
    void scaleBy(double factor);

    // Draws the part `source` of `image`, in points of the image, stretched over `destination`; an all-zero source is
    // the whole image. What `source` has beyond the image is not drawn. `fraction` 0 to 1 is its opacity.
    void drawInRectFromRectOperationFraction(
        const NSImage& image, NSRect destination, NSRect source, NSCompositingOperation operation, double fraction);
    // The same, with hints that outweigh the context's settings. The canvas is never flipped, so `respectFlipped`
    // changes nothing.
    void drawInRectFromRectOperationFractionRespectFlippedHints(const NSImage& image, NSRect destination, NSRect source,
        NSCompositingOperation operation, double fraction, bool respectFlipped, const Dictionary& hints);

    // What shapes are filled with; black to start with.
    void setColor(NSColor color) { color_ = color; }
    void fillRectUsingOperation(NSRect rect, NSCompositingOperation operation);

    // Ends the drawing and gives the image, which has exactly the size asked for. Never null; without a representation
    // if the canvas had none. A second call gives the same without pixels.
    std::shared_ptr<const NSImage> unlockFocus();

private:
    void draw(const NSImage& image, NSRect destination, NSRect source, NSCompositingOperation operation,
        double fraction, NSImageInterpolation interpolation);

    struct Canvas;
    const NSSize size_;
    std::unique_ptr<Canvas> canvas_; // null without pixels
    NSImageInterpolation interpolation_ = NSImageInterpolation::Low;
    NSColor color_{0, 0, 0, 1};
    bool overshot_ = false; // a colour may be above its alpha
};

} // namespace vitrel
