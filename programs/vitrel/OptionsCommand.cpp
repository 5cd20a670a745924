// options: what a user may set at a composition, shown and stored.
#include "base/Text.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/Surroundings.h"
#include "platform/quartzcomposer/file/CompositionReader.h"
#include "platform/quartzcomposer/file/TextValues.h"
#include "platform/quartzcomposer/graph/CompositionGraph.h"
#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "preferences/BuiltInCompositions.h"
#include "preferences/VitrelItem.h"
#include "programs/vitrel/Commands.h"
#include "programs/vitrel/Confining.h"
#include "programs/vitrel/SettingsHost.h"
#include "programs/vitrel/ValueJson.h"
#include "saver/CompositionOptions.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <iostream>

namespace vitrel {

namespace {

using Json = nlohmann::ordered_json;
using qc::InputDescription;

struct Option {
    InputDescription input;
    Value own; // the composition's
};

std::string jsonText(const Json& json)
{
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// A text as it is, if it stands on one line and comes back as it was.
std::string plainText(const std::string& text)
{
    const std::string whole = repairedUtf8(text);
    const bool isPlain = !whole.starts_with('"')
        && std::none_of(whole.begin(), whole.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; });
    return isPlain ? whole : jsonText(Json(whole));
}

std::string colorText(const NSColor& color)
{
    const double parts[] = {color.red, color.green, color.blue, color.alpha};
    std::string hex = "#";
    for (const double part : parts) {
        constexpr double kMost = 255;
        const double level = part * kMost;
        if (std::fabs(level - std::round(level)) > 1e-6 || level < 0 || level > kMost)
            return jsonText(Json(parts));
        constexpr char kDigits[] = "0123456789abcdef";
        const auto byte = static_cast<unsigned>(std::lround(level));
        hex += {kDigits[byte / 16], kDigits[byte % 16]};
    }
    return hex;
}

// As the command takes it, too.
std::string shown(const Value& value)
{
    if (const auto* flag = value.as<bool>())
        return *flag ? "true" : "false";
    if (const auto* text = value.as<std::string>())
        return plainText(*text);
    if (const auto* color = value.as<NSColor>())
        return colorText(*color);
    if (const auto* number = value.as<double>(); number && !std::isfinite(*number))
        return "null";
    return description(value);
}

std::optional<Value> valueOf(const InputDescription& input, const std::string& text)
{
    // A number that a text input is given stays as it was typed.
    if (input.type == qc::PortType::String && !text.starts_with('"'))
        return optionValue(input, repairedUtf8(text));
    return optionValue(input, valueFromArgument(text));
}

void print(const Option& option, const Dictionary& stored)
{
    const Value* given = member(stored, option.input.key);
    const auto set = given ? optionValue(option.input, *given) : std::nullopt;
    constexpr std::size_t kLongest = 1000;
    std::cout << qc::shownText(option.input.key, kLongest) << '\t' << qc::nameOf(option.input.type) << '\t'
              << shown(set.value_or(option.own)) << '\n';
}

// The option that a word of the command line names, KEY or KEY=VALUE: keys may hold a "=" themselves.
const Option* named(const std::vector<Option>& options, const std::string& word)
{
    const Option* found = nullptr;
    for (const Option& option : options) {
        const std::string& key = option.input.key;
        if (word == key)
            return &option;
        if (word.starts_with(key + "=") && (!found || found->input.key.size() < key.size()))
            found = &option;
    }
    return found;
}

std::vector<Option> optionsOf(const qc::CompositionFile& file)
{
    const auto registry = qc::allPatches();
    const qc::CompositionGraph graph(file, registry);
    std::vector<Option> options;
    for (const InputDescription& input : qc::describedInputs(file, graph, registry)) {
        if (isOption(input))
            options.push_back({input, graph.input(input.key)});
    }
    return options;
}

// A file, or else what comes along under that name.
std::string fileNamed(const std::string& given)
{
    std::error_code error;
    if (std::filesystem::exists(given, error))
        return given;
    const NSBundle bundle = NSBundle::forExecutable();
    SheetSurroundings surroundings;
    surroundings.classBundle = surroundings.mainBundle = &bundle;
    const BuiltInCompositions builtIn(surroundings);
    const auto* named = builtIn.find(given);
    return named ? named->path : given;
}

int options(const std::string& given, const std::vector<std::string>& words, bool verbose)
{
    const std::string path = fileNamed(given);
    const CommandFiles files{{path}, {}};
    closeAllBut(files);
    confineToSettings(files);
    const auto file = qc::readCompositionFile(path);
    if (!file)
        return complain(path + " is no composition: " + file.error().reason);
    const auto all = optionsOf(*file);
    std::vector<const Option*> asked;
    Dictionary changes;
    for (const std::string& word : words) {
        const Option* option = named(all, word);
        const std::string key = option ? option->input.key : word.substr(0, word.find('='));
        if (!option)
            return complain(path + " has no option \"" + qc::shownText(key, 100) + "\"");
        if (word == key) {
            asked.push_back(option);
            continue;
        }
        const std::string text = word.substr(key.size() + 1);
        const auto value = text.empty() ? std::optional(Value()) : valueOf(option->input, text);
        if (!value)
            return complain("\"" + qc::shownText(text, 100) + "\" is no " + qc::nameOf(option->input.type) + " for \""
                + qc::shownText(key, 100) + "\"");
        changes.insert_or_assign(key, storedOption(*value));
    }
    SettingsHost host(verbose);
    VitrelItem item(host.surroundings(), path.substr(path.rfind('/') + 1));
    if (!changes.empty())
        item.changeOptions(changes);
    const Dictionary stored = item.options();
    if (words.empty()) {
        for (const Option& option : all)
            print(option, stored);
    }
    for (const Option* option : asked)
        print(*option, stored);
    const int code = changes.empty() ? 0 : host.store();
    return std::cout.flush() ? code : 1;
}

} // namespace

void addOptions(CLI::App& app, Action& action)
{
    auto* command = app.add_subcommand("options", "Show or store what may be set at a composition");
    const auto path = std::make_shared<std::string>();
    const auto words = std::make_shared<std::vector<std::string>>();
    command
        ->add_option(
            "FILE", *path, "A composition, or the name of one that comes along; its settings go by its file's name")
        ->required();
    command->add_option("KEY", *words, "KEY shows one, KEY=VALUE stores it, KEY= takes it back")
        ->option_text("[KEY[=VALUE]]...");
    const auto verbose = addVerbose(*command);
    command->callback([&action, path, words, verbose] { action = [=] { return options(*path, *words, *verbose); }; });
}

} // namespace vitrel
