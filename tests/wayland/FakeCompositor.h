#pragma once

#include "support/TemporaryFolder.h"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

struct wl_client;
struct wl_display;
struct wl_resource;

namespace vitrel {

// A compositor in a thread of the test, which says what no real one would at will. It has one output of 640x480, one
// seat with all devices, and one surface that counts: the last that was given a role.
class FakeCompositor
{
public:
    // All of these, or some: "wl_compositor", "wl_shm", "wl_output", "wl_seat", "xdg_wm_base", "zwlr_layer_shell_v1",
    // "ext_idle_notifier_v1"; and, beyond those, "fractions" for scales that are no whole number.
    static const std::set<std::string> kAll;
    explicit FakeCompositor(std::set<std::string> globals = kAll, std::int32_t outputScale = 1);
    ~FakeCompositor();
    FakeCompositor(const FakeCompositor&) = delete;
    FakeCompositor& operator=(const FakeCompositor&) = delete;

    std::string display() const { return folder_ / "fake"; }
    // Ends all connections.
    void end();

    // The size of the first configure, as it goes over the wire. Before a window is made.
    std::int32_t firstWidth = 0, firstHeight = 0;

    // Each waits until the compositor's thread has done it.
    void configure(std::int32_t width, std::int32_t height);
    // Says of all frames on their way that they were shown, and gives back all pictures but the last.
    void showFrames();
    // 120ths of a pixel in a unit.
    void preferScale(std::uint32_t scale);
    void closeSurface();
    void removeOutput();
    enum class Input { Enter, Motion, Key, KeyUp, HeldKeys, Button, ButtonUp, Axis, Touch };
    void input(Input what, double x = 0, double y = 0);

    struct Picture {
        int width = 0, height = 0, scale = 1;
        int shownWidth = 0, shownHeight = 0; // units, with fractions
        bool hasAlpha = false;
        std::uint32_t pixel = 0; // the first
    };
    struct State {
        std::optional<Picture> picture;
        int commits = 0, framesWaiting = 0, surfaces = 0;
        bool cursorHidden = false, fullScreen = false, acknowledged = false;
        std::string keyWishes; // of the layer surface, a digit for each
    };
    State state();

    struct Inside;

private:
    void run(const std::function<void(Inside&)>& what);
    void serve();

    TemporaryFolder folder_;
    std::unique_ptr<Inside> inside_;
    std::mutex mutex_;
    std::condition_variable done_;
    const std::function<void(Inside&)>* job_ = nullptr; // guarded by mutex_
    bool ending_ = false; // guarded by mutex_
    std::thread thread_;
};

} // namespace vitrel
