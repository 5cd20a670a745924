#include "programs/bundles/Archive.h"

#include <sys/stat.h>

#include <zip.h>

#include <memory>
#include <optional>
#include <set>
#include <string_view>

namespace vitrel {

namespace {

constexpr std::size_t kLongestPart = 200, kLongestPath = 1000; // bytes
// A small file may be as repetitive as it likes.
constexpr std::size_t kSmallFile = 1u << 20;

struct Closer {
    void operator()(zip_t* archive) const { zip_discard(archive); }
    void operator()(zip_file_t* file) const { zip_fclose(file); }
};

enum class Name { Fine, Hidden, Bad };

Name judged(std::string_view path, int levels)
{
    if (path.empty() || path.size() > kLongestPath || path.front() == '/')
        return Name::Bad;
    for (const char c : path) {
        if (static_cast<unsigned char>(c) < 0x20 || c == '\\' || c == 0x7F)
            return Name::Bad;
    }
    Name name = Name::Fine;
    while (!path.empty()) {
        const auto slash = path.find('/');
        const std::string_view part = path.substr(0, slash);
        if (part.empty() || part == "." || part == ".." || part.size() > kLongestPart || --levels < 0)
            return Name::Bad;
        if (part.front() == '.' || part == "__MACOSX")
            name = Name::Hidden;
        path.remove_prefix(slash == path.npos ? path.size() : slash + 1);
    }
    return name;
}

// A link, a device, a pipe.
bool isOdd(zip_t* archive, zip_uint64_t index)
{
    constexpr unsigned kModeShift = 16;
    zip_uint8_t system = 0;
    zip_uint32_t attributes = 0;
    if (zip_file_get_external_attributes(archive, index, 0, &system, &attributes) != 0)
        return true;
    const mode_t kind = (attributes >> kModeShift) & S_IFMT;
    return system == ZIP_OPSYS_UNIX && kind != 0 && kind != S_IFREG && kind != S_IFDIR;
}

// All of it, and not a byte more than it says of itself.
std::optional<Bytes> contentOf(zip_t* archive, zip_uint64_t index, std::size_t size)
{
    const std::unique_ptr<zip_file_t, Closer> file(zip_fopen_index(archive, index, 0));
    Bytes content(size);
    std::size_t read = 0;
    while (file && read < size) {
        const zip_int64_t got = zip_fread(file.get(), content.data() + read, size - read);
        if (got <= 0)
            return std::nullopt;
        read += static_cast<std::size_t>(got);
    }
    char more = 0;
    if (!file || zip_fread(file.get(), &more, 1) != 0)
        return std::nullopt;
    return content;
}

} // namespace

std::string readArchive(ByteView bytes, const ArchiveTaker& take, const ArchiveLimits& limits)
{
    if (bytes.size() > limits.archive)
        return "it is too large";
    // Nothing at all would pass for an archive of no files.
    zip_source_t* const source
        = bytes.empty() ? nullptr : zip_source_buffer_create(bytes.data(), bytes.size(), 0, nullptr);
    zip_t* const opened = source ? zip_open_from_source(source, ZIP_RDONLY, nullptr) : nullptr;
    if (!opened) {
        zip_source_free(source);
        return "it is no ZIP archive";
    }
    const std::unique_ptr<zip_t, Closer> archive(opened);
    const zip_int64_t entries = zip_get_num_entries(archive.get(), 0);
    if (entries > static_cast<zip_int64_t>(limits.files))
        return "it holds too many files";
    std::set<std::string> seen;
    std::size_t all = 0;
    for (zip_uint64_t index = 0; index < static_cast<zip_uint64_t>(entries); ++index) {
        zip_stat_t state;
        if (zip_stat_index(archive.get(), index, ZIP_FL_ENC_GUESS, &state) != 0)
            return "it is damaged";
        constexpr zip_uint64_t kWanted = ZIP_STAT_NAME | ZIP_STAT_SIZE | ZIP_STAT_COMP_SIZE;
        if ((state.valid & kWanted) != kWanted)
            return "it is damaged";
        std::string path = state.name;
        const bool isFolder = path.ends_with('/');
        if (isFolder)
            path.pop_back();
        const Name name = judged(path, limits.levels);
        if (name == Name::Bad)
            return "a name in it leads elsewhere";
        if (isOdd(archive.get(), index))
            return "it holds a link, or what is no file";
        if (isFolder || name == Name::Hidden)
            continue;
        if ((state.valid & ZIP_STAT_ENCRYPTION_METHOD) && state.encryption_method != ZIP_EM_NONE)
            return "it is encrypted";
        if (state.size > limits.file || state.size > limits.all - all)
            return "what it holds is too large";
        if (state.size > kSmallFile && state.size / limits.ratio > state.comp_size)
            return "what it holds is too large for what it is";
        if (!seen.insert(path).second)
            return "a name stands in it twice";
        all += state.size;
        const auto content = contentOf(archive.get(), index, state.size);
        if (!content)
            return "it is damaged";
        if (!take(path, *content))
            return "can't write";
    }
    return {};
}

} // namespace vitrel
