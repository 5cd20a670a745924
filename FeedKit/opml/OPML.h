#pragma once

#include "FeedKit/basics/Bytes.h"
#include "FeedKit/basics/Date.h"
#include "FeedKit/basics/Export.h"
#include "FeedKit/basics/Result.h"
#include "FeedKit/models/Fields.h"
#include "FeedKit/models/ParserError.h"

#include <optional>
#include <string>
#include <vector>

// Lists of subscriptions (OPML 2.0, opml.org/spec2.opml), as feed readers bring them in and out. Plain values, UTF-8.
namespace FeedKit {

struct OutlineAttribute {
    std::string name; // as written
    std::string value;

    friend bool operator==(const OutlineAttribute&, const OutlineAttribute&) = default;
};

// A subscription, a folder of them, or any other line of an outline.
struct Outline {
    std::optional<std::string> text; // for people; OPML wants one at each
    std::optional<std::string> title;
    std::optional<std::string> type; // "rss" for feeds of all formats
    std::optional<std::string> xmlUrl; // of the feed
    std::optional<std::string> htmlUrl; // of the site
    std::optional<std::string> description;
    std::optional<std::string> language;
    std::vector<std::string> categories; // without commas; slashes make levels
    std::vector<OutlineAttribute> others; // without a prefix, in the document's order
    std::vector<Outline> children;
    FEEDKIT_FIELDS(Outline, text, title, type, xmlUrl, htmlUrl, description, language, categories, others, children)
};

struct OPML {
    std::optional<std::string> title;
    std::optional<Date> dateCreated; // to the second, in the years 1583 to 9999
    std::optional<Date> dateModified;
    std::optional<std::string> ownerName;
    std::optional<std::string> ownerEmail;
    std::vector<Outline> outlines;
    FEEDKIT_FIELDS(OPML, title, dateCreated, dateModified, ownerName, ownerEmail, outlines)
};

// Of any version. Attributes' names may have any case of letters, as they do in the wild. An error is that of a
// document which is no XML or no OPML, or that goes beyond a limit: those of XML (FeedKit/xml), 64 levels of outlines,
// 100,000 outlines and 64 MiB of attributes. Any thread.
FEEDKIT_API Result<OPML, ParserError> readOPML(ByteView document);

// OPML 2.0. What readOPML has read is read the same from it, but for the white space around a category or a text of the
// head. Other dates, characters that XML can't have, and attributes among `others` whose names aren't letters, digits,
// "-", "_" and "." or are a field's, are left out; bytes that aren't UTF-8 become U+FFFD.
FEEDKIT_API std::string writeOPML(const OPML& opml);

// All outlines that have an xmlUrl, in the document's order, each address once; without their children.
FEEDKIT_API std::vector<Outline> subscriptionsIn(const OPML& opml);

} // namespace FeedKit
