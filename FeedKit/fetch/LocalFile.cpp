#include "FeedKit/fetch/LocalFile.h"
#include "FeedKit/basics/Letters.h"

#include "base/Text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace FeedKit {

namespace {

// Bytes asked for at once.
constexpr std::size_t kPiece = 1u << 16;

class Descriptor
{
public:
    explicit Descriptor(int number)
        : number_(number)
    { }
    ~Descriptor()
    {
        if (number_ >= 0)
            ::close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int number() const { return number_; }

private:
    int number_;
};

std::string reasonOf(int error)
{
    switch (error) {
    case ENOENT:
    case ENOTDIR:
        return "file not found";
    case EACCES:
    case EPERM:
        return "no permission to read the file";
    default:
        return std::string("file not readable: ") + ::strerrordesc_np(error);
    }
}

std::string marksOf(const struct stat& file)
{
    return std::to_string(file.st_dev) + "-" + std::to_string(file.st_ino) + "-" + std::to_string(file.st_size) + "-"
        + std::to_string(file.st_mtim.tv_sec) + "." + std::to_string(file.st_mtim.tv_nsec);
}

} // namespace

Result<std::optional<FetchedContents>, std::string> localContentsOfIfModified(
    const URL& url, const Validators& known, std::size_t maxBytes)
{
    if (!url.host().empty() && !sameIgnoringCase(url.host(), "localhost"))
        return std::string("the file is on another machine");
    const std::string path = vitrel::percentDecoded(url.path());
    if (!path.starts_with('/') || path.find('\0') != path.npos)
        return std::string("the address is not valid");
    // Without waiting, for opening a pipe waits until somebody writes.
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat marks = {};
    if (file.number() < 0 || ::fstat(file.number(), &marks) != 0)
        return reasonOf(errno);
    if (S_ISDIR(marks.st_mode))
        return std::string("is a directory");
    if (!S_ISREG(marks.st_mode))
        return std::string("is not a regular file");
    FetchedContents contents;
    contents.validators.eTag = marksOf(marks);
    contents.address = url;
    if (known.eTag == contents.validators.eTag)
        return std::optional<FetchedContents>();
    // The size is only what the file claims: those of the kernel say 0, and others grow meanwhile.
    for (;;) {
        const auto had = contents.bytes.size();
        contents.bytes.resize(had + kPiece);
        const auto count = ::read(file.number(), contents.bytes.data() + had, kPiece);
        if (count < 0 && errno == EINTR) {
            contents.bytes.resize(had);
            continue;
        }
        if (count < 0)
            return reasonOf(errno);
        contents.bytes.resize(had + static_cast<std::size_t>(count));
        if (count == 0)
            return std::optional(std::move(contents));
        if (contents.bytes.size() > maxBytes)
            return std::string("the file is too large");
    }
}

} // namespace FeedKit
