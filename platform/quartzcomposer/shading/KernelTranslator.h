#pragma once

#include "platform/quartzcomposer/shading/Kernel.h"
#include "platform/quartzcomposer/shading/TokenScan.h"

#include <map>
#include <optional>

// The translator of kernels, for the files that it is made of.
namespace vitrel::qc::kernel {

// An endless loop on a graphics card takes the desktop with it. Kernels in the wild have no loops, or short ones.
inline constexpr double kMaxTrips = 4096; // of loops within loops
inline constexpr double kMaxReads = 1024; // of images, a pixel
inline constexpr double kMaxWork = 1 << 18; // operations, a pixel
// Compilers put functions into each other, so that ten that call each other twice are a thousand.
inline constexpr double kMaxSize = 50'000;
inline constexpr int kMaxDepth = 400; // of the parser's calls
inline constexpr std::size_t kMaxParameters = 64;

struct Cost {
    double work = 0, reads = 0, size = 0, trips = 1;
};

struct Variable {
    std::string name; // in GLSL
    std::string type; // of the kernel language
    bool writable = true;
    std::optional<double> constant;
};

struct Expression {
    std::string text;
    const Variable* variable = nullptr; // if it is one and nothing more
    std::optional<double> constant; // if the text settles it
    bool writable = false;
};

// Reads a source and writes GLSL as it goes. After the first fault it sees nothing but the end.
class Translator : TokenScan
{
public:
    explicit Translator(std::vector<Token> tokens)
        : TokenScan(std::move(tokens))
    { }

    Result<std::vector<std::shared_ptr<const Kernel>>, ShadingError> all()
    {
        scopes_.emplace_back();
        while (peek().kind != Token::End)
            unit();
        if (!error_.empty())
            return error();
        if (kernels_.empty())
            return ShadingError{"there is no kernel"};
        return std::move(kernels_);
    }

private:
    // Tokens.
    std::string word()
    {
        if (peek().kind != Token::Word || isType(peek().text)) {
            fail("a name is missing before '" + peek().text + "'");
            return {};
        }
        return tokens_[at_++].text;
    }
    struct Level {
        explicit Level(Translator& t)
            : translator(t)
        {
            if (++t.depth_ > kMaxDepth)
                t.fail("nested too deep");
        }
        ~Level() { --translator.depth_; }
        Translator& translator;
    };

    static bool isType(const std::string& word)
    {
        return (isPlainType(word) && !word.starts_with("mat")) || word == "sampler" || word == "__color"
            || word == "__sample" || word == "void";
    }
    static std::string glslType(const std::string& type)
    {
        return type == "sampler" ? "int" : type == "__color" || type == "__sample" ? "vec4" : type;
    }
    // These take a value of another type only if they are told to.
    static bool converts(const std::string& type)
    {
        return type == "int" || type == "vec2" || type == "vec3" || type == "vec4" || type == "__color";
    }
    static std::string as(const std::string& type, const std::string& text)
    {
        return converts(type) ? glslType(type) + "(" + text + ")" : text;
    }

    // What costs.
    void spend(double work, double reads = 0)
    {
        cost_.size += 1;
        cost_.work += work * trips_;
        cost_.reads += reads * trips_;
        check();
    }
    void spendCall(const Cost& called)
    {
        cost_.size += called.size;
        cost_.work += called.work * trips_;
        cost_.reads += called.reads * trips_;
        cost_.trips = std::max(cost_.trips, called.trips * trips_);
        check();
    }
    void check()
    {
        if (cost_.size > kMaxSize || cost_.work > kMaxWork || cost_.reads > kMaxReads || cost_.trips > kMaxTrips)
            fail("it takes too long for each pixel");
    }

    const Variable* find(const std::string& name) const
    {
        for (auto scope = scopes_.rbegin(); scope != scopes_.rend(); ++scope) {
            const auto found = scope->find(name);
            if (found != scope->end())
                return &found->second;
        }
        return nullptr;
    }
    // Each has a name of its own, so that none is a word of GLSL and none hides another.
    const Variable& declare(const std::string& name, const std::string& type)
    {
        Variable& variable = scopes_.back()[name];
        variable = {"v" + std::to_string(++names_), type, true, {}};
        return variable;
    }
    Variable& declared(const std::string& name) { return scopes_.back()[name]; }

    void unit();
    void constants(const std::string& type);
    void function(bool isKernel, const std::string& type, const std::string& name);
    bool parameter(Kernel& kernel, std::string& text, bool isKernel);
    void finish(Kernel& kernel, const std::string& type, const std::string& body, const std::string& called);
    std::string block();
    std::string statement();
    std::string declaration();
    std::string loop();
    std::optional<double> constant();
    std::optional<double> trips(bool whole, double from, double step, const std::string& comparison, double limit);
    Expression expression();
    Expression assignment();
    Expression conditional();
    Expression binary(int precedence);
    Expression unary();
    Expression postfix();
    Expression primary();
    Expression call(const std::string& name);

    std::vector<std::map<std::string, Variable>> scopes_;
    struct Helper {
        std::string name;
        Cost cost;
    };
    std::map<std::string, Helper> helpers_;
    std::string shared_; // constants and functions so far
    std::vector<std::shared_ptr<const Kernel>> kernels_;
    std::string returns_; // type of the function that is read
    Cost cost_;
    double trips_ = 1;
    int names_ = 0, depth_ = 0;
};

} // namespace vitrel::qc::kernel
