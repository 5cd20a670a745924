#include "configure/StandIns.h"

#include "programs/thumbnails/Thumbnails.h"

namespace vitrel {

StandInPreview* StandInPreview::last = nullptr;
std::vector<StandInPreview*> StandInPreview::all;
StandInThumbnails* StandInThumbnails::last = nullptr;

struct PreviewLink::Child : StandInPreview {
};

PreviewLink::PreviewLink(RunLoop&, std::string, std::vector<std::string> more)
    : child_(std::make_unique<Child>())
{
    child_->words = std::move(more);
    child_->link = this;
    StandInPreview::last = child_.get();
    StandInPreview::all.push_back(child_.get());
}

PreviewLink::~PreviewLink()
{
    std::erase(StandInPreview::all, child_.get());
    StandInPreview::last = StandInPreview::all.empty() ? nullptr : StandInPreview::all.back();
}

void PreviewLink::resize(int width, int height)
{
    child_->width = width;
    child_->height = height;
}

void PreviewLink::reload()
{
    ++child_->reloads;
}

void PreviewLink::setShown(bool shown)
{
    child_->shown = shown;
}

void PreviewLink::say(std::string_view words)
{
    child_->said.emplace_back(words);
}

PreviewLink::State PreviewLink::state() const
{
    return child_->state;
}

PreviewFrame PreviewLink::frame() const
{
    const StandInPreview& given = *child_;
    if (given.pixels.empty())
        return {};
    const auto width = static_cast<std::size_t>(given.frameWidth);
    return {given.pixels.data(), given.frameWidth, static_cast<int>(given.pixels.size() / width), width};
}

struct Thumbnails::Work : StandInThumbnails {
};

Thumbnails::Thumbnails(RunLoop&, std::string, std::string)
    : work_(std::make_unique<Work>())
{
    StandInThumbnails::last = work_.get();
}

Thumbnails::~Thumbnails() = default;

std::shared_ptr<const Bitmap> Thumbnails::thumbnail(const std::string& path)
{
    const auto found = work_->pictures.find(path);
    return found == work_->pictures.end() ? nullptr : found->second;
}

std::shared_ptr<const CompositionFacts> Thumbnails::facts(const std::string& path)
{
    const auto found = work_->facts.find(path);
    return found == work_->facts.end() ? nullptr : found->second;
}

void Thumbnails::comesAlong(const std::string& path, const std::string& picture)
{
    work_->given[path] = picture;
}

void Thumbnails::lookAgain(const std::string& path)
{
    work_->lookedAgain.push_back(path);
}

void Thumbnails::want(std::vector<std::string> paths)
{
    work_->wanted = std::move(paths);
}

} // namespace vitrel
