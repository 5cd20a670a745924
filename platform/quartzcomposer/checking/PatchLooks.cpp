#include "platform/quartzcomposer/checking/PatchLooks.h"

#include "platform/quartzcomposer/checking/ValueCheck.h"
#include "platform/quartzcomposer/file/CompositionReader.h"
#include "platform/quartzcomposer/file/TextValues.h"

#include <algorithm>
#include <set>
#include <tuple>

namespace vitrel::qc {

namespace {

using Kind = TextNode::Kind;

// As deep as a composition may be.
constexpr int kMaxLevels = 64;

} // namespace

std::optional<PortReference> portReference(const TextNode& node)
{
    if (node.is(Kind::Array) && node.children.size() == 2 && node.children[0].is(Kind::String)
        && node.children[1].is(Kind::String))
        return PortReference{
            node.children[0].text, node.children[1].text, node.children[0].offset, node.children[1].offset};
    const auto dot = node.is(Kind::String) ? node.text.find('.') : std::string::npos;
    if (dot == std::string::npos)
        return std::nullopt;
    return PortReference{node.text.substr(0, dot), node.text.substr(dot + 1), 0, dot + 1};
}

std::optional<ConnectionEnds> connectionEnds(const TextNode& entry)
{
    const auto& parts = entry.children;
    if (entry.is(Kind::Array) && parts.size() == 4
        && std::all_of(parts.begin(), parts.end(), [](const TextNode& part) { return part.is(Kind::String); }))
        return ConnectionEnds{{parts[0].text, parts[1].text, parts[0].offset, parts[1].offset},
            {parts[2].text, parts[3].text, parts[2].offset, parts[3].offset}};
    const std::size_t arrow = entry.is(Kind::String) ? entry.text.find(" > ") : std::string::npos;
    if (arrow == std::string::npos)
        return std::nullopt;
    TextNode half;
    half.kind = Kind::String;
    half.text = entry.text.substr(0, arrow);
    const auto from = portReference(half);
    half.text = entry.text.substr(arrow + 3);
    auto to = portReference(half);
    if (!from || !to)
        return std::nullopt;
    to->patchAt += arrow + 3;
    to->portAt += arrow + 3;
    return ConnectionEnds{*from, *to};
}

const PatchLooks* PatchLooks::child(const std::string& wanted) const
{
    const auto found
        = std::find_if(children.begin(), children.end(), [&](const PatchLooks& child) { return child.name == wanted; });
    return found == children.end() ? nullptr : &*found;
}

Settings PatchLooks::settings() const
{
    return {&values, identifier, folder, importing};
}

PatchReader::PatchReader(const TextNode& composition, const PatchRegistry& registry, const std::string& path)
    : composition_(composition)
    , registry_(registry)
    , folder_(folderOf(path))
{
    auto importing = std::make_shared<Importing>();
    importing->registry = &registry;
    importing->files.push_back(path);
    importing->patches = std::make_shared<std::size_t>(0);
    importing_ = importing;
}

PatchLooks PatchReader::read(const TextNode& composition)
{
    return readPatch(composition, "", 0);
}

PatchLooks PatchReader::readPatch(const TextNode& node, const std::string& name, int level)
{
    PatchLooks looks;
    looks.node = &node;
    looks.name = name;
    looks.folder = folder_;
    looks.importing = importing_;
    looks.isForeign = node.member("raw") != nullptr;
    if (const auto* text = node.textMember("class"))
        looks.className = *text;
    else if (level == 0)
        looks.className = "QCPatch";
    if (const TextNode* settings = node.member("settings"); settings && settings->is(Kind::Object))
        looks.values = ValueReader(folder_).dictionary(jsonOf(*settings));
    if (const auto* text = node.textMember("identifier"))
        looks.identifier = *text;
    else if (const auto kept = looks.values.find("identifier"); kept != looks.values.end())
        looks.identifier = vitrel::description(kept->second);
    looks.values.erase("identifier");
    const auto slash = looks.className.find('/', 1);
    if (looks.identifier.empty() && slash != std::string::npos && looks.className[0] != '/') {
        looks.identifier = looks.className.substr(slash + 1);
        looks.className.resize(slash);
    }
    const TextNode* patches = node.member("patches");
    if (patches && patches->is(Kind::Object) && level < kMaxLevels) {
        looks.children.reserve(patches->children.size());
        for (const TextNode& child : patches->children) {
            if (child.is(Kind::Object))
                looks.children.push_back(readPatch(child, child.key, level + 1));
        }
    }
    makePatch(looks);
    if (!looks.isMacro && looks.isKnown)
        return looks;
    publish(looks, node);
    // One that gives something computes when it is asked, and draws only then.
    looks.draws |= looks.outputs.empty()
        && std::any_of(
            looks.children.begin(), looks.children.end(), [](const PatchLooks& child) { return child.draws; });
    return looks;
}

void PatchReader::makePatch(PatchLooks& looks)
{
    if (looks.className.starts_with('/')) {
        const TextNode* all = composition_.member("virtualPatches");
        const TextNode* definition = all ? all->member(looks.className) : nullptr;
        looks.isKnown = definition && definition->is(Kind::Object);
        if (!looks.isKnown)
            return;
        const auto [entry, isNew] = virtualPorts_.try_emplace(looks.className); // empty for one within itself
        if (isNew) {
            const PatchLooks inside = readPatch(*definition, "", 0);
            entry->second = {inside.inputs, inside.outputs};
            virtualDraws_[looks.className] = inside.draws;
        }
        std::tie(looks.inputs, looks.outputs) = entry->second;
        looks.ownInputs = looks.inputs;
        looks.draws |= virtualDraws_[looks.className];
        return;
    }
    looks.description = registry_.describe(looks.className, looks.identifier);
    const std::string made = registry_.nameFor(looks.className, looks.identifier);
    looks.patch = made.empty() ? nullptr : registry_.make(made);
    looks.isKnown = looks.patch != nullptr;
    looks.draws = !looks.isKnown; // it may
    if (!looks.patch)
        return;
    const Settings settings = looks.settings();
    if (settings.text("timebase") == "external")
        looks.patch->timebase = Patch::Timebase::External;
    looks.patch->configure(settings);
    const auto* macro = dynamic_cast<const Macro*>(looks.patch.get());
    looks.isMacro = macro != nullptr;
    looks.draws = macro ? macro->alwaysConsumer() : looks.patch->kind() == Patch::Kind::Consumer;
    looks.patch->addSystemPorts();
    for (const auto& port : looks.patch->inputs())
        looks.ownInputs.emplace(port->key(), port->type());
    if (macro)
        looks.ownInputs.emplace("_enable", PortType::Boolean); // if anything in it draws
    looks.inputs = looks.ownInputs;
    for (const auto& port : looks.patch->outputs())
        looks.outputs.emplace(port->key(), port->type());
}

void PatchReader::publish(PatchLooks& looks, const TextNode& node)
{
    for (const bool isInput : {true, false}) {
        const TextNode* published = node.member(isInput ? "inputs" : "outputs");
        for (const TextNode& entry : childrenOf(published)) {
            const auto reference = portReference(entry);
            const PatchLooks* child = reference ? looks.child(reference->patch) : nullptr;
            if (!child)
                continue;
            const auto& ports = isInput ? child->inputs : child->outputs;
            const auto port = ports.find(reference->port);
            (isInput ? looks.inputs : looks.outputs)
                .emplace(entry.key, port == ports.end() ? PortType::Virtual : port->second);
        }
    }
}

std::vector<const PatchLooks*> unseenPatches(const PatchLooks& macro)
{
    std::set<std::string> seen;
    std::vector<std::string> open;
    const auto see = [&](const std::string& name) {
        if (seen.insert(name).second)
            open.push_back(name);
    };
    for (const PatchLooks& child : macro.children) {
        // What gives nothing is there for what it does.
        if (child.draws || !child.isKnown || child.outputs.empty())
            see(child.name);
    }
    const TextNode* outputs = macro.node->member("outputs");
    for (const TextNode& entry : childrenOf(outputs)) {
        if (const auto reference = portReference(entry))
            see(reference->patch);
    }
    // A splitter that publishes what nobody uses is a sign for the host.
    const TextNode* inputs = macro.node->member("inputs");
    for (const TextNode& entry : childrenOf(inputs)) {
        const auto reference = portReference(entry);
        const PatchLooks* child = reference ? macro.child(reference->patch) : nullptr;
        if (child && child->className == "QCSplitter")
            see(child->name);
    }
    std::multimap<std::string, std::string> sources;
    const TextNode* connections = macro.node->member("connections");
    for (const TextNode& entry : childrenOf(connections)) {
        if (const auto ends = connectionEnds(entry))
            sources.emplace(ends->to.patch, ends->from.patch);
    }
    while (!open.empty()) {
        const std::string name = open.back();
        open.pop_back();
        const auto [first, last] = sources.equal_range(name);
        for (auto source = first; source != last; ++source)
            see(source->second);
    }
    std::vector<const PatchLooks*> unseen;
    for (const PatchLooks& child : macro.children) {
        if (seen.count(child.name) == 0)
            unseen.push_back(&child);
    }
    return unseen;
}

} // namespace vitrel::qc
