#pragma once

#include "platform/appkit/NSImage.h"
#include "platform/coreimage/CGAffineTransform.h"
#include "platform/coreimage/CIColor.h"
#include "platform/coreimage/ImageNode.h"

namespace vitrel {

// The operations. A null input is the empty image, and so is a null result; parameters may be any numbers.
NodeRef bitmapNode(NSBitmapImageRep representation);
NodeRef constantNode(const CIColor& color);
NodeRef clampNode(NodeRef input);
NodeRef cropNode(NodeRef input, const NSRect& rect);
NodeRef nearestNode(NodeRef input);
NodeRef transformNode(NodeRef input, const CGAffineTransform& transform);
NodeRef overNode(NodeRef input, NodeRef background);
NodeRef exposureNode(NodeRef input, double stops);
NodeRef blurNode(NodeRef input, double radius);
NodeRef lanczosNode(NodeRef input, double scale, double aspectRatio);

} // namespace vitrel
