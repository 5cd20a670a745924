#pragma once

#include "programs/preview/PreviewSurface.h"
#include "programs/vitrel/SaverHost.h"

#include <map>
#include <set>
#include <string>

namespace vitrel {

// What a player says to the window with its inputs as controls, and hears from it, as JSON: once loaded,
// {"file": PATH, "inputs": [{"key", "type", "title", "meaning", "unit", "least", "most", "labels", "value"}...]}; while
// it plays, {"fed": {KEY: VALUE}} with what the saver feeds, as traces have it; from the window {"set": {KEY: VALUE}},
// values as the text form has them. Main thread.
class PanelTalk
{
public:
    // `path` of the composition. All must outlive it.
    PanelTalk(SaverHost& host, PreviewSurface& surface, std::string path);
    ~PanelTalk();
    // The view whose inputs are shown.
    void attend(VitrelView& view);

private:
    void loaded(CompositionView& playing);
    void fed(const Value& value, const std::string& key);
    void sendFed();
    void heard(const std::string& words);

    SaverHost& host_;
    PreviewSurface& surface_;
    const std::string path_;
    std::map<std::string, std::string> fed_; // JSON texts that are to be sent
    std::shared_ptr<NSTimer> sending_;
};

} // namespace vitrel
