#include "platform/quartzcomposer/graph/FrameProfile.h"

#include "platform/quartzcomposer/file/CompositionFile.h"
#include "platform/quartzcomposer/graph/Macro.h"

#include <algorithm>

namespace vitrel::qc {

namespace {

std::string pathOf(const Patch& patch)
{
    std::string path;
    for (const Patch* at = &patch; at && at->parent; at = at->parent)
        path = (at->node ? at->node->key : std::string("?")) + (path.empty() ? "" : "/" + path);
    return path.empty() ? "(the composition)" : path;
}

// Macros that change how their nodes are drawn, or draw them into a picture.
bool drawsAround(const Patch& patch)
{
    return dynamic_cast<const Macro*>(&patch) && patch.node && patch.node->className != "QCPatch"
        && !patch.node->className.starts_with('/');
}

} // namespace

FrameProfile::FrameProfile(Clock clock, std::function<void()> finish)
    : clock_(std::move(clock))
    , finish_(std::move(finish))
{ }

FrameProfile::Cost& FrameProfile::costOf(const Patch& patch)
{
    const auto [place, isNew] = costs_.try_emplace(&patch);
    if (isNew) {
        place->second.path = pathOf(patch);
        place->second.className = patch.node ? patch.node->className : "";
        if (patch.node && !patch.node->identifier.empty())
            place->second.className += "/" + patch.node->identifier;
    }
    return place->second;
}

// What has passed is the innermost patch's.
void FrameProfile::lap()
{
    const double now = clock_();
    if (!running_.empty()) {
        Cost& cost = costOf(*running_.back().patch);
        (running_.back().draws ? cost.drawing : cost.evaluation) += now - last_;
    }
    last_ = now;
}

void FrameProfile::enters(const Patch& patch)
{
    lap();
    running_.push_back({&patch});
}

void FrameProfile::computes()
{
    if (!running_.empty())
        ++costOf(*running_.back().patch).calls;
}

void FrameProfile::draws()
{
    lap();
    if (!running_.empty())
        running_.back().draws = true;
}

void FrameProfile::wishes(double when, double now)
{
    if (running_.empty())
        return;
    Cost& cost = costOf(*running_.back().patch);
    cost.soonest = std::min(cost.soonest, std::max(0.0, when - now));
    if (when <= now && !std::exchange(running_.back().wishedAtOnce, true))
        ++cost.atOnce;
}

void FrameProfile::leaves(const Patch& patch)
{
    if (running_.empty())
        return;
    if (drawsAround(patch))
        draws();
    if (running_.back().draws)
        finish_();
    lap();
    running_.pop_back();
}

std::vector<FrameProfile::Cost> FrameProfile::costs() const
{
    std::vector<Cost> costs;
    for (const auto& [patch, cost] : costs_)
        costs.push_back(cost);
    std::sort(costs.begin(), costs.end(), [](const Cost& a, const Cost& b) {
        const double first = a.evaluation + a.drawing, second = b.evaluation + b.drawing;
        return first != second ? first > second : a.path < b.path;
    });
    return costs;
}

} // namespace vitrel::qc
