#include "programs/idle/PowerSupply.h"

#include <filesystem>
#include <fstream>

namespace vitrel {

namespace {

std::string word(const std::filesystem::path& file)
{
    std::ifstream in(file);
    std::string text(32, '\0');
    in.read(text.data(), std::streamsize(text.size()));
    text.resize(std::size_t(in.gcount()));
    return text.substr(0, text.find('\n'));
}

} // namespace

bool isOnBattery(const std::string& folder)
{
    bool hasBattery = false, discharges = false, hasPlug = false, isPlugged = false;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        const auto supply = entry->path();
        // A mouse's battery isn't the machine's.
        if (word(supply / "scope") == "Device")
            continue;
        const std::string type = word(supply / "type");
        if (type == "Battery") {
            hasBattery = true;
            discharges |= word(supply / "status") == "Discharging";
        } else if (!type.empty()) {
            hasPlug = true;
            isPlugged |= word(supply / "online") == "1";
        }
    }
    // Where no plug is told of, the battery says itself that it isn't fed.
    return hasBattery && !isPlugged && (hasPlug || discharges);
}

} // namespace vitrel
