#pragma once

#include "FeedKit/fetch/Fetcher.h"
#include "music/CoverShelf.h"
#include "platform/foundation/RunLoop.h"
#include "platform/foundation/URLSession.h"
#include "platform/scriptingbridge/Artwork.h"
#include "platform/scriptingbridge/PlayerBus.h"
#include "platform/sound/SoundInput.h"
#include "platform/sound/SoundRing.h"
#include "programs/outside/Outside.h"

#include <memory>
#include <string>

namespace vitrel {

// A confined process's way to the world: the process outside, and what the world's things look like from within. Where
// that process ends, there is no player any more, and every request fails; it isn't started again. Main thread, but
// for what is said of each.
class OutsideLink
{
public:
    // Forks the process; null if it can't. Ahead of the first thread. The loop outlives the link.
    static std::unique_ptr<OutsideLink> start(RunLoop& loop, const OutsidePermissions& permissions);
    // The same with a socket whose other end somebody serves, and the ring that is written to; takes the socket over.
    static std::unique_ptr<OutsideLink> over(RunLoop& loop, int socket, std::shared_ptr<SoundRing> ring = nullptr);
    ~OutsideLink();
    OutsideLink(const OutsideLink&) = delete;
    OutsideLink& operator=(const OutsideLink&) = delete;

    // Starts the thread that listens. After the confinement, which allows no thread before; ahead of all below.
    void listen();

    // The players; once. May outlive the link, and tells nothing then.
    std::unique_ptr<PlayerBus> playerBus();
    // What is heard, once; null if that isn't permitted. May outlive the link, and hears nothing then.
    std::unique_ptr<SoundInput> sound();
    // Any thread. Outlives the link, and fails then.
    std::shared_ptr<FeedKit::Fetcher> fetcher();
    // Of the companion. Its thread is the one that listens.
    std::unique_ptr<URLSession> urlSession();
    // A cover's bytes, as artworkBytes gives them. Any thread but the main one; as `fetcher`.
    ArtworkReader covers();
    // The covers of this evening, kept outside. Any thread but the main one; as `fetcher`.
    std::shared_ptr<CoverShelf> coverShelf();

private:
    struct State;
    class Bus;
    class Feeds;
    class Shelf;
    class Session;
    class Sound;
    explicit OutsideLink(std::shared_ptr<State> state);

    std::shared_ptr<State> state_;
};

} // namespace vitrel
