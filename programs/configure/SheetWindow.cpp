#include "programs/configure/SheetWindow.h"

#include "platform/appkit/NSWindow.h"
#include "platform/appkit/controls/NSOpenPanel.h"
#include "platform/foundation/DefaultsStore.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/Surroundings.h"
#include "platform/screensaver/ScreenSaverDefaults.h"
#include "preferences/InitialChoice.h"
#include "preferences/Settings.h"
#include "preferences/ViewLocalization.h"
#include "programs/bundles/Bringing.h"
#include "programs/child/SaverProgram.h"
#include "programs/configure/AboutLabel.h"
#include "programs/configure/BringingBar.h"
#include "programs/configure/DroppedFiles.h"
#include "programs/configure/Icons.h"
#include "programs/configure/OptionsPane.h"
#include "programs/configure/StartPage.h"
#include "programs/configure/TableBinder.h"
#include "programs/preview/PreviewLink.h"
#include "programs/thumbnails/Thumbnails.h"
#include "ui_PreferencesWC.h"

#include <QDropEvent>
#include <QFileDialog>
#include <QKeyEvent>
#include <QMimeData>
#include <QPointer>
#include <QShortcut>
#include <QTabBar>
#include <QTabWidget>

#include <algorithm>

namespace vitrel {
namespace {

std::shared_ptr<NSButton> buttonNamed(const NSView& view, const std::string& identifier)
{
    for (const auto& subview : view.subviews()) {
        if (subview->identifier() == identifier)
            return std::dynamic_pointer_cast<NSButton>(subview);
        if (auto found = buttonNamed(*subview, identifier))
            return found;
    }
    return nullptr;
}

} // namespace

// The delegate of the controller's window.
class SheetWindow::ChangeReceiver : public NSObject, public CompositionChangeReceiver
{
public:
    explicit ChangeReceiver(SheetWindow& window)
        : window_(window)
    { }
    void fileDidChange() override { window_.compositionDidChange(); }

private:
    SheetWindow& window_;
};

SheetWindow::SheetWindow(SheetSurroundings& surroundings, std::shared_ptr<PreferencesWC> controller,
    PreviewLink& preview, Thumbnails& thumbnails, const std::string& program, RunProgram run)
    : surroundings_(surroundings)
    , controller_(std::move(controller))
    , preview_(preview)
    , thumbnails_(thumbnails)
    , texts_(surroundings)
    , ui_(std::make_unique<Ui::PreferencesWC>())
    , receiver_(std::make_shared<ChangeReceiver>(*this))
    , binder_(texts_)
    , builtIn_(surroundings)
    , live_(*surroundings.runLoop,
          [this, program](const std::string& path) {
              std::vector<std::string> words{"--file", path};
              if (builtIn_.at(path)) // as its still picture
                  words.emplace_back("--demo");
              return std::make_unique<PreviewLink>(*surroundings_.runLoop, program, words);
          })
    , tryOut_(*surroundings.runLoop, program)
{
    ui_->setupUi(this);
    surroundings_.showOpenPanel = [this](const std::shared_ptr<NSOpenPanel>& panel) { showPanel(panel); };
    surroundings_.endSheet = [this](const std::shared_ptr<NSWindow>& window) {
        window->close();
        done(Accepted);
    };
    playing_ = activePath();
    localizeView(*controller_->window()->contentView(), surroundings_);
    // What stands in the feed's field is the user's, although it may look like one of our texts.
    controller_->updateView();
    controller_->window()->setDelegate(receiver_);
    makePages(program, std::move(run));
    arrange();
    bindControls();
    bindTable();
    showOptions();
    bindViews();
    nameForReaders();
    if (!surroundings_.defaults->isVolatile()) {
        const auto domain = Settings::shared(surroundings_).screenSaverDefaults()->domain();
        watch_ = std::make_unique<FileWatch>(
            *surroundings_.runLoop, surroundings_.defaults->pathForDomain(domain), [this] { storeDidChange(); });
    }
}

SheetWindow::~SheetWindow()
{
    ui_->preview->setLink(nullptr);
    thumbnails_.onReady = nullptr;
    surroundings_.showOpenPanel = nullptr;
    surroundings_.endSheet = nullptr;
}

// Two pages over the closing line. What holds for every composition stands on the second one.
void SheetWindow::makePages(const std::string& program, RunProgram run)
{
    if (!run)
        run = [this](const auto& words, auto ended) { runs_.run(words, std::move(ended)); };
    auto* pages = new QTabWidget(this);
    pages->setObjectName(QStringLiteral("pages"));
    pages->setDocumentMode(true);
    pages->setFocusProxy(nullptr); // else the bar would lose the focus with it
    pages->setFocusPolicy(Qt::NoFocus);
    auto* compositions = new QWidget(pages);
    ui_->windowLayout->removeItem(ui_->columnsLayout);
    ui_->columnsLayout->setParent(nullptr);
    compositions->setLayout(ui_->columnsLayout);
    ui_->columnsLayout->setContentsMargins(0, 10, 0, 0);
    startPage_ = new StartPage(surroundings_, texts_, std::move(run), program);
    ui_->detailLayout->removeItem(ui_->soundLayout);
    ui_->soundLayout->setParent(nullptr);
    startPage_->more().addLayout(ui_->soundLayout);
    pages->addTab(compositions, texts_("Compositions"));
    pages->addTab(startPage_, texts_("Start"));
    ui_->windowLayout->insertWidget(0, pages, 1);
}

// What a description can't say.
void SheetWindow::arrange()
{
    setWindowTitle(texts_(controller_->window()->title()));
    setAcceptDrops(true);
    ui_->closingLayout->removeWidget(ui_->okButton);
    ui_->closingLayout->removeWidget(ui_->cancelButton);
    ui_->buttonBox->addButton(ui_->okButton, QDialogButtonBox::AcceptRole);
    ui_->buttonBox->addButton(ui_->cancelButton, QDialogButtonBox::RejectRole);
    setTabOrder(ui_->cancelButton, findChild<QTabBar*>());
    QFont bold = font();
    bold.setBold(true);
    ui_->compositionName->setFont(bold);
    ui_->compositionName->installEventFilter(this);
    ui_->searchfield->installEventFilter(this);
    ui_->preview->setFailureText(
        texts_("The preview can't be shown"), texts_("Choose another composition or click here to try again"));
    ui_->preview->onRetry = [this] { preview_.reload(); };
    ui_->preview->setLink(&preview_);
    drawIcons();
    const auto shortcut = [this](const QKeySequence& keys, auto act) {
        connect(new QShortcut(keys, this), &QShortcut::activated, this, act);
    };
    bringing_ = new BringingBar(*surroundings_.runLoop, saverProgram(), texts_);
    bringing_->onBrought = [this](const std::vector<std::string>& compositions) { openFiles(compositions); };
    ui_->listLayout->addWidget(bringing_);
    shortcut(QKeySequence::Open, [this] { ui_->addButton->click(); });
    shortcut(QKeySequence::Find, [this] {
        ui_->searchfield->setFocus(Qt::ShortcutFocusReason);
        ui_->searchfield->selectAll();
    });
    connect(ui_->okButton, &QAbstractButton::pressed, this, [this] { binder_.finishTyping(); });
}

void SheetWindow::bindControls()
{
    const NSView& content = *controller_->window()->contentView();
    removeButton_ = buttonNamed(content, "removeButton");
    const auto& info = surroundings_.classBundle->infoDictionary();
    const auto site = info.find("VitrelWebsite");
    send(buttonNamed(content, "webButton"), &NSButton::setHidden, site == info.end());
    for (const auto& label :
        {controller_->labelVersion(), controller_->labelMusicAppsSupport(), controller_->labelListenToSound()})
        send(label, &NSTextField::setTextColor, NSTextColor::secondaryLabelColor);
    binder_.bindIdentified(content, *this);
    binder_.bindLabel(controller_->labelVersion(), *ui_->labelVersion);
    binder_.bindField(controller_->searchfield(), *ui_->searchfield);
    binder_.bindField(controller_->rssURLTextField(), *ui_->rssURLTextField);
}

void SheetWindow::drawIcons()
{
    ui_->addButton->setIcon(plusIcon(*ui_->addButton));
    ui_->removeButton->setIcon(minusIcon(*ui_->removeButton));
    ui_->gridButton->setIcon(gridIcon(*ui_->gridButton));
    ui_->listButton->setIcon(listIcon(*ui_->listButton));
}

// For those who hear the window instead of seeing it.
void SheetWindow::nameForReaders()
{
    ui_->searchfield->setAccessibleName(ui_->searchfield->placeholderText());
    ui_->tableviewQuartzCompositions->setAccessibleName(texts_("Compositions"));
    for (const auto& [button, text] : {std::pair(ui_->gridButton, "Grid"), {ui_->listButton, "List"}}) {
        button->setAccessibleName(texts_(text));
        button->setToolTip(texts_(text));
    }
    ui_->preview->setAccessibleName(texts_("Preview"));
    ui_->checkboxListenToSound->setAccessibleDescription(ui_->labelListenToSound->text());
    ui_->rssURLTextField->setAccessibleName(ui_->rssURLLabel->accessibleName());
}

std::string SheetWindow::activePath() const
{
    return compositionInForce(surroundings_, builtIn_);
}

Dictionary SheetWindow::stored() const
{
    auto all
        = surroundings_.defaults->dictionaryForDomain(Settings::shared(surroundings_).screenSaverDefaults()->domain());
    // The pane of options follows these by itself.
    std::erase_if(
        all, [](const auto& entry) { return entry.first.ends_with(VitrelItem::keyID("", VitrelItem::Key::options)); });
    return all;
}

void SheetWindow::openFiles(const std::vector<std::string>& given)
{
    std::vector<std::string> paths, slow;
    for (const auto& path : given)
        (takesTimeToBring(path) ? slow : paths).push_back(path);
    if (!slow.empty())
        bringing_->bring(slow);
    if (paths.empty() && !slow.empty())
        return;
    const auto known = controller_->filesPaths();
    std::vector<NSURL> added;
    for (const auto& path : paths) {
        if (std::find(known.begin(), known.end(), path) == known.end())
            added.push_back(NSURL::fileURLWithPath(path));
    }
    controller_->openPanelDidOpenFiles(added);
    if (!paths.empty() && std::find(known.begin(), known.end(), paths.back()) != known.end()) {
        controller_->setFilePathActive(paths.back());
        controller_->updateView();
    }
}

void SheetWindow::tableDidReload()
{
    shown_ = stored();
    send(removeButton_, &NSButton::setEnabled, table_->hasChosenRow());
    showEmptyText();
    showCompositionName();
    // A change that the table didn't see, of a path that is filtered out or of the list beneath a chosen row: it is
    // noticed when the controller is done.
    surroundings_.runLoop->post([window = QPointer<SheetWindow>(this)] {
        if (window && window->playing_ != window->activePath())
            window->compositionDidChange();
        if (window)
            window->watchFiles();
    });
}

void SheetWindow::watchFiles()
{
    const auto& paths = controller_->filesPaths();
    if (paths == watchedFiles_)
        return;
    watchedFiles_ = paths;
    filesWatch_ = std::make_unique<FileWatch>(
        *surroundings_.runLoop, paths, [this](const std::set<std::string>& changed) { filesDidChange(changed); });
}

void SheetWindow::filesDidChange(const std::set<std::string>& paths)
{
    for (const auto& path : paths) {
        thumbnails_.lookAgain(path);
        table_->touch(path);
    }
    table_->seeAgain();
    if (paths.count(playing_) && QFileInfo::exists(QString::fromStdString(playing_)))
        preview_.reload();
}

void SheetWindow::compositionDidChange()
{
    playing_ = activePath();
    showOptions();
    preview_.reload();
    showCompositionName();
}

void SheetWindow::showOptions()
{
    if (!options_) {
        options_ = new OptionsPane(surroundings_, preview_, texts_);
        options_->follow(*ui_->rssURLTextField);
        ui_->optionsLayout->addWidget(options_);
        auto* about = new AboutLabel(texts_);
        ui_->detailLayout->insertWidget(ui_->detailLayout->indexOf(ui_->nameLayout) + 1, about);
        options_->onAbout = [about](const CompositionFacts& facts) { about->showAbout(facts); };
    }
    const std::string path = playing_.empty() ? defaultCompositionPath(surroundings_).value_or("") : playing_;
    options_->setComposition(path.substr(path.rfind('/') + 1));
}

// Somebody has written to the store; it may have been this window.
void SheetWindow::storeDidChange()
{
    options_->storeDidChange();
    if (stored() == shown_)
        return;
    startPage_->showStored();
    const bool isOther = activePath() != playing_;
    controller_->updateData();
    controller_->updateView();
    if (isOther)
        binder_.dropTyping();
}

void SheetWindow::showCompositionName()
{
    const std::string path = activePath();
    const auto* builtIn = builtIn_.at(path);
    const QString name = path.empty() ? texts_("Built-in composition")
        : builtIn                     ? shownName(builtIn->name)
                                      : shownName(NSURL::fileURLWithPath(path).lastPathComponent());
    QLabel& label = *ui_->compositionName;
    label.setText(label.fontMetrics().elidedText(name, Qt::ElideMiddle, label.width()));
    label.setToolTip(path.empty() ? QString() : escapedText(shownName(path)));
    label.setAccessibleName(name);
}

void SheetWindow::showEmptyText()
{
    if (controller_->filesPaths().empty() && ui_->searchfield->text().isEmpty())
        table_->setEmptyText(texts_("No compositions yet"), texts_("Drop .qtz files here or press Add"));
    else
        table_->setEmptyText(texts_("Nothing found"), texts_("No name in the list has this text"));
}

void SheetWindow::showPanel(const std::shared_ptr<NSOpenPanel>& panel)
{
    const std::string active = activePath();
    const QString folder = active.empty() ? QDir::homePath() : QFileInfo(QString::fromStdString(active)).path();
    auto* dialog = new QFileDialog(this, texts_("Add Compositions"), folder);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(panel->allowsMultipleSelection() ? QFileDialog::ExistingFiles : QFileDialog::ExistingFile);
    QStringList patterns;
    for (const auto& type : panel->allowedFileTypes())
        patterns << QLatin1String("*.") + QString::fromStdString(type);
    patterns << QStringLiteral("*.json"); // the text form
    dialog->setNameFilter(texts_("Compositions") + QStringLiteral(" (%1)").arg(patterns.join(QLatin1Char(' '))));
    connect(dialog, &QDialog::finished, this, [panel, dialog](int result) {
        const bool chosen = result == QDialog::Accepted;
        panel->end(chosen ? NSOpenPanel::kOK : NSOpenPanel::kCancel,
            chosen ? localFiles(dialog->selectedUrls()) : std::vector<NSURL>());
    });
    dialog->open();
}

void SheetWindow::reject()
{
    binder_.dropTyping();
    controller_->buttonCancel();
}

void SheetWindow::dragEnterEvent(QDragEnterEvent* event)
{
    const auto files = localFiles(event->mimeData()->urls());
    const bool isFound
        = std::any_of(files.begin(), files.end(), [](const NSURL& file) { return takesTimeToBring(file.path()); });
    if (isFound || !compositionsAmong(files).empty())
        event->acceptProposedAction();
}

void SheetWindow::dropEvent(QDropEvent* event)
{
    const auto dropped = localFiles(event->mimeData()->urls());
    const auto files = compositionsAmong(dropped);
    std::vector<std::string> slow;
    for (const NSURL& file : dropped) {
        if (takesTimeToBring(file.path()))
            slow.push_back(file.path());
    }
    if (files.empty() && slow.empty())
        return;
    event->setDropAction(Qt::CopyAction);
    event->accept();
    if (!slow.empty())
        bringing_->bring(slow);
    if (!files.empty())
        controller_->openPanelDidOpenFiles(files);
    activateWindow();
}

// A return in a field ends the typing and not the window.
void SheetWindow::keyPressEvent(QKeyEvent* event)
{
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (isReturn && qobject_cast<QLineEdit*>(focusWidget())) {
        if (ui_->searchfield->hasFocus())
            ui_->tableviewQuartzCompositions->setFocus(Qt::OtherFocusReason);
        return;
    }
    QDialog::keyPressEvent(event);
}

bool SheetWindow::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == ui_->compositionName && event->type() == QEvent::Resize)
        showCompositionName();
    if (watched == ui_->searchfield && event->type() == QEvent::KeyPress
        && static_cast<QKeyEvent*>(event)->key() == Qt::Key_Down) {
        ui_->tableviewQuartzCompositions->setFocus(Qt::OtherFocusReason);
        return true;
    }
    return QDialog::eventFilter(watched, event);
}

void SheetWindow::changeEvent(QEvent* event)
{
    QDialog::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        drawIcons();
    }
}

void SheetWindow::showEvent(QShowEvent* event)
{
    QDialog::showEvent(event);
    if (controller_->filesPaths().empty() && builtIn_.all().empty())
        ui_->addButton->setFocus();
    else
        ui_->tableviewQuartzCompositions->setFocus();
}

} // namespace vitrel
