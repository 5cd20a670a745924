#include "traces/TracePictures.h"

#include "platform/appkit/ImageCoding.h"
#include "platform/appkit/NSImage.h"
#include "platform/foundation/Files.h"

#include <bit>
#include <cinttypes>
#include <cstdio>
#include <filesystem>

namespace vitrel {

namespace {

// Told apart by what they show and not by their file, which isn't there yet. The main thread waits for this, so it is
// a few instructions a pixel; it protects nothing.
std::string nameFor(const Bitmap& bitmap)
{
    std::uint64_t first = 0x9E3779B97F4A7C15 ^ std::uint64_t(bitmap.width),
                  second = 0xC2B2AE3D27D4EB4F ^ std::uint64_t(bitmap.height);
    for (const std::uint32_t pixel : bitmap.pixels) {
        first = (first ^ pixel) * 0xD6E8FEB86659FD93;
        first ^= first >> 32;
        second = (std::rotl(second, 27) + pixel) * 0x165667B19E3779F9;
    }
    second ^= second >> 29;
    char name[33];
    std::snprintf(name, sizeof name, "%016" PRIx64 "%016" PRIx64, first, second);
    return name;
}

} // namespace

std::string pictureFolderOf(const std::string& trace)
{
    std::error_code error;
    const auto real = std::filesystem::weakly_canonical(trace, error);
    return (error || real.empty() ? trace : real.string()) + ".images";
}

TracePictures::TracePictures(std::string folder)
    : folder_(std::move(folder))
{ }

TracePictures::~TracePictures()
{
    std::unique_lock lock(mutex_);
    done_.wait(lock, [this] { return waiting_ == 0; });
}

std::string TracePictures::keep(const std::shared_ptr<const NSImage>& image)
{
    std::erase_if(seen_, [](const Seen& seen) { return seen.image.expired(); });
    for (const Seen& seen : seen_) {
        if (seen.image.lock() == image)
            return seen.name;
    }
    const auto bitmap = image->representations().empty() ? nullptr : image->representations().front().bitmap();
    if (!bitmap || bitmap->pixels.empty())
        return {};
    std::string name = nameFor(*bitmap);
    if (!kept_.contains(name)) {
        const std::lock_guard lock(mutex_);
        if (kept_.size() >= kMostPictures || waiting_ >= kMostWaiting || bytes_ >= kMostBytes)
            return {};
        ++waiting_;
        kept_.insert(name);
        queue_.async([this, name, image] { write(name, image); });
    }
    seen_.push_back({image, name});
    return name;
}

void TracePictures::write(const std::string& name, const std::shared_ptr<const NSImage>& image)
{
    const std::string path = folder_ + "/" + name + ".png";
    std::error_code error;
    std::filesystem::create_directories(folder_, error);
    // An earlier trace may have left it there, and so may another display's.
    if (!std::filesystem::exists(path, error)) {
        const auto png = pngRepresentation(*image->representations().front().bitmap());
        if (png && writeFile(path, *png, {.lasting = false}) == 0)
            bytes_ += png->size();
    }
    const std::lock_guard lock(mutex_);
    --waiting_;
    done_.notify_all();
}

} // namespace vitrel
