#include "feedinput/FeedLoads.h"

#include "FeedKit/FeedParser.h"
#include "feedinput/FeedEntries.h"
#include "platform/foundation/Queue.h"
#include "platform/foundation/RunLoop.h"
#include "platform/foundation/Surroundings.h"

#include <algorithm>
#include <atomic>
#include <stop_token>
#include <utility>

namespace vitrel {
namespace {

// Whose feeds are kept though nothing loads them; views seldom show more than one.
constexpr std::size_t kMostSources = 8;

// The number that covers both, as the first so many articles or, for 0 and below, all.
std::int64_t widest(std::int64_t a, std::int64_t b)
{
    return a <= 0 || b <= 0 ? 0 : std::max(a, b);
}

// "feed:" stands for "http:".
FeedKit::URL fetchedAddress(const FeedKit::URL& url)
{
    return FeedKit::replacing(url, "feed", "http").value_or(url);
}

} // namespace

struct FeedLoads::Load {
    Load(const std::string& address, const Wanted& wanted)
        : articles(wanted.articles)
        , entries(wanted.entries)
        , url(fetchedAddress(FeedKit::URL(address)))
    { }
    void widen(const Wanted& wanted)
    {
        articles = widest(articles, wanted.articles);
        entries = entries || wanted.entries;
    }

    std::stop_source stop;
    std::atomic<std::int64_t> articles; // that are wanted so far
    std::atomic<bool> entries; // whether they are
    const FeedKit::URL url;
};

FeedLoads& FeedLoads::shared(const Surroundings& surroundings)
{
    return surroundings.shared.of<FeedLoads>([&] { return std::make_shared<FeedLoads>(surroundings); });
}

FeedLoads::FeedLoads(const Surroundings& surroundings)
    : surroundings_(surroundings)
{ }

FeedLoads::~FeedLoads()
{
    for (auto& [address, source] : sources_) {
        if (source.underWay)
            source.underWay->stop.request_stop();
    }
}

void FeedLoads::load(const std::string& address, const Wanted& wanted, const void* owner, Receiver receive)
{
    Source& source = sources_[address];
    source.waiting.push_back({owner, std::move(receive)});
    if (source.underWay)
        source.underWay->widen(wanted);
    else
        start(address, source, wanted);
    forgetIdleSources();
}

void FeedLoads::start(const std::string& address, Source& source, const Wanted& wanted)
{
    source.underWay = std::make_shared<Load>(address, wanted);
    surroundings_.feedQueue->async([weak = weak_from_this(), address, load = source.underWay, last = source.last,
                                       fetcher = surroundings_.feedFetcher, &mainQueue = *surroundings_.runLoop] {
        auto loaded = run(*load, last, fetcher);
        mainQueue.post([weak, address, load, loaded = std::move(loaded)] {
            if (const auto self = weak.lock())
                self->finish(address, load, loaded);
        });
    });
}

std::shared_ptr<const FeedLoads::Loaded> FeedLoads::run(
    const Load& load, const std::shared_ptr<const Loaded>& last, const std::shared_ptr<FeedKit::Fetcher>& fetcher)
{
    // A document that nobody has read the entries of must come once more.
    const bool serves = last && (last->areEntriesRead || !load.entries);
    auto loaded = fetch(load, serves ? last : nullptr, *fetcher);
    // Who wants entries may have joined when it was too late for these.
    if (load.entries && !loaded->areEntriesRead)
        loaded = fetch(load, nullptr, *fetcher);
    return loaded;
}

std::shared_ptr<const FeedLoads::Loaded> FeedLoads::fetch(
    const Load& load, const std::shared_ptr<const Loaded>& last, FeedKit::Fetcher& fetcher)
{
    const auto failed = [](const std::string& why) {
        return std::make_shared<const Loaded>(
            Loaded{.outcome = FeedKit::ParserError::internalError(why), .areEntriesRead = true});
    };
    const auto stop = load.stop.get_token();
    auto fetched = fetcher.contentsOfIfModified(load.url, last ? last->validators : FeedKit::Validators(), stop);
    if (!fetched)
        return failed(fetched.error());
    if (!*fetched && !last)
        return failed("nothing came, though nothing was known");
    // Here rather than on the main thread, which draws: two hundred articles take a tenth of a second.
    const auto addTexts = [&load](Loaded loaded) {
        loaded.articles = load.articles;
        loaded.texts = loaded.outcome ? articleTexts(*loaded.outcome, loaded.articles) : ArticleTexts();
        return std::make_shared<const Loaded>(std::move(loaded));
    };
    if (!*fetched)
        return widest(last->articles, load.articles) == last->articles ? last : addTexts(*last);
    auto& document = **fetched;
    const bool readsEntries = load.entries;
    auto entries = readsEntries ? readEntries(document, load.url, stop) : std::nullopt;
    // The bytes are the parser's from here on.
    FeedKit::Validators unknown;
    auto outcome = *FeedKit::FeedParser(std::move(document.bytes)).parseIfModified(unknown, stop);
    return addTexts({std::move(document.validators), std::move(outcome), 0, {}, readsEntries, std::move(entries)});
}

void FeedLoads::finish(
    const std::string& address, const std::shared_ptr<Load>& load, std::shared_ptr<const Loaded> loaded)
{
    const auto found = sources_.find(address);
    if (found == sources_.end() || found->second.underWay != load)
        return; // cancelled
    Source& source = found->second;
    source.underWay.reset();
    if (loaded->outcome || loaded->entries)
        source.last = loaded->validators == FeedKit::Validators() ? nullptr : loaded;
    // A receiver may ask for the next load.
    for (const auto& waiting : std::exchange(source.waiting, {}))
        waiting.receive(*loaded);
}

void FeedLoads::cancel(const void* owner)
{
    std::vector<Waiting> cancelled; // holds the owners until all is done
    for (auto& [address, source] : sources_) {
        auto& waiting = source.waiting;
        const auto theirs = std::stable_partition(
            waiting.begin(), waiting.end(), [&](const Waiting& one) { return one.owner != owner; });
        std::move(theirs, waiting.end(), std::back_inserter(cancelled));
        waiting.erase(theirs, waiting.end());
        if (waiting.empty() && source.underWay)
            std::exchange(source.underWay, nullptr)->stop.request_stop();
    }
}

void FeedLoads::forgetIdleSources()
{
    if (sources_.size() > kMostSources)
        std::erase_if(sources_, [](const auto& entry) { return !entry.second.underWay; });
}

} // namespace vitrel
