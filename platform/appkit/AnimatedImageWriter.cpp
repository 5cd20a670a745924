#include "platform/appkit/AnimatedImageWriter.h"

#include "base/Bytes.h"
#include "platform/appkit/VipsSupport.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

namespace vitrel {

namespace {

constexpr std::size_t kMostWaiting = 2; // frames
constexpr int kBands = 3;
// The image library has all frames as one picture, one below the other, of so many rows at most; younger versions of it
// take more where they are told to.
constexpr std::int64_t kMostRows = 10'000'000;
constexpr int kMostSide = 16383; // of a WebP; a GIF's may be longer
// Of all frames together: a WebP grows in memory until its end, by up to a quarter of a byte for each.
constexpr std::int64_t kMostPixels = 1'000'000'000;
// Of a WebP, where gradients stay smooth; and how hard either is worked on, for a film that is watched while it is
// made.
constexpr int kQuality = 85, kWebPEffort = 3, kGIFEffort = 4;

} // namespace

// Between who adds frames and the thread that writes them, which asks for rows from above to below.
struct AnimatedImageWriter::Channel {
    Format format;
    int descriptor;
    std::mutex mutex;
    std::condition_variable news;
    std::deque<Bytes> waiting; // guarded by mutex, and so are the flags
    bool givenUp = false, ended = false, failed = false;
    Bytes current; // the thread's own
    std::int64_t shown = -1; // which frame that is
    std::thread thread;

    void start()
    {
        thread = std::thread([this] {
            const bool wrote = write();
            const std::lock_guard lock(mutex);
            failed = !wrote;
            ended = true;
            news.notify_all();
        });
    }

    // False if there is none any more, or it is one of before.
    bool goTo(std::int64_t frame)
    {
        while (shown < frame) {
            std::unique_lock lock(mutex);
            news.wait(lock, [this] { return givenUp || !waiting.empty(); });
            if (waiting.empty())
                return false;
            current = std::move(waiting.front());
            waiting.pop_front();
            ++shown;
            news.notify_all();
        }
        return shown == frame;
    }

    static int rows(VipsRegion* out, void*, void* self, void*, gboolean*)
    {
        auto& channel = *static_cast<Channel*>(self);
        const VipsRect& area = out->valid;
        const std::int64_t height = channel.format.height;
        for (int row = area.top; row < area.top + area.height; ++row) {
            if (!channel.goTo(row / height))
                return -1;
            const std::size_t from = std::size_t((row % height) * channel.format.width + area.left) * kBands;
            std::copy_n(channel.current.data() + from, std::size_t(area.width) * kBands,
                out->data + std::ptrdiff_t(row - area.top) * out->bpl);
        }
        return 0;
    }

    bool write()
    {
        const VipsImageHandle image(vips()->image_new());
        if (!image)
            return false;
        const auto rowsTogether = int(format.delays.size()) * format.height;
        vips()->image_init_fields(image.get(), format.width, rowsTogether, kBands, VIPS_FORMAT_UCHAR, VIPS_CODING_NONE,
            VIPS_INTERPRETATION_sRGB, 1, 1);
        vips()->image_set_int(image.get(), VIPS_META_PAGE_HEIGHT, format.height);
        vips()->image_set_int(image.get(), "loop", 0);
        vips()->image_set_array_int(image.get(), "delay", format.delays.data(), int(format.delays.size()));
        VipsImage* none[] = {nullptr};
        bool wrote = vips()->image_pipeline_array(image.get(), VIPS_DEMAND_STYLE_THINSTRIP, none) == 0
            && vips()->image_generate(image.get(), nullptr, rows, nullptr, this, nullptr) == 0;
        VipsTarget* const target = wrote ? vips()->target_new_to_descriptor(descriptor) : nullptr;
        wrote = target
            && (format.kind == AnimationKind::GIF
                       ? vips()->gifsave_target(image.get(), target, "effort", kGIFEffort, nullptr)
                       : vips()->webpsave_target(image.get(), target, "Q", kQuality, "effort", kWebPEffort, nullptr))
                == 0;
        if (target)
            g_object_unref(target);
        vips()->error_clear();
        vips()->thread_shutdown();
        return wrote;
    }

    void end()
    {
        if (thread.joinable())
            thread.join();
    }
};

bool AnimatedImageWriter::fits(const Format& format)
{
    const auto frames = std::int64_t(format.delays.size()), side = std::int64_t(format.height);
    return frames > 0 && format.width >= 1 && format.height >= 1 && format.width <= kMostSide
        && format.height <= kMostSide && frames * side <= kMostRows && frames * side * format.width <= kMostPixels;
}

AnimatedImageWriter::AnimatedImageWriter(Format format, int descriptor)
    : channel_(std::make_unique<Channel>())
{
    channel_->failed = channel_->ended = !fits(format) || !vips();
    channel_->format = std::move(format);
    channel_->descriptor = descriptor;
    if (!channel_->ended)
        channel_->start();
}

AnimatedImageWriter::~AnimatedImageWriter()
{
    {
        const std::lock_guard lock(channel_->mutex);
        channel_->givenUp = true;
        channel_->waiting.clear();
        channel_->news.notify_all();
    }
    channel_->end();
}

bool AnimatedImageWriter::add(const std::uint32_t* pixels)
{
    const std::size_t count = std::size_t(channel_->format.width) * std::size_t(channel_->format.height);
    Bytes frame(count * kBands);
    auto* to = frame.data();
    for (std::size_t k = 0; k < count; ++k) {
        for (const int shift : {16, 8, 0})
            *to++ = static_cast<std::uint8_t>(pixels[k] >> shift);
    }
    std::unique_lock lock(channel_->mutex);
    channel_->news.wait(lock, [this] { return channel_->ended || channel_->waiting.size() < kMostWaiting; });
    if (channel_->ended)
        return false;
    channel_->waiting.push_back(std::move(frame));
    channel_->news.notify_all();
    return true;
}

bool AnimatedImageWriter::finish()
{
    channel_->end();
    return !channel_->failed;
}

} // namespace vitrel
