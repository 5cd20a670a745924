#pragma once

#include "FeedKit/xml/Actions.h"
#include "FeedKit/xml/PathAutomaton.h"

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace FeedKit {

template <class Feed> struct PathRow {
    std::string_view path; // behind the prefix of its block
    StartAction<Feed> start;
    TextAction<Feed> text;
};

// Rows under one prefix; what each of their start tags makes first.
template <class Feed> struct PathBlock {
    std::string_view prefix;
    std::span<const PathRow<Feed>> rows;
    StartAction<Feed> first;
};

template <class Feed> constexpr std::size_t rowsIn(std::span<const PathBlock<Feed>> blocks)
{
    std::size_t count = 0;
    for (const auto& block : blocks)
        count += block.rows.size();
    return count;
}

// A path table ready for use: its rows in order, with whole paths, and the automaton over them. Immutable; any thread.
template <class Feed> class PathTable
{
public:
    struct Row {
        StartAction<Feed> first;
        StartAction<Feed> start;
        TextAction<Feed> text;

        bool actsOnStart() const { return first.run || start.run; }
        std::size_t startCost() const { return first.cost + start.cost; }
        void mapStart(Feed& feed, const ElementAttributes& attributes) const
        {
            if (first.run)
                first.run(feed, attributes);
            if (start.run)
                start.run(feed, attributes);
        }
    };

    // Of rows with the same path the last one counts.
    explicit PathTable(std::span<const PathBlock<Feed>> blocks)
        : paths_(pathsIn(blocks))
        , automaton_(paths_)
    {
        for (const auto& block : blocks) {
            for (const auto& row : block.rows)
                rows_.push_back({block.first, row.start, row.text});
        }
    }

    const std::vector<std::string>& paths() const { return paths_; }
    const PathAutomaton& automaton() const { return automaton_; }
    const Row& row(std::int32_t index) const { return rows_[static_cast<std::size_t>(index)]; }

private:
    static std::vector<std::string> pathsIn(std::span<const PathBlock<Feed>> blocks)
    {
        std::vector<std::string> paths;
        for (const auto& block : blocks) {
            for (const auto& row : block.rows)
                paths.push_back(std::string(block.prefix).append(row.path));
        }
        return paths;
    }

    std::vector<std::string> paths_;
    PathAutomaton automaton_;
    std::vector<Row> rows_;
};

} // namespace FeedKit
