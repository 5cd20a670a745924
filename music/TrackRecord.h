#pragma once

#include "base/Date.h"
#include "platform/foundation/Value.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vitrel {

class SBTrack;
struct BasicSurroundings;

// The writers of the track record. Each fills all the keys that it has a source for, whatever stood there; with no
// image the two artwork keys go. Nothing fails: what is missing or of another kind becomes "", 0, false or the
// picture for tracks without artwork. A packet's image is decoded at every call, a track's unless its artwork came
// decoded. Any thread.

// From the player's track; null writes a record of empty fields.
void writeTrack(Dictionary& record, const SBTrack* track, bool isPlaying, std::shared_ptr<const NSImage> artworkEmpty);
// From the companion's packet. Numbers beyond 64 bits saturate; a number's field that holds none reads as 0.
void writePacket(Dictionary& record, const Dictionary& packet, std::shared_ptr<const NSImage> artworkEmpty);

// The image whose file `text` holds as strict base64; null if it holds none.
std::shared_ptr<const NSImage> imageFromText(const std::string& text);

// The text of any value, as "%@" has it; nothing at all gives "". The null of JSON is "<null>": it is passed as a
// value that holds nothing, absent as a null pointer.
std::string validString(const Value* value);
std::string validatedString(const Value* value);

// "m:ss" in milliseconds; 0 for text with more or fewer colons. Each part counts by its leading digits.
std::int64_t totalTimeInMilliseconds(std::string_view time);

// The picture for tracks without artwork, from the resource "ArtworkEmpty"; null without one. Decoded once.
std::shared_ptr<const NSImage> artworkEmpty(const BasicSurroundings& surroundings);

// When a composition's input "isPlaying" is to fall for a moment, so that it notices a change of track: on an update
// that comes more than five seconds after the last such fall.
class Retrigger
{
public:
    explicit Retrigger(Date start)
        : lastChange_(start)
    { }
    // True if the input is to be set to false now; remembers it.
    bool isDue(const std::vector<std::string>& inputKeys, Date now);

    Date lastChange() const { return lastChange_; }
    void setLastChange(Date date) { lastChange_ = date; }

private:
    Date lastChange_;
};

} // namespace vitrel
