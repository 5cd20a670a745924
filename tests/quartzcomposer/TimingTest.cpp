#include "quartzcomposer/Play.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>

namespace vitrel::qc {

TEST(LFO, KeepsARandomValueForAPeriod)
{
    const std::string random
        = onePatch("QCLFO {inputPeriod: 4, inputAmplitude: 2, inputOffset: 10, inputType: 7}", "outputValue");
    Player player(random);
    std::set<std::string> values;
    for (int period = 0; period < 20; ++period) {
        const std::string first = player.over({period * 4.0});
        EXPECT_EQ(player.over({period * 4 + 3.99}), first);
        EXPECT_GE(player.number(), 8);
        EXPECT_LE(player.number(), 12);
        values.insert(first);
    }
    EXPECT_GT(values.size(), 15u);
    EXPECT_EQ(Player(random).over({9}), player.over({9})) << "the seed decides";
}

// Within its range, the same for the same seed, and without jumps unless they are asked for.
TEST(Random, IsSmoothBoundedAndRepeatable)
{
    const auto values = [](const std::string& settings) {
        Player player(onePatch("QCRandom {inputMin: -2, inputMax: 6} with {" + settings + "}", "outputValue"));
        std::vector<double> all;
        for (int k = 0; k < 3000; ++k) {
            player.frame(k / 100.0);
            all.push_back(player.number());
        }
        return all;
    };
    const auto greatestStep = [](const std::vector<double>& all) {
        double step = 0;
        for (std::size_t k = 1; k < all.size(); ++k)
            step = std::max(step, std::fabs(all[k] - all[k - 1]));
        return step;
    };
    const auto smooth = values("variability: 0.5, randomSeed: 7");
    EXPECT_EQ(values("variability: 0.5, randomSeed: 7"), smooth);
    EXPECT_NE(values("variability: 0.5, randomSeed: 8"), smooth);
    const auto [least, most] = std::minmax_element(smooth.begin(), smooth.end());
    EXPECT_GE(*least, -2);
    EXPECT_LE(*most, 6);
    EXPECT_GT(*most - *least, 4) << "it uses its range";
    EXPECT_LT(greatestStep(smooth), 0.8);
    EXPECT_GT(greatestStep(values("variability: 0")), 4);
}

} // namespace vitrel::qc
