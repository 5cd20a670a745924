#pragma once

#include "platform/quartzcomposer/scene/Image.h"
#include "platform/quartzcomposer/script/Script.h"

#include <memory>
#include <string>
#include <vector>

namespace vitrel::qc {

// A script that says which kernels and filters make an image kernel's result: `function __image main(__image a, ...)`.
// It sees images as extents and handles; what it asks for is written down and made once it has come to its end.
class FilterFunction
{
public:
    enum class Type : std::uint8_t { Image, Number, Index, Vec2, Vec3, Vec4, Color };
    struct Argument {
        Type type;
        std::string name;
    };
    using Kernels = std::vector<std::shared_ptr<const Kernel>>;

    // Null if the text has no such function.
    static std::unique_ptr<FilterFunction> make(const std::string& text, std::shared_ptr<const Kernels> kernels);
    const std::vector<Argument>& arguments() const { return arguments_; }

    // `images` and `values` in the order of the arguments of their kinds; colours premultiplied. Null if it fails.
    ImageRef run(const std::vector<ImageRef>& images, const std::vector<std::array<double, 4>>& values);

private:
    FilterFunction() = default;
    ImageRef made(const ScriptObject& step, const std::vector<ImageRef>& images) const;
    ImageRef ofKernel(const Kernel& kernel, std::shared_ptr<const Kernel> shared, const ScriptArray& given,
        const Extent& extent, const std::vector<ImageRef>& images) const;

    std::vector<Argument> arguments_;
    std::shared_ptr<const Kernels> kernels_;
    std::string source_; // until it is compiled
    std::unique_ptr<Script> script_;
};

} // namespace vitrel::qc
