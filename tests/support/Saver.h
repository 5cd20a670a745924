#pragma once

#include "base/Text.h"
#include "platform/appkit/NSImage.h"
#include "platform/foundation/NSURL.h"
#include "platform/quartzcomposer/QCView.h"
#include "saver/VitrelView.h"
#include "support/FakePlayer.h"
#include "support/TestSurroundings.h"

#include <map>
#include <string>
#include <vector>

namespace vitrel {

// What all QCViews of a test share: the files that load with their inputs, and the log of what was asked of them.
struct Composer {
    std::map<std::string, std::vector<std::string>> files;
    std::vector<std::string> log;
    int made = 0;
    bool refuses = false; // every value
};

// Plays nothing and writes down what it is asked. Lines begin with the view's number, from 1.
class RecordingQCView final : public QCView
{
public:
    explicit RecordingQCView(Composer& composer)
        : composer_(composer)
        , number_(++composer.made)
    { }

    bool loadCompositionFromFile(const std::string& path) override
    {
        const auto found = composer_.files.find(path);
        const bool loads = found != composer_.files.end();
        say("load " + path.substr(path.rfind('/') + 1) + (loads ? "" : " fails"));
        keys = loads ? found->second : std::vector<std::string>();
        return loads;
    }
    void unloadComposition() override
    {
        say("unload");
        keys.clear();
    }
    void play(const Value&) override { say("play"); }
    bool startRendering() override
    {
        say("start");
        return true;
    }
    void pauseRendering() override { say("pause"); }
    void stopRendering() override { say("stop"); }
    bool isRendering() const override { return true; }
    void setMaxRenderingFrameRate(double rate) override { say("rate " + shortestDecimal(rate)); }
    void setAutostartsRendering(bool autostarts) override { say(autostarts ? "autostart" : "no autostart"); }
    void setEventForwardingMask(std::uint64_t mask) override
    {
        say(mask == ~std::uint64_t(0) ? "all events" : "some events");
    }
    std::vector<std::string> inputKeys() const override { return keys; }
    bool setValueForInputKey(const Value& value, const std::string& key) override
    {
        if (composer_.refuses)
            return false;
        writes.emplace_back(key, value);
        values[key] = value;
        return true;
    }
    Value valueForInputKey(const std::string& key) const override
    {
        const auto found = values.find(key);
        return found == values.end() ? Value() : found->second;
    }
    void setFrame(NSRect frame) override
    {
        say("frame " + shortestDecimal(frame.origin.x) + "," + shortestDecimal(frame.origin.y) + " "
            + shortestDecimal(frame.size.width) + "x" + shortestDecimal(frame.size.height));
        QCView::setFrame(frame);
    }
    void removeFromSuperview() override
    {
        say("remove");
        QCView::removeFromSuperview();
    }

    std::vector<std::string> keys;
    std::vector<std::pair<std::string, Value>> writes;
    std::map<std::string, Value> values;

private:
    void say(const std::string& what) { composer_.log.push_back(std::to_string(number_) + " " + what); }

    Composer& composer_;
    const int number_;
};

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
