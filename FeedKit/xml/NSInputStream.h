#pragma once

#include "FeedKit/basics/Bytes.h"
#include "FeedKit/basics/Export.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace FeedKit {

// Whether a read would give something at once: bytes, the end or a failure.
enum class StreamReadiness { ready, waiting, unknown };

// A pull source of bytes.
class FEEDKIT_API NSInputStream
{
public:
    virtual ~NSInputStream() = default;

    // Reads up to `maxLength` bytes into `buffer`, waiting until there is at least one. The number read; 0 at the end,
    // -1 on failure.
    virtual std::ptrdiff_t read(std::uint8_t* buffer, std::size_t maxLength) = 0;
    // Waits until a read would give something, so long at most. A source that may be slow should know: a parse that
    // waits for one that doesn't is aborted only when its read returns.
    virtual StreamReadiness waitForBytes(std::chrono::milliseconds) { return StreamReadiness::unknown; }
    // About how many bytes are left; 0 if that isn't known.
    virtual std::size_t bytesLeft() const { return 0; }
    // Why a read failed, in words.
    virtual std::string streamError() const { return "the stream could not be read"; }
};

// Bytes in memory, which must outlive the stream.
class DataInputStream final : public NSInputStream
{
public:
    explicit DataInputStream(ByteView data)
        : rest_(data)
    { }

    std::ptrdiff_t read(std::uint8_t* buffer, std::size_t maxLength) override
    {
        const auto count = std::min(maxLength, rest_.size());
        std::copy_n(rest_.data(), count, buffer);
        rest_ = rest_.subspan(count);
        return static_cast<std::ptrdiff_t>(count);
    }

    StreamReadiness waitForBytes(std::chrono::milliseconds) override { return StreamReadiness::ready; }
    std::size_t bytesLeft() const override { return rest_.size(); }

private:
    ByteView rest_;
};

} // namespace FeedKit
