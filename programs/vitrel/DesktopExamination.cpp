// What doctor says of the desktop.
#include "platform/appkit/wayland/WaylandIdle.h"
#include "platform/appkit/x11/X11Screens.h"
#include "platform/quartzcomposer/drawing/GLContext.h"
#include "programs/child/SaverProgram.h"
#include "programs/idle/IdleSource.h"
#include "programs/idle/OtherSavers.h"
#include "programs/vitrel/Report.h"

#include <algorithm>

namespace vitrel {

namespace {

void examineDisplays(RunLoop& loop, Report& report)
{
    if (WaylandConnection::isThere())
        if (const auto wayland = WaylandConnection::open(loop)) {
            const auto summary = waylandSummary(*wayland);
            if (!summary.missing.empty())
                return report.broken("displays", "the Wayland compositor lacks " + summary.missing);
            return report.good("displays", summary.displays + ", on Wayland, covered by " + summary.cover);
        }
    const auto connection = X11Connection::open(loop);
    if (!connection)
        return report.broken("displays", "neither WAYLAND_DISPLAY nor DISPLAY leads to one; run this in the desktop");
    std::string found;
    for (const auto& monitor : x11Monitors(*connection))
        found += (found.empty() ? "" : ", ") + monitor.name + " " + std::to_string(monitor.width) + "x"
            + std::to_string(monitor.height);
    report.good("displays", found + ", on X11");
}

void examineGraphics(Report& report)
{
    const auto* context = qc::GLContext::current();
    if (!context)
        return report.broken(
            "OpenGL", "there is no OpenGL 3.3; install the driver, or libegl-mesa0 and libgl1-mesa-dri");
    const std::string& name = context->renderer();
    if (context->software())
        report.good("OpenGL", name + ", on the processor: plain compositions run smoothly, deep ones may not");
    else
        report.good("OpenGL", name + ", on a graphics card");
}

void examineIdleness(RunLoop& loop, Report& report)
{
    if (auxiliaryProgram("vitrel-idle").empty())
        return report.broken("idle start", "vitrel-idle isn't installed; install the package again");
    const auto savers = otherSavers();
    const bool isWaiting = std::any_of(
        savers.begin(), savers.end(), [](const OtherSaver& saver) { return saver.program == "vitrel-idle"; });
    const auto starter
        = std::find_if(savers.begin(), savers.end(), [](const OtherSaver& saver) { return !saver.advice.empty(); });
    if (starter != savers.end())
        report.idle("idle start", starter->program + " waits here already; start Vitrel from it: " + starter->advice);
    else if (isWaiting)
        report.good("idle start", "vitrel idle waits");
    else if (const auto source = idleSourceHere(loop); source.name.empty())
        report.broken("idle start", source.advice);
    else
        report.idle("idle start",
            source.name + " tells of idleness, and nobody listens; systemctl --user enable --now vitrel-idle");
    const auto locker = std::find_if(savers.begin(), savers.end(), [](const OtherSaver& saver) { return saver.locks; });
    report.idle("locker",
        locker != savers.end() ? locker->program + " runs; Vitrel leaves the screen to it when it locks"
                               : "none is seen; Vitrel never locks, so have one if the screen is to be locked");
}

} // namespace

void examineDesktop(Report& report)
{
    const SystemClock clock;
    RunLoop loop(clock);
    examineDisplays(loop, report);
    examineGraphics(report);
    examineIdleness(loop, report);
}

} // namespace vitrel
