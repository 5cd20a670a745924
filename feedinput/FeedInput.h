#pragma once

#include "feedinput/FeedDictionary.h"
#include "platform/foundation/Value.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace vitrel {

// The input by which a composition asks for a feed's articles.
inline constexpr const char* kFeedInputKey = "Muralis_RSS_Feed";
// The one by which it says how many of them it wants.
inline constexpr const char* kFeedCountInputKey = "Muralis_RSS_ArticlesCount";
// One that it may have besides, for what can be read of feeds of all formats, be they in order or not.
inline constexpr const char* kFeedEntriesInputKey = "Vitrel_Feed_Entries";

class NSTimer;
struct Surroundings;

// A news site's feed, for compositions that have no address of their own.
inline constexpr char kDefaultFeedAddress[] = "https://feeds.bbci.co.uk/news/rss.xml";

// What the feed input needs of a view.
class FeedInputView
{
public:
    virtual ~FeedInputView() = default;

    // Holds the view for as long as a load or a timer needs it.
    virtual std::shared_ptr<FeedInputView> retained() = 0;
    virtual std::vector<std::string> inputKeys() const = 0;
    // The input's current value; nothing if the composition has no such input.
    virtual Value valueForInputKey(const std::string& key) const = 0;
    // Writes an input if the composition declares it.
    virtual void setQuartzCompositionValue(const Value& value, const std::string& key) = 0;
    virtual void fileDidChange() = 0;
    // Brings an open configure sheet up to date.
    virtual void updateView() = 0;
    // Runs the operation of the same name below.
    virtual void updateCompositionInputs() = 0;
};

// Keeps the feed of one view's composition. It writes the last feed that is known at once, loads it anew each time, and
// writes that when it has come; of several addresses the last that comes wins. Main thread; the work of a load is done
// elsewhere (FeedLoads).
class FeedInput
{
public:
    // Both must outlive it.
    FeedInput(FeedInputView& view, const Surroundings& surroundings);
    ~FeedInput();

    void updateCompositionInputs();
    // An address that is none is passed over without a word; a load that fails says so on standard output. Entries are
    // written behind the feed, and also where it failed, if there are any.
    void loadRSSFeed(const std::string& address);
    void didReceiveRSSFeed(const FeedKit::RSSFeed& feed, const ArticleTexts& texts = {});
    void didReceiveAtomFeed(const FeedKit::AtomFeed& feed, const ArticleTexts& texts = {});
    // Writes the dictionary as JSON, one turn later. Nothing if it has no such form.
    void setQuartzCompositionJSONValue(const Dictionary& info, const std::string& key);
    // Ends the reloads, and what is under way.
    void stop();

    // The last good feed, as the dictionary; nothing before the first.
    const Value& lastSentFeedJSON() const { return lastSentFeedJSON_; }
    const std::shared_ptr<NSTimer>& rssFeedReloader() const { return rssFeedReloader_; }
    // How many articles the composition wants; all for 0 or below.
    std::int64_t articlesCount() const { return articlesCount_; }

private:
    void receive(const FeedKit::Feed& feed, const ArticleTexts& texts);
    void write(Dictionary feed);

    FeedInputView& view_;
    const Surroundings& surroundings_;
    Value lastSentFeedJSON_;
    std::shared_ptr<NSTimer> rssFeedReloader_;
    std::int64_t articlesCount_ = 0;
};

} // namespace vitrel
