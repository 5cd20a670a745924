#include "platform/screensaver/ScreenSaverView.h"

#include <cmath>

namespace vitrel {

bool ScreenSaverView::initWithFrameIsPreview(NSRect frame, bool isPreview)
{
    for (const double number : {frame.origin.x, frame.origin.y, frame.size.width, frame.size.height}) {
        if (!std::isfinite(number))
            return false;
    }
    if (frame.size.width < 0 || frame.size.height < 0)
        return false;
    setFrame(frame);
    isPreview_ = isPreview;
    return true;
}

void ScreenSaverView::startAnimation()
{
    isAnimating_ = true;
}

void ScreenSaverView::stopAnimation()
{
    isAnimating_ = false;
}

void ScreenSaverView::drawRect(NSRect) { }

} // namespace vitrel
