#include "programs/configure/LivePicture.h"

#include "platform/foundation/NSObject.h"

#include <utility>

namespace vitrel {
namespace {

// A pointer on its way across starts nothing.
constexpr Seconds kRest{0.3};

} // namespace

LivePicture::LivePicture(RunLoop& loop, Begin begin)
    : loop_(loop)
    , begin_(std::move(begin))
{ }

LivePicture::~LivePicture()
{
    send(rest_, &NSTimer::invalidate);
}

void LivePicture::pointAt(const std::string& path)
{
    if (path == path_)
        return;
    send(rest_, &NSTimer::invalidate);
    rest_.reset();
    stop();
    path_ = path;
    if (!path_.empty())
        rest_ = loop_.scheduledTimer(kRest, false, [this] { start(); });
}

void LivePicture::start()
{
    link_ = begin_(path_);
    if (!link_)
        return;
    link_->onChange = [this] { linkDidChange(); };
    link_->resize(size_.width(), size_.height());
}

void LivePicture::stop()
{
    if (!std::exchange(link_, nullptr))
        return;
    if (onFrame)
        onFrame(path_);
}

void LivePicture::linkDidChange()
{
    // It is the link that calls, so it goes in a turn of its own.
    if (link_->state() == PreviewLink::State::failed) {
        loop_.post([this, alive = std::weak_ptr(alive_), failed = link_.get()] {
            if (alive.lock() && link_.get() == failed)
                stop();
        });
        return;
    }
    if (onFrame)
        onFrame(path_);
}

PreviewFrame LivePicture::frame(const std::string& path) const
{
    return link_ && path == path_ ? link_->frame() : PreviewFrame();
}

} // namespace vitrel
