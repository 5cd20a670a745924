#include "platform/quartzcomposer/script/ScriptEngine.h"

#include "platform/quartzcomposer/script/ScriptMemory.h"
#include "platform/quartzcomposer/script/ScriptRecord.h"

#include <js/ContextOptions.h>
#include <js/GCAPI.h>
#include <js/Initialization.h>
#include <js/MemoryMetrics.h>
#include <jsfriendapi.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <ctime>
#include <malloc.h>
#include <mutex>
#include <thread>
#include <vector>

#include <pthread.h>
#include <unistd.h>

namespace vitrel {

namespace {

// Of objects, strings and what hangs on them. A composition with scripts takes a megabyte or two.
constexpr std::uint32_t kHeapBytes = 64u << 20;
// Where young objects live; the default of 16 MiB would be touched from end to end.
constexpr std::uint32_t kNurseryBytes = 1u << 20;
// Of the thread's 8 MiB; what calls the engine needs some, too.
constexpr std::size_t kStackBytes = 2u << 20;

// So long beyond its time a script may be within something that looks at no interruption: a collection of garbage, a
// conversion of a long text. Then it is taken for one that takes minutes.
constexpr std::int64_t kGrace = 300'000'000; // nanoseconds of the processor

// Nothing but this is safe: the thread of the script may hold any lock.
[[noreturn]] void endProcess()
{
    constexpr char kLine[] = "vitrel: a script in the composition doesn't end, or takes all memory\n";
    [[maybe_unused]] const auto written = write(STDERR_FILENO, kLine, sizeof kLine - 1);
    _exit(kEndedByScript);
}

std::int64_t nowOn(clockid_t clock)
{
    timespec time{};
    clock_gettime(clock, &time);
    return std::int64_t(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

// Started before the first engine, shut down at the end of the process unless a script is still there.
struct Library {
    // Strangers' scripts aren't run where they could take all memory.
    const bool ready = boundScriptMemory() && JS_Init();
    std::atomic<int> engines{0};
    ~Library()
    {
        if (ready && engines == 0)
            JS_ShutDown();
    }
};

Library& library()
{
    static Library instance;
    return instance;
}

thread_local std::weak_ptr<ScriptEngine> engineOfThread;
thread_local ScriptEngine* runningHere = nullptr; // a plain pointer, to be read from within the allocator

} // namespace

// One thread for all engines that asks those whose time is up to look at their clock. While nothing runs it sleeps.
class ScriptWatchdog
{
public:
    static ScriptWatchdog& shared()
    {
        static ScriptWatchdog instance;
        return instance;
    }

    void add(ScriptEngine& engine)
    {
        const std::lock_guard lock(mutex_);
        engines_.push_back(&engine);
        if (!thread_.joinable())
            thread_ = std::thread([this] { watch(); });
    }
    void remove(ScriptEngine& engine)
    {
        const std::lock_guard lock(mutex_);
        std::erase(engines_, &engine);
    }

    // The engine's time ends at `end`. Costs a wake-up only if the watchdog would sleep longer than that.
    void arm(ScriptEngine& engine, std::int64_t end)
    {
        engine.wallEnd_ = end;
        if (end >= wakesAt_)
            return;
        const std::lock_guard lock(mutex_);
        wake_.notify_one();
    }

    ~ScriptWatchdog()
    {
        {
            const std::lock_guard lock(mutex_);
            ending_ = true;
        }
        wake_.notify_one();
        if (thread_.joinable())
            thread_.join();
    }

private:
    static constexpr std::int64_t kNever = INT64_MAX;

    void watch()
    {
        std::unique_lock lock(mutex_);
        while (!ending_) {
            // First this, then the look at the engines: one that arms in between sees a sleeper and wakes it.
            wakesAt_ = kNever;
            std::int64_t next = kNever;
            const std::int64_t now = nowOn(CLOCK_MONOTONIC);
            for (ScriptEngine* engine : engines_) {
                std::int64_t end = engine->wallEnd_;
                if (end == 0)
                    continue;
                if (end <= now) {
                    // A machine that was busy with other things, or slept, is not the script's fault. It has to be
                    // found out here: a regular expression that is interrupted can't go on, whatever the callback says.
                    const std::int64_t left = engine->processorEnd_ - nowOn(engine->processorClock_);
                    const std::int64_t later = now + (left > 0 ? left : std::max<std::int64_t>(left + kGrace, 0));
                    // Unless it is another run by now.
                    if (engine->wallEnd_.compare_exchange_strong(end, later) && left <= 0) {
                        if (left <= -kGrace)
                            endProcess();
                        JS_RequestInterruptCallback(engine->context_);
                    }
                    end = later;
                }
                if (end != 0)
                    next = std::min(next, end);
            }
            if (next == kNever) {
                wake_.wait(lock);
            } else {
                wakesAt_ = next;
                wake_.wait_for(lock, std::chrono::nanoseconds(std::max<std::int64_t>(next - now, 100'000)));
            }
        }
    }

    std::mutex mutex_;
    std::condition_variable wake_;
    std::vector<ScriptEngine*> engines_;
    std::thread thread_;
    std::atomic<std::int64_t> wakesAt_{kNever};
    bool ending_ = false;
};

std::shared_ptr<ScriptEngine> ScriptEngine::ofThisThread()
{
    if (auto engine = engineOfThread.lock())
        return engine;
    if (!library().ready)
        return nullptr;
    ScriptWatchdog::shared();
    std::shared_ptr<ScriptEngine> engine(new ScriptEngine);
    if (!engine->start())
        return nullptr;
    engineOfThread = engine;
    return engine;
}

bool ScriptEngine::start()
{
    context_ = JS_NewContext(kHeapBytes);
    if (!context_)
        return false;
    ++library().engines;
    clockid_t clock = CLOCK_MONOTONIC;
    pthread_getcpuclockid(pthread_self(), &clock);
    processorClock_ = clock;
    JS_SetContextPrivate(context_, this);
    JS_SetNativeStackQuota(context_, kStackBytes);
    JS_SetGCParameter(context_, JSGC_MAX_BYTES, kHeapBytes);
    JS_SetGCParameter(context_, JSGC_MAX_NURSERY_BYTES, kNurseryBytes);
    // The baseline compiler is quick enough for a frame's work, and the optimising one is the part of an engine that
    // hostile scripts aim at.
    JS_SetGlobalJitCompilerOption(context_, JSJITCOMPILER_ION_ENABLE, 0);
    JS::ContextOptionsRef(context_).setAsmJS(false).setWasm(false);
    // Without a queue for them the engine crashes on a script's first promise.
    if (!js::UseInternalJobQueues(context_) || !JS::InitSelfHostedCode(context_)
        || !JS_AddInterruptCallback(context_, &ScriptEngine::interrupted))
        return false;
    ScriptWatchdog::shared().add(*this);
    watchScriptMemory(kHeapBytes, &ScriptEngine::memoryIsShort, &endProcess);
    return true;
}

ScriptEngine::~ScriptEngine()
{
    if (!context_)
        return;
    ScriptWatchdog::shared().remove(*this);
    JS_DestroyContext(context_);
    --library().engines;
}

// Within the allocator: the garbage waits for the next place where it may be collected.
void ScriptEngine::memoryIsShort()
{
    ScriptEngine* const engine = runningHere;
    if (engine && !std::exchange(engine->toCollect_, true))
        JS_RequestInterruptCallback(engine->context_);
}

bool ScriptEngine::holdsTooMuch() const
{
    return scriptMemoryBytes() + std::int64_t(JS_GetGCParameter(context_, JSGC_BYTES)) > kHeapBytes;
}

bool ScriptEngine::isFull()
{
    if (holdsTooMuch())
        JS_GC(context_, JS::GCReason::API);
    toCollect_ = false;
    return holdsTooMuch();
}

void ScriptEngine::makeRoom(Keeper& running)
{
    JS_GC(context_, JS::GCReason::API);
    Keeper* guilty = &running;
    for (Keeper* keeper : keepers_) {
        JS::RootedObject object(context_, keeper->keeps());
        JS::TabSizes sizes;
        const auto sizeOf = [](const void* block) { return malloc_usable_size(const_cast<void*>(block)); };
        if (object && keeper != &running && JS::AddSizeOfTab(context_, object, sizeOf, nullptr, &sizes)
            && sizes.objects_ + sizes.strings_ + sizes.private_ + sizes.other_ > kHeapBytes / 2)
            guilty = keeper;
    }
    guilty->letGo();
    JS_GC(context_, JS::GCReason::API);
}

// Also called for reasons of the engine's own, and by a request that came too late for the run it meant.
bool ScriptEngine::interrupted(JSContext* context)
{
    auto& engine = *static_cast<ScriptEngine*>(JS_GetContextPrivate(context));
    if (!engine.running_)
        return true;
    if (engine.toCollect_ && engine.isFull()) {
        engine.full_ = true;
        js::StopDrainingJobQueue(context);
        return false;
    }
    const std::int64_t left = engine.processorEnd_ - nowOn(CLOCK_THREAD_CPUTIME_ID);
    if (left > 0) {
        if (engine.wallEnd_ == 0)
            ScriptWatchdog::shared().arm(engine, nowOn(CLOCK_MONOTONIC) + left);
        return true;
    }
    engine.expired_ = true;
    js::StopDrainingJobQueue(context);
    return false;
}

ScriptEngine::Budget::Budget(ScriptEngine& engine, double milliseconds, std::uint64_t script)
    : engine_(engine)
{
    ScriptRecord::running(script);
    runningHere = &engine;
    const auto nanoseconds = std::int64_t(std::clamp(milliseconds, 1.0, 60'000.0) * 1e6);
    engine_.processorEnd_ = nowOn(CLOCK_THREAD_CPUTIME_ID) + nanoseconds;
    engine_.expired_ = engine_.full_ = engine_.toCollect_ = false;
    engine_.running_ = true;
#if MOZJS_MAJOR_VERSION > 102
    // Since then the queue stays stopped until it is told.
    js::RestartDrainingJobQueue(engine_.context_);
#endif
    ScriptWatchdog::shared().arm(engine_, nowOn(CLOCK_MONOTONIC) + nanoseconds);
}

ScriptEngine::Budget::~Budget()
{
    engine_.wallEnd_ = 0;
    engine_.running_ = false;
    runningHere = nullptr;
    ScriptRecord::running(0);
}

} // namespace vitrel
