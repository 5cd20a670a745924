// What doctor says of the desktop.
#include "platform/appkit/wayland/WaylandIdle.h"
#include "platform/appkit/x11/X11Screens.h"
#include "platform/quartzcomposer/drawing/GLContext.h"
#include "programs/child/SaverProgram.h"
#include "programs/idle/IdleExamination.h"
#include "programs/vitrel/Report.h"

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

void examineIdleStart(RunLoop& loop, Report& report)
{
    if (auxiliaryProgram("vitrel-idle").empty())
        return report.broken("idle start", "vitrel-idle isn't installed; install the package again");
    const IdleExamination found = examineIdleness(loop);
    switch (found.state) {
    case IdleExamination::State::Other:
        report.idle("idle start", found.by + " waits here already; start Vitrel from it: " + found.advice);
        break;
    case IdleExamination::State::Waiting:
        report.good("idle start", "vitrel idle waits");
        break;
    case IdleExamination::State::Impossible:
        report.broken("idle start", found.advice);
        break;
    case IdleExamination::State::Possible:
        report.idle("idle start",
            found.by + " tells of idleness, and nobody listens; systemctl --user enable --now vitrel-idle");
        break;
    }
    report.idle("locker",
        found.locker.empty() ? "none is seen; Vitrel never locks, so have one if the screen is to be locked"
                             : found.locker + " runs; Vitrel leaves the screen to it when it locks");
}

} // namespace

void examineDesktop(Report& report)
{
    const SystemClock clock;
    RunLoop loop(clock);
    examineDisplays(loop, report);
    examineGraphics(report);
    examineIdleStart(loop, report);
}

} // namespace vitrel
