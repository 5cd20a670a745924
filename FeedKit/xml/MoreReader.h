#pragma once

#include "FeedKit/models/Extensions.h"
#include "FeedKit/xml/ElementAttributes.h"
#include "FeedKit/xml/Namespaces.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace FeedKit {

// What a parse that is asked for more must know of a document beside the path tables: the base addresses and languages
// that hold at the open element, and the inside of elements that are kept whole, as an extension or as markup. It is
// told of each start, each end and, while it captures, each text.
class MoreReader
{
public:
    // What an element's end was the end of.
    enum class End { nothing, inside, markup, extension };

    // True if the element belongs to what is captured.
    bool start(std::string_view name, const ElementAttributes& attributes);
    End end();
    void text(std::string_view text);

    // From the element on that has just started, which is part of an extension and not of markup.
    void captureExtension(std::string_view name, const ElementAttributes& attributes);
    void captureMarkup();
    bool isCapturing() const { return capture_ != Capture::none; }
    // By how many bytes what is captured has grown since the last call.
    std::size_t takeGrowth() { return std::exchange(growth_, 0); }
    // What has been captured; once its end has been told. Markup is what HTML has between the tags of a div.
    std::string takeMarkup() { return std::move(markup_); }
    ExtensionElement takeExtension();

    // What holds within an element; empty where the document doesn't say.
    struct Scope {
        std::size_t depth = 0; // of the element that says so
        std::string base;
        std::string language;
        bool saysBase = false;
    };
    // Within the open element, and around it.
    const Scope& scope() const { return scopes_.back(); }
    const Scope& scopeAround() const;
    // Whether the open element itself says what its base is.
    bool hasOwnBase() const { return scope().depth == depth_ && scope().saysBase; }

private:
    enum class Capture { none, extension, markup };

    void openScope(const ElementAttributes& attributes);
    void openExtension(std::string_view name, const ElementAttributes& attributes);
    void closeExtension();
    void writeStart(std::string_view name, const ElementAttributes& attributes);
    void writeEnd();
    void escape(std::string_view text);

    Namespaces namespaces_;
    std::vector<Scope> scopes_{Scope()};
    std::size_t depth_ = 0;

    Capture capture_ = Capture::none;
    std::size_t captured_ = 0; // open elements of what is captured
    std::size_t growth_ = 0; // bytes
    std::vector<ExtensionElement> open_; // down to the one that is open, as far as they are kept
    std::string markup_;
    std::vector<std::string> tags_; // open in the markup; empty for those that don't show
};

} // namespace FeedKit
