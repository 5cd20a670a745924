#include "platform/quartzcomposer/file/TextTree.h"

#include "platform/quartzcomposer/file/TextValues.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iterator>

namespace vitrel::qc {

namespace {

using Json = nlohmann::ordered_json;
using Kind = TextNode::Kind;

// Tells how far a parser has read that takes byte after byte.
class CountingIterator
{
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    CountingIterator(const char* at, const char** read)
        : at_(at)
        , read_(read)
    { }
    reference operator*() const { return *at_; }
    CountingIterator& operator++()
    {
        *read_ = ++at_;
        return *this;
    }
    CountingIterator operator++(int)
    {
        CountingIterator before = *this;
        ++*this;
        return before;
    }
    friend bool operator==(const CountingIterator& a, const CountingIterator& b) { return a.at_ == b.at_; }

private:
    const char* at_;
    const char** read_;
};

std::size_t skipComment(std::string_view text, std::size_t at)
{
    const bool isLine = text.substr(at, 2) == "//";
    const auto end = text.find(isLine ? "\n" : "*/", at + 2);
    return end == text.npos ? text.size() : end + (isLine ? 1 : 2);
}

// What the JSON parser tells becomes the tree. It tells of a value when it has read its end (and of a number one byte
// later), so a value begins at the first byte behind the one before that is neither blank, comment, comma nor colon.
class TreeMaker
{
public:
    explicit TreeMaker(std::string_view text)
        : text_(text)
    { }

    Result<TextNode, TextFault> make()
    {
        const char* read = text_.data();
        const CountingIterator begin(text_.data(), &read), end(text_.data() + text_.size(), &read);
        read_ = &read;
        if (Json::sax_parse(begin, end, this, nlohmann::detail::input_format_t::json, true, true))
            return std::move(root_);
        return std::move(fault_);
    }

    bool null() { return scalar(Kind::Null, 0, false); }
    bool boolean(bool value) { return scalar(Kind::Boolean, value ? 1 : 0, false); }
    bool number_integer(std::int64_t value) { return scalar(Kind::Number, static_cast<double>(value), true); }
    bool number_unsigned(std::uint64_t value) { return scalar(Kind::Number, static_cast<double>(value), true); }
    bool number_float(double value, const std::string&)
    {
        return scalar(Kind::Number, value,
            value == static_cast<double>(static_cast<std::int64_t>(std::clamp(value, -9e15, 9e15))));
    }
    bool string(std::string& value)
    {
        TextNode& node = add(Kind::String);
        node.text = std::move(value);
        return true;
    }
    bool binary(Json::binary_t&) { return false; }
    bool start_object(std::size_t) { return open(Kind::Object); }
    bool start_array(std::size_t) { return open(Kind::Array); }
    bool end_object() { return close(); }
    bool end_array() { return close(); }
    bool key(std::string& key)
    {
        key_ = std::move(key);
        keyOffset_ = begin();
        behind_ = read();
        return true;
    }
    template <class Exception> bool parse_error(std::size_t, const std::string&, const Exception& error)
    {
        // "[json...] parse error at line 1, column 2: syntax error while parsing value - unexpected ...; expected ..."
        std::string reason = error.what();
        for (const char* const before : {": ", " - "}) {
            if (const auto at = reason.find(before); at != reason.npos)
                reason.erase(0, at + std::char_traits<char>::length(before));
        }
        if (const auto read = reason.find("; last read:"); read != reason.npos)
            reason.erase(read, std::min(reason.find("'; ", read), reason.size() - 1) + 1 - read);
        for (const char* const bracket : {"expected '}'", "expected ']'"}) {
            if (const auto at = reason.find(bracket); at != reason.npos)
                reason.insert(at + 9, "',' or ");
        }
        // Where the word begins at which it went wrong.
        fault_ = {begin(), std::move(reason)};
        return false;
    }

private:
    std::size_t read() const { return static_cast<std::size_t>(*read_ - text_.data()); }
    std::size_t begin() const
    {
        std::size_t at = behind_;
        while (at < text_.size()) {
            if (text_[at] == '/')
                at = skipComment(text_, at);
            else if (std::string_view(" \t\r\n,:\xEF\xBB\xBF").find(text_[at]) != std::string_view::npos)
                ++at;
            else
                break;
        }
        return at;
    }
    TextNode& add(Kind kind)
    {
        TextNode node;
        node.kind = kind;
        node.offset = begin();
        node.key = std::move(key_);
        node.keyOffset = keyOffset_;
        key_.clear();
        behind_ = read();
        // The byte behind a number is read, too, and may be one that opens or closes.
        if (kind == Kind::Number || kind == Kind::Boolean || kind == Kind::Null) {
            behind_ = node.offset;
            while (behind_ < text_.size()
                && std::string_view(" \t\r\n,]}/").find(text_[behind_]) == std::string_view::npos)
                ++behind_;
        }
        node.end = behind_;
        if (open_.empty()) {
            root_ = std::move(node);
            return root_;
        }
        auto& children = open_.back()->children;
        children.push_back(std::move(node));
        return children.back();
    }
    bool scalar(Kind kind, double number, bool isWhole)
    {
        TextNode& node = add(kind);
        node.number = number;
        node.isWhole = isWhole;
        return true;
    }
    bool open(Kind kind)
    {
        open_.push_back(&add(kind));
        return true;
    }
    bool close()
    {
        behind_ = read();
        open_.back()->end = behind_;
        open_.pop_back();
        return true;
    }

    std::string_view text_;
    const char** read_ = nullptr;
    std::size_t behind_ = 0, keyOffset_ = 0;
    std::string key_;
    TextNode root_;
    std::vector<TextNode*> open_; // a child that is open is its parent's last, and stays where it is
    TextFault fault_;
};

} // namespace

const TextNode* TextNode::member(std::string_view name) const
{
    for (auto child = children.rbegin(); kind == Kind::Object && child != children.rend(); ++child) {
        if (child->key == name)
            return &*child;
    }
    return nullptr;
}

const std::string* TextNode::textMember(std::string_view name) const
{
    const TextNode* found = member(name);
    return found && found->is(Kind::String) ? &found->text : nullptr;
}

const std::vector<TextNode>& childrenOf(const TextNode* node)
{
    static const std::vector<TextNode> none;
    return node ? node->children : none;
}

Result<TextNode, TextFault> textTree(std::string_view text)
{
    constexpr std::size_t kMaxText = 64u << 20;
    if (text.size() > kMaxText)
        return TextFault{0, "the text is longer than 64 MiB"};
    if (!isShapedForParsing(text, 1000, 50'000))
        return TextFault{0, "the text nests too deep, or an object in it has too many members"};
    return TreeMaker(text).make();
}

TextPlaces::TextPlaces(std::string_view text)
    : text_(text)
    , lines_{0}
{
    for (std::size_t at = text.find('\n'); at != text.npos; at = text.find('\n', at + 1))
        lines_.push_back(at + 1);
}

TextPlace TextPlaces::at(std::size_t offset) const
{
    offset = std::min(offset, text_.size());
    const auto line = std::upper_bound(lines_.begin(), lines_.end(), offset) - 1;
    const auto isFirstByte = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; };
    const auto before = text_.substr(*line, offset - *line);
    return {static_cast<std::size_t>(line - lines_.begin()) + 1,
        static_cast<std::size_t>(std::count_if(before.begin(), before.end(), isFirstByte)) + 1};
}

std::size_t TextPlaces::offsetInString(std::size_t offset, std::size_t index) const
{
    std::size_t at = offset + 1; // behind the quotation mark
    for (std::size_t passed = 0; passed < index && at < text_.size() && text_[at] != '"';) {
        if (text_[at] != '\\') {
            ++at, ++passed;
        } else if (at + 1 < text_.size() && text_[at + 1] == 'u') {
            // As long in the string's own text as the character is there; half of a pair counts as two bytes.
            unsigned code = 0;
            for (std::size_t k = at + 2; k < std::min(at + 6, text_.size()); ++k)
                code = code * 16 + static_cast<unsigned>(std::max(0, hexDigit(text_[k])));
            passed += code < 0x80 ? 1 : code < 0x800 || (code >= 0xD800 && code < 0xE000) ? 2 : 3;
            at += 6;
        } else {
            at += 2, ++passed;
        }
    }
    return std::min(at, text_.size());
}

} // namespace vitrel::qc
