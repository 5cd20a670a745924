#pragma once

#include "platform/quartzcomposer/file/TextTree.h"
#include "platform/quartzcomposer/graph/PatchDescription.h"
#include "platform/quartzcomposer/graph/PortValue.h"

#include <nlohmann/json.hpp>

#include <string>

namespace vitrel::qc {

// Each says what is wrong with a value, as a message; empty if nothing is.

// A value that stands at a port of this type.
std::string faultOfValue(const TextNode& value, PortType type);
// A setting's.
std::string faultOfSetting(const TextNode& value, const DescribedSetting& setting);
// A number beyond what has a meaning there; for values that have no fault.
std::string doubtOfValue(const TextNode& value, const Measure& measure);

// Numbers of a range, or the choices, in words: "0 to 1", "at least 0", "0 Sine, 1 Cosine".
std::string rangeInWords(const Measure& measure);

// What a value that isn't JSON's own names: "image", "lines" and so on of `{"image": ...}`; empty for any other.
std::string specialKind(const TextNode& value);

// What is wrong with such an object; empty for any other value. Its picture isn't looked for.
std::string faultOfSpecial(const TextNode& value);

// The value as the other readers take it.
nlohmann::ordered_json jsonOf(const TextNode& node);

} // namespace vitrel::qc
