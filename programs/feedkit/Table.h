#pragma once

#include "FeedKit/entries/Entries.h"

#include <string>
#include <string_view>

namespace vitrel {

// The columns that a line on a terminal has: those that $COLUMNS says, else those of the terminal that is standard
// output, else 100.
unsigned terminalWidth();

// How many columns a text takes: wide characters (those of East Asia, most emoji) two, combining ones none. UTF-8.
unsigned columnsOf(std::string_view text);

// A feed for people: a line with its title and site, then one with date, title and link for each entry, in columns. No
// line is wider than `width`, which counts for no less than 40. Dates are in UTC. Nothing in it moves a terminal's
// cursor or turns the direction of its text. `name` stands in for a feed without a title. A line end behind each line.
std::string tableOf(std::string_view name, const FeedKit::Entries& entries, unsigned width);

} // namespace vitrel
