#include "platform/appkit/NSWindow.h"

#include <algorithm>
#include <utility>

namespace vitrel {

NSWindow::NSWindow(NSRect frame, std::unique_ptr<Surface> surface)
    : frame_(frame)
    , surface_(std::move(surface))
    , contentView_(std::make_shared<NSView>())
{
    contentView_->window_ = this;
    contentView_->setFrame({{0, 0}, frame.size});
}

NSWindow::~NSWindow()
{
    contentView_->window_ = nullptr;
    contentView_->viewDidMoveToWindow();
}

void NSWindow::setFrameDisplay(NSRect frame, bool)
{
    frame_ = frame;
    contentView_->setFrame({{0, 0}, frame.size});
}

void NSWindow::setAlphaValue(double alpha)
{
    alpha_ = std::clamp(alpha, 0.0, 1.0);
    if (surface_)
        surface_->setAlphaValue(alpha_);
}

void NSWindow::close()
{
    if (std::exchange(closed_, true))
        return;
    if (const auto delegate = std::dynamic_pointer_cast<NSWindowDelegate>(delegate_.lock()))
        delegate->windowWillClose({});
    const auto surface = std::move(surface_);
    contentView_->viewDidMoveToWindow();
    if (surface)
        surface->close();
    if (onClose)
        onClose();
}

} // namespace vitrel
