#include "FeedKit/json/JSONCoding.h"
#include "base/Json.h"
#include "base/Text.h"

#include <algorithm>
#include <cmath>
#include <type_traits>

namespace FeedKit {

namespace {

// The keys of each type in the order in which they are written.
template <Model T> constexpr std::array<std::string_view, 0> kWritten{};
template <>
constexpr std::array<std::string_view, 13> kWritten<JSONFeed>{"version", "title", "user_comment", "home_page_url",
    "description", "feed_url", "next_url", "icon", "favicon", "expired", "author", "hubs", "items"};
template <>
constexpr std::array<std::string_view, 14> kWritten<JSONFeedItem>{"id", "title", "url", "external_url", "content_text",
    "content_html", "summary", "image", "banner_image", "date_published", "date_modified", "tags", "author",
    "attachments"};
template <>
constexpr std::array<std::string_view, 5> kWritten<JSONFeedAttachment>{
    "title", "url", "mime_type", "size_in_bytes", "duration_in_seconds"};
template <> constexpr std::array<std::string_view, 3> kWritten<JSONFeedAuthor>{"name", "url", "avatar"};
template <> constexpr std::array<std::string_view, 2> kWritten<JSONFeedHub>{"type", "url"};

// Whether each key of the type is in the order, and no other.
template <Model T> constexpr bool writesEachKey()
{
    std::size_t fields = 0, found = 0;
    forEachField<T>([&](const auto& field) {
        ++fields;
        for (const auto key : kWritten<T>)
            found += key == field.key;
    });
    return fields == kWritten<T>.size() && found == fields;
}
static_assert(writesEachKey<JSONFeed>() && writesEachKey<JSONFeedItem>() && writesEachKey<JSONFeedAttachment>()
    && writesEachKey<JSONFeedAuthor>() && writesEachKey<JSONFeedHub>());

class Encoder
{
public:
    explicit Encoder(const DateEncodingStrategy& dates)
        : dates_(dates)
    { }

    std::string take() && { return std::move(json_); }

    template <class T> void write(const std::optional<T>& value)
    {
        if (value)
            write(*value);
        else
            json_ += "null";
    }

    template <class T> void write(const std::vector<T>& values)
    {
        json_ += '[';
        for (std::size_t k = 0; k < values.size(); ++k) {
            if (k > 0)
                json_ += ',';
            write(values[k]);
        }
        json_ += ']';
    }

    template <Model T> void write(const T& model)
    {
        json_ += '{';
        for (const auto key : kWritten<T>) {
            if (key != kWritten<T>.front())
                json_ += ',';
            vitrel::appendQuotedJson(json_, key);
            json_ += ':';
            forEachField<T>([&](const auto& field) {
                if (field.key == key)
                    write(model.*field.member);
            });
        }
        json_ += '}';
    }

    void write(bool flag) { json_ += flag ? "true" : "false"; }
    void write(std::int64_t number) { json_ += std::to_string(number); }
    void write(double number) { json_ += std::isfinite(number) ? vitrel::shortestDecimal(number) : "null"; }
    void write(const Date& date) { write(dates_(date)); }

    void write(const std::string& text) { vitrel::appendQuotedJson(json_, vitrel::repairedUtf8(text)); }

private:
    const DateEncodingStrategy& dates_;
    std::string json_;
};

template <Model T> std::string encoded(const T& model, const DateEncodingStrategy& dates)
{
    Encoder encoder(dates);
    encoder.write(model);
    return std::move(encoder).take();
}

} // namespace

std::string encode(const JSONFeed& feed, const DateEncodingStrategy& dates)
{
    return encoded(feed, dates);
}

std::string encode(const JSONFeedItem& item, const DateEncodingStrategy& dates)
{
    return encoded(item, dates);
}

std::string encode(const JSONFeedAttachment& attachment)
{
    return encoded(attachment, {});
}

std::string encode(const JSONFeedAuthor& author)
{
    return encoded(author, {});
}

std::string encode(const JSONFeedHub& hub)
{
    return encoded(hub, {});
}

} // namespace FeedKit
