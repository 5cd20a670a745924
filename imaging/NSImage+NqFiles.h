#pragma once

#include "base/Bytes.h"
#include "platform/appkit/NSImage.h"

#include <optional>
#include <string>

namespace vitrel {

// PNG files. Any thread.

// The image as a canvas of its size shows it. Absent without a size.
std::optional<Bytes> PNGRepresentationOfImage(const NSImage& image);

// Writes that. The file is replaced as a whole or, on failure, left as it was. Whether it worked.
bool writeFocusToFile(const NSImage& image, const std::string& path);
// The same with the pixels of the first representation as they are.
bool writeToFile(const NSImage& image, const std::string& path);

} // namespace vitrel
