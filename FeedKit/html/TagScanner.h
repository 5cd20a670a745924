#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace FeedKit {

// A piece of HTML; its views are into the text that is scanned.
struct HTMLPiece {
    enum class Kind {
        text, // as written, references unresolved
        hiddenText, // of a script, a style sheet or the like
        startTag,
        endTag
    };
    Kind kind = Kind::text;
    std::string_view text; // without tags' brackets
    std::string_view name; // of a tag, as written
    std::string_view attributes; // of a start tag, as written

    // Whether this is a tag of that name, which is given in small letters.
    bool isTag(std::string_view lowercaseName) const;
    // The value of the first attribute of that name (small letters) with references resolved; empty for one without
    // value, absent if there is none. Takes time in proportion to the tag.
    std::optional<std::string> attribute(std::string_view lowercaseName) const;
};

// Takes HTML apart into tags and texts, as browsers do with whatever they are given, but without a tree: "<" that no
// letter follows is text, quotes hide ">", comments and declarations are passed over, and what a script or a style
// sheet holds is no markup. What begins and never ends goes to the end of the text. Linear time, no memory of its own.
// The text must outlive the scanner.
class TagScanner
{
public:
    explicit TagScanner(std::string_view html)
        : rest_(html)
    { }

    // Absent at the end. No text is empty.
    std::optional<HTMLPiece> next();

private:
    std::optional<HTMLPiece> nextTag();
    void passOver(); // what is neither text nor tag, up to its end
    std::size_t endOfRawText() const;

    std::string_view rest_;
    std::string_view rawName_; // of the element whose content isn't markup; empty outside one
};

} // namespace FeedKit
