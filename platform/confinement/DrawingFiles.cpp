#include "platform/confinement/Confinement.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace vitrel {

namespace {

std::string environment(const char* name)
{
    const char* value = std::getenv(name);
    return value ? value : "";
}

// A folder of the user's: what the variable names, else `usual` in the home. Empty without either.
std::string usersFolder(const char* variable, std::string_view usual)
{
    if (std::string named = environment(variable); named.starts_with('/'))
        return named;
    const std::string home = environment("HOME");
    return home.starts_with('/') ? home + std::string(usual) : "";
}

void addList(std::vector<std::string>& paths, const std::string& list)
{
    for (std::size_t begin = 0; begin < list.size();) {
        const std::size_t end = std::min(list.find(':', begin), list.size());
        if (end > begin)
            paths.push_back(list.substr(begin, end - begin));
        begin = end + 1;
    }
}

} // namespace

ConfinementReach reachOfDrawing()
{
    ConfinementReach reach;
    reach.readable = {// libraries, drivers and what describes them, fonts, locales, modules of the image library
        "/usr", "/lib", "/lib64", "/lib32", "/opt/lib", "/etc/ld.so.cache", "/etc/ld.so.conf", "/etc/ld.so.conf.d",
        "/etc/fonts", "/var/cache/fontconfig", "/etc/glvnd", "/etc/drirc", "/etc/egl", "/etc/vulkan", "/etc/OpenCL",
        "/etc/localtime", "/etc/timezone", "/etc/passwd", "/etc/nsswitch.conf", "/etc/locale.alias",
        "/etc/ssl/openssl.cnf", "/etc/alternatives", "/run/opengl-driver", "/nix/store", "/gnu/store",
        // the machine; of its processes, this one
        "/proc/self", "/proc/cpuinfo", "/proc/meminfo", "/proc/stat", "/proc/version", "/proc/filesystems",
        "/proc/sys/vm", "/proc/sys/kernel/osrelease", "/proc/driver/nvidia", "/sys/devices", "/sys/dev/char",
        "/sys/class/drm", "/sys/bus/pci", "/sys/module/nvidia", "/dev/urandom", "/dev/random", "/dev/zero"};
    addList(reach.readable, environment("LIBGL_DRIVERS_PATH"));
    addList(reach.readable, environment("GBM_BACKENDS_PATH"));
    addList(reach.readable, environment("LD_LIBRARY_PATH"));
    addList(reach.readable, environment("FONTCONFIG_FILE"));
    addList(reach.readable, environment("FONTCONFIG_PATH"));
    if (const auto data = usersFolder("XDG_DATA_HOME", "/.local/share"); !data.empty())
        for (const char* name : {"/fonts", "/icons"})
            reach.readable.push_back(data + name);
    if (const auto home = usersFolder("", "/"); !home.empty())
        for (const char* name : {".fonts", ".icons"}) // the latter for pointers
            reach.readable.push_back(home + name);
    if (const auto config = usersFolder("XDG_CONFIG_HOME", "/.config"); !config.empty())
        reach.readable.push_back(config + "/fontconfig");
    if (const auto cache = usersFolder("XDG_CACHE_HOME", "/.cache"); !cache.empty()) {
        reach.readable.push_back(cache + "/fontconfig");
        reach.writable.push_back(cache + "/nvidia");
        // By the driver's version; it can't make them itself any more.
        mkdir(cache.c_str(), 0700);
        for (const char* name : {"/mesa_shader_cache", "/mesa_shader_cache_db"}) {
            reach.writable.push_back(cache + name);
            mkdir(reach.writable.back().c_str(), 0700);
        }
    }
    if (const auto nvidia = usersFolder("", "/.nv"); !nvidia.empty())
        reach.writable.push_back(nvidia);
    return reach;
}

} // namespace vitrel
