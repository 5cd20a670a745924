#include "platform/foundation/NSBundle.h"

#include "platform/foundation/Files.h"
#include "platform/foundation/PropertyList.h"

#include <filesystem>

namespace vitrel {

namespace fs = std::filesystem;

NSBundle::NSBundle(std::string folder)
    : folder_(std::move(folder))
{
    constexpr std::size_t kMostBytes = 1u << 20;
    const auto bytes = readFile(folder_ + "/Info.plist", kMostBytes);
    const auto value = bytes ? propertyListWithData(*bytes) : std::nullopt;
    if (value && value->dictionary())
        info_ = *value->dictionary();
}

NSBundle NSBundle::forExecutable()
{
    std::error_code error;
    return forExecutable(fs::read_symlink("/proc/self/exe", error).string());
}

NSBundle NSBundle::forExecutable(const std::string& executable)
{
    std::error_code error;
    fs::path folder = fs::path(executable).parent_path();
    // bin/, libexec/vitrel/ and the test folders of a build lie one to three steps below.
    for (int step = 0; step < 4 && folder.has_relative_path(); ++step, folder = folder.parent_path()) {
        const fs::path resources = folder / "share" / "vitrel";
        if (fs::is_regular_file(resources / "Info.plist", error))
            return NSBundle(resources.string());
    }
    return NSBundle(VITREL_INSTALLED_RESOURCES);
}

std::optional<std::string> NSBundle::bundleIdentifier() const
{
    const auto* text = textMember(info_, "CFBundleIdentifier");
    return text && !text->empty() ? std::optional(*text) : std::nullopt;
}

std::optional<std::string> NSBundle::pathForResourceOfType(const std::string& name, const std::string& type) const
{
    const std::string path = folder_ + "/" + name + (type.empty() ? "" : "." + type);
    std::error_code error;
    return fs::exists(path, error) ? std::optional(path) : std::nullopt;
}

} // namespace vitrel
