#pragma once

#include "platform/foundation/RunLoop.h"
#include "programs/preview/PreviewLink.h"

#include <QSize>

#include <functional>
#include <memory>
#include <string>

namespace vitrel {

// Plays the composition that the pointer rests on, in a child process of its own, of which there is one at most. One
// that can't be played leaves the still picture as it is, until the pointer has been elsewhere. Main thread.
class LivePicture
{
public:
    using Begin = std::function<std::unique_ptr<PreviewLink>(const std::string& path)>;
    // `loop` must outlive it. `begin` starts the child.
    LivePicture(RunLoop& loop, Begin begin);
    ~LivePicture();

    // The pointer is over another one; empty: over none. It must rest there a moment before anything starts.
    void pointAt(const std::string& path);
    // The size of the picture, in pixels, from the next start on.
    void setSize(QSize pixels) { size_ = pixels; }
    // Null members while it doesn't play. Valid until the next turn.
    PreviewFrame frame(const std::string& path) const;
    // There is another frame of it, or none any more.
    std::function<void(const std::string& path)> onFrame;

private:
    void start();
    void stop();
    void linkDidChange();

    RunLoop& loop_;
    const Begin begin_;
    QSize size_;
    std::string path_;
    std::shared_ptr<NSTimer> rest_;
    std::unique_ptr<PreviewLink> link_;
    std::shared_ptr<const bool> alive_ = std::make_shared<const bool>(true); // what is posted holds it weakly
};

} // namespace vitrel
