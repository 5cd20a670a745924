#pragma once

#include "platform/foundation/Value.h"

#include <algorithm>

namespace vitrel::qc {

// A property list of a composition in a form in which two that play the same are equal: connections without their
// names, in an order of their own; values of ports in one dictionary, as they are read; without what is empty. The
// order of everything else stays.
inline Value comparable(const Value& value);

inline Dictionary dictionaryAt(const Dictionary& in, const std::string& key)
{
    const auto found = in.find(key);
    return found != in.end() && found->second.dictionary() ? *found->second.dictionary() : Dictionary();
}

// Takes the values out of the entries of published inputs in a node's state: those of a definition's root may repeat
// the value of its parameters.
inline Dictionary takePublishedValues(Dictionary& node)
{
    Dictionary values, state = dictionaryAt(node, "state");
    const auto published = state.find("publishedInputPorts");
    if (published == state.end() || !published->second.array())
        return values;
    Array entries;
    for (const Value& given : *published->second.array()) {
        Dictionary entry = *given.dictionary(), inner = dictionaryAt(entry, "state");
        if (inner.count("value"))
            values[description(entry.at("key"))] = comparable(inner.at("value"));
        inner.erase("value");
        entry.erase("state");
        if (!inner.empty())
            entry["state"] = inner;
        entries.push_back(entry);
    }
    published->second = entries;
    node["state"] = state;
    return values;
}

inline Value comparable(const Value& value)
{
    if (const auto* members = value.array()) {
        Array all;
        for (const Value& member : *members)
            all.push_back(comparable(member));
        return all;
    }
    if (!value.dictionary())
        return value.number() && !value.as<bool>() ? Value(*value.number()) : value;
    Dictionary members = *value.dictionary(), all, ports, parameters;
    for (const char* kind : {"systemInputPortStates", "ivarInputPortStates", "customInputPortStates"}) {
        for (const auto& [key, port] : dictionaryAt(members, kind)) {
            Dictionary merged = dictionaryAt(ports, key);
            for (const auto& [part, inner] : *port.dictionary())
                merged.insert_or_assign(part, comparable(inner));
            ports[key] = merged;
        }
        members.erase(kind);
    }
    if (Dictionary root = dictionaryAt(members, "rootPatch"); !root.empty()) {
        parameters = takePublishedValues(root);
        members["rootPatch"] = root;
    }
    for (const auto& [name, given] : dictionaryAt(members, "inputParameters"))
        parameters.insert_or_assign(name, comparable(given));
    members.erase("inputParameters");
    if (const Dictionary connections = dictionaryAt(members, "connections"); !connections.empty()) {
        std::vector<std::string> sorted;
        for (const auto& [name, ends] : connections)
            sorted.push_back(description(ends));
        std::sort(sorted.begin(), sorted.end());
        members["connections"] = Array(sorted.begin(), sorted.end());
    }
    for (const auto& [key, member] : members) {
        Value inner = comparable(member);
        if (!(inner.dictionary() && inner.dictionary()->empty()) && !(inner.array() && inner.array()->empty()))
            all[key] = inner;
    }
    for (const auto& [key, gathered] : {std::pair("ports", ports), {"inputParameters", parameters}}) {
        if (!gathered.empty())
            all[key] = gathered;
    }
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
