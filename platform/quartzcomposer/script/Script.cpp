#include "platform/quartzcomposer/script/Script.h"

#include "base/Text.h"
#include "platform/quartzcomposer/script/ScriptConversion.h"
#include "platform/quartzcomposer/script/ScriptEngine.h"
#include "platform/quartzcomposer/script/ScriptRecord.h"

#include <js/CompilationAndEvaluation.h>
#include <js/ErrorReport.h>
#include <js/Exception.h>
#include <js/Realm.h>
#include <js/SourceText.h>
#include <jsfriendapi.h>

namespace vitrel {

namespace {

constexpr std::size_t kLongestScript = 1u << 20;
constexpr int kMostFailures = 3;
// A run that once in a while is too slow, on a machine that is busy for days, is no reason.
constexpr int kForgetAfterRuns = 1000;

constexpr JSClass kGlobalClass = {"Composition", JSCLASS_GLOBAL_FLAGS, &JS::DefaultGlobalClassOps};

// What takes memory past the engine's limit, or threads, or has a life of its own. Intl's objects are another
// library's.
constexpr const char* kWithheld[] = {"ArrayBuffer", "SharedArrayBuffer", "DataView", "Int8Array", "Uint8Array",
    "Uint8ClampedArray", "Int16Array", "Uint16Array", "Int32Array", "Uint32Array", "Float32Array", "Float64Array",
    "BigInt64Array", "BigUint64Array", "Atomics", "WebAssembly", "WeakRef", "FinalizationRegistry", "Intl"};

bool doNothing(JSContext*, unsigned count, JS::Value* values)
{
    JS::CallArgsFromVp(count, values).rval().setUndefined();
    return true;
}

// From 1. Versions of the engine before 115 count from 0 and give a plain number.
template <class Report> std::uint32_t columnOf(const Report& report)
{
    if constexpr (requires { report.column.oneOriginValue(); })
        return report.column.oneOriginValue();
    else
        return report.column + 1;
}

} // namespace

struct Script::Engine final : ScriptEngine::Keeper {
    explicit Engine(std::shared_ptr<ScriptEngine> shared)
        : shared(std::move(shared))
        , global(this->shared->context())
        , main(this->shared->context())
    {
        this->shared->add(*this);
    }
    ~Engine()
    {
        letGo();
        shared->remove(*this);
    }
    bool makeGlobal();
    // What went wrong; counts what mustn't go wrong often, and leaves no exception behind.
    ScriptError takeError(const ScriptEngine::Budget& budget, double milliseconds);
    std::string takeMessage(const ScriptEngine::Budget& budget, double milliseconds); // the same in one text
    JSObject* keeps() const override { return global; }
    void letGo() override;
    static bool random(JSContext* context, unsigned count, JS::Value* values);

    std::shared_ptr<ScriptEngine> shared;
    JS::PersistentRootedObject global;
    JS::PersistentRootedValue main;
    ScriptLimits limits;
    std::uint64_t seed = 0x9E3779B97F4A7C15;
    std::uint64_t name = 0; // as ScriptRecord gives it
    int failures = 0, runsSinceFailure = 0;
    bool needsMemory = false; // the last failure was for memory
};

// xorshift64*: 53 bits of it, as Math.random has them.
bool Script::Engine::random(JSContext* context, unsigned count, JS::Value* values)
{
    auto* engine = static_cast<Engine*>(JS::GetRealmPrivate(JS::GetCurrentRealmOrNull(context)));
    std::uint64_t bits = 0;
    if (engine) { // a promise may outlive its script
        engine->seed ^= engine->seed >> 12;
        engine->seed ^= engine->seed << 25;
        engine->seed ^= engine->seed >> 27;
        bits = engine->seed * 0x2545F4914F6CDD1D;
    }
    JS::CallArgsFromVp(count, values).rval().setDouble(double(bits >> 11) * 0x1p-53);
    return true;
}

bool Script::Engine::makeGlobal()
{
    JSContext* context = shared->context();
    JS::RealmOptions options;
    options.creationOptions().setSharedMemoryAndAtomicsEnabled(false);
    global = JS_NewGlobalObject(context, &kGlobalClass, nullptr, JS::FireOnNewGlobalHook, options);
    if (!global)
        return false;
    const JSAutoRealm realm(context, global);
    JS::SetRealmPrivate(JS::GetCurrentRealmOrNull(context), this);
    for (const char* name : kWithheld)
        if (!JS_DeleteProperty(context, global, name))
            return false;
    for (const char* name : {"print", "log", "alert"})
        if (!JS_DefineFunction(context, global, name, doNothing, 1, 0))
            return false;
    JS::RootedValue math(context);
    if (!JS_DefineProperty(context, global, "_testMode", JS::FalseHandleValue, JSPROP_ENUMERATE)
        || !JS_GetProperty(context, global, "Math", &math) || !math.isObject())
        return false;
    JS::RootedObject mathObject(context, &math.toObject());
    return JS_DefineFunction(context, mathObject, "random", random, 0, 0);
}

ScriptError Script::Engine::takeError(const ScriptEngine::Budget& budget, double milliseconds)
{
    JSContext* context = shared->context();
    needsMemory = budget.isFull() || JS_IsThrowingOutOfMemory(context);
    if (budget.isExpired() || needsMemory) {
        JS_ClearPendingException(context);
        ++failures;
        runsSinceFailure = 0;
        return {needsMemory ? "The script needs too much memory"
                            : "The script ran longer than " + std::to_string(int(milliseconds)) + " ms"};
    }
    if (!JS_IsExceptionPending(context))
        return {"The script was ended"};
    JS::ExceptionStack stack(context);
    JS::ErrorReportBuilder report(context);
    ScriptError error{"The script threw an exception"};
    if (JS::StealPendingExceptionStack(context, &stack)
        && report.init(context, stack, JS::ErrorReportBuilder::NoSideEffects)) {
        error.message = report.toStringResult().c_str();
        if (report.report()) {
            error.line = report.report()->lineno;
            error.column = columnOf(*report.report());
        }
    }
    JS_ClearPendingException(context);
    return error;
}

std::string Script::Engine::takeMessage(const ScriptEngine::Budget& budget, double milliseconds)
{
    const ScriptError error = takeError(budget, milliseconds);
    return error.line ? error.message + " (line " + std::to_string(error.line) + ")" : error.message;
}

void Script::Engine::letGo()
{
    if (!global)
        return;
    {
        const JSAutoRealm realm(shared->context(), global);
        JS::SetRealmPrivate(JS::GetCurrentRealmOrNull(shared->context()), nullptr);
    }
    main.setUndefined();
    global = nullptr;
}

Script::Script() = default;
Script::~Script() = default;

bool Script::isDisabled() const
{
    return !engine_->global || engine_->failures >= kMostFailures;
}

Result<std::unique_ptr<Script>, ScriptError> Script::compile(std::string_view source, ScriptLimits limits)
{
    if (source.size() > kLongestScript)
        return ScriptError{"The script is too long"};
    const std::uint64_t name = ScriptRecord::nameOf(source);
    if (ScriptRecord::isBarred(name))
        return ScriptError{"The script has ended the program before"};
    auto shared = ScriptEngine::ofThisThread();
    if (!shared)
        return ScriptError{"The script engine can't be started"};
    JSContext* context = shared->context();
    auto engine = std::make_unique<Engine>(shared);
    engine->limits = limits;
    engine->seed ^= limits.seed * 0xBF58476D1CE4E5B9u; // the one seed that would make nothing but zeros isn't a count
    engine->name = name;
    if (!engine->makeGlobal()) {
        JS_ClearPendingException(context);
        return ScriptError{"There is no memory for a script"};
    }
    std::unique_ptr<Script> script(new Script);
    script->engine_ = std::move(engine);
    Engine& made = *script->engine_;

    const JSAutoRealm realm(context, made.global);
    const ScriptEngine::Budget budget(*shared, limits.compileMilliseconds, name);
    JS::CompileOptions options(context);
    options.setFileAndLine("script", 1);
    JS::SourceText<mozilla::Utf8Unit> text;
    JS::RootedValue result(context);
    const std::string good = repairedUtf8(source);
    if (!text.init(context, good.data(), good.size(), JS::SourceOwnership::Borrowed)
        || !JS::Evaluate(context, options, text, &result) || !JS_GetProperty(context, made.global, "main", &made.main))
        return ScriptError{made.takeMessage(budget, limits.compileMilliseconds)};
    js::RunJobs(context);
    if (!made.main.isObject() || !JS::IsCallable(&made.main.toObject()))
        return ScriptError{"The script has no function main"};
    return script;
}

std::optional<ScriptError> Script::check(std::string_view source)
{
    if (source.size() > kLongestScript)
        return ScriptError{"The script is too long"};
    auto shared = ScriptEngine::ofThisThread();
    if (!shared)
        return ScriptError{"The script engine can't be started"};
    JSContext* context = shared->context();
    Engine engine(shared);
    if (!engine.makeGlobal()) {
        JS_ClearPendingException(context);
        return ScriptError{"There is no memory for a script"};
    }
    const JSAutoRealm realm(context, engine.global);
    const ScriptEngine::Budget budget(*shared, ScriptLimits().compileMilliseconds, ScriptRecord::nameOf(source));
    JS::CompileOptions options(context);
    options.setFileAndLine("script", 1);
    JS::SourceText<mozilla::Utf8Unit> text;
    const std::string good = repairedUtf8(source);
    if (text.init(context, good.data(), good.size(), JS::SourceOwnership::Borrowed)
        && JS::Compile(context, options, text))
        return std::nullopt;
    return engine.takeError(budget, ScriptLimits().compileMilliseconds);
}

std::optional<ScriptObject> Script::run(const std::vector<ScriptValue>& arguments)
{
    if (isDisabled())
        return std::nullopt;
    Engine& engine = *engine_;
    engine.needsMemory = false;
    auto members = attempt(arguments);
    // From out here nothing of the run is on the stack any more.
    if (engine.needsMemory || engine.shared->isFull())
        engine.shared->makeRoom(engine);
    return members;
}

std::optional<ScriptObject> Script::attempt(const std::vector<ScriptValue>& arguments)
{
    Engine& engine = *engine_;
    JSContext* context = engine.shared->context();
    const JSAutoRealm realm(context, engine.global);
    const ScriptEngine::Budget budget(*engine.shared, engine.limits.runMilliseconds, engine.name);
    ScriptConversion into(context), outOf(context);
    JS::RootedValueVector values(context);
    JS::RootedValue result(context);
    ScriptObject members;
    bool good = values.resize(arguments.size());
    for (std::size_t k = 0; good && k < arguments.size(); ++k)
        good = into.toScript(arguments[k], values[k]);
    good = good && JS_CallFunctionValue(context, engine.global, engine.main, values, &result);
    if (good && result.isObject()) {
        JS::RootedObject object(context, &result.toObject());
        good = outOf.membersFromScript(object, members);
    }
    if (good)
        js::RunJobs(context);
    if (!good || budget.isExpired() || budget.isFull()) {
        message_ = engine.takeMessage(budget, engine.limits.runMilliseconds);
        return std::nullopt;
    }
    if (++engine.runsSinceFailure >= kForgetAfterRuns)
        engine.failures = 0;
    return members;
}

} // namespace vitrel
