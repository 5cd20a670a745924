#include "programs/configure/StartPage.h"

#include "platform/foundation/RunLoop.h"
#include "platform/foundation/Surroundings.h"
#include "preferences/StartSettings.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGuiApplication>
#include <QLabel>
#include <QPointer>
#include <QScreen>
#include <QSpinBox>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

namespace vitrel {
namespace {

constexpr const char* kUnit = "vitrel-idle.service";

// What a unit has started is seen among the processes a moment later.
constexpr Seconds kSettle{0.5};

// In a list's item: the names with commas between.
QString joined(const std::vector<std::string>& names)
{
    QStringList parts;
    for (const auto& name : names)
        parts << QString::fromStdString(name);
    return parts.join(QLatin1Char(','));
}

std::string firstLine(const std::string& text)
{
    return text.substr(0, text.find('\n'));
}

} // namespace

StartPage::StartPage(
    const SheetSurroundings& surroundings, const SheetTexts& texts, RunProgram run, std::string program)
    : surroundings_(surroundings)
    , texts_(texts)
    , run_(std::move(run))
    , program_(std::move(program))
{
    makeControls();
    connectControls();
    showStored();
    show();
}

void StartPage::makeControls()
{
    auto* page = new QVBoxLayout(this);
    page->setSpacing(10);
    page->setContentsMargins(16, 16, 16, 12);
    const auto named = [](auto* widget, const char* name) {
        widget->setObjectName(QLatin1String(name));
        return widget;
    };
    switch_ = named(new QCheckBox(this), "startSwitch");
    inForce_ = named(new QLabel(this), "startInForce");
    inForce_->setWordWrap(true);
    inForce_->setTextFormat(Qt::PlainText);
    inForce_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    inForce_->setForegroundRole(QPalette::PlaceholderText);
    page->addWidget(switch_);
    page->addWidget(inForce_);
    page->addSpacing(6);

    form_ = new QFormLayout;
    form_->setHorizontalSpacing(12);
    form_->setVerticalSpacing(10);
    form_->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
    minutes_ = named(new QSpinBox(this), "startMinutes");
    minutes_->setRange(1, int(StartSettings::kMostMinutes));
    minutes_->setSuffix(QLatin1Char(' ') + texts_("minutes"));
    onBattery_ = named(new QCheckBox(texts_("Also on battery"), this), "startOnBattery");
    displays_ = named(new QComboBox(this), "startDisplays");
    fade_ = named(new QDoubleSpinBox(this), "startFade");
    fade_->setRange(0, StartSettings::kMostFade);
    fade_->setSingleStep(0.5);
    fade_->setDecimals(1);
    fade_->setSuffix(QLatin1Char(' ') + texts_("seconds"));
    fade_->setSpecialValueText(texts_("At once"));
    const auto row = [&](const char* label, QWidget* field) {
        form_->addRow(texts_(label), field);
        field->setAccessibleName(texts_(label));
    };
    row("Start after:", minutes_);
    form_->addRow(QString(), onBattery_);
    row("Displays:", displays_);
    row("Comes up within:", fade_);
    page->addLayout(form_);
    more_ = new QVBoxLayout;
    more_->setContentsMargins(0, 12, 0, 0);
    page->addLayout(more_);
    page->addStretch(1);
}

void StartPage::connectControls()
{
    connect(switch_, &QCheckBox::clicked, this, [this](bool on) { switchClicked(on); });
    connect(minutes_, &QSpinBox::valueChanged, this, [this](int minutes) { setStartMinutes(surroundings_, minutes); });
    connect(onBattery_, &QCheckBox::clicked, this, [this](bool on) { setStartOnBattery(surroundings_, on); });
    connect(displays_, &QComboBox::activated, this,
        [this] { setStartDisplays(surroundings_, displaysNamed(displays_->currentData().toString().toStdString())); });
    connect(fade_, &QDoubleSpinBox::valueChanged, this,
        [this](double seconds) { setStartFade(surroundings_, Seconds(seconds)); });
    for (const auto& changed : {&QGuiApplication::screenAdded, &QGuiApplication::screenRemoved})
        connect(qGuiApp, changed, this, [this] { fillDisplays(); });
}

void StartPage::showStored()
{
    const StartSettings settings = startSettings(surroundings_);
    const QSignalBlocker minutes(minutes_), fade(fade_);
    minutes_->setValue(int(std::lround(settings.afterMinutes)));
    fade_->setValue(settings.fade.count());
    onBattery_->setChecked(settings.onBattery);
    fillDisplays();
}

void StartPage::fillDisplays()
{
    const auto chosen = startSettings(surroundings_).displays;
    displays_->clear();
    displays_->addItem(texts_("All displays"), QStringLiteral("all"));
    displays_->addItem(texts_("Primary display only"), QLatin1String(kPrimaryDisplay));
    const auto screens = QGuiApplication::screens();
    for (const QScreen* screen : screens) {
        const bool isSayable = !screen->name().isEmpty() && !screen->name().contains(QLatin1Char(','));
        if (screens.size() > 1 && isSayable)
            displays_->addItem(shownName(screen->name().toStdString()), screen->name());
    }
    const QString wanted = chosen.empty() ? QStringLiteral("all") : joined(chosen);
    int place = displays_->findData(wanted);
    if (place < 0) { // several, or one that isn't there now
        place = displays_->count();
        displays_->addItem(shownName(wanted.toStdString()), wanted);
    }
    displays_->setCurrentIndex(place);
}

bool StartPage::isXScreenSaver() const
{
    return isKnown_ && found_.state == IdleExamination::State::Other && found_.by == "xscreensaver";
}

void StartPage::look()
{
    if (isBusy_)
        return;
    run_({program_, "idle", "--status"}, [self = QPointer<StartPage>(this)](const std::optional<ProgramRun>& run) {
        if (!self)
            return;
        self->isKnown_ = run && run->code == 0;
        self->found_ = idleExaminationInText(self->isKnown_ ? run->output : std::string());
        if (self->isXScreenSaver())
            self->lookAtList();
        else
            self->lookAtUnit();
    });
}

void StartPage::lookAtUnit()
{
    run_({"systemctl", "--user", "is-enabled", kUnit},
        [self = QPointer<StartPage>(this)](const std::optional<ProgramRun>& run) {
            if (!self)
                return;
            const std::string said = run ? firstLine(run->output) : std::string();
            const bool isWord = !said.empty() && said.find(' ') == said.npos; // a sentence is a complaint
            const bool isMissing = said == "not-found" || said.find("No such file") != said.npos;
            self->unit_ = isMissing           ? Unit::NotInstalled
                : !isWord                     ? Unit::NoSystemd
                : said.starts_with("enabled") ? Unit::On
                                              : Unit::Off;
            self->show();
        });
}

void StartPage::lookAtList()
{
    run_(
        {program_, "xscreensaver", "status"}, [self = QPointer<StartPage>(this)](const std::optional<ProgramRun>& run) {
            if (!self)
                return;
            self->isListed_ = run && run->code == 0;
            self->show();
        });
}

void StartPage::switchClicked(bool on)
{
    isBusy_ = true;
    show();
    const auto words = isXScreenSaver()
        ? std::vector<std::string>{program_, "xscreensaver", on ? "add" : "remove"}
        : std::vector<std::string>{"systemctl", "--user", on ? "enable" : "disable", "--now", kUnit};
    run_(words, [self = QPointer<StartPage>(this)](const std::optional<ProgramRun>& run) {
        if (!self)
            return;
        self->isBusy_ = false;
        if (!run || run->code != 0)
            return self->show(run ? firstLine(run->output) : "…");
        self->surroundings_.runLoop->postAfter(kSettle, [self] {
            if (self)
                self->look();
        });
    });
}

// A text with the values in the places that it has for them.
QString StartPage::filled(const char* text, const std::vector<std::string>& values) const
{
    QString shown = texts_(text);
    for (const auto& value : values) {
        const auto place = shown.indexOf(QLatin1String("%@"));
        if (place >= 0)
            shown.replace(place, 2, shownName(value));
    }
    return shown;
}

QString StartPage::inForceOfUnit() const
{
    const bool isWaiting = found_.state == IdleExamination::State::Waiting;
    switch (unit_) {
    case Unit::NoSystemd:
        return texts_(isWaiting
                ? "Vitrel waits, and plays when nobody has used the computer for so long."
                : "There is no systemd session here. Have the desktop start “vitrel idle” at each login.");
    case Unit::NotInstalled:
        return texts_(isWaiting
                ? "Vitrel waits, and plays when nobody has used the computer for so long."
                : "The service vitrel-idle isn't installed. Have the desktop start “vitrel idle” at each login.");
    case Unit::On:
    case Unit::Off:
        break;
    case Unit::Unknown:
        return {};
    }
    return texts_(isWaiting     ? "Vitrel waits, and plays when nobody has used the computer for so long."
            : unit_ == Unit::On ? "It doesn't run now, and starts with the next login."
                                : "Nothing starts Vitrel by itself.");
}

QString StartPage::inForce() const
{
    if (!isKnown_)
        return {};
    switch (found_.state) {
    case IdleExamination::State::Other:
        return isXScreenSaver()
            ? texts_("XScreenSaver waits on this desktop and decides when. Choose Vitrel in its settings.")
            : filled(
                "%@ waits on this desktop and decides when. Have it start Vitrel:\n%@", {found_.by, found_.advice});
    case IdleExamination::State::Impossible:
        return texts_("This desktop doesn't tell programs that nobody uses it.");
    case IdleExamination::State::Waiting:
    case IdleExamination::State::Possible:
        break;
    }
    return inForceOfUnit();
}

void StartPage::show(const std::string& failure)
{
    const bool isOther = isKnown_ && found_.state == IdleExamination::State::Other;
    const bool canSwitch = isXScreenSaver() || unit_ == Unit::On || unit_ == Unit::Off;
    switch_->setText(texts_(
        isXScreenSaver() ? "Vitrel stands in XScreenSaver's list" : "Start by itself when nobody uses the computer"));
    switch_->setVisible(!isOther || isXScreenSaver());
    switch_->setEnabled(canSwitch && !isBusy_);
    if (!isBusy_)
        switch_->setChecked(isXScreenSaver() ? isListed_ : unit_ == Unit::On);
    inForce_->setText(failure.empty() ? inForce() : filled("That couldn't be done: %@", {failure}));
    inForce_->setToolTip(found_.state == IdleExamination::State::Impossible && isKnown_
            ? escapedText(shownName(found_.advice))
            : QString());
    switch_->setAccessibleDescription(inForce_->text());
    // XScreenSaver gives a window for each display, and fades by itself; others start what the settings say.
    for (QWidget* field : {static_cast<QWidget*>(minutes_), static_cast<QWidget*>(onBattery_)})
        form_->setRowVisible(field, !isOther);
    for (QWidget* field : {static_cast<QWidget*>(displays_), static_cast<QWidget*>(fade_)})
        form_->setRowVisible(field, !isXScreenSaver());
}

void StartPage::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    look();
}

void StartPage::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow() && isVisible())
        look(); // the user may have been elsewhere to change it
}

} // namespace vitrel
