#include "platform/scriptingbridge/Artwork.h"

#include "base/Text.h"
#include "platform/appkit/NSImage.h"
#include "platform/foundation/Files.h"

#include <optional>

#include <curl/curl.h>

namespace vitrel {
namespace {

// A cover of 4000 pixels square is some megabytes.
constexpr std::size_t kMaximumBytes = std::size_t(16) << 20;
constexpr long kMaximumSeconds = 10, kConnectSeconds = 5;
constexpr long kMaximumRedirects = 5;
constexpr int kStepMilliseconds = 50;

bool hasScheme(std::string_view address, std::string_view scheme)
{
    if (address.size() <= scheme.size())
        return false;
    for (std::size_t at = 0; at < scheme.size(); ++at) {
        if ((address[at] | 0x20) != scheme[at])
            return false;
    }
    return address[scheme.size()] == ':';
}

// What stands behind "file:": "///p", "//localhost/p" or "/p". Absent for another machine's file.
std::optional<std::string_view> pathOf(std::string_view address)
{
    if (address.starts_with("//")) {
        address.remove_prefix(2);
        const std::size_t slash = address.find('/');
        const std::string_view host = address.substr(0, slash);
        if (slash == std::string_view::npos || (!host.empty() && host != "localhost"))
            return std::nullopt;
        address.remove_prefix(slash);
    }
    return address.starts_with('/') ? std::optional(address) : std::nullopt;
}

std::optional<Bytes> bytesAt(const std::string& path)
{
    if (path.find('\0') != std::string::npos)
        return std::nullopt;
    auto bytes = readFile(path, kMaximumBytes);
    return bytes ? std::optional(*std::move(bytes)) : std::nullopt;
}

// Some players escape their files' names, some don't, and some do so with a few characters only.
std::optional<Bytes> readEither(const std::string& path, const std::string& other)
{
    auto bytes = bytesAt(path);
    return bytes || path == other ? std::move(bytes) : bytesAt(other);
}

// "data:image/png;base64,...": what stands behind the first comma.
std::optional<Bytes> dataOf(std::string_view address)
{
    const std::size_t comma = address.find(',');
    if (comma == std::string_view::npos || address.size() - comma > kMaximumBytes * 3 / 2)
        return std::nullopt;
    const std::string text = percentDecoded(address.substr(comma + 1));
    if (!address.substr(0, comma).ends_with(";base64"))
        return text.size() <= kMaximumBytes ? std::optional(Bytes(text.begin(), text.end())) : std::nullopt;
    std::string digits;
    for (const char c : text) {
        if (!isBlank(c))
            digits += c;
    }
    while (digits.size() % 4 != 0)
        digits += '='; // some leave the padding out
    auto bytes = decodeBase64(digits);
    return bytes && bytes->size() <= kMaximumBytes ? std::move(bytes) : std::nullopt;
}

std::size_t receive(char* data, std::size_t, std::size_t size, void* user)
{
    auto& bytes = *static_cast<Bytes*>(user);
    if (bytes.size() + size > kMaximumBytes)
        return 0;
    bytes.insert(bytes.end(), data, data + size);
    return size;
}

// In steps, as the library's own way of ending a transfer comes once in a second only.
CURLcode perform(CURL* easy, const std::atomic<bool>& stop)
{
    CURLM* multi = curl_multi_init();
    CURLcode code = CURLE_ABORTED_BY_CALLBACK;
    if (!multi || curl_multi_add_handle(multi, easy) != CURLM_OK) {
        curl_multi_cleanup(multi);
        return code;
    }
    int running = 1;
    while (running > 0 && !stop && curl_multi_perform(multi, &running) == CURLM_OK) {
        if (running > 0)
            curl_multi_poll(multi, nullptr, 0, kStepMilliseconds, nullptr);
    }
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi, &left)) {
        if (message->msg == CURLMSG_DONE)
            code = message->data.result;
    }
    curl_multi_remove_handle(multi, easy);
    curl_multi_cleanup(multi);
    return code;
}

std::optional<Bytes> download(const std::string& address, const std::atomic<bool>& stop)
{
    CURL* curl = curl_easy_init();
    if (!curl)
        return std::nullopt;
    Bytes bytes;
    curl_easy_setopt(curl, CURLOPT_URL, address.c_str());
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    // A name that is being looked up doesn't hold up the end.
    curl_easy_setopt(curl, CURLOPT_QUICK_EXIT, 1L);
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(curl, CURLOPT_MAXREDIRS, kMaximumRedirects);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, kMaximumSeconds);
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, kConnectSeconds);
    curl_easy_setopt(curl, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(kMaximumBytes));
    curl_easy_setopt(curl, CURLOPT_FAILONERROR, 1L);
    curl_easy_setopt(curl, CURLOPT_USERAGENT, "Vitrel");
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, receive);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &bytes);
    const CURLcode code = perform(curl, stop);
    curl_easy_cleanup(curl);
    return code == CURLE_OK ? std::optional(std::move(bytes)) : std::nullopt;
}

std::optional<Bytes> readAt(const std::string& address, const std::atomic<bool>& stop)
{
    if (address.starts_with('/'))
        return readEither(address, percentDecoded(address));
    if (hasScheme(address, "file")) {
        const auto path = pathOf(std::string_view(address).substr(5));
        return path ? readEither(percentDecoded(*path), std::string(*path)) : std::nullopt;
    }
    if (hasScheme(address, "data"))
        return dataOf(address);
    if (hasScheme(address, "http") || hasScheme(address, "https"))
        return download(address, stop);
    return std::nullopt;
}

} // namespace

double FetchedArtwork::pixels() const
{
    return image ? image->size().width * image->size().height : 0;
}

std::optional<Bytes> artworkBytes(const std::string& address, const std::atomic<bool>& stop)
{
    auto bytes = readAt(address, stop);
    return !bytes || bytes->empty() || stop ? std::nullopt : std::move(bytes);
}

FetchedArtwork fetchArtwork(const std::string& address, const std::atomic<bool>& stop, const ArtworkReader& read)
{
    auto bytes = read ? read(address, stop) : artworkBytes(address, stop);
    if (!bytes || stop)
        return {};
    return decodedArtwork(std::make_shared<const Bytes>(std::move(*bytes)));
}

FetchedArtwork decodedArtwork(std::shared_ptr<const Bytes> bytes)
{
    auto image = NSImage::imageWithData(*bytes);
    return {std::move(bytes), std::move(image)};
}

bool isLocalArtwork(const std::string& address)
{
    return !hasScheme(address, "http") && !hasScheme(address, "https");
}

} // namespace vitrel
