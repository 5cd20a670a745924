#include "platform/scriptingbridge/Metadata.h"

#include "base/Text.h"

#include <cmath>
#include <cstdio>
#include <limits>

namespace vitrel {
namespace {

// Longer than any title; a composition that draws it pays for each character.
constexpr std::size_t kMaximumText = 4096;
constexpr std::size_t kMaximumListMembers = 64;
// Artwork within its address is base64 of at most 16 MiB.
constexpr std::size_t kMaximumAddress = std::size_t(24) << 20;

class Fields
{
public:
    explicit Fields(const Dictionary& metadata)
    {
        for (const auto& [key, value] : metadata) {
            if (!isEmpty(value))
                values_.emplace(asciiLowercase(key), &value);
        }
    }

    bool has(const char* key) const { return find(key) != nullptr; }

    // Not cut.
    std::string rawText(const char* key) const
    {
        const Value* value = find(key);
        if (const auto* list = value ? value->array() : nullptr)
            value = list->empty() ? nullptr : &list->front();
        const auto* text = value ? value->as<std::string>() : nullptr;
        return text ? *text : std::string();
    }

    // A list's texts with ", " between them, or the one text.
    std::string text(const char* key) const
    {
        const Value* value = find(key);
        const auto* list = value ? value->array() : nullptr;
        if (!list)
            return value && !value->isNothing() && !value->dictionary() ? cut(description(*value)) : std::string();
        std::string out;
        std::size_t left = kMaximumListMembers;
        for (const Value& member : *list) {
            const auto* text = member.as<std::string>();
            if (!text || text->empty() || left-- == 0)
                continue;
            out += (out.empty() ? "" : ", ") + cut(*text);
            if (out.size() > kMaximumText)
                break;
        }
        return cut(out);
    }

    double number(const char* key) const
    {
        const Value* value = find(key);
        if (const auto* list = value ? value->array() : nullptr)
            value = list->empty() ? nullptr : &list->front();
        const auto number = value ? value->doubleValue() : std::nullopt;
        return number && std::isfinite(*number) ? *number : 0;
    }

    std::int64_t integer(const char* key) const
    {
        constexpr double most = std::numeric_limits<std::int32_t>::max();
        return static_cast<std::int64_t>(std::min(std::max(number(key), -most), most));
    }

private:
    // Some players leave out what they don't know, others say it with nothing in it.
    static bool isEmpty(const Value& value)
    {
        const auto* list = value.array();
        const Value* only = !list ? &value : list->size() == 1 ? &list->front() : nullptr;
        const auto* text = only ? only->as<std::string>() : nullptr;
        return value.isNothing() || (list && list->empty()) || (text && text->empty());
    }

    const Value* find(const char* key) const
    {
        const auto found = values_.find(key);
        return found == values_.end() ? nullptr : found->second;
    }

    static std::string cut(std::string_view text)
    {
        std::size_t size = std::min(text.size(), kMaximumText);
        while (size > 0 && size < text.size() && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80)
            --size;
        return repairedUtf8(text.substr(0, size));
    }

    std::map<std::string, const Value*, std::less<>> values_;
};

// Of a file the whole name, for players that don't escape "#" and "?"; of other addresses without query and fragment.
std::string lastPartOf(std::string_view address)
{
    if (asciiLowercase(address.substr(0, 5)) == "file:")
        address.remove_prefix(5);
    else if (!address.starts_with('/'))
        address = address.substr(0, address.find_first_of("?#"));
    const std::size_t slash = address.rfind('/');
    return repairedUtf8(percentDecoded(slash == std::string_view::npos ? address : address.substr(slash + 1)));
}

// The first four digits of a date, or of a number.
std::int64_t yearOf(const std::string& created)
{
    std::int64_t year = 0;
    int digits = 0;
    for (const char c : created) {
        if (c < '0' || c > '9') {
            if (digits > 0)
                break;
            continue;
        }
        year = year * 10 + (c - '0');
        if (++digits == 4)
            return year;
    }
    return 0;
}

// Whether "2026-11-25T16:50:17" names a moment and not a day: a day's beginning is that in some time zone, whose
// minutes are whole quarters of an hour, and has no seconds.
bool isMoment(const std::string& created)
{
    int minutes = 0, seconds = 0;
    return std::sscanf(created.c_str(), "%*4d-%*2d-%*2dT%*2d:%2d:%2d", &minutes, &seconds) == 2
        && (minutes % 15 != 0 || seconds != 0);
}

// The song's and not that of its file: in two common players "xesam:contentCreated" is the time at which the file was
// last written.
std::int64_t yearOf(const Fields& fields)
{
    for (const char* key : {"year", "sayonara:year", "date"}) {
        if (const std::int64_t year = yearOf(fields.text(key)); year != 0)
            return year;
    }
    const std::string created = fields.text("xesam:contentcreated");
    return isMoment(created) ? 0 : yearOf(created);
}

// "1/3" where a player hands out the tags of the file.
std::int64_t numberOf(const Fields& fields, const char* key, const char* tag)
{
    return fields.integer(fields.has(key) ? key : tag);
}

// The service's older addresses lead to a page; the picture lies elsewhere under the same name.
std::string artAddressOf(const Fields& fields)
{
    constexpr std::string_view kPage = "https://open.spotify.com/image/", kPicture = "https://i.scdn.co/image/";
    std::string address = fields.rawText("mpris:arturl");
    if (address.size() > kMaximumAddress)
        return {};
    if (address.starts_with(kPage))
        address.replace(0, kPage.size(), kPicture);
    return address;
}

} // namespace

TrackMetadata trackMetadata(const Dictionary& metadata)
{
    const Fields fields(metadata);
    TrackMetadata out;
    out.track = std::make_shared<SBTrack>();
    SBTrack& track = *out.track;
    const std::string address = fields.text("xesam:url");
    track.name = fields.text("xesam:title");
    if (track.name.empty())
        track.name = lastPartOf(address);
    track.artist = fields.text("xesam:artist");
    track.album = fields.text("xesam:album");
    track.genre = fields.text("xesam:genre");
    track.composer = fields.text("xesam:composer");
    track.year = yearOf(fields);
    track.trackNumber = numberOf(fields, "xesam:tracknumber", "track");
    track.discNumber = numberOf(fields, "xesam:discnumber", "disc");
    track.rating
        = static_cast<std::int64_t>(std::lround(100 * std::min(std::max(fields.number("xesam:userrating"), 0.0), 1.0)));
    track.playedCount = fields.integer("xesam:usecount");
    out.length = std::max(fields.number("mpris:length") / 1e6, 0.0);
    track.time = trackTime(out.length);
    out.artAddress = artAddressOf(fields);
    const std::string title = fields.text("xesam:title");
    // Many players have one name of their own for all their tracks, some another at each message.
    const bool isNamed = !(address + title + track.artist + track.album).empty();
    out.identity = isNamed ? address + '\n' + title + '\n' + track.artist + '\n' + track.album
                           : fields.text("mpris:trackid") + '\n' + track.time;
    return out;
}

} // namespace vitrel
