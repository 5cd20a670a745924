#pragma once

#include "FeedKit/basics/Export.h"

#include <string>
#include <string_view>

namespace FeedKit {

// What a reader sees of HTML, as plain text: tags, comments, scripts and style sheets are gone and references resolved.
// Block elements begin and end a line, each `br` ends one, and there is never more than one empty line;
// other white space, no-break spaces and control characters with it, is one blank, none at the ends of lines. In `pre`
// the line ends count, too. Never longer than `html`; UTF-8 if `html` is. Linear time. Any thread.
FEEDKIT_API std::string textOfHTML(std::string_view html);

// The same on one line, for a title.
FEEDKIT_API std::string lineOfHTML(std::string_view html);

// Plain text as HTML that shows it: the markup's characters as references, each line end a `br`.
FEEDKIT_API std::string htmlOfText(std::string_view text);

} // namespace FeedKit
