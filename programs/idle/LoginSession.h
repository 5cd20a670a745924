#pragma once

#include "programs/idle/Inhibitors.h"

#include "platform/foundation/RunLoop.h"

#include <functional>
#include <memory>
#include <vector>

namespace vitrel {

// What the login manager (org.freedesktop.login1, on the system's bus) knows of the user's session: whether it is
// locked, whether the machine goes to sleep, and who asks that idleness be overlooked. Without it nothing is told, and
// it is looked for again after a while. Main thread.
class LoginSession
{
public:
    explicit LoginSession(RunLoop& loop);
    ~LoginSession();
    LoginSession(const LoginSession&) = delete;
    LoginSession& operator=(const LoginSession&) = delete;

    // Begins to look. Each callback comes from a turn, at least once if the manager is there, and only with what is
    // new.
    void start();
    std::function<void(bool locked)> onLocked;
    std::function<void(bool asleep)> onAsleep;
    std::function<void(const std::vector<Inhibitor>&)> onInhibitors;

private:
    class Connection;
    std::shared_ptr<Connection> connection_;
};

} // namespace vitrel
