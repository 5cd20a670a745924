#include "programs/feedkit/Options.h"

#include "programs/feedkit/Documents.h"

#include <getopt.h>

#include <algorithm>
#include <charconv>
#include <string_view>
#include <thread>

namespace vitrel {
namespace {

constexpr const char* kHelp = R"(Reads feeds (RSS, RDF, Atom, JSON Feed) and prints them as JSON
Usage: feedkit [OPTION...] FILE|URL|-...

  FILE|URL|-        Files, URLs (http, https, file, feed), or - for standard input
  --kind            Print only name and kind of each, tab-separated
  --entries         Print a line for each entry, with the same fields for all formats
  --table           Print date, title and link of each entry in columns, for people
  --to-opml         Print a list of subscriptions (OPML) of the feeds
  --discover        Print the feeds that web pages have; a line each
  --opml FILE|URL   Read the feeds of a list of subscriptions, too
  --pretty          A field on each line, with indentation
  --lenient         Forgive documents what is usually wrong with them, and print what that was
  --watch SECONDS   Fetch the URL every so many seconds (0.01 and more); print it each time it has changed
  -j, --jobs N      Documents at once (1 to 256); by default one for each core
  -h, --help        Print this help and exit
  --version         Print the version and exit

Prints one JSON object a line for each document, in the order given:
{"file":NAME,"kind":"rss"|"atom"|"json","feed":{...}} or
{"file":NAME,"error":{"case":...,"reason":...}}.
Status 0 if all were feeds, 1 if not, 2 for wrong use.
)";

constexpr int kDocument = 1; // what getopt_long gives for a word that is no option, where "-" asks for it

constexpr option kOptions[] = {
    {"kind", no_argument, nullptr, 'k'},
    {"entries", no_argument, nullptr, 'e'},
    {"table", no_argument, nullptr, 't'},
    {"to-opml", no_argument, nullptr, 'o'},
    {"discover", no_argument, nullptr, 'd'},
    {"opml", required_argument, nullptr, 'i'},
    {"pretty", no_argument, nullptr, 'p'},
    {"lenient", no_argument, nullptr, 'l'},
    {"watch", required_argument, nullptr, 'w'},
    {"jobs", required_argument, nullptr, 'j'},
    {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'v'},
    {},
};

template <typename Number> std::optional<Number> numberIn(std::string_view text, Number least, Number most)
{
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || !(number >= least && number <= most))
        return std::nullopt;
    return number;
}

NoOptions wrong(std::string why)
{
    return {std::move(why), true};
}

std::optional<NoOptions> faultOf(const Options& options)
{
    const bool isJson = options.form == Form::feed || options.form == Form::entries || options.form == Form::discovered;
    if (options.documents.empty() && options.lists.empty())
        return wrong("a FILE or a URL is needed; --help tells more");
    if (!isJson && options.layout == JsonLayout::pretty)
        return wrong("--pretty is for JSON alone");
    if (options.form == Form::discovered && !options.lists.empty())
        return wrong("--discover takes pages and no --opml");
    if (std::count(options.documents.begin(), options.documents.end(), "-")
            + std::count(options.lists.begin(), options.lists.end(), "-")
        > 1)
        return wrong("standard input can be read only once");
    if (options.watch
        && (options.documents.size() != 1 || !options.lists.empty() || !isAddress(options.documents.front())))
        return wrong("--watch takes one URL");
    if (options.watch && (options.form == Form::opml || options.form == Form::discovered))
        return wrong("--watch prints feeds or entries");
    if (options.form == Form::discovered && !options.leniency.empty())
        return wrong("--discover and --lenient exclude each other");
    return std::nullopt;
}

// The form that an option asks for.
std::optional<Form> formOf(int found)
{
    switch (found) {
    case 'k':
        return Form::kind;
    case 'e':
        return Form::entries;
    case 't':
        return Form::table;
    case 'o':
        return Form::opml;
    case 'd':
        return Form::discovered;
    default:
        return std::nullopt;
    }
}

} // namespace

Result<Options, NoOptions> readOptions(int argc, char** argv)
{
    Options options;
    options.jobs = std::max(1u, std::thread::hardware_concurrency());
    opterr = 0;
    for (;;) {
        const int at = optind;
        const int found = getopt_long(argc, argv, "-:j:h", kOptions, nullptr);
        if (found < 0)
            break;
        if (const auto form = formOf(found)) {
            if (options.form != Form::feed && options.form != *form)
                return wrong("--kind, --entries, --table, --to-opml and --discover exclude each other");
            options.form = *form;
            continue;
        }
        switch (found) {
        case kDocument:
            options.documents.emplace_back(optarg);
            break;
        case 'i':
            options.lists.emplace_back(optarg);
            break;
        case 'p':
            options.layout = JsonLayout::pretty;
            break;
        case 'l':
            options.leniency = FeedKit::Leniency::all();
            break;
        case 'w':
            options.watch = numberIn(optarg, 0.01, 1e7);
            if (!options.watch)
                return wrong("--watch takes seconds, 0.01 and more");
            break;
        case 'j':
            if (const auto jobs = numberIn(optarg, 1u, 256u))
                options.jobs = *jobs;
            else
                return wrong("--jobs takes a number from 1 to 256");
            break;
        case 'h':
            return NoOptions{kHelp};
        case 'v':
            return NoOptions{"feedkit " VITREL_VERSION "\n"};
        case ':':
            return wrong(std::string(argv[at]) + " needs a value");
        default:
            return wrong("there is no option " + std::string(argv[at]) + ", or not so; --help tells more");
        }
    }
    options.documents.insert(options.documents.end(), argv + optind, argv + argc);
    if (auto fault = faultOf(options))
        return *std::move(fault);
    return options;
}

} // namespace vitrel
