#pragma once

namespace FeedKit {

// How much of a document a parse keeps.
enum class Extent {
    // What the formats' models have.
    model,
    // That, and what their members `more` and the further fields of Media RSS are for: namespaces that the models don't
    // know, all enclosures, the bases of relative addresses, dates as they were written. Texts of Atom that are XHTML
    // are kept as markup.
    more
};

} // namespace FeedKit
