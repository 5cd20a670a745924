#include "platform/quartzcomposer/script/Script.h"
#include "platform/quartzcomposer/script/ScriptRecord.h"

#include "support/PeakMemory.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

namespace vitrel {
namespace {

using testing::ElementsAre, testing::HasSubstr, testing::IsEmpty;

std::unique_ptr<Script> compiled(std::string_view source, ScriptLimits limits = {})
{
    auto script = Script::compile(source, limits);
    EXPECT_TRUE(script) << script.error().message;
    return script ? std::move(*script) : nullptr;
}

// What `return {r: EXPRESSION}` gives for `a`; nothing if the run failed.
ScriptValue valueOf(const std::string& expression, const ScriptValue& a = {})
{
    auto script = compiled("function main(a) { return {r: " + expression + "}; }");
    const auto result = script ? script->run({a}) : std::nullopt;
    if (!result || result->size() != 1)
        return {};
    return result->front().second;
}

TEST(Script, GivesTheMembersOfTheReturnedObjectInTheirOrder)
{
    auto script = compiled("function main(a, b) { var r = new Object(); r.z = a + b; r.a = b > 1; r.none = undefined;"
                           "r.nil = null; return r; }");
    EXPECT_EQ(script->run({2, 3.5}), (ScriptObject{{"z", 5.5}, {"a", true}, {"nil", {}}}));
    EXPECT_THAT(*compiled("function main() { return 5; }")->run({}), IsEmpty());
    EXPECT_THAT(*compiled("function main() { }")->run({}), IsEmpty());
}

TEST(Script, KeepsItsTopLevelStateFromRunToRunAndFromOtherScripts)
{
    auto one = compiled("var n = 10; function main() { return {n: ++n}; }");
    auto two = compiled("function main() { return {n: typeof n}; }");
    EXPECT_EQ(one->run({})->front().second, ScriptValue(11));
    EXPECT_EQ(one->run({})->front().second, ScriptValue(12));
    EXPECT_EQ(two->run({})->front().second, ScriptValue("undefined"));
}

TEST(Script, ValuesComeBackAsTheyWentIn)
{
    const auto image = std::make_shared<const int>(7);
    const ScriptValue values[] = {ScriptValue(), true, false, 0, -1.5, 1e300, "", "text", "Gr\u00FC\u00DFe \U0001F3B5",
        std::string("a\0b", 3), ScriptColor{0.25, 0.5, 0.75, 1}, ScriptHandle{image}, ScriptArray{},
        ScriptArray{1, "two", ScriptArray{3}, ScriptValue()}, ScriptObject{},
        ScriptObject{{"z", 1}, {"a", ScriptObject{{"\xC3\xA9", "x"}, {"__proto__", 2}}}, {"", true}}};
    for (const auto& value : values)
        EXPECT_EQ(valueOf("a", value), value) << "index " << value.index();
    EXPECT_EQ(valueOf("a", "cut \xC3"), ScriptValue("cut \xEF\xBF\xBD")) << "no UTF-8 is repaired";
    EXPECT_EQ(valueOf("'\\uD800'"), ScriptValue("\xEF\xBF\xBD")) << "half a pair is repaired";
    EXPECT_TRUE(std::isnan(*valueOf("0/0").as<double>()));
}

// A feed as it reaches a composition: null, nesting, escapes, large numbers.
TEST(Script, ReadsMembersMakesStructuresAndParsesJSON)
{
    const ScriptValue feed
        = ScriptObject{{"items", ScriptArray{ScriptObject{{"title", "One"}}, ScriptObject{{"title", "Two"}}}}};
    const ScriptValue json = R"({"n":null,"a":[[1,[2.5]],{}],"t":"\u00e9\ud83c\udfb5\n","big":1234567890123,"e":""})";
    const ScriptValue parsed
        = ScriptObject{{"n", {}}, {"a", ScriptArray{ScriptArray{1, ScriptArray{2.5}}, ScriptObject{}}},
            {"t", "\xC3\xA9\xF0\x9F\x8E\xB5\n"}, {"big", 1234567890123.0}, {"e", ""}};
    const std::tuple<const char*, ScriptValue, ScriptValue> cases[]
        = {{"a.items.length", feed, 2}, {"a.items[1].title", feed, "Two"},
            {"a.items.map(function(i) { return i.title.length; })", feed, ScriptArray{3, 3}},
            {"a.red + a.alpha", ScriptColor{0.25, 0, 0, 0.5}, 0.75},
            {"Object.keys(a).join()", ScriptObject{{"b", 1}, {"a", 2}}, "b,a"}, {"new String('x')", {}, "x"},
            {"new Date(5)", {}, 5}, {"function() {}", {}, {}},
            {"(function() { var s = []; s[2] = 1; return s; })()", {}, ScriptArray{{}, {}, 1}},
            {"JSON.parse(a)", json, parsed}, {"eval('(' + a + ')')", json, parsed},
            {"JSON.stringify(JSON.parse(a).a)", json, "[[1,[2.5]],{}]"}, {"_testMode", {}, false},
            {"[print('x'), log('x'), alert('x')].length", {}, 3},
            {"isNaN(Number('x')) && /b+/.test('abb') && Math.max(1, 2) == 2", {}, true},
            {"new Date().getFullYear() > 2000", {}, true}};
    for (const auto& [expression, a, result] : cases)
        EXPECT_EQ(valueOf(expression, a), result) << expression;
    for (const std::string name : {"ArrayBuffer", "SharedArrayBuffer", "Uint8Array", "Float64Array", "DataView",
             "Atomics", "WebAssembly", "WeakRef", "Intl", "load", "require", "process", "read", "os", "Debugger"})
        EXPECT_EQ(valueOf("typeof " + name + " + ' ' + ('" + name + "' in this)"), ScriptValue("undefined false"))
            << name << " of the host";
}

TEST(Script, MathRandomGivesEveryScriptTheSameNumbers)
{
    const std::string source = "function main() { return {a: Math.random(), b: Math.random()}; }";
    auto one = compiled(source), two = compiled(source);
    const auto first = one->run({}), again = two->run({}), later = one->run({});
    EXPECT_EQ(*first, *again);
    EXPECT_NE(*first, *later);
    EXPECT_EQ(valueOf("(function() { var s = 0; for (var k = 0; k < 4000; k++) { var x = Math.random();"
                      "if (x < 0 || x >= 1) return -1; s += x; } return Math.round(s / 400); })()"),
        ScriptValue(5));
}

TEST(Script, AnExceptionGivesNothingAndAMessageAndTheScriptGoesOn)
{
    auto script = compiled("var n = 0;\nfunction main() {\n if (++n == 1) throw new Error('first');\n"
                           "if (n == 2) return undefinedName.x; return {n: n}; }");
    EXPECT_FALSE(script->run({}));
    EXPECT_THAT(script->message(), HasSubstr("first"));
    EXPECT_THAT(script->message(), HasSubstr("line 3"));
    EXPECT_FALSE(script->run({}));
    EXPECT_THAT(script->message(), HasSubstr("undefinedName"));
    EXPECT_EQ(script->run({})->front().second, ScriptValue(3));
}

TEST(Script, WhatIsNoScriptIsAnError)
{
    const std::pair<const char*, const char*> cases[] = {{"function main( {", "SyntaxError"},
        {"throw 'early'; function main() {}", "early"}, {"var x = 1;", "no function main"},
        {"var main = 5;", "no function main"}, {"while (true) {} function main() {}", "longer than"}};
    for (const auto& [source, message] : cases) {
        const auto script = Script::compile(source, {50, 50});
        ASSERT_FALSE(script) << source;
        EXPECT_THAT(script.error().message, HasSubstr(message)) << source;
    }
    EXPECT_FALSE(Script::compile(std::string((1u << 20) + 1, ' ')));
}

TEST(Script, RunsThatNeverEndAreEndedAndTheThirdTimeIsTheLast)
{
    const char* const bodies[]
        = {"while (true) {}", "for (;;) { try { while (true) {} } catch (e) {} finally { while (true) {} } }",
            "/(a+)+$/.test('aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaab')",
            "(function f() { try { f(); } finally { f(); } })()",
            "return new Proxy({}, {ownKeys: function() { while (true) {} }})", "return {get a() { while (true) {} }}",
            "function p() { Promise.resolve().then(p); } p(); return {a: 1}",
            "var s = 'x'; while (true) { s = JSON.stringify([s, s]); s = s.substr(0, 100000); }",
            "[3, 2, 1].sort(function() { while (true) {} })", "'x'.replace(/x/, function() { while (true) {} })"};
    for (const char* body : bodies) {
        auto script = compiled(
            std::string("var n = 0; function main(stop) { if (stop) return {n: ++n}; ") + body + " }", {250, 20});
        const auto start = std::chrono::steady_clock::now();
        EXPECT_FALSE(script->run({false})) << body;
        EXPECT_THAT(script->message(), HasSubstr("longer than 20 ms")) << body;
        EXPECT_TRUE(script->run({true})) << body << " leaves the script usable";
        EXPECT_FALSE(script->run({false}));
        EXPECT_FALSE(script->isDisabled());
        EXPECT_FALSE(script->run({false}));
        EXPECT_TRUE(script->isDisabled()) << body << ": " << script->message();
        EXPECT_FALSE(script->run({true}));
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20)) << body;
    }
}

TEST(Script, MemoryAndStackHaveAnEnd)
{
    resetPeakMemory();
    const long before = peakMebibytes();
    const char* const bodies[] = {"var a = []; while (true) a.push({x: a.length});",
        "var s = 'x'; while (true) s += s + s.length;", "var a = [new Array(1e8).fill(0), 1]; return {n: a.length}",
        "var a = []; while (true) a.push(new Array(1e6).fill(1));",
        "var a = []; while (true) a.push('y'.repeat(1e6) + a.length);",
        "var m = new Map(); for (var k = 0; ; k++) m.set(k, k);", "var a = {}; while (true) a = {a: a, b: a};",
        "(function f() { f(); f(); })()",
        "var a = []; for (var k = 0; k < 1e5; k++) a = [a]; return {a: JSON.stringify(a)}",
        "'x'.repeat(1 << 29).toUpperCase()", "var s = 'x'; for (var k = 0; k < 29; k++) s += s; encodeURIComponent(s)",
        "new Function('return ' + '1+'.repeat(1e7) + '1')", "JSON.parse('['.repeat(1e7))",
        "eval(new Array(100000).join('('))", "new RegExp(new Array(100000).join('('))"};
    auto other = compiled("function main() { return {n: 'x'.repeat(1 << 20).split('').length}; }");
    for (const char* body : bodies) {
        auto script
            = compiled(std::string("function main(stop) { if (stop) return {n: 1}; ") + body + " }", {250, 300});
        script->run({false});
        const bool goesOn = script->message().find("memory") == std::string::npos;
        EXPECT_EQ(script->run({true}).has_value(), goesOn) << body << ": " << script->message();
        EXPECT_EQ(script->isDisabled(), !goesOn) << body;
        EXPECT_TRUE(other->run({})) << "beside " << body << ": " << other->message();
        EXPECT_LT(peakMebibytes(), before + 170) << body;
    }
}

// Each run keeps so little that none of them is stopped by itself.
TEST(Script, WhatIsKeptFromRunToRunCounts)
{
    const char* const keeps[] = {"for (var i = 0; i < 500; i++) kept.push(('y' + i).repeat(500).toUpperCase());",
        "for (var i = 0; i < 20; i++) kept.push(new Array(10000).fill(i));",
        "for (var i = 0; i < 5000; i++) kept.push(2n ** 2000n);",
        "try { for (var i = 0; i < 10000; i++) kept.push({i: i, a: [i]}); } catch (e) {}"};
    auto other = compiled("var n = 0; function main() { return {n: ++n}; }");
    for (const char* keep : keeps) {
        resetPeakMemory();
        const long before = peakMebibytes();
        auto script = compiled(std::string("var kept = []; function main() { ") + keep + " return {n: 1}; }");
        int runs = 0;
        while (runs < 2000 && !script->isDisabled()) {
            script->run({});
            ++runs;
        }
        EXPECT_GT(runs, 10) << keep << " is let be while it keeps little";
        EXPECT_LT(runs, 2000) << keep;
        EXPECT_LT(peakMebibytes(), before + 110) << keep;
        EXPECT_TRUE(other->run({})) << other->message();
    }
}

TEST(Script, WhoKeepsMostOfTheMemoryIsSwitchedOff)
{
    const std::string hoard
        = "var kept = []; function main(n) { for (var i = 0; i < n; i++) kept.push(new Array(12500).fill(i));"
          "return {n: kept.length}; }"; // each of 100 kB
    auto much = compiled(hoard, {250, 2000}), little = compiled(hoard, {250, 2000});
    EXPECT_TRUE(much->run({400}));
    EXPECT_TRUE(little->run({100}));
    EXPECT_FALSE(little->run({300})) << "there isn't so much left";
    EXPECT_TRUE(much->isDisabled());
    EXPECT_FALSE(little->isDisabled());
    EXPECT_TRUE(little->run({100})) << little->message();
    EXPECT_FALSE(little->run({1000}));
    EXPECT_TRUE(little->isDisabled()) << "now it is the one";
    EXPECT_FALSE(much->run({0}));
}

constexpr const char* kHangs
    = "function main() { return {n: 'a'.repeat(1 << 23).indexOf('a'.repeat(1 << 22) + 'b')}; }";

// None of these looks at an interruption; the quickest would take eight seconds.
TEST(ScriptDeathTest, WhatCantBeInterruptedEndsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::string sources[] = {kHangs, "function main() { return {n: BigInt('9'.repeat(300000)) > 1n}; }",
        "BigInt('0x' + 'f'.repeat(260000)).toString(); function main() { }",
        "function main() { ('a' + '\\u0301\\u0323'.repeat(1 << 20)).normalize('NFC'); }"};
    for (const auto& source : sources) {
        const auto hang = [&] {
            alarm(6); // another end than the one that is meant
            if (const auto script = Script::compile(source))
                (*script)->run({});
        };
        EXPECT_EXIT(hang(), testing::ExitedWithCode(kEndedByScript), "doesn't end") << source;
    }
}

// In a process of its own, for what is barred there is barred for good.
TEST(ScriptDeathTest, TheScriptThatEndedAProcessIsBarredAndThenAllAre)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    constexpr int kBarred = 5;
    const auto endOf = [](const char* source) {
        if (fork() == 0) {
            alarm(6);
            ScriptRecord::settle(0);
            const auto script = Script::compile(source);
            if (script)
                (*script)->run({});
            _exit(script ? 0 : kBarred);
        }
        int status = 0;
        wait(&status);
        ScriptRecord::takeStock(0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    };
    const auto play = [&] {
        const std::string other = std::string("var other; ") + kHangs;
        ScriptRecord::keep();
        const char* const good = "function main() {}";
        const int ends[] = {endOf(good), endOf(kHangs), endOf(kHangs), endOf(good), endOf(other.c_str()), endOf(good)};
        const int expected[] = {0, kEndedByScript, kBarred, 0, kEndedByScript, kBarred};
        std::exit(std::equal(std::begin(ends), std::end(ends), expected) ? 0 : 1);
    };
    EXPECT_EXIT(play(), testing::ExitedWithCode(0), "");
}

TEST(Script, ResultsAreBounded)
{
    EXPECT_EQ(valueOf("(function() { var o = {n: 1}; o.self = o; return o; })()"),
        ScriptValue(ScriptObject{{"n", 1}, {"self", {}}}));
    const auto deep = valueOf("(function() { var a = 1; for (var k = 0; k < 1000; k++) a = [a]; return a; })()");
    int depth = 0;
    for (const auto* level = &deep; level->array() && !level->array()->empty(); level = &level->array()->front())
        ++depth;
    EXPECT_GE(depth, 32);
    EXPECT_LE(depth, 64);

    // Twenty times two of the one before: a million in a few lines.
    const auto wide = valueOf("(function() { var a = [1]; for (var k = 0; k < 40; k++) a = [a, a]; return a; })()");
    EXPECT_TRUE(wide.array() || wide.index() == 0) << "ended by the limit or by the time";
    const auto sparse = valueOf("(function() { var a = []; a[4294967290] = 1; return a; })()");
    EXPECT_TRUE(!sparse.array() || sparse.array()->size() <= 1000000);
    const auto texts = valueOf("(function() { var s = 'x'.repeat(1000000); return [s, s, s, s, s, s, s, s, s, s,"
                               "s, s, s, s, s, s, s, s, s, s]; })()");
    std::size_t bytes = 0;
    for (const auto& text : *texts.array())
        bytes += text.as<std::string>()->size();
    EXPECT_EQ(bytes, 16'000'000u);
    EXPECT_EQ(valueOf("'x'.repeat(1 << 29)"), ScriptValue("")) << "and isn't even made";
}

TEST(Script, HostileObjectsThrowAndNoMore)
{
    for (const char* expression : {"{get a() { throw 1; }}", "new Proxy({}, {ownKeys: function() { throw 1; }})",
             "new Proxy({a: 1}, {get: function() { throw 1; }})", "[{toString: null, get b() { throw null; }}]"}) {
        auto script = compiled(std::string("function main(ok) { return {r: ok || ") + expression + "}; }");
        EXPECT_FALSE(script->run({false})) << expression;
        EXPECT_NE(script->message(), "") << expression;
        EXPECT_TRUE(script->run({true})) << expression;
        EXPECT_FALSE(script->isDisabled());
    }
    auto deleted = compiled("Array.prototype.length = 5; delete this.Object; delete this.Array;"
                            "function main(a) { return {r: a}; }");
    EXPECT_EQ(deleted->run({ScriptValue(ScriptArray{1})})->front().second, ScriptValue(ScriptArray{1}));
    auto import = compiled("function main() { import('file:///etc/passwd'); return {r: 1}; }");
    EXPECT_TRUE(import->run({}));
}

TEST(Script, AHandleCanOnlyBePassedOnAndIsLetGo)
{
    auto image = std::make_shared<const int>(1);
    const std::weak_ptr<const int> weak = image;
    {
        auto script
            = compiled("var kept; function main(a) { if (a) kept = a; a = 5; return {keys: Object.keys(kept).length,"
                       "text: String(kept), r: kept}; }");
        script->run({ScriptHandle{image}});
        const auto result = script->run({ScriptValue()});
        EXPECT_EQ(*result, (ScriptObject{{"keys", 0}, {"text", "[object Object]"}, {"r", ScriptHandle{image}}}));
        image.reset();
        EXPECT_FALSE(weak.expired()) << "the script still has it";
    }
    EXPECT_TRUE(weak.expired());
    EXPECT_EQ(valueOf("(function() { 'use strict'; try { a.x = 1; } catch (e) { return e instanceof TypeError; } })()",
                  ScriptHandle{std::make_shared<const int>(2)}),
        ScriptValue(true));
}

TEST(Script, EachThreadHasAnEngineOfItsOwn)
{
    std::vector<std::thread> threads;
    std::atomic<int> good{0};
    for (int k = 0; k < 3; ++k)
        threads.emplace_back([&, k] {
            auto script = compiled("var n = 0; function main(a) { while (a < 0) {} return {n: n += a}; }", {250, 20});
            for (int run = 0; run < 50; ++run)
                script->run({k});
            EXPECT_FALSE(script->run({-1}));
            good += *script->run({0}) == ScriptObject{{"n", 50 * k}};
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(good, 3);
}

} // namespace
} // namespace vitrel
