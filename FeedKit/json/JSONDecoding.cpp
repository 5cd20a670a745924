#include "FeedKit/json/JSONCoding.h"
#include "FeedKit/json/LargeNumbers.h"
#include "FeedKit/models/ModelBudget.h"

#include <array>
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

// Decodes values into fields. After a function has given false, error() says why and where.
class Decoder
{
public:
    // `treeBytes` are those of the tree that it decodes from, which is there as long as the model grows.
    Decoder(const DateDecodingStrategy& dates, std::size_t inputSize, std::size_t treeBytes)
        : dates_(dates)
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
        if (value.get(view))
            return wrongType(value, "a text");
        text.assign(view);
        return take(view.size());
    }

    bool read(dom::element value, bool& flag) { return !value.get(flag) || wrongType(value, "a boolean"); }

    bool read(dom::element value, double& number) { return !value.get(number) || wrongType(value, "a number"); }

    bool read(dom::element value, std::int64_t& number)
    {
        if (!value.is_number())
            return wrongType(value, "an integer");
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
            return wrongType(value, "a date");
        const auto read = dates_(text);
        if (!read) {
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
            return wrongType(value, "an array");
        std::size_t size = 0;
        for (auto at = array.begin(); at != array.end(); ++at)
            ++size;
        if (!take(size * sizeof(T)))
            return false;
        values.reserve(size);
        for (const auto element : array) {
            if (!read(element, values.emplace_back()))
                return inside("[" + std::to_string(values.size() - 1) + "]");
        }
        return true;
    }

    template <Model T> bool read(dom::element value, T& model)
    {
        dom::object object;
        if (value.get(object))
            return wrongType(value, "an object");
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
            if (good && present[k] && !read(values[k], (model.*field.member).emplace()))
                good = inside("." + std::string(field.key));
            ++k;
        });
        return good;
    }

private:
    bool fail(std::string problem)
    {
        problem_ = std::move(problem);
        return false;
    }
    bool wrongType(dom::element value, std::string_view expected)
    {
        const auto given = isBeyondRange(value) ? "a number beyond all range" : nameOf(value.type());
        return fail("is " + std::string(given) + " where " + std::string(expected) + " belongs.");
    }
    // Also said of a document that holds what stands for it: an array with nothing but an empty one.
    static bool isBeyondRange(dom::element value)
    {
        dom::array outer, inner;
        return !value.get(outer) && outer.size() == 1 && !outer.at(0).get(inner) && inner.size() == 0;
    }
    bool take(std::size_t bytes) { return budget_.take(bytes) || fail("makes the feed too large for its document."); }
    // Called on the way out, so the steps come from the innermost on.
    bool inside(const std::string& step)
    {
        path_.insert(0, step);
        return false;
    }

    const DateDecodingStrategy& dates_;
    ModelBudget budget_{kMostModel};
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

template <Model T>
Result<T, JSONDecodingError> decode(ByteView json, const DateDecodingStrategy& dates, Padding padding)
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
    Decoder decoder(dates, json.size(), density.treeBytes());
    T model;
    if (!decoder.read(root, model))
        return JSONDecodingError{decoder.error()};
    return model;
}

template Result<JSONFeed, JSONDecodingError> decode(ByteView, const DateDecodingStrategy&, Padding);
template Result<JSONFeedItem, JSONDecodingError> decode(ByteView, const DateDecodingStrategy&, Padding);
template Result<JSONFeedAttachment, JSONDecodingError> decode(ByteView, const DateDecodingStrategy&, Padding);
template Result<JSONFeedAuthor, JSONDecodingError> decode(ByteView, const DateDecodingStrategy&, Padding);
template Result<JSONFeedHub, JSONDecodingError> decode(ByteView, const DateDecodingStrategy&, Padding);

} // namespace FeedKit
