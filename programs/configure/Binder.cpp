#include "programs/configure/Binder.h"

#include "platform/appkit/controls/NSButton.h"
#include "platform/appkit/controls/NSTextField.h"

#include <QAbstractButton>
#include <QLabel>
#include <QLineEdit>

namespace vitrel {
namespace {

QString fromUtf8(const std::string& text)
{
    return QString::fromUtf8(text.data(), qsizetype(text.size()));
}

// A title without the mark of its mnemonic: "追加(&A)…" is "追加…".
QString spoken(QString title)
{
    const auto mark = title.indexOf(QLatin1Char('&'));
    if (mark < 0)
        return title;
    if (mark > 0 && title.mid(mark - 1, 1) == QLatin1String("(") && title.mid(mark + 2, 1) == QLatin1String(")"))
        return title.remove(mark - 1, 4);
    return title.remove(mark, 1);
}

} // namespace

Binder::~Binder()
{
    for (const auto& view : views_)
        view->onChange = nullptr;
}

void Binder::bind(std::shared_ptr<NSView> view, std::function<void()> show)
{
    show();
    view->onChange = std::move(show);
    views_.push_back(std::move(view));
}

void Binder::showCommon(const NSView& view, QWidget& widget, bool enabled) const
{
    widget.setEnabled(enabled);
    widget.setVisible(!view.isHidden());
    widget.setToolTip(view.toolTip() ? texts_(*view.toolTip()) : QString());
}

void Binder::bindIdentified(const NSView& view, QWidget& form)
{
    for (const auto& subview : view.subviews()) {
        bindIdentified(*subview, form);
        if (!subview->identifier())
            continue;
        const QString name = fromUtf8(*subview->identifier());
        if (auto button = std::dynamic_pointer_cast<NSButton>(subview)) {
            if (auto* widget = form.findChild<QAbstractButton*>(name))
                bindButton(std::move(button), *widget);
        } else if (auto label = std::dynamic_pointer_cast<NSTextField>(subview)) {
            if (auto* widget = form.findChild<QLabel*>(name))
                bindLabel(std::move(label), *widget);
        }
    }
}

void Binder::bindButton(std::shared_ptr<NSButton> button, QAbstractButton& widget)
{
    NSButton* control = button.get();
    bind(std::move(button), [this, control, &widget] {
        if (const QString title = fromUtf8(control->title()); widget.text() != title)
            widget.setText(title);
        widget.setAccessibleName(spoken(fromUtf8(control->title())));
        widget.setChecked(control->state() != NSButton::kOff);
        showCommon(*control, widget, control->isEnabled());
    });
    connect(&widget, &QAbstractButton::clicked, this, [control, &widget] {
        if (widget.isCheckable())
            control->setState(widget.isChecked() ? NSButton::kOn : NSButton::kOff);
        control->sendAction();
    });
}

void Binder::bindLabel(std::shared_ptr<NSTextField> field, QLabel& widget)
{
    NSTextField* control = field.get();
    bind(std::move(field), [this, control, &widget] {
        const QString text = texts_(control->stringValue());
        widget.setText(text);
        widget.setAccessibleName(spoken(text));
        // A label that is off is paler already.
        widget.setForegroundRole(control->isEnabled() && control->textColor() == NSTextColor::secondaryLabelColor
                ? QPalette::PlaceholderText
                : QPalette::WindowText);
        showCommon(*control, widget, control->isEnabled());
    });
}

void Binder::bindField(std::shared_ptr<NSTextField> field, QLineEdit& widget)
{
    fields_.push_back(std::make_unique<Field>(Field{field, &widget, {}}));
    Field* bound = fields_.back().get();
    bind(field, [this, bound] { showField(*bound); });
    if (std::dynamic_pointer_cast<NSSearchField>(field)) {
        connect(&widget, &QLineEdit::textChanged, this, [this, bound] { actOnField(*bound); });
    } else {
        connect(&widget, &QLineEdit::editingFinished, this, [this, bound] { actOnField(*bound); });
    }
}

void Binder::showField(Field& field)
{
    const QString text = fromUtf8(field.control->stringValue());
    // A control that has the same text as before has nothing to say to somebody who is typing.
    if (field.shown != text || !field.widget->isModified()) {
        field.shown = text;
        if (field.widget->text() != text)
            field.widget->setText(text);
    }
    if (const auto& placeholder = field.control->placeholderString())
        field.widget->setPlaceholderText(texts_(*placeholder));
    showCommon(*field.control, *field.widget, field.control->isEnabled());
}

void Binder::actOnField(Field& field)
{
    const QString text = field.widget->text();
    if (text == field.shown)
        return;
    field.shown = text;
    field.widget->setModified(false);
    field.control->setStringValue(text.toStdString());
    field.control->sendAction();
}

void Binder::finishTyping()
{
    for (const auto& field : fields_)
        actOnField(*field);
}

void Binder::dropTyping()
{
    for (const auto& field : fields_) {
        field->widget->setModified(false);
        showField(*field);
    }
}

} // namespace vitrel
