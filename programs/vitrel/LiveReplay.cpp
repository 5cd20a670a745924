#include "programs/vitrel/LiveReplay.h"

#include <algorithm>

namespace vitrel {

namespace {
constexpr Seconds kStep{1.0 / 60}; // what rose and falls again is seen in between
}

class LiveReplay::View final : public CompositionView
{
public:
    using CompositionView::CompositionView;
    // What the saver would feed it.
    bool setValueForInputKey(const Value&, const std::string&) override { return false; }
    bool take(const Value& value, const std::string& key) { return CompositionView::setValueForInputKey(value, key); }
};

LiveReplay::LiveReplay(RunLoop& loop, HostClock& clock, Trace trace)
    : loop_(loop)
    , clock_(clock)
    , replay_(std::move(trace))
{ }

LiveReplay::~LiveReplay()
{
    if (timer_)
        timer_->invalidate();
}

std::shared_ptr<CompositionView> LiveReplay::makeView()
{
    return std::make_shared<View>(loop_, &sound_);
}

bool LiveReplay::write(QCView& view, const Value& value, const std::string& key)
{
    auto* const own = dynamic_cast<View*>(&view);
    return own && own->take(value, key);
}

void LiveReplay::begin(const std::shared_ptr<QCView>& view)
{
    view_ = view;
    replay_.rewind();
    start_ = clock_.now();
    clock_.setDate(replay_.dateAt(0));
    step();
}

void LiveReplay::step()
{
    const auto view = view_.lock();
    if (!view)
        return;
    replay_.advance(
        (clock_.now() - start_).count(), [&](const Value& value, const std::string& key) { write(*view, value, key); });
    sound_.tell();
    if (timer_)
        timer_->invalidate();
    if (const auto next = replay_.next())
        timer_
            = loop_.scheduledTimer(std::max(start_ + Seconds(*next) - clock_.now(), kStep), false, [this] { step(); });
}

} // namespace vitrel
