// Filters over images; the table is in scene/Filters.h, how they look in drawing/.
#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "platform/quartzcomposer/scene/Filters.h"
#include "platform/quartzcomposer/scene/Matrix.h"

#include <algorithm>

namespace vitrel::qc {

namespace {

constexpr const char* kAxes[] = {"_X", "_Y", "_Z", "_W"};
constexpr const char* kTransform[]
    = {"_OriginX", "_OriginY", "_ScaleX", "_ScaleY", "_Rotate", "_TranslateX", "_TranslateY"};

class ImageFilterPatch final : public Patch
{
    Output<ImageRef> result{*this, "outputImage"};

    void configure(const Settings& settings) override
    {
        name_ = settings.identifier;
        filter_ = filterNamed(name_);
        if (!filter_) {
            images_.push_back(&addInput("inputImage", PortType::Image, ImageRef()));
            return;
        }
        for (const char* key : filter_->images) {
            if (key)
                images_.push_back(&addInput(key, PortType::Image, ImageRef()));
        }
        for (const FilterParameter& parameter : filter_->parameters) {
            if (parameter.key)
                addParameter(parameter);
        }
        if (settings.flag("hasBypass", false))
            bypass_ = &addInput("inputBypass", PortType::Boolean, false);
        const bool pixelsOnly = filter_->rule == ExtentRule::Crop || filter_->rule == ExtentRule::Transform;
        normalized_ = settings.flag("normalizeCoordinates", false) && !pixelsOnly;
    }

    void addParameter(const FilterParameter& p)
    {
        const auto number = [&](const std::string& key, double usual, bool isLength) {
            numbers_.push_back({&addInput(key, PortType::Number, usual), isLength ? Length : Plain});
        };
        switch (p.kind) {
        case ParameterKind::Number:
        case ParameterKind::Length:
            number(p.key, p.usual[0], p.kind == ParameterKind::Length);
            break;
        case ParameterKind::Angle:
            number(p.key, p.usual[0], false);
            numbers_.back().second = Angle;
            break;
        case ParameterKind::Point:
        case ParameterKind::Rectangle:
            for (int k = 0; k < (p.kind == ParameterKind::Point ? 2 : 4); ++k)
                number(std::string(p.key) + kAxes[k], p.usual[k], true);
            break;
        case ParameterKind::Pair:
        case ParameterKind::Vector:
            for (int k = 0; k < (p.kind == ParameterKind::Pair ? 2 : 4); ++k)
                number(std::string(p.key) + kAxes[k], p.usual[k], false);
            break;
        case ParameterKind::Color:
            colors_.push_back(
                &addInput(p.key, PortType::Color, NSColor{p.usual[0], p.usual[1], p.usual[2], p.usual[3]}));
            break;
        case ParameterKind::Transform:
            for (const char* part : kTransform)
                number(std::string(p.key) + part, std::string_view(part).starts_with("_Scale") ? 1 : 0, false);
            break;
        }
    }

    std::string unsupported() const override { return filter_ ? std::string() : "QCImageFilter/" + name_; }

    void evaluate(Evaluation& e) override
    {
        const auto imageOf = [](const InputPort* port) { return *port->value().as<ImageRef>(); };
        if (!filter_ || (bypass_ && *bypass_->value().as<bool>())) {
            const ImageRef image = images_.empty() ? nullptr : imageOf(images_.front());
            // A generator that isn't known shows nothing, rather than the white of what has no image.
            result.set(
                image || filter_ ? image : filtered(*filterNamed("CIConstantColorGenerator"), {}, {}, {NSColor{}}));
            return;
        }
        std::vector<ImageRef> images;
        for (const InputPort* port : images_)
            images.push_back(imageOf(port));
        const Extent first = !images.empty() && images[0] ? images[0]->extent() : Extent{};
        const double unit
            = !normalized_ ? 1 : (first.infinite || first.empty() ? e.stage.canvas().width() : first.width) / 2;
        std::vector<double> numbers;
        for (const auto& [port, measure] : numbers_)
            numbers.push_back(*port->value().as<double>()
                * (measure == Length       ? unit
                        : measure == Angle ? radians(1)
                                           : 1));
        std::vector<NSColor> colors;
        for (const InputPort* port : colors_)
            colors.push_back(*port->value().as<NSColor>());
        result.set(filtered(*filter_, images, numbers, colors));
    }

    std::string name_;
    const Filter* filter_ = nullptr;
    InputPort* bypass_ = nullptr;
    bool normalized_ = false;
    std::vector<InputPort*> images_, colors_;
    enum Measure { Plain, Length, Angle };
    std::vector<std::pair<InputPort*, Measure>> numbers_;
};

} // namespace

void registerImageFiltersPatches(PatchRegistry& registry)
{
    registry.add<ImageFilterPatch>("QCImageFilter");
}

} // namespace vitrel::qc
