#pragma once

#include <optional>
#include <string>
#include <vector>

namespace vitrel::qc {

// Of one file that a composition names: documents are smaller, and so are pictures that a display can show.
inline constexpr std::size_t kMaxBesideFile = 16u << 20;

// What a composition in `folder` means by a path or a "file:" URL, as a name beneath the folder; absent for what it
// may not read: nothing, a place elsewhere, the home folder, an address. A whole path of the folder's is beneath it.
std::optional<std::string> nameBeneath(const std::string& folder, const std::string& path);

struct Listing {
    bool images = false; // pictures alone, by the ends of their names
    bool recursive = false;
};
// Whole paths of the regular files in `folder`/`name`, in the order of their names, links and hidden ones left out: of
// the first 10,000 entries, eight levels deep. Absent if there is no such folder. Any thread.
std::optional<std::vector<std::string>> filesBeneath(
    const std::string& folder, const std::string& name, const Listing& what);

} // namespace vitrel::qc
