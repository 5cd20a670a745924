#include "platform/coreimage/CIImage.h"

#include "platform/coreimage/Nodes.h"

#include <limits>

namespace vitrel {

namespace {

// Every operation takes some stack when pixels are asked for and when the recipe goes.
constexpr int kDeepestRecipe = 256;

} // namespace

const NSRect CGRectInfinite = makeRect(-std::numeric_limits<double>::max() / 2, -std::numeric_limits<double>::max() / 2,
    std::numeric_limits<double>::max(), std::numeric_limits<double>::max());

bool CGRectIsInfinite(const NSRect& rect)
{
    return rect == CGRectInfinite;
}

CIImage::CIImage(std::shared_ptr<const ImageNode> node)
    : node_(node && node->depth() <= kDeepestRecipe ? std::move(node) : nullptr)
{ }

std::optional<CIImage> CIImage::imageWithData(ByteView data)
{
    const auto image = NSImage::imageWithData(data);
    if (!image || image->representations().empty())
        return std::nullopt;
    return imageWithBitmapImageRep(image->representations().front());
}

CIImage CIImage::imageWithBitmapImageRep(NSBitmapImageRep representation)
{
    return CIImage(bitmapNode(std::move(representation)));
}

NSRect CIImage::extent() const
{
    return node_ ? node_->extent() : NSRect{};
}

CIImage CIImage::imageByClampingToExtent() const
{
    return CIImage(clampNode(node_));
}

CIImage CIImage::imageByCroppingToRect(NSRect rect) const
{
    return CIImage(cropNode(node_, rect));
}

CIImage CIImage::imageByApplyingTransform(const CGAffineTransform& transform) const
{
    return CIImage(transformNode(node_, transform));
}

CIImage CIImage::imageBySamplingNearest() const
{
    return CIImage(nearestNode(node_));
}

} // namespace vitrel
