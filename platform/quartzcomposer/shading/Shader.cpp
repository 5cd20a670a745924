#include "platform/quartzcomposer/shading/Shader.h"

#include "platform/quartzcomposer/shading/Preprocessor.h"
#include "platform/quartzcomposer/shading/TokenScan.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <optional>
#include <set>
#include <utility>

namespace vitrel::qc {

namespace {

// Compilers put functions into each other: tokens of all that `main` calls, as often as it is called.
constexpr double kMaxSize = 200'000;
constexpr int kMaxDepth = 400; // of statements within statements
constexpr int kMaxCoordinates = 8;
constexpr std::size_t kMaxUniforms = 128;

bool isSampler(const std::string& word)
{
    return word == "sampler2D" || word == "sampler2DRect";
}
bool isQualifier(const Token& token)
{
    for (const char* word : {"const", "in", "out", "inout", "lowp", "mediump", "highp", "centroid", "invariant"}) {
        if (token.is(word))
            return true;
    }
    return false;
}

struct Varying {
    std::string type, array;
    friend bool operator==(const Varying&, const Varying&) = default;
};

// What both stages share.
struct Names {
    std::set<std::string> declared; // by the authors
    std::map<std::string, Varying> varyings; // of the vertex shader, by their new names
    std::vector<ShaderUniform> uniforms;
    int coordinates = 1;
};

// One stage. After the first fault it sees nothing but the end.
class StageText : TokenScan
{
public:
    StageText(std::vector<Token> tokens, bool isVertex, Names& names)
        : TokenScan(std::move(tokens))
        , isVertex_(isVertex)
        , names_(names)
    { }

    // Ahead of `text`, for both: what authors call things.
    void look()
    {
        for (std::size_t k = 0; k + 1 < tokens_.size(); ++k) {
            const Token& next = tokens_[k + 1];
            if ((isPlainType(tokens_[k].text) || isSampler(tokens_[k].text) || tokens_[k].is("void"))
                && next.kind == Token::Word)
                names_.declared.insert(next.text);
            if (tokens_[k].is("gl_TexCoord") && next.is("[")) {
                const int index = std::atoi(tokens_[std::min(k + 2, tokens_.size() - 1)].text.c_str());
                const bool settled = tokens_[std::min(k + 2, tokens_.size() - 1)].kind == Token::Number;
                names_.coordinates
                    = std::clamp(std::max(names_.coordinates, settled ? index + 1 : 4), 1, kMaxCoordinates);
            }
        }
    }

    Result<std::string, ShadingError> text()
    {
        while (error_.empty() && peek().kind != Token::End)
            unit();
        if (error_.empty() && !functions_.count("qc_main"))
            fail("there is no main");
        for (const auto& [name, function] : functions_)
            size(name, 0);
        if (!error_.empty()) {
            ShadingError found = error();
            found.isOfVertexShader = isVertex_;
            return found;
        }
        return shaderPrelude(out_, isVertex_, names_.coordinates) + out_ + shaderMain(out_, isVertex_, zeroed_);
    }

private:
    std::string renamed(const std::string& word);
    std::string emit(); // one token, or what it belongs to
    std::string until(std::string_view a, std::string_view b); // outside of brackets; not included
    std::string bracketed(); // from a bracket to the one that closes it
    void unit();
    void global(const std::string& role, const std::string& type);
    void addUniform(
        const std::string& type, const std::string& name, const std::string& glsl, const std::string& usual);
    void function(const std::string& type);
    std::string statement();
    std::string body();
    std::string locals();
    double size(const std::string& name, int depth);

    const bool isVertex_;
    Names& names_;
    int depth_ = 0;
    std::string out_, zeroed_;
    struct Function {
        double own = 0;
        std::vector<std::string> words; // that it calls
        bool open = false;
        std::optional<double> whole;
    };
    std::map<std::string, Function> functions_;
    Function* current_ = nullptr;
};

std::string StageText::renamed(const std::string& word)
{
    const bool own = names_.declared.count(word) > 0;
    if (word == "main")
        return "qc_main";
    if (word.find("__") != word.npos) {
        fail("'" + word + "' isn't for authors");
        return {};
    }
    if (!own || word.starts_with("gl_")) {
        const std::string_view known = shaderWord(word, isVertex_);
        if (!known.empty())
            return std::string(known);
        if (word.starts_with("gl_")) {
            fail("'" + word + "' isn't there");
            return {};
        }
    }
    const bool foreign = isWordOfGlsl330(word) && word != "lowp" && word != "mediump" && word != "highp";
    return foreign || (own && isFunctionOfGlsl330(word)) || (word.starts_with("qc_") && word != "qc_own")
        ? "qc_u_" + word
        : word;
}

std::string StageText::emit()
{
    const Token token = peek();
    if (token.is("gl_FragData") && !isVertex_) {
        at_ += 1;
        if (!at("[") || !peek(1).is("0") || !peek(2).is("]"))
            fail("there is one result");
        at_ += error_.empty() ? 3 : 0;
        return "qc_fragColor";
    }
    const std::string word = token.kind == Token::Word ? renamed(token.text) : token.text;
    at_ += error_.empty();
    if (token.kind != Token::Word)
        return word;
    if (current_) {
        current_->own += 1;
        if (at("("))
            current_->words.push_back(word);
    }
    return word;
}

std::string StageText::until(std::string_view a, std::string_view b)
{
    std::string out;
    while (!at(a) && !at(b) && peek().kind != Token::End && !at(";") && !at("}"))
        out += (at("(") || at("[") || at("{") ? bracketed() : emit()) + " ";
    return out;
}

std::string StageText::bracketed()
{
    const std::string close = at("(") ? ")" : at("[") ? "]" : "}";
    std::string out = peek().text;
    ++at_;
    while (!at(close) && peek().kind != Token::End)
        out += (at("(") || at("[") || at("{") ? bracketed() : emit()) + " ";
    expect(close);
    return out + close;
}

void StageText::unit()
{
    if (accept(";"))
        return;
    // Nothing follows from these here.
    if (at("precision") || (at("invariant") && !peek(1).is("varying"))) {
        until(";", ";");
        expect(";");
        return;
    }
    std::string role;
    while (isQualifier(peek()) || at("uniform") || at("varying") || at("attribute")) {
        if (!at("invariant") && !at("centroid") && !at("lowp") && !at("mediump") && !at("highp"))
            role = peek().text;
        ++at_;
    }
    const std::string type = peek().text;
    const bool isOther = type == "sampler1D" || type == "sampler3D" || type == "samplerCube";
    if (peek().kind != Token::Word || (!isPlainType(type) && !isSampler(type) && type != "void" && !isOther)) {
        fail("'" + type + "' is no type");
        return;
    }
    ++at_;
    if (peek().kind == Token::Word && peek(1).is("("))
        function(type);
    else
        global(role, type);
}

void StageText::function(const std::string& type)
{
    const std::string name = renamed(peek().text);
    ++at_;
    Function ignored;
    current_ = &ignored;
    std::string head = type + " " + name;
    head += bracketed();
    current_ = nullptr;
    // What a function is to give back would else begin as anything.
    for (std::size_t from = 0; (from = head.find("out ", from)) != head.npos; from += 6) {
        const bool isWord = from > 0 && (head[from - 1] == ' ' || head[from - 1] == '(');
        if (isWord)
            head.insert(from, "in");
    }
    if (accept(";")) {
        out_ += head + ";\n";
        return;
    }
    if (!at("{")) {
        fail("a function without a body");
        return;
    }
    current_ = &functions_[name];
    std::string text = statement();
    current_ = nullptr;
    if (type != "void" && text.size() > 2)
        text.insert(text.rfind('}'), "return " + type + "(0); ");
    out_ += head + " " + text + "\n";
}

void StageText::global(const std::string& role, const std::string& type)
{
    const std::string glsl = isSampler(type) ? "sampler2D" : type;
    do {
        const Token token = peek();
        if (token.kind != Token::Word) {
            fail("a name is missing before '" + token.text + "'");
            return;
        }
        ++at_;
        if (token.text.starts_with("gl_")) { // told once more, as the language allows
            until(",", ";");
            continue;
        }
        const std::string name = renamed(token.text);
        const std::string array = at("[") ? bracketed() : std::string();
        std::string value = accept("=") ? until(",", ";") : std::string();
        const Varying varying{glsl, array};
        // An array is zeroed part by part.
        const std::string zero = array.empty()
            ? name + " = " + glsl + "(0); "
            : "for (int k = 0; k < " + name + ".length(); ++k) " + name + "[k] = " + glsl + "(0); ";
        if (role == "uniform") {
            out_ += "uniform " + glsl + " " + name + array + ";\n";
            if (array.empty())
                addUniform(type, token.text, name, value);
        } else if (role == "varying" && isVertex_) {
            names_.varyings[name] = varying;
            out_ += "out " + glsl + " " + name + array + ";\n";
            zeroed_ += zero;
        } else if (role == "varying" && names_.varyings.count(name) && names_.varyings[name] == varying) {
            out_ += "in " + glsl + " " + name + array + ";\n";
        } else if (isSampler(type)) {
            fail("an image that nobody gives");
        } else if (role == "const") {
            out_ += "const " + glsl + " " + name + array + " = " + value + ";\n";
        } else {
            // One that nobody sets counts as nothing.
            out_ += glsl + " " + name + array + (value.empty() ? "" : " = " + value) + ";\n";
            zeroed_ += value.empty() ? zero : "";
        }
    } while (accept(","));
    expect(";");
}

void StageText::addUniform(
    const std::string& type, const std::string& name, const std::string& glsl, const std::string& usual)
{
    constexpr std::pair<const char*, ShaderUniform::Type> kTypes[]
        = {{"float", ShaderUniform::Float}, {"vec2", ShaderUniform::Vec2}, {"vec3", ShaderUniform::Vec3},
            {"vec4", ShaderUniform::Vec4}, {"int", ShaderUniform::Int}, {"bool", ShaderUniform::Bool},
            {"sampler2D", ShaderUniform::Image}, {"sampler2DRect", ShaderUniform::Image}};
    const auto* known = std::find_if(std::begin(kTypes), std::end(kTypes), [&](auto& t) { return type == t.first; });
    const auto same = [&](const ShaderUniform& other) { return other.name == name; };
    if (known == std::end(kTypes) || std::any_of(names_.uniforms.begin(), names_.uniforms.end(), same))
        return;
    const auto isImage = [](const ShaderUniform& u) { return u.type == ShaderUniform::Image; };
    const auto images = std::count_if(names_.uniforms.begin(), names_.uniforms.end(), isImage);
    if (names_.uniforms.size() >= kMaxUniforms
        || (known->second == ShaderUniform::Image && images >= static_cast<std::ptrdiff_t>(kMaxShaderImages))) {
        fail("too many uniforms");
        return;
    }
    ShaderUniform uniform{known->second, name, glsl, {}};
    // The numbers in the value, one for each part; a single one counts for all.
    const std::size_t parts = uniform.type <= ShaderUniform::Vec4 ? static_cast<std::size_t>(uniform.type) + 1 : 1;
    std::size_t count = 0;
    const std::size_t from = usual.find('(') == usual.npos ? 0 : usual.find('(');
    for (const char* text = usual.c_str() + from; *text && count < parts;) {
        char* end = nullptr;
        const double number = std::strtod(text, &end);
        if (end == text) {
            ++text;
            continue;
        }
        uniform.usual[count++] = std::abs(number) <= 1e9 ? number : 0;
        text = end;
    }
    for (; count == 1 && count < parts; ++count)
        uniform.usual[count] = uniform.usual[0];
    if (count == 1 && parts > 1)
        std::fill(uniform.usual, uniform.usual + parts, uniform.usual[0]);
    if (usual.find("true") != usual.npos)
        uniform.usual[0] = 1;
    names_.uniforms.push_back(uniform);
}

// Every loop counts the same number down, so that all together end.
std::string StageText::body()
{
    return "{ if (--qc_left < 0) break; " + statement() + "} ";
}

std::string StageText::statement()
{
    if (++depth_ > kMaxDepth)
        fail("nested too deep");
    std::string out;
    if (at("{")) {
        ++at_;
        out = "{ ";
        while (!at("}") && peek().kind != Token::End)
            out += statement();
        expect("}");
        out += "} ";
    } else if (accept("if")) {
        out = "if " + bracketed() + " { ";
        out += statement() + "} ";
        if (accept("else"))
            out += "else { " + statement() + "} ";
    } else if (accept("for")) {
        expect("(");
        out = "for (" + locals() + "; ";
        out += until(";", ";");
        expect(";");
        out += "; " + until(")", ")");
        expect(")");
        out += ") " + body();
    } else if (accept("while")) {
        out = "while " + bracketed() + " ";
        out += body();
    } else if (accept("do")) {
        out = "do " + body();
        expect("while");
        out += "while " + bracketed() + "; ";
        expect(";");
    } else if (at("struct") || at("switch") || at("case") || at("default")) {
        fail("'" + peek().text + "' isn't part of the language");
    } else {
        out = locals() + "; ";
    }
    --depth_;
    return out;
}

// A plain statement up to behind its semicolon, which is left out; what it declares starts at zero.
std::string StageText::locals()
{
    std::string out;
    bool isConstant = false;
    while (isQualifier(peek())) {
        isConstant |= at("const");
        ++at_;
    }
    const std::string type = peek().text;
    if (!isPlainType(type) || peek(1).kind != Token::Word) {
        out = until(";", ";");
        expect(";");
        return out;
    }
    ++at_;
    out = (isConstant ? "const " : "") + type + " ";
    std::string zeroed;
    do {
        const std::string name = emit();
        const std::string array = at("[") ? bracketed() : std::string();
        out += name + array;
        if (accept("="))
            out += " = " + until(",", ";");
        else if (array.empty())
            out += " = " + type + "(0)";
        else
            zeroed += "; for (int k = 0; k < " + name + ".length(); ++k) " + name + "[k] = " + type + "(0)";
        out += at(",") ? ", " : "";
    } while (accept(","));
    expect(";");
    return out + zeroed;
}

// Tokens of a function and all that it calls.
double StageText::size(const std::string& name, int depth)
{
    Function& function = functions_[name];
    if (function.whole)
        return *function.whole;
    if (function.open || depth > 256) {
        fail("functions that call each other in a circle");
        return 0;
    }
    function.open = true;
    double sum = function.own;
    for (const std::string& word : function.words) {
        if (functions_.count(word) && sum <= kMaxSize)
            sum += size(word, depth + 1);
    }
    function.open = false;
    function.whole = sum;
    if (sum > kMaxSize)
        fail("functions that are put into each other too often");
    return sum;
}

} // namespace

Result<Shader, ShadingError> translatedShader(std::string_view vertex, std::string_view fragment)
{
    const auto blank = [](std::string_view text) { return text.find_first_not_of(" \t\r\n") == text.npos; };
    Names names;
    std::vector<StageText> stages;
    for (const bool isVertex : {true, false}) {
        const std::string_view given = isVertex ? vertex : fragment;
        const auto raw = shadingTokens(!blank(given) ? given : isVertex ? kUsualVertexShader : kUsualFragmentShader);
        const auto faulty = [isVertex](ShadingError error) {
            error.isOfVertexShader = isVertex;
            return error;
        };
        if (!raw)
            return faulty(raw.error());
        auto tokens = preprocessed(*raw);
        if (!tokens)
            return faulty(tokens.error());
        if (auto fault = faultOfBrackets(*tokens))
            return faulty(*std::move(fault));
        stages.emplace_back(*std::move(tokens), isVertex, names);
        stages.back().look();
    }
    Shader shader;
    for (StageText& stage : stages) {
        auto text = stage.text();
        if (!text)
            return text.error();
        (&stage == &stages[0] ? shader.vertex : shader.fragment) = *std::move(text);
    }
    for (ShaderUniform& uniform : names.uniforms) {
        if (uniform.name != "qc_own")
            shader.uniforms.push_back(std::move(uniform));
    }
    return shader;
}

} // namespace vitrel::qc
