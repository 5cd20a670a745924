#pragma once

#include "programs/feedkit/InOrder.h"
#include "programs/feedkit/JsonText.h"

#include <string>

namespace vitrel {

// The feeds of a page, which is a file, an address or "-": an object for each with the page's name, a line end behind
// it. It has failed if the page can't be read or has none.
Report feedsOfPage(const std::string& name, bool pretty);

} // namespace vitrel
