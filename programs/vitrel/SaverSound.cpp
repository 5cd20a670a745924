#include "programs/vitrel/SaverSound.h"

#include "platform/sound/PlayedSound.h"
#include "programs/vitrel/Commands.h"

#include <utility>

namespace vitrel {

namespace {

bool isFile(const std::string& sound)
{
    return !sound.empty() && sound != "on" && sound != "off";
}

// The demonstration's sound, made when a composition asks for it: most don't, and it takes a moment.
class DemonstrationSound final : public SoundInput
{
public:
    explicit DemonstrationSound(const Clock& clock)
        : clock_(clock)
    { }
    std::shared_ptr<void> listen(std::function<void()> onSound) override
    {
        if (!sound_)
            sound_ = std::make_unique<PlayedSound>(clock_, demonstrationSound(), PlayedSound::Times::forever);
        return sound_->listen(std::move(onSound));
    }
    SoundHeard hear() override { return sound_ ? sound_->hear() : SoundHeard{}; }
    bool rests() const override { return !sound_ || sound_->rests(); }

private:
    const Clock& clock_;
    std::unique_ptr<PlayedSound> sound_;
};

} // namespace

bool listensToComputer(const SaverOptions& options, bool isChosen)
{
    if (options.withoutData || isFile(options.sound) || options.sound == "off")
        return false;
    return options.sound == "on" || (isChosen && !options.demo);
}

Result<std::unique_ptr<SoundInput>, int> soundPlayedFor(const SaverOptions& options, const Clock& clock)
{
    if (options.withoutData)
        return std::unique_ptr<SoundInput>();
    if (isFile(options.sound)) {
        auto sound = readSound(options.sound);
        if (!sound)
            return complain(options.sound + " is no sound: " + sound.error());
        return std::unique_ptr<SoundInput>(
            std::make_unique<PlayedSound>(clock, *std::move(sound), PlayedSound::Times::once));
    }
    if (options.demo && options.sound.empty())
        return std::unique_ptr<SoundInput>(std::make_unique<DemonstrationSound>(clock));
    return std::unique_ptr<SoundInput>();
}

} // namespace vitrel
