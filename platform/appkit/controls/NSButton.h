#pragma once

#include "platform/appkit/controls/NSControl.h"
#include "platform/appkit/controls/NSMenu.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vitrel {

// Works out how much room a text takes, in points. Whoever shows a control sets it; without it, a rough measure of a
// system font of 13 points.
using TextMeasure = std::function<NSSize(const std::string& text)>;

// What draws a button's inside.
class NSButtonCell
{
public:
    // The room that the button needs for its title, points.
    NSSize cellSize() const;

private:
    friend class NSButton;
    std::string title_;
    TextMeasure measure_;
};

// A push button or a check box. Main thread.
class NSButton : public NSControl
{
public:
    // A check box's states.
    static constexpr int kOff = 0, kOn = 1;

    const std::string& title() const { return cell_.title_; }
    void setTitle(const std::string& title);

    int state() const { return state_; }
    void setState(int state);

    const NSButtonCell& cell() const { return cell_; }
    void setTextMeasure(TextMeasure measure) { cell_.measure_ = std::move(measure); }
    // Takes the cell's size, keeping the lower left corner.
    void sizeToFit();

private:
    NSButtonCell cell_;
    int state_ = kOff;
};

// A button that offers a choice of entries.
class NSPopUpButton : public NSButton
{
public:
    const std::vector<std::shared_ptr<NSMenuItem>>& itemArray() const { return items_; }
    void addItem(std::shared_ptr<NSMenuItem> item);

private:
    std::vector<std::shared_ptr<NSMenuItem>> items_;
};

} // namespace vitrel
