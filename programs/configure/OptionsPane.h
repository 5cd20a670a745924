#pragma once

#include "platform/foundation/RunLoop.h"
#include "platform/foundation/Value.h"
#include "programs/configure/InputControls.h"
#include "programs/configure/SheetTexts.h"
#include "programs/thumbnails/CompositionFacts.h"

#include <QWidget>

#include <memory>
#include <string>

class QPushButton;

namespace vitrel {

class PreviewLink;
struct SheetSurroundings;

// What the user may set at the active composition, as controls. The preview's process says what there is, since it has
// read the file; what is set is seen there at once and stored a moment later. Hidden where there is nothing to set.
// Main thread.
class OptionsPane : public QWidget
{
public:
    // `surroundings` and `preview`, whose words it takes, must outlive it.
    OptionsPane(const SheetSurroundings& surroundings, PreviewLink& preview, const SheetTexts& texts);
    ~OptionsPane() override;

    // Of which composition from now on, by its file's name: what the preview says of others isn't shown.
    void setComposition(const std::string& filename);
    // Somebody has written to the store; it may have been this pane.
    void storeDidChange();
    // What the preview says of the composition's file; nothing of another composition's.
    std::function<void(const CompositionFacts& about)> onAbout;
    // The keyboard comes here from this one.
    void follow(QWidget& before) { before_ = &before; }

private:
    void heard(const std::string& words);
    void changed(const std::string& key, const nlohmann::ordered_json& value);
    void tellPreview();
    void storePending();
    void showState();
    std::map<std::string, nlohmann::ordered_json> stored(const std::vector<ControlledInput>& inputs) const;

    const SheetSurroundings& surroundings_;
    PreviewLink& preview_;
    InputControls* const controls_;
    QPushButton* const reset_;
    QWidget* before_ = nullptr;
    std::string filename_;
    Dictionary pending_; // not yet stored; nothing for what was taken back
    std::shared_ptr<NSTimer> storing_;
};

} // namespace vitrel
