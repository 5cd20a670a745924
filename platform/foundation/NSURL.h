#pragma once

#include "base/Bytes.h"
#include "base/Result.h"
#include "platform/foundation/NSError.h"

#include <optional>
#include <string>

namespace vitrel {

// The address of a file. Any thread.
class NSURL
{
public:
    static NSURL fileURLWithPath(std::string path) { return NSURL(std::move(path)); }

    const std::string& path() const { return path_; }
    // "file://" and the escaped path.
    std::string absoluteString() const;
    // What stands behind the last "/", an ending "/" not counted; "/" itself for the root, empty for an empty path.
    std::string lastPathComponent() const;

    // Data by which the file is found again although it was renamed within its folder. Absent if there is no such
    // file.
    std::optional<Bytes> bookmarkData() const;
    // The file that the bookmark was made of: under its path if it lies there still, else under the name that it has
    // now in its folder, else whatever has taken its path.
    static Result<NSURL, NSError> URLByResolvingBookmarkData(ByteView bookmark);

    // Reading under scope is plain reading here: true if the file can be read.
    bool startAccessingSecurityScopedResource() const;
    void stopAccessingSecurityScopedResource() const { }

    friend bool operator==(const NSURL&, const NSURL&) = default;

private:
    explicit NSURL(std::string path)
        : path_(std::move(path))
    { }
    std::string path_;
};

} // namespace vitrel
