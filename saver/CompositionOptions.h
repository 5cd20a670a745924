#pragma once

#include "platform/foundation/Value.h"
#include "platform/quartzcomposer/graph/InputDescription.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vitrel {

class QCView;

// What a user may set at a composition: its published inputs, but for those that the saver feeds and for what has no
// control of its own, such as images and structures.

// Whether the saver writes inputs of this key, or takes them for a sign.
bool isFedInput(std::string_view key);
bool isOption(const qc::InputDescription& input);

// A value for an option from one that was stored or given: a number (brought into the option's range), a boolean, a
// text; a choice also by its label; a colour from its parts in an array, from "#rrggbb" or from "#rrggbbaa". Absent if
// it doesn't fit.
std::optional<Value> optionValue(const qc::InputDescription& input, const Value& given);
// As it is stored: colours are arrays of four numbers.
Value storedOption(const Value& value);

// The options of one composition that plays. Main thread.
class PlayedOptions
{
public:
    using Observer = std::function<void(const Value& value, const std::string& key)>;

    // A composition was loaded, whose own values `view` has; it must outlive this. `inputs` are all that it describes.
    PlayedOptions(QCView& view, const std::vector<qc::InputDescription>& inputs);

    // Writes what differs from what was written before, and the composition's own value where an option was taken back.
    // What doesn't fit counts as not there. `observer`, if there is one, is told what was written.
    void apply(const Dictionary& stored, const Observer& observer = {});
    // Somebody else sets this one from now on.
    void leave(const std::string& key);

    const std::vector<qc::InputDescription>& inputs() const { return inputs_; }
    // The composition's own; nothing for a key that is no option.
    Value ownValue(const std::string& key) const;

private:
    QCView* view_;
    std::vector<qc::InputDescription> inputs_;
    Dictionary own_, applied_;
};

} // namespace vitrel
