#include "programs/feedkit/Documents.h"

#include "FeedKit/FeedDataType.h"
#include "FeedKit/FeedParser.h"
#include "FeedKit/Read.h"
#include "FeedKit/basics/Letters.h"
#include "FeedKit/fetch/CurlFetcher.h"
#include "FeedKit/xml/DescriptorInputStream.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace vitrel {

namespace {

using namespace FeedKit;

// The type of a document shows within these.
constexpr std::size_t kBeginning = 200;

// What has to be in memory as a whole, as what is fetched has: JSON, pages, lists, and whatever is read leniently.
constexpr std::size_t kLargest = 64u << 20;

// A stream of which the first bytes have been looked at already.
class PeekedStream final : public NSInputStream
{
public:
    explicit PeekedStream(int descriptor)
        : rest_(descriptor)
    { }

    // The type that the first bytes show. They are read as they come, and will be read again.
    std::optional<FeedDataType> type()
    {
        ahead_.resize(kBeginning);
        std::size_t have = 0;
        std::optional<FeedDataType> type;
        for (std::ptrdiff_t count = 1; have < kBeginning && count > 0 && !type;) {
            count = rest_.read(ahead_.data() + have, kBeginning - have);
            have += static_cast<std::size_t>(std::max<std::ptrdiff_t>(count, 0));
            // What shows nothing may yet do so: a character can be cut.
            type = makeFeedDataType({ahead_.data(), have});
        }
        ahead_.resize(have);
        return type;
    }

    std::ptrdiff_t read(std::uint8_t* buffer, std::size_t maxLength) override
    {
        const auto count = std::min(maxLength, ahead_.size());
        if (count == 0)
            return rest_.read(buffer, maxLength);
        std::copy_n(ahead_.begin(), count, buffer);
        ahead_.erase(ahead_.begin(), ahead_.begin() + static_cast<std::ptrdiff_t>(count));
        return static_cast<std::ptrdiff_t>(count);
    }
    StreamReadiness waitForBytes(std::chrono::milliseconds atMost) override
    {
        return ahead_.empty() ? rest_.waitForBytes(atMost) : StreamReadiness::ready;
    }
    std::size_t bytesLeft() const override { return ahead_.size() + rest_.bytesLeft(); }
    std::string streamError() const override { return rest_.streamError(); }

private:
    DescriptorInputStream rest_;
    Bytes ahead_;
};

Result<Bytes, std::string> allOf(NSInputStream& stream, std::string_view what)
{
    constexpr std::size_t kPiece = 1u << 16;
    Bytes bytes;
    bytes.reserve(std::min(stream.bytesLeft(), kLargest) + kPiece); // growing would take it twice
    for (;;) {
        const auto had = bytes.size();
        bytes.resize(had + kPiece);
        const auto count = stream.read(bytes.data() + had, kPiece);
        if (count < 0)
            return stream.streamError();
        bytes.resize(had + static_cast<std::size_t>(count));
        if (count == 0)
            return bytes;
        if (bytes.size() > kLargest)
            return "too large: more than 64 MiB of " + std::string(what);
    }
}

Result<Feed, ParserError> parseFile(int descriptor)
{
    const auto stream = std::make_shared<PeekedStream>(descriptor);
    const auto type = stream->type();
    if (!stream->streamError().empty())
        return ParserError::internalError(stream->streamError());
    if (type == FeedDataType::xml)
        return FeedParser(stream).parse();
    if (!type)
        return ParserError::feedNotFound();
    auto contents = allOf(*stream, "JSON");
    if (!contents)
        return ParserError::internalError(contents.error());
    return FeedParser(*std::move(contents)).parse();
}

// A copy of standard input's, for the stream closes it.
int opened(const std::string& name)
{
    return name == "-" ? ::dup(STDIN_FILENO) : ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
}

Result<Feed, ParserError> parseStrictly(const std::string& name)
{
    if (isAddress(name))
        return FeedParser(URL(name)).parse();
    const int descriptor = opened(name);
    return descriptor < 0 ? ParserError::internalError(::strerrordesc_np(errno)) : parseFile(descriptor);
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

ParsedFeed parseDocument(const std::string& name, const Leniency& leniency)
{
    if (!leniency.empty())
        return readDocument(name, leniency, Extent::model).feed;
    auto feed = parseStrictly(name);
    return feed ? ParsedFeed(Reading{*std::move(feed)}) : ParsedFeed(std::move(feed).error());
}

Document readDocument(const std::string& name, const Leniency& leniency, Extent extent)
{
    const ReadOptions options{.leniency = leniency, .extent = extent};
    if (isAddress(name)) {
        auto fetched = fetch(URL(name), options);
        if (!fetched)
            return {std::move(fetched).error(), URL("")};
        const auto address = fetched->address;
        return {ParsedFeed(Reading(*std::move(fetched))), address};
    }
    const int descriptor = opened(name);
    if (descriptor < 0)
        return {ParserError::internalError(::strerrordesc_np(errno)), URL("")};
    DescriptorInputStream stream(descriptor);
    return {read(stream, options), URL("")};
}

Result<Contents, std::string> contentsOf(const std::string& name)
{
    if (isAddress(name)) {
        const auto url = replacing(URL(name), "feed", "http");
        if (!url)
            return std::string("Failed url sanitizing.");
        auto fetched = CurlFetcher().contentsOfIfModified(*url, {});
        if (!fetched)
            return fetched.error();
        if (!*fetched)
            return std::string("nothing came, though nothing was known");
        const auto& address = (*fetched)->address;
        return Contents{std::move((*fetched)->bytes), address.text().empty() ? *url : address};
    }
    const int descriptor = opened(name);
    if (descriptor < 0)
        return std::string(::strerrordesc_np(errno));
    DescriptorInputStream stream(descriptor);
    auto bytes = allOf(stream, "a document");
    if (!bytes)
        return bytes.error();
    return Contents{*std::move(bytes), URL("")};
}

} // namespace vitrel
