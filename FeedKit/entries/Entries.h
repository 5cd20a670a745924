#pragma once

#include "FeedKit/basics/Date.h"
#include "FeedKit/basics/Export.h"
#include "FeedKit/fetch/URL.h"
#include "FeedKit/models/Feed.h"
#include "FeedKit/models/Fields.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// One view over feeds of all formats, for programs that show entries and don't care which format they came in. Which
// element fills which field, and what counts if there are several, is the table in docs/feedkit-entries.md.
//
// Text is UTF-8 if the feed's is, which it is for what FeedParser gives. What is absent or blank in the document is
// absent here. It is all a stranger's: markup isn't cleaned, and addresses may have any scheme.
namespace FeedKit {

struct EntryText {
    std::optional<std::string> text; // what a reader sees, as plain text in lines (FeedKit/html/Text.h)
    std::optional<std::string> markup; // HTML that shows it; its addresses are as written
    FEEDKIT_FIELDS(EntryText, text, markup)
};

// At least one of the three is there.
struct EntryPerson {
    std::optional<std::string> name;
    std::optional<std::string> email;
    std::optional<std::string> url;
    FEEDKIT_FIELDS(EntryPerson, name, email, url)
};

// Something that comes along: an episode, a picture, a film.
struct EntryFile {
    std::optional<std::string> url; // always there
    std::optional<std::string> type; // media type; where the feed says none, that of the usual ends of names
    std::optional<std::int64_t> length; // bytes, above 0
    std::optional<double> duration; // seconds, above 0
    FEEDKIT_FIELDS(EntryFile, url, type, length, duration)
};

struct Entry {
    std::optional<std::string> id; // always there; as the feed says it, else the link, else made of what the entry says
    std::optional<std::string> title; // plain text, one line
    std::optional<std::string> link; // of the page
    std::optional<EntryText> summary;
    std::optional<EntryText> content;
    std::vector<EntryPerson> authors;
    std::optional<Date> published;
    std::optional<Date> updated;
    std::optional<std::string> image; // address
    std::optional<EntryFile> audio; // the first of the enclosures that is to be heard
    std::vector<EntryFile> enclosures; // in the document's order, each address once
    std::vector<std::string> categories; // in the document's order, each once
    std::optional<EntryFile> chapters; // of an episode; these two only of a feed that was parsed with Extent::more
    std::vector<EntryFile> transcripts;
    FEEDKIT_FIELDS(Entry, id, title, link, summary, content, authors, published, updated, image, audio, enclosures,
        categories, chapters, transcripts)

    // What there is to read: the content, else the summary, else null. Lasts as long as the entry.
    const EntryText* body() const { return content ? &*content : summary ? &*summary : nullptr; }
    // To sort by: when it was published, else updated.
    std::optional<Date> date() const { return published ? published : updated; }
};

struct Entries {
    Feed::Case kind = Feed::Case::rss;
    std::optional<std::string> title; // plain text, one line
    std::optional<std::string> link; // of the site
    std::optional<std::string> self; // where the feed says it lies
    std::optional<std::string> description; // plain text
    std::optional<std::string> language; // as the feed says it
    std::optional<std::string> image; // address, as a rule large
    std::optional<std::string> icon; // address, small and square
    std::vector<EntryPerson> authors;
    std::optional<Date> updated; // of the feed, else of its latest entry
    std::vector<Entry> entries; // in the document's order
};

// Addresses are resolved against `address`, where the feed came from, else against where it says that it or its site
// lies; where nobody says so they are as written. Linear time. Memory is at most 8 times that of the feed, and 32 MiB
// for what is repeated: when these are used up, addresses stay as written and entries without authors don't get their
// feed's. Any thread.
FEEDKIT_API Entries entriesOf(const Feed& feed, const URL& address = URL(""));

} // namespace FeedKit
