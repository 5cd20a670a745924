#include "feedinput/FeedInput.h"

#include "feedinput/FeedEntries.h"
#include "feedinput/FeedLoads.h"
#include "platform/foundation/NSJSONSerialization.h"
#include "platform/foundation/RunLoop.h"
#include "platform/foundation/Surroundings.h"
#include "preferences/Settings.h"
#include "support/PrintKit.h"

#include <algorithm>
#include <cmath>

namespace vitrel {
namespace {

constexpr const char* kFeed = kFeedInputKey;
constexpr Seconds kReloadInterval{300.0};

bool contains(const std::vector<std::string>& keys, std::string_view key)
{
    return std::find(keys.begin(), keys.end(), key) != keys.end();
}

// A whole number of any kind; a fraction is none.
std::optional<std::int64_t> integerOf(const Value& value)
{
    const auto number = value.number();
    constexpr double limit = 9.2e18;
    if (!number || std::floor(*number) != *number || std::fabs(*number) > limit)
        return std::nullopt;
    return static_cast<std::int64_t>(*number);
}

// The characters of RFC 3986, section 2, escapes whole.
bool isAddress(std::string_view text)
{
    const auto isHex
        = [](char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f'); };
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char c = text[at];
        if (c == '%' && !(at + 2 < text.size() && isHex(text[at + 1]) && isHex(text[at + 2])))
            return false;
        if (c <= ' ' || c >= 0x7F || std::string_view("\"<>\\^`{|}").find(c) != std::string_view::npos)
            return false;
    }
    return !text.empty();
}

} // namespace

FeedInput::FeedInput(FeedInputView& view, const Surroundings& surroundings)
    : view_(view)
    , surroundings_(surroundings)
{ }

FeedInput::~FeedInput() = default;

void FeedInput::updateCompositionInputs()
{
    auto item = Settings::shared(surroundings_).selectedVitrelItem();
    if (!item)
        return;
    const auto keys = view_.inputKeys();
    const bool found = contains(keys, kFeed);
    const auto stored = item->boolForKey(VitrelItem::Key::isRSSVisualizer);
    if (!stored && !found)
        return;
    if (stored != found) {
        item->setIsRSSVisualizer(found);
        view_.fileDidChange();
        view_.updateView();
    }
    if (!found)
        return;
    if (contains(keys, kFeedCountInputKey))
        articlesCount_ = integerOf(view_.valueForInputKey(kFeedCountInputKey)).value_or(articlesCount_);
    const auto* known = lastSentFeedJSON_.dictionary();
    setQuartzCompositionJSONValue(known ? *known : placeholderFeed(surroundings_.clock->date()), kFeed);
    const auto address = item->rssFeedURL().value_or("");
    loadRSSFeed(address.empty() ? kDefaultFeedAddress : address);
    if (!rssFeedReloader_) {
        rssFeedReloader_ = surroundings_.runLoop->scheduledTimer(
            kReloadInterval, true, [view = view_.retained()] { view->updateCompositionInputs(); });
    }
}

void FeedInput::loadRSSFeed(const std::string& address)
{
    if (!surroundings_.feedFetcher || !isAddress(address))
        return;
    const bool wantsEntries = contains(view_.inputKeys(), kFeedEntriesInputKey);
    // The view is held until the result is there.
    FeedLoads::shared(surroundings_)
        .load(address, {articlesCount_, wantsEntries}, this,
            [this, view = view_.retained(), wantsEntries](const FeedLoads::Loaded& loaded) {
                if (loaded.outcome)
                    receive(*loaded.outcome, loaded.texts);
                else
                    print::line(loaded.outcome.error().debugDescription());
                if (wantsEntries && loaded.entries)
                    setQuartzCompositionJSONValue(firstEntries(*loaded.entries, articlesCount_), kFeedEntriesInputKey);
            });
}

void FeedInput::receive(const FeedKit::Feed& feed, const ArticleTexts& texts)
{
    switch (feed.which()) {
    case FeedKit::Feed::Case::atom:
        return didReceiveAtomFeed(*feed.atomFeed(), texts);
    case FeedKit::Feed::Case::rss:
        return didReceiveRSSFeed(*feed.rssFeed(), texts);
    case FeedKit::Feed::Case::json:
        printLog("A JSON feed isn't published:", feed.jsonFeed()->title.value_or(""));
    }
}

void FeedInput::didReceiveRSSFeed(const FeedKit::RSSFeed& feed, const ArticleTexts& texts)
{
    write(feedDictionary(feed, articlesCount_, texts));
}

void FeedInput::didReceiveAtomFeed(const FeedKit::AtomFeed& feed, const ArticleTexts& texts)
{
    write(feedDictionary(feed, articlesCount_, texts));
}

void FeedInput::write(Dictionary feed)
{
    lastSentFeedJSON_ = Value(std::move(feed));
    setQuartzCompositionJSONValue(*lastSentFeedJSON_.dictionary(), kFeed);
}

void FeedInput::setQuartzCompositionJSONValue(const Dictionary& info, const std::string& key)
{
    auto text = NSJSONSerialization::dataWithJSONObject(info);
    if (!text)
        return;
    surroundings_.runLoop->post(
        [view = view_.retained(), text = std::move(*text), key] { view->setQuartzCompositionValue(text, key); });
}

void FeedInput::stop()
{
    // What ends here may be all that holds it.
    const auto view = view_.retained();
    send(rssFeedReloader_, &NSTimer::invalidate);
    rssFeedReloader_.reset();
    FeedLoads::shared(surroundings_).cancel(this);
}

} // namespace vitrel
