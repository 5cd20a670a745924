#pragma once

#include "base/Json.h"
#include "base/Text.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>

namespace vitrel {

// Writes JSON (RFC 8259) piece by piece, in the order of the calls; commas and colons come by themselves.
class JsonText
{
public:
    explicit JsonText(bool pretty)
        : pretty_(pretty)
    { }

    const std::string& text() const& { return out_; }
    std::string text() && { return std::move(out_); }

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
        appendQuotedJson(out_, text);
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

    std::string out_;
    bool pretty_;
    bool first_ = true; // nothing in the open array or object yet
    bool keyed_ = false; // a value must follow
    std::size_t depth_ = 0;
};

} // namespace vitrel
