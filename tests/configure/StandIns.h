#pragma once

#include "platform/appkit/Bitmap.h"
#include "programs/preview/PreviewLink.h"
#include "programs/thumbnails/CompositionFacts.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace vitrel {

// What the window has asked of the previews and of the thumbnails that were made last, and what they give it. No child
// process is started.
struct StandInPreview {
    int reloads = 0, width = 0, height = 0;
    bool shown = false;
    PreviewLink::State state = PreviewLink::State::starting;
    std::vector<std::uint32_t> pixels; // of the frame; none while empty
    int frameWidth = 0;
    std::vector<std::string> said, words;
    PreviewLink* link = nullptr;

    static std::vector<StandInPreview*> all; // that live
    static StandInPreview* last; // of them
};

struct StandInThumbnails {
    std::vector<std::string> wanted, lookedAgain;
    std::map<std::string, std::shared_ptr<const Bitmap>> pictures;
    std::map<std::string, std::shared_ptr<const CompositionFacts>> facts;
    std::map<std::string, std::string> given;

    static StandInThumbnails* last;
};

} // namespace vitrel
