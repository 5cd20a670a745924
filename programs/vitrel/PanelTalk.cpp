#include "programs/vitrel/PanelTalk.h"

#include "platform/quartzcomposer/CompositionView.h"
#include "platform/quartzcomposer/file/TextValues.h"
#include "platform/quartzcomposer/graph/InputDescription.h"
#include "programs/vitrel/AboutJson.h"

#include <cmath>

namespace vitrel {

namespace {

using Json = nlohmann::ordered_json;

constexpr Seconds kGathers{0.05}; // what is fed in a row is one message

Json json(const qc::InputDescription& input, const Value& value)
{
    qc::TextBudget budget;
    budget.values = 10'000;
    budget.bytes = 1u << 20;
    Json out{{"key", qc::jsonText(input.key)}, {"type", qc::nameOf(input.type)}, {"title", qc::jsonText(input.title)},
        {"meaning", qc::jsonText(input.meaning)}, {"unit", qc::jsonText(input.unit)}, {"labels", Json::array()}};
    if (std::isfinite(input.least))
        out["least"] = input.least;
    if (std::isfinite(input.most))
        out["most"] = input.most;
    for (const std::string& label : input.labels)
        out["labels"].push_back(qc::jsonText(label));
    // As files have colours.
    const auto* color = value.as<NSColor>();
    out["value"] = qc::valueJson(color ? Value(Dictionary{{"red", color->red}, {"green", color->green},
                                     {"blue", color->blue}, {"alpha", color->alpha}})
                                       : value,
        budget);
    return out;
}

} // namespace

PanelTalk::PanelTalk(SaverHost& host, PreviewSurface& surface, About about, std::string path)
    : host_(host)
    , surface_(surface)
    , about_(about)
    , path_(std::move(path))
{
    host_.onLoaded = [this](CompositionView& playing) { loaded(playing); };
    surface_.onWords = [this](const std::string& words) { heard(words); };
}

PanelTalk::~PanelTalk()
{
    host_.onLoaded = nullptr;
    surface_.onWords = nullptr;
    if (sending_)
        sending_->invalidate();
}

void PanelTalk::attend(VitrelView& view)
{
    view.setInputObserver([this](const Value& value, const std::string& key) { fed(value, key); });
}

void PanelTalk::loaded(CompositionView& playing)
{
    Json inputs = Json::array();
    const PlayedOptions* options = about_ == About::Options ? host_.optionsOf(playing) : nullptr;
    if (options) {
        for (const qc::InputDescription& input : options->inputs())
            inputs.push_back(json(input, options->ownValue(input.key)));
    } else if (about_ == About::Inputs) {
        for (const qc::InputDescription& input : playing.describedInputs())
            inputs.push_back(json(input, playing.valueForInputKey(input.key)));
    }
    Json said{{"file", qc::jsonText(path_.empty() ? playing.path() : path_)}, {"inputs", inputs}};
    if (about_ == About::Options)
        said["about"] = aboutJson(playing.about());
    surface_.say(said.dump());
}

void PanelTalk::fed(const Value& value, const std::string& key)
{
    fed_[key] = InputTrace::jsonText(value);
    if (!sending_ || !sending_->isValid())
        sending_ = host_.runLoop().scheduledTimer(kGathers, false, [this] { sendFed(); });
}

void PanelTalk::sendFed()
{
    Json values = Json::object();
    for (const auto& [key, text] : fed_)
        values[qc::jsonText(key)] = Json::parse(text, nullptr, false);
    fed_.clear();
    surface_.say(Json{{"fed", values}}.dump());
}

void PanelTalk::heard(const std::string& words)
{
    constexpr int kDeepest = 64;
    const Json said = qc::nestsAtMost(words, kDeepest) ? Json::parse(words, nullptr, false) : Json();
    if (!said.is_object())
        return;
    qc::ValueReader values("/nowhere/");
    if (const auto set = said.find("set"); set != said.end() && set->is_object()) {
        for (const auto& [key, value] : set->items())
            host_.setInput({key, values.value(value)});
    }
    if (const auto options = said.find("options"); options != said.end() && options->is_object())
        host_.setOptions(values.dictionary(*options));
}

} // namespace vitrel
