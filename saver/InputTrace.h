#pragma once

#include "base/Clock.h"
#include "platform/foundation/Value.h"
#include "saver/VitrelView.h"
#include "traces/TracePictures.h"

#include <functional>
#include <set>
#include <string>

#include <nlohmann/json_fwd.hpp>

namespace vitrel {

// Writes down what compositions are fed, one JSON object a line:
// {"t":SECONDS_SINCE_START,"view":N,"key":KEY,"value":VALUE}. An image is {"image":[WIDTH,HEIGHT]} in pixels, with its
// "hash" if it is kept, a colour [r,g,b,a], a date its seconds since 1970, a cleared input null. The first line of each
// view has the "date" of the start, too. Main thread.
class InputTrace
{
public:
    using Sink = std::function<void(const std::string& line)>;

    // Time starts now. `sink` gets each line with its line end. Pictures are kept by `pictures`, if it isn't null,
    // which must outlive this.
    InputTrace(const Clock& clock, Sink sink, TracePictures* pictures = nullptr);

    // Time starts anew, and stands at 0 until `run`, unless it `runs` already: what is written ahead of a composition's
    // first picture is there from its beginning.
    void beginAnew(bool runs);
    void run();

    // For the view with that number. The trace must outlive the view's writes.
    VitrelView::InputObserver observerForView(int number);

    // Likewise, what it hears: {"t":SECONDS,"view":N,"sound":{"peak":P,"spectrum":[16 numbers]}}, and "beats", their
    // number so far, from the first on.
    VitrelView::SoundObserver soundObserverForView(int number);

    // A value as it stands in a line.
    static std::string jsonText(const Value& value, TracePictures* pictures = nullptr);

private:
    double time() const;
    void write(int view, nlohmann::ordered_json members);

    const Clock& clock_;
    Seconds start_;
    Date date_; // at the start
    bool stands_ = false;
    Sink sink_;
    TracePictures* const pictures_;
    std::set<int> begun_; // views with a line
};

} // namespace vitrel
