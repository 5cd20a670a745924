#pragma once

#include "platform/appkit/NSView.h"
#include "platform/foundation/Value.h"
#include "platform/sound/SoundInput.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vitrel {

// The view that plays a composition. What is virtual here is what the saver asks of it; a test's view records it.
// Main thread.
class QCView : public NSView
{
public:
    // Loads the file in place of what was loaded. False, and the old one stays unloaded, if the file can't be read or
    // is no composition. Starts to render at once if autostart is on and the view is in a window.
    virtual bool loadCompositionFromFile(const std::string& path) = 0;
    virtual void unloadComposition() = 0;

    // play: starts from the beginning of time, or goes on after a pause. `sender` isn't read.
    virtual void play(const Value& sender) = 0;
    virtual bool startRendering() = 0;
    virtual void pauseRendering() = 0;
    // Releases what drawing needs. A later start begins at time 0.
    virtual void stopRendering() = 0;
    virtual bool isRendering() const = 0;

    // Frames a second; 0 for as many as the host's beat gives (60).
    virtual void setMaxRenderingFrameRate(double rate) = 0;
    virtual void setAutostartsRendering(bool autostarts) = 0;
    // A mask of event kinds; all bits set for all.
    virtual void setEventForwardingMask(std::uint64_t mask) = 0;

    // Published inputs in the file's order; empty without a composition.
    virtual std::vector<std::string> inputKeys() const = 0;
    // Gives `value` to the published input `key`; std::monostate clears it to its type's zero. Numbers are converted
    // to the port's type, images are shared. False, and nothing changes, without a composition, such an input or a
    // conversion. Seen from the next frame on.
    virtual bool setValueForInputKey(const Value& value, const std::string& key) = 0;
    // The input's present value; nothing without such an input.
    virtual Value valueForInputKey(const std::string& key) const = 0;

    // Called ahead of each frame with what is heard in it, zeros where nothing is. What is written meanwhile is seen in
    // that frame, and asks for none.
    std::function<void(const SoundHeard& heard)> onFrame;
    // Called after each frame that was computed.
    std::function<void()> onFrameDrawn;
};

// Whether a published input is that of the standard protocols (music visualiser, preview, ...) with this name. Files
// have it as "_protocolInput_NAME", the platform's documentation as "inputNAME".
inline bool isProtocolInput(std::string_view key, std::string_view name)
{
    return key.ends_with(name)
        && (key.substr(0, key.size() - name.size()) == "_protocolInput_"
            || key.substr(0, key.size() - name.size()) == "input");
}

} // namespace vitrel
