// Feeds files, and the files of folders, to a fuzz target where libFuzzer isn't linked in.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

void runFile(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

} // namespace

int main(int count, char** arguments)
{
    int ran = 0;
    for (int at = 1; at < count; ++at) {
        const std::filesystem::path path(arguments[at]);
        if (std::filesystem::is_directory(path)) {
            for (const auto& entry : std::filesystem::recursive_directory_iterator(path)) {
                if (entry.is_regular_file()) {
                    runFile(entry.path());
                    ++ran;
                }
            }
        } else if (std::filesystem::is_regular_file(path)) {
            runFile(path);
            ++ran;
        }
    }
    std::printf("%d files\n", ran);
    return ran > 0 ? 0 : 1;
}
