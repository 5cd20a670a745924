#pragma once

#include "programs/configure/InputControls.h"
#include "programs/configure/PreviewWidget.h"

#include <QWidget>

#include <string>

class QLabel;
class QPushButton;

namespace vitrel {

class PreviewLink;

// A composition plays beside its published inputs as controls: what is changed is seen at once, and can be kept as the
// composition's own.
class PanelWindow : public QWidget
{
public:
    // `player` plays the composition, and talks of it; it must outlive the window.
    explicit PanelWindow(PreviewLink& player);
    ~PanelWindow() override;

private:
    void heard(const std::string& words);
    void save(const std::string& target);
    void saveAs();
    void showState();

    PreviewLink& player_;
    std::string path_; // of the composition; empty until the player has told
    PreviewWidget* picture_;
    InputControls* controls_;
    QLabel* state_;
    QPushButton *save_, *saveAs_, *reset_;
};

} // namespace vitrel
