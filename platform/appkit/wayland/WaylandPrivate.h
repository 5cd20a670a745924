#pragma once

// For the sources of this folder: Wayland's names stay in here.
#include "platform/appkit/wayland/WaylandConnection.h"

#include <wayland-client.h>
#include <wayland-cursor.h>

#include <ext-idle-notify-v1-client.h>
#include <fractional-scale-v1-client.h>
#include <kde-idle-client.h>
#include <viewporter-client.h>
#include <wlr-layer-shell-v1-client.h>
#include <xdg-decoration-unstable-v1-client.h>
#include <xdg-output-unstable-v1-client.h>
#include <xdg-shell-client.h>

#include <functional>
#include <map>
#include <memory>

namespace vitrel {

struct WaylandInput {
    enum class Kind { PointerEntered, PointerMoved, Pressed, Other };
    Kind kind = Kind::Other; // Other: a key, a finger, a wheel
    double x = 0, y = 0; // of the pointer, in the surface
    std::uint32_t serial = 0;
    wl_seat* seat = nullptr;
    wl_pointer* pointer = nullptr;
};

// What a surface's owner hears. It may be gone after each call.
class WaylandListener
{
public:
    virtual ~WaylandListener() = default;
    virtual void handleInput(const WaylandInput& input) = 0;
    virtual void outputsChanged() = 0;
    virtual void connectionLost() = 0;
};

// An output while its description comes in.
struct WaylandOutputProxy {
    WaylandOutputProxy(WaylandConnection& connection, wl_output* output, std::uint32_t global);
    ~WaylandOutputProxy();
    // Some compositors tell the true position only so.
    void askForPosition(zxdg_output_manager_v1* manager);
    WaylandConnection& connection;
    wl_output* const output;
    zxdg_output_v1* position = nullptr;
    WaylandOutput pending, complete;
    int modeWidth = 0, modeHeight = 0;
    bool turned = false; // by a quarter
    bool isComplete = false;
};

// A seat, whose devices come and go.
struct WaylandSeat {
    WaylandSeat(WaylandConnection& connection, wl_seat* seat);
    ~WaylandSeat();
    void setCapabilities(std::uint32_t capabilities);
    void send(wl_surface* surface, WaylandInput input);
    WaylandConnection& connection;
    wl_seat* const seat;
    wl_pointer* pointer = nullptr;
    wl_keyboard* keyboard = nullptr;
    wl_touch* touch = nullptr;
    wl_surface *pointed = nullptr, *focused = nullptr; // null, or one that may be gone by now
};

// A pixel in a unit, as the protocol of fractional scales counts.
constexpr int kWholeScale = 120;

// What a window and its surface share.
struct WaylandCanvas {
    std::shared_ptr<WaylandConnection> connection;
    wl_surface* surface = nullptr; // null once the window is closed
    wp_viewport* viewport = nullptr; // stretches pictures to the size in units; null: they have the scale of the output
    int unitWidth = 0, unitHeight = 0; // the compositor's units
    int scale = kWholeScale; // 120ths of a pixel in a unit; without a viewport a whole number of pixels
    int width = 0, height = 0; // pixels
    bool configured = false; // the compositor has given it a size, and pictures may come
    bool isCovering = false;
    std::function<void()> onDismissed; // of the surface
};

struct WaylandWire {
    wl_display* display = nullptr;
    wl_registry* registry = nullptr;
    wl_compositor* compositor = nullptr;
    wl_shm* sharedMemory = nullptr;
    zwlr_layer_shell_v1* layerShell = nullptr;
    xdg_wm_base* shell = nullptr;
    zxdg_decoration_manager_v1* decorations = nullptr;
    zxdg_output_manager_v1* positions = nullptr;
    wp_viewporter* viewporter = nullptr;
    wp_fractional_scale_manager_v1* fractionalScales = nullptr;
    ext_idle_notifier_v1* idleNotifier = nullptr;
    org_kde_kwin_idle* kdeIdle = nullptr;
    std::map<std::uint32_t, std::unique_ptr<WaylandOutputProxy>> outputs;
    std::map<std::uint32_t, std::unique_ptr<WaylandSeat>> seats;
    wl_cursor_theme* cursors = nullptr;
    wl_surface* arrow = nullptr;

    // Shows the usual arrow, which no compositor shows by itself.
    void showArrow(wl_pointer* pointer, std::uint32_t serial);
    void destroy();
};

} // namespace vitrel
