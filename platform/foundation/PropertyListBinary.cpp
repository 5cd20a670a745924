#include "base/Text.h"
#include "platform/foundation/PropertyListLimits.h"
#include "platform/foundation/PropertyListParts.h"

#include <bit>
#include <limits>
#include <unordered_map>

namespace vitrel {
namespace {

using namespace plist;

constexpr std::size_t kTrailer = 32, kHeader = 8;

std::uint64_t bigEndian(ByteView bytes)
{
    std::uint64_t number = 0;
    for (const std::uint8_t byte : bytes)
        number = number << 8 | byte;
    return number;
}

void appendUtf8(std::string& out, std::uint32_t code)
{
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xC0 | code >> 6);
        out += static_cast<char>(0x80 | (code & 63));
    } else if (code < 0x10000) {
        out += static_cast<char>(0xE0 | code >> 12);
        out += static_cast<char>(0x80 | (code >> 6 & 63));
        out += static_cast<char>(0x80 | (code & 63));
    } else {
        out += static_cast<char>(0xF0 | code >> 18);
        out += static_cast<char>(0x80 | (code >> 12 & 63));
        out += static_cast<char>(0x80 | (code >> 6 & 63));
        out += static_cast<char>(0x80 | (code & 63));
    }
}

std::string fromUtf16(ByteView units)
{
    std::string out;
    out.reserve(units.size());
    for (std::size_t at = 0; at + 1 < units.size(); at += 2) {
        std::uint32_t code = static_cast<std::uint32_t>(bigEndian(units.subspan(at, 2)));
        if (code >= 0xD800 && code < 0xE000) {
            const std::uint32_t low
                = at + 3 < units.size() ? static_cast<std::uint32_t>(bigEndian(units.subspan(at + 2, 2))) : 0;
            if (code < 0xDC00 && low >= 0xDC00 && low < 0xE000) {
                code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
                at += 2;
            } else {
                code = 0xFFFD;
            }
        }
        appendUtf8(out, code);
    }
    return out;
}

class Reader
{
public:
    explicit Reader(ByteView data)
        : data_(data)
    { }

    std::optional<Value> read()
    {
        if (data_.size() < kHeader + kTrailer)
            return std::nullopt;
        const ByteView trailer = data_.last(kTrailer);
        offsetSize_ = trailer[6];
        referenceSize_ = trailer[7];
        count_ = bigEndian(trailer.subspan(8, 8));
        const std::uint64_t top = bigEndian(trailer.subspan(16, 8));
        const std::uint64_t table = bigEndian(trailer.subspan(24, 8));
        const std::size_t end = data_.size() - kTrailer;
        if (offsetSize_ < 1 || offsetSize_ > 8 || referenceSize_ < 1 || referenceSize_ > 8 || table < kHeader
            || table > end || count_ > (end - table) / offsetSize_)
            return std::nullopt;
        table_ = data_.subspan(table, count_ * offsetSize_);
        objects_ = data_.first(table);
        Value value;
        if (!object(top, value, 0))
            return std::nullopt;
        return value;
    }

private:
    // A container that was begun or read. `done` stays false while its members are read, so that a circle shows.
    struct Container {
        bool done = false;
        Value value;
        std::size_t memory = 0, references = 0; // of the budget, to walk it
    };

    bool object(std::uint64_t index, Value& out, std::size_t depth)
    {
        if (index >= count_)
            return false;
        const std::uint64_t offset = bigEndian(table_.subspan(index * offsetSize_, offsetSize_));
        if (offset < kHeader || offset >= objects_.size())
            return false;
        const std::uint8_t marker = objects_[offset];
        const ByteView rest = objects_.subspan(offset + 1);
        switch (marker >> 4) {
        case 0x0:
            return simple(marker, out);
        case 0x1:
            return integer(marker & 15, rest, out);
        case 0x2:
            return real(marker & 15, rest, out);
        case 0x3:
            if ((marker & 15) != 3 || rest.size() < 8)
                return false;
            out = Date::fromReferenceDate(std::bit_cast<double>(bigEndian(rest.first(8))));
            return true;
        case 0x8:
            return uid((marker & 15) + 1u, rest, out);
        case 0x5:
        case 0x6:
        case 0x7: {
            std::string text;
            if (!string(marker, rest, text))
                return false;
            out = std::move(text);
            return true;
        }
        case 0x4:
        case 0xA:
        case 0xB:
        case 0xC:
        case 0xD:
            return shared(index, marker, rest, out, depth);
        default:
            return false;
        }
    }

    static bool simple(std::uint8_t marker, Value& out)
    {
        if (marker == 0x00)
            out = Value();
        else if (marker == 0x08 || marker == 0x09)
            out = marker == 0x09;
        else
            return false;
        return true;
    }

    static bool integer(unsigned power, ByteView rest, Value& out)
    {
        const std::size_t size = std::size_t(1) << power;
        if (power > 4 || rest.size() < size)
            return false;
        if (size < 16) { // eight bytes are signed, fewer are not
            out = static_cast<std::int64_t>(bigEndian(rest.first(size)));
            return true;
        }
        const auto high = static_cast<std::int64_t>(bigEndian(rest.first(8)));
        const std::uint64_t low = bigEndian(rest.subspan(8, 8));
        using Limits = std::numeric_limits<std::int64_t>;
        if (high == 0)
            out = low > std::uint64_t(Limits::max()) ? Limits::max() : static_cast<std::int64_t>(low);
        else if (high == -1)
            out = low >> 63 ? static_cast<std::int64_t>(low) : Limits::min();
        else
            out = high > 0 ? Limits::max() : Limits::min();
        return true;
    }

    static bool real(unsigned power, ByteView rest, Value& out)
    {
        if (power == 2 && rest.size() >= 4)
            out = static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(bigEndian(rest.first(4)))));
        else if (power == 3 && rest.size() >= 8)
            out = std::bit_cast<double>(bigEndian(rest.first(8)));
        else
            return false;
        return true;
    }

    static bool uid(std::size_t size, ByteView rest, Value& out)
    {
        if (size > 8 || rest.size() < size)
            return false;
        const std::uint64_t number = bigEndian(rest.first(size));
        constexpr auto most = std::numeric_limits<std::int64_t>::max();
        out = number > std::uint64_t(most) ? most : static_cast<std::int64_t>(number);
        return true;
    }

    // The count in a marker's low half, or the integer object that follows. Takes it off `rest`.
    static std::optional<std::size_t> length(std::uint8_t marker, ByteView& rest)
    {
        if ((marker & 15) != 15)
            return marker & 15;
        if (rest.empty() || rest[0] >> 4 != 1 || (rest[0] & 15) > 3)
            return std::nullopt;
        const std::size_t size = std::size_t(1) << (rest[0] & 15);
        if (rest.size() < 1 + size)
            return std::nullopt;
        const std::uint64_t count = bigEndian(rest.subspan(1, size));
        rest = rest.subspan(1 + size);
        // More than there are bytes can't be true of any object.
        if (count > rest.size())
            return std::nullopt;
        return static_cast<std::size_t>(count);
    }

    bool string(std::uint8_t marker, ByteView rest, std::string& out)
    {
        const auto count = length(marker, rest);
        if (!count)
            return false;
        const std::size_t size = marker >> 4 == 6 ? *count * 2 : *count;
        // UTF-16 and bytes in need of repair grow to at most three bytes for each that there was.
        if (size > rest.size() || size > kMaximumText || !budget_.take(size * 3))
            return false;
        out = marker >> 4 == 6 ? fromUtf16(rest.first(size)) : repairedUtf8(textOf(rest.first(size)));
        return true;
    }

    bool shared(std::uint64_t index, std::uint8_t marker, ByteView rest, Value& out, std::size_t depth)
    {
        const auto known = containers_.find(index);
        if (known != containers_.end()) {
            out = known->second.value;
            return known->second.done && budget_.take(known->second.memory)
                && budget_.takeReferences(known->second.references);
        }
        if (depth >= kMaximumDepth || !budget_.take(kContainerCost))
            return false;
        containers_[index];
        // What data takes isn't taken again where it is met again: it is the same bytes.
        const std::size_t memory = budget_.memory() + dataBytes_, references = budget_.references();
        const auto count = length(marker, rest);
        if (!count)
            return false;
        bool good = false;
        if (marker >> 4 == 0x4)
            good = data(*count, rest, out);
        else if (marker >> 4 == 0xD)
            good = dictionary(*count, rest, out, depth);
        else
            good = array(*count, rest, out, depth);
        if (good)
            containers_[index] = {true, out, memory - budget_.memory() - dataBytes_, references - budget_.references()};
        return good;
    }

    bool data(std::size_t count, ByteView rest, Value& out)
    {
        if (count > rest.size() || !budget_.take(count))
            return false;
        dataBytes_ += count;
        out = Value(Bytes(rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(count)));
        return true;
    }

    std::uint64_t reference(ByteView references, std::size_t at) const
    {
        return bigEndian(references.subspan(at * referenceSize_, referenceSize_));
    }

    bool array(std::size_t count, ByteView rest, Value& out, std::size_t depth)
    {
        if (count > rest.size() / referenceSize_ || !budget_.takeReferences(count) || !budget_.take(count * kValueCost))
            return false;
        Array members(count);
        for (std::size_t at = 0; at < count; ++at) {
            if (!object(reference(rest, at), members[at], depth + 1))
                return false;
        }
        out = Value(std::move(members));
        return true;
    }

    bool dictionary(std::size_t count, ByteView rest, Value& out, std::size_t depth)
    {
        if (count > rest.size() / referenceSize_ / 2 || !budget_.takeReferences(count)
            || !budget_.take(count * kEntryCost))
            return false;
        Dictionary members;
        for (std::size_t at = 0; at < count; ++at) {
            Value key, value;
            if (!object(reference(rest, at), key, depth + 1) || !key.as<std::string>()
                || !object(reference(rest, count + at), value, depth + 1))
                return false;
            members.insert_or_assign(*key.as<std::string>(), std::move(value));
        }
        out = Value(std::move(members));
        return true;
    }

    ByteView data_, table_, objects_;
    std::size_t offsetSize_ = 0, referenceSize_ = 0;
    std::uint64_t count_ = 0;
    Budget budget_;
    std::size_t dataBytes_ = 0; // taken of it by data
    std::unordered_map<std::uint64_t, Container> containers_;
};

} // namespace

std::optional<Value> plist::readBinary(ByteView data)
{
    return Reader(data).read();
}

} // namespace vitrel
