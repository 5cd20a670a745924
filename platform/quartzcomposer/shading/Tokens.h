#pragma once

#include "base/Result.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vitrel::qc {

// A piece of a source in one of the shading languages, which share their words with C.
struct Token {
    enum Kind { Word, Number, Symbol, Directive, End } kind = End;
    std::string text; // of a directive the whole line, without its '#'
    std::uint32_t line = 0, column = 0; // where it begins, from 1; 0: nowhere in the source

    bool is(std::string_view other) const { return kind != Directive && text == other; }
    friend bool operator==(const Token& a, const Token& b) { return a.kind == b.kind && a.text == b.text; }
};

struct ShadingError {
    ShadingError(std::string why)
        : reason(std::move(why))
    { }
    ShadingError(const char* why)
        : reason(why)
    { }
    ShadingError(std::string why, const Token& at)
        : reason(std::move(why))
        , line(at.line)
        , column(at.column)
    { }
    std::string reason;
    std::uint32_t line = 0, column = 0; // in the source, from 1; 0: it is of the whole
    bool isOfVertexShader = false; // of a pair of shaders
};

// More than any author writes; what follows takes time for each.
inline constexpr std::size_t kMaxShadingText = 64u << 10;
inline constexpr std::size_t kMaxShadingTokens = 20'000;
// A driver's compiler calls itself for each bracket within brackets, and for each term of a sum.
inline constexpr int kMaxBrackets = 64;
inline constexpr int kMaxTerms = 1'500; // tokens between two semicolons

// Without comments; ends with a token End. An error for foreign characters, and for what is too long.
Result<std::vector<Token>, ShadingError> shadingTokens(std::string_view text);

// Brackets that don't match or go too deep, and statements without end; absent for what can be read on.
std::optional<ShadingError> faultOfBrackets(const std::vector<Token>& tokens);

// Whether GLSL 3.30 keeps the word for itself although older dialects leave it to authors.
bool isWordOfGlsl330(std::string_view word);
// The same of names of its functions: an author's own of that name is meant.
bool isFunctionOfGlsl330(std::string_view word);
// float, vec2, bvec3, mat4 and the like.
bool isPlainType(std::string_view word);

} // namespace vitrel::qc
