#include "platform/appkit/controls/NSTextField.h"

namespace vitrel {

void NSTextField::setStringValue(const std::string& text)
{
    stringValue_ = text;
    didChange();
}

void NSTextField::setPlaceholderString(const std::optional<std::string>& text)
{
    placeholderString_ = text;
    didChange();
}

void NSTextField::setTextColor(NSTextColor color)
{
    textColor_ = color;
    didChange();
}

} // namespace vitrel
