#pragma once

#include "platform/appkit/Bitmap.h"
#include "platform/appkit/HostWindow.h"
#include "platform/appkit/x11/X11Backdrop.h"
#include "platform/appkit/x11/X11Connection.h"
#include "platform/appkit/x11/X11Screens.h"

#include <functional>
#include <memory>
#include <string>

namespace vitrel {

// A window of an X server that frames are shown in: one of our own, one that covers a monitor, or one that another
// program gave us. Main thread.
class X11Window final : public HostWindow
{
public:
    // An ordinary window with a title, shown at once. `icon` may be null. Null if the server has gone.
    static std::unique_ptr<X11Window> open(std::shared_ptr<X11Connection> connection, const std::string& title,
        int width, int height, const Bitmap* icon = nullptr);
    // Covers `monitor`, above everything, with no cursor; keys and pointer are grabbed as soon as nobody else has them.
    // It comes up black, or looking like what it covers if its picture is to rise from that for the time of `fadeIn`.
    // Only this kind can be dismissed.
    static std::unique_ptr<X11Window> cover(
        std::shared_ptr<X11Connection> connection, const X11Monitor& monitor, Seconds fadeIn = Seconds(0));
    // Another program's, by its number: it is drawn in and watched, and never changed. Null if there is none.
    static std::unique_ptr<X11Window> adopt(std::shared_ptr<X11Connection> connection, unsigned long window);
    ~X11Window() override;
    X11Window(const X11Window&) = delete;
    X11Window& operator=(const X11Window&) = delete;

    unsigned long number() const { return window_; }
    int width() const override { return width_; }
    int height() const override { return height_; }
    bool isClosed() const { return closed_; }
    // False while it is unmapped or covered, or the monitors are off.
    bool isVisible() const override;
    // Moves and resizes a covering window to what its monitor has become.
    void coverMonitor(const X11Monitor& monitor);
    void leave() override;

    std::unique_ptr<Surface> makeSurface() override;

private:
    enum class Kind { Own, Covering, Foreign };
    X11Window(std::shared_ptr<X11Connection> connection, Kind kind);
    bool create(int x, int y, int width, int height);
    void setTitle(const std::string& title, const Bitmap* icon);
    void hideCursor();
    void grab(int tries);
    void watchRawInput();
    void handle(const void* event);
    void handleRaw(const void* event);
    void pointerIsAt(int x, int y);
    void dismiss();
    void becomeClosed();
    void raiseAgain();
    void forgetBackdrop();

    std::shared_ptr<X11Connection> connection_;
    const Kind kind_;
    unsigned long window_ = 0, cursor_ = 0;
    int width_ = 0, height_ = 0;
    int listener_ = 0, rawListener_ = 0;
    bool mapped_ = false, covered_ = false, closed_ = false, dismissed_ = false, left_ = false;
    bool pointerSeen_ = false, raisePending_ = false;
    int pointerX_ = 0, pointerY_ = 0;
    std::unique_ptr<X11Backdrop> backdrop_;
    Seconds fade_{0};
    std::shared_ptr<const bool> alive_ = std::make_shared<const bool>(true); // delayed blocks hold it weakly
};

} // namespace vitrel
