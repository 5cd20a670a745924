#include "programs/muralis/nowplaying/Covers.h"

#include "base/Text.h"
#include "platform/appkit/ImageCoding.h"
#include "platform/appkit/ImageScaling.h"
#include "platform/appkit/NSImage.h"
#include "platform/foundation/Queue.h"
#include "platform/foundation/RunLoop.h"
#include "platform/scriptingbridge/SBApplication.h"

#include <algorithm>

namespace vitrel {

namespace {

// For the way back to the last tracks. Half a megabyte each, seldom more.
constexpr std::size_t kKept = 4;

} // namespace

std::shared_ptr<const std::string> coverText(const NSImage* artwork)
{
    if (!artwork || artwork->representations().empty() || !artwork->representations()[0].bitmap())
        return nullptr;
    const auto bitmap = scaledToFit(*artwork->representations()[0].bitmap(), Covers::kLongestSide);
    if (!bitmap)
        return nullptr;
    const auto file = isOpaque(*bitmap) ? jpegRepresentation(*bitmap) : pngRepresentation(*bitmap);
    return file ? std::make_shared<const std::string>(encodeBase64(*file)) : nullptr;
}

Covers::Covers(RunLoop& loop, Queue& queue, std::function<void()> onReady)
    : loop_(loop)
    , queue_(queue)
    , onReady_(std::move(onReady))
{ }

std::optional<Covers::Cover> Covers::find(const std::shared_ptr<SBArtwork>& artwork)
{
    const auto& bytes = artwork->rawData();
    // By owner: an address alone may by now be another's.
    const auto isIt = [&](const std::shared_ptr<Entry>& entry) {
        return !entry->artwork.owner_before(bytes) && !bytes.owner_before(entry->artwork);
    };
    const auto found = std::find_if(entries_.begin(), entries_.end(), isIt);
    if (found != entries_.end()) {
        const auto entry = *found;
        entries_.erase(found);
        entries_.push_front(entry);
        return entry->cover;
    }
    const auto entry = std::make_shared<Entry>(Entry{bytes, std::nullopt});
    entries_.push_front(entry);
    entries_.resize(std::min(entries_.size(), kKept));
    queue_.async([this, loop = &loop_, alive = std::weak_ptr(alive_), wanted = std::weak_ptr(entry), artwork] {
        if (wanted.expired())
            return; // others have come since, faster than this was begun
        const auto text = coverText(artwork->image().get());
        loop->post([this, alive, wanted, text] {
            const auto entry = alive.expired() ? nullptr : wanted.lock();
            if (!entry)
                return;
            entry->cover = Cover{text};
            onReady_();
        });
    });
    return std::nullopt;
}

} // namespace vitrel
