#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace vitrel {

enum class AnimationKind { WebP, GIF };

// Writes a moving picture that plays for ever, frame by frame, on a thread of its own. A GIF takes the memory of a few
// frames, a WebP that of its file. One thread at a time.
class AnimatedImageWriter
{
public:
    struct Format {
        AnimationKind kind = AnimationKind::WebP;
        int width = 0, height = 0; // pixels
        std::vector<int> delays; // milliseconds, of each frame that there will be; a GIF's are multiples of ten
    };
    // Whether the format can hold that.
    static bool fits(const Format& format);
    // Into an open file, from where it stands; it stays the caller's.
    AnimatedImageWriter(Format format, int descriptor);
    // Gives up what isn't finished.
    ~AnimatedImageWriter();
    AnimatedImageWriter(const AnimatedImageWriter&) = delete;

    // The next frame: words 0x??RRGGBB, top row first. Waits if two are waiting already. False if writing has failed.
    bool add(const std::uint32_t* pixels);
    // After the last one; waits for the end. False if writing has failed.
    bool finish();

private:
    struct Channel;
    std::unique_ptr<Channel> channel_;
};

} // namespace vitrel
