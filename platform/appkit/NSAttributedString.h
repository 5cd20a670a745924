#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vitrel {

// A text that was imported from a document; of its attributes nothing is kept.
class NSAttributedString
{
public:
    // Reads an HTML document or a piece of one, in UTF-8 whatever it says of that, as browsers do: whatever `html`
    // holds gives a text. White space
    // collapses; paragraphs, headings, items of lists, cells of tables and line breaks end a line; scripts, styles and
    // what else is not shown are left out, as are pictures. There is no line end behind the last paragraph. Nothing
    // that the document names is fetched. In time linear to its length, of which the first 4 MiB count. Absent if the
    // reader can't be made. Any thread.
    static std::optional<NSAttributedString> initWithHTML(std::string_view html);

    const std::string& string() const { return string_; }

private:
    explicit NSAttributedString(std::string string)
        : string_(std::move(string))
    { }

    std::string string_;
};

} // namespace vitrel
