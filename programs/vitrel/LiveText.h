#pragma once

#include "programs/vitrel/SaverHost.h"
#include "programs/watch/FileWatch.h"

#include <memory>
#include <string>

namespace vitrel {

// The composition that somebody is writing while it plays: what is wrong with it is told, and when it is watched, also
// over the picture until it is mended; each change is loaded. Main thread.
class LiveText
{
public:
    // `path` may be empty: then there is nothing to tell. `speaks`: on standard error.
    LiveText(SaverHost& host, std::string path, bool watches, bool speaks);
    // In place of the host's own.
    void begin();
    // The view that plays it, which must outlive this.
    void attend(VitrelView& view);

private:
    bool tell();
    void changed(VitrelView& view);

    SaverHost& host_;
    const std::string path_;
    const bool watches_, speaks_;
    std::unique_ptr<FileWatch> watch_;
};

} // namespace vitrel
