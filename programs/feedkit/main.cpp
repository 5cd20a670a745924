#include "FeedKit/FeedParser.h"
#include "base/Text.h"
#include "programs/feedkit/Documents.h"
#include "programs/feedkit/InOrder.h"
#include "programs/feedkit/Output.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iostream>
#include <thread>

namespace vitrel {
namespace {

struct Options {
    std::vector<std::string> documents;
    bool kindOnly = false;
    JsonLayout layout = JsonLayout::line;
    unsigned jobs = std::max(1u, std::thread::hardware_concurrency());
    std::optional<double> watch; // seconds
};

int complain(const std::string& message, int code)
{
    std::cerr << "feedkit: " << message << '\n';
    return code;
}

// The name must not end the line or the column.
std::string kindLine(const std::string& name, const ParsedFeed& parsed)
{
    std::string line = repairedUtf8(name);
    const auto isControl = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; };
    std::replace_if(line.begin(), line.end(), isControl, '?');
    return line.append("\t").append(parsed ? kindOf(*parsed) : "error");
}

std::string lineOf(const std::string& name, const ParsedFeed& parsed, const Options& options)
{
    return options.kindOnly ? kindLine(name, parsed) : documentJson(name, parsed, options.layout);
}

// Beyond this the text of a document isn't kept beside its model.
constexpr std::size_t kLongText = 4u << 20;

Report reportOf(const std::string& name, const ParsedFeed& parsed, const Options& options)
{
    Report report{{}, !parsed};
    if (options.kindOnly) {
        report.text = kindLine(name, parsed);
        return report;
    }
    bool fits = true;
    writeDocumentJson(name, parsed, options.layout, [&](std::string_view piece) {
        fits = report.text.size() + piece.size() <= kLongText;
        if (fits)
            report.text += piece;
        return fits;
    });
    if (!fits) {
        report.text = {};
        report.writeLong = [name, parsed, layout = options.layout](const auto& to) {
            writeDocumentJson(name, parsed, layout, [&](std::string_view piece) {
                to(piece);
                return true;
            });
        };
    }
    return report;
}

int printAll(const Options& options)
{
    const auto& names = options.documents;
    Output output;
    Progress progress(names.size());
    bool failed = false;
    inOrder(
        names.size(), options.jobs,
        [&](std::size_t index) { return reportOf(names[index], parseDocument(names[index]), options); },
        [&](const Report& report) {
            failed = failed || report.failed;
            if (report.writeLong)
                report.writeLong([&](std::string_view piece) { output.piece(piece); });
            output.line(report.text);
            progress.step();
        },
        [&] { output.flush(); });
    output.flush();
    return failed ? 1 : 0;
}

[[noreturn]] void watch(const Options& options)
{
    const auto& name = options.documents.front();
    Output output;
    FeedKit::FeedParser parser{FeedKit::URL(name)};
    FeedKit::Validators validators;
    std::string last;
    for (;;) {
        if (const auto parsed = parser.parseIfModified(validators)) {
            // A server that is back must not say "not modified" of what was shown ahead of its error.
            if (!*parsed)
                validators = {};
            auto line = lineOf(name, *parsed, options);
            if (line != last) {
                last = std::move(line);
                output.line(last);
                output.flush();
            }
        }
        std::this_thread::sleep_for(std::chrono::duration<double>(*options.watch));
    }
}

// What is wrong with a command line that parses; empty if nothing.
std::string faultOf(const Options& options)
{
    if (std::count(options.documents.begin(), options.documents.end(), "-") > 1)
        return "standard input can be read only once";
    if (options.watch && (options.documents.size() != 1 || !isAddress(options.documents.front())))
        return "--watch takes one URL";
    return {};
}

void addOptions(CLI::App& app, Options& options)
{
    app.set_version_flag("--version", "feedkit " VITREL_VERSION);
    app.add_option("documents", options.documents, "Files, URLs (http, https, file, feed), or - for standard input")
        ->required()
        ->type_name("FILE|URL|-");
    auto* kind = app.add_flag("--kind", options.kindOnly, "Print only name and kind of each, tab-separated");
    app.add_flag_callback(
           "--pretty", [&] { options.layout = JsonLayout::pretty; }, "A field on each line, with indentation")
        ->excludes(kind);
    app.add_option("--watch", options.watch, "Fetch the URL every so many seconds; print it each time it has changed")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.01, 1e7).description("0.01 and more"));
    app.add_option("-j,--jobs", options.jobs, "Documents at once; by default one for each core")
        ->type_name("N")
        ->check(CLI::Range(1u, 256u));
    app.footer("Prints one JSON object a line for each document, in the order given:\n"
               "{\"file\":NAME,\"kind\":\"rss\"|\"atom\"|\"json\",\"feed\":{...}} or\n"
               "{\"file\":NAME,\"error\":{\"case\":...,\"reason\":...}}.\n"
               "Status 0 if all were feeds, 1 if not, 2 for wrong use.");
}

} // namespace
} // namespace vitrel

int main(int argc, char** argv)
{
    using namespace vitrel;
    CLI::App app("Reads feeds (RSS, RDF, Atom, JSON Feed) and prints them as JSON", "feedkit");
    Options options;
    addOptions(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0)
            return app.exit(error);
        return complain(error.what(), 2);
    }
    if (const auto fault = faultOf(options); !fault.empty())
        return complain(fault, 2);
    if (options.watch)
        watch(options);
    return printAll(options);
}
