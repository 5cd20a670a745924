#include "traces/Trace.h"

#include "base/Text.h"
#include "platform/appkit/NSImage.h"
#include "platform/foundation/Files.h"
#include "platform/quartzcomposer/file/TextValues.h"
#include "traces/TracePictures.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>

namespace vitrel {

namespace {

using Json = nlohmann::json;

constexpr int kMostLevels = 64;
constexpr std::size_t kMostMembers = 100'000; // of an object; they are looked through one by one
constexpr std::size_t kMostPicture = 64u << 20;
constexpr double kLatest = 1e7; // seconds: a third of a year

Json parsed(std::string_view line)
{
    if (!qc::isShapedForParsing(line, kMostLevels, kMostMembers))
        return Json::value_t::discarded;
    return Json::parse(line, nullptr, false);
}

const Json* member(const Json& object, const char* key)
{
    const auto found = object.find(key);
    return found == object.end() ? nullptr : &*found;
}

double number(const Json* json, double usual)
{
    const double value = json && json->is_number() ? json->get<double>() : usual;
    return std::isfinite(value) ? value : usual;
}

std::optional<int> viewOf(const Json& line)
{
    const Json* view = member(line, "view");
    return view && view->is_number_integer() ? std::optional(view->get<int>()) : std::nullopt;
}

bool isLine(const Json& line)
{
    if (!line.is_object() || !viewOf(line) || number(member(line, "t"), -1) < 0)
        return false;
    const Json *key = member(line, "key"), *sound = member(line, "sound");
    return sound ? sound->is_object() : key && key->is_string() && line.contains("value");
}

// {"image":[WIDTH,HEIGHT]}, with the name of the picture if it was kept.
bool isImage(const Json& json)
{
    const Json* size = member(json, "image");
    const Json* hash = member(json, "hash");
    return size && size->is_array() && size->size() == 2 && json.size() == (hash ? 2u : 1u);
}

// What a line's values are made with.
struct Pictures {
    const std::string& folder;
    TraceImages& images;

    Value named(const Json* hash) const
    {
        constexpr std::size_t kMostRecent = 4;
        const std::string name = hash && hash->is_string() ? hash->get<std::string>() : "";
        if (folder.empty() || name.size() != 32 || name.find_first_not_of("0123456789abcdef") != name.npos)
            return {};
        for (const auto& [known, image] : images.recent) {
            if (known == name)
                return image;
        }
        const auto bytes = readFileBeneath(folder, name + ".png", kMostPicture);
        const auto image = bytes && isPicture(*bytes) ? NSImage::imageWithData(*bytes) : nullptr;
        if (!image)
            return {};
        if (images.recent.size() >= kMostRecent)
            images.recent.erase(images.recent.begin());
        images.recent.emplace_back(name, image);
        return image;
    }
};

Value valueOf(const Json& json, const Pictures& pictures)
{
    if (json.is_boolean())
        return json.get<bool>();
    if (json.is_number_integer() && !(json.is_number_unsigned() && json.get<std::uint64_t>() > INT64_MAX))
        return json.get<std::int64_t>();
    if (json.is_number())
        return json.get<double>();
    if (json.is_string())
        return json.get<std::string>();
    if (json.is_array()) {
        Array members;
        for (const Json& each : json)
            members.push_back(valueOf(each, pictures));
        return members;
    }
    if (!json.is_object())
        return {};
    if (isImage(json))
        return pictures.named(member(json, "hash"));
    Dictionary members;
    for (const auto& [key, each] : json.items())
        members.insert_or_assign(key, valueOf(each, pictures));
    return members;
}

SoundHeard soundOf(const Json& json)
{
    SoundHeard heard;
    heard.peak = std::clamp(number(member(json, "peak"), 0), 0.0, 1.0);
    if (const Json* bands = member(json, "spectrum"); bands && bands->is_array()) {
        for (std::size_t k = 0; k < std::min(bands->size(), heard.spectrum.size()); ++k)
            heard.spectrum[k] = std::clamp(number(&(*bands)[k], 0), 0.0, 1.0);
    }
    heard.beats = std::uint64_t(std::clamp(number(member(json, "beats"), 0), 0.0, 1e15));
    return heard;
}

// Takes lines one by one.
class Reading
{
public:
    Reading(std::optional<int> view, std::string pictures)
        : wanted_(view)
    {
        trace_.pictures = std::move(pictures);
    }
    // False once nothing more is wanted.
    bool take(std::string_view line)
    {
        if (line.size() > Trace::kMostOfLine || line.find_first_not_of(" \t\r") == line.npos)
            return true;
        isEmpty_ = false;
        const Json json = parsed(line);
        if (!isLine(json))
            return true;
        isTrace_ = true;
        const int view = *viewOf(json);
        if (view != wanted_.value_or(trace_.view.value_or(view)))
            return true;
        const Json* date = member(json, "date");
        if (date && trace_.view)
            return false; // that display was started again, from 0
        trace_.view = view;
        if (date && date->is_number())
            trace_.date = Date{std::clamp(number(date, 0), -1e11, 1e11)};
        bytes_ += line.size();
        if (bytes_ > Trace::kMostBytes || trace_.lines.size() >= Trace::kMostLines)
            return false;
        const double least = trace_.lines.empty() ? 0 : trace_.lines.back().t;
        trace_.lines.push_back({std::clamp(number(member(json, "t"), 0), least, kLatest), std::string(line)});
        return true;
    }
    bool isEmpty() const { return isEmpty_; }
    bool isTrace() const { return isTrace_; }
    Trace finish() { return std::move(trace_); }

private:
    Trace trace_;
    const std::optional<int> wanted_;
    std::size_t bytes_ = 0;
    bool isEmpty_ = true, isTrace_ = false;
};

// Of a line that is too long no more than shows it.
void readLines(std::istream& file, Reading& reading)
{
    std::string line;
    char chunk[1 << 16];
    while (file.read(chunk, sizeof chunk), file.gcount() > 0) {
        std::string_view rest(chunk, std::size_t(file.gcount()));
        for (auto end = rest.find('\n'); end != rest.npos; end = rest.find('\n')) {
            line += rest.substr(0, end);
            if (!reading.take(line))
                return;
            line.clear();
            rest.remove_prefix(end + 1);
        }
        if (line.size() <= Trace::kMostOfLine)
            line += rest;
    }
    reading.take(line);
}

} // namespace

Result<Trace, std::string> readTrace(const std::string& path, std::optional<int> view)
{
    std::error_code error;
    std::ifstream file;
    if (std::filesystem::is_regular_file(path, error))
        file.open(path, std::ios::binary);
    if (!file.is_open())
        return "can't read " + path;
    Reading reading(view, pictureFolderOf(path));
    readLines(file, reading);
    if (!reading.isTrace() && !reading.isEmpty())
        return path + " is no trace";
    return reading.finish();
}

Trace traceOfText(std::string_view text, std::optional<int> view, std::string pictures)
{
    Reading reading(view, std::move(pictures));
    for (std::size_t from = 0; from < text.size();) {
        const auto end = std::min(text.find('\n', from), text.size());
        if (!reading.take(text.substr(from, end - from)))
            break;
        from = end + 1;
    }
    return reading.finish();
}

TraceEvent eventOf(const Trace& trace, const Trace::Line& line, TraceImages& images)
{
    const Json json = parsed(line.text);
    TraceEvent event;
    if (const Json* sound = json.is_object() ? member(json, "sound") : nullptr) {
        event.sound = soundOf(*sound);
    } else if (isLine(json)) {
        event.key = json["key"].get<std::string>();
        event.value = valueOf(json["value"], {trace.pictures, images});
    }
    return event;
}

} // namespace vitrel
