#pragma once

#include "base/Bytes.h"
#include "platform/coreimage/CIColor.h"
#include "platform/coreimage/CIImage.h"
#include "platform/coreimage/CIVector.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace vitrel {

inline constexpr const char* kCIInputImageKey = "inputImage";
inline constexpr const char* kCIInputBackgroundImageKey = "inputBackgroundImage";
inline constexpr const char* kCIInputScaleKey = "inputScale";
inline constexpr const char* kCIInputAspectRatioKey = "inputAspectRatio";
inline constexpr const char* kCIInputColorKey = "inputColor";
inline constexpr const char* kCIOutputImageKey = "outputImage";

// What a filter takes; a number of single precision is widened by who gives it.
using CIParameter = std::variant<std::monostate, double, std::string, Bytes, CIVector, CIColor, CIImage>;

// One operation with named parameters. Those that were never set have the default in brackets; an image, a rectangle
// and a message have none.
//
//   CIGaussianBlur            inputImage, inputRadius (10): the standard deviation in pixels; above 1000 it is 1000
//   CIExposureAdjust          inputImage, inputEV (0): each stop doubles the linear light
//   CILanczosScaleTransform   inputImage, inputScale (1), inputAspectRatio (1): the result has whole pixels
//   CICrop                    inputImage, inputRectangle
//   CISourceOverCompositing   inputImage, inputBackgroundImage (the empty image)
//   CIConstantColorGenerator  inputColor (red)
//   CIQRCodeGenerator         inputMessage: bytes; inputCorrectionLevel ("M"): L, M, Q or H. One pixel a module, black
//                             on white, with a border of one module: readers want four, and take less from a screen
//   CICode128BarcodeGenerator inputMessage: ASCII; inputQuietSpace (7, to 20), inputBarcodeHeight (32, 1 to 500). One
//                             pixel a module, black on white, quiet space on all four sides
//
// A value, not an object: a copy is a filter of its own. Any one thread.
class CIFilter
{
public:
    // Absent for a name that isn't above.
    static std::optional<CIFilter> filterWithName(std::string_view name);

    // std::monostate takes a parameter away. False, and nothing changes, for a key or a kind that the filter doesn't
    // take.
    bool setValueForKey(CIParameter value, std::string_view key);
    bool setValueForKeyPath(CIParameter value, std::string_view keyPath)
    {
        return setValueForKey(std::move(value), keyPath);
    }
    // What was set or is the default; the result for kCIOutputImageKey; std::monostate for nothing.
    CIParameter valueForKey(std::string_view key) const;
    CIParameter valueForKeyPath(std::string_view keyPath) const { return valueForKey(keyPath); }
    // Absent if a parameter without a default is missing, or a message can't be encoded.
    std::optional<CIImage> outputImage() const;

private:
    struct Kind;
    explicit CIFilter(const Kind& kind)
        : kind_(&kind)
    { }
    static const Kind* kindOf(std::string_view name);

    const Kind* kind_;
    std::map<std::string, CIParameter, std::less<>> values_;
};

} // namespace vitrel
