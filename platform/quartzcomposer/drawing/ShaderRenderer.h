#pragma once

#include "platform/quartzcomposer/drawing/Program.h"
#include "platform/quartzcomposer/drawing/Texture.h"
#include "platform/quartzcomposer/drawing/Workload.h"
#include "platform/quartzcomposer/scene/Canvas.h"

#include <map>
#include <memory>

namespace vitrel::qc {

// Draws with authors' programs. Each is compiled once; one that keeps the graphics card too long isn't used any more.
// Main thread, with the context current.
class ShaderRenderer
{
public:
    explicit ShaderRenderer(Workload& work);
    ~ShaderRenderer();
    ShaderRenderer(const ShaderRenderer&) = delete;
    ShaderRenderer& operator=(const ShaderRenderer&) = delete;

    // What a draw needs beside its corners; textures stand for the uniforms that are images, null for none.
    struct Call {
        const ShaderUse& use;
        const ShaderSurroundings& around;
        TextureRef own; // of what is drawn
        std::vector<TextureRef> images;
        float scaleX, scaleY, height; // of the target: pixels as authors see them over those there are
    };
    // False if the program is broken or was given up.
    bool isUsable(const Shader& shader);
    // Into the target that is bound, with blending and the like as they are set.
    void draw(Primitive primitive, std::span<const ShaderVertex> vertices, const Call& call);

private:
    struct Compiled {
        std::unique_ptr<Program> program;
        bool cornersLoop = false, pixelsLoop = false;
        int slow = 0;
    };
    void set(const Program& program, const Call& call) const;
    void setSurroundings(const Program& program, const ShaderSurroundings& around) const;

    Workload& work_;
    std::map<std::string, Compiled> programs_; // by both texts
    unsigned vertexArray_ = 0, buffer_ = 0;
    TextureRef white_;
    std::uint64_t generation_ = 0;
};

} // namespace vitrel::qc
