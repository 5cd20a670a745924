#pragma once

#include "base/Result.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vitrel::qc {

// A place in a text: lines and characters of a line, both from 1.
struct TextPlace {
    std::size_t line = 1, column = 1;
};

// What makes a text no JSON, and where.
struct TextFault {
    std::size_t offset = 0; // in bytes
    std::string reason;
};

// One value of a JSON text with the place where it stands. Members keep their order, and those with the same key.
struct TextNode {
    enum class Kind { Null, Boolean, Number, String, Array, Object } kind = Kind::Null;
    std::size_t offset = 0; // of its first byte
    std::size_t end = 0; // behind its last
    std::size_t keyOffset = 0; // of the key's quotation mark, within an object
    std::string key;
    std::string text; // of a string
    double number = 0; // of a number; 0 and 1 of a boolean
    bool isWhole = false; // a number without fraction
    std::vector<TextNode> children;

    bool is(Kind other) const { return kind == other; }
    // The last member of that key, which is the one that counts; null if there is none, or if it is no object.
    const TextNode* member(std::string_view key) const;
    // The text of a string member; null without.
    const std::string* textMember(std::string_view key) const;
};

// Its members or elements; none for null.
const std::vector<TextNode>& childrenOf(const TextNode* node);

// A JSON text of at most 64 MiB with comments, as the text form may have them; nested at most 1000 deep. Any thread.
Result<TextNode, TextFault> textTree(std::string_view text);

// Turns offsets into places; they may come in any order. The text must outlive it.
class TextPlaces
{
public:
    explicit TextPlaces(std::string_view text);
    TextPlace at(std::size_t offset) const;
    // Within the string that begins at `offset`: of its character number `index`, in bytes of the string's own text.
    std::size_t offsetInString(std::size_t offset, std::size_t index) const;

private:
    std::string_view text_;
    std::vector<std::size_t> lines_; // where each begins
};

} // namespace vitrel::qc
