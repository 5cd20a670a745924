#pragma once

#include <cstddef>
#include <expat.h>

namespace FeedKit {

// Counts what a tokeniser allocates and refuses beyond a limit. expat keeps each distinct name of a document, each open
// element and each unfinished piece of markup, so a document without limit would cost memory without limit.
class MemoryLimit
{
public:
    explicit MemoryLimit(std::size_t bytes)
        : left_(bytes)
    { }
    MemoryLimit(const MemoryLimit&) = delete;

    // From now on so many bytes more.
    void allow(std::size_t bytes) { left_ += bytes; }

    // Functions for XML_ParserCreate_MM. They draw on the limit that is current on this thread.
    static const XML_Memory_Handling_Suite& suite();

    // Makes a limit the current one of this thread for as long as it lives.
    class Scope
    {
    public:
        explicit Scope(MemoryLimit& limit);
        ~Scope();
        Scope(const Scope&) = delete;

    private:
        MemoryLimit* former_;
    };

private:
    friend struct MemoryBlocks;

    std::size_t left_;
};

} // namespace FeedKit
