#include "FeedKit/Read.h"

#include "FeedKit/FeedDataType.h"
#include "FeedKit/LenientReading.h"
#include "FeedKit/xml/XMLFeedParser.h"
#include "base/Text.h"

#include <istream>

namespace FeedKit {

namespace {

constexpr std::size_t kPiece = 64 * 1024;
// How late a stop is seen while a stream gives nothing.
constexpr std::chrono::milliseconds kBetweenLooks{20};
// Within which a document shows what it is.
constexpr std::size_t kHead = 200;

// An istream as a stream of ours. One that throws is one that fails.
class StandardStream final : public NSInputStream
{
public:
    explicit StandardStream(std::istream& stream)
        : stream_(stream)
    { }

    std::ptrdiff_t read(std::uint8_t* buffer, std::size_t maxLength) override
    {
        try {
            // What is there is given at once: a pipe's writer may take his time.
            if (stream_.rdbuf()->in_avail() <= 0 && stream_.peek() == std::istream::traits_type::eof())
                return stream_.bad() ? -1 : 0;
            const auto count
                = stream_.readsome(reinterpret_cast<char*>(buffer), static_cast<std::streamsize>(maxLength));
            if (count > 0)
                return count;
            const auto one = stream_.get();
            if (one == std::istream::traits_type::eof())
                return stream_.bad() ? -1 : 0;
            *buffer = static_cast<std::uint8_t>(one);
            return 1;
        } catch (const std::ios_base::failure&) {
            return stream_.bad() ? -1 : 0;
        }
    }

private:
    std::istream& stream_;
};

// What has been read of a stream, and then the rest of it.
class ResumedStream final : public NSInputStream
{
public:
    ResumedStream(ByteView head, NSInputStream& rest)
        : head_(head)
        , rest_(rest)
    { }

    std::ptrdiff_t read(std::uint8_t* buffer, std::size_t maxLength) override
    {
        if (head_.bytesLeft() > 0)
            return head_.read(buffer, maxLength);
        return rest_.read(buffer, maxLength);
    }
    StreamReadiness waitForBytes(std::chrono::milliseconds atMost) override
    {
        return head_.bytesLeft() > 0 ? StreamReadiness::ready : rest_.waitForBytes(atMost);
    }
    std::size_t bytesLeft() const override { return head_.bytesLeft() + rest_.bytesLeft(); }
    std::string streamError() const override { return rest_.streamError(); }

private:
    DataInputStream head_;
    NSInputStream& rest_;
};

// Why it failed; absent if it didn't.
std::optional<ParserError> readUpTo(NSInputStream& stream, Bytes& to, std::size_t size, const std::stop_token& stop)
{
    while (to.size() < size) {
        do {
            if (stop.stop_requested())
                return ParserError::internalError("the reading was stopped");
        } while (stream.waitForBytes(kBetweenLooks) == StreamReadiness::waiting);
        const auto had = to.size();
        to.resize(std::min(size, had + kPiece));
        const auto count = stream.read(to.data() + had, to.size() - had);
        to.resize(had + static_cast<std::size_t>(std::max<std::ptrdiff_t>(count, 0)));
        if (count < 0)
            return ParserError::internalError(stream.streamError());
        if (count == 0)
            break;
    }
    return std::nullopt;
}

Result<Reading, ParserError> parseStream(NSInputStream& stream, const ReadOptions& options)
{
    // It is there for as long as the call lasts.
    XMLFeedParser parser(std::shared_ptr<NSInputStream>(std::shared_ptr<void>(), &stream), {.extent = options.extent});
    const std::stop_callback onStop(options.stop, [&] { parser.abortParsing(); });
    auto feed = parser.parse();
    return feed ? Result<Reading, ParserError>(Reading{*std::move(feed)}) : std::move(feed).error();
}

std::shared_ptr<Fetcher> fetcherOf(const ReadOptions& options)
{
    return options.fetcher ? options.fetcher : std::make_shared<CurlFetcher>(options.limits);
}

} // namespace

Result<Reading, ParserError> read(ByteView document, const ReadOptions& options)
{
    return readLeniently(document, options.leniency, options.extent, {}, options.stop);
}

Result<Reading, ParserError> read(std::string_view document, const ReadOptions& options)
{
    return read(bytesOf(document), options);
}

Result<Reading, ParserError> read(std::span<const std::byte> document, const ReadOptions& options)
{
    return read(ByteView(reinterpret_cast<const std::uint8_t*>(document.data()), document.size()), options);
}

Result<Reading, ParserError> read(std::istream& stream, const ReadOptions& options)
{
    StandardStream ours(stream);
    return read(ours, options);
}

Result<Reading, ParserError> read(NSInputStream& stream, const ReadOptions& options)
{
    Bytes head;
    if (auto error = readUpTo(stream, head, kHead, options.stop))
        return *std::move(error);
    if (options.leniency.empty() && makeFeedDataType(head) == FeedDataType::xml) {
        ResumedStream whole(head, stream);
        return parseStream(whole, options);
    }
    if (auto error = readUpTo(stream, head, options.limits.bytes + 1, options.stop))
        return *std::move(error);
    if (head.size() > options.limits.bytes)
        return ParserError::internalError("the document is too large");
    return read(ByteView(head), options);
}

Result<Reading, ParserError> readFile(const std::filesystem::path& path, const ReadOptions& options)
{
    std::error_code error;
    const auto whole = std::filesystem::absolute(path, error);
    if (error)
        return ParserError::internalError("file not found");
    auto fetched = fetch(URL("file://" + vitrel::percentEncoded(whole.string(), "/")), options);
    if (!fetched)
        return std::move(fetched).error();
    return Reading(static_cast<Reading&&>(*std::move(fetched)));
}

Result<FetchedReading, ParserError> fetch(const URL& address, const ReadOptions& options)
{
    auto fetched = fetchIfModified(address, {}, options);
    if (!fetched)
        return std::move(fetched).error();
    if (!*fetched)
        return ParserError::internalError("nothing came, though nothing was known");
    return **std::move(fetched);
}

Result<std::optional<FetchedReading>, ParserError> fetchIfModified(
    const URL& address, const Validators& known, const ReadOptions& options)
{
    const auto url = replacing(address, "feed", "http");
    auto contents = fetcherOf(options)->contentsOfIfModified(url.value_or(address), known, options.stop);
    if (!contents)
        return ParserError::internalError(contents.error());
    if (!*contents)
        return std::optional<FetchedReading>();
    auto& came = **contents;
    auto reading = readLeniently(came.bytes, options.leniency, options.extent, came.contentType, options.stop);
    if (!reading)
        return std::move(reading).error();
    FetchedReading whole{*std::move(reading)};
    whole.address = came.address.text().empty() ? url.value_or(address) : came.address;
    whole.status = came.status;
    whole.charset = charsetOf(came.contentType);
    whole.contentType = std::move(came.contentType);
    whole.validators = std::move(came.validators);
    return std::optional(std::move(whole));
}

} // namespace FeedKit
