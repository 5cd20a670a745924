#include "platform/appkit/controls/NSMenu.h"

#include "platform/foundation/Value.h"

namespace vitrel {

std::shared_ptr<NSMenuItem> NSMenuItem::initWithTitleActionKeyEquivalent(
    std::string title, Selector action, std::string keyEquivalent)
{
    auto item = std::make_shared<NSMenuItem>();
    item->title_ = std::move(title);
    item->action_ = action;
    item->keyEquivalent_ = std::move(keyEquivalent);
    return item;
}

std::shared_ptr<NSMenuItem> NSMenuItem::separatorItem()
{
    auto item = std::make_shared<NSMenuItem>();
    item->isSeparatorItem_ = true;
    return item;
}

void NSMenuItem::sendAction()
{
    const auto target = target_.lock();
    if (target && action_.call)
        action_.call(*target, Value());
}

std::shared_ptr<NSMenu> NSMenu::initWithTitle(std::string title)
{
    auto menu = std::make_shared<NSMenu>();
    menu->title_ = std::move(title);
    return menu;
}

} // namespace vitrel
