// Curves that an author has drawn over the time.
#include "platform/quartzcomposer/graph/PatchRegistry.h"

#include <algorithm>
#include <cmath>

namespace vitrel::qc {

namespace {

// Far more than the editor's window shows, and few enough to be read in no time.
constexpr std::size_t kMaxLines = 64, kMaxKeyFrames = 4096;
constexpr double kMaxPort = 1024;

double member(const Value* of, const char* key)
{
    const Dictionary* members = of ? of->dictionary() : nullptr;
    const auto found = members ? members->find(key) : Dictionary::const_iterator();
    const double number = members && found != members->end() ? found->second.number().value_or(0) : 0;
    return std::isfinite(number) ? number : 0;
}

const Value* inside(const Dictionary* members, const char* key)
{
    const auto found = members ? members->find(key) : Dictionary::const_iterator();
    return members && found != members->end() ? &found->second : nullptr;
}

double bezier(double a, double b, double c, double d, double s)
{
    const double r = 1 - s;
    return r * r * r * a + 3 * r * r * s * b + 3 * r * s * s * c + s * s * s * d;
}

// Key frames with handles, which are offsets from them.
class Line
{
public:
    explicit Line(const Value& stored)
    {
        const Value* list = inside(stored.dictionary(), "keyFrames");
        const Array* frames = list ? list->array() : nullptr;
        for (std::size_t k = 0; frames && k < std::min(frames->size(), kMaxKeyFrames); ++k) {
            const Dictionary* parts = (*frames)[k].dictionary();
            const Value *key = inside(parts, "kf"), *left = inside(parts, "lc"), *right = inside(parts, "rc");
            if (key && key->dictionary())
                keys_.push_back({member(key, "time"), member(key, "value"), member(left, "time"), member(left, "value"),
                    member(right, "time"), member(right, "value")});
        }
        std::stable_sort(keys_.begin(), keys_.end(), [](const Key& a, const Key& b) { return a.time < b.time; });
    }

    double first() const { return keys_.empty() ? 0 : keys_.front().time; }
    double last() const { return keys_.empty() ? 0 : keys_.back().time; }

    double at(double time) const
    {
        // Of key frames at one time the last one counts, also for a time that is theirs.
        const auto next
            = std::upper_bound(keys_.begin(), keys_.end(), time, [](double t, const Key& key) { return t < key.time; });
        if (next == keys_.begin() || next == keys_.end())
            return keys_.empty() ? 0 : next == keys_.end() ? keys_.back().value : keys_.front().value;
        const Key &a = *std::prev(next), &b = *next;
        const double span = b.time - a.time;
        const double out = std::clamp(a.rightTime, 0.0, span), in = span + std::clamp(b.leftTime, -span, 0.0);
        // Handles that stay within the stretch make a time that only rises.
        double low = 0, high = 1;
        for (int k = 0; k < 60; ++k) {
            const double middle = (low + high) / 2;
            (bezier(0, out, in, span, middle) < time - a.time ? low : high) = middle;
        }
        const double value = bezier(a.value, a.value + a.rightValue, b.value + b.leftValue, b.value, high);
        return std::isfinite(value) ? value : b.value;
    }

private:
    struct Key {
        double time, value, leftTime, leftValue, rightTime, rightValue;
    };
    std::vector<Key> keys_;
};

class TimeLinePatch final : public Patch
{
public:
    static PatchDescription description()
    {
        return {"Timeline",
            "Curves over the time, through key frames. Before the first and after the last they stand still.",
            {{"output_*", "Where the curve of this number is now"}},
            {{"timeLines", DescribedSetting::Table,
                "A list timeLines of curves, each with a portNumber and keyFrames: kf, and the handles lc before and "
                "rc "
                "behind it, each a time and a value",
                {}, {},
                R"({"timeLines": [{"portNumber": 1, "keyFrames": [{"kf": {"time": 0, "value": 0}}, {"kf": {"time": 2, "value": 1}}]}]})"}}};
    }

private:
    void configure(const Settings& settings) override
    {
        const Value* stored = settings.find("timeLines");
        const Value* list = stored ? inside(stored->dictionary(), "timeLines") : nullptr;
        const Array* lines = list ? list->array() : nullptr;
        for (std::size_t k = 0; lines && k < std::min(lines->size(), kMaxLines); ++k) {
            const double port = std::clamp(member(&(*lines)[k], "portNumber"), 0.0, kMaxPort);
            const std::string key = "output_" + std::to_string(static_cast<int>(port));
            if (!output(key))
                lines_.emplace_back(Line((*lines)[k]), &addOutput(key, PortType::Number));
        }
    }
    Kind kind() const override { return Kind::Timed; }
    void evaluate(Evaluation& e) override
    {
        for (auto& [line, port] : lines_) {
            port->set(line.at(time()));
            if (timebase != Timebase::External && time() < line.last())
                e.needFrameAt(e.time + std::max(0.0, line.first() - time()));
        }
    }
    std::vector<std::pair<Line, OutputPort*>> lines_;
};

} // namespace

void registerTimeLinesPatches(PatchRegistry& registry)
{
    registry.family("Time");
    registry.add<TimeLinePatch>("QCTimeLine");
}

} // namespace vitrel::qc
