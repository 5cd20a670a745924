#pragma once

#include <nlohmann/json.hpp>

#include <QWidget>

#include <functional>
#include <map>
#include <optional>
#include <string>

class QFormLayout;
class QLabel;
class QToolButton;

namespace vitrel {

// A published input as a control is made of it. Values are those of compositions' text form.
struct ControlledInput {
    std::string key, type; // "number", "index", "boolean", "color", "string", "image", "structure", "virtual", ...
    std::string title, meaning, unit;
    std::optional<double> least, most;
    std::vector<std::string> labels;
    nlohmann::ordered_json value; // the composition's own
};

// From what a player says of its composition; what doesn't fit is left out.
std::vector<ControlledInput> controlledInputs(const nlohmann::ordered_json& inputs);

// The published inputs of a composition, each as the control that fits it: sliders, menus, boxes, colours, texts, a
// place to drop a picture on. What the saver feeds is shown as it is and can't be changed.
class InputControls : public QWidget
{
public:
    explicit InputControls(QWidget* parent = nullptr);

    // In place of all that are there; those that have been changed keep their values.
    void setInputs(const std::vector<ControlledInput>& inputs);
    // Likewise, and what has been changed of them is this, by whomever: nothing is told.
    void setInputs(const std::vector<ControlledInput>& inputs, std::map<std::string, nlohmann::ordered_json> changed);
    void setChanged(std::map<std::string, nlohmann::ordered_json> changed);
    // From now on each input that has been changed has a button that takes this back, with these words.
    void offerTakingBack(const QString& words);
    // The saver has written this one: from now on it is shown, not set. As traces have it.
    void setFed(const std::string& key, const nlohmann::ordered_json& value);
    // Takes all changes back.
    void reset();
    void takeBack(const std::string& key);
    // The changes have become the composition's own.
    void keepChanges();
    // What has been changed, by key.
    const std::map<std::string, nlohmann::ordered_json>& changed() const { return changed_; }
    const std::vector<ControlledInput>& inputs() const { return inputs_; }

    // Somebody has set an input; also at a reset.
    std::function<void(const std::string& key, const nlohmann::ordered_json& value)> onChange;

private:
    QWidget* controlFor(const ControlledInput& input);
    QWidget* numberControl(const ControlledInput& input);
    QWidget* indexControl(const ControlledInput& input);
    QWidget* booleanControl(const ControlledInput& input);
    QWidget* colorControl(const ControlledInput& input);
    QWidget* textControl(const ControlledInput& input, bool isJson);
    QWidget* imageControl(const ControlledInput& input);
    void show();
    QWidget* withTakingBack(const ControlledInput& input, QWidget* control);
    void change(const std::string& key, nlohmann::ordered_json value);
    nlohmann::ordered_json valueOf(const ControlledInput& input) const;

    QFormLayout* form_;
    std::vector<ControlledInput> inputs_;
    std::map<std::string, nlohmann::ordered_json> changed_;
    std::map<std::string, std::string> fed_; // texts that are shown
    std::map<std::string, QLabel*> shown_;
    std::map<std::string, QToolButton*> takingBack_;
    QString takeBackWords_; // empty: not offered
};

} // namespace vitrel
