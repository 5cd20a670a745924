#pragma once

#include "platform/quartzcomposer/graph/CompositionGraph.h"

#include <set>

namespace vitrel::qc {

// Makes patches of a file's nodes: ports, stored values, publications, connections, in the order that the format
// needs. Counts what it had to leave out.
class GraphBuilder
{
public:
    // With what the composition around it counts, if this one is imported.
    GraphBuilder(const CompositionFile& file, const PatchRegistry& registry, const Importing* around = nullptr);

    std::unique_ptr<Macro> build(Scope& scope);

    std::map<std::string, int> unsupported;
    bool needsDepth = false;
    int dangling = 0;
    std::size_t patches = 0;

private:
    bool spend(std::size_t steps);
    std::unique_ptr<Patch> make(const FileNode& node, Scope* scope, Macro* parent, int level);
    std::unique_ptr<Patch> makeVirtual(const FileNode& node);
    void fill(Macro& macro, const FileNode& node, int level);
    void publish(Macro& macro, const FileNode& node);
    void connect(Macro& macro, const FileNode& node);
    bool isStrange(const Macro& macro, const std::string& node, const std::string& port) const;
    void store(Patch& patch, const FileNode& node);
    void noteDepth(const Patch& patch);

    const CompositionFile& file_;
    const PatchRegistry& registry_;
    std::string folder_;
    std::shared_ptr<const Importing> importing_;
    std::size_t ports_ = 0, steps_ = 0;
    // What leads to a class that isn't known: its nodes by their macro and key (with an empty port), and published
    // ports of theirs, through all levels.
    std::map<const Macro*, std::set<std::pair<std::string, std::string>>> strange_;
    std::vector<std::string> open_; // definitions of virtual patches that are being built
};

} // namespace vitrel::qc
