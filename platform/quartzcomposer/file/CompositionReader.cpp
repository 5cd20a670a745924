#include "platform/quartzcomposer/file/CompositionReader.h"

#include "base/Text.h"
#include "platform/foundation/Files.h"
#include "platform/quartzcomposer/file/TextForm.h"

#include <cerrno>

namespace vitrel::qc {

namespace {

constexpr std::size_t kMaxFile = 64u << 20;

std::string whyNot(int error)
{
    switch (error) {
    case ENOENT:
    case ENOTDIR:
        return "there is no such file";
    case EINVAL:
        return "it is no file";
    case EFBIG:
        return "it is larger than 64 MiB";
    default:
        return "it can't be read";
    }
}

} // namespace

CompositionResult readCompositionFile(const std::string& path)
{
    const auto bytes = readFile(path, kMaxFile);
    return bytes ? compositionOfFile(*bytes, path) : CompositionError{whyNot(bytes.error())};
}

bool isTextForm(std::string_view bytes)
{
    // No property list begins so.
    const auto text = trimmed(bytes);
    return text.starts_with('{') || text.starts_with("//") || text.starts_with("/*");
}

CompositionResult compositionOfFile(ByteView bytes, const std::string& path)
{
    const bool isText = isTextForm(textOf(bytes));
    const auto made
        = isText ? compositionFromText(textOf(bytes), folderOf(path)) : Result<Value, CompositionError>(Value());
    if (!made)
        return made.error();
    auto file = isText ? compositionOfPropertyList(*made) : readComposition(bytes);
    if (file)
        file->path = path;
    return file;
}

std::string whyNoComposition(const std::string& path)
{
    const auto slash = path.rfind('/');
    const std::string name = path.substr(slash == path.npos ? 0 : slash + 1);
    const auto dot = name.rfind('.');
    const std::string extension = dot == name.npos ? "" : asciiLowercase(name.substr(dot + 1));
    if (extension == "qtz")
        return {};
    if (extension != "json")
        return "its name ends neither in .qtz nor in .json";
    const auto read = readCompositionFile(path);
    return read ? "" : read.error().reason;
}

std::string folderOf(const std::string& path)
{
    const auto slash = path.rfind('/');
    return slash == path.npos ? "." : path.substr(0, slash + 1);
}

} // namespace vitrel::qc
