#include "wayland/FakeCompositor.h"

#include <wayland-server.h>

#include <ext-idle-notify-v1-server.h>
#include <fractional-scale-v1-server.h>
#include <viewporter-server.h>
#include <wlr-layer-shell-v1-server.h>
#include <xdg-shell-server.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

namespace vitrel {

const std::set<std::string> FakeCompositor::kAll
    = {"wl_compositor", "wl_shm", "wl_output", "wl_seat", "xdg_wm_base", "zwlr_layer_shell_v1", "ext_idle_notifier_v1"};

struct FakeCompositor::Inside {
    FakeCompositor* outside = nullptr;
    wl_display* display = nullptr;
    std::int32_t outputScale = 1;
    wl_global* output = nullptr;
    wl_resource *surface = nullptr, *layer = nullptr, *shellSurface = nullptr, *toplevel = nullptr;
    wl_resource* fraction = nullptr;
    std::pair<int, int> destination;
    wl_resource *pointer = nullptr, *keyboard = nullptr, *touch = nullptr;
    wl_resource *pending = nullptr, *current = nullptr; // buffers
    std::vector<wl_resource*> frames, taken;
    bool configured = false;
    State state;

    void configure(std::int32_t width, std::int32_t height)
    {
        configured = true;
        if (layer) {
            zwlr_layer_surface_v1_send_configure(layer, 7, std::uint32_t(width), std::uint32_t(height));
        } else if (toplevel) {
            wl_array none;
            wl_array_init(&none);
            xdg_toplevel_send_configure(toplevel, width, height, &none);
            xdg_surface_send_configure(shellSurface, 7);
        }
    }
    void take(wl_resource* buffer)
    {
        wl_shm_buffer* shared = wl_shm_buffer_get(buffer);
        wl_shm_buffer_begin_access(shared);
        state.picture = {wl_shm_buffer_get_width(shared), wl_shm_buffer_get_height(shared),
            state.picture ? state.picture->scale : 1, destination.first, destination.second,
            wl_shm_buffer_get_format(shared) == WL_SHM_FORMAT_ARGB8888,
            *static_cast<std::uint32_t*>(wl_shm_buffer_get_data(shared))};
        wl_shm_buffer_end_access(shared);
        current = buffer;
        taken.push_back(buffer);
    }
};

namespace {

using Inside = FakeCompositor::Inside;

Inside& of(wl_resource* resource)
{
    return *static_cast<Inside*>(wl_resource_get_user_data(resource));
}

void destroy(wl_client*, wl_resource* resource)
{
    wl_resource_destroy(resource);
}

wl_resource* make(wl_client* client, wl_resource* parent, const wl_interface& interface, std::uint32_t id,
    const void* implementation, wl_resource_destroy_func_t gone = nullptr)
{
    auto* made
        = wl_resource_create(client, &interface, std::min(wl_resource_get_version(parent), interface.version), id);
    wl_resource_set_implementation(made, implementation, wl_resource_get_user_data(parent), gone);
    return made;
}

// What a client asks for and this compositor doesn't do.
constexpr auto ignore = [](auto...) {};

const struct wl_region_interface kRegion = {.destroy = destroy, .add = ignore, .subtract = ignore};

const struct wl_surface_interface kSurface = {.destroy = destroy,
    .attach = [](wl_client*, wl_resource* surface, wl_resource* buffer, std::int32_t,
                  std::int32_t) { of(surface).pending = buffer; },
    .damage = ignore,
    .frame =
        [](wl_client* client, wl_resource* surface, std::uint32_t id) {
            auto* callback = wl_resource_create(client, &wl_callback_interface, 1, id);
            wl_resource_set_implementation(callback, nullptr, &of(surface),
                [](wl_resource* callback) { std::erase(of(callback).frames, callback); });
            of(surface).frames.push_back(callback);
        },
    .set_opaque_region = ignore,
    .set_input_region = ignore,
    .commit =
        [](wl_client*, wl_resource* surface) {
            auto& in = of(surface);
            ++in.state.commits;
            if (in.pending)
                in.take(std::exchange(in.pending, nullptr));
            else if (!in.configured && (in.layer || in.toplevel))
                in.configure(in.outside->firstWidth, in.outside->firstHeight);
        },
    .set_buffer_transform = ignore,
    .set_buffer_scale =
        [](wl_client*, wl_resource* surface, std::int32_t scale) {
            auto& picture = of(surface).state.picture;
            picture = picture.value_or(FakeCompositor::Picture());
            picture->scale = scale;
        },
    .damage_buffer = ignore,
    .offset = ignore};

const struct wl_compositor_interface kCompositor = {
    .create_surface =
        [](wl_client* client, wl_resource* compositor, std::uint32_t id) {
            ++of(compositor).state.surfaces;
            make(client, compositor, wl_surface_interface, id, &kSurface, [](wl_resource* surface) {
                --of(surface).state.surfaces;
                if (of(surface).surface == surface)
                    of(surface).surface = nullptr;
            });
        },
    .create_region = [](wl_client* client, wl_resource* compositor,
                         std::uint32_t id) { make(client, compositor, wl_region_interface, id, &kRegion); },
};

const struct zwlr_layer_surface_v1_interface kLayer = {.set_size = ignore,
    .set_anchor = ignore,
    .set_exclusive_zone = ignore,
    .set_margin = ignore,
    .set_keyboard_interactivity
    = [](wl_client*, wl_resource* layer, std::uint32_t wish) { of(layer).state.keyWishes += std::to_string(wish); },
    .get_popup = ignore,
    .ack_configure
    = [](wl_client*, wl_resource* layer, std::uint32_t serial) { of(layer).state.acknowledged = serial == 7; },
    .destroy = destroy,
    .set_layer = ignore};

const struct zwlr_layer_shell_v1_interface kLayerShell = {
    .get_layer_surface =
        [](wl_client* client, wl_resource* shell, std::uint32_t id, wl_resource* surface, wl_resource*, std::uint32_t,
            const char*) {
            auto& in = of(shell);
            in.surface = surface;
            in.configured = false;
            in.layer = make(client, shell, zwlr_layer_surface_v1_interface, id, &kLayer,
                [](wl_resource* layer) { of(layer).layer = nullptr; });
        },
    .destroy = destroy,
};

const struct xdg_toplevel_interface kToplevel = {.destroy = destroy,
    .set_parent = ignore,
    .set_title = ignore,
    .set_app_id = ignore,
    .set_fullscreen = [](wl_client*, wl_resource* toplevel, wl_resource*) { of(toplevel).state.fullScreen = true; }};

const struct xdg_surface_interface kShellSurface = {
    .destroy = destroy,
    .get_toplevel =
        [](wl_client* client, wl_resource* surface, std::uint32_t id) {
            auto& in = of(surface);
            in.configured = false;
            in.toplevel = make(client, surface, xdg_toplevel_interface, id, &kToplevel,
                [](wl_resource* toplevel) { of(toplevel).toplevel = nullptr; });
        },
    .ack_configure
    = [](wl_client*, wl_resource* surface, std::uint32_t serial) { of(surface).state.acknowledged = serial == 7; },
};

const struct xdg_wm_base_interface kShell = {
    .destroy = destroy,
    .get_xdg_surface =
        [](wl_client* client, wl_resource* shell, std::uint32_t id, wl_resource* surface) {
            of(shell).surface = surface;
            of(shell).shellSurface = make(client, shell, xdg_surface_interface, id, &kShellSurface);
        },
};

const struct wl_pointer_interface kPointer = {
    .set_cursor = [](wl_client*, wl_resource* pointer, std::uint32_t, wl_resource* surface, std::int32_t,
                      std::int32_t) { of(pointer).state.cursorHidden = surface == nullptr; },
    .release = destroy,
};
const struct wl_keyboard_interface kKeyboard = {.release = destroy};
const struct wl_touch_interface kTouch = {.release = destroy};

// A device of the seat, which is forgotten when the client lets it go.
template <wl_resource* Inside::*device, const wl_interface& interface, const auto& implementation>
void makeDevice(wl_client* client, wl_resource* seat, std::uint32_t id)
{
    of(seat).*device
        = make(client, seat, interface, id, &implementation, [](wl_resource* gone) { of(gone).*device = nullptr; });
}

const struct wl_seat_interface kSeat = {.get_pointer = makeDevice<&Inside::pointer, wl_pointer_interface, kPointer>,
    .get_keyboard =
        [](wl_client* client, wl_resource* seat, std::uint32_t id) {
            makeDevice<&Inside::keyboard, wl_keyboard_interface, kKeyboard>(client, seat, id);
            const int file = ::open("/dev/null", O_RDONLY);
            wl_keyboard_send_keymap(of(seat).keyboard, WL_KEYBOARD_KEYMAP_FORMAT_NO_KEYMAP, file, 0);
            ::close(file);
        },
    .get_touch = makeDevice<&Inside::touch, wl_touch_interface, kTouch>,
    .release = destroy};

const struct wp_viewport_interface kViewport = {.destroy = destroy,
    .set_source = ignore,
    .set_destination = [](wl_client*, wl_resource* viewport, std::int32_t width, std::int32_t height) {
        of(viewport).destination = {width, height};
    }};

const struct wp_viewporter_interface kViewporter = {
    .destroy = destroy,
    .get_viewport = [](wl_client* client, wl_resource* viewporter, std::uint32_t id,
                        wl_resource*) { make(client, viewporter, wp_viewport_interface, id, &kViewport); },
};

const struct wp_fractional_scale_v1_interface kFraction = {.destroy = destroy};

const struct wp_fractional_scale_manager_v1_interface kFractions = {
    .destroy = destroy,
    .get_fractional_scale =
        [](wl_client* client, wl_resource* manager, std::uint32_t id, wl_resource*) {
            of(manager).fraction = make(client, manager, wp_fractional_scale_v1_interface, id, &kFraction,
                [](wl_resource* fraction) { of(fraction).fraction = nullptr; });
        },
};

const struct wl_output_interface kOutput = {.release = destroy};

template <const wl_interface& interface, const auto& implementation>
wl_global* offer(Inside& in, int version, void (*bound)(wl_resource*) = nullptr)
{
    static void (*said)(wl_resource*);
    said = bound;
    return wl_global_create(in.display, &interface, version, &in,
        [](wl_client* client, void* data, std::uint32_t version, std::uint32_t id) {
            auto* made = wl_resource_create(client, &interface, int(version), id);
            wl_resource_set_implementation(made, &implementation, data, nullptr);
            if (said)
                said(made);
        });
}

void offerAll(Inside& in, const std::set<std::string>& globals)
{
    if (globals.contains("wl_compositor"))
        offer<wl_compositor_interface, kCompositor>(in, 4);
    if (globals.contains("wl_shm"))
        wl_display_init_shm(in.display);
    if (globals.contains("xdg_wm_base"))
        offer<xdg_wm_base_interface, kShell>(in, 1);
    if (globals.contains("zwlr_layer_shell_v1"))
        offer<zwlr_layer_shell_v1_interface, kLayerShell>(in, 4);
    if (globals.contains("fractions")) {
        offer<wp_viewporter_interface, kViewporter>(in, 1);
        offer<wp_fractional_scale_manager_v1_interface, kFractions>(in, 1);
    }
    if (globals.contains("wl_seat"))
        offer<wl_seat_interface, kSeat>(in, 5, [](wl_resource* seat) { wl_seat_send_capabilities(seat, 7); });
    if (globals.contains("wl_output"))
        in.output = offer<wl_output_interface, kOutput>(in, 4, [](wl_resource* output) {
            wl_output_send_geometry(output, 0, 0, 0, 0, 0, "", "", 0);
            wl_output_send_mode(output, WL_OUTPUT_MODE_CURRENT, 640, 480, 60000);
            wl_output_send_scale(output, of(output).outputScale);
            wl_output_send_name(output, "FAKE-1");
            wl_output_send_done(output);
        });
}

} // namespace

FakeCompositor::FakeCompositor(std::set<std::string> globals, std::int32_t outputScale)
    : inside_(std::make_unique<Inside>())
{
    inside_->outside = this;
    inside_->outputScale = outputScale;
    inside_->display = wl_display_create();
    setenv("XDG_RUNTIME_DIR", folder_.path().c_str(), 1);
    wl_display_add_socket(inside_->display, "fake");
    offerAll(*inside_, globals);
    thread_ = std::thread([this] { serve(); });
}

FakeCompositor::~FakeCompositor()
{
    end();
}

void FakeCompositor::serve()
{
    for (;;) {
        wl_event_loop_dispatch(wl_display_get_event_loop(inside_->display), 2);
        {
            const std::lock_guard lock(mutex_);
            if (ending_)
                break;
            if (job_)
                (*std::exchange(job_, nullptr))(*inside_);
            done_.notify_all();
        }
        wl_display_flush_clients(inside_->display);
    }
    wl_display_destroy_clients(inside_->display);
    wl_display_destroy(inside_->display);
}

void FakeCompositor::end()
{
    if (!thread_.joinable())
        return;
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    thread_.join();
}

void FakeCompositor::run(const std::function<void(Inside&)>& what)
{
    std::unique_lock lock(mutex_);
    job_ = &what;
    done_.wait(lock, [this] { return job_ == nullptr; });
}

void FakeCompositor::configure(std::int32_t width, std::int32_t height)
{
    run([=](Inside& in) { in.configure(width, height); });
}

void FakeCompositor::showFrames()
{
    run([](Inside& in) {
        for (auto* callback : std::exchange(in.frames, {})) {
            wl_callback_send_done(callback, 0);
            wl_resource_destroy(callback);
        }
        for (auto* buffer : std::exchange(in.taken, {}))
            if (buffer != in.current)
                wl_buffer_send_release(buffer);
            else
                in.taken = {buffer};
    });
}

void FakeCompositor::preferScale(std::uint32_t scale)
{
    run([=](Inside& in) { wp_fractional_scale_v1_send_preferred_scale(in.fraction, scale); });
}

void FakeCompositor::closeSurface()
{
    run([](Inside& in) {
        if (in.layer)
            zwlr_layer_surface_v1_send_closed(in.layer);
        else if (in.toplevel)
            xdg_toplevel_send_close(in.toplevel);
    });
}

void FakeCompositor::removeOutput()
{
    run([](Inside& in) { wl_global_destroy(std::exchange(in.output, nullptr)); });
}

void FakeCompositor::input(Input what, double x, double y)
{
    run([=](Inside& in) {
        wl_array keys;
        wl_array_init(&keys);
        *static_cast<std::uint32_t*>(wl_array_add(&keys, 4)) = 28;
        const auto atX = wl_fixed_from_double(x), atY = wl_fixed_from_double(y);
        if (what == Input::Enter)
            wl_pointer_send_enter(in.pointer, 1, in.surface, atX, atY);
        else if (what == Input::Motion)
            wl_pointer_send_motion(in.pointer, 0, atX, atY);
        else if (what == Input::HeldKeys)
            wl_keyboard_send_enter(in.keyboard, 1, in.surface, &keys);
        else if (what == Input::Key || what == Input::KeyUp)
            wl_keyboard_send_key(in.keyboard, 2, 0, 30, what == Input::Key);
        else if (what == Input::Button || what == Input::ButtonUp)
            wl_pointer_send_button(in.pointer, 3, 0, 0x110, what == Input::Button);
        else if (what == Input::Axis)
            wl_pointer_send_axis(in.pointer, 0, 0, wl_fixed_from_int(10));
        else
            wl_touch_send_down(in.touch, 4, 0, in.surface, 0, atX, atY);
        wl_array_release(&keys);
    });
}

FakeCompositor::State FakeCompositor::state()
{
    State state;
    run([&](Inside& in) {
        state = in.state;
        state.framesWaiting = int(in.frames.size());
    });
    return state;
}

} // namespace vitrel
