#pragma once

#include "platform/foundation/RunLoop.h"

#include <QSocketNotifier>

namespace vitrel {

// Turns our loop from within Qt's. Main thread.
class LoopDriver
{
public:
    // `loop` must outlive it.
    explicit LoopDriver(RunLoop& loop)
        : notifier_(loop.descriptor(), QSocketNotifier::Read)
    {
        QObject::connect(&notifier_, &QSocketNotifier::activated, [&loop] { loop.turn(); });
    }

private:
    QSocketNotifier notifier_;
};

} // namespace vitrel
