#include "platform/quartzcomposer/graph/GraphBuilder.h"

#include <algorithm>

namespace vitrel::qc {

namespace {

// Definitions multiply what a file holds. A patch takes about a kilobyte.
constexpr std::size_t kMaxPatches = 60'000;
constexpr std::size_t kMaxPorts = 250'000;
constexpr std::size_t kMaxSteps = 2'000'000; // values stored, ports published, connections made
constexpr int kMaxLevels = 64;

// Stands for a class that isn't known: takes part in nothing.
class UnknownPatch final : public Patch
{
};

} // namespace

GraphBuilder::GraphBuilder(const CompositionFile& file, const PatchRegistry& registry, const Importing* around)
    : file_(file)
    , registry_(registry)
{
    const auto slash = file.path.rfind('/');
    folder_ = slash == std::string::npos ? std::string(file.path.empty() ? "" : ".") : file.path.substr(0, slash);
    auto importing = std::make_shared<Importing>(around ? *around : Importing{&registry, {}, {}});
    importing->files.push_back(file.path);
    if (!importing->patches)
        importing->patches = std::make_shared<std::size_t>(0);
    importing_ = importing;
}

std::unique_ptr<Macro> GraphBuilder::build(Scope& scope)
{
    auto root = make(file_.root, &scope, nullptr, 0);
    std::unique_ptr<Macro> macro(dynamic_cast<Macro*>(root.get()));
    if (macro) {
        (void)root.release();
    } else {
        macro = std::make_unique<Macro>();
        macro->scope = &scope;
        macro->settle();
    }
    for (const auto& [key, value] : file_.inputParameters) {
        InputPort* port = macro->publishedInput(key);
        const auto given = port ? portValueForHost(value, port->type()) : std::nullopt;
        if (given)
            port->set(*given);
    }
    return macro;
}

bool GraphBuilder::spend(std::size_t steps)
{
    steps_ += steps;
    return steps_ <= kMaxSteps;
}

std::unique_ptr<Patch> GraphBuilder::make(const FileNode& node, Scope* scope, Macro* parent, int level)
{
    if (*importing_->patches >= kMaxPatches || ports_ > kMaxPorts || level > kMaxLevels)
        return nullptr;
    ++patches;
    ++*importing_->patches;
    const bool isVirtual = node.className.starts_with('/');
    const FileNode* content = &node;
    if (isVirtual) {
        const auto definition = file_.virtualPatches.find(node.className);
        const bool containsItself = std::find(open_.begin(), open_.end(), node.className) != open_.end();
        content = definition == file_.virtualPatches.end() || containsItself ? nullptr : &definition->second;
    }
    std::unique_ptr<Patch> patch;
    if (isVirtual)
        patch = content ? std::make_unique<Macro>() : nullptr;
    else if (!(patch = registry_.make(node.className + "/" + node.identifier)))
        patch = registry_.make(node.className);
    if (!patch) {
        ++unsupported[node.className == "QCPlugInPatch" && !node.identifier.empty()
                ? node.className + "/" + node.identifier
                : node.className];
        return std::make_unique<UnknownPatch>();
    }
    patch->parent = parent;
    patch->scope = scope;
    patch->node = &node;
    const Settings settings{node.state, node.identifier, folder_, importing_};
    const std::string timebase = settings.text("timebase");
    patch->timebase = timebase == "local" ? Patch::Timebase::Local
        : timebase == "external"          ? Patch::Timebase::External
                                          : Patch::Timebase::Parent;
    patch->configure(settings);
    if (const std::string missing = patch->unsupported(); !missing.empty())
        ++unsupported[missing];
    if (auto* macro = dynamic_cast<Macro*>(patch.get())) {
        if (isVirtual)
            open_.push_back(node.className);
        fill(*macro, *content, level);
        if (isVirtual) {
            open_.pop_back();
            const auto defaults = file_.virtualDefaults.find(node.className);
            if (defaults != file_.virtualDefaults.end()) {
                for (const auto& [key, value] : defaults->second) {
                    if (!spend(1))
                        break;
                    if (InputPort* port = macro->publishedInput(key))
                        port->set(portValueForHost(value, port->type()).value_or(port->value()));
                }
            }
        }
    }
    patch->addSystemPorts();
    ports_ += patch->inputs().size() + patch->outputs().size();
    store(*patch, node);
    noteDepth(*patch);
    return patch;
}

void GraphBuilder::store(Patch& patch, const FileNode& node)
{
    for (const auto& [key, value] : node.portValues) {
        if (!spend(1))
            return;
        InputPort* port = patch.input(key);
        const auto given = port && !value.isNothing() ? portValueForHost(value, port->type()) : std::nullopt;
        if (given)
            port->set(*given);
    }
}

void GraphBuilder::noteDepth(const Patch& patch)
{
    const InputPort* depth = patch.input("inputZBuffer");
    const auto* mode = depth ? depth->value().as<std::uint32_t>() : nullptr;
    if (mode && (*mode != 0 || depth->connected()))
        needsDepth = true;
}

void GraphBuilder::fill(Macro& macro, const FileNode& node, int level)
{
    for (const FileNode& child : node.nodes) {
        auto patch = make(child, macro.scopeOfNodes(), &macro, level + 1);
        if (!patch || dynamic_cast<UnknownPatch*>(patch.get()) || !patch->unsupported().empty())
            strange_[&macro].emplace(child.key, "");
        if (patch && !macro.node(child.key))
            macro.addNode(child.key, std::move(patch));
    }
    publish(macro, node);
    connect(macro, node);
    macro.settle();
}

bool GraphBuilder::isStrange(const Macro& macro, const std::string& node, const std::string& port) const
{
    const auto has = [this](const Macro* of, const std::string& first, const std::string& second) {
        const auto found = strange_.find(of);
        return found != strange_.end() && found->second.count({first, second}) > 0;
    };
    return has(&macro, node, "") || has(dynamic_cast<const Macro*>(macro.node(node)), "", port);
}

void GraphBuilder::publish(Macro& macro, const FileNode& node)
{
    const auto leftOut = [&](const FilePublishedPort& published) {
        if (isStrange(macro, published.node, published.port))
            strange_[&macro].emplace("", published.key);
        else
            ++dangling;
    };
    for (const FilePublishedPort& published : node.publishedInputs) {
        if (!spend(1))
            return;
        Patch* child = macro.node(published.node);
        InputPort* port = child ? child->input(published.port) : nullptr;
        if (!port || !macro.publishInput(published.key, *port)) {
            leftOut(published);
            continue;
        }
        const auto given = published.value.isNothing() ? std::nullopt : portValueForHost(published.value, port->type());
        if (given)
            macro.publishedInput(published.key)->set(*given);
    }
    for (const FilePublishedPort& published : node.publishedOutputs) {
        if (!spend(1))
            return;
        Patch* child = macro.node(published.node);
        Source* port = child ? child->output(published.port) : nullptr;
        if (!port || !macro.publishOutput(published.key, *port))
            leftOut(published);
    }
}

void GraphBuilder::connect(Macro& macro, const FileNode& node)
{
    for (const FileConnection& connection : node.connections) {
        if (!spend(1))
            return;
        Patch* from = macro.node(connection.sourceNode);
        Patch* to = macro.node(connection.destinationNode);
        Source* source = from ? from->output(connection.sourcePort) : nullptr;
        InputPort* port = to ? to->input(connection.destinationPort) : nullptr;
        if (source && port) {
            port->connect(source);
            needsDepth |= port->key() == "inputZBuffer";
        } else if (!isStrange(macro, connection.sourceNode, connection.sourcePort)
            && !isStrange(macro, connection.destinationNode, connection.destinationPort)) {
            ++dangling;
        }
    }
}

} // namespace vitrel::qc
