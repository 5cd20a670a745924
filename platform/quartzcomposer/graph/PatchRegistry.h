#pragma once

#include "platform/quartzcomposer/graph/Patch.h"

#include <functional>
#include <map>
#include <set>

namespace vitrel::qc {

// The patches that are there, by class name. A class may have kinds that go by the node's identifier, told as
// "CLASS/IDENTIFIER" where they need a class of their own.
class PatchRegistry
{
public:
    using Maker = std::function<std::unique_ptr<Patch>()>;
    template <class T> void add(const std::string& name)
    {
        makers_[name] = [] { return std::make_unique<T>(); };
    }
    // For a class of a third party's: what its published descriptions and files say that it does.
    template <class T> void addStandIn(const std::string& name)
    {
        add<T>(name);
        standIns_.insert(name);
    }
    bool standsIn(const std::string& name) const { return standIns_.count(name) > 0; }
    // Null for a class that isn't known.
    std::unique_ptr<Patch> make(const std::string& name) const
    {
        const auto found = makers_.find(name);
        return found == makers_.end() ? nullptr : found->second();
    }
    std::vector<std::string> names() const
    {
        std::vector<std::string> names;
        for (const auto& [name, maker] : makers_)
            names.push_back(name);
        return names;
    }

private:
    std::map<std::string, Maker> makers_;
    std::set<std::string> standIns_;
};

// Every family of patches/.
PatchRegistry allPatches();

} // namespace vitrel::qc
