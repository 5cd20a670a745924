#pragma once

#include "platform/quartzcomposer/file/TextTree.h"

#include <functional>
#include <set>
#include <string>

namespace vitrel::qc {

// Puts the virtual patches that lie in files of their own, in `folder` or beneath, in the place of what names them, and
// gives their names. They are no part of this text: what is wrong in them is told of theirs. `tell` hears of those that
// can't be had, by the offset of the file's name.
std::set<std::string> bringDefinitions(TextNode& composition, const std::string& folder,
    const std::function<void(std::size_t offset, std::string what)>& tell);

} // namespace vitrel::qc
