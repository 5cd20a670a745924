#include "platform/appkit/wayland/WaylandPrivate.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace vitrel {

namespace {

// A compositor that takes longer has hung.
constexpr Seconds kAnswerTime{5};
// More can be offered, and nobody has them.
constexpr std::size_t kMostOutputs = 64, kMostSeats = 16;

template <class T> T* bind(WaylandWire& wire, std::uint32_t global, const wl_interface& interface, unsigned version)
{
    return static_cast<T*>(wl_registry_bind(wire.registry, global, &interface, version));
}

} // namespace

bool WaylandConnection::isThere()
{
    const char* name = std::getenv("WAYLAND_DISPLAY");
    wl_display* display = name && *name ? wl_display_connect(name) : nullptr;
    if (display)
        wl_display_disconnect(display);
    return display != nullptr;
}

std::shared_ptr<WaylandConnection> WaylandConnection::open(RunLoop& loop, const std::string& name)
{
    std::shared_ptr<WaylandConnection> connection(new WaylandConnection(loop));
    return connection->connect(name) ? connection : nullptr;
}

WaylandConnection::WaylandConnection(RunLoop& loop)
    : loop_(loop)
    , wire_(std::make_unique<WaylandWire>())
{ }

WaylandConnection::~WaylandConnection()
{
    if (descriptor_ >= 0)
        loop_.unwatch(descriptor_);
    if (wire_->display)
        wire_->destroy();
}

bool WaylandConnection::connect(const std::string& name)
{
    // The library prints what goes wrong on the wire; here it is told, or is nobody's business.
    wl_log_set_handler_client([](const char*, va_list) {});
    wire_->display = wl_display_connect(name.empty() ? nullptr : name.c_str());
    if (!wire_->display)
        return false;
    alive_ = true;
    static const wl_registry_listener listener = {
        .global
        = [](void* self, wl_registry*, std::uint32_t global, const char* interface,
              std::uint32_t version) { static_cast<WaylandConnection*>(self)->addGlobal(global, interface, version); },
        .global_remove = [](void* self, wl_registry*,
                             std::uint32_t global) { static_cast<WaylandConnection*>(self)->removeGlobal(global); },
    };
    wire_->registry = wl_display_get_registry(wire_->display);
    wl_registry_add_listener(wire_->registry, &listener, this);
    // What there is; then what the outputs and seats say of themselves.
    if (!waitForAnswer())
        return false;
    for (const auto& [global, output] : wire_->outputs)
        output->askForPosition(wire_->positions);
    if (!waitForAnswer())
        return false;
    outputsPending_ = false; // nobody knew them otherwise
    descriptor_ = wl_display_get_fd(wire_->display);
    watch(false);
    flush();
    return alive_;
}

// Until all that was sent so far has been answered.
bool WaylandConnection::waitForAnswer()
{
    bool done = false;
    static const wl_callback_listener listener
        = {.done = [](void* flag, wl_callback*, std::uint32_t) { *static_cast<bool*>(flag) = true; }};
    wl_callback* callback = wl_display_sync(wire_->display);
    wl_callback_add_listener(callback, &listener, &done);
    waitUntil([&done] { return done; }, kAnswerTime);
    wl_callback_destroy(callback);
    return done;
}

void WaylandConnection::addGlobal(std::uint32_t global, const char* interface, std::uint32_t offered)
{
    auto& wire = *wire_;
    const auto is = [interface](const wl_interface& known) { return std::strcmp(interface, known.name) == 0; };
    const auto take = [&]<class T>(T*& place, const wl_interface& known, unsigned atMost, unsigned* told = nullptr) {
        if (place || !is(known) || offered == 0)
            return;
        place = bind<T>(wire, global, known, std::min(offered, atMost));
        if (told)
            *told = offered;
    };
    take(wire.compositor, wl_compositor_interface, 4, &protocols_.compositor);
    take(wire.sharedMemory, wl_shm_interface, 1, &protocols_.sharedMemory);
    take(wire.layerShell, zwlr_layer_shell_v1_interface, 4, &protocols_.layerShell);
    take(wire.decorations, zxdg_decoration_manager_v1_interface, 1);
    take(wire.positions, zxdg_output_manager_v1_interface, 3);
    take(wire.viewporter, wp_viewporter_interface, 1);
    take(wire.fractionalScales, wp_fractional_scale_manager_v1_interface, 1);
    take(wire.idleNotifier, ext_idle_notifier_v1_interface, 1, &protocols_.idleNotifier);
    take(wire.kdeIdle, org_kde_kwin_idle_interface, 1, &protocols_.kdeIdle);
    if (is(xdg_wm_base_interface) && !wire.shell) {
        take(wire.shell, xdg_wm_base_interface, 1, &protocols_.shell);
        static const xdg_wm_base_listener listener
            = {.ping = [](void*, xdg_wm_base* shell, std::uint32_t serial) { xdg_wm_base_pong(shell, serial); }};
        if (wire.shell)
            xdg_wm_base_add_listener(wire.shell, &listener, nullptr);
    } else if (is(wl_output_interface) && wire.outputs.size() < kMostOutputs && !wire.outputs.contains(global)) {
        auto* output = bind<wl_output>(wire, global, wl_output_interface, std::min(offered, 4u));
        wire.outputs[global] = std::make_unique<WaylandOutputProxy>(*this, output, global);
        wire.outputs[global]->askForPosition(wire.positions);
    } else if (is(wl_seat_interface) && wire.seats.size() < kMostSeats && !wire.seats.contains(global)) {
        protocols_.seats = offered;
        auto* seat = bind<wl_seat>(wire, global, wl_seat_interface, std::min(offered, 5u));
        wire.seats[global] = std::make_unique<WaylandSeat>(*this, seat);
    }
}

void WaylandConnection::removeGlobal(std::uint32_t global)
{
    wire_->seats.erase(global);
    if (wire_->outputs.erase(global) > 0)
        outputsHaveChanged();
}

std::string WaylandConnection::missing(bool toCover) const
{
    std::string names;
    const auto need = [&names](unsigned version, const char* name) {
        if (version == 0)
            names += (names.empty() ? "" : ", ") + std::string(name);
    };
    need(protocols_.compositor, "wl_compositor");
    need(protocols_.sharedMemory, "wl_shm");
    if (!toCover || protocols_.layerShell == 0)
        need(protocols_.shell, "xdg_wm_base");
    return names;
}

void WaylandConnection::listen(void* surface, WaylandListener* listener)
{
    listeners_[surface] = listener;
}

void WaylandConnection::unlisten(void* surface)
{
    listeners_.erase(surface);
}

WaylandListener* WaylandConnection::listenerOf(void* surface) const
{
    const auto place = listeners_.find(surface);
    return place == listeners_.end() ? nullptr : place->second;
}

void WaylandConnection::watch(bool forRoom)
{
    watchingForRoom_ = forRoom;
    loop_.watch(descriptor_, short(POLLIN | (forRoom ? POLLOUT : 0)), [this](short) { dispatch(); });
}

void WaylandConnection::flush()
{
    if (!alive_)
        return;
    // What can't be sent since the other end is closed may still be explained by what there is to read.
    const bool isFull = wl_display_flush(wire_->display) < 0 && errno == EAGAIN;
    if (descriptor_ >= 0 && isFull != watchingForRoom_)
        watch(isFull);
    if (wl_display_get_error(wire_->display) != 0)
        becomeLost();
}

bool WaylandConnection::readEvents()
{
    wl_display* display = wire_->display;
    while (wl_display_prepare_read(display) != 0)
        if (wl_display_dispatch_pending(display) < 0)
            return false;
    // Doesn't wait: there is no other reader.
    return wl_display_read_events(display) >= 0 && wl_display_dispatch_pending(display) >= 0;
}

void WaylandConnection::dispatch()
{
    const auto self = weak_from_this().lock(); // a handler may let go of the last holder
    if (!alive_)
        return;
    if (!readEvents())
        becomeLost();
    flush();
}

bool WaylandConnection::waitUntil(const std::function<bool()>& done, Seconds limit)
{
    const SystemClock clock;
    const Seconds end = clock.now() + limit;
    while (alive_ && !done()) {
        const Seconds left = end - clock.now();
        if (left <= Seconds(0))
            return false;
        flush();
        wl_display* display = wire_->display;
        if (!alive_ || wl_display_prepare_read(display) != 0) {
            if (wl_display_dispatch_pending(display) < 0)
                becomeLost();
            continue;
        }
        pollfd ready{wl_display_get_fd(display), short(POLLIN | (watchingForRoom_ ? POLLOUT : 0)), 0};
        const int count = poll(&ready, 1, int(left.count() * 1000) + 1);
        if (count > 0 && (ready.revents & ~POLLOUT))
            wl_display_read_events(display);
        else
            wl_display_cancel_read(display);
        if (wl_display_dispatch_pending(display) < 0)
            becomeLost();
    }
    return alive_;
}

void WaylandConnection::becomeLost()
{
    if (!std::exchange(alive_, false))
        return;
    if (descriptor_ >= 0)
        loop_.unwatch(std::exchange(descriptor_, -1));
    deferred(&WaylandConnection::tellLoss);
}

void WaylandConnection::tellLoss()
{
    const auto listeners = listeners_;
    for (const auto& [surface, listener] : listeners)
        if (listeners_.contains(surface))
            listener->connectionLost();
    if (const auto callback = onLost)
        callback();
}

void WaylandConnection::outputsHaveChanged()
{
    if (!std::exchange(outputsPending_, true))
        deferred(&WaylandConnection::tellOutputs);
}

void WaylandConnection::tellOutputs()
{
    if (!std::exchange(outputsPending_, false) || !alive_)
        return;
    const auto listeners = listeners_;
    for (const auto& [surface, listener] : listeners)
        if (listeners_.contains(surface))
            listener->outputsChanged();
    if (const auto callback = onOutputsChanged)
        callback();
}

void WaylandConnection::deferred(void (WaylandConnection::*what)())
{
    loop_.post([weak = weak_from_this(), what] {
        if (const auto self = weak.lock())
            (self.get()->*what)();
    });
}

std::vector<WaylandOutput> WaylandConnection::outputs() const
{
    std::vector<WaylandOutput> outputs;
    if (!alive_)
        return outputs;
    for (const auto& [global, proxy] : wire_->outputs)
        if (proxy->isComplete)
            outputs.push_back(proxy->complete);
    // Compositors announce them in any order; the one at the origin is the main one.
    std::stable_partition(
        outputs.begin(), outputs.end(), [](const WaylandOutput& output) { return output.x == 0 && output.y == 0; });
    identifyOutputs(outputs);
    return outputs;
}

void WaylandWire::destroy()
{
    outputs.clear();
    seats.clear();
    if (arrow)
        wl_surface_destroy(arrow);
    if (cursors)
        wl_cursor_theme_destroy(cursors);
    const auto release = [](auto* proxy) {
        if (proxy)
            wl_proxy_destroy(reinterpret_cast<wl_proxy*>(proxy));
    };
    release(fractionalScales);
    release(viewporter);
    release(idleNotifier);
    release(kdeIdle);
    release(decorations);
    release(positions);
    release(layerShell);
    release(shell);
    release(sharedMemory);
    release(compositor);
    release(registry);
    wl_display_flush(display);
    wl_display_disconnect(display);
}

} // namespace vitrel
