#include "programs/vitrel/Confining.h"

#include "base/Text.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/NSBundle.h"
#include "platform/quartzcomposer/file/CompositionReader.h"
#include "programs/vitrel/Commands.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <optional>

namespace vitrel {

namespace {

namespace fs = std::filesystem;

// Pictures that a text form may name, and how far they are looked for.
constexpr std::array kPictures = {".png", ".jpg", ".jpeg", ".gif", ".webp", ".tif", ".tiff"};
constexpr int kMostLevels = 3, kMostEntries = 4000;

// What a composition in too wide a folder may still read of it: documents and pictures beside it.
constexpr std::array kBeside = {".xml", ".png", ".jpg", ".jpeg", ".gif", ".webp", ".tif", ".tiff"};

// A folder that holds so much else that a composition in it can't be given all of it: the root, the home folder, those
// that programs keep their files in, those that everybody writes to, and all that hold one of these.
bool holdsMuchElse(const fs::path& folder)
{
    const char* const home = std::getenv("HOME");
    std::vector<fs::path> wide{"/tmp", "/var/tmp", "/dev/shm"};
    if (home && *home == '/')
        for (const char* inside : {"", ".ssh", ".gnupg", ".config", ".cache", ".local/share", ".local/state"})
            wide.push_back(fs::path(home) / inside);
    for (const char* name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME", "XDG_CACHE_HOME", "XDG_RUNTIME_DIR"})
        if (const char* const other = std::getenv(name); other && *other == '/')
            wide.emplace_back(other);
    return std::any_of(wide.begin(), wide.end(), [&](const fs::path& path) {
        std::error_code error;
        const fs::path real = fs::weakly_canonical(path, error);
        // Every part of the folder is one of the other's.
        return !error && std::mismatch(folder.begin(), folder.end(), real.begin(), real.end()).first == folder.end();
    });
}

// What a composition's file may name of what lies beside it.
void addFolderOf(const std::string& path, std::vector<std::string>& paths)
{
    std::error_code error;
    fs::path folder = fs::weakly_canonical(qc::folderOf(path), error);
    if (!folder.has_filename())
        folder = folder.parent_path();
    if (error)
        return;
    if (!holdsMuchElse(folder)) {
        paths.push_back(folder.string());
        return;
    }
    int entries = 0;
    for (auto each = fs::directory_iterator(folder, error); !error && each != end(each) && ++entries < kMostEntries;
         each.increment(error)) {
        std::error_code ignored;
        const auto extension = asciiLowercase(each->path().extension().string());
        if (std::find(kBeside.begin(), kBeside.end(), extension) != kBeside.end() && !each->is_symlink(ignored)
            && each->is_regular_file(ignored))
            paths.push_back(each->path().string());
    }
}

void addPicturesBeneath(const std::string& folder, std::vector<std::string>& paths)
{
    std::error_code error;
    int entries = 0;
    for (auto each = fs::recursive_directory_iterator(folder, fs::directory_options::skip_permission_denied, error);
         !error && each != end(each) && ++entries < kMostEntries; each.increment(error)) {
        const auto name = each->path().filename().string();
        if (name.starts_with('.') || each.depth() >= kMostLevels)
            each.disable_recursion_pending();
        std::error_code ignored;
        const auto extension = asciiLowercase(each->path().extension().string());
        const bool isPicture = std::find(kPictures.begin(), kPictures.end(), extension) != kPictures.end();
        if (isPicture && !each->is_symlink(ignored) && each->is_regular_file(ignored))
            paths.push_back(each->path().string());
    }
}

// "/dev/fd/3" and the like; absent for other paths.
std::optional<int> descriptorNamedBy(const std::string& path)
{
    for (const std::string_view prefix : {"/dev/fd/", "/proc/self/fd/"})
        if (path.starts_with(prefix))
            return std::atoi(path.c_str() + prefix.size());
    return std::nullopt;
}

} // namespace

ConfinementReach reachOf(const CommandFiles& files, const std::string& resources)
{
    ConfinementReach reach = reachOfDrawing();
    reach.largestFile = files.largest;
    reach.readable.push_back(resources);
    reach.readable.insert(reach.readable.end(), files.alone.begin(), files.alone.end());
    for (const auto& path : files.read) {
        reach.readable.push_back(path);
        if (path.ends_with('/') || descriptorNamedBy(path))
            continue;
        addFolderOf(path, reach.readable);
        if (!asciiLowercase(path).ends_with(".qtz"))
            addPicturesBeneath(qc::folderOf(path), reach.readable);
    }
    for (const auto& path : files.written) {
        if (path.empty())
            continue;
        struct stat state {
        };
        const bool isFile = stat(path.c_str(), &state) != 0 || S_ISREG(state.st_mode);
        // A file is replaced by one that was written beside it, a device or a pipe written into.
        std::error_code error;
        const auto target = isFile ? fs::weakly_canonical(path, error).parent_path() : fs::path(path);
        reach.writable.push_back(error || target.empty() ? qc::folderOf(path) : target.string());
    }
    return reach;
}

void closeAllBut(const CommandFiles& files, int kept)
{
    std::vector<int> all{kept};
    for (const auto& path : files.written)
        all.push_back(descriptorNamedBy(path).value_or(-1));
    closeInheritedDescriptors(all);
}

void tellUnconfined(const Confined& confined)
{
    if (!confined.calls && !confined.isSwitchedOff)
        complain("this isn't confined: " + confined.lacks);
}

void confineToSettings(const CommandFiles& files, const std::vector<std::string>& folders)
{
    auto reach = reachOf(files, NSBundle::forExecutable().resourcePath());
    const std::string settings = userFolder(UserFolder::Config);
    const auto make = [](const std::string& folder, std::vector<std::string>& in) {
        std::error_code error;
        if (!folder.empty() && (fs::create_directories(folder, error), !error))
            in.push_back(folder);
    };
    make(settings, reach.writable);
    for (const std::string& folder : folders)
        make(folder, reach.arranged);
    // Some keep their settings elsewhere, and links here.
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(settings, error)) {
        std::error_code none;
        const auto target = entry.is_symlink(none) ? fs::canonical(entry.path(), none) : entry.path();
        if (!none && target != entry.path())
            reach.writable.push_back(target.parent_path().string());
    }
    tellUnconfined(confine(ConfinementKind::Drawing, reach));
}

void confineToDrawing(const CommandFiles& files)
{
    closeAllBut(files);
    tellUnconfined(confine(ConfinementKind::Drawing, reachOf(files, NSBundle::forExecutable().resourcePath())));
}

} // namespace vitrel
