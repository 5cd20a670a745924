#include "programs/idle/OtherSavers.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>

#include <sys/stat.h>
#include <unistd.h>

namespace vitrel {

namespace {

const OtherSaver kKnown[] = {
    {"xscreensaver", true, true, "vitrel xscreensaver add"},
    {"xss-lock", true, true, "xss-lock -n 'vitrel play' -- YOUR-LOCKER"},
    {"xautolock", false, true, "xautolock -time 5 -locker 'vitrel play'"},
    {"swayidle", false, true, "swayidle -w timeout 300 'vitrel play'"},
    {"hypridle", false, true, "a listener in hypridle.conf with on-timeout = vitrel play"},
    {"light-locker", false, true, ""},
    {"gnome-screensav", false, true, ""},
    {"mate-screensave", false, true, ""},
    {"cinnamon-screen", false, true, ""},
    {"xfce4-screensav", false, true, ""},
    {"kscreenlocker_g", false, true, ""},
    {"swaylock", false, true, ""},
    {"i3lock", false, true, ""},
    {"vitrel-idle", false, false, ""},
};

} // namespace

std::vector<OtherSaver> otherSavers(const std::string& folder)
{
    std::set<std::string> names;
    const std::string own = folder == "/proc" ? std::to_string(getpid()) : "";
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string process = entry->path().filename();
        struct stat status {
        };
        if (process.find_first_not_of("0123456789") != process.npos || stat(entry->path().c_str(), &status) != 0
            || status.st_uid != getuid() || process == own)
            continue;
        std::string name;
        std::getline(std::ifstream(entry->path() / "comm"), name);
        names.insert(name);
    }
    std::vector<OtherSaver> found;
    std::copy_if(std::begin(kKnown), std::end(kKnown), std::back_inserter(found),
        [&](const OtherSaver& saver) { return names.contains(saver.program); });
    return found;
}

} // namespace vitrel
