#include "platform/sound/SoundRing.h"

#include "platform/sound/SoundRingMemory.h"

#include <sys/mman.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace vitrel {

std::shared_ptr<SoundRing> SoundRing::make()
{
    void* const memory
        = mmap(nullptr, sizeof(Memory), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0); // all zero
    if (memory == MAP_FAILED)
        return nullptr;
    return std::shared_ptr<SoundRing>(new SoundRing(*static_cast<Memory*>(memory)));
}

SoundRing::~SoundRing()
{
    munmap(&memory_, sizeof(Memory));
}

void SoundRing::write(std::span<const float> samples, unsigned rate)
{
    memory_.rate.store(rate, std::memory_order_relaxed);
    for (const float sample : samples)
        memory_.samples[position_++ % kCapacity].store(sample, std::memory_order_relaxed);
    memory_.written.store(position_, std::memory_order_release);
}

SoundRing::Reader::Reader(std::shared_ptr<const SoundRing> ring)
    : ring_(std::move(ring))
{
    skip();
}

void SoundRing::Reader::skip()
{
    position_ = ring_->memory_.written.load(std::memory_order_acquire);
}

std::span<const float> SoundRing::Reader::read()
{
    const auto& memory = ring_->memory_;
    const std::uint64_t written = memory.written.load(std::memory_order_acquire);
    const std::uint64_t since = written - position_; // of a counter that ran backwards: more than there can be
    position_ = written;
    rate_ = memory.rate.load(std::memory_order_relaxed);
    if (rate_ < kLeastSoundRate || rate_ > kMostSoundRate)
        rate_ = 0;
    const auto count = rate_ == 0 || since > written ? 0 : std::size_t(std::min<std::uint64_t>(since, kReadable));
    samples_.resize(count);
    for (std::size_t k = 0; k < count; ++k) {
        const float sample = memory.samples[(written - count + k) % kCapacity].load(std::memory_order_relaxed);
        samples_[k] = std::abs(sample) <= kLoudestSample ? sample : 0; // a NaN is neither
    }
    return samples_;
}

} // namespace vitrel
