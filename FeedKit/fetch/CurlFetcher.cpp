#include "FeedKit/fetch/CurlFetcher.h"
#include "FeedKit/basics/Letters.h"

#include "FeedKit/fetch/LocalFile.h"

#include <curl/curl.h>

#include <algorithm>
#include <array>
#include <memory>
#include <new>

namespace FeedKit {

namespace {

// Real ones are a line; what is longer would make every later request too large for its server.
constexpr std::size_t kLongestValidator = 4096;
// Milliseconds; the library's own timers end a wait earlier.
constexpr int kLongestPoll = 1000;

using Error = std::string;

struct EasyDeleter {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
struct ListDeleter {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
struct MultiDeleter {
    void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};
using Easy = std::unique_ptr<CURL, EasyDeleter>;
using Multi = std::unique_ptr<CURLM, MultiDeleter>;
using HeaderList = std::unique_ptr<curl_slist, ListDeleter>;

// Once for the process, whichever thread comes first, and never undone: others in the process may use the library too.
bool isLibraryReady()
{
    static const bool ready = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
    return ready;
}

struct Sink {
    Bytes bytes;
    std::size_t maxBytes;
    bool full = false;

    static std::size_t write(char* data, std::size_t, std::size_t size, void* sink) noexcept
    {
        return static_cast<Sink*>(sink)->take(data, size) ? size : CURL_WRITEFUNC_ERROR;
    }
    bool take(const char* data, std::size_t size) noexcept
    {
        full = size > maxBytes - bytes.size();
        if (full)
            return false;
        try {
            bytes.insert(bytes.end(), data, data + size);
        } catch (const std::bad_alloc&) {
            full = true;
        }
        return !full;
    }
};

std::string sizeInWords(std::size_t bytes)
{
    const bool inMiB = bytes >= 1u << 20;
    return inMiB ? std::to_string(bytes >> 20) + " MiB" : std::to_string(bytes) + " bytes";
}

std::string timeInWords(std::chrono::milliseconds time)
{
    const bool whole = time.count() % 1000 == 0;
    return whole ? std::to_string(time.count() / 1000) + " s" : std::to_string(time.count()) + " ms";
}

Error statusError(long status)
{
    static constexpr struct {
        long status;
        const char* name;
    } kNames[] = {
        {400, "bad request"},
        {401, "unauthorized"},
        {403, "forbidden"},
        {404, "not found"},
        {410, "gone"},
        {429, "too many requests"},
        {500, "internal server error"},
        {502, "bad gateway"},
        {503, "service unavailable"},
        {504, "gateway timeout"},
    };
    std::string text = "the server answered with status " + std::to_string(status);
    const auto* named = std::find_if(std::begin(kNames), std::end(kNames), [&](auto& n) { return n.status == status; });
    return named == std::end(kNames) ? text : text + " (" + named->name + ")";
}

bool isSendable(const std::string& validator)
{
    const auto isControl = [](unsigned char c) { return c < 0x20 || c == 0x7F; };
    return !validator.empty() && validator.size() <= kLongestValidator
        && std::none_of(validator.begin(), validator.end(), isControl);
}

// One request with all its redirects.
class Transfer
{
public:
    Transfer(const URL& url, const Validators& known, const FetchLimits& limits)
        : limits_(limits)
        , sink_{.bytes = {}, .maxBytes = limits.bytes}
        , easy_(isLibraryReady() ? curl_easy_init() : nullptr)
    {
        if (known.eTag && isSendable(*known.eTag))
            addHeader("If-None-Match: " + *known.eTag);
        if (known.lastModified && isSendable(*known.lastModified))
            addHeader("If-Modified-Since: " + *known.lastModified);
        if (easy_)
            prepare(url);
    }

    Result<std::optional<FetchedContents>, Error> run(const std::stop_token& stop)
    {
        const Multi multi(easy_ ? curl_multi_init() : nullptr);
        if (!multi || curl_multi_add_handle(multi.get(), easy_.get()) != CURLM_OK)
            return Error("not enough memory for the transfer");
        const auto code = perform(multi.get(), stop);
        curl_multi_remove_handle(multi.get(), easy_.get());
        if (!code)
            return Error("the fetch was stopped");
        if (*code != CURLE_OK)
            return errorOf(*code);
        const long status = get<long>(CURLINFO_RESPONSE_CODE);
        if (status == 304 && conditions_)
            return std::optional<FetchedContents>();
        if (status < 200 || status >= 300)
            return statusError(status);
        const char* const address = get<const char*>(CURLINFO_EFFECTIVE_URL);
        return std::optional(FetchedContents{std::move(sink_.bytes), {header("etag"), header("last-modified")},
            URL(address ? address : ""), static_cast<int>(status), header("content-type").value_or("")});
    }

private:
    // Absent if it was stopped. curl_easy_perform would look only once a second whether it should go on.
    static std::optional<CURLcode> perform(CURLM* multi, const std::stop_token& stop)
    {
        const std::stop_callback wake(stop, [multi] { curl_multi_wakeup(multi); });
        for (;;) {
            int running = 0;
            if (stop.stop_requested())
                return std::nullopt;
            if (curl_multi_perform(multi, &running) != CURLM_OK)
                return CURLE_OUT_OF_MEMORY;
            int left = 0;
            if (const auto* message = curl_multi_info_read(multi, &left); message && message->msg == CURLMSG_DONE)
                return message->data.result;
            if (curl_multi_poll(multi, nullptr, 0, kLongestPoll, nullptr) != CURLM_OK)
                return CURLE_OUT_OF_MEMORY;
        }
    }

    template <class T> void set(CURLoption option, T value) { curl_easy_setopt(easy_.get(), option, value); }
    template <class T> T get(CURLINFO info) const
    {
        T value = {};
        curl_easy_getinfo(easy_.get(), info, &value);
        return value;
    }

    void addHeader(const std::string& line)
    {
        if (auto* longer = curl_slist_append(conditions_.get(), line.c_str())) {
            conditions_.release();
            conditions_.reset(longer);
        }
    }

    void prepare(const URL& url)
    {
        set(CURLOPT_URL, url.text().c_str());
        set(CURLOPT_PATH_AS_IS, 1L);
        set(CURLOPT_PROTOCOLS_STR, "http,https");
        set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
        set(CURLOPT_FOLLOWLOCATION, 1L);
        set(CURLOPT_MAXREDIRS, static_cast<long>(limits_.redirects));
        set(CURLOPT_FAILONERROR, 1L);
        set(CURLOPT_ACCEPT_ENCODING, ""); // all that the library can decode
        set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(limits_.bytes));
        set(CURLOPT_TIMEOUT_MS, static_cast<long>(limits_.time.count()));
        set(CURLOPT_NOSIGNAL, 1L);
        // A name lookup that hangs is left to itself when the transfer ends.
        set(CURLOPT_QUICK_EXIT, 1L);
        set(CURLOPT_USERAGENT, "FeedKit/" FEEDKIT_VERSION);
        set(CURLOPT_HTTPHEADER, conditions_.get());
        set(CURLOPT_WRITEFUNCTION, &Sink::write);
        set(CURLOPT_WRITEDATA, &sink_);
        set(CURLOPT_ERRORBUFFER, details_.data());
    }

    // Of the last answer.
    std::optional<std::string> header(const char* name) const
    {
        curl_header* found = nullptr;
        if (curl_easy_header(easy_.get(), name, 0, CURLH_HEADER, -1, &found) != CURLHE_OK || !isSendable(found->value))
            return std::nullopt;
        return found->value;
    }

    Error errorOf(CURLcode code) const
    {
        if (sink_.full || code == CURLE_FILESIZE_EXCEEDED)
            return "too large: more than " + sizeInWords(limits_.bytes);
        switch (code) {
        case CURLE_COULDNT_RESOLVE_HOST:
            return "host not found";
        case CURLE_COULDNT_RESOLVE_PROXY:
            return "proxy not found";
        case CURLE_COULDNT_CONNECT:
            return "connection refused, or the host can't be reached";
        case CURLE_OPERATION_TIMEDOUT:
            return "timed out after " + timeInWords(limits_.time);
        case CURLE_TOO_MANY_REDIRECTS:
            return "more than " + std::to_string(limits_.redirects) + " redirects";
        case CURLE_UNSUPPORTED_PROTOCOL:
            return get<long>(CURLINFO_REDIRECT_COUNT) == 0 ? "the server's answer is no HTTP"
                                                           : "a redirect leads to a scheme that isn't supported";
        case CURLE_URL_MALFORMAT:
            return "the address is not valid";
        case CURLE_HTTP_RETURNED_ERROR:
            return statusError(get<long>(CURLINFO_RESPONSE_CODE));
        case CURLE_PARTIAL_FILE:
        case CURLE_RECV_ERROR:
        case CURLE_SEND_ERROR:
            return "the connection broke off";
        case CURLE_GOT_NOTHING:
            return "the server answered nothing";
        case CURLE_BAD_CONTENT_ENCODING:
            return "the answer's compression is damaged";
        case CURLE_WEIRD_SERVER_REPLY:
        case CURLE_HTTP2:
        case CURLE_HTTP2_STREAM:
            return "the server's answer is no HTTP";
        case CURLE_SSL_CONNECT_ERROR:
            return withDetails("no secure connection to the server");
        case CURLE_PEER_FAILED_VERIFICATION:
            return withDetails("the server's certificate is not trusted");
        default:
            return withDetails(curl_easy_strerror(code));
        }
    }
    Error withDetails(const std::string& text) const
    {
        const std::string details = details_.data();
        return details.empty() || details == text ? text : text + ": " + details;
    }

    const FetchLimits& limits_;
    HeaderList conditions_;
    Sink sink_;
    std::array<char, CURL_ERROR_SIZE> details_ = {};
    Easy easy_; // the first to go, for it holds pointers to the others
};

// What libcurl would take otherwise than it is meant: it guesses schemes and skips slashes for people at a terminal.
std::optional<Error> faultOf(const URL& url)
{
    const auto isControl = [](unsigned char c) { return c < 0x20 || c == 0x7F; };
    if (std::any_of(url.text().begin(), url.text().end(), isControl))
        return "the address is not valid";
    if (url.scheme().empty())
        return "the address has no scheme, such as http:";
    if (sameIgnoringCase(url.scheme(), "file"))
        return std::nullopt;
    if (!sameIgnoringCase(url.scheme(), "http") && !sameIgnoringCase(url.scheme(), "https"))
        return "unsupported scheme \"" + std::string(url.scheme()) + "\"";
    if (url.host().empty())
        return "the address has no host";
    return std::nullopt;
}

} // namespace

Result<std::optional<FetchedContents>, std::string> CurlFetcher::contentsOfIfModified(
    const URL& url, const Validators& known, std::stop_token stop)
{
    if (auto fault = faultOf(url))
        return *std::move(fault);
    if (sameIgnoringCase(url.scheme(), "file"))
        return localContentsOfIfModified(url, known, limits_.bytes);
    return Transfer(url, known, limits_).run(stop);
}

} // namespace FeedKit
