#pragma once

#include "platform/foundation/Value.h"

#include <algorithm>

namespace vitrel::qc {

// A property list of a composition in a form in which two that play the same are equal: connections without their
// names, in an order of their own; values of ports in one dictionary, as they are read; without what is empty. The
// order of everything else stays.
inline Value comparable(const Value& value);

inline Value withoutPublishedValues(const Value& root)
{
    Dictionary node = *root.dictionary();
    Dictionary state = node.count("state") ? *node.at("state").dictionary() : Dictionary();
    Array entries;
    if (state.count("publishedInputPorts")) {
        for (const Value& entry : *state.at("publishedInputPorts").array()) {
            Dictionary members = *entry.dictionary();
            if (members.count("state")) {
                Dictionary inner = *members.at("state").dictionary();
                inner.erase("value");
                members.erase("state");
                if (!inner.empty())
                    members["state"] = inner;
            }
            entries.push_back(members);
        }
        state["publishedInputPorts"] = entries;
    }
    if (node.count("state"))
        node["state"] = state;
    return node;
}

inline Value comparable(const Value& value)
{
    if (const auto* members = value.array()) {
        Array all;
        for (const Value& member : *members)
            all.push_back(comparable(member));
        return all;
    }
    const auto* members = value.dictionary();
    if (!members)
        return value.number() && !value.as<bool>() ? Value(*value.number()) : value;
    Dictionary all, ports;
    for (const char* kind : {"systemInputPortStates", "ivarInputPortStates", "customInputPortStates"}) {
        const auto found = members->find(kind);
        if (found == members->end() || !found->second.dictionary())
            continue;
        for (const auto& [key, port] : *found->second.dictionary()) {
            if (port.dictionary()) {
                Dictionary merged = ports[key].dictionary() ? *ports[key].dictionary() : Dictionary();
                for (const auto& [part, inner] : *port.dictionary())
                    merged.insert_or_assign(part, comparable(inner));
                ports[key] = merged;
            }
        }
    }
    if (!ports.empty())
        all["ports"] = ports;
    // Entries of published inputs of a definition's root may repeat the value of its parameters.
    const auto* root = members->count("rootPatch") ? members->at("rootPatch").dictionary() : nullptr;
    const auto* state = root && root->count("state") ? root->at("state").dictionary() : nullptr;
    const auto* published
        = state && state->count("publishedInputPorts") ? state->at("publishedInputPorts").array() : nullptr;
    Dictionary parameters;
    for (std::size_t k = 0; published && k < published->size(); ++k) {
        const auto* entry = (*published)[k].dictionary();
        const auto* inner = entry && entry->count("state") ? entry->at("state").dictionary() : nullptr;
        if (inner && inner->count("value"))
            parameters[description(entry->at("key"))] = comparable(inner->at("value"));
    }
    for (const auto& [key, member] : *members) {
        if (key.ends_with("InputPortStates"))
            continue;
        Value inner = comparable(member);
        if (key == "rootPatch")
            inner = withoutPublishedValues(inner);
        if (key == "inputParameters") {
            for (const auto& [name, given] : *inner.dictionary())
                parameters.insert_or_assign(name, given);
            continue;
        }
        if (key == "connections" && member.dictionary()) {
            std::vector<std::string> sorted;
            for (const auto& [name, ends] : *member.dictionary())
                sorted.push_back(description(ends));
            std::sort(sorted.begin(), sorted.end());
            Array list(sorted.begin(), sorted.end());
            inner = list;
        }
        if ((inner.dictionary() && inner.dictionary()->empty()) || (inner.array() && inner.array()->empty()))
            continue;
        all[key] = inner;
    }
    if (!parameters.empty())
        all["inputParameters"] = parameters;
    return all;
}

// Where two values first differ, for the message of a test; empty if nowhere.
inline std::string difference(const Value& a, const Value& b, const std::string& path = "")
{
    const auto* x = a.dictionary();
    const auto* y = b.dictionary();
    if (x && y) {
        for (const auto& [key, member] : *x) {
            const auto other = y->find(key);
            if (other == y->end())
                return path + "/" + key + " is lost: " + description(member).substr(0, 200);
            if (auto inner = difference(member, other->second, path + "/" + key); !inner.empty())
                return inner;
        }
        for (const auto& [key, member] : *y) {
            if (!x->count(key))
                return path + "/" + key + " is new: " + description(member).substr(0, 200);
        }
        return {};
    }
    if (a.array() && b.array() && a.array()->size() == b.array()->size()) {
        for (std::size_t k = 0; k < a.array()->size(); ++k) {
            if (auto inner = difference((*a.array())[k], (*b.array())[k], path + "/" + std::to_string(k));
                !inner.empty())
                return inner;
        }
        return {};
    }
    const auto p = a.number(), q = b.number();
    if ((p && q && *p != *p && *q != *q) || a == b)
        return {};
    return path + ": " + description(a).substr(0, 200) + " became " + description(b).substr(0, 200);
}

} // namespace vitrel::qc
