#pragma once

#include "FeedKit/models/Extent.h"
#include "FeedKit/models/Forgivings.h"
#include "FeedKit/xml/NSXMLParser.h"
#include "FeedKit/xml/Namespaces.h"

#include <string>
#include <string_view>
#include <vector>

namespace FeedKit {

// Gives the elements of a document the names that the path tables know, by what their namespaces are (Namespaces in XML
// 1.0): "d:creator" is "dc:creator" where d stands for Dublin Core's namespace, "atom:feed" is "feed". The usual
// prefixes keep their meaning whatever they are bound to. The names of Atom 0.3 become those of Atom 1.0.
//
// What the prefixes mean is looked up once for as long as no declaration changes.
class LenientNames
{
public:
    // `forgivings` and `parser`, which tells the line, must outlive it. What only Extent::more keeps has no other name
    // without it.
    LenientNames(Forgivings& forgivings, const NSXMLParser& parser, Extent extent)
        : forgivings_(forgivings)
        , parser_(parser)
        , extent_(extent)
    { }

    // For each start tag, in order. The name lasts until the next call.
    std::string_view startElement(std::string_view name, const ElementAttributes& attributes);
    void endElement();
    // Those of the start tag with the names that they have in Atom 1.0; valid as long as the given ones.
    ElementAttributes attributes(const ElementAttributes& given);

private:
    enum class Vocabulary { other, atom, atom03, rdf, rss }; // of the root
    struct Meaning {
        std::string prefix; // empty for the default namespace
        std::string_view meant; // the usual prefix, or which family of a feed's own elements; empty if neither
    };

    std::string_view meaningOf(std::string_view prefix);
    std::string_view rootName(std::string_view name);
    std::string_view usualPrefix(std::string_view meaning) const;
    std::string_view byNamespace(std::string_view name);
    std::string_view inUsualCase(std::string_view name);
    std::string_view inAtom10(std::string_view name);
    std::string_view forgiven(Forgivable what, std::string_view written, std::string_view meant);
    bool isOwn(std::string_view meaning) const;

    Forgivings& forgivings_;
    const NSXMLParser& parser_;
    const Extent extent_;
    Namespaces namespaces_;
    std::vector<Meaning> meanings_; // looked up so far
    std::size_t meaningsVersion_ = 0;
    std::string rootDefault_; // the root's default namespace
    std::size_t depth_ = 0; // of the open element; the root's is 1
    bool isRootKnown_ = false;
    bool isOddCase_ = false;
    Vocabulary vocabulary_ = Vocabulary::other;
    std::size_t authorDepth_ = 0; // of Atom 0.3's open author
    bool isGenerator_ = false;
    std::string name_;
    std::vector<const char*> attributes_;
};

} // namespace FeedKit
