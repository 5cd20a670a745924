// Keys, pointers and fingers, told to whose surface they meet.
#include "platform/appkit/wayland/WaylandPrivate.h"

#include <unistd.h>

#include <utility>

namespace vitrel {

namespace {

constexpr int kCursorSize = 24;

WaylandSeat& of(void* data)
{
    return *static_cast<WaylandSeat*>(data);
}

const wl_pointer_listener kPointer = {
    .enter =
        [](void* data, wl_pointer* pointer, std::uint32_t serial, wl_surface* surface, wl_fixed_t x, wl_fixed_t y) {
            of(data).pointed = surface;
            of(data).send(surface,
                {WaylandInput::Kind::PointerEntered, wl_fixed_to_double(x), wl_fixed_to_double(y), serial, nullptr,
                    pointer});
        },
    .leave = [](void* data, wl_pointer*, std::uint32_t, wl_surface*) { of(data).pointed = nullptr; },
    .motion =
        [](void* data, wl_pointer*, std::uint32_t, wl_fixed_t x, wl_fixed_t y) {
            of(data).send(of(data).pointed,
                {WaylandInput::Kind::PointerMoved, wl_fixed_to_double(x), wl_fixed_to_double(y), 0, nullptr, nullptr});
        },
    .button =
        [](void* data, wl_pointer*, std::uint32_t serial, std::uint32_t, std::uint32_t, std::uint32_t state) {
            if (state == WL_POINTER_BUTTON_STATE_PRESSED)
                of(data).send(of(data).pointed, {WaylandInput::Kind::Pressed, 0, 0, serial, nullptr, nullptr});
        },
    .axis
    = [](void* data, wl_pointer*, std::uint32_t, std::uint32_t, wl_fixed_t) { of(data).send(of(data).pointed, {}); },
    .frame = [](void*, wl_pointer*) {},
    .axis_source = [](void*, wl_pointer*, std::uint32_t) {},
    .axis_stop = [](void*, wl_pointer*, std::uint32_t, std::uint32_t) {},
    .axis_discrete = [](void*, wl_pointer*, std::uint32_t, std::int32_t) {},
};

const wl_keyboard_listener kKeyboard = {
    .keymap = [](void*, wl_keyboard*, std::uint32_t, int descriptor, std::uint32_t) { close(descriptor); },
    // The keys that are held down already were meant for somebody else.
    .enter
    = [](void* data, wl_keyboard*, std::uint32_t, wl_surface* surface, wl_array*) { of(data).focused = surface; },
    .leave = [](void* data, wl_keyboard*, std::uint32_t, wl_surface*) { of(data).focused = nullptr; },
    .key =
        [](void* data, wl_keyboard*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t state) {
            if (state == WL_KEYBOARD_KEY_STATE_PRESSED)
                of(data).send(of(data).focused, {});
        },
    .modifiers = [](void*, wl_keyboard*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t) {},
    .repeat_info = [](void*, wl_keyboard*, std::int32_t, std::int32_t) {},
};

const wl_touch_listener kTouch = {
    .down = [](void* data, wl_touch*, std::uint32_t, std::uint32_t, wl_surface* surface, std::int32_t, wl_fixed_t,
                wl_fixed_t) { of(data).send(surface, {}); },
    .up = [](void*, wl_touch*, std::uint32_t, std::uint32_t, std::int32_t) {},
    .motion = [](void*, wl_touch*, std::uint32_t, std::int32_t, wl_fixed_t, wl_fixed_t) {},
    .frame = [](void*, wl_touch*) {},
    .cancel = [](void*, wl_touch*) {},
    .shape = [](void*, wl_touch*, std::int32_t, wl_fixed_t, wl_fixed_t) {},
    .orientation = [](void*, wl_touch*, std::int32_t, wl_fixed_t) {},
};

const wl_seat_listener kSeat = {
    .capabilities = [](void* data, wl_seat*, std::uint32_t capabilities) { of(data).setCapabilities(capabilities); },
    .name = [](void*, wl_seat*, const char*) {},
};

bool canRelease(wl_seat* seat)
{
    return wl_seat_get_version(seat) >= WL_POINTER_RELEASE_SINCE_VERSION;
}

} // namespace

WaylandSeat::WaylandSeat(WaylandConnection& connection, wl_seat* seat)
    : connection(connection)
    , seat(seat)
{
    wl_seat_add_listener(seat, &kSeat, this);
}

WaylandSeat::~WaylandSeat()
{
    setCapabilities(0);
    if (wl_seat_get_version(seat) >= WL_SEAT_RELEASE_SINCE_VERSION)
        wl_seat_release(seat);
    else
        wl_seat_destroy(seat);
}

void WaylandSeat::setCapabilities(std::uint32_t capabilities)
{
    const auto follow = [&](auto*& device, std::uint32_t capability, auto get, auto release, auto destroy) {
        if (bool(capabilities & capability) == bool(device))
            return;
        if (!device)
            device = get();
        else if (canRelease(seat))
            release(std::exchange(device, nullptr));
        else
            destroy(std::exchange(device, nullptr));
    };
    follow(
        pointer, WL_SEAT_CAPABILITY_POINTER,
        [this] {
            auto* made = wl_seat_get_pointer(seat);
            wl_pointer_add_listener(made, &kPointer, this);
            return made;
        },
        wl_pointer_release, wl_pointer_destroy);
    follow(
        keyboard, WL_SEAT_CAPABILITY_KEYBOARD,
        [this] {
            auto* made = wl_seat_get_keyboard(seat);
            wl_keyboard_add_listener(made, &kKeyboard, this);
            return made;
        },
        wl_keyboard_release, wl_keyboard_destroy);
    follow(
        touch, WL_SEAT_CAPABILITY_TOUCH,
        [this] {
            auto* made = wl_seat_get_touch(seat);
            wl_touch_add_listener(made, &kTouch, this);
            return made;
        },
        wl_touch_release, wl_touch_destroy);
    if (!pointer)
        pointed = nullptr;
    if (!keyboard)
        focused = nullptr;
}

void WaylandSeat::send(wl_surface* surface, WaylandInput input)
{
    input.seat = seat;
    if (auto* listener = surface ? connection.listenerOf(surface) : nullptr)
        listener->handleInput(input);
}

void WaylandWire::showArrow(wl_pointer* pointer, std::uint32_t serial)
{
    if (!cursors && sharedMemory)
        cursors = wl_cursor_theme_load(nullptr, kCursorSize, sharedMemory);
    wl_cursor* cursor = cursors ? wl_cursor_theme_get_cursor(cursors, "left_ptr") : nullptr;
    if (!cursor || cursor->image_count == 0)
        return;
    auto* image = cursor->images[0];
    if (!arrow)
        arrow = wl_compositor_create_surface(compositor);
    wl_surface_attach(arrow, wl_cursor_image_get_buffer(image), 0, 0);
    wl_surface_damage(arrow, 0, 0, int(image->width), int(image->height));
    wl_surface_commit(arrow);
    wl_pointer_set_cursor(pointer, serial, arrow, int(image->hotspot_x), int(image->hotspot_y));
}

} // namespace vitrel
