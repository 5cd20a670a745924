#include "programs/outside/Outside.h"

#include "FeedKit/basics/Letters.h"
#include "FeedKit/fetch/CurlFetcher.h"
#include "base/Text.h"
#include "music/CoverShelf.h"
#include "platform/foundation/CurlURLSession.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/Queue.h"
#include "platform/foundation/RunLoop.h"
#include "platform/scriptingbridge/Artwork.h"
#include "platform/scriptingbridge/SessionBus.h"
#include "platform/sound/SoundListener.h"
#include "programs/outside/OutsideMessage.h"

#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <map>
#include <memory>
#include <mutex>
#include <stop_token>
#include <thread>

namespace vitrel {

namespace {

// More than a saver has under way; what a hijacked one asks beyond fails.
constexpr std::size_t kMostRequests = 64;
constexpr int kMostKeeping = 8; // covers that wait to be written

bool isOfWeb(const std::string& address)
{
    const FeedKit::URL url(address);
    return FeedKit::sameIgnoringCase(url.scheme(), "http") || FeedKit::sameIgnoringCase(url.scheme(), "https");
}

class Server final : private PlayerBusListener
{
public:
    Server(int socket, const OutsidePermissions& permissions, std::shared_ptr<SoundRing> ring)
        : socket_(socket)
        , permissions_(permissions)
        , ring_(permissions.sound ? std::move(ring) : nullptr)
    { }
    int run()
    {
        std::thread reader([this] { read(); });
        while (!ended_) {
            loop_.wait();
            loop_.turn();
            tellWhetherSettled();
        }
        bus_.reset();
        listener_.reset();
        reader.join();
        return 0;
    }

private:
    // On a thread of its own, so that the main one may wait in the bus.
    void read()
    {
        while (auto message = socket_.receive(kFromWithin))
            take(message->facts, std::move(message->bytes));
        {
            const std::lock_guard lock(mutex_);
            for (auto& [id, stop] : requests_)
                stop->request();
        }
        session_.invalidateAndCancel();
        ended_ = true;
        loop_.post([] {});
    }
    void take(const Dictionary& facts, Bytes bytes)
    {
        const std::string kind = textOfFact(facts, "kind");
        if (kind == "players")
            loop_.post([this] { startPlayers(); });
        else if (kind == "ask")
            loop_.post([this, name = textOfFact(facts, "name")] { askPlayer(name); });
        else if (kind == "listen")
            loop_.post([this, wanted = truthOfFact(facts, "wanted")] { listen(wanted); });
        else if (kind == "keep")
            keepCover(std::move(bytes));
        else if (kind == "cancel")
            cancel(numberOfFact(facts, "id"));
        else
            begin(kind, facts);
    }

    // --- players

    void startPlayers()
    {
        if (bus_ || !permissions_.players)
            return;
        bus_ = std::make_unique<SessionBus>(loop_);
        bus_->start(*this);
    }
    void askPlayer(const std::string& name)
    {
        if (bus_)
            bus_->ask(name);
    }
    void tellWhetherSettled()
    {
        if (bus_ && !settled_ && bus_->isSettled())
            settled_ = socket_.send({{"kind", "settled"}});
    }
    void tellOfPlayer(const char* kind, const std::string& name, Dictionary facts)
    {
        facts["kind"] = kind;
        facts["name"] = name;
        facts["silent"] = bus_->isSilent(name);
        socket_.send(facts);
    }
    void playerAppeared(const std::string& name, const PlayerArrival& arrival, const Dictionary& properties) override
    {
        tellOfPlayer("appeared", name,
            {{"process", arrival.process}, {"connection", std::int64_t(arrival.connection)},
                {"wasThere", arrival.wasThere}, {"properties", properties}});
    }
    void playerChanged(const std::string& name, const Dictionary& properties) override
    {
        tellOfPlayer("changed", name, {{"properties", properties}});
    }
    void playerSeeked(const std::string& name, double position) override
    {
        tellOfPlayer("seeked", name, {{"position", position}});
    }
    void playerVanished(const std::string& name) override { tellOfPlayer("vanished", name, {}); }

    // --- sound

    void listen(bool wanted)
    {
        if (!ring_)
            return;
        if (!listener_ && wanted)
            listener_ = std::make_unique<SoundListener>(ring_, [this](bool playing) {
                socket_.send({{"kind", "playing"}, {"playing", playing}});
            });
        if (listener_)
            listener_->wanted(wanted);
    }

    // --- requests

    // What ends a request, in each of the two ways that those who do the work know.
    struct Stop {
        void request()
        {
            flag = true;
            source.request_stop();
        }
        std::atomic<bool> flag{false};
        std::stop_source source;
    };

    void begin(const std::string& kind, const Dictionary& facts)
    {
        const std::int64_t id = numberOfFact(facts, "id");
        const std::string address = textOfFact(facts, "address");
        auto stop = std::make_shared<Stop>();
        {
            const std::lock_guard lock(mutex_);
            if (requests_.size() >= kMostRequests || !requests_.emplace(id, stop).second)
                return void(socket_.send({{"kind", "answer"}, {"id", id}, {"error", "too many requests"}}));
        }
        if (kind == "feed")
            feeds_.async([this, id, address, facts, stop] { fetchFeed(id, address, facts, stop->source.get_token()); });
        else if (kind == "cover")
            covers_.async([this, id, address, stop] { readCover(id, address, stop->flag); });
        else if (kind == "evening")
            evening_.async([this, id, stop] { giveEvening(id, stop->flag); });
        else if (kind == "companion")
            askCompanion(id, address);
        else
            fail(id, "no such request");
    }
    void cancel(std::int64_t id)
    {
        const std::lock_guard lock(mutex_);
        if (const auto place = requests_.find(id); place != requests_.end())
            place->second->request();
    }
    void answer(std::int64_t id, Dictionary facts, ByteView bytes)
    {
        {
            const std::lock_guard lock(mutex_);
            requests_.erase(id);
        }
        facts["kind"] = "answer";
        facts["id"] = id;
        socket_.send(facts, bytes);
    }
    void fail(std::int64_t id, const std::string& why) { answer(id, {{"error", why}}, {}); }

    void fetchFeed(std::int64_t id, const std::string& address, const Dictionary& facts, std::stop_token stop)
    {
        const auto& files = permissions_.feedFiles;
        if (!isOfWeb(address) && std::find(files.begin(), files.end(), address) == files.end())
            return fail(id, "this address isn't read from here");
        const auto known = [&](const char* name) {
            const auto* text = textMember(facts, name);
            return text ? std::optional(*text) : std::nullopt;
        };
        const auto contents = fetcher_.contentsOfIfModified(
            FeedKit::URL(address), {known("eTag"), known("lastModified")}, std::move(stop));
        if (!contents)
            return fail(id, contents.error());
        if (!*contents)
            return answer(id, {{"unmodified", true}}, {});
        Dictionary said{{"address", (*contents)->address.text()}, {"contentType", (*contents)->contentType}};
        if (const auto& eTag = (*contents)->validators.eTag)
            said["eTag"] = *eTag;
        if (const auto& date = (*contents)->validators.lastModified)
            said["lastModified"] = *date;
        answer(id, std::move(said), (*contents)->bytes);
    }
    // A player names any file for its cover, and so could who has taken over the other process: pictures alone are
    // given.
    void readCover(std::int64_t id, const std::string& address, const std::atomic<bool>& stop)
    {
        const auto bytes = artworkBytes(address, stop);
        if (!bytes || (isLocalArtwork(address) && !isPicture(*bytes)))
            return fail(id, "there is no such cover");
        answer(id, {}, *bytes);
    }
    // A few at a time: who has taken over the other process could fill memory, but not the disk, with them.
    void keepCover(Bytes bytes)
    {
        if (permissions_.coverFolder.empty() || bytes.empty() || keeping_ >= kMostKeeping)
            return;
        ++keeping_;
        evening_.async([this, bytes = std::move(bytes)] {
            shelf_.keep(bytes);
            --keeping_;
        });
    }
    void giveEvening(std::int64_t id, const std::atomic<bool>& stop)
    {
        Array sizes;
        Bytes all;
        for (const Bytes& cover : shelf_.covers(stop)) {
            sizes.emplace_back(std::int64_t(cover.size()));
            all.insert(all.end(), cover.begin(), cover.end());
        }
        answer(id, {{"sizes", sizes}}, all);
    }
    void askCompanion(std::int64_t id, const std::string& address)
    {
        const std::string prefix = "http://localhost:" + std::to_string(permissions_.companionPort) + "/";
        if (permissions_.companionPort == 0 || !address.starts_with(prefix))
            return fail(id, "only the companion is asked from here");
        session_
            .dataTaskWithURLCompletionHandler(address,
                [this, id](std::optional<Bytes> data, std::optional<std::string> error) {
                    if (data)
                        answer(id, {}, *data);
                    else
                        fail(id, error.value_or(""));
                })
            ->resume();
    }

    SystemClock clock_;
    RunLoop loop_{clock_};
    OutsideSocket socket_;
    const OutsidePermissions permissions_;
    const std::shared_ptr<SoundRing> ring_; // null: nobody may listen
    std::unique_ptr<SoundListener> listener_; // once somebody has wanted to
    std::atomic<bool> ended_{false};
    bool settled_ = false;
    std::unique_ptr<SessionBus> bus_;
    FeedKit::CurlFetcher fetcher_;
    std::mutex mutex_;
    std::map<std::int64_t, std::shared_ptr<Stop>> requests_; // guarded by mutex_
    CurlURLSession session_{{.user = geteuid()}}; // for the companion, whose requests are nobody else's business
    CoverFolder shelf_{permissions_.coverFolder, clock_};
    std::atomic<int> keeping_{0};
    PoolQueue feeds_{4}, covers_{2}, evening_{1}; // last: their blocks use the above
};

} // namespace

int serveFromOutside(int socket, const OutsidePermissions& permissions, const std::shared_ptr<SoundRing>& ring)
{
    prctl(PR_SET_NAME, "vitrel:outside");
    // The keys that end a program in a terminal reach both; the other has an end to play, with its players.
    std::signal(SIGINT, SIG_IGN);
    std::signal(SIGHUP, SIG_IGN);
    return Server(socket, permissions, ring).run();
}

} // namespace vitrel
