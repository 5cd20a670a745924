#pragma once

#include <jsapi.h>

#include <atomic>
#include <cstdint>
#include <memory>

namespace vitrel {

// The engine of one thread: made with the first script of the thread, gone with the last. Not for other folders, as
// it shows types of the engine.
class ScriptEngine
{
public:
    // Null if there can't be one.
    static std::shared_ptr<ScriptEngine> ofThisThread();
    ~ScriptEngine();
    ScriptEngine(const ScriptEngine&) = delete;
    ScriptEngine& operator=(const ScriptEngine&) = delete;

    JSContext* context() const { return context_; }

    // Limits what is done in the engine between its construction and its end.
    class Budget
    {
    public:
        Budget(ScriptEngine& engine, double milliseconds);
        ~Budget();
        bool isExpired() const { return engine_.expired_; }

    private:
        ScriptEngine& engine_;
    };

private:
    friend class ScriptWatchdog;
    ScriptEngine() = default;
    bool start();
    static bool interrupted(JSContext* context);

    JSContext* context_ = nullptr;
    int processorClock_ = 0; // clockid_t of the thread
    std::atomic<std::int64_t> processorEnd_{0}; // nanoseconds on that clock
    bool running_ = false, expired_ = false;
    std::atomic<std::int64_t> wallEnd_{0}; // nanoseconds on the steady clock; 0 while nothing runs
};

} // namespace vitrel
