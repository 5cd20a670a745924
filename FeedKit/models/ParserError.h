#pragma once

#include "FeedKit/basics/Export.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace FeedKit {

// The dictionary's keys in userInfo.
inline constexpr char NSLocalizedDescriptionKey[] = "NSLocalizedDescription";
inline constexpr char NSLocalizedFailureReasonErrorKey[] = "NSLocalizedFailureReason";
inline constexpr char NSLocalizedRecoverySuggestionErrorKey[] = "NSLocalizedRecoverySuggestion";

struct NSError {
    std::string domain;
    std::int64_t code = 0;
    std::map<std::string, std::string> userInfo;

    friend bool operator==(const NSError&, const NSError&) = default;
};

// Why there is no feed.
class FEEDKIT_API ParserError
{
public:
    enum class Case { feedCDATABlockEncodingError, internalError, feedNotFound };

    // The path of the element that held the CDATA section.
    static ParserError feedCDATABlockEncodingError(std::string path)
    {
        return {Case::feedCDATABlockEncodingError, std::move(path)};
    }
    static ParserError internalError(std::string reason) { return {Case::internalError, std::move(reason)}; }
    static ParserError feedNotFound() { return {Case::feedNotFound, {}}; }

    Case which() const { return which_; }
    // The path or the reason; empty for feedNotFound.
    const std::string& payload() const { return payload_; }

    // Of the case.
    std::string_view name() const;
    // The case with what it holds, for a log: internalError(reason: "...").
    std::string debugDescription() const;
    std::int64_t code() const;
    std::string errorDescription() const;
    std::string failureReason() const;
    std::string recoverySuggestion() const;
    std::string localizedDescription() const { return errorDescription(); }
    std::map<std::string, std::string> userInfo() const;
    // Domain "com.feedkit.error".
    NSError value() const;

    friend bool operator==(const ParserError&, const ParserError&) = default;

private:
    ParserError(Case which, std::string payload)
        : which_(which)
        , payload_(std::move(payload))
    { }

    Case which_;
    std::string payload_;
};

} // namespace FeedKit
