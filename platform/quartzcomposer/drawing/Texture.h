#pragma once

#include "platform/quartzcomposer/scene/Image.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace vitrel::qc {

// A texture of 32-bit pixels, first row at the top, and the image that keeps it. Goes with its last holder, which must
// be on the main thread.
class Texture
{
public:
    // `pixels` may be null: transparent black. Null if OpenGL can't.
    static std::shared_ptr<Texture> make(int width, int height, const std::uint32_t* pixels);
    ~Texture();
    Texture(const Texture&) = delete;
    Texture& operator=(const Texture&) = delete;

    unsigned name() const { return name_; }
    int width() const { return width_; }
    int height() const { return height_; }
    std::uint64_t generation() const { return generation_; }

private:
    Texture() = default;
    unsigned name_ = 0;
    int width_ = 0, height_ = 0;
    std::uint64_t generation_ = 0;
};

using TextureRef = std::shared_ptr<Texture>;

// What an image keeps once it was shown: its texture, and smaller ones for when it is shown small.
struct TextureLevels : Image::Realization {
    std::vector<TextureRef> levels; // each half of the one before; those not needed yet are null
};

} // namespace vitrel::qc
