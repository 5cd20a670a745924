#pragma once

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
        quote(name);
        out_ += pretty_ ? ": " : ":";
        keyed_ = true;
    }
    // `text` is UTF-8.
    void string(std::string_view text)
    {
        separate();
        quote(text);
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
    void quote(std::string_view text)
    {
        out_ += '"';
        std::size_t done = 0;
        for (std::size_t at = 0; at < text.size(); ++at) {
            const auto c = static_cast<unsigned char>(text[at]);
            if (c >= 0x20 && c != '"' && c != '\\')
                continue;
            out_.append(text, done, at - done);
            escape(c);
            done = at + 1;
        }
        out_.append(text, done);
        out_ += '"';
    }
    void escape(unsigned char c)
    {
        constexpr char digits[] = "0123456789abcdef";
        if (c == '"' || c == '\\')
            (out_ += '\\') += static_cast<char>(c);
        else if (c >= 8 && c <= 13 && c != 11)
            (out_ += '\\') += "btn.fr"[c - 8];
        else
            ((out_ += "\\u00") += digits[c >> 4]) += digits[c & 15];
    }

    std::string out_;
    bool pretty_;
    bool first_ = true; // nothing in the open array or object yet
    bool keyed_ = false; // a value must follow
    std::size_t depth_ = 0;
};

} // namespace vitrel
