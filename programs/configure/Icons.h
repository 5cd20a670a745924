#pragma once

#include <QIcon>

class QWidget;

namespace vitrel {

// Small signs in the colour of a button's text, drawn anew when that changes.
QIcon plusIcon(const QWidget& button);
QIcon minusIcon(const QWidget& button);
QIcon gridIcon(const QWidget& button);
QIcon listIcon(const QWidget& button);

} // namespace vitrel
