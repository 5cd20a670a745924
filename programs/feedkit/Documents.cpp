#include "programs/feedkit/Documents.h"

#include "FeedKit/FeedDataType.h"
#include "FeedKit/FeedParser.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace vitrel {

namespace {

using namespace FeedKit;

// The type of a document shows within these.
constexpr std::size_t kBeginning = 200;

// JSON has to be in memory as a whole, as what is fetched has.
constexpr std::size_t kLargestJson = 64u << 20;

// A descriptor's bytes, of which the first have been looked at already.
class DescriptorStream final : public NSInputStream
{
public:
    // Takes the descriptor over; standard input stays open.
    explicit DescriptorStream(int descriptor)
        : descriptor_(descriptor)
    {
        struct stat file = {};
        if (::fstat(descriptor, &file) == 0 && S_ISREG(file.st_mode))
            unread_ = static_cast<std::size_t>(std::max<off_t>(file.st_size, 0));
    }
    ~DescriptorStream() override
    {
        if (descriptor_ > 0)
            ::close(descriptor_);
    }
    DescriptorStream(const DescriptorStream&) = delete;
    DescriptorStream& operator=(const DescriptorStream&) = delete;

    // The first bytes, up to `length`; fewer at the end or on failure. They will be read again.
    ByteView peek(std::size_t length)
    {
        ahead_.resize(length);
        std::size_t have = 0;
        std::ptrdiff_t count = 1;
        while (have < length && count > 0) {
            count = readFrom(ahead_.data() + have, length - have);
            have += static_cast<std::size_t>(std::max<std::ptrdiff_t>(count, 0));
        }
        ahead_.resize(have);
        return ahead_;
    }

    std::ptrdiff_t read(std::uint8_t* buffer, std::size_t maxLength) override
    {
        const auto count = std::min(maxLength, ahead_.size());
        if (count == 0)
            return readFrom(buffer, maxLength);
        std::copy_n(ahead_.begin(), count, buffer);
        ahead_.erase(ahead_.begin(), ahead_.begin() + static_cast<std::ptrdiff_t>(count));
        return static_cast<std::ptrdiff_t>(count);
    }
    std::size_t bytesLeft() const override { return ahead_.size() + unread_; }
    // Empty if no read failed.
    std::string streamError() const override { return error_ == 0 ? std::string() : ::strerrordesc_np(error_); }

private:
    std::ptrdiff_t readFrom(std::uint8_t* buffer, std::size_t maxLength)
    {
        std::ptrdiff_t count = 0;
        do
            count = ::read(descriptor_, buffer, maxLength);
        while (count < 0 && errno == EINTR);
        if (count < 0)
            error_ = errno;
        else
            unread_ -= std::min(unread_, static_cast<std::size_t>(count));
        return count;
    }

    int descriptor_;
    int error_ = 0;
    std::size_t unread_ = 0; // as far as it is known
    Bytes ahead_;
};

Result<Bytes, std::string> contentsOf(NSInputStream& stream)
{
    constexpr std::size_t kPiece = 1u << 16;
    Bytes bytes;
    bytes.reserve(std::min(stream.bytesLeft(), kLargestJson) + kPiece); // growing would take it twice
    for (;;) {
        const auto had = bytes.size();
        bytes.resize(had + kPiece);
        const auto count = stream.read(bytes.data() + had, kPiece);
        if (count < 0)
            return stream.streamError();
        bytes.resize(had + static_cast<std::size_t>(count));
        if (count == 0)
            return bytes;
        if (bytes.size() > kLargestJson)
            return std::string("too large: more than 64 MiB of JSON");
    }
}

ParsedFeed parseFile(const std::string& name)
{
    const int descriptor = name == "-" ? STDIN_FILENO : ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return ParserError::internalError(::strerrordesc_np(errno));
    const auto stream = std::make_shared<DescriptorStream>(descriptor);
    const auto type = makeFeedDataType(stream->peek(kBeginning));
    if (!stream->streamError().empty())
        return ParserError::internalError(stream->streamError());
    if (type == FeedDataType::xml)
        return FeedParser(stream).parse();
    if (!type)
        return ParserError::feedNotFound();
    auto contents = contentsOf(*stream);
    if (!contents)
        return ParserError::internalError(contents.error());
    return FeedParser(*std::move(contents)).parse();
}

} // namespace

bool isAddress(const std::string& name)
{
    const URL url(name);
    const auto scheme = url.scheme();
    if (scheme.empty())
        return false;
    for (const auto* fetched : {"http", "https", "file", "feed"}) {
        if (sameIgnoringCase(scheme, fetched))
            return true;
    }
    return name.compare(scheme.size(), 3, "://") == 0;
}

ParsedFeed parseDocument(const std::string& name)
{
    return isAddress(name) ? FeedParser(URL(name)).parse() : parseFile(name);
}

} // namespace vitrel
