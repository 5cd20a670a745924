#include "quartzcomposer/Play.h"

#include "platform/quartzcomposer/patches/Curves.h"

#include <gtest/gtest.h>

#include <cmath>

namespace vitrel::qc {

// Operations by their number, left to right without precedence; zero where arithmetic gives up.
TEST(Math, AppliesItsOperationsInTurn)
{
    const char* const results[] = {"9", "5", "14", "3.5", "1", "49", "2", "7", "7"};
    for (int k = 0; k <= 8; ++k) {
        const std::string operation = "QCMath {inputValue: 7, operand_1: 2, operation_1: " + std::to_string(k);
        expectAll({{operation + "} with {numberOfOperations: 1}", "outputValue", results[k]}});
    }
    expectAll({
        {"QCMath {inputValue: 1, operation_1: 0, operand_1: 2, operation_2: 2, operand_2: 3} with {operationCount: 2}",
            "outputValue", "9"},
        {"QCMath {inputValue: 4} with {numberOfOperations: 0}", "outputValue", "4"},
        {"QCMath {inputValue: 4, operation_1: 3, operand_1: 0}", "outputValue", "0"},
        {"QCMath {inputValue: 4, operation_1: 4, operand_1: 0}", "outputValue", "0"},
        {"QCMath {inputValue: -7, operation_1: 4, operand_1: 4}", "outputValue", "-3"},
        {"QCMath {inputValue: -4, operation_1: 5, operand_1: 0.5}", "outputValue", "0"},
    });
}

// For 00, 01, 10, 11: AND, OR, XOR, NOT of the first, NAND, NOR, NXOR.
TEST(Logic, HasSevenOperations)
{
    const std::string results[] = {"0001", "0111", "0110", "1100", "1110", "1000", "1001"};
    for (std::size_t k = 0; k < 7 * 4; ++k)
        expectAll({{"QCLogic {inputOperation: " + std::to_string(k / 4) + ", inputValue1: " + std::to_string(k / 2 % 2)
                + ", inputValue2: " + std::to_string(k % 2) + "}",
            "outputResult", results[k / 4][k % 4] == '1' ? "true" : "false"}});
}

TEST(Conditional, ComparesWithATolerance)
{
    // results: tests 0 to 5: = != > < >= <=
    const std::tuple<double, double, double, const char*> cases[] = {
        {1, 1, 0, "100011"}, {2, 1, 0, "011010"}, {1, 2, 0, "010101"},
        {1.25, 1, 0.25, "101011"}, // equal within the tolerance; greater counts from second - tolerance
        {1.5, 1, 0.25, "011010"}, {1, 1, -1, "100011"}, // no tolerance below 0
    };
    for (const auto& [first, second, tolerance, results] : cases) {
        for (int test = 0; test < 6; ++test)
            expectAll({{"QCConditional {inputValue1: " + std::to_string(first)
                    + ", inputValue2: " + std::to_string(second) + ", inputTolerance: " + std::to_string(tolerance)
                    + ", inputTest: " + std::to_string(test) + "}",
                "outputResult", results[test] == '1' ? "true" : "false"}});
    }
}

TEST(RoundAndRange, TakeNumbersApart)
{
    expectAll({
        {"QCRoundValue {inputValue: 2.5}", "outputRound", "3"},
        {"QCRoundValue {inputValue: -2.5}", "outputRound", "-3"},
        {"QCRoundValue {inputValue: -2.5}", "outputFloor", "-3"},
        {"QCRoundValue {inputValue: -2.5}", "outputCeil", "-2"},
        {"QCRangeValue {inputValue: 7, inputMin: 0, inputMax: 5}", "outputClip", "5"},
        {"QCRangeValue {inputValue: 7, inputMin: 0, inputMax: 5}", "outputRoll", "2"},
        {"QCRangeValue {inputValue: -1, inputMin: 0, inputMax: 5}", "outputRoll", "4"},
        {"QCRangeValue {inputValue: -1, inputMin: 10, inputMax: 12}", "outputRoll", "11"},
        {"QCRangeValue {inputValue: 3, inputMin: 5, inputMax: 1}", "outputClip", "3"},
        {"QCRangeValue {inputValue: 3, inputMin: 2, inputMax: 2}", "outputRoll", "2"},
        {"QCRangeValue {inputValue: 1e9, inputMin: 0, inputMax: {real: 'nan'}}", "outputClip", "1e+09"},
    });
}

TEST(Colors, AreMadeOfComponentsAndTakenApart)
{
    expectAll({
        {"QCColorFromComponents/rgb {input1: 0.25, input2: 0.5, input3: 1, inputAlpha: 0.5}", "outputColor",
            "rgba(0.25, 0.5, 1, 0.5)"},
        {"QCColorFromComponents/hsl {input1: 0, input2: 1, input3: 0.5}", "outputColor", "rgba(1, 0, 0, 1)"},
        {"QCColorFromComponents/hsl {input1: 0.5, input2: 1, input3: 0.25}", "outputColor", "rgba(0, 0.5, 0.5, 1)"},
        {"QCColorFromComponents/hsl {input1: 1.5, input2: 1, input3: 0.5}", "outputColor", "rgba(0, 1, 1, 1)"},
        {"QCColorToComponents/rgb {inputColor: '#ff8000ff'}", "output3", "0"},
        {"QCColorToComponents/hsl {inputColor: '#00ff00ff'}", "output1", "0.333333"},
        {"QCColorToComponents/hsl {inputColor: '#00ff00ff'}", "output3", "0.5"},
        {"QCColorTransform {inputColor: '#ff0000ff', inputHue: 120, inputAlpha: 0.5}", "outputColor",
            "rgba(0, 1, 0, 0.5)"},
        {"QCColorMixer {inputColor1: '#000000ff', inputColor2: '#ffffff00', inputMix: 0.25}", "outputColor",
            "rgba(0.25, 0.25, 0.25, 0.75)"},
    });
}

// The thirteen curves: ends, halves that mirror each other, and values computed by hand from the formulas.
TEST(Curves, FollowTheirFormulas)
{
    for (std::uint32_t n = 0; n <= 12; ++n) {
        EXPECT_DOUBLE_EQ(curve(n, 0), 0) << n;
        EXPECT_NEAR(curve(n, 1), 1, 1e-15) << n;
        EXPECT_EQ(curve(n, -3), curve(n, 0)) << n;
        EXPECT_EQ(curve(n, 3), curve(n, 1)) << n;
        for (double t = 0; t < 1; t += 0.05)
            EXPECT_LE(curve(n, t), curve(n, t + 0.05) + 1e-12) << n << " rises";
    }
    for (const std::uint32_t n : {3u, 6u, 9u, 12u}) {
        EXPECT_NEAR(curve(n, 0.5), 0.5, 1e-12) << n;
        for (const double t : {0.1, 0.25, 0.4})
            EXPECT_NEAR(curve(n, t), 1 - curve(n, 1 - t), 1e-12) << n;
    }
    for (const std::uint32_t in : {1u, 4u, 7u, 10u}) { // "out" is "in" turned about
        for (const double t : {0.2, 0.5, 0.7})
            EXPECT_NEAR(curve(in + 1, t), 1 - curve(in, 1 - t), 1e-12) << in;
    }
    const std::tuple<std::uint32_t, double, double> byHand[]
        = {{0, 0.3, 0.3}, {1, 0.5, 0.25}, {2, 0.5, 0.75}, {3, 0.25, 0.125}, {4, 0.5, 0.125}, {5, 0.5, 0.875},
            {6, 0.25, 0.0625}, {7, 0.5, 0.03125}, {8, 0.1, 0.5}, {9, 0.25, 0.015625},
            {10, 1.0 / 3, 1 - std::sqrt(3) / 2}, {11, 1.0 / 3, 0.5}, {12, 1.0 / 3, 0.25}, {99, 0.3, 0.3}};
    for (const auto& [number, at, value] : byHand)
        EXPECT_NEAR(curve(number, at), value, 1e-12) << number;
}

} // namespace vitrel::qc
