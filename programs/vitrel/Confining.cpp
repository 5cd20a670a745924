#include "programs/vitrel/Confining.h"

#include "base/Text.h"
#include "platform/foundation/NSBundle.h"
#include "platform/quartzcomposer/file/CompositionReader.h"
#include "programs/vitrel/Commands.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <optional>

namespace vitrel {

namespace {

namespace fs = std::filesystem;

// Pictures that a text form may name, and how far they are looked for.
constexpr std::array kPictures = {".png", ".jpg", ".jpeg", ".gif", ".webp", ".tif", ".tiff"};
constexpr int kMostLevels = 3, kMostEntries = 4000;

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
    reach.readable.push_back(resources);
    for (const auto& path : files.read) {
        reach.readable.push_back(path);
        if (!path.ends_with('/') && !asciiLowercase(path).ends_with(".qtz"))
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

void confineToDrawing(const CommandFiles& files)
{
    closeAllBut(files);
    tellUnconfined(confine(ConfinementKind::Drawing, reachOf(files, NSBundle::forExecutable().resourcePath())));
}

} // namespace vitrel
