#pragma once

#include <jsapi.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

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

    // Something in the engine that keeps memory between its runs. Not moved while it is known to the engine.
    class Keeper
    {
    public:
        // An object of its own zone; null once it keeps nothing.
        virtual JSObject* keeps() const = 0;
        // Lets go of all that it keeps, for good.
        virtual void letGo() = 0;

    protected:
        ~Keeper() = default;
    };
    void add(Keeper& keeper) { keepers_.push_back(&keeper); }
    void remove(Keeper& keeper) { std::erase(keepers_, &keeper); }
    // After a run that found no memory: whoever keeps more than half of what there is lets go of it, else `running`
    // does. One that is running must have come to its end.
    void makeRoom(Keeper& running);
    // Whether there is more in the engine than may be, garbage aside.
    bool isFull();

    // Limits what is done in the engine between its construction and its end.
    class Budget
    {
    public:
        // `script` as ScriptRecord names it.
        Budget(ScriptEngine& engine, double milliseconds, std::uint64_t script);
        ~Budget();
        bool isExpired() const { return engine_.expired_; }
        // Ended as there is more in the engine than may be.
        bool isFull() const { return engine_.full_; }

    private:
        ScriptEngine& engine_;
    };

private:
    friend class ScriptWatchdog;
    ScriptEngine() = default;
    bool start();
    static bool interrupted(JSContext* context);
    static void memoryIsShort();
    bool holdsTooMuch() const;

    JSContext* context_ = nullptr;
    int processorClock_ = 0; // clockid_t of the thread
    std::atomic<std::int64_t> processorEnd_{0}; // nanoseconds on that clock
    bool running_ = false, expired_ = false, full_ = false, toCollect_ = false;
    std::vector<Keeper*> keepers_;
    std::atomic<std::int64_t> wallEnd_{0}; // nanoseconds on the steady clock; 0 while nothing runs
};

} // namespace vitrel
