#include "FeedKit/conversions/Conversions.h"
#include "FeedKit/dates/LenientDate.h"
#include "FeedKit/json/JSONCoding.h"
#include "FeedKit/json/JSONMore.h"
#include "FeedKit/json/LargeNumbers.h"
#include "FeedKit/models/ModelBudget.h"

#include <array>
#include <charconv>
#include <cmath>
#include <simdjson.h>

namespace FeedKit {

namespace {

namespace dom = simdjson::dom;

// Whole doubles below these are all integers of 64 bits.
constexpr double kBelowIntegers = -9223372036854775808.0;
constexpr double kAboveIntegers = 9223372036854775808.0;

// The document and its texts lie beside the model.
constexpr std::size_t kMostModel = 112u << 20;

// In messages; a text from a hostile document may be as long as the document.
constexpr std::size_t kMaxQuoted = 60;

std::string_view nameOf(dom::element_type type)
{
    switch (type) {
    case dom::element_type::ARRAY:
        return "an array";
    case dom::element_type::OBJECT:
        return "an object";
    case dom::element_type::INT64:
    case dom::element_type::UINT64:
    case dom::element_type::DOUBLE:
        return "a number";
    case dom::element_type::STRING:
        return "a text";
    case dom::element_type::BOOL:
        return "a boolean";
    case dom::element_type::NULL_VALUE:
        return "null";
    }
    return "nothing";
}

static_assert(kPadding >= simdjson::SIMDJSON_PADDING);

// What the object of a model may hold: its keys, in the order of the model's list.
template <Model T> constexpr auto keysOf()
{
    return std::apply([](const auto&... field) { return std::array{field.key...}; }, T::fields());
}

// Decodes values into fields. After a function has given false, error() says why and where. With forgivings it is
// lenient: what doesn't fit is tried in another way, then dropped, and only a feed that grows too large is an error.
class Decoder
{
public:
    // `treeBytes` are those of the tree that it decodes from, which is there as long as the model grows.
    Decoder(const DateDecodingStrategy& dates, std::size_t inputSize, std::size_t treeBytes, Extent extent,
        Forgivings* forgivings)
        : dates_(dates)
        , extent_(extent)
        , forgivings_(forgivings)
        , forgivesTypes_(forgivings && forgivings->may(Forgivable::jsonTypes))
    {
        budget_.allowForInput(inputSize);
        budget_.take(treeBytes);
    }

    std::string error() const
    {
        return path_.empty() ? "The document " + problem_ : "\"" + path_.substr(1) + "\" " + problem_;
    }

    bool read(dom::element value, std::string& text)
    {
        std::string_view view;
        if (!value.get(view)) {
            text.assign(view);
            return take(view.size());
        }
        if (forgivesTypes_ && (value.is_number() || value.is_bool())) {
            text = simdjson::minify(value);
            return forgiven();
        }
        return readFirst(value, text) || wrongType(value, "a text");
    }

    bool read(dom::element value, bool& flag)
    {
        if (!value.get(flag))
            return true;
        if (const auto said = wordsOf(value); said && toBool(*said)) {
            flag = *toBool(*said);
            return forgiven();
        }
        return readFirst(value, flag) || wrongType(value, "a boolean");
    }

    bool read(dom::element value, double& number)
    {
        if (!value.get(number))
            return true;
        if (const auto said = wordsOf(value); said && toDouble(*said)) {
            number = *toDouble(*said);
            return forgiven();
        }
        return readFirst(value, number) || wrongType(value, "a number");
    }

    bool read(dom::element value, std::int64_t& number)
    {
        if (!value.is_number()) {
            if (const auto said = wordsOf(value); said && toInteger(*said)) {
                number = *toInteger(*said);
                return forgiven();
            }
            return readFirst(value, number) || wrongType(value, "an integer");
        }
        if (!value.get(number))
            return true;
        double real = 0;
        if (value.is_uint64() || value.get(real) || real != std::floor(real) || real < kBelowIntegers
            || real >= kAboveIntegers)
            return fail("is no integer of 64 bits");
        number = static_cast<std::int64_t>(real);
        return true;
    }

    bool read(dom::element value, Date& date)
    {
        std::string_view text;
        if (value.get(text))
            return readFirst(value, date) || wrongType(value, "a date");
        const auto read = dates_(text);
        if (!read) {
            if (readLeniently(text, date))
                return true;
            return fail("is \"" + std::string(text.substr(0, kMaxQuoted))
                + (text.size() > kMaxQuoted ? "...\": " : "\": ") + read.error().message);
        }
        date = *read;
        return true;
    }

    template <class T> bool read(dom::element value, std::vector<T>& values)
    {
        dom::array array;
        if (value.get(array))
            return (forgivesTypes_ && read(value, values.emplace_back()) && forgiven()) || wrongType(value, "an array");
        std::size_t size = 0;
        for (auto at = array.begin(); at != array.end(); ++at)
            ++size;
        if (!take(size * sizeof(T)))
            return false;
        values.reserve(size);
        std::size_t index = 0;
        for (const auto element : array) {
            const Step step(steps_, "", index);
            if (!read(element, values.emplace_back())) {
                if (!mayDrop())
                    return inside("[" + std::to_string(index) + "]");
                values.pop_back();
            }
            ++index;
        }
        return true;
    }

    template <Model T> bool read(dom::element value, T& model)
    {
        dom::object object;
        if (value.get(object))
            return readFirst(value, model) || readName(value, model) || wrongType(value, "an object");
        constexpr auto keys = keysOf<T>();
        // First all values, then the decoding: of a key's values only the last is looked at.
        std::array<dom::element, keys.size()> values;
        std::array<bool, keys.size()> present{};
        for (const auto member : object) {
            for (std::size_t k = 0; k < keys.size(); ++k) {
                if (member.key == keys[k]) {
                    values[k] = member.value;
                    present[k] = !member.value.is_null();
                    break;
                }
            }
        }
        std::size_t k = 0;
        bool good = true;
        forEachField<T>([&](const auto& field) {
            if (good && present[k]) {
                const Step step(steps_, field.key, 0);
                if (!read(values[k], (model.*field.member).emplace())) {
                    (model.*field.member).reset();
                    good = mayDrop() || inside("." + std::string(field.key));
                }
            }
            ++k;
        });
        if constexpr (requires { model.author; }) {
            if (good && !model.author && forgivings_ && forgivings_->may(Forgivable::jsonVersion))
                good = readAuthors(object, model.author);
        }
        if constexpr (requires { model.more; }) {
            std::size_t bytes = 0;
            if (good && extent_ == Extent::more) {
                model.more = moreOf(object, bytes);
                good = take(bytes);
            }
        }
        return good;
    }

private:
    // Where the decoding stands: keys, and within arrays, whose key is empty, places.
    struct Place {
        std::string_view key;
        std::size_t index;
    };
    class Step
    {
    public:
        Step(std::vector<Place>& steps, std::string_view key, std::size_t index)
            : steps_(steps)
        {
            steps_.push_back({key, index});
        }
        ~Step() { steps_.pop_back(); }
        Step(const Step&) = delete;

    private:
        std::vector<Place>& steps_;
    };

    std::string place() const
    {
        std::string text;
        for (const auto& step : steps_) {
            if (step.key.empty())
                text += "[" + std::to_string(step.index) + "]";
            else
                text.append(text.empty() ? "" : ".").append(step.key);
        }
        return text;
    }
    bool forgiven(Forgivable what = Forgivable::jsonTypes)
    {
        forgivings_->add(what, [&] { return place(); });
        return true;
    }
    bool mayDrop() { return forgivesTypes_ && !isTooLarge_ && !steps_.empty() && forgiven(); }

    // The text where another type belongs, if that is forgiven.
    std::optional<std::string_view> wordsOf(dom::element value) const
    {
        std::string_view text;
        if (!forgivesTypes_ || value.get(text))
            return std::nullopt;
        return trimmed(text);
    }
    template <class T> bool readFirst(dom::element value, T& to)
    {
        dom::array array;
        if (!forgivesTypes_ || value.get(array) || array.begin() == array.end())
            return false;
        const auto first = *array.begin();
        return !first.is_array() && read(first, to) && forgiven();
    }
    template <class T> bool readName(dom::element value, T& model)
    {
        if constexpr (std::is_same_v<T, JSONFeedAuthor>) {
            std::string_view name;
            if (forgivesTypes_ && !value.get(name)) {
                model.name.emplace(name);
                return take(name.size()) && forgiven();
            }
        }
        return false;
    }
    bool readLeniently(std::string_view text, Date& date)
    {
        if (!forgivings_ || !forgivings_->may(Forgivable::dates))
            return false;
        bool isUnusual = false;
        const auto read = toDateLeniently(text, isUnusual);
        if (read)
            date = *read;
        return read && forgiven(Forgivable::dates);
    }
    bool readAuthors(dom::object object, std::optional<JSONFeedAuthor>& author)
    {
        dom::array authors;
        if (object["authors"].get(authors) || authors.begin() == authors.end())
            return true;
        const Step step(steps_, "authors", 0);
        if (read(*authors.begin(), author.emplace()))
            return forgiven(Forgivable::jsonVersion);
        author.reset();
        path_.clear();
        // Without this leniency the key would be unknown and could hold anything.
        return !isTooLarge_;
    }

    bool fail(std::string problem)
    {
        problem_ = std::move(problem);
        return false;
    }
    bool wrongType(dom::element value, std::string_view expected)
    {
        if (isTooLarge_)
            return false;
        const auto given = isBeyondRange(value) ? "a number beyond all range" : nameOf(value.type());
        return fail("is " + std::string(given) + " where " + std::string(expected) + " belongs.");
    }
    // Also said of a document that holds what stands for it: an array with nothing but an empty one.
    static bool isBeyondRange(dom::element value)
    {
        dom::array outer, inner;
        return !value.get(outer) && outer.size() == 1 && !outer.at(0).get(inner) && inner.size() == 0;
    }
    bool take(std::size_t bytes)
    {
        isTooLarge_ = isTooLarge_ || !budget_.take(bytes);
        return !isTooLarge_ || fail("makes the feed too large for its document.");
    }
    // Called on the way out, so the steps come from the innermost on.
    bool inside(const std::string& step)
    {
        path_.insert(0, step);
        return false;
    }

    const DateDecodingStrategy& dates_;
    const Extent extent_;
    Forgivings* forgivings_;
    bool forgivesTypes_;
    ModelBudget budget_{kMostModel};
    bool isTooLarge_ = false;
    std::vector<Place> steps_;
    std::string problem_;
    std::string path_;
};

std::string_view withoutByteOrderMark(ByteView json)
{
    auto text = textOf(json);
    if (text.starts_with("\xEF\xBB\xBF"))
        text.remove_prefix(3);
    return text;
}

// The tree that the reader makes takes up to two words for each value, "0," is two bytes, and on the way to it a place
// of four bytes for each mark. Only a large document can take much by that, so only there is it worth counting.
constexpr std::size_t kCountedFrom = 2u << 20;
constexpr std::size_t kBytesPerValue = 16;
constexpr std::size_t kBytesPerMark = 4;

struct Density {
    std::size_t values = 0;
    std::size_t marks = 0; // brackets, commas, colons, and the beginnings of values and keys

    std::size_t treeBytes() const { return values * kBytesPerValue; }
};

Density densityOf(std::string_view text)
{
    Density density;
    if (text.size() < kCountedFrom)
        return density;
    std::size_t ends = 0;
    for (const char c : text) {
        density.values += (c == ',') + (c == ':') + (c == '[') + (c == '{');
        ends += (c == ']') + (c == '}');
    }
    density.marks = 2 * density.values + ends;
    return density;
}

bool isTooDense(const Density& density, std::size_t inputSize)
{
    ModelBudget budget;
    budget.allowForInput(inputSize / 2);
    return !budget.take(density.treeBytes() + density.marks * kBytesPerMark);
}

simdjson::simdjson_result<dom::element> parse(dom::document& document, std::string_view text, Padding padding)
{
    dom::parser parser; // what it needs beside the tree goes with it
    return parser.parse_into_document(document, text.data(), text.size(), padding == Padding::none);
}

} // namespace

DateDecodingStrategy formatted(std::shared_ptr<const DateFormatter> formatter)
{
    return [formatter = std::move(formatter)](std::string_view text) -> Result<Date, DateDecodingError> {
        if (const auto date = formatter->date(text))
            return *date;
        return DateDecodingError{"the date isn't in a format that this feed may use."};
    };
}

namespace {

template <Model T>
Result<T, JSONDecodingError> decodeWith(
    ByteView json, const DateDecodingStrategy& dates, Padding padding, Extent extent, Forgivings* forgivings)
{
    const auto text = withoutByteOrderMark(json);
    if (text.starts_with("\xEF\xBB\xBF")) // a reader may skip one of its own accord
        return JSONDecodingError{"The document isn't valid JSON: it begins with two byte order marks."};
    const auto density = densityOf(text);
    if (isTooDense(density, text.size()))
        return JSONDecodingError{"The document holds more values than a feed of its size."};
    dom::document document;
    dom::element root;
    auto error = parse(document, text, padding).get(root);
    // The reader takes no number beyond its range, whatever the key.
    if (error) {
        if (auto mended = withinRange(text); mended != text) {
            const auto size = mended.size();
            mended.append(kPadding, ' ');
            error = parse(document, std::string_view(mended).substr(0, size), Padding::there).get(root);
        }
    }
    if (error)
        return JSONDecodingError{std::string("The document isn't valid JSON: ") + simdjson::error_message(error)};
    Decoder decoder(dates, json.size(), density.treeBytes(), extent, forgivings);
    T model;
    if (!decoder.read(root, model))
        return JSONDecodingError{decoder.error()};
    return model;
}

} // namespace

template <Model T>
Result<T, JSONDecodingError> decode(ByteView json, const DateDecodingStrategy& dates, Padding padding)
{
    return decodeWith<T>(json, dates, padding, Extent::model, nullptr);
}

Result<JSONFeed, JSONDecodingError> decodeLeniently(
    ByteView json, Forgivings& forgivings, Extent extent, Padding padding)
{
    return decodeWith<JSONFeed>(
        json, formatted(std::make_shared<RFC3339DateFormatter>()), padding, extent, &forgivings);
}

template Result<JSONFeed, JSONDecodingError> decode(ByteView, const DateDecodingStrategy&, Padding);
template Result<JSONFeedItem, JSONDecodingError> decode(ByteView, const DateDecodingStrategy&, Padding);
template Result<JSONFeedAttachment, JSONDecodingError> decode(ByteView, const DateDecodingStrategy&, Padding);
template Result<JSONFeedAuthor, JSONDecodingError> decode(ByteView, const DateDecodingStrategy&, Padding);
template Result<JSONFeedHub, JSONDecodingError> decode(ByteView, const DateDecodingStrategy&, Padding);

} // namespace FeedKit
