#pragma once

#include "platform/appkit/NSImage.h"

#include <memory>
#include <string_view>

namespace vitrel {

// Texts as codes for a camera, black on white, drawn when somebody asks for the pixels. The text is UTF-8; one that the
// code's own characters can't hold gives none rather than another text. Any thread.

// A QR code of error correction M, with a border of one module, `scale` points a module. Characters up to U+00FF. Null
// for an empty text, one that is too long (2331 characters) or can't be held, and a scale that leaves no sound size.
std::shared_ptr<const NSImage> qrCode(std::string_view text, float scale);
// The same with one point a module; an image of no size where that is null.
std::shared_ptr<const NSImage> qrCodes(std::string_view text);

// A Code 128 barcode: one point a module, bars of 32 points, 7 points of quiet space around. ASCII. Null for an empty
// text, one that is too long (60 characters, or 120 digits) or has other characters.
std::shared_ptr<const NSImage> barcode(std::string_view text);

} // namespace vitrel
