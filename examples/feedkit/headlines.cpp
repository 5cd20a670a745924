#include "FeedKit/FeedParser.h"

#include <cstdio>
#include <iostream>
#include <thread>

using namespace FeedKit;

// From an address. "feed:" stands for "http:"; http, https and file are fetched.
Result<Feed, ParserError> fromAddress(const std::string& address)
{
    return FeedParser(URL(address)).parse();
}

// From memory. What the document is shows in its first bytes: "<" for XML, "{" for JSON.
Result<Feed, ParserError> fromMemory(std::string_view text)
{
    const auto bytes = FeedKit::bytesOf(text);
    return FeedParser(Bytes(bytes.begin(), bytes.end())).parse();
}

class FileStream final : public NSInputStream
{
public:
    explicit FileStream(const char* path)
        : file_(std::fopen(path, "rb"))
    { }
    ~FileStream() override
    {
        if (file_)
            std::fclose(file_);
    }
    // The number of bytes read, 0 at the end, -1 on failure.
    std::ptrdiff_t read(std::uint8_t* buffer, std::size_t maxLength) override
    {
        const auto count = file_ ? std::fread(buffer, 1, maxLength, file_) : 0;
        const bool failed = !file_ || std::ferror(file_);
        return failed ? -1 : static_cast<std::ptrdiff_t>(count);
    }
    std::string streamError() const override { return "the file could not be read"; }

private:
    std::FILE* file_;
};

Result<Feed, ParserError> fromStream(const char* path)
{
    return FeedParser(std::make_shared<FileStream>(path)).parse();
}

void printRSS(const RSSFeed& feed)
{
    std::cout << feed.title.value_or("(no title)") << '\n';
    if (!feed.items)
        return;
    for (const auto& item : *feed.items)
        std::cout << "- " << item->title.value_or("(no title)") << '\n';
}

void printAtom(const AtomFeed& feed)
{
    std::cout << feed.title.value_or("(no title)") << '\n';
    if (!feed.entries)
        return;
    for (const auto& entry : *feed.entries)
        std::cout << "- " << entry->title.value_or("(no title)") << '\n';
}

void print(const Feed& feed)
{
    if (const auto rss = feed.rssFeed())
        printRSS(*rss);
    else if (const auto atom = feed.atomFeed())
        printAtom(*atom);
    else if (const auto json = feed.jsonFeed())
        std::cout << json->title.value_or("(no title)") << '\n';
}

bool show(const Result<Feed, ParserError>& result)
{
    if (result)
        print(*result);
    else
        std::cerr << result.error().errorDescription() << '\n';
    return result.has_value();
}

bool showFromAnotherThread(const std::string& address)
{
    FeedParser parser{URL(address)};
    std::thread worker;
    bool shown = false;
    const DispatchQueue queue = [&](std::function<void()> block) { worker = std::thread(std::move(block)); };
    parser.parseAsync(queue, [&](Result<Feed, ParserError> result) { shown = show(result); });
    worker.join();
    return shown;
}

int main(int argc, char** argv)
{
    if (argc < 2)
        return show(fromMemory("<rss><channel><title>From memory</title></channel></rss>")) ? 0 : 1;
    const std::string source = argv[1];
    const bool isAddress = source.find("://") != source.npos;
    return (isAddress ? showFromAnotherThread(source) : show(fromStream(argv[1]))) ? 0 : 1;
}
