#include "FeedKit/xml/PathAutomaton.h"

#include <cstring>

namespace FeedKit {

namespace {

std::uint32_t hashOf(const PathAutomaton::Key& key)
{
    const std::uint64_t mixed = (key.head ^ key.size) * 0x9E3779B97F4A7C15u ^ key.tail * 0xC2B2AE3D27D4EB4Fu;
    return static_cast<std::uint32_t>((mixed * 0x9E3779B97F4A7C15u) >> 32);
}

// Takes the first component, after its "/", off `path`.
std::string_view takeComponent(std::string_view& path)
{
    path.remove_prefix(1);
    const auto name = path.substr(0, path.find('/'));
    path.remove_prefix(name.size());
    return name;
}

} // namespace

// Up to 16 bytes the key holds them all.
PathAutomaton::Key::Key(std::string_view name)
    : size(static_cast<std::uint32_t>(name.size()))
{
    const char* bytes = name.data();
    if (size >= 8) {
        std::memcpy(&head, bytes, 8);
        std::memcpy(&tail, bytes + size - 8, 8);
    } else if (size >= 4) {
        std::memcpy(&head, bytes, 4);
        std::memcpy(&tail, bytes + size - 4, 4);
    } else {
        for (const char c : name)
            head = head << 8 | static_cast<unsigned char>(c);
    }
}

bool PathAutomaton::Node::isNamed(const Key& wanted, std::string_view whole) const
{
    return key.size == wanted.size && key.head == wanted.head && key.tail == wanted.tail
        && (key.size <= 16 || name == whole);
}

PathAutomaton::PathAutomaton(const std::vector<std::string>& paths)
{
    std::vector<std::vector<State>> children(1);
    nodes_.resize(1);
    for (std::size_t row = 0; row < paths.size(); ++row) {
        State state = kTop;
        for (std::string_view rest = paths[row]; !rest.empty();) {
            const auto name = takeComponent(rest);
            State next = kUnknown;
            for (const State candidate : children[state]) {
                if (nodes_[candidate].name == name)
                    next = candidate;
            }
            if (next == kUnknown) {
                next = static_cast<State>(nodes_.size());
                nodes_.emplace_back();
                nodes_.back().parent = state;
                nodes_.back().name = name;
                nodes_.back().key = Key(name);
                children.emplace_back();
                children[state].push_back(next);
            }
            state = next;
        }
        nodes_[state].row = static_cast<std::int32_t>(row);
    }
    for (State state = 0; state < nodes_.size(); ++state)
        hashChildren(state, children[state]);
}

void PathAutomaton::hashChildren(State state, const std::vector<State>& children)
{
    if (children.empty())
        return;
    std::uint32_t size = 2;
    while (size < 2 * children.size())
        size *= 2;
    auto& node = nodes_[state];
    node.hasChildren = true;
    node.firstSlot = static_cast<std::uint32_t>(slots_.size());
    node.slotMask = size - 1;
    slots_.resize(slots_.size() + size, kUnknown);
    for (const State child : children) {
        auto at = hashOf(nodes_[child].key);
        while (slots_[node.firstSlot + (at & node.slotMask)] != kUnknown)
            ++at;
        slots_[node.firstSlot + (at & node.slotMask)] = child;
    }
}

PathAutomaton::State PathAutomaton::child(State state, std::string_view name) const
{
    const auto& node = nodes_[state];
    if (!node.hasChildren)
        return kUnknown;
    const Key key(name);
    for (auto at = hashOf(key);; ++at) {
        const State found = slots_[node.firstSlot + (at & node.slotMask)];
        if (found == kUnknown || nodes_[found].isNamed(key, name))
            return found;
    }
}

std::int32_t PathAutomaton::find(std::string_view path) const
{
    if (!path.starts_with('/'))
        return kNoRow;
    State state = kTop;
    while (!path.empty() && state != kUnknown)
        state = child(state, takeComponent(path));
    return state == kUnknown ? kNoRow : row(state);
}

std::string PathAutomaton::path(State state) const
{
    if (state == kTop)
        return "/";
    std::string path;
    for (; state != kTop; state = nodes_[state].parent)
        path.insert(0, "/" + std::string(nodes_[state].name));
    return path;
}

} // namespace FeedKit
