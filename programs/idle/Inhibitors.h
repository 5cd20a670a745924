#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace vitrel {

// Somebody who asks that the screen be left alone. Texts as they gave them.
struct Inhibitor {
    std::string who, why;
};

// Whether it holds a saver back. One that says it plays sound and nothing to look at does not: music is what this saver
// is for.
bool holdsSaverBack(const Inhibitor& inhibitor);

// The requests of applications over the bus: each has a cookie and belongs to a caller, with whom it ends. There are at
// most a thousand for each caller, and fifty callers.
class InhibitorBook
{
public:
    // The cookie; 0 if the caller has too many.
    std::uint32_t add(const std::string& caller, Inhibitor inhibitor);
    // False if there is no such request of the caller.
    bool remove(const std::string& caller, std::uint32_t cookie);
    void removeAll(const std::string& caller) { callers_.erase(caller); }

    bool holdsSaverBack() const;
    std::vector<Inhibitor> all() const;

private:
    std::map<std::string, std::map<std::uint32_t, Inhibitor>> callers_;
    std::uint32_t next_ = 1;
};

} // namespace vitrel
