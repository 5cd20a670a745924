// Images that authors compute with kernels of their own.
#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "platform/quartzcomposer/patches/FilterFunction.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace vitrel::qc {

namespace {

using KernelList = std::vector<std::shared_ptr<const Kernel>>;

// A composition may hold one source a hundred times.
std::shared_ptr<const KernelList> kernelsOf(const std::string& source)
{
    static std::map<std::string, std::weak_ptr<const KernelList>> known;
    constexpr std::size_t kMany = 256;
    if (known.size() >= kMany)
        std::erase_if(known, [](const auto& entry) { return entry.second.expired(); });
    std::weak_ptr<const KernelList>& slot = known[source];
    if (auto alive = slot.lock())
        return alive;
    auto translated = translatedKernels(source);
    auto list = std::make_shared<const KernelList>(translated ? *std::move(translated) : KernelList());
    slot = list;
    return list;
}

constexpr const char* kAxes[] = {"_X", "_Y", "_Z", "_W"};

class ImageKernelPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Core Image Filter",
            "An image that is computed by a kernel of its author's. Without an image among its parameters it goes on "
            "without end.",
            {{"*-WrapMode", "What is beyond the image of this name", menu({"Nothing", "Its Edge"})},
                {"*-FilterMode", "How it is read between pixels of the image of this name",
                    menu({"Nearest", "Linear"})},
                {"*", "The parameter of this name; of a vector, its part _X, _Y, _Z or _W"},
                {"outputImage", "The computed image"}},
            {{"sourceCode", DescribedSetting::Text, "The kernels, in the language of Core Image; the first is run", {},
                 {},
                 R"("kernel vec4 tint(sampler image, __color color, float amount, vec2 middle) { return mix(sample(image, samplerCoord(image)), color, amount); }")"},
                {"automaticDOD", DescribedSetting::Flag,
                    "Whether the result is as large as the images together; if not, without end. On without it"},
                {"showSamplerOptions", DescribedSetting::Flag, "Whether each image has ports for how it is read"},
                {"advancedMode", DescribedSetting::Flag,
                    "Whether the function main says what is computed; its parameters are the ports then"},
                {"main", DescribedSetting::Text,
                    "A script, function __image main(__image image, ...), which applies kernels and filters"}}};
    }

private:
    Output<ImageRef> result{*this, "outputImage"};

    void configure(const Settings& settings) override
    {
        const std::string source = settings.text("sourceCode");
        kernels_ = kernelsOf(source);
        isBroken_ = kernels_->empty() && source.find_first_not_of(" \t\r\n") != std::string::npos;
        if (kernels_->empty())
            return;
        kernel_ = kernels_->front();
        if (settings.flag("advancedMode", false)) {
            function_ = FilterFunction::make(settings.text("main"), kernels_);
            isBroken_ = !function_;
            if (function_)
                addArguments();
            return;
        }
        bounded_ = settings.flag("automaticDOD", true);
        const bool options = settings.flag("showSamplerOptions", false);
        for (const KernelParameter& parameter : kernel_->parameters)
            addParameter(parameter, options);
    }
    void addArguments()
    {
        constexpr std::pair<FilterFunction::Type, KernelParameter::Type> kTypes[] = {
            {FilterFunction::Type::Image, KernelParameter::Sampler},
            {FilterFunction::Type::Number, KernelParameter::Float}, {FilterFunction::Type::Vec2, KernelParameter::Vec2},
            {FilterFunction::Type::Vec3, KernelParameter::Vec3}, {FilterFunction::Type::Vec4, KernelParameter::Vec4},
            {FilterFunction::Type::Color, KernelParameter::Color}};
        for (const FilterFunction::Argument& argument : function_->arguments()) {
            const auto* known = std::find_if(
                std::begin(kTypes), std::end(kTypes), [&](const auto& t) { return t.first == argument.type; });
            if (known != std::end(kTypes))
                addParameter({known->second, argument.name}, false);
            else
                arguments_.push_back({KernelParameter::Float,
                    {&addInput(argument.name, PortType::Index, std::uint32_t(0))}, nullptr, nullptr});
        }
    }
    void addParameter(const KernelParameter& parameter, bool options)
    {
        Argument argument{parameter.type, {}, nullptr, nullptr};
        const auto add = [&](const std::string& key, PortType type, PortValue usual) {
            argument.ports.push_back(&addInput(key, type, std::move(usual)));
        };
        if (parameter.isImage()) {
            add(parameter.name, PortType::Image, ImageRef());
            if (options && parameter.type == KernelParameter::Sampler) {
                argument.wrap = &addInput(parameter.name + "-WrapMode", PortType::Index, std::uint32_t(0));
                argument.filter = &addInput(parameter.name + "-FilterMode", PortType::Index, std::uint32_t(1));
            }
        } else if (parameter.type == KernelParameter::Color) {
            add(parameter.name, PortType::Color, NSColor{1, 1, 1, 1});
        } else if (parameter.type == KernelParameter::Float) {
            add(parameter.name, PortType::Number, 0.0);
        } else {
            for (int k = 0; k <= parameter.type - KernelParameter::Float; ++k)
                add(parameter.name + kAxes[k], PortType::Number, 0.0);
        }
        arguments_.push_back(std::move(argument));
    }
    std::string unsupported() const override { return isBroken_ ? "QCImageKernel" : std::string(); }

    std::vector<SourceFault> sourceFaults(const Settings& settings) const override
    {
        std::vector<SourceFault> faults;
        const std::string source = settings.text("sourceCode");
        const auto translated = translatedKernels(source);
        if (!translated && source.find_first_not_of(" \t\r\n") != std::string::npos)
            faults.push_back(
                {"sourceCode", translated.error().line, translated.error().column, translated.error().reason});
        if (translated && isBroken_)
            faults.push_back({"main", 0, 0, "there is no function __image main (__image image, ...)"});
        return faults;
    }

    void evaluate(Evaluation&) override { result.set(kernel_ && !isBroken_ ? computed() : nullptr); }
    ImageRef computed()
    {
        std::vector<ImageRef> images;
        std::vector<KernelImage::Reading> readings;
        std::vector<std::array<double, 4>> values;
        Extent extent;
        for (const Argument& argument : arguments_) {
            const auto* image = argument.ports.front()->value().as<ImageRef>();
            if (!image) {
                values.push_back(valueOf(argument));
                continue;
            }
            if (!*image)
                return nullptr;
            const auto is = [](const InputPort* port, bool usual) {
                return port ? *port->value().as<std::uint32_t>() != 0 : usual;
            };
            images.push_back(*image);
            readings.push_back({is(argument.wrap, false), is(argument.filter, true)});
            extent = unite(extent, (*image)->extent());
        }
        if (function_)
            return function_->run(images, values);
        if (LazyImage::deepest(images) >= LazyImage::kMaxLevels)
            return images.front();
        if (images.empty() || !bounded_)
            extent = {0, 0, 0, 0, true};
        if (extent.empty())
            return nullptr;
        return std::make_shared<KernelImage>(extent, kernel_, images, readings, values);
    }
    struct Argument {
        KernelParameter::Type type;
        std::vector<InputPort*> ports;
        InputPort *wrap, *filter;
    };
    static std::array<double, 4> valueOf(const Argument& argument)
    {
        std::array<double, 4> value{};
        if (const auto* c = argument.ports.front()->value().as<NSColor>())
            return {c->red * c->alpha, c->green * c->alpha, c->blue * c->alpha, c->alpha};
        // Far from what an image measures, and safe to count with.
        constexpr double kMost = 1e9;
        if (const auto* index = argument.ports.front()->value().as<std::uint32_t>())
            return {double(*index), 0, 0, 0};
        for (std::size_t k = 0; k < argument.ports.size(); ++k) {
            const double number = *argument.ports[k]->value().as<double>();
            value[k] = std::isnan(number) ? 0 : std::clamp(number, -kMost, kMost);
        }
        return value;
    }

    std::shared_ptr<const KernelList> kernels_;
    std::shared_ptr<const Kernel> kernel_;
    std::unique_ptr<FilterFunction> function_;
    std::vector<Argument> arguments_;
    bool bounded_ = true, isBroken_ = false;
};

} // namespace

void registerKernelsPatches(PatchRegistry& registry)
{
    registry.family("Images");
    registry.add<ImageKernelPatch>("QCImageKernel");
}

} // namespace vitrel::qc
