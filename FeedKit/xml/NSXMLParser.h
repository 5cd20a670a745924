#pragma once

#include "FeedKit/basics/Bytes.h"
#include "FeedKit/xml/ElementAttributes.h"
#include "FeedKit/xml/NSInputStream.h"

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace FeedKit {

class NSXMLParser;

// How the texts of the open element reach the delegate.
enum class TextDelivery {
    none, // not at all
    joined, // run together, whatever stands between them
    events // each run of literal text between two pieces of markup or references, each reference and each CDATA section
           // by itself
};

// Takes the events of a document, in its order, on the thread that parses. Texts and names are UTF-8, views that last
// for the call. Any of the calls may ask the parser to stop.
class NSXMLParserDelegate
{
public:
    virtual ~NSXMLParserDelegate() = default;

    // So many more bytes (UTF-8) of the document are about to be parsed.
    virtual void parserWillReadBytes(std::size_t count) = 0;
    // The document has a type declaration: attributes may come from it, as often as it likes, and not from their
    // elements.
    virtual void parserFoundDoctype() = 0;
    virtual void parserDidStartElement(
        NSXMLParser& parser, std::string_view elementName, const ElementAttributes& attributes)
        = 0;
    virtual void parserDidEndElement(NSXMLParser& parser) = 0;
    virtual void parserFoundCharacters(NSXMLParser& parser, std::string_view text) = 0;
    virtual void parserFoundCDATA(NSXMLParser& parser, std::string_view text) = 0;
    // The section's bytes aren't the UTF-8 that they claim to be. The parse ends with it.
    virtual void parserFoundInvalidCDATA(NSXMLParser& parser) = 0;
    virtual void parserParseErrorOccurred(NSXMLParser& parser, const std::string& localizedDescription) = 0;
};

// A push tokeniser for one document, over expat. Names arrive as written, prefixes included; references are resolved;
// external entities are never fetched. Entities of the document may not expand to many times its size, how many of them
// and of attributes it declares is limited, and so is what the tokeniser itself holds (unfinished markup, open
// elements, distinct names): beyond it the document is in error. Whatever is wrong with a document is reported once,
// and ends the parse.
class NSXMLParser
{
public:
    // `stream` and `delegate` must outlive the parser.
    NSXMLParser(NSInputStream& stream, NSXMLParserDelegate& delegate);
    ~NSXMLParser();
    NSXMLParser(const NSXMLParser&) = delete;

    // Runs to the end of the document, an error or a stop. Once.
    void parse();
    // Makes parse() end with an error. Any thread, at any moment; from inside an event, and while the stream says that
    // it waits, it takes effect at once.
    void abortParsing();
    // From inside a start event, for the element that starts: until the next event of an element. None at the
    // beginning.
    void setTextDelivery(TextDelivery delivery);
    // From inside an event: its line, from 1 on.
    std::uint64_t line() const;
    // Whether the error that ended the parse is one of the document's text, and not of its size or its demands.
    bool isDamaged() const { return damaged_; }

private:
    struct Expat;

    NSInputStream& stream_;
    NSXMLParserDelegate& delegate_;
    std::unique_ptr<Expat> expat_;
    std::atomic<bool> aborted_ = false;
    bool damaged_ = false;
};

} // namespace FeedKit
