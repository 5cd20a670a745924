#include "platform/quartzcomposer/graph/CompositionGraph.h"

#include "platform/quartzcomposer/graph/GraphBuilder.h"

namespace vitrel::qc {

namespace {

// Iterators may nest; together they run their nodes so often in one frame and no more.
constexpr std::uint32_t kMaxIterations = 100'000;

// From this runtime on, what is clear leaves no depth.
constexpr double kDiscardingVersion = 156;

double frameworkVersion(const CompositionFile& file)
{
    const auto found = file.top().find("frameworkVersion");
    const auto* text = found == file.top().end() ? nullptr : found->second.as<std::string>();
    if (!text)
        return kDiscardingVersion; // ours say none, and are young
    return *converted(PortValue(text->starts_with('{') ? text->substr(1) : *text), PortType::Number).as<double>();
}

// What was asked too deep; it may put off more.
void catchUp(Evaluation& e)
{
    for (std::size_t k = 0; k < e.late.size(); ++k)
        e.late[k]->catchUp(e);
    e.late.clear();
}

} // namespace

CompositionGraph::CompositionGraph(const CompositionFile& file, const PatchRegistry& registry)
    : file_(file)
    , registry_(registry)
    , discardsClear_(frameworkVersion(file) >= kDiscardingVersion)
{
    rebuild();
}

CompositionGraph::~CompositionGraph() = default;

void CompositionGraph::rebuild()
{
    GraphBuilder builder(file_, registry_);
    root_ = builder.build(scope_);
    unsupported_ = builder.unsupported;
    needsDepth_ = builder.needsDepth;
    dangling_ = builder.dangling;
    patches_ = builder.patches;
}

std::vector<PublishedPort> CompositionGraph::inputs() const
{
    std::vector<PublishedPort> ports;
    for (const auto& published : root_->publishedInputs())
        ports.push_back({published->outer.key(), published->outer.type()});
    return ports;
}

std::vector<PublishedPort> CompositionGraph::outputs() const
{
    std::vector<PublishedPort> ports;
    for (const std::string& key : root_->publishedOutputKeys())
        ports.push_back({key, root_->output(key)->type()});
    return ports;
}

bool CompositionGraph::setInput(const std::string& key, const Value& value)
{
    InputPort* port = root_->publishedInput(key);
    auto given = port ? portValueForHost(value, port->type()) : std::nullopt;
    if (!given)
        return false;
    port->set(std::move(*given));
    return true;
}

Value CompositionGraph::input(const std::string& key) const
{
    const InputPort* port = root_->publishedInput(key);
    return port ? hostValue(port->value()) : Value();
}

PortValue CompositionGraph::inputPort(const std::string& key) const
{
    const InputPort* port = root_->publishedInput(key);
    return port ? port->value() : PortValue();
}

CompositionGraph::Frame CompositionGraph::frame(Stage& stage, double time, Date date)
{
    if (time < lastTime_) {
        std::vector<std::pair<std::string, PortValue>> kept;
        for (const auto& published : root_->publishedInputs())
            kept.emplace_back(published->outer.key(), published->outer.value());
        rebuild();
        for (auto& [key, value] : kept)
            root_->publishedInput(key)->set(std::move(value));
    }
    lastTime_ = time;
    lastDate_ = date;
    stage.discardsClear = discardsClear_;
    Evaluation e{stage};
    e.time = time;
    e.date = date;
    e.frame = ++frames_;
    e.iterationsLeft = kMaxIterations;
    e.hearing = hearing_;
    e.observer = observer_;
    ++scope_.stamp;
    stage.canvas().beginFrame(e.end());
    root_->execute(e);
    e.remember(0);
    catchUp(e);
    static_cast<void>(e.exhausted()); // what was left out last
    listens_ |= e.listens;
    spent_ = std::chrono::steady_clock::now() - e.begun;
    return {e.nextFrame, e.evaluations};
}

PortValue CompositionGraph::output(const std::string& key, Stage& stage)
{
    Source* source = root_->output(key);
    if (!source)
        return {};
    Evaluation e{stage};
    e.time = lastTime_;
    e.date = lastDate_;
    e.frame = frames_;
    e.iterationsLeft = kMaxIterations;
    e.hearing = hearing_;
    e.begun -= spent_;
    stage.canvas().beginFrame(e.end());
    source->update(e);
    e.remember(0);
    catchUp(e);
    listens_ |= e.listens;
    spent_ = std::chrono::steady_clock::now() - e.begun;
    return source->value();
}

namespace {
void countUnsupported(const FileNode& node, const CompositionFile& file, const PatchRegistry& registry,
    std::map<std::string, int>& counts)
{
    const bool isVirtual = node.className.starts_with('/');
    auto patch = registry.make(node.className + "/" + node.identifier);
    if (!patch)
        patch = registry.make(node.className);
    if (patch) {
        patch->configure({node.state, node.identifier, {}});
        if (const std::string missing = patch->unsupported(); !missing.empty())
            ++counts[missing];
    } else if (!isVirtual || !file.virtualPatches.count(node.className)) {
        const bool plugIn = node.className == "QCPlugInPatch" && !node.identifier.empty();
        ++counts[plugIn ? node.className + "/" + node.identifier : node.className];
    }
    for (const FileNode& child : node.nodes)
        countUnsupported(child, file, registry, counts);
}
} // namespace

std::map<std::string, int> unsupportedClasses(const CompositionFile& file, const PatchRegistry& registry)
{
    std::map<std::string, int> counts;
    countUnsupported(file.root, file, registry, counts);
    for (const auto& [identifier, node] : file.virtualPatches)
        countUnsupported(node, file, registry, counts);
    return counts;
}

} // namespace vitrel::qc
