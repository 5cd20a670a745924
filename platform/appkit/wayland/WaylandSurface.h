#pragma once

#include "platform/appkit/Surface.h"
#include "platform/foundation/RunLoop.h"

#include <functional>
#include <memory>
#include <vector>

namespace vitrel {

struct WaylandCanvas;

// Shows frames in a window of a compositor through memory that both share: up to three pictures, so that one can be
// drawn while another waits and the compositor reads a third. One frame may be on its way to the screen and one more
// behind it, so that a timer that is a little ahead of the screen loses none; an output that shows nothing, since it is
// off or the window hidden, says of no frame that it was shown, and nothing more is drawn. Main thread.
class WaylandSurface final : public Surface
{
public:
    // With a `fade` the pictures come up out of what lies beneath, for so long from the first one on.
    WaylandSurface(std::shared_ptr<WaylandCanvas> canvas, Seconds fade);
    ~WaylandSurface() override;

    // Ahead of the first picture.
    void showBlack();

    int width() const override;
    int height() const override;
    bool wantsFrame() const override;
    bool prefersSmoothness() const override { return true; }
    FrameMemory frameMemory() override;
    void present() override;
    void close() override;
    // Without a picture a window that covers a display shows what lies beneath, and any other is black.
    void setAlphaValue(double alpha) override;

private:
    struct Pool;
    struct Slot;
    bool usable() const;
    Slot* freeSlot();
    void commit(Slot& slot, bool opaque);
    void showFaded();
    void showNothing();
    bool showZeros(bool opaque);
    void stopFading();
    void frameDone(void* callback);
    void released();
    void dropCallbacks();

    std::shared_ptr<WaylandCanvas> canvas_;
    const Seconds fade_;
    bool fading_, fresh_ = false, hidden_ = false, hidingLate_ = false, closed_ = false;
    Seconds fadeStart_{-1};
    std::vector<std::uint32_t> frame_; // while it fades: the picture itself
    int frameWidth_ = 0, frameHeight_ = 0;
    std::unique_ptr<Pool> pool_;
    std::vector<std::unique_ptr<Pool>> retired_; // of other sizes, still read by the compositor
    Slot *drawing_ = nullptr, *shown_ = nullptr; // of pool_
    std::vector<void*> callbacks_; // wl_callback*: frames on their way
};

} // namespace vitrel
