#include "platform/quartzcomposer/patches/Expression.h"

#include "quartzcomposer/Play.h"

#include <gmock/gmock.h>

#include <cmath>

namespace vitrel::qc {

// Precedence, associativity, degrees: each row is one way to be wrong.
TEST(Expression, ReadsTheGrammar)
{
    // result: with a = 2, b = 3, c = -1.5
    const std::tuple<const char*, double, const char*> cases[] = {{"1 + 2 * 3", 7, "* before +"},
        {"10 - 4 - 3", 3, "left to right"}, {"12 / 2 / 3", 2, "left to right"}, {"2 ^ 3 ^ 2", 512, "^ from the right"},
        {"2 * 3 ^ 2", 18, "^ before *"}, {"-2 ^ 2", -4, "^ before the sign"}, {"2 ^ -1", 0.5, "a sign behind ^"},
        {"7 % 4", 3, "C's modulo"}, {"-7 % 4", -3, "with the sign of the first"}, {"1 < 2 == 1", 1, "< before =="},
        {"1 + 1 > 1", 1, "+ before >"}, {"2 >= 2 && 3 <= 2", 0, ">= before &&"}, {"1 || 0 && 0", 1, "&& before ||"},
        {"!0 + 1", 2, "! before +"}, {"!2", 0, "not 0 is true"}, {"1 != 1", 0, "unequal"},
        {"(a & !0) | 0", 1, "single ones, as files have them"}, {"0 ? 1 : 2", 2, "choice"},
        {"0 ? 1 : 1 ? 3 : 4", 3, "choices from the right"}, {"1 < 2 ? 5 : 6", 5, "comparison before choice"},
        {"sin(90)", 1, "degrees"}, {"cos(180)", -1, "degrees"}, {"atan2(1, 0)", 90, "degrees"},
        {"asin(1)", 90, "degrees"}, {"log(1000)", 3, "base 10"}, {"ln(e)", 1, "natural"},
        {"min(3, 1, 2)", 1, "of more than two"}, {"max(a, b)", 3, "variables"},
        {"round(2.5) + floor(c) + ceil(c)", 0, "3 - 2 - 1"}, {"sign(c) * abs(c)", -1.5, "sign"},
        {"mod(7, 4) + fmod(7, 4)", 6, "both names"}, {"pow(2, 10)", 1024, "pow"},
        {"0.00000045 * 1e6", 0.45, "long and short literals"}, {".5 + 5.", 5.5, "points at either end"},
        {"a+b\n", 5, "a line end at the end"}, {"((((a))))", 2, "parentheses"}, {"1 / 0", 0, "division by zero"},
        {"1 % 0", 0, "modulo by zero"}, {"pi", 3.14159265358979323846, "constant"}};
    for (const auto& [text, result, why] : cases) {
        const Expression expression = Expression::parse(text);
        std::vector<double> values;
        for (const std::string& name : expression.variables())
            values.push_back(name == "a" ? 2 : name == "b" ? 3 : -1.5);
        EXPECT_NEAR(expression.evaluate(values), result, 1e-12) << text << ": " << why;
    }
}

TEST(Expression, GivesNothingForWhatIsNone)
{
    const std::string broken[] = {"", "  ", "1 +", "(1", "1)", "1 2", "* 3", "sin", "sin(", "sin()", "sin(1, 2)",
        "atan2(1)", "foo(1)", "1 ? 2", "1 : 2", "a b", "1..2", "#", "'x'", "1 = 2", "&", std::string("1\0+1", 4),
        std::string(70'000, '1') + "+1"};
    for (const std::string& text : broken) {
        const Expression expression = Expression::parse(text);
        const std::vector<double> values(expression.variables().size(), 7.0);
        const bool isVariable = text == "sin"; // a function's name alone is a name like any other
        EXPECT_EQ(expression.evaluate(values), isVariable ? 7 : 0) << text.substr(0, 40);
    }
}

// Each level of a deep text is a call within a call.
TEST(Expression, StandsDeepAndLongTexts)
{
    const std::string deep = std::string(20'000, '(') + "1" + std::string(20'000, ')');
    EXPECT_EQ(Expression::parse(deep).evaluate({}), 0);
    EXPECT_EQ(Expression::parse(std::string(50'000, '-') + "1").evaluate({}), 0);
    EXPECT_EQ(Expression::parse(std::string(50'000, '!') + "1").evaluate({}), 0);
    std::string power = "1";
    for (int k = 0; k < 20'000; ++k)
        power += "^1";
    EXPECT_EQ(Expression::parse(power).evaluate({}), 0);
    std::string sum = "0";
    for (int k = 0; k < 20'000; ++k)
        sum += "+1";
    EXPECT_EQ(Expression::parse(sum).evaluate({}), 20'000) << "a long chain is none";
    EXPECT_EQ(Expression::parse(std::string(100, '(') + "3" + std::string(100, ')')).evaluate({}), 3);
}

// Ports in the order of their first appearance, under the names as written.
TEST(Expression, MakesAPortForEachVariable)
{
    EXPECT_THAT(
        Expression::parse("Y * x + y * x * max(pi, Z_1)").variables(), testing::ElementsAre("Y", "x", "y", "Z_1"));
    EXPECT_EQ(
        evaluated(onePatch("QCExpression {x: 4, y: '0.5'} with {expression: 'x * 2 + y'}", "outputResult")), "8.5");
    EXPECT_EQ(evaluated(onePatch("QCExpression with {expression: 'ln(0) + sqrt(0 - 1)'}", "outputResult")), "0")
        << "what is no number is 0";
}

} // namespace vitrel::qc
