#include "platform/quartzcomposer/checking/TextCheck.h"

#include "platform/quartzcomposer/checking/BroughtDefinitions.h"
#include "platform/quartzcomposer/checking/NearestName.h"
#include "platform/quartzcomposer/checking/OptionsCheck.h"
#include "platform/quartzcomposer/checking/PatchLooks.h"
#include "platform/quartzcomposer/checking/ValueCheck.h"
#include "platform/quartzcomposer/file/CompositionReader.h"
#include "platform/quartzcomposer/file/TextForm.h"
#include "platform/quartzcomposer/file/TextValues.h"

#include <algorithm>
#include <iterator>
#include <set>

namespace vitrel::qc {

namespace {

using Kind = TextNode::Kind;
using Severity = Diagnostic::Severity;

template <class Map> std::vector<std::string> keysOf(const Map& map)
{
    std::vector<std::string> keys;
    for (const auto& entry : map)
        keys.push_back(entry.first);
    return keys;
}

// "Title" (QCTextImage)
std::string called(const PatchLooks& patch)
{
    return patch.name.empty() ? std::string("the composition") : quoted(patch.name) + " (" + patch.className + ")";
}

bool isOneOf(const std::vector<std::string>& names, const std::string& name)
{
    return std::find(names.begin(), names.end(), name) != names.end();
}

// Whether one was written for the other: two letters are wrong at most, and not only a number.
bool isSlip(const std::string& given, const std::string& meant)
{
    const auto withoutDigits = [](std::string text) {
        std::erase_if(text, [](char c) { return c >= '0' && c <= '9'; });
        return text;
    };
    return !meant.empty() && distance(given, meant, 2) <= 2 && withoutDigits(given) != withoutDigits(meant);
}

class TextCheck
{
public:
    TextCheck(std::string_view text, const std::string& path, const PatchRegistry& registry)
        : text_(text)
        , path_(path)
        , folder_(folderOf(path))
        , registry_(registry)
        , places_(text)
    { }

    std::vector<Diagnostic> all()
    {
        auto tree = textTree(text_);
        if (!tree)
            tell(Severity::Error, tree.error().offset, tree.error().reason);
        else if (!tree->is(Kind::Object))
            tell(Severity::Error, tree->offset, "a composition is an object with \"patches\"");
        else {
            elsewhere_ = bringDefinitions(*tree, folder_,
                [this](std::size_t offset, std::string what) { tell(Severity::Error, offset, std::move(what)); });
            if (!hasErrors(found_)) // else each use of what isn't there would be told
                composition(*tree);
        }
        if (!hasErrors(found_))
            make();
        std::stable_sort(
            found_.begin(), found_.end(), [](const Diagnostic& a, const Diagnostic& b) { return a.offset < b.offset; });
        if (found_.size() > kMostDiagnostics)
            found_.resize(kMostDiagnostics);
        for (Diagnostic& diagnostic : found_)
            diagnostic.place = places_.at(diagnostic.offset);
        return std::move(found_);
    }

private:
    void tell(Severity severity, std::size_t offset, std::string what)
    {
        found_.push_back({severity, offset, {}, std::move(what)});
    }
    // What an author has written is wrong if it isn't known; what came out of a file may be another program's, unless
    // it is a slip of the pen in a name.
    void tellUnknown(const PatchLooks& patch, std::size_t offset, const std::string& what, const std::string& name = {},
        const std::vector<std::string>& names = {})
    {
        const bool isMistake = !patch.isForeign || isSlip(name, nearestName(name, names));
        tell(isMistake ? Severity::Error : Severity::Warning, offset, what + nearestHint(name, names));
    }

    // Whatever the rules below have let through and yet makes no composition.
    void make()
    {
        const auto made = compositionFromText(text_, folder_);
        if (!made)
            return tell(Severity::Error, 0, made.error().reason);
        if (const auto file = compositionOfPropertyList(*made); !file)
            tell(Severity::Error, 0, file.error().reason);
    }

    void composition(const TextNode& top)
    {
        if (!top.member("patches"))
            tell(Severity::Error, top.offset, "a composition is an object with \"patches\"");
        PatchReader reader(top, registry_, path_);
        outermost(reader.read(top), {"values", "options", "virtualPatches", "$schema"}); // an editor asks for the last
        section(top, "$schema", Kind::String, "a text: where an editor finds the schema");
        const TextNode* definitions = section(top, "virtualPatches", Kind::Object, "an object of compositions");
        for (const TextNode& definition : childrenOf(definitions)) {
            if (!definition.key.starts_with('/'))
                tell(Severity::Error, definition.keyOffset, "the name of a virtual patch begins with \"/\"");
            if (!definition.is(Kind::Object))
                tell(Severity::Error, definition.offset, "a composition is an object with \"patches\"");
            else if (elsewhere_.count(definition.key) == 0)
                outermost(reader.read(definition), {"values", "options"});
        }
    }

    void outermost(const PatchLooks& looks, const std::vector<std::string>& moreMembers)
    {
        patch(looks, moreMembers);
        const TextNode* options = section(*looks.node, "options", Kind::Object, "an object of published inputs");
        if (!options)
            return;
        std::vector<std::string> published;
        for (const char* list : {"inputs", "outputs"}) {
            for (const TextNode& entry : childrenOf(looks.node->member(list)))
                published.push_back(entry.key);
        }
        checkOptions(
            *options, published, looks.isForeign, [this](std::size_t offset, const std::string& fault, bool isDoubt) {
                tell(isDoubt ? Severity::Warning : Severity::Error, offset, fault);
            });
    }

    // A member of the form that has one kind; null if it isn't there or of another.
    const TextNode* section(const TextNode& node, const char* key, Kind kind, const char* what)
    {
        const TextNode* member = node.member(key);
        if (!member || member->is(kind))
            return member;
        tell(Severity::Error, member->offset, quoted(key) + " is " + what);
        return nullptr;
    }

    void members(const TextNode& node, const std::vector<std::string>& more)
    {
        std::vector<std::string> known{
            "class", "identifier", "inputs", "outputs", "values", "settings", "patches", "connections", "raw"};
        known.insert(known.end(), more.begin(), more.end());
        for (const TextNode& member : node.children) {
            if (!isOneOf(known, member.key))
                tell(Severity::Error, member.keyOffset,
                    "nothing is called " + quoted(member.key) + " here" + nearestHint(member.key, known));
        }
        for (const char* key : {"class", "identifier"})
            section(node, key, Kind::String, "a text");
        section(node, "raw", Kind::Object, "what a file holds beyond this form, an object");
        twice(node, "member");
    }

    void twice(const TextNode& object, const char* what)
    {
        std::set<std::string_view> seen;
        for (const TextNode& member : object.children) {
            if (!seen.insert(member.key).second)
                tell(Severity::Error, member.keyOffset,
                    std::string(what) + " " + quoted(member.key) + " stands twice here");
        }
    }

    void patch(const PatchLooks& patch, const std::vector<std::string>& moreMembers)
    {
        const TextNode& node = *patch.node;
        members(node, moreMembers);
        className(patch);
        settings(patch);
        inputs(patch);
        outputs(patch);
        values(patch);
        const TextNode* children = section(node, "patches", Kind::Object, "an object of patches by their names");
        if (children) {
            twice(*children, "patch");
            if (patch.isKnown && patch.patch && !patch.isMacro && !children->children.empty())
                tell(Severity::Error, children->keyOffset, patch.className + " holds no patches");
            for (const TextNode& child : children->children) {
                if (!child.is(Kind::Object))
                    tell(Severity::Error, child.offset, "a patch is an object with a \"class\"");
            }
        }
        connections(patch);
        for (const PatchLooks& child : patch.children)
            this->patch(child, {});
        unseen(patch);
    }

    void className(const PatchLooks& patch)
    {
        const TextNode* given = patch.node->member("class");
        const std::size_t offset = given ? given->offset : patch.node->offset;
        if (patch.className.empty())
            return tell(Severity::Error, offset, "patch " + quoted(patch.name) + " has no \"class\"");
        if (patch.isKnown) {
            const auto kinds = registry_.kinds(patch.className);
            if (!kinds.empty() && !isOneOf(kinds, patch.identifier))
                tellUnknown(patch, offset, "there is no " + patch.className + " " + quoted(patch.identifier),
                    patch.identifier, kinds);
            return;
        }
        if (patch.className.starts_with('/'))
            return tellUnknown(patch, offset, "\"virtualPatches\" has no " + quoted(patch.className));
        const auto names = registry_.names();
        std::string hint;
        // Filters are known by their own names, too.
        for (std::size_t k = 0; hint.empty() && k < names.size(); ++k) {
            const std::string kind = nearestName(patch.className, registry_.kinds(names[k]));
            hint = kind.empty() ? "" : "; " + quoted(names[k] + "/" + kind) + " is near";
        }
        if (!nearestName(patch.className, names).empty())
            hint.clear();
        tellUnknown(patch, offset, "there is no class " + quoted(patch.className) + hint, patch.className, names);
    }

    void settings(const PatchLooks& patch)
    {
        const TextNode* given = section(*patch.node, "settings", Kind::Object, "an object");
        if (!given)
            return;
        twice(*given, "setting");
        for (const TextNode& setting : given->children)
            specials(setting);
        if (patch.patch && patch.description && !patch.isForeign)
            knownSettings(patch, *given);
        if (!patch.patch)
            return;
        for (const SourceFault& fault : patch.patch->sourceFaults(patch.settings()))
            tellUnknown(patch, placeOf(fault, *given), fault.reason);
    }

    void knownSettings(const PatchLooks& patch, const TextNode& given)
    {
        static const DescribedSetting common[]
            = {{"timebase", DescribedSetting::Text, "", {}, {"parent", "local", "external"}},
                {"identifier", DescribedSetting::Text, ""}};
        std::vector<std::string> known;
        for (const DescribedSetting& setting : patch.description->settings)
            known.push_back(setting.key);
        for (const DescribedSetting& setting : common)
            known.push_back(setting.key);
        for (const TextNode& value : given.children) {
            const DescribedSetting* setting = patch.description->setting(value.key);
            for (const DescribedSetting& one : common)
                setting = setting || one.key != value.key ? setting : &one;
            if (!setting) {
                tell(Severity::Error, value.keyOffset,
                    called(patch) + " has no setting " + quoted(value.key) + nearestHint(value.key, known));
            } else if (const std::string fault = faultOfSetting(value, *setting); !fault.empty()) {
                tell(Severity::Error, value.offset, "setting " + quoted(value.key) + ": " + fault);
            } else if (const std::string doubt = doubtOfValue(value, setting->measure); !doubt.empty()) {
                tell(Severity::Warning, value.offset, "setting " + quoted(value.key) + ": " + doubt);
            }
        }
    }

    // Where a place in a setting's text stands, whether the text is one string or a list of lines.
    std::size_t placeOf(const SourceFault& fault, const TextNode& given) const
    {
        const TextNode* setting = given.member(fault.setting);
        if (!setting)
            return given.keyOffset;
        const std::size_t column = fault.column > 0 ? fault.column - 1 : 0;
        if (fault.line == 0)
            return setting->offset;
        if (specialKind(*setting) == "lines") {
            const auto& lines = setting->children.front().children;
            return fault.line <= lines.size() ? places_.offsetInString(lines[fault.line - 1].offset, column)
                                              : setting->offset;
        }
        std::size_t index = 0;
        for (std::uint32_t line = 1; line < fault.line; ++line) {
            const auto end = setting->text.find('\n', index);
            if (end == std::string::npos)
                break;
            index = end + 1;
        }
        return setting->is(Kind::String) ? places_.offsetInString(setting->offset, index + column) : setting->offset;
    }

    // What stands for what JSON has no word for, however deep it lies; pictures must be there.
    void specials(const TextNode& value)
    {
        const std::string fault = faultOfSpecial(value), kind = specialKind(value);
        if (!fault.empty())
            return tell(Severity::Error, value.offset, fault);
        if (kind == "image" || kind == "data") {
            ValueReader reader(folder_);
            (void)reader.value(jsonOf(value));
            if (!reader.problem().empty())
                tell(Severity::Error, value.children.front().offset, reader.problem());
            return;
        }
        for (const TextNode& child : value.children)
            specials(child);
    }

    void value(const PatchLooks& patch, const TextNode& given, PortType type, const DescribedPort* described)
    {
        specials(given);
        if (patch.isForeign || !faultOfSpecial(given).empty())
            return;
        const std::string input = "input " + quoted(given.key) + ": ";
        if (const std::string fault = faultOfValue(given, type); !fault.empty())
            return tell(Severity::Error, given.offset, input + fault);
        if (type == PortType::String && given.is(Kind::String) && colorFromHex(given.text))
            tell(Severity::Warning, given.offset,
                input + quoted(given.text) + " is read as a colour; as a text it is {\"text\": " + quoted(given.text)
                    + "}");
        if (const std::string doubt = described ? doubtOfValue(given, described->measure) : ""; !doubt.empty())
            tell(Severity::Warning, given.offset, input + doubt);
    }

    void inputs(const PatchLooks& patch)
    {
        const TextNode* given = section(*patch.node, "inputs", Kind::Object, "an object");
        if (!given)
            return;
        const bool publishes = patch.isMacro || !patch.isKnown;
        twice(*given, publishes ? "input" : "value of input");
        for (const TextNode& entry : given->children) {
            const auto reference = publishes ? portReference(entry) : std::nullopt;
            if (reference && patch.child(reference->patch)) {
                port(patch, entry, *reference, true);
                if (patch.ownInputs.count(entry.key) > 0)
                    tell(Severity::Error, entry.keyOffset,
                        called(patch) + " has an input " + quoted(entry.key) + " of its own");
                continue;
            }
            const auto own = patch.ownInputs.find(entry.key);
            const bool isOwn = own != patch.ownInputs.end();
            if (reference && patch.isKnown && (!isOwn || own->second != PortType::String)) {
                unknownPatch(patch, patch, entry, reference->patch, reference->patchAt);
            } else if (!isOwn && patch.isKnown) {
                unknownPort(patch, patch, entry.keyOffset, entry.key, true);
                specials(entry);
            } else {
                value(patch, entry, isOwn ? own->second : PortType::Virtual,
                    patch.description ? patch.description->port(entry.key) : nullptr);
            }
        }
    }

    void outputs(const PatchLooks& patch)
    {
        const TextNode* given = section(*patch.node, "outputs", Kind::Object, "an object of \"patch.port\"");
        if (!given)
            return;
        twice(*given, "output");
        if (patch.isKnown && !patch.isMacro && !given->children.empty())
            return tell(Severity::Error, given->keyOffset, "only a patch that holds patches publishes outputs");
        for (const TextNode& entry : given->children) {
            const auto reference = portReference(entry);
            if (!reference)
                tell(Severity::Error, entry.offset, "output " + quoted(entry.key) + " is no \"patch.port\"");
            else
                port(patch, entry, *reference, false);
        }
    }

    void values(const PatchLooks& patch)
    {
        const TextNode* given = section(*patch.node, "values", Kind::Object, "an object");
        if (!given)
            return;
        twice(*given, "value");
        const TextNode* published = patch.node->member("inputs");
        for (const TextNode& entry : given->children) {
            const TextNode* source = published ? published->member(entry.key) : nullptr;
            const auto reference = source ? portReference(*source) : std::nullopt;
            const PatchLooks* child = reference ? patch.child(reference->patch) : nullptr;
            specials(entry);
            if (!child) {
                std::vector<std::string> keys;
                for (const TextNode& one : childrenOf(published))
                    keys.push_back(one.key);
                tellUnknown(
                    patch, entry.keyOffset, "no input " + quoted(entry.key) + " is published here", entry.key, keys);
                continue;
            }
            const auto found = child->inputs.find(reference->port);
            if (found != child->inputs.end() && !child->isForeign)
                value(patch, entry, found->second,
                    child->description ? child->description->port(reference->port) : nullptr);
        }
    }

    // Where a part of a reference stands.
    std::size_t partOffset(const TextNode& entry, std::size_t at) const
    {
        return entry.is(Kind::String) ? places_.offsetInString(entry.offset, at) : at;
    }

    void unknownPatch(const PatchLooks& patch, const PatchLooks& owner, const TextNode& entry, const std::string& name,
        std::size_t at)
    {
        std::vector<std::string> names;
        for (const PatchLooks& child : patch.children)
            names.push_back(child.name);
        tellUnknown(owner, partOffset(entry, at),
            "there is no patch " + quoted(name) + (patch.name.empty() ? "" : " in " + quoted(patch.name)), name, names);
    }

    void unknownPort(
        const PatchLooks& owner, const PatchLooks& of, std::size_t offset, const std::string& key, bool isInput)
    {
        const auto& ports = isInput ? of.inputs : of.outputs;
        const auto& others = isInput ? of.outputs : of.inputs;
        const char* const what = isInput ? " has no input " : " has no output ";
        auto names = keysOf(ports);
        std::string hint;
        if (others.count(key) > 0)
            hint = isInput ? "; that is an output" : "; that is an input";
        else if (of.description && of.description->port(key) && nearestName(key, names).empty())
            hint = " with these settings";
        if (!hint.empty())
            names.clear();
        tellUnknown(of.isForeign ? of : owner, offset, called(of) + what + quoted(key) + hint, key, names);
    }

    // A port that an entry names; its type, or absent if it isn't there (and is told) or not known.
    std::optional<PortType> port(
        const PatchLooks& macro, const TextNode& entry, const PortReference& reference, bool isInput)
    {
        const PatchLooks* child = macro.child(reference.patch);
        if (!child) {
            unknownPatch(macro, macro, entry, reference.patch, reference.patchAt);
            return std::nullopt;
        }
        const auto& ports = isInput ? child->inputs : child->outputs;
        const auto found = ports.find(reference.port);
        if (found != ports.end())
            return found->second;
        if (child->isKnown)
            unknownPort(macro, *child, partOffset(entry, reference.portAt), reference.port, isInput);
        return std::nullopt;
    }

    void connections(const PatchLooks& patch)
    {
        const TextNode* given
            = section(*patch.node, "connections", Kind::Array, "a list of \"patch.port > patch.port\"");
        std::map<std::pair<std::string, std::string>, std::size_t> sources; // by input: where it was seen first
        const TextNode* published = patch.node->member("inputs");
        for (const TextNode& entry : childrenOf(published)) {
            if (const auto reference = portReference(entry); reference && patch.child(reference->patch))
                source(sources, {reference->patch, reference->port}, entry.offset);
        }
        for (const TextNode& entry : childrenOf(given)) {
            const auto ends = connectionEnds(entry);
            if (!ends) {
                tell(Severity::Error, entry.offset,
                    (entry.is(Kind::String) ? quoted(entry.text) + " is" : std::string("this is"))
                        + " no connection; one reads \"patch.port > patch.port\"");
                continue;
            }
            const auto from = port(patch, entry, ends->from, false), to = port(patch, entry, ends->to, true);
            source(sources, {ends->to.patch, ends->to.port}, partOffset(entry, ends->to.patchAt));
            if (from && to && !canBecome(*from, *to))
                tell(Severity::Warning, partOffset(entry, ends->from.patchAt),
                    std::string("a value of type ") + nameOf(*from) + " never becomes one of type " + nameOf(*to));
        }
    }

    void source(std::map<std::pair<std::string, std::string>, std::size_t>& sources,
        const std::pair<std::string, std::string>& input, std::size_t offset)
    {
        const auto [first, isNew] = sources.emplace(input, offset);
        if (!isNew)
            tell(Severity::Error, offset,
                "input " + quoted(input.second) + " of " + quoted(input.first) + " has two sources, the other in line "
                    + std::to_string(places_.at(first->second).line));
    }

    static bool canBecome(PortType from, PortType to)
    {
        if (from == PortType::Virtual || to == PortType::Virtual || from == to)
            return true;
        // A text may say a number, a colour or nothing of the kind.
        return from == PortType::String ? to != PortType::Image && to != PortType::Mesh && to != PortType::Interaction
                                        : convertedIfPossible(zeroOf(from), to).has_value();
    }

    void unseen(const PatchLooks& macro)
    {
        for (const PatchLooks* patch : unseenPatches(macro)) {
            if (!patch->isForeign)
                tell(Severity::Warning, patch->node->keyOffset,
                    "nothing shows " + quoted(patch->name)
                        + ": it draws nothing, and nothing that is drawn or published comes from it");
        }
    }

    const std::string_view text_;
    const std::string path_, folder_;
    std::set<std::string> elsewhere_; // virtual patches that lie in files of their own
    const PatchRegistry& registry_;
    const TextPlaces places_;
    std::vector<Diagnostic> found_;
};

} // namespace

std::vector<Diagnostic> checkText(std::string_view text, const std::string& path, const PatchRegistry& registry)
{
    return TextCheck(text, path, registry).all();
}

} // namespace vitrel::qc
