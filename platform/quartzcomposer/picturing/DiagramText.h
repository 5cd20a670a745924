#pragma once

#include "platform/quartzcomposer/picturing/Diagram.h"

#include <string>

namespace vitrel::qc {

// The diagram in Graphviz's language, under a `title`. Nothing of the file stands in it but as text, escaped.
std::string diagramText(const Diagram& diagram, const std::string& title);

} // namespace vitrel::qc
