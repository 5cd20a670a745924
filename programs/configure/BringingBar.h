#pragma once

#include "platform/foundation/RunLoop.h"
#include "programs/configure/SheetTexts.h"

#include <QWidget>

#include <functional>
#include <memory>
#include <string>
#include <vector>

class QLabel;
class QPushButton;

namespace vitrel {

class ChildProcess;

// Brings in the compositions of folders and archives. A confined process looks for them, since they are strangers' and
// may lie on a slow disk; while it does, and where it finds nothing, a line says so, with a button to end it. Hidden at
// other times. Main thread.
class BringingBar : public QWidget
{
public:
    // `loop` must outlive it. `program` is the path of the saver's program.
    BringingBar(RunLoop& loop, std::string program, const SheetTexts& texts);
    ~BringingBar() override;

    // After what is under way.
    void bring(const std::vector<std::string>& paths);
    // Full paths; not called for none.
    std::function<void(const std::vector<std::string>& compositions)> onBrought;

private:
    void next();
    void ended(bool well);
    void stop();
    void removeFolder();
    void say(const QString& text, bool isBusy);

    RunLoop& loop_;
    const std::string program_;
    const SheetTexts texts_;
    QLabel* const text_;
    QPushButton* const button_;
    std::vector<std::vector<std::string>> waiting_;
    std::string folder_; // for what the process says that runs
    std::unique_ptr<ChildProcess> process_;
    std::shared_ptr<NSTimer> patience_;
};

} // namespace vitrel
