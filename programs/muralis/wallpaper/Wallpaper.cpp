#include "programs/muralis/wallpaper/Wallpaper.h"

#include "base/MD5.h"
#include "base/Text.h"
#include "imaging/NSImage+NqWallpaper.h"
#include "platform/appkit/ImageCoding.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/NSLog.h"
#include "platform/foundation/RunLoop.h"
#include "platform/foundation/Surroundings.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <future>
#include <utility>

#include <unistd.h>

namespace vitrel {
namespace {

namespace fs = std::filesystem;

// A cover this much off the display's shape simply fills it.
constexpr float kDifference = 0.1f;
constexpr std::size_t kMostFormer = 1 << 20;
constexpr const char* kFormer = "/former";
// What the user listens to is nobody else's matter, and can be made again.
constexpr FileReplacement kPrivate{.mode = 0600, .lasting = false};

std::map<std::string, std::string> readFormer(const std::string& path)
{
    const auto bytes = readFile(path, kMostFormer);
    std::map<std::string, std::string> former;
    if (!bytes)
        return former;
    const auto json = nlohmann::json::parse(bytes->begin(), bytes->end(), nullptr, false);
    if (!json.is_object())
        return former;
    for (const auto& [key, value] : json.items()) {
        if (value.is_string())
            former[key] = value.get<std::string>();
    }
    return former;
}

} // namespace

std::string Wallpaper::userFolder()
{
    return vitrel::userFolder(UserFolder::Cache, "wallpapers");
}

std::unique_ptr<Wallpaper> Wallpaper::start(const BasicSurroundings& surroundings, std::string folder)
{
    auto settings = desktopSettings(xDisplays(surroundings));
    if (settings.empty() || folder.empty())
        return nullptr;
    return std::make_unique<Wallpaper>(surroundings, std::move(folder), std::move(settings));
}

Wallpaper::Wallpaper(const BasicSurroundings& surroundings, std::string folder, std::vector<WallpaperSetting> settings)
    : surroundings_(surroundings)
    , folder_(std::move(folder))
    , settings_(std::move(settings))
{
    std::error_code error;
    fs::create_directories(folder_, error);
    fs::permissions(folder_, fs::perms::owner_all, error);
    if (::access(folder_.c_str(), W_OK) != 0)
        NSLog(
            surroundings_.log, "There will be no wallpaper: %@ can't be written (%@)", {folder_, std::strerror(errno)});
    remember();
    queue_ = std::make_unique<PoolQueue>(1);
}

Wallpaper::~Wallpaper()
{
    ++turn_;
    queue_.reset();
}

void Wallpaper::remember()
{
    const auto before = readFormer(folder_ + kFormer);
    for (const auto& setting : settings_) {
        auto current = setting.read();
        // One of ours is there if the last run couldn't put back what it found.
        const std::string inFolder = setting.valueOf(folder_ + "/");
        const bool isOurs = current && current->starts_with(inFolder.substr(0, inFolder.rfind('/') + 1));
        const auto known = before.find(setting.key);
        if (known != before.end() && (isOurs || !setting.tellsCurrent))
            current = known->second;
        else if (isOurs)
            current.reset();
        if (current)
            former_[setting.key] = *current;
    }
    const std::string text = nlohmann::json(former_).dump(1, ' ', false, nlohmann::json::error_handler_t::replace);
    writeFile(folder_ + kFormer, bytesOf(text), kPrivate);
}

void Wallpaper::show(const std::shared_ptr<const Bytes>& artwork)
{
    const auto isSame = [](const auto& a, const auto& b) { return a == b || (a && b && *a == *b); };
    if (isOver_ || isSame(artwork, shown_))
        return;
    shown_ = artwork;
    const unsigned turn = ++turn_;
    if (artwork) {
        enqueue(artwork);
        return;
    }
    surroundings_.runLoop->postAfter(kPatience, [this, turn, alive = std::weak_ptr(alive_)] {
        if (!alive.expired() && turn == turn_ && !isOver_)
            enqueue(nullptr);
    });
}

void Wallpaper::enqueue(std::shared_ptr<const Bytes> artwork)
{
    queue_->async([this, artwork = std::move(artwork), turn = turn_.load()] {
        if (turn != turn_)
            return;
        if (artwork)
            apply(*artwork, turn);
        else
            restore();
    });
}

std::string Wallpaper::pictureFor(const Bytes& artwork, NSSize size) const
{
    const std::string path = folder_ + "/" + hexadecimal(md5(artwork)) + "-" + std::to_string(int(size.width)) + "x"
        + std::to_string(int(size.height)) + ".jpg";
    std::error_code error;
    if (fs::exists(path, error)) {
        fs::last_write_time(path, fs::file_time_type::clock::now(), error);
        return path;
    }
    std::shared_ptr<const Bitmap> bitmap;
    // The cover and what is made of it on the way take more than the picture, and the file comes on top of it.
    if (const auto cover = NSImage::imageWithData(artwork)) {
        const auto picture = musicArtworkWallpaperArtworkAspectRatioDifference(*cover, size, kDifference);
        if (!picture->representations().empty())
            bitmap = picture->representations().front().bitmap();
    }
    const auto file = bitmap ? jpegRepresentation(*bitmap) : std::nullopt;
    return file && writeFile(path, *file, kPrivate) == 0 ? path : "";
}

void Wallpaper::apply(const Bytes& artwork, unsigned turn)
{
    for (const auto& setting : settings_) {
        const std::string file = pictureFor(artwork, setting.size);
        if (file.empty())
            return;
        if (turn != turn_)
            return; // another track by now
        const std::string value = setting.valueOf(file);
        if (const auto place = set_.find(setting.key); place != set_.end() && place->second == value)
            continue; // the same cover again
        setting.write(value);
        set_[setting.key] = value;
    }
    prune();
}

void Wallpaper::restore()
{
    for (const auto& setting : settings_) {
        const auto ours = set_.find(setting.key);
        const auto former = former_.find(setting.key);
        if (ours == set_.end() || former == former_.end())
            continue;
        if (!setting.tellsCurrent || setting.read() == ours->second)
            setting.write(former->second);
    }
    set_.clear();
}

void Wallpaper::putBack()
{
    if (std::exchange(isOver_, true))
        return;
    ++turn_;
    queue_->async([this] { restore(); });
    flush();
    // The next start finds the user's own wallpaper.
    std::error_code error;
    fs::remove(folder_ + kFormer, error);
}

void Wallpaper::flush()
{
    // There is one thread, so all before is done.
    std::promise<void> done;
    queue_->async([&done] { done.set_value(); });
    done.get_future().wait();
}

void Wallpaper::prune() const
{
    std::error_code error;
    std::vector<std::pair<fs::file_time_type, fs::path>> pictures;
    for (const auto& entry : fs::directory_iterator(folder_, error)) {
        if (entry.path().extension() == ".jpg")
            pictures.emplace_back(entry.last_write_time(error), entry.path());
    }
    // Never one that is shown.
    const std::size_t most = std::max(kMostFiles, settings_.size());
    if (pictures.size() <= most)
        return;
    std::sort(pictures.begin(), pictures.end());
    pictures.resize(pictures.size() - most);
    for (const auto& [time, path] : pictures)
        fs::remove(path, error);
}

} // namespace vitrel
