#pragma once

#include "platform/quartzcomposer/drawing/Smoothness.h"
#include "platform/quartzcomposer/scene/Image.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace vitrel::qc {

// A texture, first row at the top, and the image that keeps it. Goes with its last holder, which must be on the main
// thread; its memory is then kept for a while for the next of its size, as moving pictures are made anew each frame.
class Texture
{
public:
    // Whose memory it is: the picture of a view is always had, what a composition asks for has a bound together.
    enum class Use : std::uint8_t { View, Composition };
    // Bytes for shares of 255, or halves of floats for values beyond them.
    enum class Format : std::uint8_t { Bytes, Halves };

    // `pixels`, 32 bits each, may be null: they are then undefined. Null if OpenGL can't, or if all textures of
    // compositions would pass 160 MiB even without what can be made again.
    static std::shared_ptr<Texture> make(
        int width, int height, const std::uint32_t* pixels, Use use = Use::Composition, Format format = Format::Bytes);
    // Without pixels, and with fewer of them, by halves each way, where so many don't fit. Null only if OpenGL can't.
    static std::shared_ptr<Texture> fitting(double width, double height, Format format = Format::Bytes);
    ~Texture();
    Texture(const Texture&) = delete;
    Texture& operator=(const Texture&) = delete;

    unsigned name() const { return name_; }
    // That draws into it; made when it is first asked for, and bound then.
    unsigned framebuffer();
    Format format() const { return format_; }
    int width() const { return width_; }
    int height() const { return height_; }
    std::uint64_t generation() const { return generation_; }
    // False once the context that it was made on is gone.
    bool valid() const;

    // Of its pixels, once somebody has measured them, and how often that was asked for.
    std::optional<Smoothness> smoothness;
    int asked = 0;

    // The renderer's own, at most 16384.
    static int largestSide();

    // A frame begins: memory that none of the last ones wanted is given back.
    static void beginFrame();

private:
    Texture() = default;
    unsigned name_ = 0, framebuffer_ = 0;
    int width_ = 0, height_ = 0;
    Format format_ = Format::Bytes;
    std::size_t counted_ = 0; // bytes of the bound
    std::uint64_t generation_ = 0;
};

using TextureRef = std::shared_ptr<Texture>;

// What an image keeps once it was shown: its texture, and smaller ones for when it is shown small. Where memory ends,
// those are taken away that can be made again and were shown the longest time ago.
struct TextureLevels : Image::Realization {
    explicit TextureLevels(bool canBeMadeAgain);
    ~TextureLevels() override;
    TextureLevels(const TextureLevels&) = delete;
    TextureLevels& operator=(const TextureLevels&) = delete;

    // The texture of a level, or null if there is none that is valid. Counts as shown.
    TextureRef at(std::size_t level);
    void keep(std::size_t level, TextureRef texture);

    Extent covers; // of an image without an end: the part of it that is kept
    std::vector<TextureRef> levels; // each half of the one before; those not needed yet are null
    std::uint64_t shown = 0;
};

} // namespace vitrel::qc
