#pragma once

#include "base/Bytes.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include <stdlib.h>

namespace vitrel {

// A folder that goes with its contents when the test ends.
class TemporaryFolder
{
public:
    TemporaryFolder()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "vitrel-test-XXXXXX").string();
        path_ = ::mkdtemp(pattern.data()) ? pattern : std::string();
    }
    ~TemporaryFolder()
    {
        std::error_code error;
        std::filesystem::remove_all(path_, error);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

    std::string write(const std::string& name, std::string_view contents) const
    {
        const std::string path = *this / name;
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::ofstream(path, std::ios::binary) << contents;
        return path;
    }
    static std::string read(const std::string& path)
    {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
    std::size_t count() const
    {
        const std::filesystem::directory_iterator entries(path_);
        return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
    }

private:
    std::string path_;
};

} // namespace vitrel
