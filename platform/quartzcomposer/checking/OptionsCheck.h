#pragma once

#include "platform/quartzcomposer/file/TextTree.h"

#include <functional>
#include <string>
#include <vector>

namespace vitrel::qc {

// What is wrong with the options of a text, told one by one with the place. `published` are the keys that have them;
// where these may be another program's (`isForeign`) any key is taken.
using TellFault = std::function<void(std::size_t offset, const std::string& fault, bool isDoubt)>;
void checkOptions(
    const TextNode& options, const std::vector<std::string>& published, bool isForeign, const TellFault& tell);

} // namespace vitrel::qc
