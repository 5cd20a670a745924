#pragma once

#include "base/Result.h"
#include "programs/feedkit/FeedJson.h"

#include <optional>
#include <string>
#include <vector>

namespace vitrel {

// What is printed of the documents.
enum class Form {
    feed, // each model, as JSON
    kind,
    entries, // as JSON, a line each
    table, // of the entries, for people
    opml, // a list of the documents
    discovered // the documents are pages: the feeds that they have, as JSON
};

struct Options {
    std::vector<std::string> documents;
    std::vector<std::string> lists; // of subscriptions, which are read behind the documents
    Form form = Form::feed;
    JsonLayout layout = JsonLayout::line;
    unsigned jobs = 1; // documents at once
    std::optional<double> watch; // seconds
    FeedKit::Leniency leniency; // none unless asked for
};

// Why there is nothing to read: a text that was asked for, or wrong use, as one line without the program's name.
struct NoOptions {
    std::string text;
    bool wrong = false;
};

// Options stand anywhere among the documents, up to "--". Changes the order of nothing.
Result<Options, NoOptions> readOptions(int argc, char** argv);

} // namespace vitrel
