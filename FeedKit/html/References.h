#pragma once

#include <string>
#include <string_view>

namespace FeedKit {

// Where a text with references stands. In an attribute a name without its semicolon is a name only where no letter,
// digit or "=" follows, so that an address keeps its "&copy=1".
enum class ReferencePlace { text, attribute };

// Appends `text` with its character references resolved, named ones (Characters.h) and numeric ones, as a browser reads
// them: numbers 128 to 159 are those of windows-1252, and what is no character is U+FFFD. Names that older HTML lets go
// without their semicolon (those of Latin-1 and the markup's own) may do so here. What is no reference stays as it is.
// Never longer than `text`; UTF-8 if `text` is. Any thread.
void appendResolved(std::string& out, std::string_view text, ReferencePlace place);

} // namespace FeedKit
