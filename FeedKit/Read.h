#pragma once

#include "FeedKit/basics/Bytes.h"
#include "FeedKit/basics/Export.h"
#include "FeedKit/basics/Result.h"
#include "FeedKit/fetch/CurlFetcher.h"
#include "FeedKit/models/Extent.h"
#include "FeedKit/models/Leniency.h"
#include "FeedKit/models/ParserError.h"
#include "FeedKit/xml/NSInputStream.h"

#include <cstddef>
#include <filesystem>
#include <iosfwd>
#include <memory>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <string_view>

// Feeds from wherever they are, by one call each: RSS, RDF, Atom and JSON Feed, which of them a document says itself.
// The calls block; any thread, any number at once; nothing throws but for want of memory.
namespace FeedKit {

struct ReadOptions {
    Leniency leniency; // what may be wrong with a document; nothing unless it is said
    Extent extent = Extent::model;
    // Ends a fetch and a parse of XML at once, with an error, also if it was requested before.
    std::stop_token stop;
    // Of a fetch; its number of bytes limits also what is read of a file or a stream.
    FetchLimits limits;
    std::shared_ptr<Fetcher> fetcher; // libcurl's if null
};

// Of a document in memory, which must last for the call alone.
FEEDKIT_API Result<Reading, ParserError> read(std::string_view document, const ReadOptions& options = {});
FEEDKIT_API Result<Reading, ParserError> read(ByteView document, const ReadOptions& options = {});
FEEDKIT_API Result<Reading, ParserError> read(std::span<const std::byte> document, const ReadOptions& options = {});
// From where the stream stands. XML that is read strictly is parsed as it comes, and a stream isn't read to its end if
// the document ends before; all else is read whole.
FEEDKIT_API Result<Reading, ParserError> read(std::istream& stream, const ReadOptions& options = {});
FEEDKIT_API Result<Reading, ParserError> read(NSInputStream& stream, const ReadOptions& options = {});
// Of a regular file.
FEEDKIT_API Result<Reading, ParserError> readFile(const std::filesystem::path& path, const ReadOptions& options = {});

// A feed, and what was said of its document where it came from.
struct FetchedReading : Reading {
    URL address{""}; // behind all redirects
    int status = 0; // of HTTP; 0 for a file
    std::string contentType; // as the server has it; empty if it doesn't say
    std::string charset; // of it, in lower case; empty if it names none
    Validators validators; // to ask again with
};

// From an address: http, https, file; "feed:" stands for "http:".
FEEDKIT_API Result<FetchedReading, ParserError> fetch(const URL& address, const ReadOptions& options = {});
// The same; absent if the document is still the one that came with `known`.
FEEDKIT_API Result<std::optional<FetchedReading>, ParserError> fetchIfModified(
    const URL& address, const Validators& known, const ReadOptions& options = {});

} // namespace FeedKit
