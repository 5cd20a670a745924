#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace vitrel::qc {

// The process's OpenGL: one 3.3 core context without a surface, through EGL, made when it is first needed. Every view
// draws into textures of its own on it. Main thread.
class GLContext
{
public:
    // Null where there is no OpenGL 3.3. Tries once, and again after a context was lost.
    static GLContext* current();

    // True if the processor draws: llvmpipe and its like.
    bool software() const { return software_; }
    const std::string& renderer() const { return renderer_; }
    // Changes when everything made before is gone.
    std::uint64_t generation() const { return generation_; }

    // EGL's handles, for surfaces of windows.
    void* display() const { return display_; }
    void* context() const { return context_; }
    // Makes the context anew on an X display, whose windows it can then show pictures in. Everything that was made on
    // the old one is gone. False if that can't be; the old one stays then.
    bool moveToDisplay(void* nativeDisplay);

    ~GLContext();

private:
    friend class EarlyGLContext;
    GLContext() = default;
    bool make(void* nativeDisplay);
    bool makeCurrent();
    static GLContext* made();
    static GLContext*& shared();

    void* nativeDisplay_ = nullptr; // Display*; null for a context without one
    void* display_ = nullptr; // EGLDisplay
    void* context_ = nullptr; // EGLContext
    std::string renderer_;
    bool software_ = false;
    std::uint64_t generation_ = 0;
};

// Begins to make the context on another thread, where `GLContext::current` waits for it: a renderer takes longer to
// start than all else that a program does ahead of its first picture. One in a process, after
// `prepareSoftwareRendering`. Its end waits for the thread, as a process can't end while libraries are being loaded.
class EarlyGLContext
{
public:
    EarlyGLContext();
    ~EarlyGLContext();
    // Until it is made, or can't be. Any thread.
    void wait() const;
    EarlyGLContext(const EarlyGLContext&) = delete;
    EarlyGLContext& operator=(const EarlyGLContext&) = delete;
};

// Bounds the threads of the software renderer, unless the user has said how many. Early in a program, before other
// threads run.
void prepareSoftwareRendering();

} // namespace vitrel::qc
