#include "platform/quartzcomposer/graph/PortValue.h"

#include "platform/quartzcomposer/scene/Filters.h"

#include "base/Text.h"
#include "platform/appkit/NSImage.h"
#include "platform/quartzcomposer/file/TextValues.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>

namespace vitrel::qc {

namespace {

constexpr int kMaxDepth = 64;
constexpr std::size_t kMaxMembers = 1'000'000;
// Of all compositions of the process together: a text or a list may be made anew by each of a hundred thousand patches.
constexpr std::size_t kMaxLivingText = 64u << 20;
constexpr std::size_t kMaxLivingMembers = 1'000'000;
std::atomic<std::size_t> livingText{0}, livingMembers{0};

template <class T> std::optional<PortValue> some(T value)
{
    return PortValue(std::move(value));
}

std::uint32_t indexOf(double number)
{
    if (!(number > 0)) // NaN too
        return 0;
    return number >= 4294967295.0 ? 4294967295u : static_cast<std::uint32_t>(number);
}

std::optional<double> numberOf(const PortValue& value)
{
    if (const auto* flag = value.as<bool>())
        return *flag ? 1.0 : 0.0;
    if (const auto* index = value.as<std::uint32_t>())
        return *index;
    if (const auto* number = value.as<double>())
        return *number;
    if (const auto* text = value.as<std::string>())
        return leadingNumber(*text).value_or(0.0);
    if (const auto* color = value.as<NSColor>())
        return 0.2126 * color->red + 0.7152 * color->green + 0.0722 * color->blue;
    return std::nullopt;
}

std::optional<PortValue> toBoolean(const PortValue& value)
{
    if (const auto* text = value.as<std::string>())
        return some(!text->empty());
    if (const auto* image = value.as<ImageRef>())
        return some(*image != nullptr);
    if (const auto* structure = value.as<StructureRef>())
        return some(*structure != nullptr);
    if (value.as<NSColor>())
        return std::nullopt;
    if (const auto number = numberOf(value))
        return some(*number != 0);
    return std::nullopt;
}

std::optional<PortValue> toString(const PortValue& value)
{
    if (value.as<NSColor>())
        return std::nullopt;
    if (const auto number = numberOf(value))
        return some(shortestDecimal(*number));
    return std::nullopt;
}

std::optional<PortValue> toColor(const PortValue& value)
{
    if (value.as<std::string>())
        return std::nullopt;
    if (const auto number = numberOf(value))
        return some(NSColor{*number, *number, *number, 1});
    return std::nullopt;
}

std::optional<PortValue> toImage(const PortValue& value)
{
    const auto* color = value.as<NSColor>();
    if (!color)
        return std::nullopt;
    Extent everywhere;
    everywhere.infinite = true;
    return some(ImageRef(std::make_shared<FilteredImage>(everywhere, *filterNamed("CIConstantColorGenerator"),
        std::vector<ImageRef>{}, std::vector<double>{}, std::vector<NSColor>{*color})));
}

bool holds(const PortValue& value, PortType type)
{
    switch (type) {
    case PortType::Virtual:
        return true;
    case PortType::Boolean:
        return value.as<bool>();
    case PortType::Index:
        return value.as<std::uint32_t>();
    case PortType::Number:
        return value.as<double>();
    case PortType::String:
        return value.as<std::string>();
    case PortType::Color:
        return value.as<NSColor>();
    case PortType::Image:
        return value.as<ImageRef>();
    case PortType::Structure:
        return value.as<StructureRef>();
    case PortType::Mesh:
        return value.as<MeshRef>();
    case PortType::Interaction:
        return false;
    }
    return false;
}

} // namespace

SharedText::SharedText(std::string text)
{
    const std::size_t size = text.size();
    if (size == 0 || livingText + size > kMaxLivingText)
        return;
    livingText += size;
    text_ = std::shared_ptr<const std::string>(new std::string(std::move(text)), [size](const std::string* held) {
        livingText -= size;
        delete held;
    });
}

const std::string& SharedText::text() const
{
    static const std::string empty;
    return text_ ? *text_ : empty;
}

Structure::Structure() = default;
Structure::Structure(const Structure& other)
    : members(other.members)
    , keyed(other.keyed)
{ }
Structure::~Structure()
{
    livingMembers -= counted_;
}

bool Structure::fits() const
{
    if (levels_ == 0) {
        std::size_t weight = 1, levels = 0;
        for (const Member& member : members) {
            const auto* inner = member.value.as<StructureRef>();
            const bool nests = inner && *inner;
            if (nests && !(*inner)->fits())
                weight = kMaxMembers + 1;
            weight += nests ? (*inner)->weight_ : 1;
            levels = std::max<std::size_t>(levels, nests ? (*inner)->levels_ : 0);
        }
        weight_ = static_cast<std::uint32_t>(std::min(weight, kMaxMembers + 1));
        levels_ = static_cast<std::uint32_t>(levels + 1);
        if (livingMembers + members.size() > kMaxLivingMembers) {
            weight_ = kMaxMembers + 1;
        } else {
            counted_ = members.size();
            livingMembers += counted_;
        }
    }
    return weight_ <= kMaxMembers && levels_ <= kMaxDepth;
}

const PortValue* Structure::atIndex(std::size_t index) const
{
    return index < members.size() ? &members[index].value : nullptr;
}

const PortValue* Structure::atKey(const std::string& key) const
{
    if (!keyed)
        return nullptr;
    for (const Member& member : members) {
        if (member.key == key)
            return &member.value;
    }
    return nullptr;
}

namespace {
// A single value counts as one member.
std::optional<PortValue> toStructure(const PortValue& value)
{
    const auto* image = value.as<ImageRef>();
    if (value.isNothing() || value.as<MeshRef>() || (image && !*image))
        return std::nullopt;
    auto structure = std::make_shared<Structure>();
    structure->members.push_back({{}, value});
    return PortValue(StructureRef(structure));
}
} // namespace

bool sameValue(const PortValue& a, const PortValue& b)
{
    if (const auto* x = a.as<double>()) {
        const auto* y = b.as<double>();
        return y && (*x == *y || (std::isnan(*x) && std::isnan(*y)));
    }
    return static_cast<const PortValue::Base&>(a) == static_cast<const PortValue::Base&>(b);
}

PortValue zeroOf(PortType type)
{
    switch (type) {
    case PortType::Boolean:
        return false;
    case PortType::Index:
        return std::uint32_t(0);
    case PortType::Number:
        return 0.0;
    case PortType::String:
        return std::string();
    case PortType::Color:
        return NSColor{};
    case PortType::Image:
        return ImageRef();
    case PortType::Structure:
        return StructureRef();
    case PortType::Mesh:
        return MeshRef();
    case PortType::Virtual:
    case PortType::Interaction:
        break;
    }
    return {};
}

std::optional<PortValue> convertedIfPossible(const PortValue& value, PortType type)
{
    if (holds(value, type))
        return value;
    switch (type) {
    case PortType::Boolean:
        return toBoolean(value);
    case PortType::Index:
        if (const auto number = value.as<NSColor>() ? std::nullopt : numberOf(value))
            return some(indexOf(*number));
        return std::nullopt;
    case PortType::Number:
        if (const auto number = numberOf(value))
            return some(*number);
        return std::nullopt;
    case PortType::String:
        return toString(value);
    case PortType::Color:
        return toColor(value);
    case PortType::Image:
        return toImage(value);
    case PortType::Structure:
        return toStructure(value);
    case PortType::Mesh:
    case PortType::Interaction:
    case PortType::Virtual:
        break;
    }
    return std::nullopt;
}

PortValue converted(const PortValue& value, PortType type)
{
    if (auto result = convertedIfPossible(value, type))
        return std::move(*result);
    return zeroOf(type);
}

PortType portTypeNamed(const std::string& name)
{
    static constexpr struct {
        const char* name;
        PortType type;
    } kTypes[] = {{"QCBooleanPort", PortType::Boolean}, {"QCIndexPort", PortType::Index},
        {"QCNumberPort", PortType::Number}, {"QCStringPort", PortType::String}, {"QCColorPort", PortType::Color},
        {"QCGLImagePort", PortType::Image}, {"QCImagePort", PortType::Image}, {"QCStructurePort", PortType::Structure},
        {"QCMeshPort", PortType::Mesh}, {"QCInteractionPort", PortType::Interaction}};
    for (const auto& row : kTypes) {
        if (name == row.name)
            return row.type;
    }
    return PortType::Virtual;
}

const char* nameOf(PortType type)
{
    static constexpr std::array<const char*, 10> kNames{
        "virtual", "boolean", "index", "number", "string", "color", "image", "structure", "mesh", "interaction"};
    return kNames[static_cast<std::size_t>(type)];
}

namespace {

std::optional<NSColor> colorOf(const Dictionary& members)
{
    const auto component = [&](const char* key) -> std::optional<double> {
        const auto found = members.find(key);
        return found == members.end() ? std::nullopt : found->second.number();
    };
    const auto red = component("red"), green = component("green"), blue = component("blue");
    if (!red || !green || !blue)
        return std::nullopt;
    return NSColor{*red, *green, *blue, component("alpha").value_or(1)};
}

PortValue walked(const Value& value, int depth, std::size_t& left)
{
    if (value.isNothing() || depth > kMaxDepth || left == 0)
        return {};
    --left;
    if (const auto* flag = value.as<bool>())
        return *flag;
    if (const auto number = value.number())
        return *number;
    if (const auto* text = value.as<std::string>())
        return repairedUtf8(*text);
    if (const auto* date = value.as<Date>())
        return date->timeIntervalSinceReferenceDate();
    if (const auto* color = value.as<NSColor>())
        return *color;
    const auto image = value.image();
    if (image && !image->representations().empty() && image->representations().front().bitmap())
        return ImageRef(std::make_shared<BitmapImage>(image->representations().front().bitmap()));
    if (const auto* bytes = value.bytes()) {
        const auto decoded = roomForImages() ? NSImage::imageWithData(*bytes) : nullptr;
        const bool has = decoded && !decoded->representations().empty();
        return has ? ownImage(decoded->representations().front().bitmap()) : ImageRef();
    }
    auto structure = std::make_shared<Structure>();
    if (const auto* members = value.array()) {
        for (const Value& member : *members)
            structure->members.push_back({{}, walked(member, depth + 1, left)});
        return StructureRef(structure);
    }
    if (const auto* members = value.dictionary()) {
        if (const auto color = colorOf(*members))
            return *color;
        structure->keyed = true;
        for (const auto& [key, member] : *members)
            structure->members.push_back({key, walked(member, depth + 1, left)});
        return StructureRef(structure);
    }
    return {};
}

Value told(const PortValue& value, int depth, std::size_t& left)
{
    if (depth > kMaxDepth || left == 0)
        return {};
    --left;
    if (const auto* flag = value.as<bool>())
        return *flag;
    if (const auto* index = value.as<std::uint32_t>())
        return static_cast<std::int64_t>(*index);
    if (const auto* number = value.as<double>())
        return *number;
    if (const auto* text = value.as<std::string>())
        return *text;
    if (const auto* color = value.as<NSColor>())
        return *color;
    if (const auto* image = value.as<ImageRef>()) {
        const auto bitmap = *image ? (*image)->bitmap() : nullptr;
        if (bitmap)
            return std::shared_ptr<const NSImage>(std::make_shared<NSImage>(bitmap));
        if (*image)
            return std::shared_ptr<const NSImage>(std::make_shared<NSImage>(
                NSSize{(*image)->extent().width, (*image)->extent().height}, std::vector<NSBitmapImageRep>{}));
        return {};
    }
    const auto* structure = value.as<StructureRef>();
    if (!structure || !*structure)
        return {};
    if (!(*structure)->keyed) {
        Array members;
        for (const auto& member : (*structure)->members)
            members.push_back(told(member.value, depth + 1, left));
        return members;
    }
    Dictionary members;
    for (const auto& member : (*structure)->members)
        members.insert_or_assign(member.key, told(member.value, depth + 1, left));
    return members;
}

} // namespace

PortValue portValue(const Value& value)
{
    std::size_t left = kMaxMembers;
    return walked(value, 0, left);
}

Value hostValue(const PortValue& value)
{
    std::size_t left = kMaxMembers;
    return told(value, 0, left);
}

namespace {
// Three or four numbers, or "#rrggbb" with or without an alpha.
std::optional<NSColor> colorForHost(const Value& value)
{
    std::array<double, 4> parts{0, 0, 0, 1};
    if (const Array* members = value.array()) {
        if (members->size() != 3 && members->size() != 4)
            return std::nullopt;
        for (std::size_t k = 0; k < members->size(); ++k) {
            const auto number = (*members)[k].number();
            if (!number)
                return std::nullopt;
            parts[k] = *number;
        }
        return NSColor{parts[0], parts[1], parts[2], parts[3]};
    }
    const auto* text = value.as<std::string>();
    return text ? colorFromHex(*text) : std::nullopt;
}
} // namespace

std::optional<PortValue> portValueForHost(const Value& value, PortType type)
{
    if (value.isNothing())
        return zeroOf(type);
    if (type == PortType::Color) {
        if (const auto color = colorForHost(value))
            return PortValue(*color);
    }
    if (type == PortType::String && !value.as<std::string>()) {
        if (value.image() || value.object() || value.bytes())
            return std::nullopt;
        return PortValue(description(value));
    }
    PortValue given = portValue(value);
    if (type == PortType::Structure && given.as<NSColor>() && value.dictionary()) {
        auto structure = std::make_shared<Structure>();
        structure->keyed = true;
        for (const auto& [key, member] : *value.dictionary())
            structure->members.push_back({key, portValue(member)});
        return PortValue(StructureRef(structure));
    }
    if (type == PortType::Structure && !given.as<StructureRef>())
        return std::nullopt; // a host means a list when it gives one
    return convertedIfPossible(given, type);
}

} // namespace vitrel::qc
