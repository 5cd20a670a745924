#include "platform/quartzcomposer/DrawingResolution.h"
#include "platform/quartzcomposer/EdgeSmoothing.h"

#include <gtest/gtest.h>

#include <functional>

namespace vitrel {

namespace {

// A machine, and the divisor that it comes to.
struct Machine {
    std::function<double(int)> took; // a picture, by its divisor; seconds
    int rows = 2880;
    DrawingResolution resolution;
    double now = 0;
    int changes = 0;

    int after(double seconds)
    {
        for (const double end = now + seconds; now < end;) {
            const int before = resolution.divisor();
            const double one = took(before);
            resolution.drew(Seconds(now), Seconds(one), rows);
            changes += resolution.divisor() != before;
            now += std::max(one, 1.0 / 60);
        }
        return resolution.divisor();
    }
};

// All of it goes by the pixels.
std::function<double(int)> filling(double whole)
{
    return [whole](int divisor) { return whole / (divisor * divisor); };
}

} // namespace

TEST(DrawingResolution, IsAsHighAsMotionAllows)
{
    const struct {
        double whole; // a picture of full size, seconds
        int rows, divisor;
    } cases[] = {
        {0.040, 2880, 1}, {0.043, 2880, 2}, {0.130, 2880, 2}, {0.140, 2880, 3}, {2, 2880, 3}, // 24 a second, and 30
        {0.140, 2160, 3}, {0.140, 2159, 2}, {0.140, 1440, 2}, {0.140, 1439, 1}, // never below 720 rows
    };
    for (const auto& [whole, rows, divisor] : cases) {
        Machine machine{filling(whole), rows, {}};
        EXPECT_EQ(machine.after(20), divisor) << whole << ' ' << rows;
        EXPECT_LE(machine.changes, 1);
    }
    Machine shrunk{filling(0.140), 2880, {}};
    shrunk.after(5);
    shrunk.rows = 1080;
    EXPECT_EQ(shrunk.after(0.1), 1) << "a smaller screen";
}

TEST(DrawingResolution, GoesBackWhenItCanAndWhenItDidNotHelp)
{
    Machine relieved{filling(0.080), 2880, {}};
    EXPECT_EQ(relieved.after(5), 2);
    relieved.took = filling(0.024);
    EXPECT_EQ(relieved.after(4), 2) << "not before ten seconds have gone";
    EXPECT_EQ(relieved.after(5), 1);

    // Somebody else's work comes and goes: fewer and fewer trials.
    Machine wavering{[](int divisor) { return divisor == 1 ? 0.05 : 0.005; }, 2880, {}};
    wavering.after(1000);
    EXPECT_GT(wavering.changes, 5);
    EXPECT_LT(wavering.changes, 20);

    Machine scripted{[](int) { return 0.06; }, 2880, {}}; // whatever takes its time, it isn't the pixels
    EXPECT_EQ(scripted.after(300), 1);
    EXPECT_EQ(scripted.changes, 2);
}

TEST(EdgeSmoothing, IsForWhatStandsStillAndForWhatIsCheap)
{
    EdgeSmoothing smoothing;
    EXPECT_FALSE(smoothing.wanted(true, true)); // nothing to smooth
    smoothing.sawEdges();
    EXPECT_TRUE(smoothing.wanted(true, true)); // stands still
    EXPECT_TRUE(smoothing.wanted(false, false)); // a card draws
    const auto twenty = [&](bool smoothed, double took) {
        for (int k = 0; k < 20; ++k)
            smoothing.drew(smoothed, Seconds(took));
        return smoothing.wanted(false, true);
    };
    EXPECT_FALSE(twenty(false, 0.003));
    EXPECT_TRUE(twenty(false, 0.002));
    EXPECT_TRUE(twenty(true, 0.009));
    EXPECT_FALSE(twenty(true, 0.011));
    EXPECT_FALSE(twenty(false, 0.001)); // not a second time
}

} // namespace vitrel
