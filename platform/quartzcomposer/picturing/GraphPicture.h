#pragma once

#include "base/Bytes.h"
#include "base/Result.h"

#include <string>

namespace vitrel::qc {

enum class GraphPictureKind { SVG, PNG };

// A text of DiagramText, laid out and drawn by Graphviz. A PNG has at most 32 megapixels. The error is a text for
// people. Takes as long as it takes, which for a tangle of some hundred patches is minutes: the caller sets an end.
// Main thread.
Result<Bytes, std::string> graphPicture(const std::string& text, GraphPictureKind kind);

} // namespace vitrel::qc
