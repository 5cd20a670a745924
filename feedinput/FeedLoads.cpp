#include "feedinput/FeedLoads.h"

#include "FeedKit/FeedParser.h"
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

} // namespace

struct FeedLoads::Load {
    Load(const std::string& address, std::int64_t articles)
        : articles(articles)
        , url(address)
    { }

    std::stop_source stop;
    std::atomic<std::int64_t> articles; // that are wanted so far
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

void FeedLoads::load(const std::string& address, std::int64_t articles, const void* owner, Receiver receive)
{
    Source& source = sources_[address];
    source.waiting.push_back({owner, std::move(receive)});
    if (source.underWay)
        source.underWay->articles = widest(source.underWay->articles, articles);
    else
        start(address, source, articles);
    forgetIdleSources();
}

void FeedLoads::start(const std::string& address, Source& source, std::int64_t articles)
{
    source.underWay = std::make_shared<Load>(address, articles);
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
    FeedKit::FeedParser parser(load.url, fetcher);
    auto validators = last ? last->validators : FeedKit::Validators();
    auto parsed = parser.parseIfModified(validators, load.stop.get_token());
    // Here rather than on the main thread, which draws: two hundred articles take a tenth of a second.
    const std::int64_t articles = load.articles;
    if (!parsed && widest(last->articles, articles) == last->articles)
        return last;
    const Outcome outcome = parsed ? *std::move(parsed) : last->outcome;
    auto texts = outcome ? articleTexts(*outcome, articles) : ArticleTexts();
    return std::make_shared<const Loaded>(Loaded{std::move(validators), outcome, articles, std::move(texts)});
}

void FeedLoads::finish(
    const std::string& address, const std::shared_ptr<Load>& load, std::shared_ptr<const Loaded> loaded)
{
    const auto found = sources_.find(address);
    if (found == sources_.end() || found->second.underWay != load)
        return; // cancelled
    Source& source = found->second;
    source.underWay.reset();
    if (loaded->outcome)
        source.last = loaded->validators == FeedKit::Validators() ? nullptr : loaded;
    // A receiver may ask for the next load.
    for (const auto& waiting : std::exchange(source.waiting, {}))
        waiting.receive(loaded->outcome, loaded->texts);
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
