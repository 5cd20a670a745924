#include "platform/quartzcomposer/patches/Expression.h"

#include "base/Text.h"
#include "platform/quartzcomposer/patches/Curves.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>

namespace vitrel::qc {

namespace {

constexpr std::size_t kMaxText = 64 << 10;
constexpr int kMaxDepth = 256;
constexpr std::size_t kMaxVariables = 1024;
constexpr double kDegree = 3.14159265358979323846 / 180;

struct Function1 {
    const char* name;
    double (*apply)(double);
};
constexpr Function1 kFunctions1[] = {
    {"sin", [](double x) { return std::sin(x * kDegree); }},
    {"cos", [](double x) { return std::cos(x * kDegree); }},
    {"tan", [](double x) { return std::tan(x * kDegree); }},
    {"asin", [](double x) { return std::asin(x) / kDegree; }},
    {"acos", [](double x) { return std::acos(x) / kDegree; }},
    {"atan", [](double x) { return std::atan(x) / kDegree; }},
    {"sinh", [](double x) { return std::sinh(x); }},
    {"cosh", [](double x) { return std::cosh(x); }},
    {"tanh", [](double x) { return std::tanh(x); }},
    {"exp", [](double x) { return std::exp(x); }},
    {"ln", [](double x) { return std::log(x); }},
    {"log", [](double x) { return std::log10(x); }},
    {"abs", [](double x) { return std::fabs(x); }},
    {"sqrt", [](double x) { return std::sqrt(x); }},
    {"ceil", [](double x) { return std::ceil(x); }},
    {"floor", [](double x) { return std::floor(x); }},
    {"round", [](double x) { return std::round(x); }},
    {"sign", [](double x) { return double(x > 0) - double(x < 0); }},
    // The same argument gives the same number, so that a composition plays the same each time.
    {"rand", [](double x) { return hashed(1, wholeOf(std::round(x * 1e6))); }},
};
struct Function2 {
    const char* name;
    double (*apply)(double, double);
};
double modulo(double x, double y)
{
    return y == 0 ? 0 : std::fmod(x, y);
}
constexpr Function2 kFunctions2[] = {
    {"atan2", [](double y, double x) { return std::atan2(y, x) / kDegree; }},
    {"min", [](double x, double y) { return std::min(x, y); }},
    {"max", [](double x, double y) { return std::max(x, y); }},
    {"mod", modulo},
    {"fmod", modulo},
    {"pow", [](double x, double y) { return std::pow(x, y); }},
    {"rand", [](double x, double y) { return x + (y - x) * hashed(2, wholeOf(std::round((x * 31 + y) * 1e3))); }},
};

template <class Table> std::optional<std::uint32_t> indexIn(const Table& table, std::string_view name)
{
    for (std::uint32_t k = 0; k < std::size(table); ++k) {
        if (name == table[k].name)
            return k;
    }
    return std::nullopt;
}

} // namespace

// Recursive descent, one function for each level of precedence.
class ExpressionParser
{
public:
    ExpressionParser(std::string_view text, Expression& into)
        : text_(text)
        , into_(into)
    { }

    bool parse()
    {
        const bool good = choice() && at_ == skipped();
        return good && at_ == text_.size();
    }

    // How far it was read, and the blanks behind.
    std::size_t skipped()
    {
        while (at_ < text_.size() && isBlank(text_[at_]))
            ++at_;
        return at_;
    }

private:
    using Op = Expression::Op;

    bool take(std::string_view token)
    {
        skipped();
        if (!text_.substr(at_).starts_with(token))
            return false;
        at_ += token.size();
        return true;
    }
    bool emit(Op op, double number = 0, std::uint32_t index = 0)
    {
        into_.steps_.push_back({op, number, index});
        return true;
    }

    struct Deeper {
        explicit Deeper(int& depth)
            : depth(++depth)
        { }
        ~Deeper() { --depth; }
        int& depth;
    };

    bool choice()
    {
        const Deeper deeper(depth_);
        if (depth_ > kMaxDepth || !binary(0))
            return false;
        if (!take("?"))
            return true;
        return choice() && take(":") && choice() && emit(Op::Choose);
    }

    struct Operator {
        const char* token;
        Op op;
        int level;
    };
    // Longer tokens first. Files have single bars and ampersands, too, in the same sense.
    static constexpr Operator kOperators[] = {{"||", Op::Or, 0}, {"|", Op::Or, 0}, {"&&", Op::And, 1},
        {"&", Op::And, 1}, {"==", Op::Equal, 2}, {"!=", Op::NotEqual, 2}, {"<=", Op::LessEqual, 3},
        {">=", Op::GreaterEqual, 3}, {"<", Op::Less, 3}, {">", Op::Greater, 3}, {"+", Op::Add, 4},
        {"-", Op::Subtract, 4}, {"*", Op::Multiply, 5}, {"/", Op::Divide, 5}, {"%", Op::Modulo, 5}};
    static constexpr int kLevels = 6;

    bool binary(int level)
    {
        if (level == kLevels)
            return unary();
        if (!binary(level + 1))
            return false;
        for (;;) {
            const Operator* found = nullptr;
            for (const Operator& candidate : kOperators) {
                if (candidate.level == level && take(candidate.token)) {
                    found = &candidate;
                    break;
                }
            }
            if (!found)
                return true;
            if (!binary(level + 1))
                return false;
            emit(found->op);
        }
    }

    bool unary()
    {
        const Deeper deeper(depth_);
        if (depth_ > kMaxDepth)
            return false;
        if (take("-"))
            return unary() && emit(Op::Negate);
        if (take("+"))
            return unary();
        if (take("!"))
            return unary() && emit(Op::Not);
        if (!primary())
            return false;
        return !take("^") || (unary() && emit(Op::Power));
    }

    bool primary()
    {
        if (take("("))
            return choice() && take(")");
        skipped();
        if (at_ >= text_.size())
            return false;
        const char c = text_[at_];
        if ((c >= '0' && c <= '9') || c == '.') {
            double number = 0;
            const auto read = std::from_chars(text_.data() + at_, text_.data() + text_.size(), number);
            if (read.ec != std::errc())
                return false;
            at_ = static_cast<std::size_t>(read.ptr - text_.data());
            return emit(Op::Number, number);
        }
        return word();
    }

    static bool inName(char c)
    {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_'
            || static_cast<unsigned char>(c) >= 0x80;
    }

    bool word()
    {
        const std::size_t start = at_;
        while (at_ < text_.size() && inName(text_[at_]))
            ++at_;
        const std::string_view name = text_.substr(start, at_ - start);
        if (name.empty())
            return false;
        if (take("("))
            return call(name);
        if (name == "pi")
            return emit(Op::Number, 3.14159265358979323846);
        if (name == "e")
            return emit(Op::Number, 2.71828182845904523536);
        auto& variables = into_.variables_;
        const auto place = std::find(variables.begin(), variables.end(), name);
        const auto index = static_cast<std::uint32_t>(place - variables.begin());
        if (place == variables.end()) {
            if (variables.size() >= kMaxVariables)
                return false;
            variables.emplace_back(name);
        }
        return emit(Op::Variable, 0, index);
    }

    bool call(std::string_view name)
    {
        const auto one = indexIn(kFunctions1, name), two = indexIn(kFunctions2, name);
        if (name == "rand" && take(")"))
            return emit(Op::Number, 0) && emit(Op::Call1, 0, *one);
        if (!choice())
            return false;
        int arguments = 1;
        while (take(",")) {
            if (!choice())
                return false;
            ++arguments;
            // Of three or more, as the least or the greatest of all.
            if (arguments > 2 && !(two && emit(Op::Call2, 0, *two)))
                return false;
        }
        if (!take(")"))
            return false;
        if (arguments == 1)
            return one && emit(Op::Call1, 0, *one);
        return two && emit(Op::Call2, 0, *two);
    }

    std::string_view text_;
    Expression& into_;
    std::size_t at_ = 0;
    int depth_ = 0;
};

Expression Expression::parse(std::string_view text)
{
    Expression expression;
    ExpressionParser parser(text.substr(0, kMaxText), expression);
    if (text.size() <= kMaxText && parser.parse())
        return expression;
    expression.steps_.clear();
    if (std::any_of(text.begin(), text.end(), [](char c) { return !isBlank(c); }))
        expression.fault_ = std::min(parser.skipped(), kMaxText);
    return expression;
}

double Expression::evaluate(std::span<const double> values) const
{
    std::vector<double> stack;
    stack.reserve(16);
    const auto pop = [&stack] {
        const double top = stack.back();
        stack.pop_back();
        return top;
    };
    for (const Step& step : steps_) {
        if (step.op == Op::Number || step.op == Op::Variable) {
            stack.push_back(step.op == Op::Number ? step.number : values[step.index]);
            continue;
        }
        const double b = pop();
        if (step.op == Op::Negate || step.op == Op::Not || step.op == Op::Call1) {
            stack.push_back(step.op == Op::Negate ? -b
                    : step.op == Op::Not          ? double(b == 0)
                                                  : kFunctions1[step.index].apply(b));
            continue;
        }
        const double a = pop();
        switch (step.op) {
        case Op::Add:
            stack.push_back(a + b);
            break;
        case Op::Subtract:
            stack.push_back(a - b);
            break;
        case Op::Multiply:
            stack.push_back(a * b);
            break;
        case Op::Divide:
            stack.push_back(b == 0 ? 0 : a / b);
            break;
        case Op::Modulo:
            stack.push_back(modulo(a, b));
            break;
        case Op::Power:
            stack.push_back(std::pow(a, b));
            break;
        case Op::Less:
            stack.push_back(a < b);
            break;
        case Op::Greater:
            stack.push_back(a > b);
            break;
        case Op::LessEqual:
            stack.push_back(a <= b);
            break;
        case Op::GreaterEqual:
            stack.push_back(a >= b);
            break;
        case Op::Equal:
            stack.push_back(a == b);
            break;
        case Op::NotEqual:
            stack.push_back(a != b);
            break;
        case Op::And:
            stack.push_back(a != 0 && b != 0);
            break;
        case Op::Or:
            stack.push_back(a != 0 || b != 0);
            break;
        case Op::Choose: {
            const double condition = pop();
            stack.push_back(condition != 0 ? a : b);
            break;
        }
        case Op::Call2:
            stack.push_back(kFunctions2[step.index].apply(a, b));
            break;
        default:
            break;
        }
    }
    return stack.empty() ? 0 : stack.back();
}

} // namespace vitrel::qc
