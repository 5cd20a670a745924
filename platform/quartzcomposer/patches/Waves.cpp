// Numbers that follow from the time: waves, moves from one value to another, chance.
#include "platform/quartzcomposer/graph/PatchRegistry.h"
#include "platform/quartzcomposer/patches/Curves.h"
#include "platform/quartzcomposer/patches/Timed.h"

#include <cstring>

namespace vitrel::qc {

namespace {

class LFOPatch final : public TimedPatch
{
public:
    static PatchDescription description()
    {
        return {"LFO", "Swings about its offset, in one of eight waves.",
            {{"inputType", "The shape of the wave",
                 menu({"Sine", "Cosine", "Triangle", "Square", "Sawtooth Up", "Sawtooth Down", "PWM", "Random"})},
                {"inputPeriod", "How long one wave takes; at 0 it rests at the offset", kDuration},
                {"inputPhase", "How far the wave is ahead", kDegrees},
                {"inputAmplitude", "How far it swings to each side of the offset"},
                {"inputOffset", "The middle of the swing"},
                {"inputPWMRatio", "Of PWM, the part of a period that is up", kShare},
                {"outputValue", "Where it is now"}},
            {{"randomSeed", DescribedSetting::Number, "Of Random: another number, other values; 1 without it",
                kNotNegative}}};
    }

private:
    Input<std::uint32_t> type{*this, "inputType"};
    Input<double> period{*this, "inputPeriod", 1}, phase{*this, "inputPhase"}, amplitude{*this, "inputAmplitude", 0.5},
        offset{*this, "inputOffset"}, ratio{*this, "inputPWMRatio", 0.25};
    Output<double> result{*this, "outputValue"};

    void configure(const Settings& settings) override
    {
        seed_ = static_cast<std::uint64_t>(std::clamp(settings.number("randomSeed", 1), 0.0, 9e15));
    }
    void evaluate(Evaluation& e) override
    {
        if (!(period() > 0)) {
            result.set(offset());
            return;
        }
        const double x = time() / period() + phase() / 360;
        const double f = x - std::floor(x);
        result.set(offset() + amplitude() * wave(x, f));
        if (amplitude() == 0)
            return;
        // Steps stand still between their edges.
        if (type() == 3 || type() == 6) {
            const double edge = type() == 3 ? 0.5 : std::clamp(ratio(), 0.0, 1.0);
            movesAfter(e, ((f < edge ? edge : 1) - f) * period());
        } else if (type() == 7) {
            movesAfter(e, (1 - f) * period());
        } else {
            moves(e);
        }
    }
    double wave(double x, double f) const
    {
        switch (type()) {
        case 0:
            return std::sin(2 * kPi * x);
        case 1:
            return std::cos(2 * kPi * x);
        case 2:
            return f < 0.25 ? 4 * f : f < 0.75 ? 2 - 4 * f : 4 * f - 4;
        case 3:
            return f < 0.5 ? 1 : -1;
        case 4:
            return 2 * f - 1;
        case 5:
            return 1 - 2 * f;
        case 6:
            return f < ratio() ? 1 : -1;
        default:
            return 2 * hashed(seed_, wholeOf(std::floor(x))) - 1;
        }
    }
    std::uint64_t seed_ = 1;
};

class InterpolationPatch final : public TimedPatch
{
public:
    static PatchDescription description()
    {
        return {"Interpolation",
            "Goes from one value to another, once or again and again, along one of thirteen curves or one of its own.",
            {{"inputValue1", "Where it starts"}, {"inputValue2", "Where it ends"},
                {"inputDuration", "How long the way takes", kDuration},
                {"inputTension", "How slow it is at both ends: 1 rests there, -1 hurries", {"", -1, 1}},
                {"inputRepeat", "What comes after the end",
                    menu({"None", "Loop", "Mirrored Loop", "Mirrored Loop Once"})},
                {"inputInterpolation", "How evenly it goes, without a curve of its own", curves()},
                {"outputValue", "Where it is now"}},
            {{"controlPointCount", DescribedSetting::Number,
                 "Without effect here; other players need the number of these points"},
                {"controlPointTimes", DescribedSetting::List,
                    "Of a curve of its own, when its points are reached, as parts of the duration", {}, {},
                    "[0.25, 0.5]"},
                {"controlPointValues", DescribedSetting::List, "How far the way is gone at each of these", {}, {},
                    "[0.8, 0.6]"},
                {"controlPointStart", DescribedSetting::Number, "How far it is gone at the start; 0 without it"},
                {"controlPointEnd", DescribedSetting::Number, "How far it is gone at the end; 1 without it"}}};
    }

private:
    Input<double> first{*this, "inputValue1"}, last{*this, "inputValue2"}, duration{*this, "inputDuration", 1},
        tension{*this, "inputTension"};
    Input<std::uint32_t> repeat{*this, "inputRepeat"}, curveNumber{*this, "inputInterpolation"};
    Output<double> result{*this, "outputValue"};

    void configure(const Settings& settings) override
    {
        const auto numbers = [&](const char* key) {
            std::vector<double> out;
            const Value* value = settings.find(key);
            const Array* members = value ? value->array() : nullptr;
            for (std::size_t k = 0; members && k < std::min<std::size_t>(members->size(), 1024); ++k)
                out.push_back((*members)[k].number().value_or(0));
            return out;
        };
        const auto times = numbers("controlPointTimes"), values = numbers("controlPointValues");
        if (times.empty() || times.size() != values.size())
            return;
        points_.emplace_back(0, settings.number("controlPointStart", 0));
        for (std::size_t k = 0; k < times.size(); ++k)
            points_.emplace_back(times[k], values[k]);
        points_.emplace_back(1, settings.number("controlPointEnd", 1));
        std::stable_sort(
            points_.begin(), points_.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    }

    void evaluate(Evaluation& e) override
    {
        const double d = duration();
        double t = 1;
        if (d > 0) {
            const double turns = time() / d;
            switch (repeat()) {
            case 1:
                t = turns - std::floor(turns);
                break;
            case 2:
                t = 1 - std::fabs(wrapped(turns, 2) - 1);
                break;
            case 3:
                t = turns >= 2 ? 0 : 1 - std::fabs(std::max(turns, 0.0) - 1);
                break;
            default:
                t = std::clamp(turns, 0.0, 1.0);
            }
            const bool over = repeat() == 0 || repeat() > 3 ? turns >= 1 : repeat() == 3 && turns >= 2;
            if (!over && first() != last())
                moves(e);
        }
        const double f = points_.empty() ? curve(curveNumber(), tightened(t)) : spline(t);
        result.set(first() + (last() - first()) * f);
    }

    // A cubic with slopes of 1 - tension at both ends: 0 leaves the curve as it is, 1 rests at the ends, -1 hurries
    // there.
    double tightened(double t) const
    {
        const double slope = 1 - (std::isfinite(tension()) ? std::clamp(tension(), -1.0, 1.0) : 0);
        return t * t * (3 - 2 * t) + slope * t * (1 - t) * (1 - 2 * t);
    }

    // A monotone cubic through the control points (Fritsch and Carlson's limits on the slopes).
    double spline(double t) const
    {
        std::size_t k = 1;
        while (k + 1 < points_.size() && points_[k].first < t)
            ++k;
        const auto slope = [&](std::size_t a, std::size_t b) {
            const double run = points_[b].first - points_[a].first;
            return run > 0 ? (points_[b].second - points_[a].second) / run : 0;
        };
        const auto tangent = [&](std::size_t at) {
            if (at == 0)
                return slope(0, 1);
            if (at + 1 == points_.size())
                return slope(at - 1, at);
            const double left = slope(at - 1, at), right = slope(at, at + 1);
            return left * right <= 0 ? 0 : 2 * left * right / (left + right);
        };
        const auto& [x0, y0] = points_[k - 1];
        const auto& [x1, y1] = points_[k];
        const double h = x1 - x0;
        if (!(h > 0))
            return y1;
        const double s = std::clamp((t - x0) / h, 0.0, 1.0), s2 = s * s, s3 = s2 * s;
        return (2 * s3 - 3 * s2 + 1) * y0 + (s3 - 2 * s2 + s) * h * tangent(k - 1) + (3 * s2 - 2 * s3) * y1
            + (s3 - s2) * h * tangent(k);
    }

    std::vector<std::pair<double, double>> points_;
};

// A number that wanders: a function of the time and the seed, smooth unless its variability is 0.
class RandomPatch final : public TimedPatch
{
public:
    static PatchDescription description()
    {
        return {"Random", "Wanders between two ends, the same way each time for the same seed.",
            {{"inputMin", "The one end"}, {"inputMax", "The other end"}, {"outputValue", "Where it is now"}},
            {{"variability", DescribedSetting::Number,
                 "How fast it wanders; at 0 it jumps to another place in each frame; 0.5 without it", kShare},
                {"usePerlinNoise", DescribedSetting::Flag,
                    "Whether it wanders by Perlin's noise, mostly about the middle"},
                {"randomSeed", DescribedSetting::Number, "Another number, another way; 1 without it", kNotNegative}}};
    }

private:
    Input<double> low{*this, "inputMin"}, high{*this, "inputMax", 1};
    Output<double> result{*this, "outputValue"};

    void configure(const Settings& settings) override
    {
        seed_ = static_cast<std::uint64_t>(std::clamp(settings.number("randomSeed", 1), 0.0, 9e15));
        variability_ = std::clamp(settings.number("variability", 0.5), 0.0, 1.0);
        isPerlin_ = settings.flag("usePerlinNoise", false);
    }
    void evaluate(Evaluation& e) override
    {
        result.set(low() + (high() - low()) * noise());
        if (low() != high())
            moves(e);
    }
    double noise() const
    {
        if (variability_ == 0) {
            std::uint64_t bits = 0;
            const double now = time();
            std::memcpy(&bits, &now, sizeof bits);
            return hashed(seed_, bits);
        }
        // Knots two a second at the usual variability; smoothly between them.
        const double x = std::clamp(time() * variability_ * 4, -9e15, 9e15), knot = std::floor(x), f = x - knot;
        if (isPerlin_)
            return perlin(x);
        const auto at = [&](double k) { return hashed(seed_, wholeOf(k)); };
        const double s = f * f * (3 - 2 * f);
        return at(knot) * (1 - s) + at(knot + 1) * s;
    }
    // Perlin's gradient noise in one dimension, four octaves; around the middle of the range. It is the middle itself
    // at every whole number, so the octaves are shifted: compositions ask at whole seconds.
    double perlin(double x) const
    {
        double sum = 0;
        for (int octave = 0; octave < 4; ++octave, x *= 2) {
            const double at = x + 0.25 + 0.5 * hashed(seed_, static_cast<std::uint64_t>(octave));
            const double knot = std::floor(at), f = at - knot;
            const auto slope = [&](double k) {
                return 2 * hashed(seed_ + static_cast<std::uint64_t>(octave) * 7919, wholeOf(k)) - 1;
            };
            const double fade = f * f * f * (f * (f * 6 - 15) + 10);
            sum += (slope(knot) * f * (1 - fade) + slope(knot + 1) * (f - 1) * fade) / (1 << octave);
        }
        return std::clamp(0.5 + sum, 0.0, 1.0);
    }
    std::uint64_t seed_ = 1;
    double variability_ = 0.5;
    bool isPerlin_ = false;
};

} // namespace

void registerWavesPatches(PatchRegistry& registry)
{
    registry.family("Time");
    registry.add<LFOPatch>("QCLFO");
    registry.add<InterpolationPatch>("QCInterpolation");
    registry.add<RandomPatch>("QCRandom");
}

} // namespace vitrel::qc
