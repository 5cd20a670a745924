#pragma once

#include "platform/quartzcomposer/graph/Patch.h"
#include "platform/quartzcomposer/graph/PatchDescription.h"

#include <functional>

namespace vitrel::qc {

// A patch with nodes of its own. Published inputs hand their value down, published outputs up; both have the type of
// the port that they stand for. Without published outputs, and with a consumer among its nodes, it is a consumer
// itself; otherwise its outputs are computed when somebody asks.
class Macro : public Patch
{
public:
    static PatchDescription description();
    Macro();
    ~Macro() override;

    Kind kind() const override { return isConsumer_ ? Kind::Consumer : Kind::Pure; }
    void execute(Evaluation& e) override;
    void update(Evaluation& e) override;
    Source* output(const std::string& key) override;

    // Adds a node, as the topmost layer; `key` is its name for connections.
    void addNode(std::string key, std::unique_ptr<Patch> node);
    Patch* node(const std::string& key) const;
    const std::vector<std::unique_ptr<Patch>>& nodes() const { return nodes_; }

    // Publishes a node's port; false if there is no such port, or the key is taken.
    bool publishInput(const std::string& key, InputPort& port);
    bool publishOutput(const std::string& key, Source& source);
    struct PublishedInput;
    const std::vector<std::unique_ptr<PublishedInput>>& publishedInputs() const { return publishedInputs_; }
    InputPort* publishedInput(const std::string& key) const;
    std::vector<std::string> publishedOutputKeys() const;

    // Told each time a published output has been computed: what a feedback remembers.
    void onPublished(std::function<void(const std::string& key, const PortValue& value)> told);

    // Brings them up to date for those who were promised to be told.
    void rememberPublished(Evaluation& e);

    // Once all nodes and ports are there: decides what it is.
    void settle();
    // An environment draws its nodes even if it has none that draw.
    virtual bool alwaysConsumer() const { return false; }
    // The scope that its nodes run in.
    virtual Scope* scopeOfNodes() { return scope; }
    virtual double timeForNodes(Evaluation& e);

protected:
    // Runs the consumers among the nodes once, in layer order.
    void executeNodes(Evaluation& e);
    // What a consumer macro does around its nodes.
    virtual void runNodes(Evaluation& e) { executeNodes(e); }
    // Brings every published output up to date, in the scope of the nodes.
    virtual void updatePublished(Evaluation& e);
    // True if outputs may only be computed all together.
    virtual bool updatesAsAWhole() const { return false; }
    void pullPublished(Evaluation& e);
    std::uint64_t versionOfOutputs() const override;
    // Also one whose consumers are all of classes that aren't known.
    bool canRest() const override { return isConsumer_ || publishedOutputs_.empty(); }

private:
    struct PublishedOutput;
    friend struct PublishedOutput;
    std::vector<std::unique_ptr<Patch>> nodes_;
    std::unordered_map<std::string, Patch*> nodesByKey_;
    std::vector<std::unique_ptr<PublishedInput>> publishedInputs_;
    std::unordered_map<InputPort*, PublishedInput*> publishedByPort_;
    std::vector<std::unique_ptr<PublishedOutput>> publishedOutputs_;
    std::unordered_map<std::string_view, PublishedOutput*> outputsByKey_;
    std::vector<std::function<void(const std::string&, const PortValue&)>> told_;
    std::vector<Patch*> consumers_;
    bool isConsumer_ = false;
    std::uint64_t timeStamp_ = 0;
};

// The inner side of a published input: what the node's port is connected to.
struct Macro::PublishedInput final : Source {
    PublishedInput(Macro& macro, std::string key, InputPort& inner);
    void update(Evaluation& e) override;
    InputPort& outer; // on the macro
    InputPort& inner;
};

} // namespace vitrel::qc
