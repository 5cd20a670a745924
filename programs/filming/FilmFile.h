#pragma once

#include "platform/appkit/AnimatedImageWriter.h"
#include "platform/foundation/FileSystem.h"
#include "programs/filming/FilmFormat.h"

#include <memory>
#include <optional>
#include <string>

namespace vitrel {

// A film on its way into a file. A file with its name appears, or is replaced, once it is whole; a device, a pipe and
// "-", which is standard output, are written into. One thread at a time.
class FilmFile
{
public:
    // Null, with a text for people, if it can't be written there.
    static Result<std::unique_ptr<FilmFile>, std::string> make(const std::string& path, const FilmFormat& format);
    // Leaves nothing of what isn't finished.
    ~FilmFile();

    // The next frame: words 0x??RRGGBB, top row first. False if it can't be written.
    bool add(const std::uint32_t* pixels);
    // After the last. False if it can't be written.
    bool finish();

private:
    explicit FilmFile(const FilmFormat& format)
        : format_(format)
    { }

    FileSystem files_;
    const FilmFormat format_;
    std::string path_, beside_; // the latter until it is whole; empty: there is none
    std::optional<FileDescriptor> opened_;
    int descriptor_ = -1;
    std::unique_ptr<AnimatedImageWriter> animation_; // null for Y4M
    Bytes frame_;
};

} // namespace vitrel
