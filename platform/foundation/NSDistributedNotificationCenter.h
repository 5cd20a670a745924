#pragma once

#include "platform/foundation/NSObject.h"
#include "platform/foundation/RunLoop.h"
#include "platform/foundation/Value.h"

#include <memory>
#include <string>
#include <vector>

namespace vitrel {

// What an observer's selector is given, as a Value that holds it.
class NSNotification : public NSObject
{
public:
    NSNotification(std::string name, std::string object, Dictionary userInfo)
        : name(std::move(name))
        , object(std::move(object))
        , userInfo(std::move(userInfo))
    { }
    const std::string name, object;
    const Dictionary userInfo;
};

// Notifications by name, between the parts of one process. Observers are held weakly. Main thread.
class NSDistributedNotificationCenter
{
public:
    explicit NSDistributedNotificationCenter(RunLoop& loop);

    // From any sender if `object` is empty.
    void addObserverSelectorNameObject(
        const std::shared_ptr<NSObject>& observer, Selector selector, std::string name, std::string object = {});
    // Ends all of the observer's registrations; what was posted and not yet delivered no longer reaches it.
    void removeObserver(const NSObject& observer);
    // Delivered in the next turn of the run loop, in the order of posting, to those who observe then.
    void postNotificationNameObjectUserInfo(std::string name, std::string object, Dictionary userInfo);

private:
    struct Registration {
        std::weak_ptr<NSObject> observer;
        const NSObject* identity;
        Selector selector;
        std::string name, object;
    };
    using Registrations = std::vector<Registration>;

    static void deliver(Registrations& registrations, const std::shared_ptr<NSNotification>& notification);

    RunLoop& loop_;
    std::shared_ptr<Registrations> registrations_; // posted blocks may outlive the center
};

} // namespace vitrel
