#include "platform/quartzcomposer/reference/Reference.h"

#include "base/Text.h"
#include "platform/quartzcomposer/checking/ValueCheck.h"
#include "platform/quartzcomposer/file/TextValues.h"
#include "platform/quartzcomposer/graph/Macro.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace vitrel::qc {

namespace {

using Json = nlohmann::ordered_json;

// As pages show them; others come behind.
constexpr std::array kFamilies{"Drawing", "Environments", "Images", "Filters: common ones", "Filters: blending",
    "Filters: colours", "Filters: blurs, edges, light", "Filters: cells and screens", "Filters: distortions",
    "Filters: generators", "Filters: tiles", "Filters: transitions", "Filters: what an image comes to",
    "Numbers and colours", "Time", "Text", "Structures and scripts", "Macros and what hands values on", "Sources"};

std::pair<std::string, std::string> partsOf(const std::string& name)
{
    const auto slash = name.find('/');
    return {name.substr(0, slash), slash == std::string::npos ? std::string() : name.substr(slash + 1)};
}

Value exampleOf(const DescribedSetting& setting)
{
    const Json json = Json::parse(setting.example, nullptr, false);
    return json.is_discarded() ? Value() : ValueReader("").value(json);
}

std::string numbered(std::string key)
{
    if (const auto star = key.find('*'); star != std::string::npos)
        key.replace(star, 1, "1");
    return key;
}

// What one setting may be to show what it does.
std::vector<Value> trialsOf(const DescribedSetting& setting)
{
    constexpr double kSome = 3;
    std::vector<Value> trials;
    if (setting.kind == DescribedSetting::Flag)
        trials = {false, true};
    for (const char* word : setting.words)
        trials.emplace_back(word);
    if (setting.kind == DescribedSetting::Number)
        trials.emplace_back(std::clamp(kSome, setting.measure.least, setting.measure.most));
    return trials;
}

Json usualOf(const InputPort& port)
{
    if (const auto* c = port.value().as<NSColor>()) {
        std::string hex = "#";
        for (const double part : {c->red, c->green, c->blue, c->alpha}) {
            constexpr char kDigits[] = "0123456789abcdef";
            const auto byte = static_cast<unsigned>(std::lround(std::clamp(part, 0.0, 1.0) * 255));
            hex += {kDigits[byte >> 4], kDigits[byte & 15]};
        }
        return hex;
    }
    TextBudget budget;
    return valueJson(hostValue(port.value()), budget);
}

class Look
{
public:
    Look(const PatchRegistry& registry, const std::string& name)
        : words_(describedAs(registry, name))
    {
        patch_.name = name;
        patch_.family = registry.familyOf(name);
        patch_.title = words_.title;
        patch_.sentence = words_.sentence;
        patch_.standsIn = registry.standsIn(name);
        patch_.settings = words_.settings;
        eachExample(registry, name, nullptr, [this](const Patch& patch) { take(patch); });
    }
    ReferencePatch result() && { return std::move(patch_); }

private:
    void take(const Patch& patch)
    {
        patch_.isMacro = dynamic_cast<const Macro*>(&patch) != nullptr;
        patch_.canRest |= patch_.isMacro;
        for (const auto& port : patch.inputs()) {
            if (port->key() == "_enable")
                patch_.canRest = true;
            else if (port->key() != "_time")
                note(patch_.inputs, port->key(), port->type(), usualOf(*port));
        }
        for (const auto& port : patch.outputs())
            note(patch_.outputs, port->key(), port->type(), nullptr);
        isFirst_ = false;
    }
    // Ports that are there without settings come first and say what is usual.
    void note(std::vector<ReferencePort>& ports, const std::string& key, PortType type, const Json& usual)
    {
        const DescribedPort* words = words_.port(key);
        if (!words)
            return;
        const auto known = std::find_if(
            ports.begin(), ports.end(), [&](const ReferencePort& port) { return port.words.key == words->key; });
        if (known == ports.end()) {
            ports.push_back({*words, type, usual});
            return;
        }
        if (known->type != type) {
            known->type = PortType::Virtual;
            known->usual = nullptr;
        }
        if (isFirst_ && known->usual != usual)
            known->usual = nullptr;
    }

    PatchDescription words_;
    ReferencePatch patch_;
    bool isFirst_ = true;
};

} // namespace

void eachExample(const PatchRegistry& registry, const std::string& name, std::set<std::string>* asked, const Seen& seen)
{
    const auto parts = partsOf(name); // not taken apart: the capture of a binding is refused by some compilers
    const auto configured = [&](const Dictionary& values) {
        const auto patch = registry.make(registry.nameFor(parts.first, parts.second));
        Settings settings{&values, parts.second, {}, nullptr};
        settings.asked = asked;
        patch->configure(settings);
        patch->addSystemPorts();
        seen(*patch);
    };
    const auto all = describedAs(registry, name).settings;
    Dictionary shown;
    for (const DescribedSetting& setting : all) {
        if (*setting.example)
            shown.insert_or_assign(numbered(setting.key), exampleOf(setting));
    }
    for (const Dictionary& start : {Dictionary(), shown}) {
        configured(start);
        for (const DescribedSetting& setting : all) {
            for (const Value& trial : trialsOf(setting)) {
                Dictionary changed = start;
                changed.insert_or_assign(numbered(setting.key), trial);
                configured(changed);
            }
        }
    }
}

std::vector<std::string> describedNames(const PatchRegistry& registry)
{
    std::vector<std::string> all;
    for (const std::string& name : registry.names()) {
        const auto kinds = registry.kinds(name);
        for (const std::string& kind : kinds)
            all.push_back(name + "/" + kind);
        if (kinds.empty())
            all.push_back(name);
    }
    return all;
}

PatchDescription describedAs(const PatchRegistry& registry, const std::string& name)
{
    const auto [className, identifier] = partsOf(name);
    return registry.describe(className, identifier).value_or(PatchDescription{});
}

std::vector<ReferenceFamily> reference(const PatchRegistry& registry)
{
    std::vector<ReferenceFamily> families;
    for (const char* family : kFamilies)
        families.push_back({family, {}});
    for (const std::string& name : describedNames(registry)) {
        ReferencePatch patch = Look(registry, name).result();
        auto family = std::find_if(
            families.begin(), families.end(), [&](const ReferenceFamily& one) { return one.name == patch.family; });
        if (family == families.end())
            family = families.insert(families.end(), {patch.family, {}});
        family->patches.push_back(std::move(patch));
    }
    std::erase_if(families, [](const ReferenceFamily& family) { return family.patches.empty(); });
    for (ReferenceFamily& family : families)
        std::sort(family.patches.begin(), family.patches.end(),
            [](const ReferencePatch& a, const ReferencePatch& b) { return a.name < b.name; });
    return families;
}

const char* typeInWords(PortType type)
{
    return type == PortType::Virtual ? "any" : nameOf(type);
}

std::string measureInWords(const Measure& measure)
{
    const std::string range = rangeInWords(measure);
    return std::string(measure.unit) + (*measure.unit && !range.empty() ? ", " : "") + range;
}

const char* kindInWords(DescribedSetting::Kind kind)
{
    static constexpr std::array kWords{"number", "true or false", "text", "list", "object", "any"};
    return kWords[static_cast<std::size_t>(kind)];
}

std::string usualInWords(const Json& usual)
{
    if (usual.is_null())
        return {};
    if (usual.is_boolean())
        return usual.get<bool>() ? "yes" : "no";
    if (usual.is_number())
        return shortestDecimal(std::round(usual.get<double>() * 1e6) / 1e6);
    const bool isColor = usual.is_string() && colorFromHex(usual.get<std::string>());
    return isColor ? usual.get<std::string>() : usual.dump();
}

} // namespace vitrel::qc
