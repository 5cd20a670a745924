#pragma once

#include "base/Json.h"
#include "base/Text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace vitrel {

// Takes the next piece of a text. False if no more of it is wanted.
using TextSink = std::function<bool(std::string_view piece)>;

// Writes JSON (RFC 8259) piece by piece, in the order of the calls; commas and colons come by themselves. The text goes
// on in pieces of some size, the last of which end() hands on.
class JsonText
{
public:
    JsonText(bool pretty, const TextSink& sink)
        : pretty_(pretty)
        , sink_(sink)
    { }

    void begin(char bracket)
    {
        separate();
        out_ += bracket;
        first_ = true;
        ++depth_;
    }
    void end(char bracket)
    {
        --depth_;
        if (!first_)
            breakLine();
        out_ += bracket;
        first_ = false;
        handOn(depth_ == 0 ? 1 : kPiece);
    }
    void key(std::string_view name)
    {
        separate();
        appendQuotedJson(out_, name);
        out_ += pretty_ ? ": " : ":";
        keyed_ = true;
    }
    // `text` is UTF-8.
    void string(std::string_view text)
    {
        separate();
        out_ += '"';
        for (; !text.empty() && wanted_; text.remove_prefix(std::min(text.size(), kPiece))) {
            appendEscapedJson(out_, text.substr(0, kPiece));
            handOn(kPiece);
        }
        out_ += '"';
    }
    void integer(std::int64_t number)
    {
        char digits[24];
        literal({digits, std::to_chars(digits, std::end(digits), number).ptr});
    }
    // The shortest decimal that reads back as `number`.
    void number(double number) { literal(std::isfinite(number) ? shortestDecimal(number) : "null"); }
    void boolean(bool flag) { literal(flag ? "true" : "false"); }

private:
    void literal(std::string_view text)
    {
        separate();
        out_ += text;
    }
    void separate()
    {
        if (keyed_ || depth_ == 0) {
            keyed_ = false;
            return;
        }
        if (!first_)
            out_ += ',';
        first_ = false;
        breakLine();
    }
    void breakLine()
    {
        if (pretty_)
            out_.append(1, '\n').append(2 * depth_, ' ');
    }

    void handOn(std::size_t atLeast)
    {
        if (out_.size() < atLeast)
            return;
        wanted_ = wanted_ && sink_(out_);
        out_.clear();
    }

    static constexpr std::size_t kPiece = 1u << 16;

    std::string out_;
    bool pretty_;
    const TextSink& sink_;
    bool wanted_ = true;
    bool first_ = true; // nothing in the open array or object yet
    bool keyed_ = false; // a value must follow
    std::size_t depth_ = 0;
};

} // namespace vitrel
