#include "FeedKit/xml/InputDecoder.h"

#include "base/Text.h"

#include <algorithm>
#include <cstring>
#include <unicode/ucnv.h>

namespace FeedKit {

namespace {

constexpr std::size_t kPiece = 16 * 1024;
// Enough to tell the encoding, and little enough to be copied twice.
constexpr std::size_t kHead = 512;
// An XML declaration is some fifty characters; one that isn't over by then has no encoding that would be believed.
constexpr std::size_t kMostDeclaration = 1024;

bool isSpace(std::uint8_t byte)
{
    return byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r';
}

// As XML has it (EncName). The converter library would look for a file of any other name.
bool isEncodingName(std::string_view name)
{
    const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
    return !name.empty() && name.size() <= 40 && isLetter(name[0])
        && std::all_of(name.begin(), name.end(),
            [&](char c) { return isLetter(c) || (c >= '0' && c <= '9') || c == '.' || c == '_' || c == '-'; });
}

// Without those that no document should be written in: browsers dropped them because the same bytes are harmless text
// to one reader and markup to another.
bool isFitForDocuments(UConverterType type)
{
    switch (type) {
    case UCNV_SBCS:
    case UCNV_DBCS:
    case UCNV_MBCS:
    case UCNV_LATIN_1:
    case UCNV_US_ASCII:
    case UCNV_UTF8:
    case UCNV_UTF16:
    case UCNV_UTF16_BigEndian:
    case UCNV_UTF16_LittleEndian:
    case UCNV_UTF32:
    case UCNV_ISO_2022:
        return true;
    default:
        return false;
    }
}

} // namespace

void InputDecoder::CloseConverter::operator()(UConverter* converter) const
{
    ucnv_close(converter);
}

InputDecoder::InputDecoder(NSInputStream& stream)
    : stream_(stream)
{ }

InputDecoder::~InputDecoder() = default;

// Reads another piece behind what is there. False at the end or on failure.
bool InputDecoder::fill()
{
    if (ended_ || failed_)
        return false;
    head_.erase(head_.begin(), head_.begin() + static_cast<std::ptrdiff_t>(headAt_));
    headAt_ = 0;
    const auto former = head_.size();
    const auto size = from_ ? kPiece : kHead;
    head_.resize(former + size);
    const auto count = stream_.read(head_.data() + former, size);
    head_.resize(former + static_cast<std::size_t>(std::max<std::ptrdiff_t>(count, 0)));
    if (count < 0) {
        failed_ = true;
        error_ = stream_.streamError();
    }
    ended_ = count == 0;
    return count > 0;
}

const char* InputDecoder::open()
{
    const auto startsWith = [&](std::initializer_list<std::uint8_t> mark) {
        return head_.size() >= mark.size() && std::equal(mark.begin(), mark.end(), head_.begin());
    };
    while (head_.size() < 4 && fill()) { }
    if (failed_)
        return nullptr;
    if (startsWith({0xEF, 0xBB, 0xBF})) {
        headAt_ = 3;
        return skipAhead() ? "UTF-8" : nullptr;
    }
    // Converters of these names take a byte order mark off by themselves.
    if (startsWith({0xFF, 0xFE}) || startsWith({0xFE, 0xFF}))
        return openConverter(startsWith({0xFF, 0xFE, 0, 0}) ? "UTF-32" : "UTF-16") ? "UTF-8" : nullptr;
    if (head_.size() >= 2 && (head_[0] == 0) != (head_[1] == 0))
        return openConverter(head_[0] == 0 ? "UTF-16BE" : "UTF-16LE") ? "UTF-8" : nullptr;

    if (!skipAhead())
        return nullptr;
    name_ = declaredEncoding();
    const auto name = vitrel::asciiLowercase(name_);
    if (name.empty() || name == "utf-8" || name == "utf8")
        return "UTF-8";
    if (name == "iso-8859-1" || name == "us-ascii")
        return name_.c_str();
    if (name.starts_with("utf-16") || name.starts_with("utf-32") || name.starts_with("ucs-")
        || name.starts_with("iso-10646-ucs")) {
        error_ = "the document says that it is " + name_ + ", but its bytes are not";
        return nullptr;
    }
    return openConverter(name_) ? "UTF-8" : nullptr;
}

// Drops white space ahead of the document: XML doesn't allow it before a declaration, but feeds have it.
bool InputDecoder::skipAhead()
{
    do {
        for (; headAt_ < head_.size() && isSpace(head_[headAt_]); ++headAt_)
            linesSkipped_ += head_[headAt_] == '\n';
    } while (headAt_ == head_.size() && fill());
    return !failed_;
}

// The encoding that the XML declaration names; empty if there is none.
std::string InputDecoder::declaredEncoding()
{
    const auto text = [&] {
        return std::string_view(reinterpret_cast<const char*>(head_.data()) + headAt_, head_.size() - headAt_)
            .substr(0, kMostDeclaration);
    };
    while (text().size() < 5 && fill()) { }
    if (!text().starts_with("<?xml"))
        return {};
    while (text().find("?>") == std::string_view::npos && text().size() < kMostDeclaration && fill()) { }
    const auto declaration = text().substr(0, text().find("?>"));
    auto at = declaration.find("encoding");
    if (at == declaration.npos)
        return {};
    at = declaration.find_first_of("\"'", at);
    if (at == declaration.npos)
        return {};
    const auto end = declaration.find(declaration[at], at + 1);
    return end == declaration.npos ? std::string() : std::string(declaration.substr(at + 1, end - at - 1));
}

bool InputDecoder::openConverter(const std::string& name)
{
    name_ = name;
    UErrorCode status = isEncodingName(name) ? U_ZERO_ERROR : U_ILLEGAL_ARGUMENT_ERROR;
    from_.reset(ucnv_open(name.c_str(), &status));
    utf8_.reset(ucnv_open("UTF-8", &status));
    // What doesn't convert is an error, not a replacement character.
    if (U_SUCCESS(status))
        ucnv_setToUCallBack(from_.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
    if (U_SUCCESS(status))
        ucnv_setFromUCallBack(utf8_.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
    if (U_FAILURE(status) || !isFitForDocuments(ucnv_getType(from_.get()))) {
        error_ = "the encoding \"" + name.substr(0, 40) + "\" is not known";
        return false;
    }
    return true;
}

bool InputDecoder::isReady() const
{
    return headAt_ < head_.size() || unitsAt_ < units_.size() || ended_
        || stream_.waitForBytes(std::chrono::milliseconds(0)) == StreamReadiness::ready;
}

std::ptrdiff_t InputDecoder::read(std::uint8_t* buffer, std::size_t maxLength)
{
    if (from_)
        return convert(buffer, maxLength);
    if (headAt_ < head_.size()) {
        const auto count = std::min(maxLength, head_.size() - headAt_);
        std::memcpy(buffer, head_.data() + headAt_, count);
        headAt_ += count;
        return static_cast<std::ptrdiff_t>(count);
    }
    const auto count = ended_ ? 0 : stream_.read(buffer, maxLength);
    if (count < 0)
        error_ = stream_.streamError();
    return count;
}

std::ptrdiff_t InputDecoder::convert(std::uint8_t* buffer, std::size_t maxLength)
{
    const auto begin = reinterpret_cast<char*>(buffer);
    auto target = begin;
    while (target == begin) {
        if (unitsAt_ == units_.size() && !decodeMore())
            return failed_ ? -1 : 0;
        auto source = static_cast<const char16_t*>(units_.data()) + unitsAt_;
        UErrorCode status = U_ZERO_ERROR;
        ucnv_fromUnicode(
            utf8_.get(), &target, begin + maxLength, &source, units_.data() + units_.size(), nullptr, false, &status);
        unitsAt_ = static_cast<std::size_t>(source - units_.data());
    }
    return target - begin;
}

// Refills units_. False at the end, and when what follows can't be read or decoded: all before it has been handed on
// then.
bool InputDecoder::decodeMore()
{
    units_.clear();
    unitsAt_ = 0;
    while (units_.empty() && !undecodable_) {
        const bool flushing = ended_;
        if (headAt_ == head_.size() && !ended_ && !fill() && failed_)
            return false;
        units_.resize(kPiece);
        auto source = reinterpret_cast<const char*>(head_.data()) + headAt_;
        const auto sourceBegin = source;
        auto target = units_.data();
        UErrorCode status = U_ZERO_ERROR;
        ucnv_toUnicode(from_.get(), &target, units_.data() + units_.size(), &source,
            reinterpret_cast<const char*>(head_.data()) + head_.size(), nullptr, ended_, &status);
        headAt_ += static_cast<std::size_t>(source - sourceBegin);
        units_.resize(static_cast<std::size_t>(target - units_.data()));
        undecodable_ = U_FAILURE(status) && status != U_BUFFER_OVERFLOW_ERROR;
        // No document may have a zero, and the tokeniser takes one at the beginning for a sign of another encoding.
        if (const auto zero = std::find(units_.begin(), units_.end(), u'\0'); zero != units_.end()) {
            units_.erase(zero, units_.end());
            undecodable_ = true;
        }
        if (flushing && units_.empty() && !undecodable_)
            return false;
    }
    if (units_.empty()) {
        failed_ = true;
        error_ = "the bytes are not valid " + name_;
    }
    return !units_.empty();
}

} // namespace FeedKit
