#pragma once

#include "platform/quartzcomposer/file/TextValues.h"

#include <span>
#include <string>

namespace vitrel::qc {

// The text form's "options": what a person reads of a published port, and may choose there. Files keep it under
// "portAttributes", by members of other names.
struct OptionMember {
    enum Kind { Text, Number, Texts } kind;
    const char* key; // in the text
    const char* attribute; // in the file
    const char* words; // for authors
};

std::span<const OptionMember> optionMembers();
const OptionMember* optionMember(std::string_view key);

// What of a file's port attributes the form has words for, by published key; the others are added to `rest`.
nlohmann::ordered_json optionsJson(const Dictionary& attributes, nlohmann::ordered_json& rest, TextBudget& budget);

// Adds to a file's port attributes what the text says. False if it is none of the form; `problem` says why.
bool takeOptions(Dictionary& attributes, const nlohmann::ordered_json& options, std::string& problem);

} // namespace vitrel::qc
