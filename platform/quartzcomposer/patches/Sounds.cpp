// What moves with what the desktop plays.
#include "platform/quartzcomposer/graph/PatchRegistry.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

namespace vitrel::qc {

namespace {

constexpr double kUsualFrame = 1.0 / 60;

// A composition that rested has had no frames; what it hears then has just begun.
constexpr double kLongestFrame = 0.25;

// The time since `last`, which becomes the time of this frame; that of a usual frame in the first one.
double passedSince(std::optional<double>& last, double now)
{
    const double passed = last ? std::clamp(now - *last, 0.0, kLongestFrame) : kUsualFrame;
    last = now;
    return passed;
}

// A scale is the part of the way to a new value that is gone in a sixtieth of a second, whatever the frame rate.
class AudioInputPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Audio Input", "How loud it is what the desktop plays, as a whole and in sixteen bands.",
            {{"inputInscreasingScale",
                 "The part of the way up that is gone in a sixtieth of a second: 1 follows at once", kShare},
                {"inputDecreasingScale",
                    "The part of the way down that is gone in a sixtieth of a second: 1 follows at once", kShare},
                {"outputPeak", "How loud it is, by a gain of its own", kShare},
                {"outputSpectrum", "A list of how loud sixteen bands are, from low to high, each from 0 to 1"}},
            {{"keylessStructures", DescribedSetting::Flag,
                "Whether the bands have no keys; if they have, these are their numbers. On without it"}}};
    }

private:
    static constexpr std::size_t kBands = std::tuple_size_v<decltype(SoundHeard::spectrum)>;
    // Nearer than this is there.
    static constexpr double kNear = 1.0 / 4096;

    Input<double> increasing{*this, "inputInscreasingScale", 1}, decreasing{*this, "inputDecreasingScale", 0.1};
    Output<double> peak{*this, "outputPeak"};
    Output<StructureRef> spectrum{*this, "outputSpectrum"};

    struct Memory {
        std::optional<double> last;
        double peak = 0;
        std::array<double, kBands> bands{};
    };
    struct Step {
        double up = 0, down = 0; // scales
        double passed = 0;
        bool moves = false;
        void take(double& value, double heard)
        {
            const double target = std::isfinite(heard) ? std::clamp(heard, 0.0, 1.0) : 0;
            const double scale = target > value ? up : down;
            if (!(scale > 0))
                return; // it is held where it is
            value += (target - value) * (1 - std::pow(1 - std::min(scale, 1.0), passed / kUsualFrame));
            if (std::abs(target - value) < kNear)
                value = target;
            moves |= value != target;
        }
    };

    Kind kind() const override { return Kind::Timed; }
    void configure(const Settings& settings) override { isKeyed_ = !settings.flag("keylessStructures", true); }
    void evaluate(Evaluation& e) override
    {
        const Hearing& hearing = e.hear();
        Memory& memory = memory_.at(scope);
        Step step{increasing(), decreasing(), passedSince(memory.last, e.time)};
        step.take(memory.peak, hearing.heard.peak);
        for (std::size_t k = 0; k < kBands; ++k)
            step.take(memory.bands[k], hearing.heard.spectrum[k]);
        peak.set(memory.peak);
        if (!made_ || shown_ != memory.bands)
            show(memory.bands);
        if (!hearing.rests || step.moves)
            e.needFrame();
    }
    void show(const std::array<double, kBands>& bands)
    {
        auto made = std::make_shared<Structure>();
        made->keyed = isKeyed_;
        for (std::size_t k = 0; k < kBands; ++k)
            made->members.push_back({isKeyed_ ? std::to_string(k) : std::string(), bands[k]});
        spectrum.set(StructureRef(std::move(made)));
        shown_ = bands;
        made_ = true;
    }

    bool isKeyed_ = false, made_ = false;
    std::array<double, kBands> shown_{};
    PerIteration<Memory> memory_;
};

// A patch of this player's own.
class BeatPatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Beat", "The beats of what the desktop plays. A patch of this player's own.",
            {{"inputDuration", "How long the pulse of a beat falls", kDuration},
                {"inputInterval", "How long after a beat others are left out", kDuration},
                {"outputSignal", "True for the one frame of a beat"}, {"outputCount", "How many there were"},
                {"outputPulse", "Falls from 1, at a beat, to 0", kShare},
                {"outputSince", "The time since the last beat, or since the start without one",
                    {"seconds", 0, kLongest}}}};
    }

private:
    // So far the time since the last beat is counted; it would keep a composition moving for ever.
    static constexpr double kLongest = 60;

    Input<double> duration{*this, "inputDuration", 0.4}, interval{*this, "inputInterval"};
    Output<bool> signal{*this, "outputSignal"};
    Output<std::uint32_t> count{*this, "outputCount"};
    Output<double> pulse{*this, "outputPulse"}, since{*this, "outputSince"};

    struct Memory {
        std::optional<double> start, beat; // on the composition's time
        std::uint64_t heard = 0;
        std::uint32_t count = 0;
    };

    Kind kind() const override { return Kind::Timed; }
    void evaluate(Evaluation& e) override
    {
        const Hearing& hearing = e.hear();
        Memory& memory = memory_.at(scope);
        const double now = e.time;
        // What was heard before the composition began, or by a listening before this one, is none of its beats.
        const bool isNew = memory.start && hearing.heard.beats > memory.heard;
        memory.heard = hearing.heard.beats;
        memory.start = memory.start.value_or(now);
        const bool isBeat = isNew && (!memory.beat || !(now - *memory.beat < interval()));
        if (isBeat) {
            memory.beat = now;
            ++memory.count;
        }
        const double passed = std::max(0.0, now - memory.beat.value_or(*memory.start));
        const double left = memory.beat && passed < duration() ? 1 - passed / duration() : isBeat ? 1 : 0;
        signal.set(isBeat);
        count.set(memory.count);
        pulse.set(left);
        since.set(std::min(passed, kLongest));
        if (!hearing.rests || isBeat || left > 0 || passed < kLongest)
            e.needFrame();
    }

    PerIteration<Memory> memory_;
};

} // namespace

void registerSoundsPatches(PatchRegistry& registry)
{
    registry.family("Sources");
    registry.add<AudioInputPatch>("QCAudioInput");
    registry.add<BeatPatch>("VitrelBeat");
}

} // namespace vitrel::qc
