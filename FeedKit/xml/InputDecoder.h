#pragma once

#include "FeedKit/xml/NSInputStream.h"

#include <memory>
#include <string>
#include <vector>

struct UConverter;

namespace FeedKit {

// The bytes of a document, ready for the tokeniser: the byte order mark and the white space ahead of the document are
// gone, and an encoding that the tokeniser doesn't know is UTF-8. The encoding is that of the byte order mark, else
// that which the first bytes of "<" show (UTF-16), else the one that the XML declaration names, else UTF-8 (XML 1.0,
// appendix F).
class InputDecoder
{
public:
    // `stream` must outlive it.
    explicit InputDecoder(NSInputStream& stream);
    ~InputDecoder();

    // Reads as much of the head as tells the encoding, and gives its name for the tokeniser. Null if that failed.
    const char* open();
    // In its place: decodes from `name` to UTF-8, whatever the document says of itself. False if the name isn't known.
    bool openAs(const std::string& name) { return openConverter(name); }
    // As NSInputStream::read. Bytes that are invalid in the encoding are a failure once all before them have been read.
    std::ptrdiff_t read(std::uint8_t* buffer, std::size_t maxLength);
    // Whether a read would give something without waiting for the stream; false if the stream can't tell.
    bool isReady() const;
    // About how many bytes are left to read; 0 if that isn't known.
    std::size_t bytesLeft() const { return from_ ? 0 : head_.size() - headAt_ + stream_.bytesLeft(); }
    // Line ends in the white space that stood ahead of the document.
    std::size_t linesSkipped() const { return linesSkipped_; }
    // Why the last call failed, in words.
    const std::string& error() const { return error_; }

private:
    struct CloseConverter {
        void operator()(UConverter*) const;
    };
    using Converter = std::unique_ptr<UConverter, CloseConverter>;

    bool fill();
    bool skipAhead();
    bool openConverter(const std::string& name);
    std::string declaredEncoding();
    std::ptrdiff_t convert(std::uint8_t* buffer, std::size_t maxLength);
    bool decodeMore();

    NSInputStream& stream_;
    std::vector<std::uint8_t> head_; // read, and not yet handed on from headAt_
    std::size_t headAt_ = 0;
    std::size_t linesSkipped_ = 0;
    bool ended_ = false;
    bool failed_ = false;
    std::string name_;
    std::string error_;
    Converter from_;
    Converter utf8_;
    std::vector<char16_t> units_; // decoded, and not yet encoded from unitsAt_ on
    std::size_t unitsAt_ = 0;
    bool undecodable_ = false; // what follows
};

} // namespace FeedKit
