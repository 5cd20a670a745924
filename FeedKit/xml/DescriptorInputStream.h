#pragma once

#include "FeedKit/basics/Export.h"
#include "FeedKit/xml/NSInputStream.h"

namespace FeedKit {

// The bytes behind a file descriptor: a file, a pipe, a socket, a terminal. While it waits for more, a parse can be
// aborted.
class FEEDKIT_API DescriptorInputStream final : public NSInputStream
{
public:
    // Takes the descriptor over, and closes it in the end.
    explicit DescriptorInputStream(int descriptor);
    ~DescriptorInputStream() override;
    DescriptorInputStream(const DescriptorInputStream&) = delete;
    DescriptorInputStream& operator=(const DescriptorInputStream&) = delete;

    std::ptrdiff_t read(std::uint8_t* buffer, std::size_t maxLength) override;
    StreamReadiness waitForBytes(std::chrono::milliseconds atMost) override;
    std::size_t bytesLeft() const override { return unread_; }
    // Empty if no read failed.
    std::string streamError() const override;

private:
    int descriptor_;
    int error_ = 0;
    bool isFile_ = false; // that is never waited for
    std::size_t unread_ = 0; // as far as it is known
};

} // namespace FeedKit
