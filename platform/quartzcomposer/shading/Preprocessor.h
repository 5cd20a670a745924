#pragma once

#include "platform/quartzcomposer/shading/Tokens.h"

namespace vitrel::qc {

// Macros and conditions of a GLSL 1.20 source carried out, so that none hides a loop or a call from those who look.
// `#version`, `#extension` and `#line` are dropped; an error for other directives and for macros that grow without end.
Result<std::vector<Token>, ShadingError> preprocessed(const std::vector<Token>& tokens);

} // namespace vitrel::qc
