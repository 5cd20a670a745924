#pragma once

#include "platform/quartzcomposer/shading/Tokens.h"

#include <algorithm>
#include <utility>

namespace vitrel::qc {

// What translators do with tokens: looks at them one by one. After the first fault there is nothing but the end.
class TokenScan
{
protected:
    explicit TokenScan(std::vector<Token> tokens)
        : tokens_(std::move(tokens))
    { }

    const Token& peek(std::size_t ahead = 0) const { return tokens_[std::min(at_ + ahead, tokens_.size() - 1)]; }
    bool at(std::string_view text) const { return peek().kind != Token::End && peek().is(text); }
    bool accept(std::string_view text)
    {
        if (!at(text))
            return false;
        ++at_;
        return true;
    }
    void expect(std::string_view text)
    {
        if (!accept(text))
            fail("'" + std::string(text) + "' is missing before '" + peek().text + "'");
    }
    void fail(std::string reason)
    {
        if (error_.empty()) {
            error_ = std::move(reason);
            failed_ = at_;
        }
        at_ = tokens_.size() - 1;
    }

    // The first fault, and where it was seen.
    ShadingError error() const { return {error_, tokens_[std::min(failed_, tokens_.size() - 1)]}; }

    std::vector<Token> tokens_; // the last is the end
    std::size_t at_ = 0;
    std::string error_; // of the first fault
    std::size_t failed_ = 0;
};

} // namespace vitrel::qc
