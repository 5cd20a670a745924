#include "FeedKit/xml/NSXMLParser.h"

#include "FeedKit/xml/InputDecoder.h"
#include "FeedKit/xml/MemoryLimit.h"

#include <algorithm>
#include <expat.h>

namespace FeedKit {

namespace {

// expat counts the lines of each piece but the last by going over it once more, so what fits is parsed in one.
constexpr std::size_t kPiece = 64 * 1024;
constexpr std::size_t kMostPiece = 4u << 20;
// A million elements, one in the other, take about 150 MiB.
constexpr std::size_t kMostMemory = 192u << 20;
constexpr char kTooMuchMemory[] = "the document's markup takes too much memory";
// Real feeds hold up to a hundred thousand references, none of which expands to more than a few characters.
constexpr float kMostAmplification = 10;
constexpr unsigned long long kAmplificationCountsFrom = 8u << 20;
// Joined text goes on in pieces of this size, so that a long one isn't held twice.
constexpr std::size_t kMostJoined = 64 * 1024;
// Text that must be seen as a whole, a date or a list of keywords, is held until it is over.
constexpr std::size_t kMostHeld = 32u << 20;

bool startsInvalidUtf8(vitrel::ByteView bytes)
{
    if (bytes.empty() || bytes[0] < 0x80)
        return false;
    const unsigned lead = bytes[0];
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || bytes.size() < length)
        return true;
    for (std::size_t k = 1; k < length; ++k) {
        if ((bytes[k] & 0xC0) != 0x80)
            return true;
    }
    const unsigned second = bytes[1];
    return (lead == 0xE0 && second < 0xA0) || (lead == 0xED && second >= 0xA0) || (lead == 0xF0 && second < 0x90)
        || (lead == 0xF4 && second >= 0x90);
}

} // namespace

// What one parse holds: expat, and the text that is being joined. expat cuts a text at line ends and at the ends of its
// buffers; those cuts are mended here.
struct NSXMLParser::Expat {
    Expat(NSXMLParser& owner, NSXMLParserDelegate& delegate)
        : owner(owner)
        , delegate(delegate)
    { }
    ~Expat()
    {
        if (parser)
            XML_ParserFree(parser);
    }

    void create(const char* encoding);
    void run(InputDecoder& input);
    void report(const InputDecoder& input);

    void deliver(TextDelivery wanted);
    void flush();
    void stopIfAborted();
    void characters(std::string_view piece);
    bool isReference() const;
    void cut();

    static Expat& of(void* self) { return *static_cast<Expat*>(self); }
    static void XMLCALL onStart(void* self, const XML_Char* name, const XML_Char** attributes);
    static void XMLCALL onEnd(void* self, const XML_Char* name);
    static void XMLCALL onCharacters(void* self, const XML_Char* text, int length);
    static void XMLCALL onCDATAStart(void* self);
    static void XMLCALL onCDATAEnd(void* self);

    NSXMLParser& owner;
    NSXMLParserDelegate& delegate;
    MemoryLimit memory{kMostMemory};
    XML_Parser parser = nullptr;
    TextDelivery delivery = TextDelivery::none;
    std::string run_;
    bool inCDATA = false;
    bool sawText = false; // something is to be delivered, be it empty
    bool runIsReference = false;
    XML_Index referenceAt = 0;
    std::optional<std::string> inputError;
};

void NSXMLParser::Expat::create(const char* encoding)
{
    parser = XML_ParserCreate_MM(encoding, &MemoryLimit::suite(), nullptr);
    if (!parser)
        return;
    XML_SetUserData(parser, this);
    XML_SetElementHandler(parser, onStart, onEnd);
    XML_SetCdataSectionHandler(parser, onCDATAStart, onCDATAEnd);
    XML_SetCommentHandler(parser, [](void* self, const XML_Char*) { of(self).cut(); });
    XML_SetProcessingInstructionHandler(parser, [](void* self, const XML_Char*, const XML_Char*) { of(self).cut(); });
    XML_SetStartDoctypeDeclHandler(parser, [](void* self, const XML_Char*, const XML_Char*, const XML_Char*, int) {
        of(self).delegate.parserFoundDoctype();
    });
    XML_SetSkippedEntityHandler(parser, [](void* self, const XML_Char*, int) { of(self).cut(); });
    XML_SetBillionLaughsAttackProtectionMaximumAmplification(parser, kMostAmplification);
    XML_SetBillionLaughsAttackProtectionActivationThreshold(parser, kAmplificationCountsFrom);
}

void NSXMLParser::Expat::run(InputDecoder& input)
{
    const MemoryLimit::Scope scope(memory);
    const char* encoding = input.open();
    if (!encoding)
        return delegate.parserParseErrorOccurred(owner, input.error());
    create(encoding);
    std::size_t fed = 0;
    std::size_t length = std::min(input.bytesLeft() ? input.bytesLeft() + 1 : kPiece, kMostPiece);
    for (bool ended = false; !ended;) {
        const auto buffer = parser ? XML_GetBuffer(parser, static_cast<int>(length)) : nullptr;
        if (!buffer)
            return delegate.parserParseErrorOccurred(owner, kTooMuchMemory);
        std::size_t count = 0;
        while (count < length && !ended) {
            const auto more = input.read(static_cast<std::uint8_t*>(buffer) + count, length - count);
            ended = more <= 0;
            count += static_cast<std::size_t>(std::max<std::ptrdiff_t>(more, 0));
            if (more < 0)
                inputError = input.error();
        }
        if (owner.aborted_.load(std::memory_order_relaxed))
            return delegate.parserParseErrorOccurred(owner, XML_ErrorString(XML_ERROR_ABORTED));
        fed += count;
        delegate.parserWillReadBytes(count);
        // What was read ahead of a failure still counts: the document may end in it.
        const bool whole = ended && !inputError;
        if (XML_ParseBuffer(parser, static_cast<int>(count), whole) != XML_STATUS_OK)
            return report(input);
        // Unfinished markup is scanned anew with each piece: as much again each time keeps the whole linear.
        const auto pending = fed - static_cast<std::size_t>(std::max<XML_Index>(XML_GetCurrentByteIndex(parser), 0));
        length = std::clamp(pending, std::max(kPiece, std::min(input.bytesLeft() + 1, kMostPiece)), kMostMemory);
    }
    if (inputError)
        delegate.parserParseErrorOccurred(owner, *inputError);
}

void NSXMLParser::Expat::report(const InputDecoder& input)
{
    const auto code = XML_GetErrorCode(parser);
    if (code == XML_ERROR_INVALID_TOKEN && inCDATA) {
        int offset = 0;
        int size = 0;
        const auto context = XML_GetInputContext(parser, &offset, &size);
        if (context && startsInvalidUtf8(vitrel::bytesOf({context + offset, static_cast<std::size_t>(size - offset)})))
            return delegate.parserFoundInvalidCDATA(owner);
    }
    if (code == XML_ERROR_NO_MEMORY)
        return delegate.parserParseErrorOccurred(owner, kTooMuchMemory);
    std::string text = XML_ErrorString(code);
    if (code != XML_ERROR_ABORTED) {
        text += " at line " + std::to_string(XML_GetCurrentLineNumber(parser) + input.linesSkipped()) + ", column "
            + std::to_string(XML_GetCurrentColumnNumber(parser) + 1);
    }
    delegate.parserParseErrorOccurred(owner, text);
}

// Text that nobody wants, most of it the white space between elements, isn't even reported.
void NSXMLParser::Expat::deliver(TextDelivery wanted)
{
    if ((wanted == TextDelivery::none) != (delivery == TextDelivery::none))
        XML_SetCharacterDataHandler(parser, wanted == TextDelivery::none ? nullptr : onCharacters);
    delivery = wanted;
}

// Hands on what has been joined.
void NSXMLParser::Expat::flush()
{
    if (!sawText)
        return;
    sawText = false;
    if (inCDATA && delivery == TextDelivery::events)
        delegate.parserFoundCDATA(owner, run_);
    else
        delegate.parserFoundCharacters(owner, run_);
    run_.clear();
    stopIfAborted();
}

void NSXMLParser::Expat::stopIfAborted()
{
    if (owner.aborted_.load(std::memory_order_relaxed))
        XML_StopParser(parser, XML_FALSE);
}

// What stands here separates two runs of literal text.
void NSXMLParser::Expat::cut()
{
    if (delivery == TextDelivery::events)
        flush();
}

// expat's event is the whole of a reference, from its "&" on, also for each piece of what an entity holds.
bool NSXMLParser::Expat::isReference() const
{
    int offset = 0;
    int size = 0;
    const auto context = XML_GetInputContext(parser, &offset, &size);
    return context && offset < size && context[offset] == '&';
}

void NSXMLParser::Expat::characters(std::string_view piece)
{
    if (delivery == TextDelivery::joined) {
        if (run_.size() + piece.size() > kMostJoined)
            flush();
    } else if (!inCDATA) {
        const bool reference = isReference();
        const auto at = reference ? XML_GetCurrentByteIndex(parser) : 0;
        if (reference != runIsReference || at != referenceAt)
            flush();
        runIsReference = reference;
        referenceAt = at;
    }
    if (run_.size() + piece.size() > kMostHeld) {
        delegate.parserParseErrorOccurred(owner, "a text is too long for its element");
        XML_StopParser(parser, XML_FALSE);
        return;
    }
    run_.append(piece);
    sawText = true;
}

void XMLCALL NSXMLParser::Expat::onStart(void* self, const XML_Char* name, const XML_Char** attributes)
{
    auto& in = of(self);
    in.flush();
    in.deliver(TextDelivery::none);
    if (!in.owner.aborted_.load(std::memory_order_relaxed))
        in.delegate.parserDidStartElement(in.owner, name, ElementAttributes(attributes));
    in.stopIfAborted();
}

void XMLCALL NSXMLParser::Expat::onEnd(void* self, const XML_Char*)
{
    auto& in = of(self);
    in.flush();
    in.deliver(TextDelivery::none);
    if (!in.owner.aborted_.load(std::memory_order_relaxed))
        in.delegate.parserDidEndElement(in.owner);
    in.stopIfAborted();
}

void XMLCALL NSXMLParser::Expat::onCharacters(void* self, const XML_Char* text, int length)
{
    of(self).characters({text, static_cast<std::size_t>(length)});
}

void XMLCALL NSXMLParser::Expat::onCDATAStart(void* self)
{
    auto& in = of(self);
    in.cut();
    in.inCDATA = true;
    in.runIsReference = false;
    in.referenceAt = 0;
    // A section counts even if it is empty.
    in.sawText = in.delivery != TextDelivery::none;
}

void XMLCALL NSXMLParser::Expat::onCDATAEnd(void* self)
{
    auto& in = of(self);
    in.cut();
    in.inCDATA = false;
}

NSXMLParser::NSXMLParser(NSInputStream& stream, NSXMLParserDelegate& delegate)
    : stream_(stream)
    , delegate_(delegate)
{ }

NSXMLParser::~NSXMLParser() = default;

void NSXMLParser::parse()
{
    InputDecoder input(stream_);
    expat_ = std::make_unique<Expat>(*this, delegate_);
    expat_->run(input);
    expat_.reset();
}

void NSXMLParser::abortParsing()
{
    aborted_.store(true, std::memory_order_relaxed);
}

void NSXMLParser::setTextDelivery(TextDelivery delivery)
{
    if (expat_)
        expat_->deliver(delivery);
}

} // namespace FeedKit
