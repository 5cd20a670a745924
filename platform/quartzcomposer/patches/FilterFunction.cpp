#include "platform/quartzcomposer/patches/FilterFunction.h"

#include "platform/quartzcomposer/scene/Filters.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <optional>

namespace vitrel::qc {

namespace {

constexpr std::size_t kLongest = 64u << 10;
constexpr std::size_t kMaxArguments = 64;
// Steps of one run: each is a picture that may have to be computed.
constexpr std::size_t kMaxSteps = 32;
constexpr double kMost = 1e9; // pixels, and other numbers

constexpr std::pair<std::string_view, FilterFunction::Type> kTypes[] = {{"__image", FilterFunction::Type::Image},
    {"__number", FilterFunction::Type::Number}, {"__index", FilterFunction::Type::Index},
    {"__vec2", FilterFunction::Type::Vec2}, {"__vec3", FilterFunction::Type::Vec3},
    {"__vec4", FilterFunction::Type::Vec4}, {"__color", FilterFunction::Type::Color}};

// What the function finds there. An image is its number among those given and made; a step names what it is made of.
constexpr const char* kPrelude = R"(
var Vec = function (x, y, z, w) {
    var c = x instanceof Vec ? [x.x, x.y, x.z, x.w] : [x, y, z, w];
    this.x = +c[0] || 0; this.y = +c[1] || 0; this.z = +c[2] || 0; this.w = +c[3] || 0;
};
[['r', 'x'], ['g', 'y'], ['b', 'z'], ['a', 'w'], ['0', 'x'], ['1', 'y'], ['2', 'z'], ['3', 'w'], ['width', 'z'],
 ['height', 'w']].forEach(function (n) {
    Object.defineProperty(Vec.prototype, n[0], { get: function () { return this[n[1]]; },
        set: function (v) { this[n[1]] = +v || 0; } });
});
var Shape = function (x, y, width, height) {
    var s = x instanceof Shape || x instanceof Vec ? x : null;
    this.x = s ? s.x : +x || 0; this.y = s ? s.y : +y || 0;
    this.width = Math.max(0, s ? s.width : +width || 0); this.height = Math.max(0, s ? s.height : +height || 0);
};
(function () {
    var P = Shape.prototype;
    var spanned = function (a, b, c, d) { return new Shape(a, b, c - a, d - b); };
    P.intersect = function (o) { return spanned(Math.max(this.x, o.x), Math.max(this.y, o.y),
        Math.min(this.x + this.width, o.x + o.width), Math.min(this.y + this.height, o.y + o.height)); };
    P.union = function (o) { return spanned(Math.min(this.x, o.x), Math.min(this.y, o.y),
        Math.max(this.x + this.width, o.x + o.width), Math.max(this.y + this.height, o.y + o.height)); };
    P.inset = function (x, y) { return new Shape(this.x + x, this.y + y, this.width - 2 * x, this.height - 2 * y); };
    P.translate = function (x, y) { return new Shape(this.x + x, this.y + y, this.width, this.height); };
    P.scale = function (x, y) { y = y === undefined ? x : y;
        return spanned(Math.min(this.x * x, (this.x + this.width) * x), Math.min(this.y * y, (this.y + this.height) * y),
            Math.max(this.x * x, (this.x + this.width) * x), Math.max(this.y * y, (this.y + this.height) * y)); };
    P.rotate = function (angle) {
        var c = Math.cos(angle), s = Math.sin(angle), xs = [], ys = [], t = this;
        [0, 1].forEach(function (i) { [0, 1].forEach(function (j) {
            var x = t.x + i * t.width, y = t.y + j * t.height;
            xs.push(c * x - s * y); ys.push(s * x + c * y);
        }); });
        return spanned(Math.min.apply(null, xs), Math.min.apply(null, ys), Math.max.apply(null, xs),
            Math.max.apply(null, ys));
    };
})();
var qcSteps = [], qcGiven = 0;
var qcImage = function (number, extent) {
    this.qcNumber = number; this.extent = extent; this.definition = new Shape(extent.x, extent.y, extent.z, extent.w);
};
var qcStep = function (step, args, extent) {
    if (qcSteps.length >= 32) throw 'too many steps';
    step.args = args.map(function (a) {
        return a instanceof qcImage ? { image: a.qcNumber }
            : a instanceof Vec ? [a.x, a.y, a.z, a.w]
            : a instanceof Shape ? [a.x, a.y, a.width, a.height] : +a || 0;
    });
    qcSteps.push(step);
    return new qcImage(qcGiven + qcSteps.length - 1, extent);
};
var qcKernel = function (number) {
    return { ROIHandler: null, apply: function (dod, info) {
        var s = dod ? new Shape(dod) : new Shape(-1e9, -1e9, 2e9, 2e9);
        return qcStep({ kernel: number, dod: dod ? [s.x, s.y, s.width, s.height] : null },
            Array.prototype.slice.call(arguments, 2), new Vec(s.x, s.y, s.width, s.height));
    } };
};
var Filter = {};
var qcFilter = function (name) {
    var short = name.substr(2, 1).toLowerCase() + name.substr(3);
    Filter[name] = Filter[short] = function () {
        var args = Array.prototype.slice.call(arguments);
        var first = args.filter(function (a) { return a instanceof qcImage; })[0];
        var extent = name === 'CICrop' && args[1] ? new Vec(new Shape(args[1]).x, new Shape(args[1]).y,
            new Shape(args[1]).width, new Shape(args[1]).height)
            : first ? new Vec(first.extent) : new Vec(-1e9, -1e9, 2e9, 2e9);
        return qcStep({ filter: name }, args, extent);
    };
};
)";

constexpr const char* kWrapper = R"(
;(function () {
    var author = main;
    main = function (images, values, kinds) {
        qcSteps = []; qcGiven = images.length;
        var image = 0, value = 0;
        var given = kinds.map(function (kind) {
            if (kind === 0) { var e = images[image]; return new qcImage(image++, new Vec(e[0], e[1], e[2], e[3])); }
            var v = values[value++];
            return kind < 3 ? v[0] : new Vec(v[0], v[1], v[2], v[3]);
        });
        var made = author.apply(null, given);
        return { steps: qcSteps, result: made instanceof qcImage ? made.qcNumber : -1 };
    };
})();
)";

bool isWord(char c)
{
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '$';
}

// The text with comments and what stands in quotes blanked out, so that words are found where they count.
std::string code(std::string_view text)
{
    std::string out(text);
    for (std::size_t at = 0; at < out.size(); ++at) {
        const char c = out[at];
        const std::string_view close = c == '"' ? "\""
            : c == '\''                         ? "'"
            : out.compare(at, 2, "//") == 0     ? "\n"
            : out.compare(at, 2, "/*") == 0     ? "*/"
                                                : "";
        if (close.empty())
            continue;
        std::size_t end = at + (close == "\n" || close == "*/" ? 2 : 1);
        while (end < out.size() && out.compare(end, close.size(), close) != 0)
            end += close.size() == 1 && out[end] == '\\' ? 2 : 1;
        end = std::min(end + close.size(), out.size());
        for (; at < end; ++at)
            out[at] = out[at] == '\n' ? '\n' : ' ';
        --at;
    }
    return out;
}

// The words of types blanked out, which leaves plain JavaScript.
std::string untyped(std::string text, const std::string& code)
{
    for (std::size_t at = 0; at < code.size(); ++at) {
        if (!isWord(code[at]) || (at > 0 && isWord(code[at - 1])))
            continue;
        std::size_t end = at;
        while (end < code.size() && isWord(code[end]))
            ++end;
        const std::string_view word = std::string_view(code).substr(at, end - at);
        if (std::any_of(std::begin(kTypes), std::end(kTypes), [&](const auto& t) { return t.first == word; }))
            std::fill(
                text.begin() + static_cast<std::ptrdiff_t>(at), text.begin() + static_cast<std::ptrdiff_t>(end), ' ');
        at = end;
    }
    return text;
}

// The typed parameters behind `main (`.
std::optional<std::vector<FilterFunction::Argument>> argumentsOf(const std::string& code)
{
    std::vector<std::string> words;
    for (std::size_t at = 0; at < code.size();) {
        std::size_t end = at + 1;
        while (isWord(code[at]) && end < code.size() && isWord(code[end]))
            ++end;
        if (!std::isspace(static_cast<unsigned char>(code[at])))
            words.push_back(code.substr(at, end - at));
        at = end;
    }
    for (std::size_t k = 0; k + 3 < words.size(); ++k) {
        if (words[k] != "function" || words[k + 1] != "__image" || words[k + 2] != "main" || words[k + 3] != "(")
            continue;
        std::vector<FilterFunction::Argument> out;
        for (k += 4; k + 1 < words.size() && words[k] != ")"; k += words[k] == ",") {
            const auto* type = std::find_if(
                std::begin(kTypes), std::end(kTypes), [&](const auto& t) { return t.first == words[k]; });
            if (type == std::end(kTypes) || out.size() >= kMaxArguments)
                return std::nullopt;
            out.push_back({type->second, words[k + 1]});
            k += 2;
        }
        return out;
    }
    return std::nullopt;
}

std::array<double, 4> numbersOf(const ScriptValue& value)
{
    std::array<double, 4> out{};
    const auto sound = [](double n) { return std::isnan(n) ? 0 : std::clamp(n, -kMost, kMost); };
    if (const auto* number = value.as<double>())
        out[0] = sound(*number);
    const ScriptArray* members = value.array();
    for (std::size_t k = 0; members && k < std::min<std::size_t>(members->size(), 4); ++k) {
        if (const auto* number = (*members)[k].as<double>())
            out[k] = sound(*number);
    }
    return out;
}

ScriptArray array(const std::array<double, 4>& numbers)
{
    ScriptArray out;
    for (const double number : numbers)
        out.emplace_back(number);
    return out;
}

ImageRef numbered(const ScriptValue* number, const std::vector<ImageRef>& images)
{
    const auto* index = number ? number->as<double>() : nullptr;
    return index && *index >= 0 && *index < double(images.size()) ? images[static_cast<std::size_t>(*index)] : nullptr;
}

ImageRef imageOf(const ScriptValue& value, const std::vector<ImageRef>& images)
{
    return numbered(value.member("image"), images);
}

ImageRef ofFilter(const Filter& filter, const ScriptArray& given, const std::vector<ImageRef>& images)
{
    std::size_t at = 0;
    const auto next = [&] { return at < given.size() ? given[at++] : ScriptValue(); };
    std::vector<ImageRef> inputs;
    std::vector<double> numbers;
    std::vector<NSColor> colors;
    for (const char* key : filter.images) {
        if (key)
            inputs.push_back(imageOf(next(), images));
    }
    for (const FilterParameter& parameter : filter.parameters) {
        if (!parameter.key)
            continue;
        const bool isGiven = at < given.size();
        const auto value = isGiven
            ? numbersOf(next())
            : std::array{parameter.usual[0], parameter.usual[1], parameter.usual[2], parameter.usual[3]};
        switch (parameter.kind) {
        case ParameterKind::Color:
            colors.push_back({value[0], value[1], value[2], value[3]});
            break;
        case ParameterKind::Transform:
            numbers.insert(numbers.end(), {0, 0, 1, 1, 0, 0, 0});
            break;
        case ParameterKind::Point:
        case ParameterKind::Rectangle:
            numbers.insert(
                numbers.end(), value.begin(), value.begin() + (parameter.kind == ParameterKind::Point ? 2 : 4));
            break;
        default:
            numbers.push_back(value[0]);
        }
    }
    return filtered(filter, inputs, numbers, colors);
}

} // namespace

std::unique_ptr<FilterFunction> FilterFunction::make(const std::string& text, std::shared_ptr<const Kernels> kernels)
{
    if (text.size() > kLongest)
        return nullptr;
    const std::string code = qc::code(text);
    auto arguments = argumentsOf(code);
    if (!arguments)
        return nullptr;
    std::unique_ptr<FilterFunction> function(new FilterFunction);
    function->arguments_ = *std::move(arguments);
    function->source_ = kPrelude;
    for (const FilterGroup& group : filterGroups()) {
        for (const Filter& filter : group.filters)
            function->source_.append("qcFilter('").append(filter.name).append("');\n");
    }
    for (std::size_t k = 0; k < kernels->size(); ++k) {
        if ((*kernels)[k]->name != "main")
            function->source_.append("var ")
                .append((*kernels)[k]->name)
                .append(" = qcKernel(" + std::to_string(k) + ");\n");
    }
    function->source_ += untyped(text, code) + kWrapper;
    function->kernels_ = std::move(kernels);
    return function;
}

ImageRef FilterFunction::ofKernel(const Kernel& kernel, std::shared_ptr<const Kernel> shared, const ScriptArray& given,
    const Extent& extent, const std::vector<ImageRef>& images) const
{
    std::vector<ImageRef> inputs;
    std::vector<std::array<double, 4>> values;
    for (std::size_t k = 0; k < kernel.parameters.size(); ++k) {
        const ScriptValue value = k < given.size() ? given[k] : ScriptValue();
        if (!kernel.parameters[k].isImage()) {
            values.push_back(numbersOf(value));
            continue;
        }
        inputs.push_back(imageOf(value, images));
        if (!inputs.back())
            return nullptr;
    }
    if (LazyImage::deepest(inputs) >= LazyImage::kMaxLevels)
        return inputs.front();
    return extent.empty() ? nullptr
                          : std::make_shared<KernelImage>(extent, std::move(shared), inputs,
                              std::vector<KernelImage::Reading>(inputs.size()), values);
}

ImageRef FilterFunction::made(const ScriptObject& step, const std::vector<ImageRef>& images) const
{
    const ScriptValue whole(step);
    const ScriptValue* args = whole.member("args");
    const ScriptArray* given = args ? args->array() : nullptr;
    if (!given)
        return nullptr;
    const ScriptValue* name = whole.member("filter");
    if (const auto* text = name ? name->as<std::string>() : nullptr) {
        const Filter* filter = filterNamed(*text);
        return filter ? ofFilter(*filter, *given, images) : nullptr;
    }
    const ScriptValue *number = whole.member("kernel"), *dod = whole.member("dod");
    const auto* index = number ? number->as<double>() : nullptr;
    if (!index || !(*index >= 0) || *index >= double(kernels_->size()))
        return nullptr;
    Extent extent{0, 0, 0, 0, true};
    if (dod && dod->array()) {
        const auto e = numbersOf(*dod);
        // What a script says for "everywhere".
        if (e[2] < kMost && e[3] < kMost)
            extent = {e[0], e[1], e[2], e[3], false};
    }
    const auto& kernel = (*kernels_)[static_cast<std::size_t>(*index)];
    return ofKernel(*kernel, kernel, *given, extent, images);
}

ImageRef FilterFunction::run(const std::vector<ImageRef>& images, const std::vector<std::array<double, 4>>& values)
{
    if (!source_.empty()) {
        auto compiled = Script::compile(source_);
        source_.clear();
        if (compiled)
            script_ = *std::move(compiled);
    }
    if (!script_)
        return nullptr;
    ScriptArray extents, numbers, kinds;
    for (const ImageRef& image : images) {
        const Extent& e = image->extent();
        extents.emplace_back(
            e.infinite ? array({-kMost, -kMost, 2 * kMost, 2 * kMost}) : array({e.x, e.y, e.width, e.height}));
    }
    for (const auto& value : values)
        numbers.emplace_back(array(value));
    for (const Argument& argument : arguments_)
        kinds.push_back(static_cast<int>(argument.type));
    const auto returned = script_->run({std::move(extents), std::move(numbers), std::move(kinds)});
    if (!returned)
        return nullptr;
    const ScriptValue result(*returned);
    const ScriptValue *steps = result.member("steps"), *number = result.member("result");
    std::vector<ImageRef> all = images;
    const ScriptArray* list = steps ? steps->array() : nullptr;
    for (std::size_t k = 0; list && k < std::min(list->size(), kMaxSteps); ++k) {
        const ScriptObject* step = (*list)[k].object();
        all.push_back(step ? made(*step, all) : nullptr);
    }
    return numbered(number, all);
}

} // namespace vitrel::qc
