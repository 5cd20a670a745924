#pragma once

#include "platform/appkit/Bitmap.h"
#include "platform/foundation/RunLoop.h"
#include "programs/thumbnails/CompositionFacts.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vitrel {

// Small pictures of compositions, each rendered once by a child process and kept in a cache folder by the file's path,
// time and size. Main thread.
class Thumbnails
{
public:
    static constexpr int kWidth = 384, kHeight = 216; // pixels

    // $XDG_CACHE_HOME/vitrel/thumbnails, else ~/.cache/vitrel/thumbnails; empty if there is no home either.
    static std::string userFolder();

    // `loop` must outlive it. `program` is the path of the saver's program. Without a folder, pictures last as long as
    // the object.
    Thumbnails(RunLoop& loop, std::string program, std::string folder);
    ~Thumbnails();
    Thumbnails(const Thumbnails&) = delete;
    Thumbnails& operator=(const Thumbnails&) = delete;

    // The composition's picture. Null while there is none, and for good for one that gives none; it then isn't tried
    // again before the file changes. Reads no file that it has looked at in the last seconds.
    std::shared_ptr<const Bitmap> thumbnail(const std::string& path);

    // What its file says of itself, which comes with the picture. Null while nobody has looked, and for no composition.
    std::shared_ptr<const CompositionFacts> facts(const std::string& path);

    // The compositions that are seen now, the most wanted first, in place of those named before: what is missing of
    // them is rendered, one at a time.
    void want(std::vector<std::string> paths);

    // This one comes with the program: `picture` is the path of its picture, if one comes along, and that is it. If
    // not, it is rendered with the music and the news of the demonstration, without which it would look dull.
    void comesAlong(const std::string& path, const std::string& picture);

    // The file has changed: the next look at it is a true one.
    void lookAgain(const std::string& path);

    // A picture has come.
    std::function<void(const std::string& path)> onReady;

private:
    struct Work;
    std::unique_ptr<Work> work_;
};

} // namespace vitrel
