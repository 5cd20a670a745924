#pragma once

#include "base/Bytes.h"
#include "base/Clock.h"
#include "platform/foundation/Queue.h"
#include "programs/muralis/wallpaper/DesktopSettings.h"

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace vitrel {

// The cover of what plays as the desktop's wallpaper: whole and sharp, upon a dark blur of itself, at each display's
// own size where the desktop tells one display from another. Without a cover the former wallpaper is back. Main thread;
// pictures are made, and the desktop is told, on a thread of its own.
class Wallpaper
{
public:
    // Pictures that are kept for tracks that come again.
    static constexpr std::size_t kMostFiles = 12;
    // A cover may be on its way: so long the last one stays.
    static constexpr Seconds kPatience{3};

    // $XDG_CACHE_HOME/vitrel/wallpapers, else ~/.cache/vitrel/wallpapers; empty if there is no home either.
    static std::string userFolder();

    // Looks at the desktop, which takes some ten milliseconds, and remembers its wallpaper. Null if the desktop offers
    // no way or there is no folder. `surroundings` must outlive it.
    static std::unique_ptr<Wallpaper> start(const BasicSurroundings& surroundings, std::string folder);
    // With the settings given, for tests.
    Wallpaper(const BasicSurroundings& surroundings, std::string folder, std::vector<WallpaperSetting> settings);
    ~Wallpaper();
    Wallpaper(const Wallpaper&) = delete;
    Wallpaper& operator=(const Wallpaper&) = delete;

    // The bytes of an image file; null for none. Of several in a row the last counts. What is no image changes nothing.
    void show(const std::shared_ptr<const Bytes>& artwork);
    // The former wallpaper, unless the user has chosen another meanwhile. Waits until the desktop was told. Nothing is
    // shown from here on.
    void putBack();
    // Waits until all that was asked for is done.
    void flush();

private:
    void enqueue(std::shared_ptr<const Bytes> artwork);
    void apply(const Bytes& artwork, unsigned turn);
    void restore();
    std::string pictureFor(const Bytes& artwork, NSSize size) const;
    void remember();
    void prune() const;

    const BasicSurroundings& surroundings_;
    const std::string folder_;
    const std::vector<WallpaperSetting> settings_;
    std::shared_ptr<const Bytes> shown_; // what was asked for last
    std::atomic<unsigned> turn_{0}; // of what is asked for; an older one isn't finished
    bool isOver_ = false;
    std::shared_ptr<int> alive_ = std::make_shared<int>();
    // From here on of the queue's thread.
    std::map<std::string, std::string> former_, set_; // by the settings' keys
    std::unique_ptr<PoolQueue> queue_;
};

} // namespace vitrel
