#include "platform/quartzcomposer/graph/Macro.h"

namespace vitrel::qc {

Macro::PublishedInput::PublishedInput(Macro& macro, std::string key, InputPort& inner)
    : Source(inner.type())
    , outer(macro.addInput(std::move(key), inner.type(), inner.value()))
    , inner(inner)
{
    // Pulled from inside, when a node asks; a disabled branch asks for nothing.
    outer.lazy = true;
    assign(outer.value());
}

void Macro::PublishedInput::update(Evaluation& e)
{
    ++e.depth; // a way through many levels is as deep as a chain
    if (outer.pull(e))
        assign(outer.value());
    --e.depth;
}

struct Macro::PublishedOutput final : Source {
    PublishedOutput(Macro& macro, std::string key, Source& inner)
        : Source(inner.type())
        , macro(macro)
        , key(std::move(key))
        , inner(inner)
    { }
    void update(Evaluation& e) override
    {
        if (macro.updatesAsAWhole()) {
            macro.update(e);
            return;
        }
        // A chain of macros that lead back into themselves must end.
        if (running)
            return;
        running = true;
        ++e.depth;
        macro.timeForNodes(e);
        take(e);
        --e.depth;
        running = false;
    }
    void take(Evaluation& e)
    {
        inner.update(e);
        if (inner.version() != seen) {
            seen = inner.version();
            assign(inner.value());
        }
        for (const auto& told : macro.told_)
            told(key, value());
    }
    Macro& macro;
    const std::string key;
    Source& inner;
    std::uint64_t seen = 0;
    bool running = false;
};

PatchDescription Macro::description()
{
    return {"Macro",
        "Patches that are one patch to those outside: its ports are those that it publishes. It draws where it stands "
        "among the layers, unless it publishes outputs: then it only computes them.",
        {}};
}

Macro::Macro() = default;
Macro::~Macro() = default;

void Macro::addNode(std::string key, std::unique_ptr<Patch> node)
{
    node->parent = this;
    node->scope = scopeOfNodes();
    nodesByKey_.emplace(std::move(key), node.get());
    nodes_.push_back(std::move(node));
}

Patch* Macro::node(const std::string& key) const
{
    const auto found = nodesByKey_.find(key);
    return found == nodesByKey_.end() ? nullptr : found->second;
}

bool Macro::publishInput(const std::string& key, InputPort& port)
{
    if (input(key) || port.connected())
        return false;
    publishedInputs_.push_back(std::make_unique<PublishedInput>(*this, key, port));
    publishedByPort_.emplace(&publishedInputs_.back()->outer, publishedInputs_.back().get());
    port.connect(publishedInputs_.back().get());
    return true;
}

bool Macro::publishOutput(const std::string& key, Source& source)
{
    if (outputsByKey_.count(key))
        return false;
    publishedOutputs_.push_back(std::make_unique<PublishedOutput>(*this, key, source));
    outputsByKey_.emplace(publishedOutputs_.back()->key, publishedOutputs_.back().get());
    return true;
}

InputPort* Macro::publishedInput(const std::string& key) const
{
    InputPort* port = input(key);
    return publishedByPort_.count(port) ? port : nullptr;
}

std::vector<std::string> Macro::publishedOutputKeys() const
{
    std::vector<std::string> keys;
    for (const auto& published : publishedOutputs_)
        keys.push_back(published->key);
    return keys;
}

Source* Macro::output(const std::string& key)
{
    const auto found = outputsByKey_.find(key);
    return found == outputsByKey_.end() ? Patch::output(key) : found->second;
}

void Macro::onPublished(std::function<void(const std::string&, const PortValue&)> told)
{
    told_.push_back(std::move(told));
}

void Macro::settle()
{
    for (const auto& node : nodes_) {
        if (node->kind() == Kind::Consumer)
            consumers_.push_back(node.get());
    }
    isConsumer_ = alwaysConsumer() || (!consumers_.empty() && publishedOutputs_.empty());
}

double Macro::timeForNodes(Evaluation& e)
{
    const std::uint64_t stamp = scope ? scope->stamp : e.frame;
    if (timeStamp_ != stamp) {
        timeStamp_ = stamp;
        if (timebase == Timebase::External) {
            if (InputPort* port = input("_time"))
                port->pull(e);
        }
        takeTime(e);
    }
    return time();
}

void Macro::executeNodes(Evaluation& e)
{
    for (Patch* consumer : consumers_)
        consumer->execute(e);
}

void Macro::pullPublished(Evaluation& e)
{
    for (const auto& published : publishedOutputs_)
        published->take(e);
}

void Macro::rememberPublished(Evaluation& e)
{
    if (!told_.empty())
        pullPublished(e);
}

std::uint64_t Macro::versionOfOutputs() const
{
    std::uint64_t sum = Patch::versionOfOutputs();
    for (const auto& published : publishedOutputs_)
        sum += published->version();
    return sum;
}

void Macro::updatePublished(Evaluation& e)
{
    pullPublished(e);
}

void Macro::execute(Evaluation& e)
{
    if (!enabled(e))
        return;
    if (!enter(e)) {
        if (e.copy > 0 && !running() && !e.exhausted())
            runNodes(e);
        return;
    }
    pullInputs(e);
    timeForNodes(e);
    if (e.observer)
        e.observer->computes();
    runNodes(e);
    leave(e);
}

void Macro::update(Evaluation& e)
{
    if (!enter(e))
        return;
    pullInputs(e);
    timeForNodes(e);
    const std::uint64_t before = versionOfOutputs();
    if (e.observer)
        e.observer->computes();
    updatePublished(e);
    noteCycle(e, before);
    leave(e);
}

} // namespace vitrel::qc
