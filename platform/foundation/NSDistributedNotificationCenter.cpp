#include "platform/foundation/NSDistributedNotificationCenter.h"

#include <algorithm>

namespace vitrel {

NSDistributedNotificationCenter::NSDistributedNotificationCenter(RunLoop& loop)
    : loop_(loop)
    , registrations_(std::make_shared<Registrations>())
{ }

void NSDistributedNotificationCenter::addObserverSelectorNameObject(
    const std::shared_ptr<NSObject>& observer, Selector selector, std::string name, std::string object)
{
    registrations_->push_back({observer, observer.get(), selector, std::move(name), std::move(object)});
}

void NSDistributedNotificationCenter::removeObserver(const NSObject& observer)
{
    std::erase_if(*registrations_, [&](const Registration& entry) { return entry.identity == &observer; });
}

void NSDistributedNotificationCenter::postNotificationNameObjectUserInfo(
    std::string name, std::string object, Dictionary userInfo)
{
    auto notification = std::make_shared<NSNotification>(std::move(name), std::move(object), std::move(userInfo));
    loop_.post([weak = std::weak_ptr(registrations_), notification = std::move(notification)] {
        if (const auto registrations = weak.lock())
            deliver(*registrations, notification);
    });
}

void NSDistributedNotificationCenter::deliver(
    Registrations& registrations, const std::shared_ptr<NSNotification>& notification)
{
    std::erase_if(registrations, [](const Registration& entry) { return entry.observer.expired(); });
    const Value value{std::shared_ptr<NSObject>(notification)};
    const Registrations now = registrations;
    for (const Registration& entry : now) {
        if (entry.name != notification->name || (!entry.object.empty() && entry.object != notification->object))
            continue;
        // One that was called before may have taken it away.
        const bool stillThere = std::any_of(registrations.begin(), registrations.end(),
            [&](const Registration& other) { return other.identity == entry.identity; });
        if (const auto observer = stillThere ? entry.observer.lock() : nullptr)
            entry.selector.call(*observer, value);
    }
}

} // namespace vitrel
