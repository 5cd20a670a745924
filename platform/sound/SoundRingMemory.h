#pragma once

#include "platform/sound/SoundRing.h"

#include <atomic>

namespace vitrel {

// What the processes share.
struct SoundRing::Memory {
    std::atomic<std::uint64_t> written; // samples since the beginning; the next one goes to this, modulo the capacity
    std::atomic<std::uint32_t> rate;
    std::atomic<float> samples[kCapacity];
};
static_assert(std::atomic<std::uint64_t>::is_always_lock_free && std::atomic<float>::is_always_lock_free);

// For tests and fuzzing: what a hijacked process can do.
struct SoundRingTampering {
    static SoundRing::Memory& memoryOf(const SoundRing& ring) { return ring.memory_; }
};

} // namespace vitrel
