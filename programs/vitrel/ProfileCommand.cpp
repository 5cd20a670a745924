// profile: where the time of a frame goes, patch by patch.
#include "base/Text.h"
#include "platform/quartzcomposer/drawing/GLContext.h"
#include "platform/quartzcomposer/file/TextValues.h"
#include "platform/quartzcomposer/graph/FrameProfile.h"
#include "programs/vitrel/Arguments.h"
#include "programs/vitrel/Commands.h"
#include "programs/vitrel/FramePlay.h"
#include "support/PrintKit.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iostream>

namespace vitrel {

namespace {

using Json = nlohmann::ordered_json;
using Cost = qc::FrameProfile::Cost;

struct ProfileOptions : SaverOptions {
    std::string size = "1280x720";
    double seconds = 5;
    bool json = false;
};

// What was measured.
struct Profile {
    int width = 0, height = 0;
    std::string renderer;
    double rate = 0; // frames a second, with nobody looking
    std::uint64_t frames = 0; // that were looked at
    std::vector<Cost> costs;

    double milliseconds(double seconds) const { return seconds * 1000 / double(frames); }
    double share(const Cost& cost) const
    {
        return cost.calls == 0 ? 0 : std::min(1.0, double(cost.atOnce) / double(cost.calls));
    }
};

// Frames at 60 a second of its own time, as fast as the machine draws.
class Course
{
public:
    explicit Course(FramePlay& play)
        : play_(play)
    { }
    // Through `seconds` of real time. Frames a second; 0 if there is nothing to draw on.
    double run(double seconds, std::uint64_t& frames)
    {
        const Seconds begun = clock_.now();
        for (frames = 0; frames == 0 || (clock_.now() - begun).count() < seconds; ++frames) {
            if (!play_.drawFrame(double(frame_++) / 60))
                return 0;
            play_.view().finish();
        }
        return double(frames) / std::max(1e-9, (clock_.now() - begun).count());
    }

private:
    FramePlay& play_;
    const SystemClock clock_;
    std::uint64_t frame_ = 0;
};

std::string inWords(const Profile& profile)
{
    constexpr std::size_t kMostNames = 8;
    std::vector<std::string> atOnce;
    const Cost* soonest = nullptr;
    for (const Cost& cost : profile.costs) {
        if (cost.atOnce > 0)
            atOnce.push_back(cost.path + " (" + cost.className + ")");
        else if (std::isfinite(cost.soonest) && (!soonest || cost.soonest < soonest->soonest))
            soonest = &cost;
    }
    if (atOnce.empty() && !soonest)
        return "It rests: nothing in it asks for a next frame before an input changes.";
    if (atOnce.empty())
        return "It rests in between: the first to ask for another frame is " + soonest->path + " (" + soonest->className
            + "), " + shortestDecimal(std::round(soonest->soonest * 1000) / 1000) + " s later.";
    std::string words = "It doesn't rest: ";
    for (std::size_t k = 0; k < std::min(atOnce.size(), kMostNames); ++k)
        words += (k ? ", " : "") + atOnce[k];
    if (atOnce.size() > kMostNames)
        words += " and " + std::to_string(atOnce.size() - kMostNames) + " more";
    return words + (atOnce.size() == 1 ? " asks" : " ask") + " for the next frame at once.";
}

// For a column: cut, and filled up with blanks.
std::string column(const std::string& text, std::size_t width)
{
    const std::string shown = qc::shownText(text, width - 1);
    const auto isFirstByte = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; };
    const auto characters = static_cast<std::size_t>(std::count_if(shown.begin(), shown.end(), isFirstByte));
    return shown + std::string(width + 1 - characters, ' ');
}

void print(const Profile& profile)
{
    constexpr std::size_t kMostRows = 40, kPath = 40, kClass = 34;
    const auto row
        = [](const std::string& path, const std::string& name, double evaluation, double drawing, double calls) {
              std::printf("%s%s%10.3f%10.3f%10.1f\n", column(path, kPath).c_str(), column(name, kClass).c_str(),
                  evaluation, drawing, calls);
          };
    std::printf("%s%s%10s%10s%10s\n", column("patch", kPath).c_str(), column("class", kClass).c_str(), "evaluated",
        "drawn", "calls");
    std::printf("%s%10s%10s%10s\n", column("", kPath + kClass + 1).c_str(), "ms/frame", "ms/frame", "/frame");
    Cost rest, all;
    for (std::size_t k = 0; k < profile.costs.size(); ++k) {
        const Cost& cost = profile.costs[k];
        for (Cost* sum : {&all, k < kMostRows ? nullptr : &rest}) {
            if (!sum)
                continue;
            sum->evaluation += cost.evaluation;
            sum->drawing += cost.drawing;
            sum->calls += cost.calls;
        }
        if (k < kMostRows)
            row(cost.path, cost.className, profile.milliseconds(cost.evaluation), profile.milliseconds(cost.drawing),
                double(cost.calls) / double(profile.frames));
    }
    const auto sum = [&](const std::string& name, const Cost& cost) {
        row(name, "", profile.milliseconds(cost.evaluation), profile.milliseconds(cost.drawing),
            double(cost.calls) / double(profile.frames));
    };
    if (profile.costs.size() > kMostRows)
        sum("and " + std::to_string(profile.costs.size() - kMostRows) + " others", rest);
    sum("all", all);
    std::printf("\n%.1f frames a second at %dx%d on %s, with nobody looking.\n%s\n", profile.rate, profile.width,
        profile.height, profile.renderer.c_str(), inWords(profile).c_str());
}

void printJson(const Profile& profile)
{
    Json patches = Json::array(), wishes = Json::array();
    for (const Cost& cost : profile.costs) {
        const std::string path = repairedUtf8(cost.path), name = repairedUtf8(cost.className);
        patches.push_back({{"patch", path}, {"class", name}, {"evaluation", profile.milliseconds(cost.evaluation)},
            {"drawing", profile.milliseconds(cost.drawing)}, {"calls", double(cost.calls) / double(profile.frames)}});
        if (std::isfinite(cost.soonest))
            wishes.push_back(
                {{"patch", path}, {"class", name}, {"atOnce", profile.share(cost)}, {"soonest", cost.soonest}});
    }
    std::cout << Json{{"fps", profile.rate}, {"size", {profile.width, profile.height}}, {"renderer", profile.renderer},
        {"frames", profile.frames}, {"patches", patches},
        {"wishes",
            wishes}}.dump()
              << '\n';
}

int profile(const ProfileOptions& options)
{
    const auto size = parseSize(options.size);
    if (!size)
        return complain("--size takes WIDTHxHEIGHT, each from 1 to 8192", 2);
    closeAllBut({});
    const auto play = FramePlay::make(options, size->first, size->second, {});
    if (!play)
        return play.error();
    constexpr double kWarming = 0.3; // shaders are compiled, pictures read
    // As on a screen, where the processor draws what moves without.
    const auto* const context = qc::GLContext::current();
    (*play)->view().setSmoothsEdges(context && !context->software());
    Course course(**play);
    Profile result{size->first, size->second};
    std::uint64_t frames = 0;
    if (course.run(kWarming, frames) == 0)
        return 1;
    result.rate = course.run(options.seconds / 2, frames);
    const SystemClock clock;
    qc::FrameProfile watch([&] { return clock.now().count(); }, [&] { (*play)->view().finish(); });
    (*play)->view().observe(&watch);
    course.run(options.seconds / 2, result.frames);
    (*play)->view().observe(nullptr);
    result.costs = watch.costs();
    result.renderer = context->renderer();
    if (options.json)
        printJson(result);
    else
        print(result);
    return 0;
}

} // namespace

void addProfile(CLI::App& app, Action& action)
{
    auto* command = app.add_subcommand("profile", "Tell what each patch costs in a frame, and what keeps it moving");
    const auto options = std::make_shared<ProfileOptions>();
    options->ownValues = true;
    command->add_option("FILE", options->file, "The composition")->required();
    command->add_option("--seconds", options->seconds, "How long to measure; 5 if not given")
        ->check(CLI::Range(0.1, 3600.0));
    command->add_option("--size", options->size, "WIDTHxHEIGHT in pixels; 1280x720 if not given");
    command->add_flag("--json", options->json, "As one JSON object");
    command->add_option("--input", options->inputs, "KEY=VALUE sets a published input; may be given again")
        ->allow_extra_args(false);
    auto* sound = command->add_option("--sound", options->sound, "A sound file that it hears; or off");
    addReplayOptions(*command, options->replay, options->view, {sound});
    command->callback([&action, options] {
        options->logs = false;
        print::setDestination(print::Destination::Nowhere);
        action = [=] { return profile(*options); };
    });
}

} // namespace vitrel
