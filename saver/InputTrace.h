#pragma once

#include "base/Clock.h"
#include "platform/foundation/Value.h"
#include "saver/VitrelView.h"

#include <functional>
#include <string>

namespace vitrel {

// Writes down what compositions are fed, one JSON object a line:
// {"t":SECONDS_SINCE_START,"view":N,"key":KEY,"value":VALUE}. An image is {"image":[WIDTH,HEIGHT]} in pixels, a
// colour [r,g,b,a], a date its seconds since 1970, a cleared input null. Main thread.
class InputTrace
{
public:
    using Sink = std::function<void(const std::string& line)>;

    // Time starts now. `sink` gets each line with its line end.
    InputTrace(const Clock& clock, Sink sink);

    // For the view with that number. The trace must outlive the view's writes.
    VitrelView::InputObserver observerForView(int number);

    // Likewise, what it hears: {"t":SECONDS,"view":N,"sound":{"peak":P,"spectrum":[16 numbers]}}.
    VitrelView::SoundObserver soundObserverForView(int number);

    // A value as it stands in a line.
    static std::string jsonText(const Value& value);

private:
    const Clock& clock_;
    const Seconds start_;
    Sink sink_;
};

} // namespace vitrel
