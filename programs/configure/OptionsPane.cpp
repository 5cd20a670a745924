#include "programs/configure/OptionsPane.h"

#include "platform/foundation/Surroundings.h"
#include "platform/quartzcomposer/file/TextValues.h"
#include "preferences/VitrelItem.h"
#include "programs/preview/PreviewLink.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>

#include <algorithm>
#include <cmath>

namespace vitrel {

namespace {

using Json = nlohmann::ordered_json;

// A slider that is dragged says sixty values a second; each writing is a file.
constexpr Seconds kGathers{0.25};
constexpr int kLowest = 88, kHighest = 190; // pixels of the controls that are seen at once

// As the store has it. Nothing for what is no value of the kind.
Value storedValue(const ControlledInput& input, const Json& json)
{
    if (input.type == "boolean" && json.is_boolean())
        return json.get<bool>();
    if (input.type == "index" && json.is_number())
        return static_cast<std::int64_t>(json.get<double>());
    if (input.type == "number" && json.is_number())
        return json.get<double>();
    if (input.type == "string") {
        const Value text = qc::ValueReader("/nowhere/").value(json);
        return text.as<std::string>() ? text : Value();
    }
    const auto color = json.is_string() ? qc::colorFromHex(json.get<std::string>()) : std::nullopt;
    return color ? Value(Array{color->red, color->green, color->blue, color->alpha}) : Value();
}

std::optional<Json> colorJson(const Value& value)
{
    const Array* parts = value.array();
    Dictionary color;
    constexpr const char* kNames[] = {"red", "green", "blue", "alpha"};
    for (std::size_t k = 0; k < 4; ++k) {
        const auto part = parts && k < parts->size() ? (*parts)[k].number() : std::nullopt;
        if ((!part && k < 3) || (part && !std::isfinite(*part)))
            return std::nullopt;
        color[kNames[k]] = std::clamp(part.value_or(1), 0.0, 1.0);
    }
    qc::TextBudget budget;
    return qc::valueJson(Value(color), budget);
}

// The other way, as controls have it; absent for what another program may have stored there.
std::optional<Json> controlledValue(const ControlledInput& input, const Value& value)
{
    const auto number = value.number();
    if (input.type == "boolean")
        return number == 0.0 || number == 1.0 ? std::optional(Json(*number != 0)) : std::nullopt;
    if (input.type == "number" || input.type == "index") {
        if (!number || !std::isfinite(*number))
            return std::nullopt;
        const double inRange = std::min(std::max(*number, input.least.value_or(*number)), input.most.value_or(1e300));
        return input.type == "number" ? Json(inRange) : Json(std::llround(std::clamp(inRange, 0.0, 4294967295.0)));
    }
    if (input.type == "color") {
        const auto* text = value.as<std::string>();
        return !text ? colorJson(value) : qc::colorFromHex(*text) ? std::optional(Json(*text)) : std::nullopt;
    }
    const auto* text = value.as<std::string>();
    qc::TextBudget budget;
    return text ? std::optional(qc::valueJson(*text, budget)) : std::nullopt;
}

} // namespace

OptionsPane::OptionsPane(const SheetSurroundings& surroundings, PreviewLink& preview, const SheetTexts& texts)
    : surroundings_(surroundings)
    , preview_(preview)
    , controls_(new InputControls)
    , reset_(new QPushButton(texts("Reset All")))
{
    auto* title = new QLabel(texts("Options"));
    QFont bold = font();
    bold.setBold(true);
    title->setFont(bold);
    reset_->setObjectName(QStringLiteral("resetOptions"));
    reset_->setAutoDefault(false);
    reset_->setToolTip(texts("Back to what the composition has itself"));
    controls_->offerTakingBack(texts("Back to what the composition has itself"));
    controls_->setAccessibleName(texts("Options"));
    controls_->onChange = [this](const std::string& key, const Json& value) { changed(key, value); };
    auto* scroll = new QScrollArea;
    scroll->setWidget(controls_);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll->setMinimumHeight(kLowest);
    scroll->setMaximumHeight(kHighest);
    auto* head = new QHBoxLayout;
    head->addWidget(title, 1);
    head->addWidget(reset_);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(4);
    column->addLayout(head);
    column->addWidget(scroll);
    QObject::connect(reset_, &QPushButton::clicked, this, [this] { controls_->reset(); });
    preview_.onWords = [this](const std::string& words) { heard(words); };
    setObjectName(QStringLiteral("options"));
    hide();
}

OptionsPane::~OptionsPane()
{
    preview_.onWords = nullptr;
    storePending();
}

void OptionsPane::setComposition(const std::string& filename)
{
    storePending();
    if (filename != filename_)
        setEnabled(false); // until the preview says what there is; nothing in the window jumps meanwhile
    filename_ = filename;
}

// The preview is confined, and what it plays may have taken it over.
void OptionsPane::heard(const std::string& words)
{
    constexpr int kDeepest = 64;
    constexpr std::size_t kLongest = 16u << 20, kMostMembers = 10'000;
    if (words.size() > kLongest || !qc::isShapedForParsing(words, kDeepest, kMostMembers))
        return;
    const Json said = Json::parse(words, nullptr, false);
    const auto inputs = said.is_object() ? said.find("inputs") : said.end();
    const auto file = said.is_object() ? said.find("file") : said.end();
    if (!said.is_object() || inputs == said.end() || file == said.end() || !file->is_string())
        return;
    const std::string path = file->get<std::string>();
    const bool isShown = path.substr(path.rfind('/') + 1) == qc::jsonText(filename_);
    auto options = isShown ? controlledInputs(*inputs) : std::vector<ControlledInput>();
    controls_->setInputs(options, stored(options));
    if (onAbout)
        onAbout(isShown ? compositionFacts(said.value("about", Json())) : CompositionFacts());
    setEnabled(true);
    setVisible(!options.empty());
    if (!options.empty())
        tellPreview();
    showState();
}

std::map<std::string, Json> OptionsPane::stored(const std::vector<ControlledInput>& inputs) const
{
    std::map<std::string, Json> values;
    const Dictionary options = VitrelItem(surroundings_, filename_).options();
    for (const ControlledInput& input : inputs) {
        const Value* pending = member(pending_, input.key);
        const Value* value = pending ? pending : member(options, input.key);
        if (const auto json = value ? controlledValue(input, *value) : std::nullopt)
            values[input.key] = *json;
    }
    return values;
}

void OptionsPane::storeDidChange()
{
    auto now = stored(controls_->inputs());
    if (now == controls_->changed())
        return;
    controls_->setChanged(std::move(now));
    tellPreview();
    showState();
}

void OptionsPane::changed(const std::string& key, const Json& value)
{
    const auto& inputs = controls_->inputs();
    const auto input
        = std::find_if(inputs.begin(), inputs.end(), [&](const ControlledInput& one) { return one.key == key; });
    if (input == inputs.end())
        return;
    pending_.insert_or_assign(key, controls_->changed().count(key) ? storedValue(*input, value) : Value());
    tellPreview();
    showState();
    if (!storing_ || !storing_->isValid())
        storing_ = surroundings_.runLoop->scheduledTimer(kGathers, false, [this] { storePending(); });
}

void OptionsPane::tellPreview()
{
    Json options = Json::object();
    for (const auto& [key, value] : controls_->changed())
        options[key] = value;
    preview_.say(Json{{"options", options}}.dump(-1, ' ', false, Json::error_handler_t::replace));
}

void OptionsPane::storePending()
{
    if (storing_)
        storing_->invalidate();
    if (!pending_.empty())
        VitrelItem(surroundings_, filename_).changeOptions(std::exchange(pending_, {}));
}

void OptionsPane::showState()
{
    reset_->setEnabled(!controls_->changed().empty());
    QWidget* last = before_;
    if (!last)
        return;
    const auto children = findChildren<QWidget*>();
    for (QWidget* child : children) {
        if (child->focusPolicy() & Qt::TabFocus) {
            QWidget::setTabOrder(last, child);
            last = child;
        }
    }
}

} // namespace vitrel
