#include "platform/scriptingbridge/SBApplication.h"

#include "platform/appkit/NSImage.h"

#include <cmath>
#include <cstdio>

namespace vitrel {

std::shared_ptr<const NSImage> SBArtwork::image() const
{
    return image_ || !rawData_ ? image_ : NSImage::imageWithData(*rawData_);
}

Result<Value, NSError> SBArtwork::data() const
{
    const auto picture = image();
    return picture ? Value(picture) : Value();
}

std::string trackTime(double seconds)
{
    // A century; what is longer is a mistake of the player's.
    if (!(seconds > 0) || seconds > 3.2e9)
        return "";
    const auto whole = static_cast<long long>(seconds);
    char text[40];
    if (whole >= 3600)
        std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", whole / 3600, whole / 60 % 60, whole % 60);
    else
        std::snprintf(text, sizeof text, "%lld:%02lld", whole / 60, whole % 60);
    return text;
}

Result<std::shared_ptr<ITLibrary>, NSError> PlayerProvider::libraryWithAPIVersion(const std::string&)
{
    return std::make_shared<ITLibrary>();
}

} // namespace vitrel
