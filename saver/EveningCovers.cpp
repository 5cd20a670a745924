#include "saver/EveningCovers.h"

#include "imaging/NSImage+Nq.h"
#include "platform/appkit/ImageCoding.h"
#include "platform/appkit/NSImage.h"
#include "platform/foundation/Queue.h"
#include "platform/foundation/RunLoop.h"

#include <algorithm>
#include <string_view>

namespace vitrel {

namespace {

std::size_t markOf(ByteView bytes)
{
    return std::hash<std::string_view>()({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

} // namespace

struct EveningCovers::Life {
    std::atomic<bool> stop{false};
    EveningCovers* covers = nullptr; // main thread; null once it has gone
};

EveningCovers::EveningCovers(RunLoop& loop, Queue& queue, std::function<void()> onChange)
    : loop_(loop)
    , queue_(queue)
    , onChange_(std::move(onChange))
    , life_(std::make_shared<Life>())
{
    life_->covers = this;
}

EveningCovers::~EveningCovers()
{
    life_->stop = true;
    life_->covers = nullptr;
}

void EveningCovers::want()
{
    if (isWanted_ || !shelf_)
        return;
    isWanted_ = true;
    queue_.async([life = life_, shelf = shelf_, &loop = loop_] {
        std::vector<Cover> before;
        for (const Bytes& bytes : shelf->covers(life->stop)) {
            if (life->stop)
                return;
            if (auto image = NSImage::imageWithData(bytes))
                before.push_back({std::move(image), markOf(bytes)});
        }
        loop.post([life, before = std::move(before)]() mutable {
            if (life->covers)
                life->covers->came(std::move(before));
        });
    });
}

// Those that were shown while the shelf was asked are newer.
void EveningCovers::came(std::vector<Cover> before)
{
    for (Cover& cover : before) {
        const bool isThere
            = std::any_of(covers_.begin(), covers_.end(), [&](const Cover& other) { return other.mark == cover.mark; });
        if (!isThere && covers_.size() < CoverFolder::kMostCovers)
            covers_.push_back(std::move(cover));
    }
    onChange_();
}

void EveningCovers::show(const std::shared_ptr<const NSImage>& cover)
{
    if (!cover || cover == shown_)
        return;
    shown_ = cover;
    queue_.async([life = life_, shelf = shelf_, cover, &loop = loop_] {
        if (life->stop)
            return;
        const auto small = resizeImageToFillSize(*cover, {double(kSide), double(kSide)});
        const auto bitmap
            = small && !small->representations().empty() ? small->representations().front().bitmap() : nullptr;
        auto bytes = bitmap ? pngRepresentation(*bitmap) : std::nullopt;
        if (!bytes || life->stop)
            return;
        if (shelf)
            shelf->keep(*bytes);
        loop.post([life, one = Cover{small, markOf(*bytes)}]() mutable {
            if (life->covers)
                life->covers->add(std::move(one));
        });
    });
}

void EveningCovers::add(Cover cover)
{
    std::erase_if(covers_, [&](const Cover& other) { return other.mark == cover.mark; });
    covers_.insert(covers_.begin(), std::move(cover));
    if (covers_.size() > CoverFolder::kMostCovers)
        covers_.pop_back();
    onChange_();
}

Value EveningCovers::covers() const
{
    Array images;
    for (const Cover& cover : covers_)
        images.emplace_back(cover.image);
    return images;
}

} // namespace vitrel
