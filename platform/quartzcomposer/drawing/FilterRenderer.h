#pragma once

#include "platform/quartzcomposer/drawing/Program.h"
#include "platform/quartzcomposer/drawing/Texture.h"
#include "platform/quartzcomposer/drawing/Workload.h"

#include <map>
#include <memory>
#include <string>

namespace vitrel::qc {

// Turns images into textures: uploads pixels, computes filters. What it has made stays with the image, so an image is
// uploaded or computed once however often it is shown. Main thread, with the context current.
class FilterRenderer
{
public:
    explicit FilterRenderer(Workload& work);
    ~FilterRenderer();

    // The image's texture, over its whole extent; for an infinite one over the target's. `texelsPerPixel` tells how
    // small it will be shown: a level at most that much reduced. Null if it has no pixels, or the frame no time for it.
    TextureRef texture(const ImageRef& image, int targetWidth, int targetHeight, double texelsPerPixel);

private:
    struct Piece { // a texture and the part of the image that it covers
        TextureRef texture;
        Extent covers;
    };
    Piece piece(const ImageRef& image, const Extent& wanted);
    Piece computed(const FilteredImage& image, const Extent& wanted);
    Piece blurred(const FilteredImage& image, const Extent& wanted);
    TextureRef level(const ImageRef& image, std::size_t level);
    Piece run(const Program& program, const std::vector<Piece>& inputs, const Extent& covers, int width, int height,
        const std::vector<double>& numbers, const std::vector<NSColor>& colors);
    const Program& program(const std::string& filter);

    Workload& work_;
    std::map<std::string, std::unique_ptr<Program>> programs_;
    unsigned vertexArray_ = 0;
    int depth_ = 0, passes_ = 0;
    std::uint64_t generation_ = 0;
};

} // namespace vitrel::qc
