#include "FeedKit/xml/MemoryLimit.h"

#include <cstdint>
#include <cstdlib>
#include <utility>

namespace FeedKit {

namespace {

thread_local MemoryLimit* current = nullptr;

// Stands ahead of each block.
struct alignas(std::max_align_t) Header {
    MemoryLimit* limit;
    std::size_t size;
};

} // namespace

struct MemoryBlocks {
    static void* allocate(std::size_t size)
    {
        if (!current || size > current->left_)
            return nullptr;
        const auto header = static_cast<Header*>(std::malloc(sizeof(Header) + size));
        if (!header)
            return nullptr;
        *header = {current, size};
        current->left_ -= size;
        return header + 1;
    }

    static void* reallocate(void* block, std::size_t size)
    {
        if (!block)
            return allocate(size);
        auto header = static_cast<Header*>(block) - 1;
        const auto limit = header->limit;
        const auto former = header->size;
        if (size > former && size - former > limit->left_)
            return nullptr;
        header = static_cast<Header*>(std::realloc(header, sizeof(Header) + size));
        if (!header)
            return nullptr;
        header->size = size;
        limit->left_ = limit->left_ + former - size;
        return header + 1;
    }

    static void release(void* block)
    {
        if (!block)
            return;
        const auto header = static_cast<Header*>(block) - 1;
        header->limit->left_ += header->size;
        std::free(header);
    }
};

const XML_Memory_Handling_Suite& MemoryLimit::suite()
{
    static const XML_Memory_Handling_Suite suite
        = {MemoryBlocks::allocate, MemoryBlocks::reallocate, MemoryBlocks::release};
    return suite;
}

MemoryLimit::Scope::Scope(MemoryLimit& limit)
    : former_(std::exchange(current, &limit))
{ }

MemoryLimit::Scope::~Scope()
{
    current = former_;
}

} // namespace FeedKit
