// Patches that follow the time: clocks, counters and pulses.
#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "platform/quartzcomposer/patches/Curves.h"
#include "platform/quartzcomposer/patches/Timed.h"

namespace vitrel::qc {

namespace {

class TimePatch final : public TimedPatch
{
public:
    static PatchDescription description()
    {
        return {"Patch Time", "The time of the patch, by its time base: the parent's, one of its own, or a port.",
            {{"outputTime", "Seconds since the start", kSeconds}}};
    }

private:
    Output<double> result{*this, "outputTime"};
    void evaluate(Evaluation& e) override
    {
        result.set(time());
        moves(e);
    }
};

class SystemTimePatch final : public TimedPatch
{
public:
    static PatchDescription description()
    {
        return {"System Time", "The date and time of day.",
            {{"outputTime", "Seconds since the beginning of 2001, UTC", kSeconds}}};
    }

private:
    Output<double> result{*this, "outputTime"};
    void evaluate(Evaluation& e) override
    {
        result.set(e.date.timeIntervalSinceReferenceDate());
        e.needFrame();
    }
};

// A patch of this player's own.
class TickPatch final : public TimedPatch
{
public:
    static PatchDescription description()
    {
        return {"Tick", "Time and date by steps: what follows them is computed, and drawn, once a step.",
            {{"inputStep", "How long a step is; 0: each frame", kDuration},
                {"outputTime", "The time of the composition at the beginning of the step", kSeconds},
                {"outputDate", "The date at the beginning of the step: seconds since the beginning of 2001, UTC",
                    kSeconds}}};
    }

private:
    Input<double> step{*this, "inputStep", 1};
    Output<double> outputTime{*this, "outputTime"}, outputDate{*this, "outputDate"};

    void evaluate(Evaluation& e) override
    {
        const double now = e.date.timeIntervalSinceReferenceDate();
        if (!(step() > 0) || !std::isfinite(step())) {
            outputTime.set(time());
            outputDate.set(now);
            return moves(e);
        }
        // Steps of the date, so that a minute changes when it does.
        const double passed = wrapped(now, step());
        outputTime.set(time() - passed);
        outputDate.set(now - passed);
        movesAfter(e, step() - passed);
    }
};

class SmoothPatch final : public TimedPatch
{
public:
    static PatchDescription description()
    {
        return {"Smooth", "Follows its input with delay. A change on the way starts from where it is.",
            {{"inputValue", "Where it goes"}, {"inputIncreasingDuration", "How long a rise takes", kDuration},
                {"inputIncreasingInterpolation", "How evenly it rises", curves()},
                {"inputDecreasingDuration", "How long a fall takes", kDuration},
                {"inputDecreasingInterpolation", "How evenly it falls", curves()},
                {"outputValue", "Where it is on its way"}},
            {{"useTangent", DescribedSetting::Flag, "Whether it keeps its speed where it changes its way"}}};
    }

private:
    Input<double> value{*this, "inputValue"}, rising{*this, "inputIncreasingDuration", 1},
        falling{*this, "inputDecreasingDuration", 1};
    Input<std::uint32_t> risingCurve{*this, "inputIncreasingInterpolation"},
        fallingCurve{*this, "inputDecreasingInterpolation"};
    Output<double> result{*this, "outputValue"};

    void configure(const Settings& settings) override { keepsSpeed_ = settings.flag("useTangent", false); }
    void evaluate(Evaluation& e) override
    {
        Memory& m = memory_.at(scope);
        if (!m.known) {
            m = {true, value(), value(), time(), 0, 0, 0};
        } else if (value() != m.target && !(std::isnan(value()) && std::isnan(m.target))) {
            const bool rises = value() > m.target;
            const Memory next{true, present(m, time()), value(), time(), std::max(0.0, rises ? rising() : falling()),
                rises ? risingCurve() : fallingCurve(), 0};
            const double speed = keepsSpeed_ ? speedOf(m, time()) - speedOf(next, time()) : 0;
            m = next;
            m.extraSpeed = std::isfinite(speed) ? speed : 0;
        }
        result.set(present(m, time()));
        if (time() - m.start < m.duration)
            moves(e);
    }

    struct Memory {
        bool known = false;
        double from = 0, target = 0, start = 0, duration = 0;
        std::uint32_t curveNumber = 0;
        double extraSpeed = 0; // at the start, beyond the curve's own; gone at the end
    };
    static double present(const Memory& m, double now)
    {
        const double passed = now - m.start;
        if (!(m.duration > 0) || passed >= m.duration)
            return m.target;
        const double t = std::max(0.0, passed / m.duration);
        return m.from + (m.target - m.from) * curve(m.curveNumber, t)
            + m.extraSpeed * m.duration * t * (1 - t) * (1 - t);
    }
    static double speedOf(const Memory& m, double now)
    {
        const double step = m.duration * 1e-5;
        return step > 0 && now < m.start + m.duration ? (present(m, now + step) - present(m, now)) / step : 0;
    }
    bool keepsSpeed_ = false;
    PerIteration<Memory> memory_;
};

class CounterPatch final : public TimedPatch
{
public:
    static PatchDescription description()
    {
        return {"Counter", "Counts up and down.",
            {{"inputSignal", "When it rises, one more"}, {"inputSignalDown", "When it rises, one less; never below 0"},
                {"inputSignalReset", "While it is true the count is 0"}, {"outputCount", "The count"}}};
    }

private:
    Input<bool> up{*this, "inputSignal"}, down{*this, "inputSignalDown"}, reset{*this, "inputSignalReset"};
    Output<std::uint32_t> count{*this, "outputCount"};

    void evaluate(Evaluation&) override
    {
        Memory& m = memory_.at(scope);
        if (up() && !m.up && m.count < 0xFFFFFFFFu)
            ++m.count;
        if (down() && !m.down && m.count > 0)
            --m.count;
        if (reset())
            m.count = 0;
        m.up = up();
        m.down = down();
        count.set(m.count);
    }
    struct Memory {
        bool up = false, down = false;
        std::uint32_t count = 0;
    };
    PerIteration<Memory> memory_;
};

class PulsePatch final : public TimedPatch
{
public:
    static PatchDescription description()
    {
        return {"Pulse", "Tells when a signal rises or falls. Before the first frame the input counts as false.",
            {{"inputSignal", "What is watched"},
                {"inputMode", "What counts", menu({"Leading Edge", "Trailing Edge", "Both"})},
                {"outputSignal", "True for the one frame in which that happens"}}};
    }

private:
    Input<bool> signal{*this, "inputSignal"};
    Input<std::uint32_t> mode{*this, "inputMode"};
    Output<bool> result{*this, "outputSignal"};

    void evaluate(Evaluation& e) override
    {
        bool& last = memory_.at(scope).last;
        const bool rose = signal() && !last, fell = !signal() && last;
        last = signal();
        const bool pulse = mode() == 0 ? rose : mode() == 1 ? fell : rose || fell;
        result.set(pulse);
        if (pulse)
            e.needFrame(); // in which it ends
    }
    struct Memory {
        bool last = false;
    };
    PerIteration<Memory> memory_;
};

class SignalPatch final : public TimedPatch
{
public:
    static PatchDescription description()
    {
        return {"Signal", "A beat: once, every so many seconds, or when its parameter changes.",
            {{"inputMode", "When it comes",
                 menu({"After x Seconds", "Every x Seconds", "At the Start, Then Every x Seconds", "When x Changes",
                     "At the Start, Then When x Changes"})},
                {"inputParam", "The x of the mode", kNotNegative},
                {"outputSignal", "True for the one frame of the beat"}}};
    }

private:
    Input<std::uint32_t> mode{*this, "inputMode"};
    Input<double> parameter{*this, "inputParam", 10};
    Output<bool> result{*this, "outputSignal"};

    void evaluate(Evaluation& e) override
    {
        const double now = time(), x = parameter();
        bool signal = false;
        const bool starts = !started_;
        if (starts) {
            started_ = true;
            last_ = now;
            parameter_ = x;
            signal = mode() == 2 || mode() == 4;
        }
        if (mode() >= 3) {
            signal |= x != parameter_;
            parameter_ = x;
        } else if (mode() == 0) {
            if (!done_ && now - last_ >= x)
                signal = done_ = true;
        } else if (!starts && x > 0 && now - last_ >= x) {
            signal = true;
            last_ += x * std::floor((now - last_) / x); // keeps its beat
        }
        result.set(signal);
        if (signal)
            e.needFrame();
        else if ((mode() == 0 && !done_) || (mode() < 3 && mode() > 0 && x > 0))
            movesAfter(e, last_ + x - now);
    }
    bool started_ = false, done_ = false;
    double last_ = 0, parameter_ = 0;
};

class StopWatchPatch final : public TimedPatch
{
public:
    static PatchDescription description()
    {
        return {"Stop Watch", "Counts the seconds between signals.",
            {{"inputStartSignal", "When it rises, the watch runs"},
                {"inputStopSignal", "When it rises, the watch stands"},
                {"inputResetSignal", "When it rises, the watch goes back to 0"},
                {"outputTime", "How long it has run", kSeconds}}};
    }

private:
    Input<bool> start{*this, "inputStartSignal"}, stop{*this, "inputStopSignal"}, reset{*this, "inputResetSignal"};
    Output<double> result{*this, "outputTime"};

    void evaluate(Evaluation& e) override
    {
        if (runs_)
            sum_ += std::max(0.0, time() - last_);
        last_ = time();
        if (reset() && !wasReset_)
            sum_ = 0;
        if (start() && !wasStart_)
            runs_ = true;
        if (stop() && !wasStop_)
            runs_ = false;
        wasStart_ = start();
        wasStop_ = stop();
        wasReset_ = reset();
        result.set(sum_);
        if (runs_)
            moves(e);
    }
    bool runs_ = false, wasStart_ = false, wasStop_ = false, wasReset_ = false;
    double sum_ = 0, last_ = 0;
};

} // namespace

void registerTimingPatches(PatchRegistry& registry)
{
    registry.family("Time");
    registry.add<TimePatch>("QCTime");
    registry.add<SystemTimePatch>("QCSystemTime");
    registry.add<TickPatch>("VitrelTick");
    registry.add<SmoothPatch>("QCSmooth");
    registry.add<CounterPatch>("QCCounter");
    registry.add<PulsePatch>("QCPulse");
    registry.add<SignalPatch>("QCSignal");
    registry.add<StopWatchPatch>("QCClock");
}

} // namespace vitrel::qc
