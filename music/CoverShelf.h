#pragma once

#include "base/Bytes.h"
#include "base/Clock.h"

#include <atomic>
#include <string>
#include <vector>

namespace vitrel {

// The covers of this evening, small, across programs and their restarts. Any thread but the main one: all of it may
// wait.
class CoverShelf
{
public:
    virtual ~CoverShelf() = default;
    // Keeps a picture (a file's bytes); one that is there already becomes the newest.
    virtual void keep(ByteView picture) = 0;
    // The newest first. Ends soon, and gives nothing, once `stop` is set.
    virtual std::vector<Bytes> covers(const std::atomic<bool>& stop) = 0;
};

// A shelf in a folder, which several processes may share: a file for each picture, named by what it holds, as old as
// the last time that it was kept. What is twelve hours old is of another evening. At most 60 pictures of a megabyte, 64
// MiB together; what can't be written isn't kept.
class CoverFolder final : public CoverShelf
{
public:
    static constexpr std::size_t kMostCovers = 60, kMostBytes = 64u << 20, kLargest = 1u << 20;
    static constexpr Seconds kEvening{12 * 3600.0};

    // The folder is made when it is first needed. The clock must outlive it.
    CoverFolder(std::string folder, const Clock& clock)
        : folder_(std::move(folder))
        , clock_(clock)
    { }
    // $XDG_CACHE_HOME/vitrel/evening, else ~/.cache/vitrel/evening; empty if there is no home either.
    static std::string usersFolder();

    void keep(ByteView picture) override;
    std::vector<Bytes> covers(const std::atomic<bool>& stop) override;

private:
    struct Kept {
        std::string path;
        double date = 0; // since 1970
        std::size_t bytes = 0;
    };
    std::vector<Kept> kept() const; // the newest first, other evenings' too
    void tidy() const;

    const std::string folder_;
    const Clock& clock_;
};

} // namespace vitrel
