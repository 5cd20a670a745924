#include "base/Text.h"
#include "platform/foundation/PropertyList.h"
#include "platform/foundation/PropertyListLimits.h"
#include "platform/foundation/PropertyListParts.h"

#include <bit>
#include <unordered_map>

namespace vitrel {
namespace {

using namespace plist;

void appendNumber(Bytes& out, std::uint64_t number, std::size_t size)
{
    for (std::size_t k = size; k-- > 0;)
        out.push_back(static_cast<std::uint8_t>(number >> (8 * k)));
}

std::size_t sizeFor(std::uint64_t number)
{
    return number < 0x100 ? 1 : number < 0x10000 ? 2 : number < 0x100000000 ? 4 : 8;
}

void appendInteger(Bytes& out, std::uint64_t number)
{
    const std::size_t size = sizeFor(number);
    out.push_back(static_cast<std::uint8_t>(0x10 | std::countr_zero(size)));
    appendNumber(out, number, size);
}

void appendMarker(Bytes& out, std::uint8_t kind, std::size_t count)
{
    out.push_back(static_cast<std::uint8_t>(kind << 4 | (count < 15 ? count : 15)));
    if (count >= 15)
        appendInteger(out, count);
}

Bytes stringObject(const std::string& raw)
{
    Bytes out;
    bool ascii = true;
    for (const char c : raw)
        ascii = ascii && static_cast<unsigned char>(c) < 0x80;
    if (ascii) {
        appendMarker(out, 0x5, raw.size());
        out.insert(out.end(), raw.begin(), raw.end());
        return out;
    }
    const std::string text = repairedUtf8(raw);
    Bytes units;
    for (std::size_t at = 0; at < text.size();) {
        const auto lead = static_cast<unsigned char>(text[at]);
        const std::size_t size = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        std::uint32_t code = size == 1 ? lead : lead & (0x7Fu >> size);
        for (std::size_t k = 1; k < size; ++k)
            code = code << 6 | (static_cast<unsigned char>(text[at + k]) & 63u);
        at += size;
        if (code >= 0x10000) {
            appendNumber(units, 0xD800 + ((code - 0x10000) >> 10), 2);
            appendNumber(units, 0xDC00 + ((code - 0x10000) & 0x3FF), 2);
        } else {
            appendNumber(units, code, 2);
        }
    }
    appendMarker(out, 0x6, units.size() / 2);
    out.insert(out.end(), units.begin(), units.end());
    return out;
}

class Writer
{
public:
    Bytes write(const Value& value)
    {
        if (!add(value, 0))
            return {};
        const std::size_t referenceSize = sizeFor(objects_.size());
        Bytes out;
        const std::string_view header = "bplist00";
        out.insert(out.end(), header.begin(), header.end());
        std::vector<std::uint64_t> offsets;
        for (const Object& object : objects_) {
            offsets.push_back(out.size());
            out.insert(out.end(), object.bytes.begin(), object.bytes.end());
            if (object.data)
                out.insert(out.end(), object.data->begin(), object.data->end());
            for (const std::size_t index : object.references)
                appendNumber(out, index, referenceSize);
        }
        const std::uint64_t table = out.size();
        const std::size_t offsetSize = sizeFor(table);
        for (const std::uint64_t offset : offsets)
            appendNumber(out, offset, offsetSize);
        appendNumber(out, 0, 6);
        out.push_back(static_cast<std::uint8_t>(offsetSize));
        out.push_back(static_cast<std::uint8_t>(referenceSize));
        appendNumber(out, offsets.size(), 8);
        appendNumber(out, 0, 8);
        appendNumber(out, table, 8);
        return out;
    }

private:
    struct Object {
        Bytes bytes;
        const Bytes* data = nullptr;
        std::vector<std::size_t> references;
    };

    // The object's number; absent if it lies too deep. Equal scalars are one object, and so are shared containers.
    std::optional<std::size_t> add(const Value& value, std::size_t depth)
    {
        if (const auto* array = value.array())
            return addContainer(array, depth, [&](Object& object) { return fillArray(object, *array, depth); });
        if (const auto* dictionary = value.dictionary())
            return addContainer(
                dictionary, depth, [&](Object& object) { return fillDictionary(object, *dictionary, depth); });
        if (const auto* bytes = value.bytes())
            return addContainer(bytes, depth, [&](Object& object) {
                appendMarker(object.bytes, 0x4, bytes->size());
                object.data = bytes;
                return true;
            });
        return addScalar(scalar(value));
    }

    std::optional<std::size_t> addScalar(Bytes bytes)
    {
        const auto [place, isNew] = scalars_.try_emplace(std::string(textOf(bytes)), objects_.size());
        if (isNew)
            objects_.push_back({std::move(bytes), nullptr, {}});
        return place->second;
    }

    template <class Fill> std::optional<std::size_t> addContainer(const void* identity, std::size_t depth, Fill fill)
    {
        const auto known = containers_.find(identity);
        if (known != containers_.end())
            return known->second;
        if (depth >= kMaximumDepth)
            return std::nullopt;
        const std::size_t index = objects_.size();
        objects_.emplace_back();
        Object object;
        if (!fill(object))
            return std::nullopt;
        objects_[index] = std::move(object);
        containers_[identity] = index;
        return index;
    }

    bool fillArray(Object& object, const Array& array, std::size_t depth)
    {
        for (const Value& member : array) {
            if (!isPropertyListValue(member))
                continue;
            const auto index = add(member, depth + 1);
            if (!index)
                return false;
            object.references.push_back(*index);
        }
        appendMarker(object.bytes, 0xA, object.references.size());
        return true;
    }

    bool fillDictionary(Object& object, const Dictionary& dictionary, std::size_t depth)
    {
        std::vector<std::size_t> values;
        for (const auto& [key, member] : dictionary) {
            if (!isPropertyListValue(member))
                continue;
            const auto keyIndex = addScalar(stringObject(key)), index = add(member, depth + 1);
            if (!index)
                return false;
            object.references.push_back(*keyIndex);
            values.push_back(*index);
        }
        appendMarker(object.bytes, 0xD, values.size());
        object.references.insert(object.references.end(), values.begin(), values.end());
        return true;
    }

    static Bytes scalar(const Value& value)
    {
        Bytes out;
        if (const auto* flag = value.as<bool>()) {
            out.push_back(*flag ? 0x09 : 0x08);
        } else if (const auto* integer = value.as<std::int64_t>()) {
            appendInteger(out, static_cast<std::uint64_t>(*integer));
        } else if (const auto* number = value.as<double>()) {
            out.push_back(0x23);
            appendNumber(out, std::bit_cast<std::uint64_t>(*number), 8);
        } else if (const auto* date = value.as<Date>()) {
            out.push_back(0x33);
            appendNumber(out, std::bit_cast<std::uint64_t>(date->timeIntervalSinceReferenceDate()), 8);
        } else if (const auto* text = value.as<std::string>()) {
            out = stringObject(*text);
        } else {
            out.push_back(0x00);
        }
        return out;
    }

    std::vector<Object> objects_;
    std::unordered_map<std::string, std::size_t> scalars_;
    std::unordered_map<const void*, std::size_t> containers_;
};

} // namespace

Bytes binaryPropertyList(const Value& value)
{
    return Writer().write(value);
}

} // namespace vitrel
