#pragma once

#include "programs/idle/Inhibitors.h"

#include "platform/foundation/RunLoop.h"

#include <functional>
#include <memory>

namespace vitrel {

// The service that applications ask to leave the screen alone: org.freedesktop.ScreenSaver on the session's bus. It is
// taken only if nobody has it, and is never taken from another: a desktop that has its own hears its applications
// itself. Requests end with the application. Main thread.
class SaverService
{
public:
    explicit SaverService(RunLoop& loop);
    ~SaverService();
    SaverService(const SaverService&) = delete;
    SaverService& operator=(const SaverService&) = delete;

    void start();
    // From a turn, when requests have come or gone.
    std::function<void(const InhibitorBook&)> onChanged;
    // Whether the name is ours.
    bool isOurs() const;

private:
    class Connection;
    std::shared_ptr<Connection> connection_;
};

} // namespace vitrel
