#pragma once

#include "platform/appkit/controls/NSControl.h"

#include <optional>
#include <string>

namespace vitrel {

// The desktop's colours for a text; what shows a field knows how they look.
enum class NSTextColor { textColor, secondaryLabelColor };

// A label, or a field that is typed in. Texts are UTF-8. Main thread.
class NSTextField : public NSControl
{
public:
    const std::string& stringValue() const { return stringValue_; }
    void setStringValue(const std::string& text);

    const std::optional<std::string>& placeholderString() const { return placeholderString_; }
    void setPlaceholderString(const std::optional<std::string>& text);

    NSTextColor textColor() const { return textColor_; }
    void setTextColor(NSTextColor color);

    // False for a label.
    bool isEditable() const { return isEditable_; }
    void setEditable(bool editable) { isEditable_ = editable; }

private:
    std::string stringValue_;
    std::optional<std::string> placeholderString_;
    NSTextColor textColor_ = NSTextColor::textColor;
    bool isEditable_ = false;
};

// A field whose action is sent at each change of its text.
class NSSearchField : public NSTextField
{
};

} // namespace vitrel
