#include "FeedKit/xml/NSXMLParser.h"

#include "FeedKit/xml/ExpatVersions.h"
#include "FeedKit/xml/InputDecoder.h"
#include "FeedKit/xml/MemoryLimit.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <expat.h>

namespace FeedKit {

namespace {

// expat counts the lines of each piece but the last by going over it once more, so what fits is parsed in one.
constexpr std::size_t kPiece = 64 * 1024;
constexpr std::size_t kMostPiece = 4u << 20;
// What the tokeniser may hold: so much of any document, and as much again as it is long, up to a limit.
constexpr std::size_t kFreeMemory = 24u << 20;
constexpr std::size_t kMostMemory = 48u << 20;
constexpr char kTooManyAttributes[] = "the document declares too many attributes";
constexpr char kTooMuchMemory[] = "the document's markup takes too much memory";
// Real feeds hold up to a hundred thousand references, none of which expands to more than a few characters.
constexpr float kMostAmplification = 10;
constexpr unsigned long long kAmplificationCountsFrom = 8u << 20;
// expat expands an entity in an entity by calling itself, so a chain of fifty thousand runs over the stack. Documents
// that bring the names of HTML's characters along declare 250.
constexpr std::size_t kMostEntities = 1000;
// At each start tag expat walks over the attributes that are declared for the element. Feeds that declare any declare a
// handful, and have fifty bytes for each element.
constexpr std::size_t kMostAttributes = 256;
constexpr std::size_t kFreeWalks = 4u << 20;
constexpr std::size_t kWalksPerByte = 4;
// XHTML in an article goes some thirty deep.
constexpr std::size_t kMostDepth = 10'000;
constexpr std::size_t kMostOpenNames = 1u << 20; // bytes
// Unfinished markup is scanned anew with each piece; a document may cost so many bytes of that before larger pieces are
// waited for.
constexpr std::size_t kFreeRescans = 16u << 20;
constexpr std::size_t kRescansPerByte = 4;
// How late a stop is seen while a stream gives nothing.
constexpr std::chrono::milliseconds kBetweenLooks{20};
// Joined text goes on in pieces of this size, so that a long one isn't held twice.
constexpr std::size_t kMostJoined = 64 * 1024;
// Text that must be seen as a whole, a date or a list of keywords, is held until it is over.
constexpr std::size_t kMostHeld = 32u << 20;

// Of what is UTF-8 and more than a byte XML forbids these two alone: anything else that it stumbles over is none.
bool startsInvalidUtf8(std::string_view text)
{
    return !text.empty() && static_cast<unsigned char>(text[0]) >= 0x80 && !text.starts_with("\uFFFE")
        && !text.starts_with("\uFFFF");
}

// Gives up waiting for the stream once the parse is aborted.
class AbortableStream final : public NSInputStream
{
public:
    AbortableStream(NSInputStream& stream, const std::atomic<bool>& aborted)
        : stream_(stream)
        , aborted_(aborted)
    { }

    std::ptrdiff_t read(std::uint8_t* buffer, std::size_t maxLength) override
    {
        do {
            if (isAborted())
                return -1;
        } while (stream_.waitForBytes(kBetweenLooks) == StreamReadiness::waiting);
        return stream_.read(buffer, maxLength);
    }
    StreamReadiness waitForBytes(std::chrono::milliseconds time) override { return stream_.waitForBytes(time); }
    std::size_t bytesLeft() const override { return stream_.bytesLeft(); }
    std::string streamError() const override
    {
        return isAborted() ? XML_ErrorString(XML_ERROR_ABORTED) : stream_.streamError();
    }

private:
    bool isAborted() const { return aborted_.load(std::memory_order_relaxed); }

    NSInputStream& stream_;
    const std::atomic<bool>& aborted_;
};

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
    bool readPiece(InputDecoder& input, std::uint8_t* buffer, std::size_t length, std::size_t atLeast);
    void allowFor(std::size_t bytes);
    void report();
    void refuse(const char* why);
    void take(std::size_t& count, std::size_t most, const char* why);

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
    MemoryLimit memory{kFreeMemory};
    std::size_t fed = 0; // bytes handed to expat
    std::size_t pieceLength = 0;
    bool ended = false; // nothing follows
    std::size_t entities = 0; // declared, as are the attributes
    std::size_t attributes = 0;
    std::size_t walks = 0; // over declared attributes
    std::vector<std::uint32_t> open; // how long the names of the open elements are, and of all together
    std::size_t openNames = 0;
    std::size_t linesSkipped = 0; // ahead of the document
    XML_Parser parser = nullptr;
    TextDelivery delivery = TextDelivery::none;
    std::string run_;
    bool inCDATA = false;
    bool sawText = false; // something is to be delivered, be it empty
    std::int64_t referenceAt = 0; // that the run is of; none stands at the document's first byte
    std::optional<std::string> inputError;
};

void NSXMLParser::Expat::create(const char* encoding)
{
    parser = XML_ParserCreate_MM(encoding, &MemoryLimit::suite(), nullptr);
    if (!parser)
        return;
    readAtOnce(parser);
    XML_SetUserData(parser, this);
    XML_SetElementHandler(parser, onStart, onEnd);
    XML_SetCdataSectionHandler(parser, onCDATAStart, onCDATAEnd);
    XML_SetCommentHandler(parser, [](void* self, const XML_Char*) { of(self).cut(); });
    XML_SetProcessingInstructionHandler(parser, [](void* self, const XML_Char*, const XML_Char*) { of(self).cut(); });
    XML_SetStartDoctypeDeclHandler(parser, [](void* self, const XML_Char*, const XML_Char*, const XML_Char*, int) {
        of(self).delegate.parserFoundDoctype();
    });
    XML_SetEntityDeclHandler(parser,
        [](void* self, const XML_Char*, int, const XML_Char*, int, const XML_Char*, const XML_Char*, const XML_Char*,
            const XML_Char*) {
            of(self).take(of(self).entities, kMostEntities, "the document declares too many entities");
        });
    XML_SetAttlistDeclHandler(
        parser, [](void* self, const XML_Char*, const XML_Char*, const XML_Char*, const XML_Char*, int) {
            of(self).take(of(self).attributes, kMostAttributes, kTooManyAttributes);
        });
    XML_SetSkippedEntityHandler(parser, [](void* self, const XML_Char*, int) { of(self).cut(); });
    XML_SetBillionLaughsAttackProtectionMaximumAmplification(parser, kMostAmplification);
    XML_SetBillionLaughsAttackProtectionActivationThreshold(parser, kAmplificationCountsFrom);
}

void NSXMLParser::Expat::run(InputDecoder& input)
{
    const MemoryLimit::Scope scope(memory);
    const char* encoding = input.open();
    if (!encoding) {
        owner.damaged_ = true;
        return delegate.parserParseErrorOccurred(owner, input.error());
    }
    linesSkipped = input.linesSkipped();
    create(encoding);
    std::size_t length = std::min(input.bytesLeft() ? input.bytesLeft() + 1 : kPiece, kMostPiece);
    std::size_t rescanned = 0;
    std::size_t atLeast = 1;
    while (!ended) {
        const auto buffer = parser ? XML_GetBuffer(parser, static_cast<int>(length)) : nullptr;
        if (!buffer)
            return delegate.parserParseErrorOccurred(owner, kTooMuchMemory);
        if (!readPiece(input, static_cast<std::uint8_t*>(buffer), length, atLeast))
            return delegate.parserParseErrorOccurred(owner, XML_ErrorString(XML_ERROR_ABORTED));
        // What was read ahead of a failure still counts: the document may end in it.
        const bool whole = ended && !inputError;
        if (XML_ParseBuffer(parser, static_cast<int>(pieceLength), whole) != XML_STATUS_OK)
            return report();
        const auto pending = fed - static_cast<std::size_t>(std::max<std::int64_t>(byteIndexOf(parser), 0));
        length = std::clamp(pending, std::max(kPiece, std::min(input.bytesLeft() + 1, kMostPiece)), kMostMemory);
        // As much again each time keeps the whole linear.
        rescanned += pending;
        atLeast = rescanned <= kFreeRescans + kRescansPerByte * fed
            ? 1
            : std::min(std::max<std::size_t>(pending, 1), length);
    }
    if (inputError) {
        owner.damaged_ = true;
        delegate.parserParseErrorOccurred(owner, *inputError);
    }
}

// Reads what is there, and no less than `atLeast`: who sends a document slowly gets its feed when its root has ended.
// False if the parse is aborted meanwhile.
bool NSXMLParser::Expat::readPiece(InputDecoder& input, std::uint8_t* buffer, std::size_t length, std::size_t atLeast)
{
    pieceLength = 0;
    while (pieceLength < length && !ended && (pieceLength < atLeast || input.isReady())) {
        const auto more = input.read(buffer + pieceLength, length - pieceLength);
        ended = more <= 0;
        pieceLength += static_cast<std::size_t>(std::max<std::ptrdiff_t>(more, 0));
        if (more < 0)
            inputError = input.error();
    }
    if (owner.aborted_.load(std::memory_order_relaxed))
        return false;
    allowFor(pieceLength);
    delegate.parserWillReadBytes(pieceLength);
    return true;
}

void NSXMLParser::Expat::allowFor(std::size_t bytes)
{
    const auto allowed = [&] { return std::min(fed, kMostMemory - kFreeMemory); };
    const auto former = allowed();
    fed += bytes;
    memory.allow(allowed() - former);
}

void NSXMLParser::Expat::report()
{
    const auto code = XML_GetErrorCode(parser);
    owner.damaged_
        = code != XML_ERROR_NO_MEMORY && code != XML_ERROR_ABORTED && code != XML_ERROR_AMPLIFICATION_LIMIT_BREACH;
    if (code == XML_ERROR_INVALID_TOKEN && inCDATA && startsInvalidUtf8(textAt(parser)))
        return delegate.parserFoundInvalidCDATA(owner);
    if (code == XML_ERROR_NO_MEMORY)
        return delegate.parserParseErrorOccurred(owner, kTooMuchMemory);
    std::string text = XML_ErrorString(code);
    if (code != XML_ERROR_ABORTED) {
        text += " at line " + std::to_string(lineOf(parser) + linesSkipped) + ", column "
            + std::to_string(columnOf(parser) + 1);
    }
    delegate.parserParseErrorOccurred(owner, text);
}

void NSXMLParser::Expat::refuse(const char* why)
{
    delegate.parserParseErrorOccurred(owner, why);
    XML_StopParser(parser, XML_FALSE);
}

// Counts one more.
void NSXMLParser::Expat::take(std::size_t& count, std::size_t most, const char* why)
{
    if (++count > most)
        refuse(why);
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
    return textAt(parser).starts_with('&');
}

void NSXMLParser::Expat::characters(std::string_view piece)
{
    if (delivery == TextDelivery::joined) {
        if (run_.size() + piece.size() > kMostJoined)
            flush();
    } else if (!inCDATA) {
        const auto at = isReference() ? byteIndexOf(parser) : 0;
        if (at != referenceAt)
            flush();
        referenceAt = at;
    }
    if (run_.size() + piece.size() > kMostHeld) {
        return refuse("a text is too long for its element");
    }
    run_.append(piece);
    sawText = true;
}

void XMLCALL NSXMLParser::Expat::onStart(void* self, const XML_Char* name, const XML_Char** attributes)
{
    auto& in = of(self);
    in.flush();
    in.deliver(TextDelivery::none);
    const std::string_view view(name);
    in.openNames += view.size();
    in.walks += in.attributes;
    if (in.walks > kFreeWalks + kWalksPerByte * in.fed)
        return in.refuse(kTooManyAttributes);
    in.open.push_back(static_cast<std::uint32_t>(view.size()));
    if (in.open.size() > kMostDepth || in.openNames > kMostOpenNames)
        return in.refuse("the document's elements are nested too deep");
    if (!in.owner.aborted_.load(std::memory_order_relaxed))
        in.delegate.parserDidStartElement(in.owner, view, ElementAttributes(attributes));
    in.stopIfAborted();
}

void XMLCALL NSXMLParser::Expat::onEnd(void* self, const XML_Char*)
{
    auto& in = of(self);
    in.flush();
    in.deliver(TextDelivery::none);
    in.openNames -= in.open.back();
    in.open.pop_back();
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
    AbortableStream stream(stream_, aborted_);
    InputDecoder input(stream);
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

std::uint64_t NSXMLParser::line() const
{
    return expat_ ? lineOf(expat_->parser) + expat_->linesSkipped : 0;
}

} // namespace FeedKit
