// A file of stored settings: read, changed and written. A change lasts, nothing else is lost, and what can't be read is
// set aside and not overwritten.
#include "platform/foundation/DefaultsStore.h"
#include "platform/foundation/FileSystem.h"
#include "platform/foundation/Files.h"

#include <cstdlib>
#include <filesystem>
#include <string>

#include <unistd.h>

namespace {

using namespace vitrel;

// The disk needn't hear of it.
class QuickFiles final : public FileSystem
{
    int fsync(int) override { return 0; }
};

// Of this process, and gone with it.
struct Folder {
    std::string path
        = (std::filesystem::temp_directory_path() / ("fuzz-settings-" + std::to_string(getpid()))).string();
    Folder() { std::filesystem::create_directory(path); }
    ~Folder()
    {
        std::error_code error;
        std::filesystem::remove_all(path, error);
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const Folder folder;
    QuickFiles files;
    const std::string file = folder.path + "/d.plist";
    std::error_code error;
    std::filesystem::remove(file + ".damaged", error);
    if (writeFile(file, {data, size}, {.lasting = false}) != 0)
        std::abort();
    DefaultsStore store(folder.path, files, {});
    Dictionary before = store.dictionaryForDomain("d");
    std::erase_if(before, [](const auto& entry) { return entry.second.isNothing(); }); // the text has no word for it
    for (const auto& [key, value] : before)
        store.valueForKey("d", key);
    store.setValueForKey("d", "added", "value");
    if (!store.synchronize("d"))
        return 0; // larger spelled out than a file may be
    DefaultsStore other(folder.path, files, {});
    Dictionary after = other.dictionaryForDomain("d");
    if (after["added"] != Value("value"))
        std::abort();
    const bool isSetAside = std::filesystem::exists(file + ".damaged");
    if (isSetAside ? after.size() != 1 : after.size() < before.size())
        std::abort();
    return 0;
}
