#pragma once

#include "platform/quartzcomposer/graph/Patch.h"
#include "platform/quartzcomposer/graph/PatchDescription.h"

#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <set>

namespace vitrel::qc {

// The patches that are there, by class name, and what they say of themselves. A class may have kinds that go by the
// node's identifier, told as "CLASS/IDENTIFIER" where they need a class of their own, or one of their own words: a
// filter's.
class PatchRegistry
{
public:
    using Maker = std::function<std::unique_ptr<Patch>()>;

    // What is added from here on belongs to a family, as pages show it.
    void family(const char* name) { family_ = name; }

    // T tells of itself in a static `description()`. One class under several names takes the name's last part, "" for a
    // name without, in a static `description(kind)`.
    template <class T> void add(const std::string& name)
    {
        static_assert(
            requires { T::description(); } || requires(std::string kind) { T::description(kind); },
            "a patch tells what it is");
        makers_[name] = [] { return std::make_unique<T>(); };
        families_[name] = family_;
        if constexpr (requires { T::description(); }) {
            describers_[name] = [](const std::string&) { return T::description(); };
        } else {
            const auto slash = name.find('/');
            const std::string own = slash == std::string::npos ? std::string() : name.substr(slash + 1);
            describers_[name] = [own](const std::string& kind) { return T::description(own.empty() ? kind : own); };
        }
    }
    // For a class whose identifier says which of many it is, each with words of its own: T::description(kind), all that
    // there are in T::kinds(), and the family of each in T::familyOf(kind).
    template <class T> void addWithKinds(const std::string& name)
    {
        add<T>(name);
        kinds_[name] = [] { return T::kinds(); };
        kindFamilies_[name] = [](const std::string& kind) { return T::familyOf(kind); };
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
    // Identifiers of a class that has words for each; else none.
    std::vector<std::string> kinds(const std::string& name) const
    {
        const auto found = kinds_.find(name);
        return found == kinds_.end() ? std::vector<std::string>() : found->second();
    }
    // The name under which a node of this class and identifier is made; empty if there is none.
    std::string nameFor(const std::string& className, const std::string& identifier) const
    {
        if (makers_.count(className + "/" + identifier) > 0)
            return className + "/" + identifier;
        return makers_.count(className) > 0 ? className : std::string();
    }
    // Absent for a class that isn't known, and for a kind of one with words for each that isn't.
    std::optional<PatchDescription> describe(const std::string& className, const std::string& identifier = {}) const
    {
        const auto found = describers_.find(nameFor(className, identifier));
        if (found == describers_.end())
            return std::nullopt;
        const auto all = kinds(className);
        if (!all.empty() && std::find(all.begin(), all.end(), identifier) == all.end())
            return std::nullopt;
        return found->second(identifier).spread();
    }
    // Of a class, or of a kind of one: "CLASS/IDENTIFIER".
    const char* familyOf(const std::string& name) const
    {
        const auto slash = name.find('/');
        const auto kinds = kindFamilies_.find(name.substr(0, slash));
        if (slash != std::string::npos && kinds != kindFamilies_.end())
            return kinds->second(name.substr(slash + 1));
        const auto found = families_.find(name);
        return found == families_.end() ? "" : found->second;
    }

private:
    std::map<std::string, Maker> makers_;
    std::map<std::string, std::function<PatchDescription(const std::string& kind)>> describers_;
    std::map<std::string, std::function<std::vector<std::string>()>> kinds_;
    std::map<std::string, std::function<const char*(const std::string& kind)>> kindFamilies_;
    std::map<std::string, const char*> families_;
    std::set<std::string> standIns_;
    const char* family_ = "";
};

// Every family of patches/.
PatchRegistry allPatches();

} // namespace vitrel::qc
