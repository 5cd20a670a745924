#include "platform/quartzcomposer/drawing/GLContext.h"

#include <epoxy/egl.h>
#include <epoxy/gl.h>

#include <cstdlib>
#include <future>
#include <utility>

#include <sys/resource.h>

namespace vitrel::qc {

namespace {

std::uint64_t contextsMade = 0;
std::shared_future<GLContext*> early;
bool earlyIsTaken = false;

// The software renderer's compiler dies by a signal where an allocation fails. It and its libraries take some 700 MiB
// of addresses, of which little is ever touched.
bool hasRoomForRenderer()
{
    constexpr rlim_t kLeast = rlim_t(1) << 30;
    rlimit limit{};
    return getrlimit(RLIMIT_AS, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY || limit.rlim_cur >= kLeast;
}

} // namespace

void prepareSoftwareRendering()
{
    // More threads only make a frame come earlier, not cheaper, and leave the desktop no core.
    setenv("LP_NUM_THREADS", "1", 0);
}

// Lives as long as the process: the driver cleans up at exit, in an order that isn't ours.
GLContext*& GLContext::shared()
{
    static GLContext* context = nullptr;
    return context;
}

// One that is current nowhere; null if it can't be.
GLContext* GLContext::made()
{
    if (!hasRoomForRenderer())
        return nullptr;
    std::unique_ptr<GLContext> context(new GLContext);
    if (!context->make(nullptr))
        return nullptr;
    eglMakeCurrent(context->display_, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    return context.release();
}

EarlyGLContext::EarlyGLContext()
{
    early = std::async(std::launch::async, GLContext::made).share();
}

EarlyGLContext::~EarlyGLContext()
{
    wait();
}

void EarlyGLContext::wait() const
{
    if (early.valid())
        early.wait();
}

GLContext* GLContext::current()
{
    static bool failed = false;
    GLContext*& context = shared();
    if (context && !context->makeCurrent()) {
        delete context;
        context = nullptr;
    }
    if (!context && !failed) {
        // It was that one if it is lost by now.
        context = early.valid() && !std::exchange(earlyIsTaken, true) ? early.get() : made();
        failed = !context || !context->makeCurrent();
    }
    return failed ? nullptr : context;
}

bool GLContext::makeCurrent()
{
    return eglBindAPI(EGL_OPENGL_API) && eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, context_);
}

bool GLContext::moveToDisplay(void* nativeDisplay)
{
    if (nativeDisplay == nativeDisplay_)
        return true;
    auto* made = new GLContext;
    if (!made->make(nativeDisplay)) {
        delete made;
        current();
        return false;
    }
    shared() = made;
    delete this;
    return true;
}

bool GLContext::make(void* nativeDisplay)
{
    nativeDisplay_ = nativeDisplay;
    const char* extensions = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    const std::string client = extensions ? extensions : "";
    if (nativeDisplay) {
        display_ = eglGetPlatformDisplayEXT(EGL_PLATFORM_X11_EXT, nativeDisplay, nullptr);
        if (!display_ || !eglInitialize(display_, nullptr, nullptr))
            return false;
    } else if (client.find("EGL_MESA_platform_surfaceless") != std::string::npos) {
        display_ = eglGetPlatformDisplayEXT(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
    }
    if (!nativeDisplay && (!display_ || !eglInitialize(display_, nullptr, nullptr))) {
        display_ = eglGetDisplay(EGL_DEFAULT_DISPLAY);
        if (!display_ || !eglInitialize(display_, nullptr, nullptr)) {
            display_ = nullptr;
            return false;
        }
    }
    if (!eglBindAPI(EGL_OPENGL_API))
        return false;
    const EGLint attributes[] = {EGL_CONTEXT_MAJOR_VERSION, 3, EGL_CONTEXT_MINOR_VERSION, 3,
        EGL_CONTEXT_OPENGL_PROFILE_MASK, EGL_CONTEXT_OPENGL_CORE_PROFILE_BIT, EGL_NONE};
    context_ = eglCreateContext(display_, EGL_NO_CONFIG_KHR, EGL_NO_CONTEXT, attributes);
    if (!context_ || !eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, context_))
        return false;
    const auto* name = reinterpret_cast<const char*>(glGetString(GL_RENDERER));
    renderer_ = name ? name : "";
    for (const char* kind : {"llvmpipe", "softpipe", "swrast"})
        software_ |= renderer_.find(kind) != std::string::npos;
    generation_ = ++contextsMade;
    return true;
}

GLContext::~GLContext()
{
    if (display_ && context_) {
        if (eglGetCurrentContext() == context_)
            eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
        eglDestroyContext(display_, context_);
    }
}

} // namespace vitrel::qc
