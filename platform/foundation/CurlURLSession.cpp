#include "platform/foundation/CurlURLSession.h"

#include "platform/foundation/SocketOwner.h"

#include <arpa/inet.h>
#include <curl/curl.h>
#include <netinet/in.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <mutex>
#include <new>
#include <thread>
#include <utility>
#include <vector>

namespace vitrel {
namespace {

// The library keeps all lines of a head, however many come.
constexpr std::size_t kMostHeadBytes = 64u << 10;
// As many as the platform opens to one host.
constexpr long kMostConnections = 6;
// Looked at in case a wake-up got lost.
constexpr int kLongestSleep = 1000;

struct EasyDeleter {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
struct MultiDeleter {
    void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};

// Once for the process, whichever thread comes first, and never undone: others in the process may use the library too.
bool isLibraryReady()
{
    static const bool ready = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
    return ready;
}

sockaddr_storage addressOf(const char* text, int port)
{
    sockaddr_storage address{};
    sockaddr_in in{AF_INET, htons(static_cast<std::uint16_t>(port)), {}, {}};
    sockaddr_in6 in6{AF_INET6, htons(static_cast<std::uint16_t>(port)), 0, {}, 0};
    if (inet_pton(AF_INET, text, &in.sin_addr) == 1)
        std::memcpy(&address, &in, sizeof in);
    else if (inet_pton(AF_INET6, text, &in6.sin6_addr) == 1)
        std::memcpy(&address, &in6, sizeof in6);
    return address;
}

// One request under way, on the session's thread.
struct Transfer {
    std::unique_ptr<CURL, EasyDeleter> easy;
    URLSession::CompletionHandler handler;
    URLSessionLimits limits;
    Bytes body;
    std::size_t headBytes = 0;
    bool isTooLarge = false;

    static std::size_t write(char* data, std::size_t, std::size_t size, void* transfer) noexcept
    {
        return static_cast<Transfer*>(transfer)->take(data, size) ? size : CURL_WRITEFUNC_ERROR;
    }
    static std::size_t writeHead(char*, std::size_t, std::size_t size, void* transfer) noexcept
    {
        auto& self = *static_cast<Transfer*>(transfer);
        self.headBytes += size;
        self.isTooLarge = self.isTooLarge || self.headBytes > kMostHeadBytes;
        return self.isTooLarge ? CURL_WRITEFUNC_ERROR : size;
    }
    static int mayAsk(void* transfer, char* server, char* own, int serverPort, int ownPort) noexcept
    {
        const auto& limits = static_cast<Transfer*>(transfer)->limits;
        const ConnectionEnds ends{addressOf(server, serverPort), addressOf(own, ownPort)};
        return ownerOfPeer(ends) == limits.user ? CURL_PREREQFUNC_OK : CURL_PREREQFUNC_ABORT;
    }
    bool take(const char* data, std::size_t size) noexcept
    {
        isTooLarge = size > limits.bytes - body.size();
        try {
            if (!isTooLarge && body.capacity() < body.size() + size)
                body.reserve(std::min(std::max(2 * body.capacity(), body.size() + size), limits.bytes));
            if (!isTooLarge)
                body.insert(body.end(), data, data + size);
        } catch (const std::bad_alloc&) {
            isTooLarge = true;
        }
        return !isTooLarge;
    }

    template <class T> void set(CURLoption option, T value) { curl_easy_setopt(easy.get(), option, value); }
    void prepare(const std::string& url)
    {
        set(CURLOPT_URL, url.c_str());
        set(CURLOPT_PATH_AS_IS, 1L);
        set(CURLOPT_PROTOCOLS_STR, "http");
        set(CURLOPT_FOLLOWLOCATION, 0L);
        set(CURLOPT_PROXY, ""); // none, whatever the environment says
        set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
        set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(limits.bytes));
        set(CURLOPT_TIMEOUT_MS, static_cast<long>(limits.time.count()));
        set(CURLOPT_NOSIGNAL, 1L);
        set(CURLOPT_WRITEFUNCTION, &Transfer::write);
        set(CURLOPT_WRITEDATA, this);
        set(CURLOPT_HEADERFUNCTION, &Transfer::writeHead);
        set(CURLOPT_HEADERDATA, this);
        set(CURLOPT_PRIVATE, this);
        if (limits.user) {
            set(CURLOPT_PREREQFUNCTION, &Transfer::mayAsk);
            set(CURLOPT_PREREQDATA, this);
        }
    }

    std::string errorOf(CURLcode code) const
    {
        if (isTooLarge || code == CURLE_FILESIZE_EXCEEDED)
            return "The answer is too large.";
        switch (code) {
        case CURLE_COULDNT_CONNECT:
            return "Could not connect to the server.";
        case CURLE_ABORTED_BY_CALLBACK:
            return "The server is another user's.";
        case CURLE_OPERATION_TIMEDOUT:
            return "The request timed out.";
        case CURLE_UNSUPPORTED_PROTOCOL:
            return "unsupported URL";
        default:
            return curl_easy_strerror(code);
        }
    }

    void complete(CURLcode code)
    {
        easy.reset();
        const auto done = std::move(handler);
        if (code == CURLE_OK)
            done(std::move(body), std::nullopt);
        else
            done(std::nullopt, errorOf(code));
    }
};

struct Request {
    std::string url;
    URLSession::CompletionHandler handler;
};

} // namespace

// What the session and its tasks share. The thread is the only one that sees the transfers.
struct CurlURLSession::Worker {
    explicit Worker(URLSessionLimits limits)
        : limits(limits)
        , multi(isLibraryReady() ? curl_multi_init() : nullptr)
    {
        if (multi)
            curl_multi_setopt(multi.get(), CURLMOPT_MAX_HOST_CONNECTIONS, kMostConnections);
    }

    void add(Request request)
    {
        const std::lock_guard lock(mutex);
        if (ending || !multi)
            return;
        requests.push_back(std::move(request));
        if (!thread.joinable())
            thread = std::thread([this] { run(); });
        curl_multi_wakeup(multi.get());
    }

    void end()
    {
        std::vector<Request> dropped;
        std::thread ended;
        {
            const std::lock_guard lock(mutex);
            ending = true;
            dropped.swap(requests);
            ended.swap(thread);
            if (multi)
                curl_multi_wakeup(multi.get());
        }
        if (ended.joinable())
            ended.join();
        for (const auto& transfer : transfers)
            curl_multi_remove_handle(multi.get(), transfer->easy.get());
        transfers.clear();
    }

    void run()
    {
        while (!ending) {
            startRequests();
            int running = 0;
            curl_multi_perform(multi.get(), &running);
            finishTransfers();
            if (!ending)
                curl_multi_poll(
                    multi.get(), nullptr, 0, transfers.empty() ? 60 * kLongestSleep : kLongestSleep, nullptr);
        }
    }

    void startRequests()
    {
        std::vector<Request> fresh;
        {
            const std::lock_guard lock(mutex);
            fresh.swap(requests);
        }
        for (auto& request : fresh) {
            auto transfer = std::make_unique<Transfer>();
            transfer->easy.reset(curl_easy_init());
            transfer->handler = std::move(request.handler);
            transfer->limits = limits;
            if (transfer->easy)
                transfer->prepare(request.url);
            if (!transfer->easy || curl_multi_add_handle(multi.get(), transfer->easy.get()) != CURLM_OK)
                transfer->complete(CURLE_OUT_OF_MEMORY);
            else
                transfers.push_back(std::move(transfer));
        }
    }

    void finishTransfers()
    {
        int left = 0;
        while (CURLMsg* message = curl_multi_info_read(multi.get(), &left)) {
            if (message->msg != CURLMSG_DONE)
                continue;
            const CURLcode code = message->data.result;
            CURL* easy = message->easy_handle;
            curl_multi_remove_handle(multi.get(), easy);
            const auto place = std::find_if(
                transfers.begin(), transfers.end(), [&](const auto& transfer) { return transfer->easy.get() == easy; });
            const auto transfer = std::move(*place);
            transfers.erase(place);
            if (!ending)
                transfer->complete(code);
        }
    }

    const URLSessionLimits limits;
    const std::unique_ptr<CURLM, MultiDeleter> multi;
    std::vector<std::unique_ptr<Transfer>> transfers;

    std::mutex mutex; // guards what follows
    std::vector<Request> requests;
    std::thread thread;
    std::atomic<bool> ending = false; // written under the lock
};

class CurlURLSession::Task final : public URLSessionDataTask
{
public:
    Task(std::weak_ptr<Worker> worker, Request request)
        : worker_(std::move(worker))
        , request_(std::move(request))
    { }
    void resume() override
    {
        const auto worker = worker_.lock();
        if (worker && !resumed_.exchange(true))
            worker->add(std::move(request_));
    }

private:
    std::weak_ptr<Worker> worker_;
    Request request_;
    std::atomic<bool> resumed_ = false;
};

CurlURLSession::CurlURLSession(URLSessionLimits limits)
    : worker_(std::make_shared<Worker>(limits))
{ }

CurlURLSession::~CurlURLSession()
{
    invalidateAndCancel();
}

std::shared_ptr<URLSessionDataTask> CurlURLSession::dataTaskWithURLCompletionHandler(
    const std::string& url, CompletionHandler handler)
{
    return std::make_shared<Task>(worker_, Request{url, std::move(handler)});
}

void CurlURLSession::invalidateAndCancel()
{
    worker_->end();
}

} // namespace vitrel
