#include "programs/bundles/Bringing.h"

#include "base/MD5.h"
#include "base/Text.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/UUID.h"
#include "platform/quartzcomposer/file/CompositionReader.h"
#include "programs/bundles/Archive.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <set>

namespace vitrel {

namespace {

namespace fs = std::filesystem;

constexpr int kLevels = 8;
constexpr std::size_t kMostEntries = 10'000;
// Which archive a folder was unpacked from.
constexpr const char* kMark = ".archive";
const std::string kPart = ".part-"; // and what isn't whole yet
constexpr int kMostOfOneName = 100;

bool isArchive(const fs::path& path)
{
    return asciiLowercase(path.extension().string()) == ".zip";
}

struct Search {
    std::size_t entries = 0;
    std::vector<fs::path> found;

    void look(const fs::path& folder, int level)
    {
        std::error_code error;
        std::vector<fs::path> folders;
        for (auto each = fs::directory_iterator(folder, fs::directory_options::skip_permission_denied, error);
             !error && each != end(each) && entries < kMostEntries; each.increment(error)) {
            ++entries;
            std::error_code gone;
            const auto state = each->symlink_status(gone);
            if (gone || each->path().filename().string().starts_with('.'))
                continue;
            if (fs::is_directory(state))
                folders.push_back(each->path());
            else if (fs::is_regular_file(state) && qc::whyNoComposition(each->path().string()).empty())
                found.push_back(each->path());
        }
        if (level == 0)
            return;
        std::sort(folders.begin(), folders.end());
        for (const fs::path& inner : folders)
            look(inner, level - 1);
    }
};

std::vector<std::string> compositionsBeneath(const fs::path& folder)
{
    Search search;
    search.look(folder, kLevels);
    std::vector<std::pair<std::string, std::string>> named;
    for (const fs::path& path : search.found)
        named.emplace_back(asciiLowercase(path.filename().string()), path.string());
    std::sort(named.begin(), named.end());
    std::vector<std::string> paths;
    for (auto& [name, path] : named)
        paths.push_back(std::move(path));
    return paths;
}

bool writeBeneath(const fs::path& folder, const std::string& path, ByteView content)
{
    const fs::path file = folder / path;
    std::error_code error;
    fs::create_directories(file.parent_path(), error);
    return !error && writeFile(file.string(), content, {.lasting = false}) == 0;
}

// The folder's name for an archive, by the archive's.
std::string folderNameFor(const fs::path& archive)
{
    std::string name = archive.stem().string();
    for (char& c : name) {
        if (static_cast<unsigned char>(c) < 0x20)
            c = '_';
    }
    if (name.empty() || name.front() == '.')
        name.insert(0, 1, '_');
    return name;
}

// What an end in between has left behind.
void removeParts(const fs::path& into)
{
    constexpr auto kOld = std::chrono::hours(1);
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(into, error)) {
        std::error_code none;
        const auto age = fs::file_time_type::clock::now() - entry.last_write_time(none);
        if (!none && age > kOld && entry.path().filename().string().starts_with(kPart))
            fs::remove_all(entry.path(), none);
    }
}

// Where it lies unpacked; empty, with the reason, if it can't be.
fs::path unpack(const fs::path& archive, const fs::path& into, std::string& reason)
{
    const auto bytes = readFile(archive.string(), ArchiveLimits().archive);
    if (!bytes) {
        reason = bytes.error() == EFBIG ? "it is too large" : "it can't be read";
        return {};
    }
    removeParts(into);
    const std::string mark = hexadecimal(md5(*bytes));
    constexpr std::size_t kLongestMark = 100;
    fs::path place;
    for (int number = 1; number <= kMostOfOneName; ++number) {
        place = into / (folderNameFor(archive) + (number == 1 ? "" : "-" + std::to_string(number)));
        const auto there = readFile((place / kMark).string(), kLongestMark);
        if (there && textOf(*there) == mark)
            return place;
        std::error_code error;
        if (!fs::exists(fs::symlink_status(place, error)))
            break;
    }
    const fs::path part = into / (kPart + UUIDString());
    reason = readArchive(
        *bytes, [&](const std::string& path, ByteView content) { return writeBeneath(part, path, content); });
    std::error_code error;
    if (reason.empty() && !compositionsBeneath(part).empty()) {
        writeBeneath(part, kMark, bytesOf(mark));
        fs::rename(part, place, error);
        if (!error)
            return place;
        reason = "can't write";
    } else if (reason.empty()) {
        reason = kNoComposition;
    }
    fs::remove_all(part, error);
    return {};
}

} // namespace

std::string unpackedFolder()
{
    const auto named = [](const char* name) {
        const char* folder = std::getenv(name);
        return folder && folder[0] == '/' ? std::string(folder) : std::string();
    };
    const std::string data = named("XDG_DATA_HOME"), home = named("HOME");
    return !data.empty() ? data + "/vitrel/compositions"
        : !home.empty()  ? home + "/.local/share/vitrel/compositions"
                         : std::string();
}

bool takesTimeToBring(const std::string& path)
{
    std::error_code error;
    const auto state = fs::status(path, error);
    return fs::is_directory(state) || (fs::is_regular_file(state) && isArchive(path));
}

Brought bring(const std::vector<std::string>& paths, const std::string& unpacked)
{
    Brought brought;
    std::set<std::string> seen;
    const auto take = [&](std::vector<std::string> compositions) {
        for (std::string& path : compositions) {
            if (seen.insert(path).second)
                brought.compositions.push_back(std::move(path));
        }
    };
    for (const std::string& given : paths) {
        std::error_code error;
        const fs::path path = fs::absolute(given, error).lexically_normal();
        const auto state = fs::status(path, error);
        std::string reason;
        fs::path folder = fs::is_directory(state) ? path : fs::path();
        if (!folder.empty() && !folder.has_filename())
            folder = folder.parent_path();
        if (fs::is_regular_file(state) && isArchive(path))
            folder = unpacked.empty() ? fs::path() : unpack(path, unpacked, reason);
        else if (fs::is_regular_file(state))
            reason = qc::whyNoComposition(path.string());
        else if (folder.empty())
            reason = "there is no such file";
        if (!reason.empty()) {
            brought.problems.push_back({given, reason});
        } else if (folder.empty()) {
            take({path.string()});
        } else {
            auto all = compositionsBeneath(folder);
            if (all.empty())
                brought.problems.push_back({given, kNoComposition});
            take(std::move(all));
        }
    }
    return brought;
}

std::string textOf(const Brought& brought)
{
    std::string text;
    for (const std::string& path : brought.compositions)
        text += "+" + path + '\0';
    for (const auto& [path, reason] : brought.problems)
        text += "-" + path + '\0' + "!" + reason + '\0';
    return text;
}

Brought broughtOfText(std::string_view text)
{
    Brought brought;
    while (!text.empty()) {
        const auto end = text.find('\0');
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(end == text.npos ? text.size() : end + 1);
        if (end == text.npos || line.empty())
            break;
        const std::string rest(line.substr(1));
        if (line.front() == '+' && rest.starts_with('/'))
            brought.compositions.push_back(rest);
        else if (line.front() == '-')
            brought.problems.push_back({rest, {}});
        else if (line.front() == '!' && !brought.problems.empty())
            brought.problems.back().reason = rest;
    }
    return brought;
}

} // namespace vitrel
