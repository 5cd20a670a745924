#include "platform/appkit/wayland/WaylandWindow.h"

#include "platform/appkit/wayland/WaylandPrivate.h"
#include "platform/appkit/wayland/WaylandSurface.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace vitrel {

namespace {

// A nudged table is no user who came back.
constexpr double kDismissDistance = 10;
// The first size comes within milliseconds; a compositor that is slower gives it later.
constexpr Seconds kSizeTime{0.25};
// Beyond these nobody has a display, and memory would be at stake.
constexpr int kLongestSide = 16384;
constexpr std::int64_t kMostPixels = 8192 * 8192;

} // namespace

struct WaylandWindow::Native final : WaylandListener {
    Native(std::shared_ptr<WaylandConnection> connection, bool covering);
    ~Native() override { leave(); }
    void leave();

    void becomeLayer(const WaylandOutput& output);
    void becomeToplevel(const std::string& title, const WaylandOutput* fullScreenOn);
    void start();
    void resize(int width, int height);
    void configured(std::uint32_t width, std::uint32_t height);
    int scaleNow() const; // in 120ths
    const WaylandOutputProxy* output() const;

    void handleInput(const WaylandInput& input) override;
    void outputsChanged() override;
    void followFractions();
    bool fillsOutput(int width, int height) const;
    void followScale();
    void askForKeys();
    void connectionLost() override { becomeClosed(); }
    void pointerIsAt(double x, double y);
    void dismiss();
    void becomeClosed();

    WaylandWindow* window = nullptr;
    const std::shared_ptr<WaylandConnection> connection;
    const std::shared_ptr<WaylandCanvas> canvas = std::make_shared<WaylandCanvas>();
    zwlr_layer_surface_v1* layer = nullptr;
    xdg_surface* shellSurface = nullptr;
    xdg_toplevel* toplevel = nullptr;
    zxdg_toplevel_decoration_v1* decoration = nullptr;
    std::uint32_t outputGlobal = 0; // of a covering window
    Entrance entrance = Entrance::Gentle;
    Seconds fade{0};
    std::vector<wl_output*> entered; // by an ordinary one
    int ownWidth = 0, ownHeight = 0; // the compositor's units, where it leaves the choice to us
    wp_fractional_scale_v1* fractional = nullptr;
    int preferredScale = 0; // as the compositor said it, in 120ths; 0 before it did
    std::int32_t wantedWidth = 0, wantedHeight = 0; // of a toplevel, until it is to be so
    bool closed = false, dismissed = false, pointerSeen = false;
    double pointerX = 0, pointerY = 0;
};

WaylandWindow::Native::Native(std::shared_ptr<WaylandConnection> connection, bool covering)
    : connection(std::move(connection))
{
    canvas->connection = this->connection;
    canvas->isCovering = covering;
    canvas->surface = wl_compositor_create_surface(this->connection->wire().compositor);
    static const wl_surface_listener listener = {
        .enter =
            [](void* data, wl_surface*, wl_output* output) {
                auto& native = *static_cast<Native*>(data);
                native.entered.push_back(output);
                native.followScale();
            },
        .leave =
            [](void* data, wl_surface*, wl_output* output) {
                auto& native = *static_cast<Native*>(data);
                std::erase(native.entered, output);
                native.followScale();
            },
    };
    wl_surface_add_listener(canvas->surface, &listener, this);
    this->connection->listen(canvas->surface, this);
    followFractions();
}

// Pictures of any size are shown at that of the window: needed for a scale that is no whole number.
void WaylandWindow::Native::followFractions()
{
    auto& wire = connection->wire();
    if (!wire.viewporter)
        return;
    canvas->viewport = wp_viewporter_get_viewport(wire.viewporter, canvas->surface);
    if (!wire.fractionalScales)
        return;
    fractional = wp_fractional_scale_manager_v1_get_fractional_scale(wire.fractionalScales, canvas->surface);
    static const wp_fractional_scale_v1_listener listener
        = {.preferred_scale = [](void* data, wp_fractional_scale_v1*, std::uint32_t scale) {
              auto& native = *static_cast<Native*>(data);
              native.preferredScale = int(std::clamp<std::uint32_t>(scale, kWholeScale / 4, kWholeScale * 16));
              native.followScale();
          }};
    wp_fractional_scale_v1_add_listener(fractional, &listener, this);
}

void WaylandWindow::Native::leave()
{
    closed = true;
    canvas->configured = false;
    if (!canvas->surface)
        return;
    connection->unlisten(canvas->surface);
    if (fractional)
        wp_fractional_scale_v1_destroy(std::exchange(fractional, nullptr));
    if (canvas->viewport)
        wp_viewport_destroy(std::exchange(canvas->viewport, nullptr));
    if (decoration)
        zxdg_toplevel_decoration_v1_destroy(std::exchange(decoration, nullptr));
    if (toplevel)
        xdg_toplevel_destroy(std::exchange(toplevel, nullptr));
    if (shellSurface)
        xdg_surface_destroy(std::exchange(shellSurface, nullptr));
    if (layer)
        zwlr_layer_surface_v1_destroy(std::exchange(layer, nullptr));
    wl_surface_destroy(std::exchange(canvas->surface, nullptr));
    connection->flush();
}

void WaylandWindow::Native::becomeLayer(const WaylandOutput& output)
{
    layer = zwlr_layer_shell_v1_get_layer_surface(connection->wire().layerShell, canvas->surface,
        connection->wire().outputs.at(output.global)->output, ZWLR_LAYER_SHELL_V1_LAYER_OVERLAY, "vitrel");
    static const zwlr_layer_surface_v1_listener listener = {
        .configure =
            [](void* data, zwlr_layer_surface_v1* layer, std::uint32_t serial, std::uint32_t width,
                std::uint32_t height) {
                zwlr_layer_surface_v1_ack_configure(layer, serial);
                static_cast<Native*>(data)->configured(width, height);
            },
        .closed = [](void* data, zwlr_layer_surface_v1*) { static_cast<Native*>(data)->becomeClosed(); },
    };
    zwlr_layer_surface_v1_add_listener(layer, &listener, this);
    zwlr_layer_surface_v1_set_size(layer, 0, 0);
    zwlr_layer_surface_v1_set_anchor(layer,
        ZWLR_LAYER_SURFACE_V1_ANCHOR_TOP | ZWLR_LAYER_SURFACE_V1_ANCHOR_BOTTOM | ZWLR_LAYER_SURFACE_V1_ANCHOR_LEFT
            | ZWLR_LAYER_SURFACE_V1_ANCHOR_RIGHT);
    zwlr_layer_surface_v1_set_exclusive_zone(layer, -1);
    zwlr_layer_surface_v1_set_keyboard_interactivity(layer, ZWLR_LAYER_SURFACE_V1_KEYBOARD_INTERACTIVITY_EXCLUSIVE);
}

void WaylandWindow::Native::becomeToplevel(const std::string& title, const WaylandOutput* fullScreenOn)
{
    auto& wire = connection->wire();
    shellSurface = xdg_wm_base_get_xdg_surface(wire.shell, canvas->surface);
    static const xdg_surface_listener surfaceListener
        = {.configure = [](void* data, xdg_surface* surface, std::uint32_t serial) {
              auto& native = *static_cast<Native*>(data);
              xdg_surface_ack_configure(surface, serial);
              native.configured(
                  std::uint32_t(std::max(0, native.wantedWidth)), std::uint32_t(std::max(0, native.wantedHeight)));
          }};
    xdg_surface_add_listener(shellSurface, &surfaceListener, this);
    toplevel = xdg_surface_get_toplevel(shellSurface);
    static const xdg_toplevel_listener listener = {
        .configure =
            [](void* data, xdg_toplevel*, std::int32_t width, std::int32_t height, wl_array*) {
                static_cast<Native*>(data)->wantedWidth = width;
                static_cast<Native*>(data)->wantedHeight = height;
            },
        .close =
            [](void* data, xdg_toplevel*) {
                auto& native = *static_cast<Native*>(data);
                // Full screen it is the user's word, not the end of the display.
                if (native.canvas->isCovering)
                    native.dismiss();
                else
                    native.becomeClosed();
            },
    };
    xdg_toplevel_add_listener(toplevel, &listener, this);
    xdg_toplevel_set_title(toplevel, title.c_str());
    xdg_toplevel_set_app_id(toplevel, "vitrel");
    if (fullScreenOn) {
        xdg_toplevel_set_fullscreen(toplevel, wire.outputs.at(fullScreenOn->global)->output);
    } else if (wire.decorations) {
        decoration = zxdg_decoration_manager_v1_get_toplevel_decoration(wire.decorations, toplevel);
        zxdg_toplevel_decoration_v1_set_mode(decoration, ZXDG_TOPLEVEL_DECORATION_V1_MODE_SERVER_SIDE);
    }
}

// The commit without a picture asks for the first size.
void WaylandWindow::Native::start()
{
    wl_surface_commit(canvas->surface);
    connection->waitUntil([this] { return canvas->configured || closed; }, kSizeTime);
}

const WaylandOutputProxy* WaylandWindow::Native::output() const
{
    const auto& outputs = connection->wire().outputs;
    const auto place = outputs.find(outputGlobal);
    return place == outputs.end() ? nullptr : place->second.get();
}

int WaylandWindow::Native::scaleNow() const
{
    if (preferredScale > 0)
        return preferredScale;
    if (wl_surface_get_version(canvas->surface) < WL_SURFACE_SET_BUFFER_SCALE_SINCE_VERSION)
        return kWholeScale;
    if (canvas->isCovering)
        return output() ? output()->complete.scale * kWholeScale : canvas->scale;
    int scale = 1;
    for (const auto& [global, proxy] : connection->wire().outputs)
        if (std::find(entered.begin(), entered.end(), proxy->output) != entered.end())
            scale = std::max(scale, proxy->complete.scale);
    return scale * kWholeScale;
}

void WaylandWindow::Native::resize(int width, int height)
{
    const int scale = scaleNow();
    const int before[] = {canvas->width, canvas->height};
    // Halves upwards, as the protocol says.
    const auto inPixels = [scale](int units) {
        return int(std::max<std::int64_t>(1, (std::int64_t(units) * scale + kWholeScale / 2) / kWholeScale));
    };
    canvas->unitWidth = width;
    canvas->unitHeight = height;
    canvas->scale = scale;
    const bool fills = fillsOutput(width, height);
    canvas->width = fills ? output()->complete.width : inPixels(width);
    canvas->height = fills ? output()->complete.height : inPixels(height);
    if (before[0] == canvas->width && before[1] == canvas->height)
        return;
    if (const auto callback = window ? window->onResized : nullptr)
        callback(canvas->width, canvas->height);
}

// Sizes that make no sense leave the choice to us, as 0 does.
void WaylandWindow::Native::configured(std::uint32_t width, std::uint32_t height)
{
    const std::int64_t scale = scaleNow();
    const auto limit = std::uint32_t(kLongestSide * kWholeScale / scale);
    const auto most = kMostPixels * kWholeScale / scale * kWholeScale / scale;
    int wide = width == 0 || width > limit ? ownWidth : int(width);
    int high = height == 0 || height > limit ? ownHeight : int(height);
    if (std::int64_t(wide) * high > most) {
        wide = ownWidth;
        high = ownHeight;
    }
    canvas->configured = true;
    resize(wide, high);
}

// Whether a covering window of that size fills its output: units are whole numbers, so that sizes made from them and a
// scale are a pixel off, and of the scale itself compositors say only late what it is.
bool WaylandWindow::Native::fillsOutput(int width, int height) const
{
    const auto* covered = canvas->isCovering && canvas->viewport ? output() : nullptr;
    if (!covered)
        return false;
    const auto& its = covered->complete; // its scale is the next whole one
    const auto isScaled = [&](std::int64_t pixels, std::int64_t units) {
        return pixels < (units + 1) * its.scale && pixels > (units - 1) * (its.scale - 1);
    };
    const auto skew = std::int64_t(its.width) * height - std::int64_t(its.height) * width;
    return isScaled(its.width, width) && isScaled(its.height, height)
        && std::abs(skew) <= std::max(its.width, its.height);
}

void WaylandWindow::Native::outputsChanged()
{
    followScale();
    askForKeys();
}

// With an output goes the window that had the keys, and KWin gives them to nobody then until a window wants them anew.
void WaylandWindow::Native::askForKeys()
{
    const auto& seats = connection->wire().seats;
    const auto hasKeys = [this](const auto& seat) { return seat.second->focused == canvas->surface; };
    if (closed || !layer || !canvas->configured || std::any_of(seats.begin(), seats.end(), hasKeys))
        return;
    for (const auto wish :
        {ZWLR_LAYER_SURFACE_V1_KEYBOARD_INTERACTIVITY_NONE, ZWLR_LAYER_SURFACE_V1_KEYBOARD_INTERACTIVITY_EXCLUSIVE}) {
        zwlr_layer_surface_v1_set_keyboard_interactivity(layer, wish);
        wl_surface_commit(canvas->surface);
    }
    connection->flush();
}

void WaylandWindow::Native::followScale()
{
    if (!closed && canvas->unitWidth > 0)
        resize(canvas->unitWidth, canvas->unitHeight);
}

void WaylandWindow::Native::handleInput(const WaylandInput& input)
{
    auto& wire = connection->wire();
    if (input.kind == WaylandInput::Kind::PointerEntered) {
        if (canvas->isCovering)
            wl_pointer_set_cursor(input.pointer, input.serial, nullptr, 0, 0);
        else
            wire.showArrow(input.pointer, input.serial);
        connection->flush();
    }
    if (input.kind == WaylandInput::Kind::Pressed && toplevel && !canvas->isCovering) {
        xdg_toplevel_move(toplevel, input.seat, input.serial);
        connection->flush();
    }
    if (!canvas->isCovering)
        return;
    if (input.kind == WaylandInput::Kind::PointerEntered || input.kind == WaylandInput::Kind::PointerMoved)
        pointerIsAt(input.x, input.y);
    else
        dismiss();
}

// The first position is only where the pointer is: the window came up beneath it.
void WaylandWindow::Native::pointerIsAt(double x, double y)
{
    if (!std::exchange(pointerSeen, true)) {
        pointerX = x;
        pointerY = y;
    } else if (std::abs(x - pointerX) > kDismissDistance || std::abs(y - pointerY) > kDismissDistance) {
        dismiss();
    }
}

void WaylandWindow::Native::dismiss()
{
    if (closed || std::exchange(dismissed, true))
        return;
    if (const auto callback = canvas->onDismissed)
        callback();
    if (const auto callback = window ? window->onDismissed : nullptr)
        callback();
}

void WaylandWindow::Native::becomeClosed()
{
    if (std::exchange(closed, true))
        return;
    canvas->configured = false; // no more pictures
    if (const auto callback = window ? window->onClosed : nullptr)
        callback();
}

WaylandWindow::WaylandWindow(std::unique_ptr<Native> native)
    : native_(std::move(native))
{
    native_->window = this;
}

WaylandWindow::~WaylandWindow() = default;

std::unique_ptr<WaylandWindow> WaylandWindow::open(
    std::shared_ptr<WaylandConnection> connection, const std::string& title, int width, int height)
{
    if (!connection->isAlive() || !connection->missing(false).empty())
        return nullptr;
    auto native = std::make_unique<Native>(std::move(connection), false);
    native->ownWidth = std::clamp(width, 1, 8192);
    native->ownHeight = std::clamp(height, 1, 8192);
    native->resize(native->ownWidth, native->ownHeight);
    native->becomeToplevel(title, nullptr);
    native->start();
    return std::unique_ptr<WaylandWindow>(new WaylandWindow(std::move(native)));
}

std::unique_ptr<WaylandWindow> WaylandWindow::cover(
    std::shared_ptr<WaylandConnection> connection, const WaylandOutput& output, Entrance entrance, Seconds fade)
{
    if (!connection->isAlive() || !connection->missing(true).empty()
        || !connection->wire().outputs.contains(output.global))
        return nullptr;
    auto native = std::make_unique<Native>(std::move(connection), true);
    native->outputGlobal = output.global;
    native->entrance = entrance;
    native->fade = fade;
    native->ownWidth = std::clamp(output.width / std::max(1, output.scale), 1, 8192);
    native->ownHeight = std::clamp(output.height / std::max(1, output.scale), 1, 8192);
    native->resize(native->ownWidth, native->ownHeight);
    if (native->connection->wire().layerShell)
        native->becomeLayer(output);
    else
        native->becomeToplevel("Vitrel", &output);
    native->start();
    return std::unique_ptr<WaylandWindow>(new WaylandWindow(std::move(native)));
}

int WaylandWindow::width() const
{
    return native_->canvas->width;
}

int WaylandWindow::height() const
{
    return native_->canvas->height;
}

bool WaylandWindow::isVisible() const
{
    return native_->canvas->configured && !native_->closed && native_->connection->isAlive();
}

bool WaylandWindow::isClosed() const
{
    return native_->closed;
}

void WaylandWindow::leave()
{
    native_->leave();
}

std::unique_ptr<Surface> WaylandWindow::makeSurface()
{
    const bool isGentle = native_->canvas->isCovering && native_->entrance == Entrance::Gentle;
    auto surface = std::make_unique<WaylandSurface>(native_->canvas, isGentle ? native_->fade : Seconds(0));
    if (native_->canvas->isCovering && !isGentle)
        surface->showBlack();
    return surface;
}

} // namespace vitrel
