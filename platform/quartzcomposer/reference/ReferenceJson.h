#pragma once

#include "platform/quartzcomposer/reference/Reference.h"

namespace vitrel::qc {

// {"families": [{"name", "patches": [{"class", "title", "sentence", "macro", "standsIn", "inputs", "outputs",
// "settings"}]}]}: a port has "key", "type", "usual", "meaning", "unit", "least", "most", "labels"; a setting "key",
// "kind", "meaning", the same measures, "words" and "example". What there is nothing to say of is left out.
nlohmann::ordered_json referenceJson(const std::vector<ReferenceFamily>& families);

} // namespace vitrel::qc
