#include "platform/appkit/controls/NSButton.h"

#include <algorithm>

namespace vitrel {
namespace {

// The frame of a push button around its title, and its least height.
constexpr double kMargin = 14, kHeight = 24;

// Half a letter's height for a Latin letter, a whole one for a wide one: near enough to tell that a title doesn't fit.
NSSize roughMeasure(const std::string& text)
{
    double width = 0;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte & 0xC0) != 0x80)
            width += byte >= 0xE3 ? 13 : 7;
    }
    return {width, 16};
}

} // namespace

NSSize NSButtonCell::cellSize() const
{
    const NSSize text = measure_ ? measure_(title_) : roughMeasure(title_);
    return {text.width + 2 * kMargin, std::max(kHeight, text.height + 8)};
}

void NSButton::setTitle(const std::string& title)
{
    cell_.title_ = title;
    didChange();
}

void NSButton::setState(int state)
{
    state_ = state;
    didChange();
}

void NSButton::sizeToFit()
{
    setFrame({frame().origin, cell_.cellSize()});
    didChange();
}

void NSPopUpButton::addItem(std::shared_ptr<NSMenuItem> item)
{
    items_.push_back(std::move(item));
    didChange();
}

} // namespace vitrel
