#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vitrel::qc {

// A mathematical expression with variables. Operators as in C, with ^ for powers (right-associative, above * /),
// comparisons that give 1 or 0, && || (or & |) !, ?:. Trigonometric functions work in degrees; log is to the base 10.
class Expression
{
public:
    // A broken or empty text, one above 64 kB, with more than 1024 variables or nested deeper than 256 levels, gives an
    // expression that is 0; its variables are still listed, as far as it could be read.
    static Expression parse(std::string_view text);

    // Where a broken text can't be read on, in bytes; absent for a whole one, and for an empty one.
    std::optional<std::size_t> fault() const { return fault_; }

    // In the order of their first appearance.
    const std::vector<std::string>& variables() const { return variables_; }

    // `values` in the order of the variables. Division and modulo by zero give 0; other results may be NaN or infinite.
    double evaluate(std::span<const double> values) const;

private:
    friend class ExpressionParser;
    enum class Op : std::uint8_t {
        Number,
        Variable,
        Negate,
        Not,
        Add,
        Subtract,
        Multiply,
        Divide,
        Modulo,
        Power,
        Less,
        Greater,
        LessEqual,
        GreaterEqual,
        Equal,
        NotEqual,
        And,
        Or,
        Choose,
        Call1,
        Call2
    };
    struct Step {
        Op op;
        double number = 0; // of Number
        std::uint32_t index = 0; // of Variable and of functions
    };
    std::vector<Step> steps_; // in reverse Polish order
    std::vector<std::string> variables_;
    std::optional<std::size_t> fault_;
};

} // namespace vitrel::qc
