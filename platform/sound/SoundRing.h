#pragma once

#include "platform/sound/SoundLimits.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace vitrel {

// The last seconds of a sound, mono, in memory that a process shares with those that it forks: made ahead of the fork,
// written by one thread of one of them, read by any. Neither side trusts what stands there, for the other one may have
// been hijacked: the worst that it can do is another sound.
class SoundRing
{
public:
    static constexpr std::size_t kCapacity = 1u << 17; // 3 s at 44.1 kHz
    // What a reader gets at most; the rest is where the writer may be at work meanwhile.
    static constexpr std::size_t kReadable = kCapacity / 4 * 3;

    // Null if there is no memory.
    static std::shared_ptr<SoundRing> make();
    ~SoundRing();
    SoundRing(const SoundRing&) = delete;
    SoundRing& operator=(const SoundRing&) = delete;

    // The writer's. `rate` is in samples a second.
    void write(std::span<const float> samples, unsigned rate);

    // One of the readers, with a position of its own. One thread.
    class Reader
    {
    public:
        explicit Reader(std::shared_ptr<const SoundRing> ring);
        // As if all that was written had been read.
        void skip();
        // What was written since, the newest of it if it is much; valid until the next call. Every number is finite and
        // within ±kLoudestSample. Nothing where the memory makes no sense.
        std::span<const float> read();
        // Of what was read; 0 if that makes no sense.
        unsigned rate() const { return rate_; }

    private:
        std::shared_ptr<const SoundRing> ring_;
        std::uint64_t position_ = 0;
        unsigned rate_ = 0;
        std::vector<float> samples_;
    };

private:
    friend struct SoundRingTampering;
    struct Memory;
    explicit SoundRing(Memory& memory)
        : memory_(memory)
    { }

    Memory& memory_;
    std::uint64_t position_ = 0; // the writer's own
};

} // namespace vitrel
