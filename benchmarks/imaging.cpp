// What a wallpaper and a fill resize cost, from pixels to pixels, beside ImageMagick doing the same from and to memory
// files. Compares the results before it times anything.
#include "imaging/NSImage+Nq.h"
#include "imaging/NSImage+NqWallpaper.h"
#include "platform/appkit/ImageCoding.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace vitrel;

std::shared_ptr<const NSImage> cover(int side)
{
    Bitmap bitmap{side, side, {}};
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x) {
            const double dx = double(x) / side - 0.5, dy = double(y) / side - 0.4;
            const bool disc = dx * dx + dy * dy < 0.06;
            bitmap.pixels.push_back(
                disc ? 0xFFF0D060 : 0xFF006000u | unsigned(255 * x / side) << 16 | unsigned(255 * y / side));
        }
    return std::make_shared<const NSImage>(std::make_shared<const Bitmap>(std::move(bitmap)));
}

const Bitmap& pixelsOf(const NSImage& image)
{
    return *image.representations().at(0).bitmap();
}

double milliseconds(const std::function<void()>& work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

void report(const char* what, int runs, const std::function<void()>& work)
{
    std::vector<double> times;
    work();
    for (int k = 0; k < runs; ++k)
        times.push_back(milliseconds(work));
    std::sort(times.begin(), times.end());
    std::printf(
        "%-52s %8.1f ms (%.1f to %.1f, %d runs)\n", what, times[times.size() / 2], times.front(), times.back(), runs);
}

void writePpm(const Bitmap& bitmap, const std::string& path)
{
    std::ofstream out(path, std::ios::binary);
    out << "P6\n" << bitmap.width << ' ' << bitmap.height << "\n255\n";
    for (const std::uint32_t word : bitmap.pixels)
        out.put(char(word >> 16)).put(char(word >> 8)).put(char(word));
}

// The mean difference a channel to a picture that the peer wrote.
double differenceTo(const Bitmap& bitmap, const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    const std::string file(std::istreambuf_iterator<char>(in), {});
    const std::size_t count = bitmap.pixels.size() * 3;
    if (file.size() < count)
        return 256;
    const char* at = file.data() + (file.size() - count);
    double sum = 0;
    for (const std::uint32_t word : bitmap.pixels)
        for (const int shift : {16, 8, 0})
            sum += std::abs(int(word >> shift & 255) - int(static_cast<unsigned char>(*at++)));
    return sum / double(count);
}

// The most memory that a process of its own has resident for it, this program's own 30 MiB or so included.
long residentMiB(const std::function<void()>& work)
{
    const pid_t child = fork();
    if (child == 0) {
        work();
        _exit(0);
    }
    rusage usage{};
    wait4(child, nullptr, 0, &usage);
    return usage.ru_maxrss / 1024;
}

void peer(const char* name, const std::string& words, const std::string& out, const Bitmap& ours)
{
    const auto run = [&] { return std::system(("convert " + words + " " + out + " 2>/dev/null").c_str()); };
    int failed = 0;
    const double time = milliseconds([&] { failed = run(); });
    if (failed)
        std::printf("%-52s not here\n", name);
    else
        std::printf(
            "%-52s %8.1f ms (once), %.2f steps of 255 from ours in the mean\n", name, time, differenceTo(ours, out));
}

} // namespace

int main()
{
    char folder[] = "/dev/shm/bench_imagingXXXXXX";
    if (!mkdtemp(folder))
        return 1;
    const std::string in = std::string(folder) + "/in.ppm", large = std::string(folder) + "/large.ppm",
                      out = std::string(folder) + "/out.ppm";
    const auto small = cover(1000), big = cover(3000);
    const NSSize screen = {3840, 2160}, square = {600, 600};
    const auto wallpaper = [&] {
        const auto image = musicArtworkWallpaperArtworkAspectRatioDifference(*small, screen, 0.1f);
        return image->representations().at(0).bitmap();
    };
    std::printf("resident for a wallpaper 1000x1000 to 3840x2160: %ld MiB, as a PNG file: %ld MiB\n",
        residentMiB([&] { wallpaper(); }), residentMiB([&] { (void)pngRepresentation(*wallpaper()); }));
    report("wallpaper, 1000x1000 to 3840x2160", 11, [&] { wallpaper(); });
    report("  of which the fill", 11, [&] { resizeImageToFillSize(*small, screen); });
    report("fill resize, 3000x3000 to 600x600", 11, [&] { resizeImageToFillSize(*big, square); });
    writePpm(pixelsOf(*small), in);
    writePpm(pixelsOf(*big), large);
    peer("ImageMagick, wallpaper",
        in
            + " -resize 3840x3840 -gravity center -crop 3840x2160+0+0 +repage -colorspace RGB -virtual-pixel edge "
              "-blur 35x10 -evaluate multiply 0.0883883 \\( "
            + in + " -colorspace RGB -filter Lanczos -resize 2160x2160 \\) -composite -colorspace sRGB -depth 8",
        out, *wallpaper());
    peer("ImageMagick, fill resize", large + " -filter Box -resize 600x600 -depth 8", out,
        pixelsOf(*resizeImageToFillSize(*big, square)));
    for (const auto& file : {in, large, out})
        unlink(file.c_str());
    rmdir(folder);
    return 0;
}
