#pragma once

#include "FeedKit/models/Fields.h"

#include <optional>
#include <string>
#include <vector>

namespace FeedKit {

struct ExtensionAttribute {
    std::optional<std::string> name; // as written, prefix included
    std::optional<std::string> value;
    FEEDKIT_FIELDS(ExtensionAttribute, name, value)
};

// An element that no field of the models stands for, with all that is in it.
struct ExtensionElement {
    std::optional<std::string> name; // without its prefix
    std::optional<std::string> namespaceURI; // absent for an element without one, and for a prefix that nobody declares
    std::optional<std::vector<ExtensionAttribute>> attributes; // without the declarations of namespaces
    std::optional<std::string> text; // right within it, run together
    std::optional<std::vector<ExtensionElement>> children;

    FEEDKIT_FIELDS(ExtensionElement, name, namespaceURI, attributes, text, children)
};

} // namespace FeedKit
