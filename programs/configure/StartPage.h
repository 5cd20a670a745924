#pragma once

#include "programs/configure/ProgramRuns.h"
#include "programs/configure/SheetTexts.h"
#include "programs/idle/IdleExamination.h"

#include <QWidget>

#include <string>
#include <vector>

class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QFormLayout;
class QLabel;
class QSpinBox;
class QVBoxLayout;

namespace vitrel {

struct SheetSurroundings;

// The page on which the user says when and where the saver starts by itself, and reads what is in force on this
// desktop. What the user changes is stored at once, and counts at once for `vitrel idle` that waits. Only what acts is
// shown: who has another program wait sets the time there. Main thread.
class StartPage : public QWidget
{
public:
    // `surroundings` must outlive it; `program` is the path of the saver's program, by which the desktop is looked at.
    StartPage(const SheetSurroundings& surroundings, const SheetTexts& texts, RunProgram run, std::string program);

    // Asks anew who starts the saver.
    void look();
    // Shows what is stored by now.
    void showStored();
    // Takes more beneath its own.
    QVBoxLayout& more() { return *more_; }

protected:
    void showEvent(QShowEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    enum class Unit { Unknown, NoSystemd, NotInstalled, Off, On };

    void makeControls();
    void connectControls();
    QString filled(const char* text, const std::vector<std::string>& values) const;
    void fillDisplays();
    void lookAtUnit();
    void lookAtList();
    void show(const std::string& failure = {});
    QString inForce() const;
    QString inForceOfUnit() const;
    bool isXScreenSaver() const;
    void switchClicked(bool on);

    const SheetSurroundings& surroundings_;
    const SheetTexts texts_;
    const RunProgram run_;
    const std::string program_;
    QVBoxLayout* more_ = nullptr;
    QFormLayout* form_ = nullptr;
    QCheckBox *switch_ = nullptr, *onBattery_ = nullptr;
    QLabel* inForce_ = nullptr;
    QSpinBox* minutes_ = nullptr;
    QComboBox* displays_ = nullptr;
    QDoubleSpinBox* fade_ = nullptr;
    bool isKnown_ = false, isBusy_ = false, isListed_ = false;
    IdleExamination found_;
    Unit unit_ = Unit::Unknown;
};

} // namespace vitrel
