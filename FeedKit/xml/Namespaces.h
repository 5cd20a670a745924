#pragma once

#include "FeedKit/xml/ElementAttributes.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace FeedKit {

// A name as written, in its parts: "media:title" is title with the prefix media. A name with no colon has no prefix.
struct QualifiedName {
    explicit QualifiedName(std::string_view name)
        : prefix(name.substr(0, name.find(':') == name.npos ? 0 : name.find(':')))
        , local(name.substr(prefix.empty() ? 0 : prefix.size() + 1))
    { }

    std::string_view prefix;
    std::string_view local;
};

// Which namespaces the prefixes stand for at the open element (Namespaces in XML 1.0).
class Namespaces
{
public:
    // A start tag, and an end.
    void open(const ElementAttributes& attributes);
    void close();
    // Empty if nobody has declared the prefix. The empty one is that of the default namespace.
    std::string_view uriOf(std::string_view prefix) const;
    // Names the state of the declarations: as long as it is the same no prefix has changed its meaning.
    std::size_t version() const { return version_; }

private:
    struct Declaration {
        std::string prefix;
        std::string uri;
        std::size_t depth;
    };

    std::vector<Declaration> declarations_;
    std::size_t depth_ = 0;
    std::size_t version_ = 0;
};

} // namespace FeedKit
