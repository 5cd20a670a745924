#include "programs/vitrel/LiveText.h"

#include "platform/foundation/Files.h"
#include "platform/quartzcomposer/file/CompositionReader.h"
#include "programs/vitrel/Commands.h"
#include "programs/vitrel/TextReport.h"

namespace vitrel {

LiveText::LiveText(SaverHost& host, std::string path, bool watches, bool speaks)
    : host_(host)
    , path_(std::move(path))
    , watches_(watches)
    , speaks_(speaks)
{ }

void LiveText::begin()
{
    if (watches_) // editors write another file in the place of the one that there was
        host_.begin({{qc::folderOf(path_)}, {}}, {userFolder(UserFolder::State)});
    else
        host_.begin();
}

void LiveText::attend(VitrelView& view)
{
    tell();
    if (watches_)
        watch_ = std::make_unique<FileWatch>(host_.runLoop(), path_, [this, &view] { changed(view); });
}

// Whether there are errors.
bool LiveText::tell()
{
    if (path_.empty() || (!watches_ && !speaks_))
        return false;
    const TextReport report = reportText(path_, speaks_);
    if (watches_)
        host_.setNotice(report.lines);
    return report.hasErrors;
}

void LiveText::changed(VitrelView& view)
{
    // What an editor has half written, or an author half thought, doesn't take the picture away.
    if (tell() || host_.stopping())
        return;
    if (const auto read = qc::readCompositionFile(path_); read)
        view.reloadInPlace();
    else if (speaks_)
        complain(path_ + " is no composition: " + read.error().reason);
}

} // namespace vitrel
