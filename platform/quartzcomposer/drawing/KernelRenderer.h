#pragma once

#include "platform/quartzcomposer/drawing/Program.h"
#include "platform/quartzcomposer/drawing/Texture.h"
#include "platform/quartzcomposer/drawing/Workload.h"

#include <map>
#include <memory>
#include <string>

namespace vitrel::qc {

// A texture and the part of an image that it covers.
struct TexturePiece {
    TextureRef texture;
    Extent covers;
};

// Draws authors' kernels into textures. A source is compiled once however many patches have it; what is too dear is
// computed with fewer pixels or not at all, and then the first image stands in its place. Main thread, with the context
// current.
class KernelRenderer
{
public:
    explicit KernelRenderer(Workload& work);

    // With a vertex array for three corners bound. No texture if OpenGL can't, or the frame has no time for it.
    TexturePiece run(const KernelImage& image, const std::vector<TexturePiece>& inputs, const Extent& covers, int width,
        int height, Texture::Format format);

private:
    struct Compiled {
        std::unique_ptr<Program> program;
        int slow = 0; // frames in which it took too long
    };
    Compiled* compiled(const std::string& fragment);
    void set(const Program& program, const KernelImage& image, const std::vector<TexturePiece>& inputs,
        const Extent& covers) const;

    Workload& work_;
    std::map<std::string, Compiled> programs_;
};

} // namespace vitrel::qc
