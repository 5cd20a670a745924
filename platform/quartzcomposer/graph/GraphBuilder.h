#pragma once

#include "platform/quartzcomposer/graph/CompositionGraph.h"

#include <set>

namespace vitrel::qc {

// Makes patches of a file's nodes: ports, stored values, publications, connections, in the order that the format
// needs. Counts what it had to leave out.
class GraphBuilder
{
public:
    GraphBuilder(const CompositionFile& file, const PatchRegistry& registry);

    std::unique_ptr<Macro> build(Scope& scope);

    std::map<std::string, int> unsupported;
    bool needsDepth = false;
    int dangling = 0;
    std::size_t patches = 0;

private:
    std::unique_ptr<Patch> make(const FileNode& node, Scope* scope, Macro* parent, int level);
    std::unique_ptr<Patch> makeVirtual(const FileNode& node);
    void fill(Macro& macro, const FileNode& node, int level);
    void publish(Macro& macro, const FileNode& node, const std::set<std::string>& unknown);
    void connect(Macro& macro, const FileNode& node, const std::set<std::string>& unknown);
    void store(Patch& patch, const FileNode& node);
    void noteDepth(const Patch& patch);

    const CompositionFile& file_;
    const PatchRegistry& registry_;
    std::string folder_;
    std::vector<std::string> open_; // definitions of virtual patches that are being built
};

} // namespace vitrel::qc
