#include "platform/quartzcomposer/shading/Kernel.h"

#include "platform/quartzcomposer/shading/KernelTranslator.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

namespace vitrel::qc {

namespace kernel {

void Translator::unit()
{
    if (accept(";"))
        return;
    const bool isKernel = accept("kernel");
    const bool isConstant = !isKernel && accept("const");
    const std::string type = peek().text;
    if (peek().kind != Token::Word || !isType(type)) {
        fail("'" + type + "' is no type");
        return;
    }
    ++at_;
    if (isConstant || peek(1).is("=")) {
        constants(type);
        return;
    }
    const std::string name = word();
    if (!at("("))
        fail("'(' is missing behind '" + name + "'");
    else
        function(isKernel, type, name);
}

void Translator::constants(const std::string& type)
{
    do {
        const std::string name = word();
        expect("=");
        const Expression value = assignment();
        const Variable& variable = declare(name, type);
        declared(name).writable = false;
        if (type == "float" || type == "int")
            declared(name).constant = value.constant;
        shared_ += "const " + glslType(type) + " " + variable.name + " = " + as(type, value.text) + ";\n";
    } while (accept(","));
    expect(";");
}

// One of the list; false at what isn't one.
bool Translator::parameter(Kernel& kernel, std::string& text, bool isKernel)
{
    bool isOut = false, isTable = false;
    while (at("in") || at("out") || at("inout") || at("const") || at("uniform") || at("__table")) {
        isOut |= at("out") || at("inout");
        isTable |= at("__table");
        ++at_;
    }
    const std::string type = peek().text;
    if (peek().kind != Token::Word || !isType(type) || type == "void" || (isKernel && isOut)) {
        fail("'" + type + "' is no type of a parameter");
        return false;
    }
    ++at_;
    isTable |= accept("__table");
    const std::string name = word();
    if (isTable && type != "sampler")
        fail("only a sampler is a table");
    const Variable& variable = declare(name, type);
    // What a function is to give back would else begin as anything.
    text += std::string(text.empty() ? "" : ", ") + (isOut ? "inout " : "") + glslType(type) + " " + variable.name;
    if (isKernel) {
        constexpr std::pair<const char*, KernelParameter::Type> kTypes[] = {{"sampler", KernelParameter::Sampler},
            {"__sample", KernelParameter::Sample}, {"float", KernelParameter::Float}, {"vec2", KernelParameter::Vec2},
            {"vec3", KernelParameter::Vec3}, {"vec4", KernelParameter::Vec4}, {"__color", KernelParameter::Color}};
        const auto* found = std::find_if(
            std::begin(kTypes), std::end(kTypes), [&](const auto& known) { return type == known.first; });
        if (found == std::end(kTypes) || kernel.parameters.size() >= kMaxParameters)
            fail("a kernel takes no " + type);
        else
            kernel.parameters.push_back({found->second, name});
    }
    return error_.empty();
}

void Translator::function(bool isKernel, const std::string& type, const std::string& name)
{
    scopes_.emplace_back();
    cost_ = {};
    returns_ = type;
    Kernel kernel;
    kernel.name = name;
    std::string parameters;
    expect("(");
    if (at("void") && peek(1).is(")"))
        ++at_;
    while (!at(")") && parameter(kernel, parameters, isKernel)) {
        if (!accept(","))
            break;
    }
    expect(")");
    if (!at("{"))
        fail("the body of '" + name + "' is missing");
    std::string body = block();
    // A way to the end without a return would give back anything.
    if (type != "void")
        body.insert(body.size() - 1, "return " + glslType(type) + "(0); ");
    scopes_.pop_back();
    const auto known = helpers_.find(name);
    const std::string called
        = known != helpers_.end() && !isKernel ? known->second.name : "f" + std::to_string(++names_);
    const std::string text = glslType(type) + " " + called + "(" + parameters + ") " + body + "\n";
    if (isKernel) {
        finish(kernel, type, text, called);
        return;
    }
    shared_ += text;
    // Of those with one name the dearest counts.
    Helper& helper = helpers_[name];
    helper.name = called;
    helper.cost = {std::max(helper.cost.work, cost_.work), std::max(helper.cost.reads, cost_.reads),
        std::max(helper.cost.size, cost_.size), std::max(helper.cost.trips, cost_.trips)};
}

void Translator::finish(Kernel& kernel, const std::string& type, const std::string& body, const std::string& called)
{
    std::string arguments, uniforms;
    int image = 0;
    for (std::size_t k = 0; k < kernel.parameters.size(); ++k) {
        const KernelParameter& parameter = kernel.parameters[k];
        const std::string n = std::to_string(k);
        arguments += k ? ", " : "";
        if (parameter.type == KernelParameter::Sampler) {
            arguments += std::to_string(image++);
        } else if (parameter.type == KernelParameter::Sample) {
            arguments += "qc_sample(" + std::to_string(image++) + ", qc_here)";
            ++cost_.reads;
        } else {
            constexpr const char* kTypes[] = {"", "", "float", "vec2", "vec3", "vec4", "vec4"};
            uniforms += std::string("uniform ") + kTypes[parameter.type] + " p" + n + ";\n";
            arguments += "p" + n;
        }
    }
    const bool isWarp = type == "vec2";
    if (image > kMaxKernelImages || (type != "vec4" && type != "float" && (!isWarp || image != 1)))
        fail("a kernel of this form isn't known");
    const std::string result = called + "(" + arguments + ")";
    kernel.work = cost_.work;
    kernel.reads = cost_.reads + isWarp;
    kernel.fragment = kernelPrelude(image) + uniforms + shared_ + body
        + "void main() {\n    qc_here = covers.xy + vec2(place.x, 1.0 - place.y) * covers.zw;\n    result = qc_sound("
        + (isWarp ? "qc_sample(0, " + result + ")" : "vec4(" + result + ")") + ");\n}\n";
    kernels_.push_back(std::make_shared<const Kernel>(std::move(kernel)));
}

std::string Translator::block()
{
    const Level level(*this);
    scopes_.emplace_back();
    std::string out = "{ ";
    expect("{");
    while (!at("}") && peek().kind != Token::End)
        out += statement();
    expect("}");
    scopes_.pop_back();
    return out + "}";
}

std::string Translator::statement()
{
    const Level level(*this);
    if (at("{"))
        return block() + " ";
    if (accept(";"))
        return "; ";
    if (accept("return")) {
        std::string value;
        if (!at(";"))
            value = " " + as(returns_, expression().text);
        expect(";");
        return "return" + value + "; ";
    }
    if (accept("if")) {
        expect("(");
        std::string out = "if (" + expression().text + ") { ";
        expect(")");
        out += statement() + "} ";
        if (accept("else"))
            out += "else { " + statement() + "} ";
        return out;
    }
    if (accept("for"))
        return loop();
    if (at("while") || at("do") || at("break") || at("continue") || at("discard")) {
        fail("'" + peek().text + "' isn't part of the language");
        return {};
    }
    const bool isConstant = accept("const");
    if (isConstant || (peek().kind == Token::Word && isType(peek().text) && !peek(1).is("(")))
        return declaration();
    std::string out = expression().text + "; ";
    expect(";");
    return out;
}

std::string Translator::declaration()
{
    const std::string type = peek().text;
    if (!isType(type) || type == "void" || type == "sampler" || type == "__sample")
        fail("'" + type + "' is no type of a variable");
    ++at_;
    std::string out;
    do {
        const std::string name = word();
        // The name counts from behind its value on.
        std::string value = glslType(type) + "(0)";
        if (accept("="))
            value = as(type, assignment().text);
        out += glslType(type) + " " + declare(name, type).name + " = " + value + "; ";
        spend(1);
    } while (accept(","));
    expect(";");
    return out;
}

std::optional<double> Translator::constant()
{
    const Expression value = conditional();
    if (!value.constant)
        fail("a loop's bounds must be numbers");
    return value.constant;
}

// As often as the loop runs; absent if that is too often.
std::optional<double> Translator::trips(
    bool whole, double from, double step, const std::string& comparison, double limit)
{
    if (!std::isfinite(from) || !std::isfinite(limit) || !(std::fabs(step) >= 1e-6) || std::fabs(from) > 1e9
        || std::fabs(limit) > 1e9 || std::fabs(step) > 1e9)
        return std::nullopt;
    int count = 0;
    for (; count <= kMaxTrips; ++count) {
        const double now = from + step * count, at = whole ? now : double(static_cast<float>(now));
        if (!(comparison == "<"          ? at < limit
                    : comparison == "<=" ? at <= limit
                    : comparison == ">"  ? at > limit
                                         : at >= limit))
            return count;
    }
    return std::nullopt;
}

// A loop becomes one that counts whole numbers, which ends whatever its body does.
std::string Translator::loop()
{
    expect("(");
    const std::string type = peek().text;
    if (type != "int" && type != "float")
        fail("a loop counts in int or float");
    ++at_;
    const std::string name = word();
    expect("=");
    const double from = constant().value_or(0);
    expect(";");
    expect(name);
    const std::string comparison = peek().text;
    if (comparison != "<" && comparison != "<=" && comparison != ">" && comparison != ">=")
        fail("a loop ends at a bound");
    ++at_;
    const double limit = constant().value_or(0);
    expect(";");
    const bool ahead = at("++") || at("--");
    const std::string first = peek().text;
    if (ahead)
        ++at_;
    expect(name);
    std::string change = ahead ? first : peek().text;
    double step = 1;
    if (!ahead)
        at_ += error_.empty();
    if (change == "+=" || change == "-=")
        step = constant().value_or(0);
    else if (change != "++" && change != "--")
        fail("a loop moves by a number");
    expect(")");
    const bool whole = type == "int";
    const auto count
        = trips(whole, whole ? std::trunc(from) : from, change[0] == '-' ? -step : step, comparison, limit);
    if (!count || *count * trips_ > kMaxTrips) {
        fail("a loop runs too often");
        return {};
    }
    scopes_.emplace_back();
    const std::string counter = "v" + std::to_string(++names_), value = declare(name, type).name;
    declared(name).writable = false;
    const double outer = std::exchange(trips_, trips_ * std::max(*count, 1.0));
    cost_.trips = std::max(cost_.trips, trips_);
    spend(2);
    const std::string body = statement();
    trips_ = outer;
    scopes_.pop_back();
    char numbers[96];
    std::snprintf(numbers, sizeof numbers, whole ? "int(%.0f) + int(%.0f)" : "float(%.9e) + float(%.9e)", from,
        change[0] == '-' ? -step : step);
    return "for (int " + counter + " = 0; " + counter + " < " + std::to_string(static_cast<int>(*count)) + "; ++"
        + counter + ") { " + type + " " + value + " = " + numbers + " * " + type + "(" + counter + "); " + body + "} ";
}

} // namespace kernel

int Kernel::images() const
{
    return static_cast<int>(
        std::count_if(parameters.begin(), parameters.end(), [](const KernelParameter& p) { return p.isImage(); }));
}

Result<std::vector<std::shared_ptr<const Kernel>>, ShadingError> translatedKernels(std::string_view source)
{
    auto tokens = shadingTokens(source);
    if (!tokens)
        return tokens.error();
    if (auto fault = faultOfBrackets(*tokens))
        return *std::move(fault);
    for (const Token& token : *tokens) {
        if (token.kind == Token::Directive)
            return ShadingError("there is no preprocessor", token);
    }
    return kernel::Translator(*std::move(tokens)).all();
}

} // namespace vitrel::qc
