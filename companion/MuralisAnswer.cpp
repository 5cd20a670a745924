#include "companion/MuralisAnswer.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

namespace vitrel {
namespace {

// As the platform's reader has it.
constexpr std::size_t kMostLevels = 512;
// A track has some thirty; a value takes about a hundred bytes whatever it took in the answer.
constexpr std::size_t kMostValues = 100'000;

// Takes the events of a parser that doesn't recurse, and builds nothing but what stands below "Data".
class AnswerBuilder
{
public:
    MuralisAnswer answer;

    bool null() { return take({}); }
    bool boolean(bool value) { return take(value); }
    bool number_integer(std::int64_t value) { return take(value); }
    bool number_unsigned(std::uint64_t value)
    {
        if (value > std::uint64_t(std::numeric_limits<std::int64_t>::max()))
            return take(static_cast<double>(value));
        return take(static_cast<std::int64_t>(value));
    }
    bool number_float(double value, const std::string&) { return take(value); }
    bool string(std::string& value)
    {
        if (isBuilding() || (isAtTop() && topKey_ == "ChangeID"))
            return take(std::move(value));
        return take({});
    }
    bool binary(nlohmann::json::binary_t&) { return false; }

    bool start_object(std::size_t) { return open(false); }
    bool start_array(std::size_t) { return open(true); }
    bool end_object()
    {
        close();
        return true;
    }
    bool end_array()
    {
        close();
        return true;
    }
    bool key(std::string& name)
    {
        if (isAtTop())
            topKey_ = std::move(name);
        else if (isBuilding())
            open_.back().key = std::move(name);
        return true;
    }
    bool parse_error(std::size_t, const std::string&, const nlohmann::json::exception&) { return false; }

private:
    struct Container {
        bool isArray;
        Array array;
        Dictionary dictionary;
        std::string key;
    };

    // Between the members of the whole answer, if that is an object.
    bool isAtTop() const { return levels_ == 1 && isObject_; }
    bool isBuilding() const { return !open_.empty(); }

    bool open(bool isArray)
    {
        if (levels_ == kMostLevels)
            return false;
        const bool isPacket = isAtTop() && topKey_ == "Data" && !isArray;
        if (levels_ == 0)
            isObject_ = !isArray;
        if (isPacket || isBuilding())
            open_.push_back({isArray, {}, {}, {}});
        ++levels_;
        return true;
    }

    void close()
    {
        --levels_;
        if (!isBuilding()) {
            if (isAtTop())
                take({});
            return;
        }
        Container done = std::move(open_.back());
        open_.pop_back();
        if (isBuilding())
            add(done.isArray ? Value(std::move(done.array)) : Value(std::move(done.dictionary)));
        else
            answer.data = std::make_shared<const Dictionary>(std::move(done.dictionary));
    }

    bool take(Value value)
    {
        if (isBuilding()) {
            add(std::move(value));
        } else if (isAtTop() && topKey_ == "Data") {
            answer.data = nullptr;
        } else if (isAtTop() && topKey_ == "ChangeID") {
            const auto* text = value.as<std::string>();
            answer.changeID = text ? std::optional(*text) : std::nullopt;
        }
        return values_ <= kMostValues;
    }

    void add(Value value)
    {
        ++values_;
        Container& into = open_.back();
        if (into.isArray)
            into.array.push_back(std::move(value));
        else
            into.dictionary.insert_or_assign(std::move(into.key), std::move(value));
    }

    std::size_t levels_ = 0, values_ = 0;
    bool isObject_ = false;
    std::string topKey_;
    std::vector<Container> open_; // of the packet, the innermost last
};

} // namespace

std::optional<MuralisAnswer> readMuralisAnswer(ByteView json)
try {
    AnswerBuilder builder;
    if (!nlohmann::json::sax_parse(json.begin(), json.end(), &builder))
        return std::nullopt;
    return std::move(builder.answer);
} catch (const std::exception&) {
    return std::nullopt;
}

} // namespace vitrel
