#pragma once

#include "base/Clock.h"
#include "base/Result.h"
#include "platform/sound/SoundInput.h"
#include "programs/vitrel/SaverOptions.h"

#include <memory>

namespace vitrel {

// Whether compositions hear what this computer plays: `isChosen` is what the user has stored.
bool listensToComputer(const SaverOptions& options, bool isChosen);

// What they hear that this process plays to them: the file of the options, read now, or the demonstration's; null for
// none. An exit code, with a line on standard error, if it can't be read. The clock must outlive it.
Result<std::unique_ptr<SoundInput>, int> soundPlayedFor(const SaverOptions& options, const Clock& clock);

} // namespace vitrel
