#include "platform/quartzcomposer/shading/Tokens.h"

#include <algorithm>
#include <cctype>

namespace vitrel::qc {

namespace {

// Sorted.
constexpr std::string_view kWords[] = {"active", "asm", "case", "cast", "centroid", "class", "common", "default",
    "double", "dvec2", "dvec3", "dvec4", "enum", "extern", "external", "filter", "fixed", "flat", "fvec2", "fvec3",
    "fvec4", "goto", "half", "highp", "hvec2", "hvec3", "hvec4", "iimage2D", "image1D", "image2D", "image3D",
    "imageBuffer", "imageCube", "inline", "input", "interface", "invariant", "isampler1D", "isampler2D", "isampler3D",
    "layout", "long", "lowp", "mediump", "namespace", "noinline", "noperspective", "output", "packed", "partition",
    "precision", "public", "row_major", "sampler", "sampler3DRect", "samplerBuffer", "short", "sizeof", "smooth",
    "static", "superp", "switch", "template", "this", "typedef", "uint", "uimage2D", "union", "unsigned", "usampler1D",
    "usampler2D", "usampler3D", "using", "uvec2", "uvec3", "uvec4", "volatile"};

constexpr std::string_view kFunctions[]
    = {"acosh", "asinh", "atanh", "cosh", "determinant", "floatBitsToInt", "floatBitsToUint", "intBitsToFloat",
        "inverse", "isinf", "isnan", "modf", "noise1", "noise2", "noise3", "noise4", "round", "roundEven", "sinh",
        "tanh", "texelFetch", "texture", "texture2D", "texture2DLod", "texture2DProj", "texture2DRect", "textureGrad",
        "textureLod", "textureOffset", "textureProj", "textureSize", "trunc", "uintBitsToFloat"};

constexpr std::string_view kTypes[]
    = {"bool", "bvec2", "bvec3", "bvec4", "float", "int", "ivec2", "ivec3", "ivec4", "mat2", "mat2x2", "mat2x3",
        "mat2x4", "mat3", "mat3x2", "mat3x3", "mat3x4", "mat4", "mat4x2", "mat4x3", "mat4x4", "vec2", "vec3", "vec4"};

template <std::size_t N> bool holds(const std::string_view (&list)[N], std::string_view word)
{
    return std::find(std::begin(list), std::end(list), word) != std::end(list);
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}
bool isWordStart(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

class Lexer
{
public:
    explicit Lexer(std::string_view text)
        : text_(text)
    { }
    Result<std::vector<Token>, ShadingError> all()
    {
        while (skipBlanks(), at_ < text_.size()) {
            if (tokens_.size() >= kMaxShadingTokens)
                return ShadingError{"too many words"};
            if (!one())
                return ShadingError("a character that doesn't belong there", placed(Token::Symbol, {}));
        }
        tokens_.push_back(placed(Token::End, {}));
        return std::move(tokens_);
    }

private:
    // A token that begins where the text is read now.
    Token placed(Token::Kind kind, std::string text)
    {
        for (; counted_ < at_; ++counted_) {
            if (text_[counted_] == '\n') {
                ++line_;
                lineBegin_ = counted_ + 1;
            }
        }
        return {kind, std::move(text), line_, static_cast<std::uint32_t>(at_ - lineBegin_ + 1)};
    }
    char peek(std::size_t ahead = 0) const { return at_ + ahead < text_.size() ? text_[at_ + ahead] : '\0'; }

    void skipBlanks()
    {
        while (at_ < text_.size()) {
            if (std::isspace(static_cast<unsigned char>(peek()))) {
                lineStarts_ |= peek() == '\n';
                ++at_;
            } else if (peek() == '/' && (peek(1) == '/' || peek(1) == '*')) {
                const std::string_view close = peek(1) == '/' ? "\n" : "*/";
                const std::size_t end = text_.find(close, at_ + 2);
                at_ = end == text_.npos ? text_.size() : end + (close == "\n" ? 0 : 2);
            } else {
                break;
            }
        }
    }
    void take(Token::Kind kind, std::size_t length)
    {
        tokens_.push_back(placed(kind, std::string(text_.substr(at_, length))));
        at_ += length;
        lineStarts_ = false;
    }
    bool one()
    {
        if (peek() == '#')
            return lineStarts_ && directive();
        std::size_t length = 0;
        if (isWordStart(peek())) {
            while (isWordStart(peek(length)) || isDigit(peek(length)))
                ++length;
            take(Token::Word, length);
            return true;
        }
        if (isDigit(peek()) || (peek() == '.' && isDigit(peek(1)))) {
            while (isDigit(peek(length)) || peek(length) == '.' || isWordStart(peek(length))
                || ((peek(length) == '-' || peek(length) == '+') && std::tolower(peek(length - 1)) == 'e'
                    && std::tolower(peek(1)) != 'x'))
                ++length;
            take(Token::Number, length);
            // "1.f" is what younger dialects have, and only there is it no fault.
            return tokens_.back().text.size() <= 64;
        }
        for (const std::string_view two : {"<<=", ">>=", "++", "--", "+=", "-=", "*=", "/=", "%=", "&=", "|=", "^=",
                 "==", "!=", "<=", ">=", "&&", "||", "^^", "<<", ">>"}) {
            if (text_.substr(at_, two.size()) == two) {
                take(Token::Symbol, two.size());
                return true;
            }
        }
        if (std::string_view("+-*/%<>=!?:;,.(){}[]&|^~").find(peek()) == std::string_view::npos)
            return false;
        take(Token::Symbol, 1);
        return true;
    }
    // The rest of the line, and of those that a backslash joins to it.
    bool directive()
    {
        Token token = placed(Token::Directive, {});
        std::string& line = token.text;
        for (++at_; at_ < text_.size() && peek() != '\n'; ++at_) {
            if (peek() == '\\' && (peek(1) == '\n' || (peek(1) == '\r' && peek(2) == '\n'))) {
                at_ += peek(1) == '\n' ? 1 : 2;
                line += ' ';
            } else if (peek() == '/' && peek(1) == '/') {
                at_ = std::min(text_.find('\n', at_), text_.size());
                break;
            } else if (peek() == '/' && peek(1) == '*') {
                const std::size_t end = text_.find("*/", at_ + 2);
                at_ = end == text_.npos ? text_.size() : end + 1;
                line += ' ';
            } else {
                line += peek();
            }
        }
        tokens_.push_back(std::move(token));
        return true;
    }

    std::string_view text_;
    std::size_t at_ = 0, counted_ = 0, lineBegin_ = 0;
    std::uint32_t line_ = 1;
    bool lineStarts_ = true;
    std::vector<Token> tokens_;
};

} // namespace

Result<std::vector<Token>, ShadingError> shadingTokens(std::string_view text)
{
    if (text.size() > kMaxShadingText)
        return ShadingError{"the source is too long"};
    return Lexer(text).all();
}

std::optional<ShadingError> faultOfBrackets(const std::vector<Token>& tokens)
{
    std::vector<const Token*> open;
    int terms = 0, otherwise = 0;
    for (const Token& token : tokens) {
        if (token.kind == Token::Directive || token.kind == Token::End)
            continue;
        const char c = token.text.front();
        // Each "else if" stands within the one before it.
        otherwise += token.is("else");
        if (token.is(";") || token.is("{") || token.is("}"))
            terms = 0;
        if (++terms > kMaxTerms || otherwise > 256)
            return ShadingError("a statement without end", token);
        if (c == '(' || c == '[' || c == '{') {
            open.push_back(&token);
            if (open.size() > static_cast<std::size_t>(kMaxBrackets))
                return ShadingError("too many brackets in brackets", token);
        } else if (c == ')' || c == ']' || c == '}') {
            const char opening = c == ')' ? '(' : c == ']' ? '[' : '{';
            if (open.empty() || open.back()->text.front() != opening)
                return ShadingError("a bracket that nothing opens", token);
            open.pop_back();
        }
    }
    if (open.empty())
        return std::nullopt;
    return ShadingError("a bracket that nothing closes", *open.back());
}

bool isWordOfGlsl330(std::string_view word)
{
    return holds(kWords, word);
}

bool isFunctionOfGlsl330(std::string_view word)
{
    return holds(kFunctions, word);
}

bool isPlainType(std::string_view word)
{
    return holds(kTypes, word);
}

} // namespace vitrel::qc
