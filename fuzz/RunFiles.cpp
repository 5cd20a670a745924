// Stands in for libFuzzer's driver: gives the target each file named, and each file in the folders named.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

int files = 0;

void runFile(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(in), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    ++files;
}

} // namespace

int main(int argc, char** argv)
{
    for (int k = 1; k < argc; ++k) {
        if (!std::filesystem::is_directory(argv[k])) {
            runFile(argv[k]);
            continue;
        }
        for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[k]))
            if (entry.is_regular_file())
                runFile(entry.path());
    }
    std::printf("%d files\n", files);
    return files > 0 ? 0 : 1;
}
