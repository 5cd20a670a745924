#pragma once

#include "platform/foundation/RunLoop.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vitrel {

// A frame of the preview: words 0xFFRRGGBB, top row first. Valid until the next turn of the loop.
struct PreviewFrame {
    const std::uint32_t* pixels = nullptr;
    int width = 0, height = 0; // pixels
    std::size_t wordsPerRow = 0;
};

// The real view in preview form, in a process of its own, so that a composition that crashes or hangs costs the
// preview and nothing else. The child plays what the stored settings say, keeps them as any view does, and ends with
// this object. Main thread.
class PreviewLink
{
public:
    enum class State {
        starting, // no frame yet
        playing,
        failed // it crashed, hung or didn't start too often; `reload` tries again
    };

    // `loop` must outlive it. `program` is the path of the saver's program, `more` are words of its command line.
    // Starts the child.
    PreviewLink(RunLoop& loop, std::string program, std::vector<std::string> more = {});
    ~PreviewLink();
    PreviewLink(const PreviewLink&) = delete;
    PreviewLink& operator=(const PreviewLink&) = delete;

    // Pixels, from 1 to 4096 each.
    void resize(int width, int height);
    // The settings have changed: the active composition is loaded anew.
    void reload();
    // While it isn't shown, nothing is drawn.
    void setShown(bool shown);

    // Says something to the child, at most kMostPreviewWords bytes.
    void say(std::string_view words);

    State state() const;
    // The newest frame; null members before the first.
    PreviewFrame frame() const;

    // A new frame or a new state.
    std::function<void()> onChange;
    // What the child says; it may be any bytes.
    std::function<void(const std::string& words)> onWords;

private:
    struct Child;
    std::unique_ptr<Child> child_;
};

} // namespace vitrel
