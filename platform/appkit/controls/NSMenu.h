#pragma once

#include "platform/foundation/NSObject.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vitrel {

// An entry of a menu or of a pop-up button. Main thread.
class NSMenuItem : public NSObject
{
public:
    static std::shared_ptr<NSMenuItem> initWithTitleActionKeyEquivalent(
        std::string title, Selector action, std::string keyEquivalent);
    static std::shared_ptr<NSMenuItem> separatorItem();

    const std::string& title() const { return title_; }
    void setTitle(const std::string& title) { title_ = title; }
    const std::optional<std::string>& identifier() const { return identifier_; }
    void setIdentifier(const std::string& identifier) { identifier_ = identifier; }
    // Empty without one.
    const std::string& keyEquivalent() const { return keyEquivalent_; }
    bool isSeparatorItem() const { return isSeparatorItem_; }

    // Held weakly.
    void setTarget(const std::shared_ptr<NSObject>& target) { target_ = target; }
    // The user chose it.
    void sendAction();

private:
    std::string title_, keyEquivalent_;
    std::optional<std::string> identifier_;
    Selector action_;
    std::weak_ptr<NSObject> target_;
    bool isSeparatorItem_ = false;
};

// Main thread.
class NSMenu : public NSObject
{
public:
    static std::shared_ptr<NSMenu> initWithTitle(std::string title);

    const std::string& title() const { return title_; }
    void addItem(std::shared_ptr<NSMenuItem> item) { items_.push_back(std::move(item)); }
    const std::vector<std::shared_ptr<NSMenuItem>>& itemArray() const { return items_; }

private:
    std::string title_;
    std::vector<std::shared_ptr<NSMenuItem>> items_;
};

} // namespace vitrel
