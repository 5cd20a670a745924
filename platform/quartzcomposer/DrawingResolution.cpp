#include "platform/quartzcomposer/DrawingResolution.h"

#include <algorithm>
#include <utility>

namespace vitrel {

namespace {

// Pictures that are judged together: so many, or as many as take so long, at least a few.
constexpr int kJudged = 12, kFew = 3;
constexpr Seconds kLongEnough{0.5};
constexpr int kMostDivisor = 3, kLeastRows = 720;
// Of a picture: beyond the first, motion stumbles; what is chosen leaves something in hand; more pixels are tried where
// they should cost no more than the last.
constexpr Seconds kSlowest{1.0 / 24}, kWished{1.0 / 30}, kEasy{1.0 / 40};
constexpr Seconds kMostPatience{600};
// A change to fewer pixels is kept if pictures take no longer than so much of what they took.
constexpr double kHelps = 0.8;

// What a picture would take at another divisor, if all of it goes by its pixels.
Seconds expected(Seconds mean, int from, int to)
{
    return mean * (double(from) * from / (double(to) * to));
}

} // namespace

void DrawingResolution::drew(Seconds now, Seconds took, int rows)
{
    const int most = std::clamp(rows / kLeastRows, 1, kMostDivisor);
    if (divisor_ > most)
        change(now, most);
    if (++pictures_ <= 0)
        return;
    sum_ += took;
    if (pictures_ < kJudged && (pictures_ < kFew || sum_ < kLongEnough))
        return;
    const Seconds mean = sum_ / pictures_;
    sum_ = Seconds(0);
    pictures_ = 0;
    judge(now, mean, most);
}

void DrawingResolution::judge(Seconds now, Seconds mean, int most)
{
    if (const int before = std::exchange(before_, 0); before > 0 && mean > meanBefore_ * kHelps) {
        lowersFrom_ = now + kMostPatience; // it isn't the pixels
        change(now, before);
    } else if (mean > kSlowest && divisor_ < most && now >= lowersFrom_) {
        if (raised_ && now - changed_ < patience_)
            patience_ = std::min(patience_ * 2, kMostPatience);
        before_ = divisor_;
        meanBefore_ = mean;
        int divisor = divisor_ + 1;
        while (divisor < most && expected(mean, divisor_, divisor) > kWished)
            ++divisor;
        change(now, divisor);
    } else if (divisor_ > 1 && now - changed_ > patience_ && expected(mean, divisor_, divisor_ - 1) < kEasy) {
        change(now, divisor_ - 1);
        raised_ = true;
    }
}

void DrawingResolution::change(Seconds now, int divisor)
{
    raised_ = false;
    divisor_ = divisor;
    changed_ = now;
    sum_ = Seconds(0);
    pictures_ = -kSettling;
}

} // namespace vitrel
