// Values in kernels.
#include "platform/quartzcomposer/shading/KernelTranslator.h"

#include <algorithm>
#include <cstdlib>

namespace vitrel::qc::kernel {

Expression Translator::expression()
{
    Expression left = assignment();
    while (accept(",")) {
        left.text += ", " + assignment().text;
        left = {left.text, nullptr, {}, false};
    }
    return left;
}

Expression Translator::assignment()
{
    const Level level(*this);
    Expression left = conditional();
    for (const char* sign : {"=", "+=", "-=", "*=", "/="}) {
        if (!accept(sign))
            continue;
        if (!left.writable)
            fail("what stands left of '" + std::string(sign) + "' can't be written to");
        const Variable* target = left.variable;
        const std::string right = assignment().text;
        spend(1);
        // A vector that grows by a number does so in each part; a whole one must stay whole.
        if (*sign == '=' && target)
            return {left.text + " = " + as(target->type, right), nullptr, {}, false};
        if (target && target->type == "int")
            return {left.text + " = int(" + left.text + " " + sign[0] + " (" + right + "))", nullptr, {}, false};
        return {left.text + " " + sign + " " + right, nullptr, {}, false};
    }
    return left;
}

Expression Translator::conditional()
{
    const Level level(*this);
    Expression test = binary(0);
    if (!accept("?"))
        return test;
    const std::string yes = assignment().text;
    expect(":");
    const std::string no = assignment().text;
    spend(1);
    return {test.text + " ? " + yes + " : " + no, nullptr, {}, false};
}

namespace {

std::optional<double> folded(const Expression& a, std::string_view sign, const Expression& b)
{
    if (!a.constant || !b.constant)
        return std::nullopt;
    const double x = *a.constant, y = *b.constant;
    if (sign == "+")
        return x + y;
    if (sign == "-")
        return x - y;
    if (sign == "*")
        return x * y;
    // Of whole numbers it would be another.
    const bool isFloat = (a.text + b.text).find('.') != std::string::npos;
    return sign == "/" && isFloat && y != 0 ? std::optional(x / y) : std::nullopt;
}

} // namespace

Expression Translator::binary(int precedence)
{
    // From the loosest to the tightest.
    static const std::vector<std::vector<std::string_view>> kSigns{
        {"||"}, {"^^"}, {"&&"}, {"==", "!="}, {"<", ">", "<=", ">="}, {"+", "-"}, {"*", "/"}};
    if (precedence == static_cast<int>(kSigns.size()))
        return unary();
    Expression left = binary(precedence + 1);
    for (;;) {
        const auto& signs = kSigns[static_cast<std::size_t>(precedence)];
        const auto sign = std::find_if(signs.begin(), signs.end(), [&](auto s) { return at(s); });
        if (sign == signs.end())
            return left;
        ++at_;
        const Expression right = binary(precedence + 1);
        spend(1);
        left = {left.text + " " + std::string(*sign) + " " + right.text, nullptr, folded(left, *sign, right), false};
    }
}

Expression Translator::unary()
{
    const Level level(*this);
    for (const char* sign : {"-", "+", "!", "++", "--"}) {
        if (!accept(sign))
            continue;
        const Expression of = unary();
        spend(1);
        const bool steps = sign[1] != '\0';
        if (steps && !of.writable)
            fail("what stands behind '" + std::string(sign) + "' can't be written to");
        std::optional<double> value;
        if (of.constant && !steps && *sign != '!')
            value = *sign == '-' ? -*of.constant : *of.constant;
        return {std::string(sign) + " " + of.text, nullptr, value, false};
    }
    return postfix();
}

Expression Translator::postfix()
{
    Expression value = primary();
    for (;;) {
        if (accept(".")) {
            const std::string parts = peek().text;
            if (peek().kind != Token::Word || parts.size() > 4
                || parts.find_first_not_of("xyzwrgbastpq") != std::string::npos)
                fail("'." + parts + "' are no parts of a vector");
            ++at_;
            value = {value.text + "." + parts, nullptr, {}, value.writable};
        } else if (accept("[")) {
            const std::string index = peek().text;
            if (index.size() != 1 || index < "0" || index > "3")
                fail("there are no arrays");
            ++at_;
            expect("]");
            value = {value.text + "[" + index + "]", nullptr, {}, value.writable};
        } else if (at("++") || at("--")) {
            if (!value.writable)
                fail("what stands before '" + peek().text + "' can't be written to");
            spend(1);
            value = {value.text + peek().text, nullptr, {}, false};
            ++at_;
        } else {
            return value;
        }
    }
}

Expression Translator::primary()
{
    const Level level(*this);
    const Token token = peek();
    if (accept("(")) {
        Expression inner = expression();
        expect(")");
        return {"(" + inner.text + ")", nullptr, inner.constant, false};
    }
    if (token.kind == Token::Number) {
        ++at_;
        const bool isPlain = token.text.find_first_not_of("0123456789.eE+-") == std::string::npos;
        const double value = std::strtod(token.text.c_str(), nullptr);
        // A whole number that a shader has no room for would be anything.
        if (!isPlain || (token.text.find_first_of(".eE") == std::string::npos && value > 2147483647))
            fail("'" + token.text + "' is no number");
        return {token.text, nullptr, value, false};
    }
    if (accept("true") || accept("false"))
        return {token.text, nullptr, {}, false};
    if (token.kind != Token::Word) {
        fail("'" + token.text + "' is no value");
        return {};
    }
    ++at_;
    if (at("("))
        return call(token.text);
    const Variable* variable = find(token.text);
    if (!variable) {
        fail("'" + token.text + "' isn't known");
        return {};
    }
    return {variable->name, variable, variable->constant, variable->writable};
}

Expression Translator::call(const std::string& name)
{
    std::string called;
    const bool isConstructor = isPlainType(name) && isType(name);
    const auto helper = helpers_.find(name);
    if (helper != helpers_.end())
        called = helper->second.name;
    else
        called = isConstructor ? name : kernelFunction(name);
    // None may be called ahead of its end: so none calls itself.
    if (called.empty()) {
        fail("there is no function '" + name + "'");
        return {};
    }
    const bool takesSampler = helper == helpers_.end() && called.starts_with("qc_sample");
    expect("(");
    std::string arguments;
    for (bool first = true; !at(")") && error_.empty(); first = false) {
        if (!first)
            expect(",");
        const Expression argument = assignment();
        if (first && takesSampler && !(argument.variable && argument.variable->type == "sampler"))
            fail("'" + name + "' wants an image");
        arguments += (first ? "" : ", ") + argument.text;
    }
    expect(")");
    if (helper != helpers_.end())
        spendCall(helper->second.cost);
    spend(isConstructor ? 1 : 4, called == "qc_sample" ? 1 : 0);
    return {called + "(" + arguments + ")", nullptr, {}, false};
}

} // namespace vitrel::qc::kernel
