#pragma once

#include "platform/appkit/Surface.h"

#include <memory>

namespace vitrel::qc {

class GLCanvas;

// Shows a canvas's pictures in a window of the X server without bringing them through main memory: what a graphics
// card wants. On software renderers a surface's own memory is ten times cheaper. Main thread.
class WindowPresenter
{
public:
    // Null where that is dearer or can't be: on a software renderer, without a window, or if no configuration of
    // OpenGL fits the window's visual. VITREL_PRESENTER=window asks for it on any renderer, =memory for none.
    static std::unique_ptr<WindowPresenter> make(const NativeWindow& window);
    ~WindowPresenter();
    WindowPresenter(const WindowPresenter&) = delete;
    WindowPresenter& operator=(const WindowPresenter&) = delete;

    const NativeWindow& window() const { return window_; }

    // Shows the outermost target, top upwards. Doesn't wait for the display's beat. False if the window has gone.
    bool present(GLCanvas& canvas);

private:
    WindowPresenter() = default;
    NativeWindow window_;
    void* surface_ = nullptr; // EGLSurface
    std::uint64_t generation_ = 0;
};

} // namespace vitrel::qc
