#include "platform/appkit/wayland/WaylandSurface.h"

#include "platform/appkit/wayland/WaylandPrivate.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace vitrel {

namespace {

constexpr std::size_t kMostOnTheirWay = 2;
// A compositor that never gives a picture back isn't waited for.
constexpr std::size_t kMostRetired = 2;

// All four channels times `share` of 256, with the alpha that goes with it.
void scalePixels(const std::uint32_t* from, std::uint32_t* to, std::size_t count, unsigned share)
{
    const std::uint32_t alpha = std::min(share, 255u) << 24;
    for (std::size_t k = 0; k < count; ++k) {
        const std::uint32_t outer = ((from[k] & 0xFF00FF) * share >> 8) & 0xFF00FF;
        const std::uint32_t inner = ((from[k] & 0x00FF00) * share >> 8) & 0x00FF00;
        to[k] = alpha | outer | inner;
    }
}

} // namespace

struct WaylandSurface::Slot {
    WaylandSurface* owner = nullptr;
    Pool* pool = nullptr;
    int offset = 0;
    wl_buffer* buffer = nullptr;
    bool opaque = false, busy = false;
};

struct WaylandSurface::Pool {
    // Three pictures in one piece of memory, which costs nothing where nothing is written. Without `memory` if there is
    // none to have.
    Pool(WaylandSurface& owner, wl_shm* shared, int width, int height)
        : width(width)
        , height(height)
        , size(std::size_t(width) * std::size_t(height) * 4)
    {
        for (std::size_t k = 0; k < slots.size(); ++k)
            slots[k] = {&owner, this, int(k * size), nullptr, false, false};
        const int file = memfd_create("vitrel", MFD_CLOEXEC | MFD_ALLOW_SEALING);
        if (file < 0)
            return;
        // Sealed, so that the compositor need not fear that it shrinks under its hands.
        if (ftruncate(file, off_t(slots.size() * size)) == 0
            && fcntl(file, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) == 0) {
            void* mapped = mmap(nullptr, slots.size() * size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
            if (mapped != MAP_FAILED) {
                memory = static_cast<unsigned char*>(mapped);
                pool = wl_shm_create_pool(shared, file, int(slots.size() * size));
            }
        }
        ::close(file);
    }
    ~Pool()
    {
        for (auto& slot : slots)
            if (slot.buffer)
                wl_buffer_destroy(slot.buffer);
        if (pool)
            wl_shm_pool_destroy(pool);
        if (memory)
            munmap(memory, slots.size() * size);
    }
    Pool(const Pool&) = delete;
    Pool& operator=(const Pool&) = delete;

    std::uint32_t* pixels(const Slot& slot) const { return reinterpret_cast<std::uint32_t*>(memory + slot.offset); }
    bool isBusy() const
    {
        return std::any_of(slots.begin(), slots.end(), [](const Slot& slot) { return slot.busy; });
    }

    const int width, height;
    const std::size_t size; // of one picture, bytes
    unsigned char* memory = nullptr;
    wl_shm_pool* pool = nullptr;
    std::array<Slot, 3> slots;
};

WaylandSurface::WaylandSurface(std::shared_ptr<WaylandCanvas> canvas, Seconds fade)
    : canvas_(std::move(canvas))
    , fade_(fade)
    , fading_(fade > Seconds(0))
{
    canvas_->onDismissed = [this] { stopFading(); };
}

WaylandSurface::~WaylandSurface()
{
    canvas_->onDismissed = nullptr;
    close();
}

void WaylandSurface::close()
{
    closed_ = true;
    dropCallbacks();
    retired_.clear();
    pool_.reset();
    drawing_ = shown_ = nullptr;
    frame_ = {};
    canvas_->connection->flush();
}

int WaylandSurface::width() const
{
    return canvas_->width;
}

int WaylandSurface::height() const
{
    return canvas_->height;
}

bool WaylandSurface::usable() const
{
    return !closed_ && canvas_->surface && canvas_->configured && canvas_->width > 0 && canvas_->height > 0
        && canvas_->connection->isAlive();
}

bool WaylandSurface::wantsFrame() const
{
    if (!usable() || hidden_)
        return false;
    if (fading_)
        return !fresh_;
    if (callbacks_.size() >= kMostOnTheirWay)
        return false;
    return !pool_ || pool_->width != canvas_->width || pool_->height != canvas_->height
        || std::any_of(pool_->slots.begin(), pool_->slots.end(), [](const Slot& slot) { return !slot.busy; });
}

WaylandSurface::Slot* WaylandSurface::freeSlot()
{
    if (pool_ && (pool_->width != canvas_->width || pool_->height != canvas_->height)) {
        drawing_ = shown_ = nullptr;
        if (pool_->isBusy())
            retired_.push_back(std::move(pool_));
        pool_.reset();
        if (retired_.size() > kMostRetired)
            retired_.erase(retired_.begin());
    }
    if (!pool_) {
        auto* shared = canvas_->connection->wire().sharedMemory;
        auto made = shared ? std::make_unique<Pool>(*this, shared, canvas_->width, canvas_->height) : nullptr;
        if (!made || !made->pool)
            return nullptr;
        pool_ = std::move(made);
    }
    for (auto& slot : pool_->slots)
        if (!slot.busy)
            return &slot;
    return nullptr;
}

FrameMemory WaylandSurface::frameMemory()
{
    drawing_ = nullptr;
    if (!usable())
        return {};
    if (fading_) {
        frameWidth_ = canvas_->width;
        frameHeight_ = canvas_->height;
        frame_.resize(std::size_t(frameWidth_) * std::size_t(frameHeight_));
        return {frame_.data(), std::size_t(frameWidth_)};
    }
    drawing_ = freeSlot();
    if (!drawing_)
        return {};
    return {pool_->pixels(*drawing_), std::size_t(pool_->width)};
}

void WaylandSurface::present()
{
    if (!usable())
        return;
    if (fading_) {
        fresh_ = !frame_.empty();
        if (fresh_ && callbacks_.empty())
            showFaded();
    } else if (auto* slot = std::exchange(drawing_, nullptr)) {
        if (!hidden_)
            commit(*slot, true);
        shown_ = slot;
    }
}

void WaylandSurface::showFaded()
{
    if (!usable() || hidden_ || frameWidth_ != canvas_->width || frameHeight_ != canvas_->height)
        return; // the next picture has the new size
    Slot* slot = freeSlot();
    if (!slot)
        return; // until one comes back
    const Seconds now = canvas_->connection->loop().clock().now();
    if (fadeStart_ < Seconds(0))
        fadeStart_ = now;
    const double progress = (now - fadeStart_) / fade_;
    fresh_ = false;
    if (progress >= 1) {
        std::copy(frame_.begin(), frame_.end(), pool_->pixels(*slot));
        fading_ = false;
        frame_ = {};
        commit(*slot, true);
    } else {
        scalePixels(frame_.data(), pool_->pixels(*slot), frame_.size(), unsigned(std::max(progress, 0.0) * 256));
        commit(*slot, false);
    }
    shown_ = slot;
}

void WaylandSurface::commit(Slot& slot, bool opaque)
{
    auto& wire = canvas_->connection->wire();
    wl_surface* surface = canvas_->surface;
    const Pool& pool = *slot.pool;
    if (!slot.buffer || slot.opaque != opaque) {
        if (slot.buffer)
            wl_buffer_destroy(slot.buffer);
        slot.opaque = opaque;
        slot.buffer = wl_shm_pool_create_buffer(pool.pool, slot.offset, pool.width, pool.height, pool.width * 4,
            opaque ? WL_SHM_FORMAT_XRGB8888 : WL_SHM_FORMAT_ARGB8888);
        static const wl_buffer_listener listener = {.release = [](void* data, wl_buffer*) {
            auto& slot = *static_cast<Slot*>(data);
            slot.busy = false;
            slot.owner->released();
        }};
        wl_buffer_add_listener(slot.buffer, &listener, &slot);
    }
    if (canvas_->viewport)
        wp_viewport_set_destination(canvas_->viewport, canvas_->unitWidth, canvas_->unitHeight);
    else if (wl_surface_get_version(surface) >= WL_SURFACE_SET_BUFFER_SCALE_SINCE_VERSION)
        wl_surface_set_buffer_scale(surface, canvas_->scale / kWholeScale);
    wl_surface_attach(surface, slot.buffer, 0, 0);
    if (wl_surface_get_version(surface) >= WL_SURFACE_DAMAGE_BUFFER_SINCE_VERSION)
        wl_surface_damage_buffer(surface, 0, 0, pool.width, pool.height);
    else
        wl_surface_damage(surface, 0, 0, pool.width, pool.height);
    // Nothing beneath need be drawn.
    wl_region* region = opaque ? wl_compositor_create_region(wire.compositor) : nullptr;
    if (region)
        wl_region_add(
            region, 0, 0, std::max(pool.width, canvas_->unitWidth), std::max(pool.height, canvas_->unitHeight));
    wl_surface_set_opaque_region(surface, region);
    if (region)
        wl_region_destroy(region);
    static const wl_callback_listener listener = {.done = [](void* data, wl_callback* callback, std::uint32_t) {
        static_cast<WaylandSurface*>(data)->frameDone(callback);
    }};
    wl_callback* callback = wl_surface_frame(surface);
    wl_callback_add_listener(callback, &listener, this);
    callbacks_.push_back(callback);
    wl_surface_commit(surface);
    slot.busy = true;
    canvas_->connection->flush();
}

void WaylandSurface::frameDone(void* callback)
{
    wl_callback_destroy(static_cast<wl_callback*>(callback));
    std::erase(callbacks_, callback);
    if (fading_ && fadeStart_ >= Seconds(0) && callbacks_.empty())
        showFaded(); // also of a picture that stands still
}

void WaylandSurface::dropCallbacks()
{
    for (void* callback : std::exchange(callbacks_, {}))
        wl_callback_destroy(static_cast<wl_callback*>(callback));
}

void WaylandSurface::released()
{
    std::erase_if(retired_, [](const auto& pool) { return !pool->isBusy(); });
    if (hidingLate_)
        showNothing();
    else if (fading_ && fresh_ && callbacks_.empty())
        showFaded();
}

void WaylandSurface::stopFading()
{
    if (!std::exchange(fading_, false))
        return;
    frame_ = {};
    hidden_ = true;
    if (fadeStart_ >= Seconds(0))
        showNothing();
}

void WaylandSurface::setAlphaValue(double alpha)
{
    const bool hidden = alpha <= 0;
    if (hidden == std::exchange(hidden_, hidden) || !usable())
        return;
    if (hidden) {
        showNothing();
    } else {
        hidingLate_ = false;
        if (shown_ && !fading_)
            commit(*shown_, shown_->opaque);
    }
}

void WaylandSurface::showNothing()
{
    hidingLate_ = usable() && !showZeros(!canvas_->isCovering);
}

void WaylandSurface::showBlack()
{
    if (usable())
        showZeros(true);
}

// False if all pictures are still being read.
bool WaylandSurface::showZeros(bool opaque)
{
    Slot* slot = freeSlot();
    if (!slot || slot == shown_)
        return false;
    std::memset(pool_->pixels(*slot), 0, pool_->size);
    commit(*slot, opaque);
    return true;
}

} // namespace vitrel
