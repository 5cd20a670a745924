#include "platform/appkit/x11/ShmSurface.h"

#include "platform/appkit/x11/X11Private.h"

#include <X11/Xutil.h>
#include <X11/extensions/XShm.h>

#include <sys/ipc.h>
#include <sys/shm.h>

#include <bit>
#include <cstdlib>

namespace vitrel {

struct ShmSurface::Image {
    explicit Image(X11Connection& connection)
        : connection(connection)
    { }
    ~Image()
    {
        if (!image)
            return;
        if (segment.shmaddr) {
            // The server reads on in its own mapping, if it still does.
            if (connection.isAlive())
                XShmDetach(displayOf(connection), &segment);
            image->data = nullptr;
            shmdt(segment.shmaddr);
        }
        XDestroyImage(image); // with the memory of an image that isn't shared
    }
    X11Connection& connection;
    XImage* image = nullptr;
    XShmSegmentInfo segment{};
    bool outstanding = false; // the server hasn't said yet that it has read it
};

ShmSurface::ShmSurface(std::shared_ptr<X11Connection> connection, unsigned long window, std::function<bool()> isVisible)
    : connection_(std::move(connection))
    , window_(window)
    , isVisible_(std::move(isVisible))
{
    if (!connection_->isAlive())
        return;
    Display* display = displayOf(*connection_);
    XWindowAttributes attributes;
    if (!XGetWindowAttributes(display, window_, &attributes))
        return;
    width_ = attributes.width;
    height_ = attributes.height;
    depth_ = attributes.depth;
    visual_ = attributes.visual;
    context_ = XCreateGC(display, window_, 0, nullptr);
    const Visual& visual = *attributes.visual;
    drawable_ = visual.c_class == TrueColor || visual.c_class == DirectColor;
    direct_ = drawable_ && (depth_ == 24 || depth_ == 32) && visual.red_mask == 0xFF0000 && visual.green_mask == 0xFF00
        && visual.blue_mask == 0xFF;
    shared_ = connection_->extensions().shmCompletion >= 0;
    listener_ = connection_->listen(window_, [this](const void* event) { handle(event); });
    connection_->flush();
}

ShmSurface::~ShmSurface()
{
    close();
    if (context_)
        XFreeGC(displayOf(*connection_), static_cast<GC>(context_));
}

void ShmSurface::close()
{
    closed_ = true;
    if (listener_)
        connection_->unlisten(std::exchange(listener_, 0));
    images_ = {};
    shown_ = -1;
    connection_->flush();
}

void ShmSurface::handle(const void* data)
{
    if (!data) {
        closed_ = true; // the images go with the surface: this may come while a frame is being drawn
        return;
    }
    const auto& event = *static_cast<const XEvent*>(data);
    if (event.type == connection_->extensions().shmCompletion) {
        const auto& completion = *static_cast<const XShmCompletionEvent*>(data);
        for (const auto& image : images_)
            if (image && image->segment.shmseg == completion.shmseg)
                image->outstanding = false;
    } else if (event.type == DestroyNotify) {
        closed_ = true;
    } else if (event.type == ConfigureNotify) {
        width_ = event.xconfigure.width;
        height_ = event.xconfigure.height;
    } else if (event.type == Expose && event.xexpose.count == 0) {
        // A still picture isn't drawn anew by anyone else.
        if (black_)
            fillBlack();
        else if (shown_ >= 0 && images_[std::size_t(shown_)])
            put(*images_[std::size_t(shown_)]);
    }
}

bool ShmSurface::wantsFrame() const
{
    if (closed_ || black_ || !drawable_ || !connection_->isAlive() || width_ < 1 || height_ < 1)
        return false;
    const auto& image = images_[std::size_t(next_)];
    return !(image && image->outstanding) && isVisible_();
}

bool ShmSurface::makeImage(std::unique_ptr<Image>& held)
{
    Display* display = displayOf(*connection_);
    auto* visual = static_cast<Visual*>(visual_);
    auto made = std::make_unique<Image>(*connection_);
    if (shared_) {
        auto& segment = made->segment;
        made->image = XShmCreateImage(
            display, visual, unsigned(depth_), ZPixmap, nullptr, &segment, unsigned(width_), unsigned(height_));
        if (!made->image)
            return false;
        const auto size = std::size_t(made->image->bytes_per_line) * std::size_t(height_);
        segment.shmid = shmget(IPC_PRIVATE, size, IPC_CREAT | 0600);
        void* memory = segment.shmid < 0 ? reinterpret_cast<void*>(-1) : shmat(segment.shmid, nullptr, 0);
        bool attached = false;
        if (memory != reinterpret_cast<void*>(-1)) {
            segment.shmaddr = made->image->data = static_cast<char*>(memory);
            X11ErrorTrap trap(*connection_);
            attached = XShmAttach(display, &segment) && !trap.failed();
            if (!attached) {
                made->image->data = nullptr;
                shmdt(std::exchange(segment.shmaddr, nullptr));
            }
        }
        // Freed when both sides have let go, also after a crash.
        if (segment.shmid >= 0)
            shmctl(segment.shmid, IPC_RMID, nullptr);
        if (attached) {
            held = std::move(made);
            return true;
        }
        shared_ = false; // a server on another machine, or another user's
        made = std::make_unique<Image>(*connection_);
        if (!connection_->isAlive())
            return false;
    }
    made->image = XCreateImage(
        display, visual, unsigned(depth_), ZPixmap, 0, nullptr, unsigned(width_), unsigned(height_), 32, 0);
    if (!made->image)
        return false;
    made->image->byte_order = std::endian::native == std::endian::little ? LSBFirst : MSBFirst;
    made->image->data = static_cast<char*>(std::calloc(std::size_t(made->image->bytes_per_line), std::size_t(height_)));
    if (!made->image->data)
        return false;
    held = std::move(made);
    return true;
}

FrameMemory ShmSurface::frameMemory()
{
    if (closed_ || !drawable_ || !connection_->isAlive() || width_ < 1 || height_ < 1)
        return {};
    auto& image = images_[std::size_t(next_)];
    if (image && (image->image->width != width_ || image->image->height != height_))
        image.reset();
    if ((image && image->outstanding) || (!image && !makeImage(image)))
        return {};
    if (direct_ && image->image->bits_per_pixel == 32)
        return {reinterpret_cast<std::uint32_t*>(image->image->data), std::size_t(image->image->bytes_per_line) / 4};
    frame_.resize(std::size_t(width_) * std::size_t(height_));
    return {frame_.data(), std::size_t(width_)};
}

// Takes each channel's upper bits to where the visual has them.
void ShmSurface::convert(Image& held) const
{
    XImage& image = *held.image;
    const std::size_t width = std::size_t(image.width), bytes = std::size_t(image.bits_per_pixel) / 8;
    if (bytes < 1 || bytes > 4 || frame_.size() < width * std::size_t(image.height))
        return;
    const auto place = [](std::uint32_t channel, unsigned long mask) -> std::uint32_t {
        const int low = std::countr_zero(mask), bits = std::popcount(mask);
        if (bits == 0)
            return 0;
        return (bits <= 8 ? channel >> (8 - bits) : channel << (bits - 8)) << low;
    };
    const auto* from = frame_.data();
    for (int y = 0; y < image.height; ++y) {
        char* to = image.data + std::size_t(y) * std::size_t(image.bytes_per_line);
        for (std::size_t x = 0; x < width; ++x, ++from) {
            const std::uint32_t pixel = place(*from >> 16 & 255, image.red_mask)
                | place(*from >> 8 & 255, image.green_mask) | place(*from & 255, image.blue_mask);
            for (std::size_t byte = 0; byte < bytes; ++byte)
                *to++ = char(pixel >> 8 * (image.byte_order == LSBFirst ? byte : bytes - 1 - byte));
        }
    }
}

void ShmSurface::put(Image& image)
{
    Display* display = displayOf(*connection_);
    const auto context = static_cast<GC>(context_);
    const auto width = unsigned(image.image->width), height = unsigned(image.image->height);
    if (image.segment.shmaddr) {
        image.outstanding = true;
        XShmPutImage(display, window_, context, image.image, 0, 0, 0, 0, width, height, True);
    } else {
        XPutImage(display, window_, context, image.image, 0, 0, 0, 0, width, height);
    }
    connection_->flush();
}

void ShmSurface::present()
{
    auto& image = images_[std::size_t(next_)];
    if (closed_ || !image || !connection_->isAlive())
        return;
    if (!direct_ || image->image->bits_per_pixel != 32)
        convert(*image);
    if (!black_)
        put(*image);
    shown_ = next_;
    next_ = 1 - next_;
}

NativeWindow ShmSurface::nativeWindow() const
{
    if (closed_ || !connection_->isAlive() || !visual_)
        return {};
    return {connection_->display(), window_, XVisualIDFromVisual(static_cast<Visual*>(visual_))};
}

void ShmSurface::setAlphaValue(double alpha)
{
    const bool black = alpha <= 0;
    if (black == std::exchange(black_, black) || closed_ || !connection_->isAlive())
        return;
    if (black)
        fillBlack();
    else if (shown_ >= 0 && images_[std::size_t(shown_)])
        put(*images_[std::size_t(shown_)]);
}

void ShmSurface::fillBlack()
{
    Display* display = displayOf(*connection_);
    const auto context = static_cast<GC>(context_);
    XSetForeground(display, context, BlackPixel(display, DefaultScreen(display)));
    XFillRectangle(display, window_, context, 0, 0, unsigned(width_), unsigned(height_));
    connection_->flush();
}

} // namespace vitrel
