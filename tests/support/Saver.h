#pragma once

#include "platform/foundation/NSURL.h"
#include "saver/VitrelView.h"
#include "support/FakePlayer.h"
#include "support/RecordingQCView.h"
#include "support/TestSurroundings.h"

#include <string>
#include <vector>

namespace vitrel {

// A whole saver on a manual clock, with compositions that only say what they are asked.
struct Saver : TestSurroundings {
    FakePlayers players;
    Composer composer;
    std::vector<std::shared_ptr<NSWindow>> windows;

    explicit Saver(OperatingSystemVersion version)
    {
        surroundings.systemVersion = version;
        surroundings.players = &players;
        surroundings.makeQCView = [this] { return std::make_shared<RecordingQCView>(composer); };
    }
    ~Saver()
    {
        // Views that no test has stopped are held by the manager that they hold.
        NqiTunesManager::shared(surroundings).cleanup();
        surroundings.shared.clear();
    }

    std::shared_ptr<VitrelView> makeView(bool isPreview = false)
    {
        return VitrelView::initWithFrameIsPreview(surroundings, makeRect(0, 0, 640, 480), isPreview);
    }
    // Gives the view a window, as a host does.
    std::shared_ptr<NSWindow> show(const std::shared_ptr<VitrelView>& view)
    {
        windows.push_back(std::make_shared<NSWindow>(makeRect(10, 20, 640, 480)));
        windows.back()->contentView()->addSubview(view);
        return windows.back();
    }
    // A composition among the resources, or at a path of its own; loads from now on.
    std::string composition(const std::string& name, std::vector<std::string> keys)
    {
        const std::string path = bundleFolder.write(name + ".qtz", "");
        composer.files[path] = std::move(keys);
        return path;
    }
    void activate(const std::string& path)
    {
        store.setValueForKey(kIdentifier, "Files Paths", Value(Array{path}));
        store.setValueForKey(kIdentifier, "Active File Path", path);
    }
    // What the QCViews were asked since the last call.
    std::vector<std::string> said() { return std::exchange(composer.log, {}); }
    static RecordingQCView& recording(const VitrelView& view)
    {
        return static_cast<RecordingQCView&>(*view.viewQuartzComposition());
    }
};

} // namespace vitrel
