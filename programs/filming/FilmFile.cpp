#include "programs/filming/FilmFile.h"

#include "platform/foundation/Files.h"
#include "programs/filming/Y4MWriter.h"

#include <fcntl.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <cstring>

namespace vitrel {

Result<std::unique_ptr<FilmFile>, std::string> FilmFile::make(const std::string& path, const FilmFormat& format)
{
    std::unique_ptr<FilmFile> film(new FilmFile(format));
    struct stat state {
    };
    if (path == "-") {
        film->descriptor_ = STDOUT_FILENO;
    } else {
        const bool isThere = ::stat(path.c_str(), &state) == 0;
        std::string name = path;
        int flags = O_WRONLY | O_CLOEXEC | O_NOCTTY;
        if (!isThere || S_ISREG(state.st_mode)) {
            char target[PATH_MAX];
            film->path_ = ::realpath(path.c_str(), target) ? target : path; // a link leads to the same file afterwards
            name = film->beside_ = film->path_ + ".part-" + std::to_string(::getpid());
            flags |= O_CREAT | O_EXCL | O_NOFOLLOW;
        }
        film->opened_.emplace(film->files_, film->files_.open(name.c_str(), flags, 0666));
        film->descriptor_ = film->opened_->get();
        if (film->descriptor_ < 0) {
            film->beside_.clear();
            return "can't write " + path + ": " + std::strerror(errno);
        }
    }
    if (format.kind == FilmKind::Y4M) {
        if (writeAll(film->files_, film->descriptor_, bytesOf(Y4MWriter::headerFor(format))) != 0)
            return "can't write " + path;
    } else {
        const auto kind = format.kind == FilmKind::GIF ? AnimationKind::GIF : AnimationKind::WebP;
        film->animation_ = std::make_unique<AnimatedImageWriter>(
            AnimatedImageWriter::Format{kind, format.width, format.height, format.delays()}, film->descriptor_);
    }
    return film;
}

FilmFile::~FilmFile()
{
    animation_.reset();
    if (!beside_.empty())
        files_.unlink(beside_.c_str());
}

bool FilmFile::add(const std::uint32_t* pixels)
{
    if (animation_)
        return animation_->add(pixels);
    frame_.clear();
    Y4MWriter::append(frame_, pixels, format_.width, format_.height);
    return writeAll(files_, descriptor_, frame_) == 0;
}

bool FilmFile::finish()
{
    if (animation_ && !animation_->finish())
        return false;
    if (beside_.empty())
        return true;
    if (files_.fsync(descriptor_) != 0 || files_.rename(beside_.c_str(), path_.c_str()) != 0)
        return false;
    beside_.clear();
    return true;
}

} // namespace vitrel
