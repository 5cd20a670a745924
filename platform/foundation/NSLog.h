#pragma once

#include "base/Clock.h"
#include "platform/foundation/Value.h"

#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>

namespace vitrel {

// Where the lines of NSLog go. Called on any thread, with one line and no line end.
using LogSink = std::function<void(const std::string& line)>;

// Standard error, with the wall clock's time, the process's name and its number ahead of each line.
LogSink standardErrorLog(const Clock& clock);

// One line: `format` with each "%@" replaced by the next argument's description. Line ends become blanks. Without a
// sink it goes nowhere.
void NSLog(const LogSink& sink, std::string_view format, std::initializer_list<Value> arguments = {});

} // namespace vitrel
