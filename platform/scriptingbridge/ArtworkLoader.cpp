#include "platform/scriptingbridge/ArtworkLoader.h"

#include "platform/foundation/Queue.h"
#include "platform/foundation/RunLoop.h"

#include <algorithm>

namespace vitrel {
namespace {

// How many files are kept, and what they may take together. Not their pixels: to decode a cover again takes some
// hundredths of a second off the main thread, to keep it some megabytes.
constexpr std::size_t kKeptFiles = 6;
constexpr std::size_t kKeptBytes = std::size_t(32) << 20;
// Players name a file before they have written it. The first pause is within the time that a change of track waits.
constexpr Seconds kPauses[] = {Seconds(0.15), Seconds(1), Seconds(1), Seconds(1)};

} // namespace

ArtworkLoader::ArtworkLoader(RunLoop& loop, Queue& queue, ArtworkReader reader, std::function<void()> onChange)
    : loop_(loop)
    , queue_(queue)
    , reader_(std::move(reader))
    , onChange_(std::move(onChange))
{ }

ArtworkLoader::~ArtworkLoader()
{
    giveUp();
}

void ArtworkLoader::giveUp()
{
    if (stop_)
        *stop_ = true;
    stop_.reset();
    wanted_.reset();
    isPending_ = false;
}

void ArtworkLoader::want(const std::string& identity, const std::string& address)
{
    if (identity == identity_ && address == address_)
        return;
    if (identity != identity_)
        best_ = {};
    identity_ = identity;
    address_ = address;
    giveUp();
    if (address.empty())
        return;
    wanted_ = std::make_shared<int>();
    isPending_ = true;
    read(0);
}

void ArtworkLoader::read(int attempt)
{
    stop_ = std::make_shared<std::atomic<bool>>(false);
    // The worker touches nothing of this; what comes of it is dropped if something else is wanted by then.
    queue_.async([this, weak = std::weak_ptr(wanted_), stop = stop_, loop = &loop_, known = keptBytes(),
                     address = address_, reader = reader_, attempt] {
        if (*stop)
            return;
        auto artwork = known ? decodedArtwork(known) : fetchArtwork(address, *stop, reader);
        if (*stop)
            return;
        loop->post([this, weak, attempt, artwork = std::move(artwork)] {
            if (!weak.expired())
                came(attempt, artwork);
        });
    });
}

void ArtworkLoader::came(int attempt, FetchedArtwork artwork)
{
    stop_.reset();
    if (artwork.image) {
        keep(artwork.bytes);
        if (artwork.pixels() >= best_.pixels())
            best_ = std::move(artwork);
    } else if (std::size_t(attempt) < std::size(kPauses) && !address_.starts_with("data:")) {
        loop_.postAfter(kPauses[attempt], [this, weak = std::weak_ptr(wanted_), attempt] {
            if (!weak.expired())
                read(attempt + 1);
        });
        return;
    }
    isPending_ = false;
    onChange_();
}

void ArtworkLoader::keep(const std::shared_ptr<const Bytes>& bytes)
{
    if (address_.starts_with("data:"))
        return; // the address is the picture
    std::erase_if(kept_, [&](const Kept& one) { return isWanted(one); });
    kept_.push_front({identity_, address_, bytes});
    std::size_t size = 0, kept = 0;
    for (const Kept& one : kept_) {
        size += one.bytes->size() + one.address.size();
        if (size > kKeptBytes && kept > 0)
            break;
        ++kept;
    }
    kept_.resize(std::min(kept, kKeptFiles));
}

std::shared_ptr<const Bytes> ArtworkLoader::keptBytes() const
{
    const auto found = std::find_if(kept_.begin(), kept_.end(), [&](const Kept& one) { return isWanted(one); });
    return found == kept_.end() ? nullptr : found->bytes;
}

} // namespace vitrel
