#include "FeedKit/Read.h"
#include "base/Text.h"
#include "programs/feedkit/Documents.h"
#include "programs/feedkit/InOrder.h"
#include "programs/feedkit/Options.h"
#include "programs/feedkit/Output.h"

#include <algorithm>
#include <iostream>
#include <thread>

namespace vitrel {
namespace {

// The name must not end the line or the column.
std::string kindLine(const std::string& name, const ParsedFeed& parsed)
{
    std::string line = repairedUtf8(name);
    const auto isControl = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; };
    std::replace_if(line.begin(), line.end(), isControl, '?');
    return line.append("\t").append(parsed ? kindOf(parsed->feed) : "error");
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
        [&](std::size_t index) {
            return reportOf(names[index], parseDocument(names[index], options.leniency), options);
        },
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
    const FeedKit::URL address(name);
    FeedKit::Validators validators;
    std::string last;
    for (;;) {
        auto fetched = FeedKit::fetchIfModified(address, validators, {options.leniency});
        if (!fetched || *fetched) {
            // A server that is back must not say "not modified" of what was shown ahead of its error.
            validators = fetched ? (*fetched)->validators : FeedKit::Validators();
            const auto shown
                = fetched ? ParsedFeed(FeedKit::Reading(**std::move(fetched))) : ParsedFeed(std::move(fetched).error());
            auto line = lineOf(name, shown, options);
            if (line != last) {
                last = std::move(line);
                output.line(last);
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
    const auto options = readOptions(argc, argv);
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
    return printAll(*options);
}
