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
    // Whose memory it is: the picture of a view is always had, what a composition asks for has a bound together.
    enum class Use : std::uint8_t { View, Composition };
    // Half: 16-bit floating-point numbers, for values beyond 0 to 1 and steps finer than 8 bits.
    enum class Format : std::uint8_t { Bytes, Half };

    // `pixels` may be null: they are then undefined. Null if OpenGL can't, or if all textures of compositions would
    // pass 160 MiB. `copies` counts what belongs to it and is as large, such as a depth buffer.
    static std::shared_ptr<Texture> make(int width, int height, const std::uint32_t* pixels, Use use = Use::Composition,
        int copies = 1, Format format = Format::Bytes);
    ~Texture();
    Texture(const Texture&) = delete;
    Texture& operator=(const Texture&) = delete;

    unsigned name() const { return name_; }
    int width() const { return width_; }
    int height() const { return height_; }
    std::uint64_t generation() const { return generation_; }
    Format format() const { return format_; }

private:
    Texture() = default;
    unsigned name_ = 0;
    int width_ = 0, height_ = 0;
    Format format_ = Format::Bytes;
    std::size_t counted_ = 0; // bytes of the bound
    std::uint64_t generation_ = 0;
};

using TextureRef = std::shared_ptr<Texture>;

// What an image keeps once it was shown: its texture, and smaller ones for when it is shown small.
struct TextureLevels : Image::Realization {
    std::vector<TextureRef> levels; // each half of the one before; those not needed yet are null
};

} // namespace vitrel::qc
