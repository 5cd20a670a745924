// text_mutants COUNT SEED FOLDER...: so many text forms with mistakes in them, made of the compositions in the folders,
// a JSON line each: {"from", "text", "refused": whether the check has an error, "why": its first}. The same for the
// same seed.
#include "platform/foundation/Files.h"
#include "platform/quartzcomposer/checking/TextCheck.h"
#include "platform/quartzcomposer/graph/PatchRegistry.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <random>

namespace vitrel::qc {

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

constexpr std::size_t kLargest = 20'000; // of a text: mistakes in small ones are found as well

struct Text {
    std::string path;
    Json json;
};

std::vector<Text> textsIn(int count, char** folders)
{
    std::vector<Text> texts;
    for (int k = 0; k < count; ++k) {
        for (const auto& entry : fs::directory_iterator(folders[k])) {
            const auto bytes
                = entry.path().extension() == ".json" ? readFile(entry.path(), kLargest) : Result<Bytes, int>(EINVAL);
            Json json = bytes ? Json::parse(textOf(*bytes), nullptr, false, true) : Json();
            if (json.is_object())
                texts.push_back({entry.path(), std::move(json)});
        }
    }
    std::sort(texts.begin(), texts.end(), [](const Text& a, const Text& b) { return a.path < b.path; });
    return texts;
}

class Mutator
{
public:
    explicit Mutator(std::uint64_t seed)
        : random_(seed)
    { }
    std::size_t below(std::size_t count) { return static_cast<std::size_t>(random_() % count); }

    void mutate(Json& text)
    {
        std::vector<Json*> all;
        collect(text, all);
        Json& one = *all[below(all.size())];
        if (one.is_object() && below(4) > 0)
            changeMember(one);
        else if (one.is_array() && !one.empty() && below(2) == 0)
            one.erase(one.begin() + static_cast<std::ptrdiff_t>(below(one.size())));
        else if (one.is_string() && below(2) == 0)
            one = misspelt(one.get<std::string>());
        else
            one = other();
    }

private:
    static void collect(Json& json, std::vector<Json*>& all)
    {
        all.push_back(&json);
        if (json.is_structured()) {
            for (Json& child : json)
                collect(child, all);
        }
    }
    // Takes one away, gives it another name, or adds one that stands elsewhere in the form.
    void changeMember(Json& object)
    {
        static const char* const known[] = {"class", "identifier", "inputs", "outputs", "values", "settings", "patches",
            "connections", "raw", "virtualPatches", "$schema", "_enable", "_time", "timebase", "inputImage",
            "portClass", "inputX", "//", "a.b"};
        if (object.empty() || below(3) == 0) {
            object[known[below(std::size(known))]] = other();
            return;
        }
        const auto at = std::next(object.begin(), static_cast<std::ptrdiff_t>(below(object.size())));
        const std::string key = at.key();
        const Json value = at.value();
        object.erase(key);
        if (below(2) == 0)
            object[misspelt(key)] = value;
    }
    std::string misspelt(std::string text)
    {
        if (text.empty())
            return "x";
        const std::size_t at = below(text.size());
        switch (below(4)) {
        case 0:
            text.erase(at, 1);
            break;
        case 1:
            text.insert(at, 1, "aE._/ >1"[below(8)]);
            break;
        case 2:
            std::swap(text[at], text[below(text.size())]);
            break;
        default:
            text[at] = static_cast<char>('a' + below(26));
        }
        return text;
    }
    Json other()
    {
        static const Json values = Json::parse(R"([null, true, false, 0, 1, 2, -1, 1.5, 4294967296, "", "x", "a.b", "5",
            "#ff0000", "#ff00", [], {}, ["a", "b"], ["a", "b", "c", "d"], [1], "a.b > c.d", {"image": "card.png"},
            {"lines": ["a"]}, {"lines": 5}, {"text": "#ff0000"}, {"real": "nan"}, {"real": 5}, {"date": 5}, {"data": "AA=="},
            {"dictionary": {"image": 5}}, {"red": 1, "green": 0, "blue": 0}, {"red": 1}, {"class": "QCSprite"},
            {"class": "QCMath", "inputs": {"inputValue": 5}}, "QCSprite", "QCImageFilter", "QCImageFilter/CICrop", "/own",
            "QCQuadric/sphere", "local", "QCNumberPort"])");
        return values[below(values.size())];
    }

    std::mt19937_64 random_;
};

int mutants(long count, std::uint64_t seed, const std::vector<Text>& texts)
{
    const PatchRegistry registry = allPatches();
    Mutator mutator(seed);
    for (long k = 0; k < count; ++k) {
        const Text& from = texts[mutator.below(texts.size())];
        Json json = from.json;
        for (std::size_t changes = 1 + mutator.below(3); changes > 0; --changes)
            mutator.mutate(json);
        const std::string text = json.dump(-1, ' ', false, Json::error_handler_t::replace);
        const auto found = checkText(text, from.path, registry);
        const auto error = std::find_if(
            found.begin(), found.end(), [](const Diagnostic& one) { return one.severity == Diagnostic::Error; });
        const bool refused = error != found.end();
        const Json line{{"from", from.path}, {"text", text}, {"refused", refused}, {"why", refused ? error->text : ""}};
        std::cout << line.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n';
    }
    return 0;
}

} // namespace

} // namespace vitrel::qc

int main(int argc, char** argv)
{
    const auto texts = vitrel::qc::textsIn(std::max(argc - 3, 0), argv + 3);
    if (texts.empty()) {
        std::cerr << "usage: text_mutants COUNT SEED FOLDER...\n";
        return 2;
    }
    return vitrel::qc::mutants(std::atol(argv[1]), std::strtoull(argv[2], nullptr, 10), texts);
}
