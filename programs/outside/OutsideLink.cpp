#include "programs/outside/OutsideLink.h"

#include "platform/sound/HeardSound.h"
#include "programs/child/ChildProcess.h"
#include "programs/outside/OutsideMessage.h"

#include <sys/socket.h>
#include <unistd.h>

#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
#include <thread>
#include <utility>

namespace vitrel {

namespace {

constexpr const char* kGone = "the process outside has ended";
// So often one who waits looks whether to give up.
constexpr std::chrono::milliseconds kStep{50};

} // namespace

struct OutsideLink::State {
    State(RunLoop& loop, int socket, std::shared_ptr<SoundRing> ring)
        : loop(loop)
        , socket(socket)
        , ring(std::move(ring))
    { }

    using Answer = std::function<void(OutsideMessage)>;
    // The answer comes on the thread that listens, or here if there is nobody to ask. Gives the request's number.
    std::int64_t ask(const char* kind, Dictionary facts, Answer answer)
    {
        std::int64_t id = 0;
        bool isGone = false;
        {
            const std::lock_guard lock(mutex);
            id = ++lastRequest;
            isGone = ended;
            if (!isGone)
                requests[id] = answer;
        }
        facts["kind"] = kind;
        facts["id"] = id;
        if (isGone)
            answer({{{"error", kGone}}, {}});
        else if (!socket.send(facts))
            take(id, {{{"error", kGone}}, {}});
        return id;
    }
    void take(std::int64_t id, OutsideMessage message)
    {
        Answer answer;
        {
            const std::lock_guard lock(mutex);
            const auto place = requests.find(id);
            if (place == requests.end())
                return;
            answer = std::move(place->second);
            requests.erase(place);
        }
        answer(std::move(message));
    }
    void forget(std::int64_t id)
    {
        {
            const std::lock_guard lock(mutex);
            requests.erase(id);
        }
        socket.send({{"kind", "cancel"}, {"id", id}});
    }
    // Waits for the answer, on a thread that may wait; absent if `stops` comes first.
    std::optional<OutsideMessage> answerTo(const char* kind, Dictionary facts, const std::function<bool()>& stops)
    {
        struct Waiting {
            std::mutex mutex;
            std::condition_variable came;
            std::optional<OutsideMessage> message;
        };
        const auto waiting = std::make_shared<Waiting>();
        const auto id = ask(kind, std::move(facts), [waiting](OutsideMessage message) {
            const std::lock_guard lock(waiting->mutex);
            waiting->message = std::move(message);
            waiting->came.notify_all();
        });
        std::unique_lock lock(waiting->mutex);
        while (!waiting->came.wait_for(lock, kStep, [&] { return waiting->message.has_value(); })) {
            if (stops()) {
                lock.unlock();
                forget(id);
                return std::nullopt;
            }
        }
        return std::move(waiting->message);
    }

    // On its thread.
    void listen(const std::weak_ptr<State>& weak)
    {
        bool isPlaying = false;
        while (auto message = socket.receive(kFromOutside)) {
            if (textOfFact(message->facts, "kind") == "answer") {
                const auto id = numberOfFact(message->facts, "id");
                take(id, std::move(*message));
            } else if (textOfFact(message->facts, "kind") == "playing") {
                if (std::exchange(isPlaying, truthOfFact(message->facts, "playing")) != isPlaying)
                    postToSound(weak, isPlaying);
            } else {
                postToBus(weak, std::move(message->facts));
            }
        }
        std::map<std::int64_t, Answer> left;
        {
            const std::lock_guard lock(mutex);
            ended = true;
            left.swap(requests);
        }
        for (auto& [id, answer] : left)
            answer({{{"error", kGone}}, {}});
        postToBus(weak, {{"kind", "ended"}});
        if (isPlaying)
            postToSound(weak, false);
    }
    void postToSound(const std::weak_ptr<State>& weak, bool playing)
    {
        loop.post([weak, playing] {
            const auto state = weak.lock();
            if (state && state->tellSound)
                state->tellSound(playing);
        });
    }
    void postToBus(const std::weak_ptr<State>& weak, Dictionary facts)
    {
        loop.post([weak, facts = std::move(facts)] {
            const auto state = weak.lock();
            if (state && state->tellBus)
                state->tellBus(facts);
        });
    }

    RunLoop& loop;
    OutsideSocket socket;
    std::unique_ptr<ChildProcess> process;
    std::thread thread;
    std::function<void(const Dictionary&)> tellBus; // main thread
    const std::shared_ptr<SoundRing> ring; // null: nothing is heard
    std::function<void(bool playing)> tellSound; // main thread
    std::mutex mutex;
    std::map<std::int64_t, Answer> requests; // guarded by mutex
    std::int64_t lastRequest = 0; // guarded by mutex
    bool ended = false; // guarded by mutex
};

class OutsideLink::Bus final : public PlayerBus
{
public:
    explicit Bus(const std::shared_ptr<State>& state)
        : state_(state)
    { }
    ~Bus() override
    {
        if (const auto state = state_.lock())
            state->tellBus = nullptr;
    }
    void start(PlayerBusListener& listener) override
    {
        const auto state = state_.lock();
        if (!state)
            return;
        state->tellBus = [this, &listener](const Dictionary& facts) { take(facts, listener); };
        settled_ = !state->socket.send({{"kind", "players"}});
    }
    bool isSettled() const override { return settled_; }
    bool isSilent(const std::string& name) const override { return silent_.contains(name); }
    void ask(const std::string& name) override
    {
        if (const auto state = state_.lock())
            state->socket.send({{"kind", "ask"}, {"name", name}});
    }

private:
    void take(const Dictionary& facts, PlayerBusListener& listener)
    {
        const std::string kind = textOfFact(facts, "kind"), name = textOfFact(facts, "name");
        if (kind == "settled")
            settled_ = true;
        if (kind == "ended") {
            settled_ = true;
            for (const auto& one : std::exchange(players_, {}))
                listener.playerVanished(one);
        }
        if (name.empty())
            return;
        if (truthOfFact(facts, "silent"))
            silent_.insert(name);
        else
            silent_.erase(name);
        const auto* given = dictionaryMember(facts, "properties");
        const Dictionary properties = given ? *given : Dictionary();
        if (kind == "appeared") {
            players_.insert(name);
            listener.playerAppeared(name,
                {numberOfFact(facts, "process"), std::uint64_t(numberOfFact(facts, "connection")),
                    truthOfFact(facts, "wasThere")},
                properties);
        } else if (kind == "changed") {
            listener.playerChanged(name, properties);
        } else if (kind == "seeked") {
            const auto* position = member(facts, "position");
            listener.playerSeeked(name, position ? position->number().value_or(0) : 0);
        } else if (kind == "vanished") {
            players_.erase(name);
            listener.playerVanished(name);
        }
    }

    const std::weak_ptr<State> state_;
    bool settled_ = false;
    std::set<std::string> players_, silent_;
};

class OutsideLink::Sound final : public SoundInput
{
public:
    explicit Sound(const std::shared_ptr<State>& state)
        : state_(state)
        , heard_(state->loop.clock(), state->ring, [weak = state_](bool wanted) {
            if (const auto state = weak.lock())
                state->socket.send({{"kind", "listen"}, {"wanted", wanted}});
        })
    {
        state->tellSound = [this](bool playing) { heard_.playing(playing); };
    }
    ~Sound() override
    {
        if (const auto state = state_.lock())
            state->tellSound = nullptr;
    }
    std::shared_ptr<void> listen(std::function<void()> onSound) override { return heard_.listen(std::move(onSound)); }
    SoundHeard hear() override { return heard_.hear(); }
    bool rests() const override { return heard_.rests(); }

private:
    const std::weak_ptr<State> state_;
    HeardSound heard_;
};

class OutsideLink::Feeds final : public FeedKit::Fetcher
{
public:
    explicit Feeds(const std::shared_ptr<State>& state)
        : state_(state)
    { }
    FeedKit::Result<std::optional<FeedKit::FetchedContents>, std::string> contentsOfIfModified(
        const FeedKit::URL& url, const FeedKit::Validators& known, std::stop_token stop) override
    {
        const auto state = state_.lock();
        if (!state)
            return std::string(kGone);
        Dictionary facts{{"address", url.text()}};
        if (known.eTag)
            facts["eTag"] = *known.eTag;
        if (known.lastModified)
            facts["lastModified"] = *known.lastModified;
        auto answer = state->answerTo("feed", std::move(facts), [&] { return stop.stop_requested(); });
        if (!answer)
            return std::string("stopped");
        if (const auto* error = textMember(answer->facts, "error"))
            return *error;
        if (truthOfFact(answer->facts, "unmodified"))
            return std::optional<FeedKit::FetchedContents>();
        FeedKit::FetchedContents contents{std::move(answer->bytes), {}};
        if (const auto* eTag = textMember(answer->facts, "eTag"))
            contents.validators.eTag = *eTag;
        if (const auto* date = textMember(answer->facts, "lastModified"))
            contents.validators.lastModified = *date;
        contents.address = FeedKit::URL(textOfFact(answer->facts, "address"));
        contents.contentType = textOfFact(answer->facts, "contentType");
        return std::optional(std::move(contents));
    }

private:
    const std::weak_ptr<State> state_;
};

class OutsideLink::Session final : public URLSession
{
    // What its handlers need; a handler runs under the lock, so that who ends the session waits for it.
    struct Life {
        std::mutex mutex;
        bool ended = false; // guarded by mutex
    };
    class Task final : public URLSessionDataTask
    {
    public:
        std::function<void()> begin;
        void resume() override
        {
            if (const auto block = std::exchange(begin, nullptr))
                block();
        }
    };

public:
    explicit Session(const std::shared_ptr<State>& state)
        : state_(state)
    { }
    ~Session() override { invalidateAndCancel(); }
    std::shared_ptr<URLSessionDataTask> dataTaskWithURLCompletionHandler(
        const std::string& url, CompletionHandler handler) override
    {
        auto task = std::make_shared<Task>();
        task->begin = [weak = state_, url, life = life_, handler = std::move(handler)] {
            const auto answer = [life, handler](OutsideMessage message) {
                const std::lock_guard lock(life->mutex);
                if (life->ended)
                    return;
                if (const auto* error = textMember(message.facts, "error"))
                    handler(std::nullopt, *error);
                else
                    handler(std::move(message.bytes), std::nullopt);
            };
            if (const auto state = weak.lock())
                state->ask("companion", {{"address", url}}, answer);
            else
                answer({{{"error", kGone}}, {}});
        };
        return task;
    }
    void invalidateAndCancel() override
    {
        const std::lock_guard lock(life_->mutex);
        life_->ended = true;
    }

private:
    const std::weak_ptr<State> state_;
    const std::shared_ptr<Life> life_ = std::make_shared<Life>();
};

OutsideLink::OutsideLink(std::shared_ptr<State> state)
    : state_(std::move(state))
{ }

std::unique_ptr<OutsideLink> OutsideLink::over(RunLoop& loop, int socket, std::shared_ptr<SoundRing> ring)
{
    return std::unique_ptr<OutsideLink>(new OutsideLink(std::make_shared<State>(loop, socket, std::move(ring))));
}

std::unique_ptr<OutsideLink> OutsideLink::start(RunLoop& loop, const OutsidePermissions& permissions)
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        return nullptr;
    const auto ring = permissions.sound ? SoundRing::make() : nullptr;
    auto link = over(loop, ends[0], ring);
    link->state_->process = ChildProcess::fork(
        loop, [&] { return serveFromOutside(ChildProcess::kInherited, permissions, ring); }, ends[1], [](int) {});
    ::close(ends[1]);
    return link->state_->process ? std::move(link) : nullptr;
}

OutsideLink::~OutsideLink()
{
    state_->socket.shutDown();
    if (state_->thread.joinable())
        state_->thread.join();
    // Not with the last of those who hold the state, which may be on any thread.
    state_->tellBus = nullptr;
    state_->tellSound = nullptr;
    // It ends by itself, now that nobody is there. A confined process couldn't end it, and isn't to wait.
    if (state_->process)
        state_->process->release();
    state_->process.reset();
}

void OutsideLink::listen()
{
    state_->thread = std::thread([weak = std::weak_ptr(state_), raw = state_.get()] { raw->listen(weak); });
}

std::unique_ptr<PlayerBus> OutsideLink::playerBus()
{
    return std::make_unique<Bus>(state_);
}

std::unique_ptr<SoundInput> OutsideLink::sound()
{
    return state_->ring ? std::make_unique<Sound>(state_) : nullptr;
}

std::shared_ptr<FeedKit::Fetcher> OutsideLink::fetcher()
{
    return std::make_shared<Feeds>(state_);
}

std::unique_ptr<URLSession> OutsideLink::urlSession()
{
    return std::make_unique<Session>(state_);
}

ArtworkReader OutsideLink::covers()
{
    return [weak = std::weak_ptr(state_)](
               const std::string& address, const std::atomic<bool>& stop) -> std::optional<Bytes> {
        // The address is the picture, which needs nobody.
        if (address.starts_with("data:"))
            return artworkBytes(address, stop);
        const auto state = weak.lock();
        if (!state)
            return std::nullopt;
        auto answer = state->answerTo("cover", {{"address", address}}, [&] { return stop.load(); });
        if (!answer || textMember(answer->facts, "error"))
            return std::nullopt;
        return std::move(answer->bytes);
    };
}

class OutsideLink::Shelf final : public CoverShelf
{
public:
    explicit Shelf(const std::shared_ptr<State>& state)
        : state_(state)
    { }
    void keep(ByteView picture) override
    {
        const auto state = state_.lock();
        if (state && picture.size() <= CoverFolder::kLargest)
            state->socket.send({{"kind", "keep"}}, picture);
    }
    std::vector<Bytes> covers(const std::atomic<bool>& stop) override
    {
        const auto state = state_.lock();
        const auto answer = state ? state->answerTo("evening", {}, [&] { return stop.load(); }) : std::nullopt;
        const auto sizes = answer ? answer->facts.find("sizes") : Dictionary::const_iterator();
        const Array* all = answer && sizes != answer->facts.end() ? sizes->second.array() : nullptr;
        std::vector<Bytes> covers;
        std::size_t at = 0;
        for (std::size_t k = 0; all && k < std::min(all->size(), CoverFolder::kMostCovers); ++k) {
            const auto* size = (*all)[k].as<std::int64_t>();
            if (!size || *size < 0 || static_cast<std::size_t>(*size) > answer->bytes.size() - at)
                break;
            const auto begin = answer->bytes.begin() + static_cast<std::ptrdiff_t>(at);
            covers.emplace_back(begin, begin + static_cast<std::ptrdiff_t>(*size));
            at += static_cast<std::size_t>(*size);
        }
        return covers;
    }

private:
    const std::weak_ptr<State> state_;
};

std::shared_ptr<CoverShelf> OutsideLink::coverShelf()
{
    return std::make_shared<Shelf>(state_);
}

} // namespace vitrel
