#include "platform/quartzcomposer/drawing/WindowPresenter.h"

#include "platform/quartzcomposer/drawing/GLCanvas.h"
#include "platform/quartzcomposer/drawing/GLContext.h"

#include <epoxy/egl.h>
#include <epoxy/gl.h>

#include <cstdlib>
#include <string_view>
#include <vector>

namespace vitrel::qc {

namespace {

// Many configurations share a visual, and the first that EGL gives is seldom the window's.
EGLConfig configOf(EGLDisplay display, EGLint visual)
{
    const EGLint attributes[] = {EGL_SURFACE_TYPE, EGL_WINDOW_BIT, EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_NONE};
    EGLint count = 0;
    if (!eglChooseConfig(display, attributes, nullptr, 0, &count) || count < 1)
        return nullptr;
    std::vector<EGLConfig> configs(static_cast<std::size_t>(count));
    eglChooseConfig(display, attributes, configs.data(), count, &count);
    for (const EGLConfig config : configs) {
        EGLint id = 0, depth = 0;
        eglGetConfigAttrib(display, config, EGL_NATIVE_VISUAL_ID, &id);
        eglGetConfigAttrib(display, config, EGL_DEPTH_SIZE, &depth);
        if (id == visual && depth == 0)
            return config;
    }
    return nullptr;
}

} // namespace

std::unique_ptr<WindowPresenter> WindowPresenter::make(const NativeWindow& window)
{
    const char* asked = std::getenv("VITREL_PRESENTER");
    const std::string_view kind = asked ? asked : "";
    if (!window.window || !window.display || kind == "memory")
        return nullptr;
    GLContext* context = GLContext::current();
    if (!context || (context->software() && kind != "window") || !context->moveToDisplay(window.display))
        return nullptr;
    context = GLContext::current();
    if (!context)
        return nullptr;
    const EGLConfig config = configOf(context->display(), static_cast<EGLint>(window.visual));
    if (!config)
        return nullptr;
    std::unique_ptr<WindowPresenter> presenter(new WindowPresenter);
    presenter->window_ = window;
    presenter->generation_ = context->generation();
    presenter->surface_
        = eglCreateWindowSurface(context->display(), config, static_cast<EGLNativeWindowType>(window.window), nullptr);
    if (!presenter->surface_
        || !eglMakeCurrent(context->display(), presenter->surface_, presenter->surface_, context->context()))
        return nullptr;
    // The interval belongs to the surface; a swap must never hold up the run loop.
    eglSwapInterval(context->display(), 0);
    GLContext::current();
    return presenter;
}

WindowPresenter::~WindowPresenter()
{
    const GLContext* context = surface_ ? GLContext::current() : nullptr;
    if (context && context->generation() == generation_)
        eglDestroySurface(context->display(), surface_);
}

bool WindowPresenter::present(GLCanvas& canvas)
{
    const GLContext* context = GLContext::current();
    if (!context || context->generation() != generation_)
        return false;
    if (!eglMakeCurrent(context->display(), surface_, surface_, context->context()))
        return false;
    EGLint width = 0, height = 0;
    eglQuerySurface(context->display(), surface_, EGL_WIDTH, &width);
    eglQuerySurface(context->display(), surface_, EGL_HEIGHT, &height);
    canvas.showIn(0, width, height);
    const bool shown = eglSwapBuffers(context->display(), surface_);
    GLContext::current();
    return shown;
}

} // namespace vitrel::qc
