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

bool takesPixelsOnly(const Filter& filter)
{
    return filter.rule == ExtentRule::Crop || filter.rule == ExtentRule::Transform;
}

const char* meaningOf(const Filter& filter, std::string_view image)
{
    const std::string_view second = filter.images[1] ? filter.images[1] : "";
    if (image == "inputImage")
        return second == "inputBackgroundImage" ? "What is laid upon the background"
            : second == "inputTargetImage"      ? "What is there at first"
                                                : "The image";
    return image == "inputBackgroundImage" ? "What the image is laid upon"
        : image == "inputTargetImage"      ? "What is there in the end"
        : image == "inputMaskImage"        ? "What decides where"
        : image == "inputGradientImage"    ? "The colours, from that of black on the left to that of white on the right"
        : image == "inputDisplacementImage" ? "What decides how far: red to the right, green upwards, grey not at all"
        : image == "inputTexture"           ? "The slopes of the glass"
                                            : "What shines on the slopes of the ring";
}

void describePorts(const FilterParameter& p, std::vector<DescribedPort>& out)
{
    const char* const unit = p.kind == ParameterKind::Angle                 ? "degrees"
        : p.kind == ParameterKind::Length || p.kind == ParameterKind::Point ? "pixels"
        : p.kind == ParameterKind::Rectangle                                ? "pixels"
                                                                            : "";
    const Measure measure{unit, p.least, p.most};
    const std::string key = p.key;
    switch (p.kind) {
    case ParameterKind::Point:
    case ParameterKind::Pair:
        out.push_back({key + "_X|" + key + "_Y", p.meaning, measure});
        break;
    case ParameterKind::Vector:
        out.push_back({key + "_X|" + key + "_Y|" + key + "_Z|" + key + "_W", p.meaning, measure});
        break;
    case ParameterKind::Rectangle:
        out.insert(out.end(),
            {{key + "_X", "The left edge of the rectangle", measure}, {key + "_Y", "Its lower edge", measure},
                {key + "_Z", "How wide it is", kLength}, {key + "_W", "How high it is", kLength}});
        break;
    case ParameterKind::Transform:
        out.insert(out.end(),
            {{key + "_OriginX|" + key + "_OriginY", "The point about which it scales and turns, along this axis",
                 kPixels},
                {key + "_ScaleX|" + key + "_ScaleY", "How many times as large along this axis"},
                {key + "_Rotate", "Its turn, counter-clockwise", kDegrees},
                {key + "_TranslateX", "How far it moves to the right", kPixels},
                {key + "_TranslateY", "How far it moves upwards", kPixels}});
        break;
    default:
        out.push_back({key, p.meaning, measure});
    }
}

class ImageFilterPatch final : public Patch
{
public:
    static PatchDescription description(const std::string& kind)
    {
        const Filter* filter = filterNamed(kind);
        if (!filter)
            return {};
        PatchDescription out{filter->title, filter->sentence, {}, {}};
        for (const char* image : filter->images) {
            if (image)
                out.ports.push_back({image, meaningOf(*filter, image)});
        }
        for (const FilterParameter& parameter : filter->parameters) {
            if (parameter.key)
                describePorts(parameter, out.ports);
        }
        out.ports.push_back({"inputBypass", "With the setting hasBypass: whether the image is handed on as it is"});
        out.ports.push_back({"outputImage", "The result"});
        out.settings.push_back({"hasBypass", DescribedSetting::Flag, "Whether there is a port inputBypass"});
        if (!takesPixelsOnly(*filter))
            out.settings.push_back(
                {"normalizeCoordinates", DescribedSetting::Flag, "Whether its pixels are halves of the image's width"});
        return out;
    }

    static std::vector<std::string> kinds()
    {
        std::vector<std::string> names;
        for (const FilterGroup& group : filterGroups()) {
            for (const Filter& filter : group.filters)
                names.push_back(filter.name);
        }
        return names;
    }
    static const char* familyOf(const std::string& kind)
    {
        for (const FilterGroup& group : filterGroups()) {
            for (const Filter& filter : group.filters) {
                if (filter.name == kind)
                    return group.name;
            }
        }
        return "";
    }

private:
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
        normalized_ = !takesPixelsOnly(*filter_) && settings.flag("normalizeCoordinates", false);
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
    registry.family("Images");
    registry.addWithKinds<ImageFilterPatch>("QCImageFilter");
}

} // namespace vitrel::qc
