#include "programs/child/SaverProgram.h"

#include <filesystem>

namespace vitrel {

namespace {

namespace fs = std::filesystem;

fs::path ownFolder()
{
    std::error_code error;
    return fs::read_symlink("/proc/self/exe", error).parent_path();
}

} // namespace

std::string saverProgram()
{
    std::error_code error;
    const fs::path beside = ownFolder() / "vitrel";
    return fs::exists(beside, error) ? beside : ownFolder().parent_path().parent_path() / "bin" / "vitrel";
}

std::string auxiliaryProgram(const std::string& name)
{
    for (const fs::path& program : {ownFolder() / name, ownFolder().parent_path() / "libexec" / "vitrel" / name}) {
        std::error_code error;
        if (fs::exists(program, error))
            return program;
    }
    return "";
}

} // namespace vitrel
