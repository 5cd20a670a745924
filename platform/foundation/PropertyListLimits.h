#pragma once

#include <cstddef>

namespace vitrel::plist {

// Deep enough for any real file, and shallow enough that recursion and destruction fit every thread's stack.
constexpr std::size_t kMaximumDepth = 512;
constexpr std::size_t kMaximumInput = std::size_t(64) << 20;
constexpr std::size_t kMaximumOutput = std::size_t(64) << 20;
// Members of all containers together. A file may name one object in a few bytes and each mention is a Value here. One
// that is named again counts again, with all that is in it: whoever walks the value meets it as often.
constexpr std::size_t kMaximumReferences = std::size_t(1) << 20;
// What the result may take. With the input and growing buffers a hostile file stays well below 256 MiB.
constexpr std::size_t kMaximumMemory = std::size_t(96) << 20;
// A buffer that grows by doubling holds up to three times its text for a moment.
constexpr std::size_t kMaximumText = std::size_t(24) << 20;
constexpr std::size_t kValueCost = 40, kContainerCost = 128, kEntryCost = 112;

// What is left of the limits above while one file is read.
class Budget
{
public:
    std::size_t memory() const { return memory_; }
    std::size_t references() const { return references_; }
    bool take(std::size_t bytes)
    {
        if (bytes > memory_)
            return false;
        memory_ -= bytes;
        return true;
    }
    bool takeReferences(std::size_t count)
    {
        if (count > references_)
            return false;
        references_ -= count;
        return true;
    }

private:
    std::size_t memory_ = kMaximumMemory;
    std::size_t references_ = kMaximumReferences;
};

} // namespace vitrel::plist
