#include "platform/appkit/x11/X11Screens.h"

#include "platform/appkit/x11/X11Private.h"

#include <X11/Xatom.h>
#include <X11/extensions/Xrandr.h>

#include <algorithm>
#include <map>

namespace vitrel {

namespace {

// Blocks beyond these say nothing about who the monitor is.
constexpr long kMostEdid = 256;

Bytes edidOf(Display* display, RROutput output)
{
    const Atom property = XInternAtom(display, "EDID", True);
    Atom type = 0;
    int format = 0;
    unsigned long count = 0, left = 0;
    unsigned char* data = nullptr;
    Bytes bytes;
    if (property
        && XRRGetOutputProperty(display, output, property, 0, kMostEdid / 4, False, False, AnyPropertyType, &type,
               &format, &count, &left, &data)
            == Success
        && format == 8 && data)
        bytes.assign(data, data + count);
    if (data)
        XFree(data);
    return bytes;
}

std::string outputName(Display* display, XRRScreenResources* resources, RROutput output)
{
    std::string name;
    if (auto* info = resources ? XRRGetOutputInfo(display, resources, output) : nullptr) {
        name.assign(info->name, std::size_t(info->nameLen));
        XRRFreeOutputInfo(info);
    }
    return name;
}

// What tells this monitor from all others, also when it comes back.
std::string keyOf(const X11Monitor& monitor, bool withConnector)
{
    std::string key;
    if (const auto& identity = monitor.identity)
        key = "edid " + std::to_string(identity->vendor) + " " + std::to_string(identity->model) + " "
            + std::to_string(identity->serial) + " " + identity->serialText;
    if (withConnector)
        key += " at " + monitor.connector + " as " + monitor.name; // one output may show two monitors
    return key;
}

bool hasSerial(const X11Monitor& monitor)
{
    return monitor.identity && (monitor.identity->serial != 0 || !monitor.identity->serialText.empty());
}

void identify(X11Monitor& monitor, const std::string& key)
{
    const auto& identity = monitor.identity;
    auto& information = monitor.information;
    nameDisplay(information, key);
    if (identity) {
        information.vendor = identity->vendor;
        information.model = identity->model;
        information.serial = identity->serial;
        Dictionary info{{"DisplayVendorID", std::int64_t(identity->vendor)},
            {"DisplayProductID", std::int64_t(identity->model)},
            {"DisplaySerialNumber", std::int64_t(identity->serial)}};
        if (!identity->name.empty())
            info["DisplayProductName"] = Dictionary{{"en_US", identity->name}};
        information.info = std::move(info);
    }
    monitor.screen.localizedName = identity && !identity->name.empty() ? identity->name : monitor.name;
    monitor.screen.deviceDescription["NSScreenNumber"] = std::int64_t(information.number);
}

} // namespace

void identifyMonitors(std::vector<X11Monitor>& monitors)
{
    std::map<std::string, int> count;
    for (const auto& monitor : monitors)
        ++count[keyOf(monitor, false)];
    for (auto& monitor : monitors) {
        const bool isEnough = hasSerial(monitor) && count[keyOf(monitor, false)] == 1;
        identify(monitor, keyOf(monitor, !isEnough));
    }
}

std::vector<X11Monitor> x11Monitors(X11Connection& connection)
{
    if (!connection.isAlive())
        return {};
    Display* display = displayOf(connection);
    std::vector<X11Monitor> monitors;
    int count = 0;
    // The other call for resources asks the hardware, which takes up to a second.
    auto* resources
        = connection.extensions().randr >= 0 ? XRRGetScreenResourcesCurrent(display, connection.rootWindow()) : nullptr;
    auto* infos = resources ? XRRGetMonitors(display, connection.rootWindow(), True, &count) : nullptr;
    for (int k = 0; k < count; ++k) {
        const auto& info = infos[k];
        if (info.width <= 0 || info.height <= 0)
            continue;
        X11Monitor monitor{{}, info.x, info.y, info.width, info.height, {}, {}, {}, {}};
        if (char* name = XGetAtomName(display, info.name)) {
            monitor.name = name;
            XFree(name);
        }
        if (info.noutput > 0) {
            monitor.identity = parseEdid(edidOf(display, info.outputs[0]));
            monitor.connector = outputName(display, resources, info.outputs[0]);
        }
        monitors.insert(info.primary ? monitors.begin() : monitors.end(), std::move(monitor));
    }
    if (infos)
        XRRFreeMonitors(infos);
    if (resources)
        XRRFreeScreenResources(resources);
    if (monitors.empty()) {
        XWindowAttributes root;
        if (!connection.isAlive() || !XGetWindowAttributes(display, connection.rootWindow(), &root))
            return {};
        monitors.push_back({{}, 0, 0, root.width, root.height, "screen", {}, {}, {}});
    }
    identifyMonitors(monitors);
    const auto& first = monitors.front();
    const int left = first.x, bottom = first.y + first.height;
    for (auto& monitor : monitors)
        monitor.screen.frame
            = makeRect(monitor.x - left, bottom - monitor.y - monitor.height, monitor.width, monitor.height);
    connection.flush();
    return connection.isAlive() ? monitors : std::vector<X11Monitor>{};
}

const X11Monitor* x11MonitorOfWindow(
    X11Connection& connection, const std::vector<X11Monitor>& monitors, unsigned long window)
{
    if (!connection.isAlive() || monitors.empty())
        return nullptr;
    Display* display = displayOf(connection);
    XWindowAttributes attributes;
    int x = 0, y = 0;
    Window child = 0;
    if (!XGetWindowAttributes(display, window, &attributes)
        || !XTranslateCoordinates(
            display, window, connection.rootWindow(), attributes.width / 2, attributes.height / 2, &x, &y, &child))
        return nullptr;
    connection.flush();
    const auto place = std::find_if(monitors.begin(), monitors.end(), [&](const X11Monitor& monitor) {
        return x >= monitor.x && x < monitor.x + monitor.width && y >= monitor.y && y < monitor.y + monitor.height;
    });
    return place == monitors.end() ? &monitors.front() : &*place;
}

unsigned long x11VirtualRoot(X11Connection& connection)
{
    if (!connection.isAlive())
        return 0;
    Display* display = displayOf(connection);
    unsigned long found = connection.rootWindow();
    // Only where a window manager has made the name is there any to look for.
    const Atom property = XInternAtom(display, "__SWM_VROOT", True);
    Window root = 0, parent = 0, *children = nullptr;
    unsigned count = 0;
    if (property && XQueryTree(display, found, &root, &parent, &children, &count)) {
        for (unsigned k = 0; k < count; ++k) {
            Atom type = 0;
            int format = 0;
            unsigned long items = 0, left = 0;
            unsigned char* data = nullptr;
            if (XGetWindowProperty(
                    display, children[k], property, 0, 1, False, XA_WINDOW, &type, &format, &items, &left, &data)
                    == Success
                && type == XA_WINDOW && format == 32 && items == 1)
                found = *reinterpret_cast<const unsigned long*>(data);
            if (data)
                XFree(data);
        }
        if (children)
            XFree(children);
    }
    connection.flush();
    return connection.isAlive() ? found : 0;
}

} // namespace vitrel
