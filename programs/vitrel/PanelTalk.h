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
// values as the text form has them. To a window that shows options alone, "inputs" are these with the composition's own
// values, "about" is {"title", "author", "description", "missing": [CLASS...]}, and nothing is said of what is fed;
// that one says {"options": {KEY: VALUE}}, all that the user has set. Main thread.
class PanelTalk
{
public:
    enum class About { Inputs, Options };

    // `path` of the composition, if the window can't know it. All must outlive it.
    PanelTalk(SaverHost& host, PreviewSurface& surface, About about, std::string path = {});
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
    const About about_;
    const std::string path_;
    std::map<std::string, std::string> fed_; // JSON texts that are to be sent
    std::shared_ptr<NSTimer> sending_;
};

} // namespace vitrel
