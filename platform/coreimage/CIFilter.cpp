#include "platform/coreimage/CIFilter.h"

#include "platform/coreimage/CodeGenerators.h"
#include "platform/coreimage/Nodes.h"

#include <algorithm>
#include <vector>

namespace vitrel {

namespace {

using Output = std::optional<CIImage>;

// The parameters of one filter, as its operation asks for them.
class Parameters
{
public:
    explicit Parameters(const CIFilter& filter)
        : filter_(filter)
    { }
    // Absent if it isn't set and has no default.
    template <class T> std::optional<T> get(const char* key) const
    {
        const CIParameter value = filter_.valueForKey(key);
        const T* held = std::get_if<T>(&value);
        return held ? std::optional<T>(*held) : std::nullopt;
    }
    double number(const char* key) const { return get<double>(key).value_or(0); }
    // The result of `operation` on the input image.
    template <class Operation> Output ofImage(Operation operation) const
    {
        const auto image = get<CIImage>(kCIInputImageKey);
        return image ? Output(CIImage(operation(image->node()))) : std::nullopt;
    }

private:
    const CIFilter& filter_;
};

Output codeImage(std::shared_ptr<const Bitmap> bitmap)
{
    if (!bitmap)
        return std::nullopt;
    // However much it is magnified, a module is a square.
    return CIImage::imageWithBitmapImageRep(NSBitmapImageRep(std::move(bitmap))).imageBySamplingNearest();
}

Output gaussianBlur(const Parameters& in)
{
    return in.ofImage([&](const NodeRef& image) { return blurNode(image, in.number("inputRadius")); });
}

Output exposureAdjust(const Parameters& in)
{
    return in.ofImage([&](const NodeRef& image) { return exposureNode(image, in.number("inputEV")); });
}

Output lanczosScaleTransform(const Parameters& in)
{
    return in.ofImage([&](const NodeRef& image) {
        return lanczosNode(image, in.number(kCIInputScaleKey), in.number(kCIInputAspectRatioKey));
    });
}

Output crop(const Parameters& in)
{
    const auto rectangle = in.get<CIVector>("inputRectangle");
    if (!rectangle)
        return std::nullopt;
    return in.ofImage([&](const NodeRef& image) { return cropNode(image, rectangle->CGRectValue()); });
}

Output sourceOver(const Parameters& in)
{
    const auto background = in.get<CIImage>(kCIInputBackgroundImageKey).value_or(CIImage());
    return in.ofImage([&](const NodeRef& image) { return overNode(image, background.node()); });
}

Output constantColor(const Parameters& in)
{
    return CIImage(constantNode(*in.get<CIColor>(kCIInputColorKey)));
}

Output qrCode(const Parameters& in)
{
    const auto message = in.get<Bytes>("inputMessage");
    const auto level = in.get<std::string>("inputCorrectionLevel").value_or("");
    if (!message || level.size() != 1 || std::string_view("LMQH").find(level) == std::string_view::npos)
        return std::nullopt;
    return codeImage(qrCodeBitmap(*message, level[0]));
}

Output code128(const Parameters& in)
{
    const auto message = in.get<Bytes>("inputMessage");
    const double space = in.number("inputQuietSpace"), height = in.number("inputBarcodeHeight");
    // The platform's own bounds.
    if (!message || !(space >= 0 && space <= 20) || !(height >= 1 && height <= 500))
        return std::nullopt;
    return codeImage(code128Bitmap(*message, int(space), int(height)));
}

} // namespace

struct CIFilter::Kind {
    // Values of a parameter that has no default tell its kind alone.
    struct Parameter {
        const char* key;
        CIParameter value;
        bool isDefault;
    };
    const char* name;
    std::vector<Parameter> parameters;
    Output (*operation)(const Parameters&);

    const Parameter* parameter(std::string_view key) const
    {
        const auto found = std::find_if(
            parameters.begin(), parameters.end(), [&](const Parameter& parameter) { return parameter.key == key; });
        return found == parameters.end() ? nullptr : &*found;
    }
};

const CIFilter::Kind* CIFilter::kindOf(std::string_view name)
{
    const auto given = [](const char* key, CIParameter value) { return Kind::Parameter{key, std::move(value), true}; };
    const auto needed = [](const char* key, CIParameter kind) { return Kind::Parameter{key, std::move(kind), false}; };
    static const auto image = needed(kCIInputImageKey, CIImage());
    static const std::vector<Kind> kinds = {
        {"CIGaussianBlur", {image, given("inputRadius", 10.0)}, gaussianBlur},
        {"CIExposureAdjust", {image, given("inputEV", 0.0)}, exposureAdjust},
        {"CILanczosScaleTransform", {image, given(kCIInputScaleKey, 1.0), given(kCIInputAspectRatioKey, 1.0)},
            lanczosScaleTransform},
        {"CICrop", {image, needed("inputRectangle", CIVector())}, crop},
        {"CISourceOverCompositing", {image, needed(kCIInputBackgroundImageKey, CIImage())}, sourceOver},
        {"CIConstantColorGenerator", {given(kCIInputColorKey, CIColor{1, 0, 0, 1})}, constantColor},
        {"CIQRCodeGenerator", {needed("inputMessage", Bytes()), given("inputCorrectionLevel", std::string("M"))},
            qrCode},
        {"CICode128BarcodeGenerator",
            {needed("inputMessage", Bytes()), given("inputQuietSpace", 7.0), given("inputBarcodeHeight", 32.0)},
            code128},
    };
    const auto found = std::find_if(kinds.begin(), kinds.end(), [&](const Kind& kind) { return kind.name == name; });
    return found == kinds.end() ? nullptr : &*found;
}

std::optional<CIFilter> CIFilter::filterWithName(std::string_view name)
{
    const Kind* kind = kindOf(name);
    return kind ? std::optional<CIFilter>(CIFilter(*kind)) : std::nullopt;
}

bool CIFilter::setValueForKey(CIParameter value, std::string_view key)
{
    const auto* parameter = kind_->parameter(key);
    if (!parameter)
        return false;
    if (value.index() == 0)
        values_.erase(parameter->key);
    else if (value.index() == parameter->value.index())
        values_.insert_or_assign(parameter->key, std::move(value));
    else
        return false;
    return true;
}

CIParameter CIFilter::valueForKey(std::string_view key) const
{
    if (key == kCIOutputImageKey) {
        const auto image = outputImage();
        return image ? CIParameter(*image) : CIParameter();
    }
    if (const auto set = values_.find(key); set != values_.end())
        return set->second;
    const auto* parameter = kind_->parameter(key);
    return parameter && parameter->isDefault ? parameter->value : CIParameter();
}

std::optional<CIImage> CIFilter::outputImage() const
{
    return kind_->operation(Parameters(*this));
}

} // namespace vitrel
