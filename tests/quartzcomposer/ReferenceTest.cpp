#include "platform/quartzcomposer/file/CompositionReader.h"
#include "platform/quartzcomposer/reference/ReferenceJson.h"
#include "platform/quartzcomposer/reference/ReferenceText.h"
#include "quartzcomposer/Play.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <map>
#include <set>

namespace vitrel::qc {

namespace {

namespace fs = std::filesystem;

const std::vector<ReferenceFamily>& families()
{
    static const auto* const all = new std::vector<ReferenceFamily>(reference(registry()));
    return *all;
}

// What of `described` no key stands for, and which keys nothing describes.
template <class Described>
void expectSame(
    const PatchDescription& words, const std::vector<Described>& described, const std::set<std::string>& keys)
{
    std::set<std::string> used;
    for (const std::string& key : keys) {
        const Described* found = nullptr;
        if constexpr (std::is_same_v<Described, DescribedPort>)
            found = words.port(key);
        else
            found = words.setting(key);
        EXPECT_TRUE(found) << "nothing is said of " << key;
        if (found)
            used.insert(found->key);
    }
    std::set<std::string> told;
    for (const Described& one : described) {
        const bool isForOthers = std::string_view(one.meaning).starts_with("Without effect here; other players");
        EXPECT_TRUE(used.count(one.key) || isForOthers) << one.key << " isn't there";
        EXPECT_TRUE(told.insert(one.key).second) << one.key << " is described twice";
    }
}

void expectPhrase(const std::string& text)
{
    EXPECT_TRUE(text.size() > 2 && std::isupper(static_cast<unsigned char>(text[0])) && text.back() != '.') << text;
}

// Every port of a real patch, as configured by a composition that is played.
void expectKnown(const FileNode& node)
{
    const std::string name = registry().nameFor(node.className, node.identifier);
    const bool isKind = !registry().kinds(name).empty();
    const ReferencePatch* told = patchNamed(families(), isKind ? name + "/" + node.identifier : name);
    if (told) {
        SCOPED_TRACE(told->name);
        const PatchDescription words = describedAs(registry(), told->name);
        const auto patch = registry().make(name);
        patch->configure({node.state, node.identifier, {}, nullptr});
        const auto expectPort = [&](const auto& port, const std::vector<ReferencePort>& ports) {
            const DescribedPort* meant = words.port(port->key());
            const auto found = std::find_if(ports.begin(), ports.end(),
                [&](const ReferencePort& one) { return meant && meant->key == one.words.key; });
            ASSERT_NE(found, ports.end()) << port->key();
            EXPECT_TRUE(found->type == PortType::Virtual || found->type == port->type()) << port->key();
        };
        for (const auto& port : patch->inputs())
            expectPort(port, told->inputs);
        for (const auto& port : patch->outputs())
            expectPort(port, told->outputs);
    }
    for (const FileNode& child : node.nodes)
        expectKnown(child);
}

// One of each thing that there is to tell.
class TellingPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Teller", "Tells of everything that a patch may have, for those who read it on a narrow terminal.",
            {{"inputShape|inputForm", "The shape", menu({"Round", "Square"})},
                {"part_*", "A part of the whole", kShare}, {"inputColor", "Its colour"},
                {"outputLength", "How long it is", kPixels}},
            {{"count", DescribedSetting::Number, "How many parts", {"", 1}},
                {"mode", DescribedSetting::Text, "Which way", {}, {"up", "down"}},
                {"list", DescribedSetting::List, "What is in it", {}, {}, "[1, 2]"}}};
    }

private:
    Input<std::uint32_t> shape{*this, "inputShape", 1}, form{*this, "inputForm"};
    Input<NSColor> color{*this, "inputColor", {1, 0.5, 0, 1}};
    Output<double> length{*this, "outputLength"};
    void configure(const Settings& settings) override
    {
        for (int k = 0; k < settings.number("count", 1); ++k)
            addInput(
                "part_" + std::to_string(k), settings.text("mode") == "up" ? PortType::Index : PortType::Number, {});
    }
};

} // namespace

TEST(Reference, EveryPatchTellsAllOfItselfAndNothingElse)
{
    std::map<std::string, std::string> titles;
    for (const std::string& name : describedNames(registry())) {
        SCOPED_TRACE(name);
        const PatchDescription words = describedAs(registry(), name);
        std::set<std::string> ports, asked;
        eachExample(registry(), name, &asked, [&](const Patch& patch) {
            for (const auto& port : patch.inputs()) {
                const auto* index = port->value().as<std::uint32_t>();
                const DescribedPort* told = words.port(port->key());
                if (index && told && !told->measure.labels.empty()) {
                    EXPECT_LT(*index, told->measure.labels.size()) << port->key();
                }
                if (port->key() != "_enable" && port->key() != "_time")
                    ports.insert(port->key());
            }
            for (const auto& port : patch.outputs())
                ports.insert(port->key());
        });
        expectSame(words, words.ports, ports);
        expectSame(words, words.settings, asked);
        for (const DescribedPort& port : words.ports)
            expectPhrase(port.meaning);
        for (const DescribedSetting& setting : words.settings)
            expectPhrase(setting.meaning);
        EXPECT_TRUE(std::string(words.sentence).ends_with('.')) << words.sentence;
        EXPECT_EQ(titles.emplace(words.title, name).first->second, name) << words.title;
        EXPECT_STRNE(registry().familyOf(name), "");
    }
    EXPECT_GT(titles.size(), 250u);
}

TEST(Reference, KnowsThePortsOfCompositionsThatArePlayed)
{
    std::size_t count = 0;
    for (const char* folder :
        {VITREL_EXAMPLES, VITREL_SOURCE "/examples/compositions", VITREL_SOURCE "/resources/compositions"}) {
        for (const auto& entry : fs::directory_iterator(folder)) {
            if (entry.path().extension() != ".json")
                continue;
            SCOPED_TRACE(entry.path());
            const auto file = readCompositionFile(entry.path());
            ASSERT_TRUE(file);
            expectKnown(file->root);
            ++count;
        }
    }
    EXPECT_GT(count, 250u);
}

TEST(Reference, FindsAPatchByItsNameAndAKindByItsOwn)
{
    const auto found = [](const char* name) {
        const ReferencePatch* patch = patchNamed(families(), name);
        return patch ? patch->name : "";
    };
    EXPECT_EQ(found("QCMath"), "QCMath");
    EXPECT_EQ(found("qcmath"), "QCMath");
    EXPECT_EQ(found("QCImageFilter/CICrop"), "QCImageFilter/CICrop");
    EXPECT_EQ(found("cicrop"), "QCImageFilter/CICrop");
    EXPECT_EQ(found("keyAtIndex"), "QCStructureMember/keyAtIndex");
    EXPECT_EQ(found("hsl"), ""); // two have it
    EXPECT_EQ(found("QCImageFilter"), ""); // it is many
    EXPECT_EQ(found("Crop"), "");
}

TEST(Reference, IsAPageAndADocument)
{
    PatchRegistry telling;
    telling.family("Tellers");
    telling.addStandIn<TellingPatch>("Telling");
    const auto told = reference(telling);
    ASSERT_EQ(told.size(), 1u);
    EXPECT_EQ(referenceList(told, 80), "Tellers\n  Telling  Teller\n");
    EXPECT_EQ(referencePage(told[0].patches[0], 44), R"(Teller
Telling

Tells of everything that a patch may have,
for those who read it on a narrow terminal.
A third party's patch, stood in for by what
its published descriptions and files tell.

Inputs
  inputShape  The shape
              index; 0 Round, 1 Square;
              usually 1
  inputForm   The shape
              index; 0 Round, 1 Square;
              usually 0
  inputColor  Its colour
              color; usually #ff8000ff
  part_*      A part of the whole
              any; 0 to 1

Outputs
  outputLength  How long it is
                number; pixels

Settings
  count  How many parts
         number; at least 1
  mode   Which way
         text; up, down
  list   What is in it
         list; such as [1, 2]
)");
    EXPECT_EQ(referenceJson(told), nlohmann::ordered_json::parse(R"({"families": [{"name": "Tellers", "patches": [{
        "class": "Telling", "title": "Teller",
        "sentence": "Tells of everything that a patch may have, for those who read it on a narrow terminal.",
        "standsIn": true,
        "inputs": [
            {"key": "inputShape", "type": "index", "usual": 1, "meaning": "The shape", "labels": ["Round", "Square"]},
            {"key": "inputForm", "type": "index", "usual": 0, "meaning": "The shape", "labels": ["Round", "Square"]},
            {"key": "inputColor", "type": "color", "usual": "#ff8000ff", "meaning": "Its colour"},
            {"key": "part_*", "type": "any", "meaning": "A part of the whole", "least": 0.0, "most": 1.0}],
        "outputs": [{"key": "outputLength", "type": "number", "meaning": "How long it is", "unit": "pixels"}],
        "settings": [
            {"key": "count", "kind": "number", "meaning": "How many parts", "least": 1.0},
            {"key": "mode", "kind": "text", "meaning": "Which way", "words": ["up", "down"]},
            {"key": "list", "kind": "list", "meaning": "What is in it", "example": [1, 2]}]}]}]})"));
}

} // namespace vitrel::qc
