// What outputs say of themselves.
#include "platform/appkit/wayland/WaylandPrivate.h"

#include <algorithm>

namespace vitrel {

namespace {

// Of a picture and of a scale that anybody has.
constexpr int kLongestSide = 32767, kLargestScale = 16;

void complete(WaylandOutputProxy& proxy)
{
    auto& output = proxy.pending;
    output.width = std::clamp(proxy.turned ? proxy.modeHeight : proxy.modeWidth, 0, kLongestSide);
    output.height = std::clamp(proxy.turned ? proxy.modeWidth : proxy.modeHeight, 0, kLongestSide);
    proxy.complete = output;
    // Off, or not set up yet.
    proxy.isComplete = output.width > 0 && output.height > 0;
    proxy.connection.outputsHaveChanged();
}

WaylandOutputProxy& of(void* data)
{
    return *static_cast<WaylandOutputProxy*>(data);
}

// Before version 2 there is no word that says that all has been said.
void perhapsComplete(WaylandOutputProxy& proxy)
{
    if (wl_output_get_version(proxy.output) < 2)
        complete(proxy);
}

const wl_output_listener kListener = {
    .geometry =
        [](void* data, wl_output*, int x, int y, int, int, int, const char* make, const char* model, int transform) {
            auto& output = of(data).pending;
            if (!of(data).position) {
                output.x = x;
                output.y = y;
            }
            output.make = make ? make : "";
            output.model = model ? model : "";
            of(data).turned = transform == WL_OUTPUT_TRANSFORM_90 || transform == WL_OUTPUT_TRANSFORM_270
                || transform == WL_OUTPUT_TRANSFORM_FLIPPED_90 || transform == WL_OUTPUT_TRANSFORM_FLIPPED_270;
            perhapsComplete(of(data));
        },
    .mode =
        [](void* data, wl_output*, std::uint32_t flags, int width, int height, int) {
            if (!(flags & WL_OUTPUT_MODE_CURRENT))
                return;
            of(data).modeWidth = width;
            of(data).modeHeight = height;
            perhapsComplete(of(data));
        },
    .done = [](void* data, wl_output*) { complete(of(data)); },
    .scale = [](void* data, wl_output*, int scale) { of(data).pending.scale = std::clamp(scale, 1, kLargestScale); },
    .name =
        [](void* data, wl_output*, const char* name) {
            if (name && *name)
                of(data).pending.name = name;
        },
    .description = [](void* data, wl_output*,
                       const char* description) { of(data).pending.description = description ? description : ""; },
};

// Up to version 2 it says by itself that all has been said, from 3 on the output does.
const zxdg_output_v1_listener kPosition = {
    .logical_position =
        [](void* data, zxdg_output_v1*, int x, int y) {
            of(data).pending.x = x;
            of(data).pending.y = y;
        },
    .logical_size = [](void*, zxdg_output_v1*, int, int) {},
    .done =
        [](void* data, zxdg_output_v1*) {
            if (of(data).isComplete)
                complete(of(data));
        },
    .name = [](void*, zxdg_output_v1*, const char*) {},
    .description = [](void*, zxdg_output_v1*, const char*) {},
};

} // namespace

WaylandOutputProxy::WaylandOutputProxy(WaylandConnection& connection, wl_output* output, std::uint32_t global)
    : connection(connection)
    , output(output)
{
    pending.global = global;
    pending.name = "output-" + std::to_string(global); // until it tells a better one
    wl_output_add_listener(output, &kListener, this);
}

void WaylandOutputProxy::askForPosition(zxdg_output_manager_v1* manager)
{
    if (!manager || position)
        return;
    position = zxdg_output_manager_v1_get_xdg_output(manager, output);
    zxdg_output_v1_add_listener(position, &kPosition, this);
}

WaylandOutputProxy::~WaylandOutputProxy()
{
    if (position)
        zxdg_output_v1_destroy(position);
    if (wl_output_get_version(output) >= WL_OUTPUT_RELEASE_SINCE_VERSION)
        wl_output_release(output);
    else
        wl_output_destroy(output);
}

} // namespace vitrel
