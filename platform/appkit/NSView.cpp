#include "platform/appkit/NSView.h"

#include <algorithm>

namespace vitrel {

NSView::~NSView()
{
    for (const auto& view : subviews_)
        view->superview_ = nullptr;
}

void NSView::setFrame(NSRect frame)
{
    frame_ = frame;
}

void NSView::addSubview(const std::shared_ptr<NSView>& view)
{
    if (!view || view.get() == this)
        return;
    const auto held = view; // the old parent may be the last holder
    if (held->superview_ == this) {
        const auto place = std::find(subviews_.begin(), subviews_.end(), held);
        std::rotate(place, place + 1, subviews_.end());
        return;
    }
    if (held->superview_)
        std::erase(held->superview_->subviews_, held);
    held->superview_ = this;
    subviews_.push_back(held);
    held->viewDidMoveToWindow();
}

void NSView::removeFromSuperview()
{
    if (!superview_)
        return;
    auto& siblings = superview_->subviews_;
    const auto place
        = std::find_if(siblings.begin(), siblings.end(), [this](const auto& view) { return view.get() == this; });
    superview_ = nullptr;
    if (place == siblings.end())
        return;
    const auto self = *place;
    siblings.erase(place);
    self->viewDidMoveToWindow();
}

void NSView::setToolTip(const std::optional<std::string>& text)
{
    toolTip_ = text;
    didChange();
}

void NSView::setHidden(bool hidden)
{
    hidden_ = hidden;
    didChange();
}

void NSView::didChange()
{
    if (onChange)
        onChange();
}

NSWindow* NSView::window() const
{
    const NSView* view = this;
    while (view->superview_)
        view = view->superview_;
    return view->window_;
}

void NSView::viewDidMoveToWindow()
{
    const auto views = subviews_;
    for (const auto& view : views)
        view->viewDidMoveToWindow();
}

} // namespace vitrel
