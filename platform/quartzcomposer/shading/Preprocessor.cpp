#include "platform/quartzcomposer/shading/Preprocessor.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>

namespace vitrel::qc {

namespace {

using Tokens = std::vector<Token>;

// Macros within macros; together with the bound on tokens it ends what doubles.
constexpr int kMaxExpansion = 32;
constexpr std::size_t kMaxMacros = 1'000;
constexpr std::size_t kMaxSteps = 200'000; // tokens looked at, those of arguments and conditions too

struct Macro {
    bool takesArguments = false;
    std::vector<std::string> parameters;
    Tokens body;
};

class Preprocessor
{
public:
    Result<Tokens, ShadingError> run(const Tokens& tokens)
    {
        Tokens text; // between two directives
        for (const Token& token : tokens) {
            if (token.kind != Token::Directive && token.kind != Token::End) {
                if (active())
                    text.push_back(token);
                continue;
            }
            expand(text, 0, out_);
            text.clear();
            if (token.kind == Token::Directive)
                directive(token.text);
            if (!error_.empty())
                return ShadingError(error_, token);
        }
        if (!conditions_.empty())
            return ShadingError{"#endif is missing"};
        out_.push_back(tokens.back());
        return std::move(out_);
    }

private:
    struct Condition {
        bool now = false, was = false, outer = true, isElse = false;
    };
    bool active() const { return conditions_.empty() || (conditions_.back().outer && conditions_.back().now); }
    void fail(const char* reason)
    {
        if (error_.empty())
            error_ = reason;
    }

    void directive(const std::string& line)
    {
        auto parsed = shadingTokens(line);
        if (!parsed) {
            fail("a directive that isn't known");
            return;
        }
        Tokens words = *std::move(parsed);
        words.pop_back();
        if (words.empty())
            return;
        const std::string name = words.front().text;
        const Tokens rest(words.begin() + 1, words.end());
        if (name == "if" || name == "ifdef" || name == "ifndef") {
            if (conditions_.size() >= 64)
                fail("conditions too deep");
            const bool outer = active();
            const bool now = outer && truth(name, rest);
            conditions_.push_back({now, now, outer, false});
        } else if (name == "elif" || name == "else" || name == "endif") {
            turn(name, rest);
        } else if (!active() || name == "version" || name == "extension" || name == "line") {
            return;
        } else if (name == "define") {
            define(line, rest);
        } else if (name == "undef" && rest.size() == 1) {
            macros_.erase(rest[0].text);
        } else if (name != "pragma") {
            fail("a directive that isn't known");
        }
    }
    void turn(const std::string& name, const Tokens& rest)
    {
        if (conditions_.empty() || (name != "endif" && conditions_.back().isElse)) {
            fail("a condition that nobody began");
            return;
        }
        Condition& condition = conditions_.back();
        if (name == "endif") {
            conditions_.pop_back();
            return;
        }
        condition.isElse = name == "else";
        condition.now = !condition.was && condition.outer && (name == "else" || truth("if", rest));
        condition.was |= condition.now;
    }
    void define(const std::string& line, const Tokens& rest)
    {
        if (rest.empty() || rest[0].kind != Token::Word || macros_.size() >= kMaxMacros) {
            fail("a macro without a name");
            return;
        }
        Macro macro;
        std::size_t at = 1;
        // With arguments only if the bracket touches the name.
        const std::size_t begins = line.find(rest[0].text, line.find("define") + 6) + rest[0].text.size();
        if (begins < line.size() && line[begins] == '(' && rest.size() > 1) {
            macro.takesArguments = true;
            for (at = 2; at < rest.size() && !rest[at].is(")"); ++at) {
                if (rest[at].kind == Token::Word)
                    macro.parameters.push_back(rest[at].text);
            }
            ++at;
        }
        if (at < rest.size())
            macro.body.assign(rest.begin() + static_cast<std::ptrdiff_t>(at), rest.end());
        macros_[rest[0].text] = std::move(macro);
    }

    // Appends the text with its macros carried out.
    void expand(const Tokens& text, int depth, Tokens& out)
    {
        for (std::size_t at = 0; at < text.size() && error_.empty(); ++at) {
            if (++steps_ > kMaxSteps || out.size() > kMaxShadingTokens || depth > kMaxExpansion) {
                fail("macros that grow too much");
                return;
            }
            const Token& token = text[at];
            const auto macro = token.kind == Token::Word ? macros_.find(token.text) : macros_.end();
            if (token.is("__VERSION__")) {
                out.push_back({Token::Number, "120"});
            } else if (macro == macros_.end() || open_.count(token.text)) {
                out.push_back(token);
            } else if (!macro->second.takesArguments) {
                within(token.text, macro->second.body, depth, out);
            } else if (at + 1 < text.size() && text[at + 1].is("(")) {
                at = call(token.text, macro->second, text, at + 1, depth, out);
            } else {
                out.push_back(token);
            }
        }
    }
    void within(const std::string& name, const Tokens& body, int depth, Tokens& out)
    {
        open_.insert(name);
        expand(body, depth + 1, out);
        open_.erase(name);
    }
    // The place of the bracket that closes it.
    std::size_t call(
        const std::string& name, const Macro& macro, const Tokens& text, std::size_t at, int depth, Tokens& out)
    {
        std::vector<Tokens> arguments(1);
        int open = 1;
        for (++at; at < text.size(); ++at) {
            open += text[at].is("(") - text[at].is(")");
            if (open == 0)
                break;
            if (open == 1 && text[at].is(","))
                arguments.emplace_back();
            else
                arguments.back().push_back(text[at]);
        }
        Tokens body;
        std::map<std::string, Tokens> known;
        for (std::size_t k = 0; k < macro.parameters.size() && k < arguments.size(); ++k)
            expand(arguments[k], depth + 1, known[macro.parameters[k]]);
        for (const Token& token : macro.body) {
            const auto found = token.kind == Token::Word ? known.find(token.text) : known.end();
            if (found == known.end())
                body.push_back(token);
            else
                body.insert(body.end(), found->second.begin(), found->second.end());
            if (body.size() > kMaxShadingTokens) {
                fail("macros that grow too much");
                break;
            }
        }
        within(name, body, depth, out);
        return at;
    }

    bool truth(const std::string& kind, const Tokens& rest)
    {
        if (kind != "if")
            return !rest.empty() && (macros_.count(rest[0].text) > 0) == (kind == "ifdef");
        Tokens asked, plain;
        for (std::size_t at = 0; at < rest.size(); ++at) {
            if (!rest[at].is("defined")) {
                asked.push_back(rest[at]);
                continue;
            }
            at += at + 1 < rest.size() && rest[at + 1].is("(") ? 2 : 1;
            asked.push_back({Token::Number, at < rest.size() && macros_.count(rest[at].text) ? "1" : "0"});
            if (at + 1 < rest.size() && rest[at + 1].is(")") && rest[at - 1].is("("))
                ++at;
        }
        expand(asked, 0, plain);
        std::size_t at = 0;
        return value(plain, at, 0, 0) != 0;
    }
    // Whole numbers; what isn't defined is 0. Lower levels bind less.
    long long value(const Tokens& text, std::size_t& at, int level, int depth)
    {
        static const std::vector<std::vector<std::string_view>> kSigns{
            {"||"}, {"&&"}, {"==", "!="}, {"<", ">", "<=", ">="}, {"+", "-"}, {"*"}};
        if (depth > kMaxBrackets * 8)
            fail("conditions too deep");
        if (at >= text.size() || !error_.empty())
            return 0;
        if (level == static_cast<int>(kSigns.size()))
            return single(text, at, depth);
        long long left = value(text, at, level + 1, depth + 1);
        while (at < text.size()) {
            const std::string sign = text[at].text;
            bool here = false;
            for (const std::string_view known : kSigns[static_cast<std::size_t>(level)])
                here |= known == sign;
            if (!here)
                break;
            ++at;
            const long long right = value(text, at, level + 1, depth + 1);
            left = sign == "||" ? left || right
                : sign == "&&"  ? left && right
                : sign == "=="  ? left == right
                : sign == "!="  ? left != right
                : sign == "<"   ? left < right
                : sign == ">"   ? left > right
                : sign == "<="  ? left <= right
                : sign == ">="  ? left >= right
                : sign == "+"   ? left + right
                : sign == "-"   ? left - right
                                : left * right;
            left = left > 1'000'000'000 ? 1'000'000'000 : left < -1'000'000'000 ? -1'000'000'000 : left;
        }
        return left;
    }
    long long single(const Tokens& text, std::size_t& at, int depth)
    {
        const Token& token = text[at++];
        if (token.is("!") || token.is("-")) {
            const long long of = at < text.size() && depth < kMaxBrackets * 8 ? single(text, at, depth + 1) : 0;
            return token.is("!") ? !of : -of;
        }
        if (token.is("(")) {
            const long long inner = value(text, at, 0, depth + 1);
            at += at < text.size() && text[at].is(")");
            return inner;
        }
        return token.kind == Token::Number ? std::min(std::strtoll(token.text.c_str(), nullptr, 0), 1'000'000'000LL)
                                           : 0;
    }

    std::map<std::string, Macro> macros_;
    std::set<std::string> open_; // macros that are being carried out
    std::vector<Condition> conditions_;
    Tokens out_;
    std::string error_;
    std::size_t steps_ = 0;
};

} // namespace

Result<Tokens, ShadingError> preprocessed(const Tokens& tokens)
{
    return Preprocessor().run(tokens);
}

} // namespace vitrel::qc
