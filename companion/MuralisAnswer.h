#pragma once

#include "base/Bytes.h"
#include "platform/foundation/Value.h"

#include <memory>
#include <optional>
#include <string>

namespace vitrel {

// What an answer of the companion says. What is of another kind than it should be is as absent as what is missing.
struct MuralisAnswer {
    std::shared_ptr<const Dictionary> data; // the track packet; null if there is none. JSON's null is an empty value
    std::optional<std::string> changeID;
};

// Reads an answer, a JSON object in UTF-8 whose other keys are passed over; of a key that comes twice the last counts.
// JSON of another kind is an empty answer. Absent if it isn't JSON, is nested too deep or holds more values than any
// track has. Any thread.
std::optional<MuralisAnswer> readMuralisAnswer(ByteView json);

} // namespace vitrel
