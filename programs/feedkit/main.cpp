#include "FeedKit/Read.h"
#include "base/Text.h"
#include "programs/feedkit/Documents.h"
#include "programs/feedkit/InOrder.h"
#include "programs/feedkit/Options.h"
#include "programs/feedkit/Output.h"
#include "programs/feedkit/Pages.h"
#include "programs/feedkit/Subscriptions.h"
#include "programs/feedkit/Table.h"

#include <algorithm>
#include <functional>
#include <iostream>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

namespace vitrel {
namespace {

// What must not end the line or the column.
std::string printable(const std::string& text)
{
    std::string line = repairedUtf8(text);
    const auto isControl = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; };
    std::replace_if(line.begin(), line.end(), isControl, '?');
    return line;
}

std::string kindLine(const std::string& name, const ParsedFeed& parsed)
{
    return printable(name).append("\t").append(parsed ? kindOf(parsed->feed) : "error");
}

std::string errorLine(const std::string& name, const FeedKit::ParserError& error)
{
    return printable(name + ": " + reasonOf(error)) + "\n";
}

// All that is printed of a document, in pieces; with line ends.
void writeDocument(const std::string& name, const Document& document, const Options& options, const TextSink& sink)
{
    const auto& [parsed, address] = document;
    switch (options.form) {
    case Form::kind:
        sink(kindLine(name, parsed) + "\n");
        break;
    case Form::entries:
        writeEntriesJson(name, parsed, address, options.layout, sink);
        break;
    case Form::table:
        sink(parsed ? tableOf(name, FeedKit::entriesOf(parsed->feed, address), terminalWidth())
                    : errorLine(name, parsed.error()));
        break;
    case Form::feed:
    case Form::opml:
    case Form::discovered:
        writeDocumentJson(name, parsed, options.layout, sink);
        sink("\n");
        break;
    }
}

// Beyond this the text of a document isn't kept beside its model.
constexpr std::size_t kLongText = 4u << 20;

Report reportOf(const std::string& name, const Document& document, const Options& options)
{
    Report report{{}, !document.feed};
    bool fits = true;
    writeDocument(name, document, options, [&](std::string_view piece) {
        fits = fits && report.text.size() + piece.size() <= kLongText;
        if (fits)
            report.text += piece;
        return fits;
    });
    if (!fits) {
        report.text = {};
        report.writeLong = [name, document, options](const auto& to) {
            writeDocument(name, document, options, [&](std::string_view piece) {
                to(piece);
                return true;
            });
        };
    }
    return report;
}

// The views need what the models don't have; the models are what they are.
FeedKit::Extent extentOf(const Options& options)
{
    return options.form == Form::feed || options.form == Form::kind ? FeedKit::Extent::model : FeedKit::Extent::more;
}

Document documentOf(const std::string& name, const Options& options)
{
    if (extentOf(options) == FeedKit::Extent::model)
        return {parseDocument(name, options.leniency), FeedKit::URL("")};
    return readDocument(name, options.leniency, FeedKit::Extent::more);
}

// Makes and prints a report for each document, in order. Whether one has failed.
bool printReports(const Options& options, const std::function<Report(const std::string& name)>& make)
{
    const auto& names = options.documents;
    Output output;
    Progress progress(names.size());
    bool failed = false;
    bool isFirst = true;
    inOrder(
        names.size(), options.jobs, [&](std::size_t index) { return make(names[index]); },
        [&](const Report& report) {
            failed = failed || report.failed;
            if (options.form == Form::table && !std::exchange(isFirst, false))
                output.line("");
            if (report.writeLong)
                report.writeLong([&](std::string_view piece) { output.piece(piece); });
            output.piece(report.text);
            progress.step();
        },
        [&] { output.flush(); });
    output.flush();
    return failed;
}

// A list is one document: it is printed when all is known.
bool printOpml(const Options& options)
{
    FeedKit::OPML opml;
    opml.title = "Subscriptions";
    std::mutex mutex;
    std::map<std::size_t, FeedKit::Outline> outlines;
    bool failed = false;
    inOrder(
        options.documents.size(), options.jobs,
        [&](std::size_t index) {
            const auto& name = options.documents[index];
            const auto [parsed, address] = readDocument(name, options.leniency, FeedKit::Extent::more);
            if (!parsed)
                return Report{errorLine(name, parsed.error()), true};
            auto outline = outlineOf(name, parsed->feed, address);
            if (!outline.xmlUrl)
                return Report{
                    printable(name + ": it doesn't say where it lies, and can't be subscribed to") + "\n", true};
            const std::lock_guard lock(mutex);
            outlines.emplace(index, std::move(outline));
            return Report{};
        },
        [&](const Report& report) {
            failed = failed || report.failed;
            if (report.failed)
                std::cerr << "feedkit: " << report.text;
        },
        [] {});
    for (auto& [index, outline] : outlines)
        opml.outlines.push_back(std::move(outline));
    Output output;
    output.piece(writeOPML(opml));
    output.flush();
    return failed;
}

int printAll(Options options)
{
    bool failed = false;
    for (const auto& list : options.lists) {
        const auto found = subscriptionsOf(list);
        options.documents.insert(options.documents.end(), found.documents.begin(), found.documents.end());
        for (const auto& complaint : found.complaints)
            std::cerr << "feedkit: " << printable(complaint) << '\n';
        failed = failed || !found.complaints.empty();
    }
    if (options.form == Form::opml)
        failed = printOpml(options) || failed;
    else if (options.form == Form::discovered)
        failed = printReports(options, [&](const auto& name) {
            return feedsOfPage(name, options.layout == JsonLayout::pretty);
        }) || failed;
    else
        failed = printReports(options, [&](const auto& name) {
            return reportOf(name, documentOf(name, options), options);
        }) || failed;
    return failed ? 1 : 0;
}

[[noreturn]] void watch(const Options& options)
{
    const auto& name = options.documents.front();
    Output output;
    const FeedKit::URL address(name);
    FeedKit::Validators validators;
    std::string last;
    for (;;) {
        auto fetched = FeedKit::fetchIfModified(address, validators, {options.leniency, extentOf(options)});
        if (!fetched || *fetched) {
            // A server that is back must not say "not modified" of what was shown ahead of its error.
            validators = fetched ? (*fetched)->validators : FeedKit::Validators();
            Document shown{fetched ? ParsedFeed(FeedKit::Reading(**fetched)) : ParsedFeed(fetched.error()),
                fetched ? (*fetched)->address : address};
            std::string text;
            writeDocument(name, shown, options, [&](std::string_view piece) {
                text += piece;
                return true;
            });
            if (text != last) {
                last = std::move(text);
                output.piece(last);
                output.flush();
            }
        }
        std::this_thread::sleep_for(std::chrono::duration<double>(*options.watch));
    }
}

} // namespace
} // namespace vitrel

int main(int argc, char** argv)
{
    using namespace vitrel;
    auto options = readOptions(argc, argv);
    if (!options) {
        if (!options.error().wrong) {
            std::cout << options.error().text;
            return 0;
        }
        std::cerr << "feedkit: " << options.error().text << '\n';
        return 2;
    }
    if (options->watch)
        watch(*options);
    return printAll(*std::move(options));
}
