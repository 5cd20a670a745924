#pragma once

#include "base/Bytes.h"

#include <string>

namespace vitrel {

class NSWindow;
class NSWindowController;

// Fills `window` with the controls of a description: a form of Qt's designer, of which the desktop's window is made,
// too. A widget becomes the control that it stands for: QLabel and QLineEdit a text field (with the property "search"
// a search field), QPushButton, QToolButton and QCheckBox a button, QComboBox a pop-up button, QTableView and QListView
// a table, any other a view. Its object name is the outlet that it goes to; its properties "identifier" and "action"
// name its identifier and the owner's action. A table gets one column, named by "columnIdentifier" and "columnTitle".
// False, with the window as it was, if the form can't be read. Main thread.
bool loadNib(const std::string& path, NSWindow& window, NSWindowController& owner);
bool loadNibData(ByteView form, NSWindow& window, NSWindowController& owner);

} // namespace vitrel
