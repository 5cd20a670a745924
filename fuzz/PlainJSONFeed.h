#pragma once

#include "FeedKit/dates/DateFormatters.h"
#include "FeedKit/models/JSONFeed.h"

#include <cmath>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>

namespace FeedKit {

// The decoding of JSON Feed once more, on another reader of JSON: the second opinion of the fuzzing.
class PlainJSONFeed
{
public:
    using Json = nlohmann::json;

    // Absent if the document isn't JSON or a known key has a wrong type. `dates` gives std::optional<Date>.
    template <class Dates> static std::optional<JSONFeed> decode(std::string_view text, const Dates& dates)
    {
        // A NUL byte is never JSON, but ends the text for this reader.
        const bool whole = text.find('\0') == text.npos;
        const auto json = Json::parse(text, nullptr, false);
        JSONFeed feed;
        if (!whole || json.is_discarded() || !read(json, feed, dates))
            return std::nullopt;
        return feed;
    }

    // Whether readers may differ over a document: numbers beyond 64 bits, nesting of about a thousand.
    static bool isBorderline(std::string_view text)
    {
        Scan scan;
        Json::sax_parse(text, &scan);
        return scan.borderline;
    }

private:
    struct Scan : nlohmann::json_sax<Json> {
        bool borderline = false;
        int depth = 0;
        bool enter()
        {
            borderline |= ++depth > 1000;
            return true;
        }
        bool leave() { return --depth, true; }
        bool null() override { return true; }
        bool boolean(bool) override { return true; }
        bool number_integer(std::int64_t) override { return true; }
        bool number_unsigned(std::uint64_t) override { return true; }
        bool number_float(double, const std::string& digits) override
        {
            borderline |= digits.find_first_of(".eE") == digits.npos;
            return true;
        }
        bool string(std::string&) override { return true; }
        bool binary(Json::binary_t&) override { return true; }
        bool start_object(std::size_t) override { return enter(); }
        bool key(std::string&) override { return true; }
        bool end_object() override { return leave(); }
        bool start_array(std::size_t) override { return enter(); }
        bool end_array() override { return leave(); }
        bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception& error) override
        {
            constexpr int kNumberOutOfRange = 406;
            borderline |= error.id == kNumberOutOfRange;
            return false;
        }
    };

    template <class Dates> static bool read(const Json& json, std::string& text, const Dates&)
    {
        if (json.is_string())
            text = json.get<std::string>();
        return json.is_string();
    }
    template <class Dates> static bool read(const Json& json, bool& flag, const Dates&)
    {
        if (json.is_boolean())
            flag = json.get<bool>();
        return json.is_boolean();
    }
    template <class Dates> static bool read(const Json& json, double& number, const Dates&)
    {
        if (json.is_number())
            number = json.get<double>();
        return json.is_number();
    }
    template <class Dates> static bool read(const Json& json, std::int64_t& number, const Dates&)
    {
        if (!json.is_number() || (json.is_number_unsigned() && json.get<std::uint64_t>() > INT64_MAX))
            return false;
        if (json.is_number_float()) {
            const double real = json.get<double>();
            if (real != std::trunc(real) || real < -0x1p63 || real >= 0x1p63)
                return false;
        }
        number = json.get<std::int64_t>();
        return true;
    }
    template <class Dates> static bool read(const Json& json, Date& date, const Dates& dates)
    {
        const auto read = json.is_string() ? dates(json.get<std::string>()) : std::nullopt;
        date = read.value_or(Date{});
        return read.has_value();
    }
    template <class T, class Dates> static bool read(const Json& json, std::vector<T>& values, const Dates& dates)
    {
        bool good = json.is_array();
        for (std::size_t k = 0; good && k < json.size(); ++k)
            good = read(json[k], values.emplace_back(), dates);
        return good;
    }
    template <Model T, class Dates> static bool read(const Json& json, T& model, const Dates& dates)
    {
        bool good = json.is_object();
        forEachField<T>([&](const auto& field) {
            const auto found = good ? json.find(field.key) : json.end();
            if (good && found != json.end() && !found->is_null())
                good = read(*found, (model.*field.member).emplace(), dates);
        });
        return good;
    }
};

} // namespace FeedKit
