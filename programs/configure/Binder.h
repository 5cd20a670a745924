#pragma once

#include "programs/configure/SheetTexts.h"

#include <QObject>

#include <functional>
#include <memory>
#include <vector>

class QAbstractButton;
class QLabel;
class QLineEdit;
class QWidget;

namespace vitrel {

class NSButton;
class NSTextField;
class NSView;

// Shows controls as widgets and tells the controls what the user does. A control's state goes to its widget at each
// change; what the user does goes into the control first, then the control's action is sent. Main thread.
class Binder : public QObject
{
public:
    explicit Binder(const SheetTexts& texts)
        : texts_(texts)
    { }
    ~Binder() override;

    // Binds every button and label beneath `view` whose identifier, its mark taken off, is the name of a widget of
    // `form`.
    void bindIdentified(const NSView& view, QWidget& form);
    void bindButton(std::shared_ptr<NSButton> button, QAbstractButton& widget);
    void bindLabel(std::shared_ptr<NSTextField> field, QLabel& widget);
    // A search field acts at each change of the text, any other when the user is done with it.
    void bindField(std::shared_ptr<NSTextField> field, QLineEdit& widget);

    // What the user has begun to type and not finished counts as finished, or is dropped.
    void finishTyping();
    void dropTyping();

private:
    struct Field {
        std::shared_ptr<NSTextField> control;
        QLineEdit* widget;
        QString shown; // what the control had when it was last shown
    };
    void bind(std::shared_ptr<NSView> view, std::function<void()> show);
    void showCommon(const NSView& view, QWidget& widget, bool enabled) const;
    void showField(Field& field);
    void actOnField(Field& field);

    const SheetTexts texts_;
    std::vector<std::shared_ptr<NSView>> views_;
    std::vector<std::unique_ptr<Field>> fields_;
};

} // namespace vitrel
