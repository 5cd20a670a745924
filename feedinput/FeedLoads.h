#pragma once

#include "FeedKit/basics/Result.h"
#include "FeedKit/fetch/Fetcher.h"
#include "FeedKit/models/Feed.h"
#include "FeedKit/models/ParserError.h"
#include "feedinput/FeedDictionary.h"
#include "platform/foundation/Value.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vitrel {

struct Surroundings;

// The loads of feeds for all views of one program. Of each address one is under way at a time: who asks meanwhile gets
// the result of that one. What a server said of a document for the next request is kept with what came of it, so one
// that hasn't changed costs a request and an empty answer. Main thread; documents are fetched and parsed, and articles
// turned into plain text, on the queue for feeds.
class FeedLoads : public std::enable_shared_from_this<FeedLoads>
{
public:
    using Outcome = FeedKit::Result<FeedKit::Feed, FeedKit::ParserError>;
    struct Wanted {
        std::int64_t articles = 0; // whose texts are needed, as articleTexts() has it
        bool entries = false;
    };
    // What a load came to. Shared with the queue's threads and never changed.
    struct Loaded {
        FeedKit::Validators validators;
        Outcome outcome; // of the strict reading
        std::int64_t articles = 0; // whose texts are there; 0 for all
        ArticleTexts texts; // of as many articles as anybody wanted who waited for the load
        bool areEntriesRead = false; // as far as they can be; nobody wanted them otherwise
        std::optional<Dictionary> entries; // all that the document has, strictly read or not
    };
    using Receiver = std::function<void(const Loaded&)>;

    static FeedLoads& shared(const Surroundings& surroundings);
    // `surroundings`, with a fetcher and a queue for feeds wherever something is loaded, must outlive it.
    explicit FeedLoads(const Surroundings& surroundings);
    // Stops what is under way.
    ~FeedLoads();
    FeedLoads(const FeedLoads&) = delete;

    // Calls `receive` once, in a later turn, unless `owner` cancels before.
    void load(const std::string& address, const Wanted& wanted, const void* owner, Receiver receive);
    // Forgets what the owner waits for. A load that nobody waits for any more is stopped at once.
    void cancel(const void* owner);

private:
    struct Load;
    struct Waiting {
        const void* owner;
        Receiver receive;
    };
    struct Source {
        std::shared_ptr<const Loaded> last; // that gave something, and validators are known of
        std::shared_ptr<Load> underWay;
        std::vector<Waiting> waiting;
    };

    static std::shared_ptr<const Loaded> run(
        const Load& load, const std::shared_ptr<const Loaded>& last, const std::shared_ptr<FeedKit::Fetcher>& fetcher);
    static std::shared_ptr<const Loaded> fetch(
        const Load& load, const std::shared_ptr<const Loaded>& last, FeedKit::Fetcher& fetcher);
    void start(const std::string& address, Source& source, const Wanted& wanted);
    void finish(const std::string& address, const std::shared_ptr<Load>& load, std::shared_ptr<const Loaded> loaded);
    void forgetIdleSources();

    const Surroundings& surroundings_;
    std::map<std::string, Source> sources_;
};

} // namespace vitrel
