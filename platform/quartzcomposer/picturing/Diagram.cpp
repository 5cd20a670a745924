#include "platform/quartzcomposer/picturing/Diagram.h"

#include "platform/quartzcomposer/graph/Macro.h"

#include <algorithm>
#include <deque>
#include <map>
#include <memory>
#include <set>

namespace vitrel::qc {

namespace {

// As many boxes are legible on a page; of more, macros stay folded. No picture has more than the second.
constexpr int kLegible = 100, kMost = 800;
constexpr std::size_t kMostEdges = 2000; // a tangle of them takes a quarter of a gigabyte
// What definitions of virtual patches multiply to, and how deep.
constexpr int kMostInstances = 30'000, kMostLevels = 32;
constexpr std::size_t kMostRows = 24, kMostUnconnected = 10;

// A patch as it stands in the whole, definitions put in their places.
struct Instance {
    const FileNode* node = nullptr;
    const FileNode* content = nullptr; // its nodes; null: it is no macro
    Instance* parent = nullptr;
    std::string path;
    std::unique_ptr<Patch> patch; // for its ports; null for a class that isn't known
    std::vector<std::unique_ptr<Instance>> children;
    std::map<std::string, Instance*, std::less<>> byKey;
    int patches = 0; // inside, on all levels
    int layer = 0;
    bool draws = false, isOpen = false, hasBox = false; // an open macro has one for ports of its own
    std::size_t box = 0;
    std::map<std::string, std::string> publishedInputs, publishedOutputs; // by port, of those that the parent publishes
};

struct Place {
    Instance* instance = nullptr; // null: there is none
    std::string port;
};

class Builder
{
public:
    Builder(const CompositionFile& file, const PatchRegistry& registry)
        : file_(file)
        , registry_(registry)
    { }
    Result<Diagram, std::string> build(const std::vector<std::string>& open);

private:
    std::unique_ptr<Instance> make(const FileNode& node, Instance* parent, int level);
    void fill(Instance& macro, int level);
    bool openNamed(const std::string& name, Instance& from);
    int openWhatIsLegible();
    Place leafOf(Instance& macro, const std::string& node, const std::string& port, bool isInput, bool stopAtFolded);
    PortType typeOf(const Place& place, bool isInput);
    static bool hasOwnPorts(const Instance& macro);
    void addBox(Instance& instance, Diagram::Frame& frame);
    void addBoxes(Instance& macro, Diagram::Frame& frame);
    void addEdges(Instance& macro);
    void addOutside();
    void addEdge(const Place& from, const Place& to);
    void addPorts(Instance& instance);
    Diagram::Port inputPort(Instance& instance, const std::string& key);
    Value storedValue(Instance& instance, const std::string& key);
    std::string titleOf(const Instance& instance) const;

    const CompositionFile& file_;
    const PatchRegistry& registry_;
    std::unique_ptr<Instance> root_;
    std::vector<std::string> definitions_; // that are being put in
    int instances_ = 0;
    Diagram diagram_;
    std::map<std::size_t, Instance*> instanceOf_; // by box
    std::set<std::pair<std::size_t, std::string>> connectedInputs_, connectedOutputs_;
};

std::unique_ptr<Instance> Builder::make(const FileNode& node, Instance* parent, int level)
{
    if (++instances_ > kMostInstances)
        return nullptr;
    auto instance = std::make_unique<Instance>();
    instance->node = &node;
    instance->parent = parent;
    if (parent)
        instance->path = parent->path.empty() ? node.key : parent->path + "/" + node.key;
    const auto definition = file_.virtualPatches.find(node.className);
    const bool isDefined = definition != file_.virtualPatches.end()
        && std::find(definitions_.begin(), definitions_.end(), node.className) == definitions_.end();
    const FileNode& content = isDefined ? definition->second : node;
    if (isDefined)
        instance->patch = std::make_unique<Macro>();
    else if (!(instance->patch = registry_.make(registry_.nameFor(node.className, node.identifier)))
        && node.nodes.empty())
        return instance;
    if (instance->patch && !isDefined)
        instance->patch->configure({node.state, node.identifier, {}});
    if (!content.nodes.empty() && level < kMostLevels) {
        instance->content = &content;
        if (isDefined)
            definitions_.push_back(node.className);
        fill(*instance, level);
        if (isDefined)
            definitions_.pop_back();
    }
    const auto* macro = dynamic_cast<Macro*>(instance->patch.get());
    if (!macro)
        instance->draws = instance->patch && instance->patch->kind() == Patch::Kind::Consumer;
    else
        instance->draws = macro->alwaysConsumer()
            || (content.publishedOutputs.empty()
                && std::any_of(instance->children.begin(), instance->children.end(),
                    [](const auto& child) { return child->draws; }));
    return instance;
}

void Builder::fill(Instance& macro, int level)
{
    int layer = 0;
    for (const FileNode& node : macro.content->nodes) {
        auto child = make(node, &macro, level + 1);
        if (!child)
            return;
        if (child->draws)
            child->layer = ++layer;
        macro.patches += 1 + child->patches;
        macro.byKey.emplace(node.key, child.get());
        macro.children.push_back(std::move(child));
    }
    for (const auto& published : macro.content->publishedInputs) {
        if (const auto found = macro.byKey.find(published.node); found != macro.byKey.end())
            found->second->publishedInputs.emplace(published.port, published.key);
    }
    for (const auto& published : macro.content->publishedOutputs) {
        if (const auto found = macro.byKey.find(published.node); found != macro.byKey.end())
            found->second->publishedOutputs.emplace(published.port, published.key);
    }
}

bool Builder::openNamed(const std::string& name, Instance& from)
{
    bool isThere = false;
    for (const auto& child : from.children) {
        if (child->content && (child->path == name || child->node->key == name)) {
            isThere = true;
            for (Instance* each = child.get(); each; each = each->parent)
                each->isOpen = true;
        }
        isThere |= openNamed(name, *child);
    }
    return isThere;
}

// From the outermost inwards, the smaller ones first. Gives how many boxes there are then.
int Builder::openWhatIsLegible()
{
    int boxes = 0;
    std::vector<Instance*> closed;
    std::deque<Instance*> todo{root_.get()};
    root_->isOpen = true;
    while (!todo.empty()) {
        Instance* const macro = todo.front();
        todo.pop_front();
        for (const auto& child : macro->children) {
            if (child->isOpen)
                todo.push_back(child.get());
            else if (child->content)
                closed.push_back(child.get());
            boxes += !child->isOpen;
        }
    }
    while (!closed.empty()) {
        std::stable_sort(closed.begin(), closed.end(),
            [](const Instance* a, const Instance* b) { return a->children.size() < b->children.size(); });
        std::vector<Instance*> inner;
        for (Instance* macro : closed) {
            if (boxes - 1 + int(macro->children.size()) > kLegible)
                continue;
            macro->isOpen = true;
            boxes += int(macro->children.size()) - 1;
            for (const auto& child : macro->children) {
                if (child->content)
                    inner.push_back(child.get());
            }
        }
        closed = std::move(inner);
    }
    return boxes;
}

// What a port stands for: through published ones down to a patch, or to a macro that shows nothing of what is inside.
Place Builder::leafOf(
    Instance& macro, const std::string& node, const std::string& port, bool isInput, bool stopAtFolded)
{
    Instance* at = &macro;
    std::string nodeKey = node, portKey = port;
    for (int level = 0; level < kMostLevels; ++level) {
        const auto found = at->byKey.find(nodeKey);
        if (found == at->byKey.end())
            return {};
        Instance* const child = found->second;
        if (!child->content || (stopAtFolded && !child->isOpen))
            return {child, portKey};
        const auto& published = isInput ? child->content->publishedInputs : child->content->publishedOutputs;
        const auto next = std::find_if(
            published.begin(), published.end(), [&](const FilePublishedPort& each) { return each.key == portKey; });
        if (next == published.end())
            return {child, portKey}; // one of the macro's own
        at = child;
        nodeKey = next->node;
        portKey = next->port;
    }
    return {};
}

PortType Builder::typeOf(const Place& place, bool isInput)
{
    Place leaf = place;
    if (place.instance->content && !place.instance->isOpen && place.instance->parent)
        leaf = leafOf(*place.instance->parent, place.instance->node->key, place.port, isInput, false);
    Patch* const patch = leaf.instance ? leaf.instance->patch.get() : nullptr;
    if (!patch)
        return PortType::Virtual;
    if (isInput) {
        const InputPort* port = patch->input(leaf.port);
        return port ? port->type() : leaf.port == "_enable" ? PortType::Boolean : PortType::Virtual;
    }
    const Source* port = patch->output(leaf.port);
    return port ? port->type() : PortType::Virtual;
}

std::string Builder::titleOf(const Instance& instance) const
{
    const FileNode& node = *instance.node;
    if (const auto described = registry_.describe(node.className, node.identifier); described && *described->title)
        return described->title;
    return node.className.starts_with("/") || node.identifier.empty() ? node.className
                                                                      : node.className + " " + node.identifier;
}

// An iterator's count, a transformation's angles, what switches a macro off.
bool Builder::hasOwnPorts(const Instance& macro)
{
    const auto& published = macro.content->publishedInputs;
    const auto isOwn = [&](const std::string& port) {
        return std::none_of(published.begin(), published.end(), [&](const auto& each) { return each.key == port; });
    };
    const auto& connections = macro.parent->content->connections;
    return (macro.patch && !macro.patch->inputs().empty())
        || std::any_of(connections.begin(), connections.end(), [&](const FileConnection& connection) {
               return connection.destinationNode == macro.node->key && isOwn(connection.destinationPort);
           });
}

void Builder::addBox(Instance& instance, Diagram::Frame& frame)
{
    Diagram::Box box;
    const bool isUnknown = !instance.patch || !instance.patch->unsupported().empty();
    box.kind = isUnknown   ? Diagram::Kind::Unknown
        : instance.content ? Diagram::Kind::Macro
        : instance.draws   ? Diagram::Kind::Consumer
                           : Diagram::Kind::Processor;
    box.name = instance.node->key;
    box.title = titleOf(instance);
    const Settings settings{instance.node->state, instance.node->identifier, {}};
    box.detail = settings.text("expression");
    box.layer = instance.layer;
    box.inside = instance.isOpen ? 0 : instance.patches;
    diagram_.folded += instance.content && !instance.isOpen;
    instance.hasBox = true;
    instance.box = diagram_.boxes.size();
    instanceOf_[instance.box] = &instance;
    frame.boxes.push_back(instance.box);
    diagram_.boxes.push_back(std::move(box));
}

void Builder::addBoxes(Instance& macro, Diagram::Frame& frame)
{
    for (const auto& child : macro.children) {
        if (!child->isOpen) {
            addBox(*child, frame);
            continue;
        }
        frame.frames.push_back({child->node->key, titleOf(*child), child->layer, {}, {}});
        if (hasOwnPorts(*child))
            addBox(*child, frame.frames.back());
        addBoxes(*child, frame.frames.back());
    }
}

void Builder::addEdge(const Place& from, const Place& to)
{
    if (!from.instance || !to.instance || !from.instance->hasBox || !to.instance->hasBox)
        return;
    PortType type = typeOf(from, false);
    if (type == PortType::Virtual)
        type = typeOf(to, true);
    diagram_.edges.push_back({from.instance->box, to.instance->box, from.port, to.port, type});
    connectedOutputs_.emplace(from.instance->box, from.port);
    connectedInputs_.emplace(to.instance->box, to.port);
}

void Builder::addEdges(Instance& macro)
{
    for (const FileConnection& connection : macro.content->connections)
        addEdge(leafOf(macro, connection.sourceNode, connection.sourcePort, false, true),
            leafOf(macro, connection.destinationNode, connection.destinationPort, true, true));
    for (const auto& child : macro.children) {
        if (child->isOpen)
            addEdges(*child);
    }
}

// What the composition publishes.
void Builder::addOutside()
{
    const auto pill = [&](Diagram::Kind kind, const std::string& key) {
        diagram_.root.boxes.push_back(diagram_.boxes.size());
        diagram_.boxes.push_back({.kind = kind, .name = key});
        return diagram_.boxes.size() - 1;
    };
    for (const auto& published : root_->content->publishedInputs) {
        const Place to = leafOf(*root_, published.node, published.port, true, true);
        if (!to.instance || !to.instance->hasBox || int(diagram_.boxes.size()) > kMost)
            continue;
        const auto from = pill(Diagram::Kind::Input, published.key);
        diagram_.edges.push_back({from, to.instance->box, {}, to.port, typeOf(to, true)});
        connectedInputs_.emplace(to.instance->box, to.port);
    }
    for (const auto& published : root_->content->publishedOutputs) {
        const Place from = leafOf(*root_, published.node, published.port, false, true);
        if (!from.instance || !from.instance->hasBox || int(diagram_.boxes.size()) > kMost)
            continue;
        const auto to = pill(Diagram::Kind::Output, published.key);
        diagram_.edges.push_back({from.instance->box, to, from.port, {}, typeOf(from, false)});
        connectedOutputs_.emplace(from.instance->box, from.port);
    }
}

// At the patch, at the macro that publishes it, or where that says it.
Value Builder::storedValue(Instance& instance, const std::string& key)
{
    std::string port = key;
    Value value;
    for (Instance* at = &instance; at; at = at->parent) {
        const auto& stored = at->node->portValues;
        if (const auto found = stored.find(port); found != stored.end() && !found->second.isNothing())
            value = found->second;
        const auto published = at->publishedInputs.find(port);
        if (published == at->publishedInputs.end())
            break;
        port = published->second;
        if (at->parent == root_.get()) {
            if (const auto given = file_.inputParameters.find(port); given != file_.inputParameters.end())
                value = given->second;
        }
    }
    return value;
}

Diagram::Port Builder::inputPort(Instance& instance, const std::string& key)
{
    const bool showsInner = instance.content && !instance.isOpen; // the names are its author's
    Diagram::Port port{key, showsInner ? key : portLabel(key)};
    port.type = typeOf({&instance, key}, true);
    const auto found = instance.publishedInputs.find(key);
    if (found != instance.publishedInputs.end() && instance.parent != root_.get()) // those have boxes of their own
        port.published = found->second;
    const Value stored = storedValue(instance, key);
    if (stored.isNothing() || connectedInputs_.contains({instance.box, key}))
        return port;
    const auto value = port.type == PortType::Virtual ? portValue(stored)
                                                      : portValueForHost(stored, port.type).value_or(PortValue());
    const InputPort* own = instance.patch && !showsInner ? instance.patch->input(key) : nullptr;
    const bool isUsual = own ? sameValue(value, own->value()) : key == "_enable" && sameValue(value, PortValue(true));
    if (isUsual)
        return port;
    port.value = valueLabel(value);
    if (const auto* color = value.as<NSColor>())
        port.color = *color;
    return port;
}

// Those that say something: connected, published, of another value than the usual.
void Builder::addPorts(Instance& instance)
{
    Diagram::Box& box = diagram_.boxes[instance.box];
    std::vector<std::string> keys;
    std::set<std::string> known;
    const auto add = [&](const std::string& key) {
        if (known.insert(key).second)
            keys.push_back(key);
    };
    const bool showsInner = instance.content && !instance.isOpen;
    if (showsInner) {
        for (const auto& published : instance.content->publishedInputs)
            add(published.key);
    } else if (instance.patch) {
        for (const auto& port : instance.patch->inputs())
            add(port->key());
    }
    for (const auto& [key, value] : instance.node->portValues) {
        if (!instance.isOpen)
            add(key);
    }
    for (auto at = connectedInputs_.lower_bound({instance.box, ""});
         at != connectedInputs_.end() && at->first == instance.box; ++at)
        add(at->second);
    std::size_t free = 0;
    for (const std::string& key : keys) {
        auto port = inputPort(instance, key);
        const bool isConnected = connectedInputs_.contains({instance.box, key});
        if (!isConnected && port.value.empty() && port.published.empty())
            continue;
        if (!isConnected && (++free > kMostUnconnected || box.inputs.size() >= kMostRows))
            ++box.leftOut;
        else
            box.inputs.push_back(std::move(port));
    }
    for (auto at = connectedOutputs_.lower_bound({instance.box, ""});
         at != connectedOutputs_.end() && at->first == instance.box; ++at) {
        Diagram::Port port{at->second, showsInner ? at->second : portLabel(at->second)};
        port.type = typeOf({&instance, at->second}, false);
        const auto found = instance.publishedOutputs.find(at->second);
        if (found != instance.publishedOutputs.end() && instance.parent != root_.get())
            port.published = found->second;
        box.outputs.push_back(std::move(port));
    }
}

Result<Diagram, std::string> Builder::build(const std::vector<std::string>& open)
{
    root_ = make(file_.root, nullptr, 0);
    if (!root_ || !root_->content)
        return std::string("there is no patch in it to draw");
    for (const std::string& name : open) {
        if (!openNamed(name, *root_))
            return "there is no macro \"" + name + "\" in it";
    }
    if (const int boxes = openWhatIsLegible(); boxes > kMost)
        return std::to_string(boxes) + " patches would be side by side, and a picture has at most "
            + std::to_string(kMost);
    addBoxes(*root_, diagram_.root);
    addEdges(*root_);
    addOutside();
    if (diagram_.edges.size() > kMostEdges)
        return std::to_string(diagram_.edges.size()) + " connections are more than a picture can show";
    for (const auto& [box, instance] : instanceOf_)
        addPorts(*instance);
    return std::move(diagram_);
}

} // namespace

Result<Diagram, std::string> diagramOf(
    const CompositionFile& file, const PatchRegistry& registry, const std::vector<std::string>& open)
{
    return Builder(file, registry).build(open);
}

} // namespace vitrel::qc
