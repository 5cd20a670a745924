#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

namespace vitrel {

// A window of the X server, for renderers that can draw on one directly.
struct NativeWindow {
    void* display = nullptr; // Display*
    unsigned long window = 0;
    unsigned long visual = 0; // VisualID
    friend bool operator==(const NativeWindow&, const NativeWindow&) = default;
};

// Memory for one frame: 32-bit words 0xAARRGGBB, premultiplied, top row first.
struct FrameMemory {
    std::uint32_t* pixels = nullptr;
    std::size_t wordsPerRow = 0;
};

// What a window shows its frames on: shared memory of the X server, a picture to be written, a painted preview.
// Owned by its NSWindow. Main thread.
class Surface
{
public:
    virtual ~Surface() = default;

    // Pixels.
    virtual int width() const = 0;
    virtual int height() const = 0;

    // False while nothing would be seen, or while the last frame is still on its way to the screen: the renderer
    // then leaves the frame out and asks again at its next beat.
    virtual bool wantsFrame() const = 0;

    // Memory of width() x height() for the next frame, null members if there is none (a closed window). Valid up
    // to the call of `present`, which shows it.
    virtual FrameMemory frameMemory() = 0;
    virtual void present() = 0;

    // True for a display: what moves had rather fewer pixels than too few frames. False for a picture that is kept.
    virtual bool prefersSmoothness() const { return false; }

    // The window behind it, if frames can go there without memory of ours.
    virtual NativeWindow nativeWindow() const { return {}; }

    // Called once the window has gone, by whomever. After it, nothing is shown any more.
    virtual void close() { }
    // 0 shows black, or whatever lies beneath, in place of the frame.
    virtual void setAlphaValue(double) { }
};

} // namespace vitrel
