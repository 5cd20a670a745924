#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace FeedKit {

// The element paths of a table as a tree of states: a step down costs one look at the names below the open element,
// however deep it lies and however long the table is. Immutable once made; any thread.
class PathAutomaton
{
public:
    using State = std::uint32_t;
    static constexpr State kTop = 0; // outside of the root element
    static constexpr State kUnknown = UINT32_MAX;
    static constexpr std::int32_t kNoRow = -1;

    // `paths` begin with "/"; row k is that of paths[k]. They must outlive the automaton.
    explicit PathAutomaton(const std::vector<std::string>& paths);

    // The state of an element `name` right within the element of `state`; kUnknown if no row lies at or below it.
    State child(State state, std::string_view name) const;
    State parent(State state) const { return nodes_[state].parent; }
    std::int32_t row(State state) const { return nodes_[state].row; }
    // The row of a whole path; kNoRow if there is none.
    std::int32_t find(std::string_view path) const;
    // "/" for kTop.
    std::string path(State state) const;

    // A name as a few words, quick to compare.
    struct Key {
        Key() = default;
        explicit Key(std::string_view name);

        std::uint64_t head = 0;
        std::uint64_t tail = 0;
        std::uint32_t size = 0;
    };

private:
    struct Node {
        bool isNamed(const Key& wanted, std::string_view whole) const;

        State parent = kTop;
        std::int32_t row = kNoRow;
        std::string_view name;
        Key key;
        std::uint32_t firstSlot = 0;
        std::uint32_t slotMask = 0; // of a hash table with open addressing; no child without it
        bool hasChildren = false;
    };

    void hashChildren(State state, const std::vector<State>& children);

    std::vector<Node> nodes_;
    std::vector<State> slots_;
};

} // namespace FeedKit
