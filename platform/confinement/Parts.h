#pragma once

// For the sources of this folder.
#include "platform/confinement/Confinement.h"

namespace vitrel {

// The ABI of the kernel's Landlock; 0 if there is none, with the reason.
int landlockABI(std::string& whyNone);
// Binds this thread and what it starts later. The error's number, or 0.
int restrictFiles(const ConfinementReach& reach, int abi);
// Binds every thread of the process. The error's number, or 0. The kernel takes no filter from one who may still gain
// privileges.
int filterCalls(ConfinementKind kind);

} // namespace vitrel
