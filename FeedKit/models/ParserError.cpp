#include "FeedKit/models/ParserError.h"

namespace FeedKit {

std::string_view ParserError::name() const
{
    switch (which_) {
    case Case::feedCDATABlockEncodingError:
        return "feedCDATABlockEncodingError";
    case Case::internalError:
        return "internalError";
    case Case::feedNotFound:
        return "feedNotFound";
    }
    return {};
}

std::string ParserError::debugDescription() const
{
    std::string text(name());
    if (which_ != Case::feedNotFound)
        text += (which_ == Case::internalError ? "(reason: \"" : "(path: \"") + payload_ + "\")";
    return text;
}

std::int64_t ParserError::code() const
{
    switch (which_) {
    case Case::feedCDATABlockEncodingError:
        return -10001;
    case Case::internalError:
        return -90000;
    case Case::feedNotFound:
        return -1000;
    }
    return 0;
}

std::string ParserError::errorDescription() const
{
    switch (which_) {
    case Case::feedCDATABlockEncodingError:
        return "`CDATAblock` encoding error";
    case Case::internalError:
        return "Internal unresolved error: " + payload_;
    case Case::feedNotFound:
        return "Feed not found";
    }
    return {};
}

std::string ParserError::failureReason() const
{
    switch (which_) {
    case Case::feedCDATABlockEncodingError:
        return "Unable to convert the bytes in `CDATABlock` to Unicode characters using the UTF-8 encoding at current "
               "path: "
            + payload_;
    case Case::internalError:
        return "Unable to recover from an internal unresolved error: " + payload_;
    case Case::feedNotFound:
        return "Couldn't parse any known feed";
    }
    return {};
}

std::string ParserError::recoverySuggestion() const
{
    switch (which_) {
    case Case::feedCDATABlockEncodingError:
        return "Make sure the encoding provided in a `CDATABlock` is encoded as UTF-8";
    case Case::internalError:
        return "If you're seeing this error you probably should open an issue on github";
    case Case::feedNotFound:
        return "Provide a valid Atom/RSS/JSON feed ";
    }
    return {};
}

std::map<std::string, std::string> ParserError::userInfo() const
{
    return {
        {NSLocalizedDescriptionKey, errorDescription()},
        {NSLocalizedFailureReasonErrorKey, failureReason()},
        {NSLocalizedRecoverySuggestionErrorKey, recoverySuggestion()},
    };
}

NSError ParserError::value() const
{
    return {"com.feedkit.error", code(), userInfo()};
}

} // namespace FeedKit
