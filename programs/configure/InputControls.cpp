#include "programs/configure/InputControls.h"

#include "platform/quartzcomposer/file/TextValues.h"
#include "programs/configure/PictureDrop.h"

#include <QCheckBox>
#include <QColorDialog>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QSlider>
#include <QSpinBox>
#include <QToolButton>

#include <algorithm>
#include <cmath>

namespace vitrel {

namespace {

using Json = nlohmann::ordered_json;

constexpr int kSteps = 1000; // of a slider
constexpr double kFarthest = 1e9;

QString words(const std::string& text)
{
    return QString::fromStdString(text);
}

std::string textAt(const Json& object, const char* key)
{
    const auto found = object.find(key);
    return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

std::optional<double> numberAt(const Json& object, const char* key)
{
    const auto found = object.find(key);
    return found != object.end() && found->is_number() ? std::optional(found->get<double>()) : std::nullopt;
}

double numberOf(const Json& value)
{
    const double number = value.is_number() ? value.get<double>() : value.is_boolean() && value.get<bool>() ? 1 : 0;
    return std::isfinite(number) ? std::clamp(number, -kFarthest, kFarthest) : 0;
}

QColor colorOf(const Json& value)
{
    if (value.is_string()) {
        if (const auto c = qc::colorFromHex(value.get<std::string>()))
            return QColor::fromRgbF(float(c->red), float(c->green), float(c->blue), float(c->alpha));
    }
    if (!value.is_object())
        return QColor(0, 0, 0, 0);
    const auto part = [&](const char* key, double usual) {
        return float(std::clamp(numberAt(value, key).value_or(usual), 0.0, 1.0));
    };
    return QColor::fromRgbF(part("red", 0), part("green", 0), part("blue", 0), part("alpha", 1));
}

std::string hexOf(const QColor& color)
{
    const QString name = color.name(QColor::HexArgb); // #aarrggbb
    return ("#" + name.mid(3) + name.mid(1, 2)).toStdString();
}

// What is fed, in a few words.
std::string inWords(const Json& value, int depth = 0)
{
    constexpr std::size_t kLongest = 60, kShown = 3;
    if (value.is_null())
        return "–";
    if (value.is_string())
        return words(value.get<std::string>()).left(kLongest).toStdString();
    if (value.is_number_float())
        return QString::number(value.get<double>(), 'g', 4).toStdString();
    if (!value.is_structured() || depth > 2)
        return value.dump(-1, ' ', false, Json::error_handler_t::replace).substr(0, kLongest);
    if (const auto image = value.is_object() ? value.find("image") : value.end();
        value.is_object() && image != value.end() && image->is_array() && image->size() == 2)
        return inWords((*image)[0], depth + 1) + " × " + inWords((*image)[1], depth + 1);
    std::string text;
    std::size_t shown = 0;
    for (const auto& [key, member] : value.items()) {
        if (shown++ == kShown)
            break;
        text += (text.empty() ? "" : ", ") + (value.is_object() ? key + ": " : "") + inWords(member, depth + 1);
    }
    return value.size() > kShown ? text + ", … (" + std::to_string(value.size()) + ")" : text;
}

// What a slider spans for a number of which nobody says how far it goes.
std::pair<double, double> spanOf(const ControlledInput& input, double value)
{
    const double reach = std::max(1.0, 2 * std::fabs(value));
    double least = input.least.value_or(input.most ? *input.most - 2 * reach : value < 0 ? -reach : 0);
    double most = input.most.value_or(input.least ? std::max(*input.least, 0.0) + reach : reach);
    least = std::clamp(least, -kFarthest, kFarthest);
    most = std::clamp(most, -kFarthest, kFarthest);
    return {std::min(least, most), std::max(least, most)};
}

} // namespace

std::vector<ControlledInput> controlledInputs(const Json& inputs)
{
    constexpr std::size_t kMost = 1000;
    std::vector<ControlledInput> out;
    for (const Json& one : inputs.is_array() ? inputs : Json::array()) {
        if (!one.is_object() || out.size() >= kMost)
            continue;
        ControlledInput input{textAt(one, "key"), textAt(one, "type"), textAt(one, "title"), textAt(one, "meaning"),
            textAt(one, "unit"), numberAt(one, "least"), numberAt(one, "most"), {}, one.value("value", Json())};
        const auto labels = one.find("labels");
        for (const Json& label : labels != one.end() && labels->is_array() ? *labels : Json::array()) {
            if (label.is_string())
                input.labels.push_back(label.get<std::string>());
        }
        out.push_back(std::move(input));
    }
    return out;
}

InputControls::InputControls(QWidget* parent)
    : QWidget(parent)
    , form_(new QFormLayout(this))
{
    form_->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    form_->setRowWrapPolicy(QFormLayout::WrapLongRows);
}

void InputControls::setInputs(const std::vector<ControlledInput>& inputs)
{
    setInputs(inputs, changed_);
}

void InputControls::setInputs(const std::vector<ControlledInput>& inputs, std::map<std::string, Json> changed)
{
    inputs_ = inputs;
    changed_ = std::move(changed);
    std::erase_if(changed_, [&](const auto& entry) {
        return std::none_of(
            inputs.begin(), inputs.end(), [&](const ControlledInput& input) { return input.key == entry.first; });
    });
    show();
}

// What is as it was stays as it is: somebody may be dragging at it.
void InputControls::setChanged(std::map<std::string, Json> changed)
{
    if (changed != changed_)
        setInputs(inputs_, std::move(changed));
}

void InputControls::offerTakingBack(const QString& words)
{
    takeBackWords_ = words;
}

void InputControls::takeBack(const std::string& key)
{
    const auto input
        = std::find_if(inputs_.begin(), inputs_.end(), [&](const ControlledInput& one) { return one.key == key; });
    if (changed_.erase(key) == 0 || input == inputs_.end())
        return;
    if (onChange)
        onChange(key, input->value);
    show();
    // The button that was pressed is gone.
    if (auto* control = findChild<QWidget*>(words(key)))
        control->setFocus(Qt::OtherFocusReason);
}

void InputControls::setFed(const std::string& key, const Json& value)
{
    const std::string text = inWords(value);
    const bool isNew = fed_.find(key) == fed_.end();
    fed_[key] = text;
    changed_.erase(key);
    if (const auto label = shown_.find(key); label != shown_.end())
        label->second->setText(words(text));
    else if (isNew)
        show();
}

void InputControls::reset()
{
    const auto changed = std::exchange(changed_, {});
    for (const ControlledInput& input : inputs_) {
        if (changed.count(input.key) && onChange)
            onChange(input.key, input.value);
    }
    show();
}

void InputControls::keepChanges()
{
    for (ControlledInput& input : inputs_)
        input.value = valueOf(input);
    changed_.clear();
}

void InputControls::show()
{
    while (form_->rowCount() > 0)
        form_->removeRow(0);
    shown_.clear();
    takingBack_.clear();
    for (const ControlledInput& input : inputs_) {
        QWidget* control = controlFor(input);
        control->setObjectName(words(input.key));
        // The protocols' inputs have no other name in files.
        static const std::string protocol = "_protocolInput_";
        const std::string title = input.title.empty() ? input.key : input.title;
        auto* label = new QLabel(words(title.starts_with(protocol) ? title.substr(protocol.size()) : title));
        label->setTextFormat(Qt::PlainText);
        const QString tip = words(input.key + (input.meaning.empty() ? "" : ": " + input.meaning));
        label->setToolTip(tip.toHtmlEscaped());
        control->setToolTip(tip.toHtmlEscaped());
        control->setAccessibleName(label->text());
        control->setAccessibleDescription(words(input.meaning));
        form_->addRow(label, withTakingBack(input, control));
    }
}

QWidget* InputControls::withTakingBack(const ControlledInput& input, QWidget* control)
{
    if (takeBackWords_.isEmpty())
        return control;
    auto* row = new QWidget;
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* button = new QToolButton;
    button->setText(QStringLiteral("↺"));
    button->setAutoRaise(true);
    button->setFocusPolicy(Qt::TabFocus);
    button->setToolTip(takeBackWords_);
    button->setAccessibleName(takeBackWords_ + QStringLiteral(": ") + control->accessibleName());
    button->setObjectName(QStringLiteral("takeBack ") + control->objectName());
    QSizePolicy place = button->sizePolicy();
    place.setRetainSizeWhenHidden(true);
    button->setSizePolicy(place);
    button->setVisible(changed_.count(input.key) > 0);
    QObject::connect(
        button, &QToolButton::clicked, this, [this, key = input.key] { takeBack(key); }, Qt::QueuedConnection);
    takingBack_[input.key] = button;
    layout->addWidget(control, 1);
    layout->addWidget(button);
    return row;
}

Json InputControls::valueOf(const ControlledInput& input) const
{
    const auto found = changed_.find(input.key);
    return found == changed_.end() ? input.value : found->second;
}

void InputControls::change(const std::string& key, Json value)
{
    changed_[key] = value;
    if (const auto button = takingBack_.find(key); button != takingBack_.end())
        button->second->show();
    if (onChange)
        onChange(key, value);
}

QWidget* InputControls::controlFor(const ControlledInput& input)
{
    if (const auto fed = fed_.find(input.key); fed != fed_.end()) {
        auto* label = new QLabel(words(fed->second));
        label->setTextFormat(Qt::PlainText);
        label->setWordWrap(true);
        label->setEnabled(false);
        shown_[input.key] = label;
        return label;
    }
    if (input.type == "boolean")
        return booleanControl(input);
    if (input.type == "index")
        return indexControl(input);
    if (input.type == "number")
        return numberControl(input);
    if (input.type == "color")
        return colorControl(input);
    if (input.type == "image")
        return imageControl(input);
    return textControl(input, input.type != "string");
}

QWidget* InputControls::numberControl(const ControlledInput& input)
{
    auto* row = new QWidget;
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* slider = new QSlider(Qt::Horizontal);
    auto* box = new QDoubleSpinBox;
    layout->addWidget(slider, 1);
    layout->addWidget(box);
    const double value = numberOf(valueOf(input));
    const auto [least, most] = spanOf(input, value);
    // A value may be typed beyond what the slider spans.
    box->setRange(-kFarthest, kFarthest);
    box->setDecimals(3);
    box->setSingleStep(std::max((most - least) / 100, 0.001));
    box->setMinimumWidth(box->fontMetrics().horizontalAdvance(QStringLiteral("-0000.000")) + 40);
    if (!input.unit.empty())
        box->setSuffix(words(" " + input.unit));
    box->setValue(value);
    slider->setRange(0, kSteps);
    const auto place = [least = least, most = most](double number) {
        return most > least ? int(std::lround((std::clamp(number, least, most) - least) / (most - least) * kSteps)) : 0;
    };
    slider->setValue(place(value));
    box->setAccessibleName(words(input.title));
    slider->setAccessibleName(words(input.title));
    const bool isWhole = input.type == "index";
    if (isWhole)
        box->setDecimals(0);
    QObject::connect(slider, &QSlider::valueChanged, box,
        [box, least = least, most = most](int at) { box->setValue(least + (most - least) * at / kSteps); });
    QObject::connect(
        box, &QDoubleSpinBox::valueChanged, this, [this, key = input.key, slider, place, isWhole](double number) {
            const QSignalBlocker quiet(slider);
            slider->setValue(place(number));
            change(key, isWhole ? Json(std::llround(std::max(number, 0.0))) : Json(number));
        });
    return row;
}

QWidget* InputControls::indexControl(const ControlledInput& input)
{
    if (input.labels.empty()) {
        ControlledInput whole = input;
        whole.least = std::max(0.0, input.least.value_or(0));
        whole.most = input.most.value_or(std::max(10.0, 2 * numberOf(valueOf(input))));
        return numberControl(whole);
    }
    auto* menu = new QComboBox;
    for (const std::string& label : input.labels)
        menu->addItem(words(label));
    menu->setCurrentIndex(std::clamp(int(numberOf(valueOf(input))), 0, menu->count() - 1));
    QObject::connect(
        menu, &QComboBox::activated, this, [this, key = input.key](int index) { change(key, Json(index)); });
    return menu;
}

QWidget* InputControls::booleanControl(const ControlledInput& input)
{
    auto* box = new QCheckBox;
    box->setChecked(numberOf(valueOf(input)) != 0);
    QObject::connect(box, &QCheckBox::toggled, this, [this, key = input.key](bool isOn) { change(key, Json(isOn)); });
    return box;
}

QWidget* InputControls::colorControl(const ControlledInput& input)
{
    auto* button = new QPushButton;
    const auto paint = [button](const QColor& color) {
        QPixmap patch(48, 16);
        patch.fill(color);
        button->setIcon(QIcon(patch));
        button->setIconSize(patch.size());
        button->setText(words(hexOf(color)));
    };
    const QColor color = colorOf(valueOf(input));
    paint(color);
    button->setProperty("color", color);
    QObject::connect(button, &QPushButton::clicked, this, [this, button, paint, key = input.key] {
        auto* dialog = new QColorDialog(button->property("color").value<QColor>(), button);
        dialog->setAttribute(Qt::WA_DeleteOnClose);
        dialog->setOption(QColorDialog::ShowAlphaChannel);
        QObject::connect(
            dialog, &QColorDialog::currentColorChanged, button, [this, button, paint, key](const QColor& chosen) {
                button->setProperty("color", chosen);
                paint(chosen);
                change(key, Json(hexOf(chosen)));
            });
        dialog->show();
    });
    return button;
}

QWidget* InputControls::textControl(const ControlledInput& input, bool isJson)
{
    auto* line = new QLineEdit;
    const Json value = valueOf(input);
    const bool isText = value.is_string() && !isJson;
    // A text of several lines, as the text form has it.
    const Json lines = value.is_object() ? value.value("lines", Json()) : Json();
    std::string joined;
    for (const Json& one : lines.is_array() && !isJson ? lines : Json::array())
        joined += (joined.empty() ? "" : "\\n") + (one.is_string() ? one.get<std::string>() : std::string());
    line->setText(words(isText ? value.get<std::string>()
            : !joined.empty()  ? joined
            : value.is_null()  ? std::string()
                               : value.dump(-1, ' ', false, Json::error_handler_t::replace)));
    if (isJson)
        line->setPlaceholderText(QStringLiteral("JSON"));
    QObject::connect(line, &QLineEdit::textEdited, this, [this, key = input.key, isJson](const QString& given) {
        const std::string text = given.toStdString();
        if (!isJson) {
            change(key, qc::colorFromHex(text) ? Json{{"text", text}} : Json(text));
        } else if (Json parsed = Json::parse(text, nullptr, false); !parsed.is_discarded()) {
            change(key, std::move(parsed));
        }
    });
    return line;
}

QWidget* InputControls::imageControl(const ControlledInput& input)
{
    auto* drop = new PictureDrop;
    if (const auto changed = changed_.find(input.key); changed != changed_.end())
        drop->setPicture(changed->second);
    drop->onPicture = [this, key = input.key](const Json& picture) { change(key, picture); };
    return drop;
}

} // namespace vitrel
