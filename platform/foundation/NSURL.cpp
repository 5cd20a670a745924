#include "platform/foundation/NSURL.h"

#include "base/Text.h"
#include "platform/foundation/PropertyList.h"

#include <filesystem>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vitrel {
namespace {

// A folder is read entry by entry on the main thread; beyond this a renamed file counts as lost.
constexpr int kMaximumEntries = 100'000;

struct Identity {
    std::int64_t device = 0, inode = 0;
    friend bool operator==(const Identity&, const Identity&) = default;
};

std::optional<Identity> identityOf(const std::string& path)
{
    struct ::stat status {
    };
    if (::stat(path.c_str(), &status) != 0)
        return std::nullopt;
    return Identity{static_cast<std::int64_t>(status.st_dev), static_cast<std::int64_t>(status.st_ino)};
}

std::optional<std::string> searchedInFolder(const std::string& path, Identity wanted)
{
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    DIR* entries = ::opendir(folder.c_str());
    if (!entries)
        return std::nullopt;
    std::optional<std::string> found;
    int left = kMaximumEntries;
    while (const dirent* entry = ::readdir(entries)) {
        if (left-- == 0)
            break;
        // A deleted file's inode may serve another by now, but hardly one of the same kind.
        const std::filesystem::path candidate = folder / entry->d_name;
        if (static_cast<std::int64_t>(entry->d_ino) == wanted.inode
            && candidate.extension() == std::filesystem::path(path).extension()
            && identityOf(candidate.string()) == wanted) {
            found = candidate.string();
            break;
        }
    }
    ::closedir(entries);
    return found;
}

std::optional<std::int64_t> integerIn(const Dictionary& members, const char* key)
{
    const Value* value = member(members, key);
    const auto* number = value ? value->as<std::int64_t>() : nullptr;
    return number ? std::optional(*number) : std::nullopt;
}

} // namespace

std::string NSURL::absoluteString() const
{
    return "file://" + percentEncoded(path_, "/-._~!$&'()*+,=:@");
}

std::string NSURL::lastPathComponent() const
{
    std::string_view rest = path_;
    while (rest.size() > 1 && rest.ends_with('/'))
        rest.remove_suffix(1);
    if (rest == "/")
        return "/";
    return std::string(rest.substr(rest.rfind('/') + 1));
}

std::optional<Bytes> NSURL::bookmarkData() const
{
    const auto identity = identityOf(path_);
    if (!identity)
        return std::nullopt;
    return binaryPropertyList(Value(Dictionary{
        {"path", Bytes(path_.begin(), path_.end())}, {"device", identity->device}, {"inode", identity->inode}}));
}

Result<NSURL, NSError> NSURL::URLByResolvingBookmarkData(ByteView bookmark)
{
    const NSError corrupt{"NSCocoaErrorDomain", 259, "The bookmark isn't in the correct format."};
    const auto value = propertyListWithData(bookmark);
    const auto* members = value ? value->dictionary() : nullptr;
    if (!members)
        return corrupt;
    const Value* path = member(*members, "path");
    const auto* bytes = path ? path->bytes() : nullptr;
    const auto device = integerIn(*members, "device"), inode = integerIn(*members, "inode");
    if (!bytes || bytes->empty() || !device || !inode)
        return corrupt;
    const std::string text(bytes->begin(), bytes->end());
    const Identity wanted{*device, *inode};
    const auto now = identityOf(text);
    if (now == wanted)
        return NSURL(text);
    if (auto renamed = searchedInFolder(text, wanted))
        return NSURL(std::move(*renamed));
    if (now)
        return NSURL(text);
    return NSError{"NSCocoaErrorDomain", 4, "The file that the bookmark stands for doesn't exist."};
}

bool NSURL::startAccessingSecurityScopedResource() const
{
    return ::access(path_.c_str(), R_OK) == 0;
}

} // namespace vitrel
