#pragma once

#include "platform/foundation/PropertyList.h"

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

// Where two compositions first differ in that form, for the message of a test; empty if nowhere.
inline std::string difference(const Value& a, const Value& b)
{
    const std::string x = xmlPropertyList(comparable(a)), y = xmlPropertyList(comparable(b)); // NaN is "nan" there
    if (!x.empty() && x == y)
        return {};
    const auto at = std::mismatch(x.begin(), x.end(), y.begin(), y.end()).first - x.begin();
    const auto from = std::size_t(std::max<std::ptrdiff_t>(at - 100, 0));
    return x.substr(from, 200) + " became " + y.substr(from, 200);
}

} // namespace vitrel::qc
