#include "programs/configure/PanelWindow.h"

#include "platform/quartzcomposer/file/TextValues.h"
#include "programs/configure/SavedInputs.h"
#include "programs/preview/PreviewLink.h"

#include <QCoreApplication>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QShortcut>
#include <QSplitter>

namespace vitrel {

namespace {

using Json = nlohmann::ordered_json;

} // namespace

PanelWindow::PanelWindow(PreviewLink& player)
    : player_(player)
    , picture_(new PreviewWidget)
    , controls_(new InputControls)
    , state_(new QLabel)
    , save_(new QPushButton(tr("Save")))
    , saveAs_(new QPushButton(tr("Save As…")))
    , reset_(new QPushButton(tr("Reset")))
{
    auto* scroll = new QScrollArea;
    scroll->setWidget(controls_);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    auto* side = new QWidget;
    auto* column = new QVBoxLayout(side);
    auto* buttons = new QHBoxLayout;
    state_->setTextFormat(Qt::PlainText);
    state_->setWordWrap(true);
    for (QPushButton* button : {reset_, save_, saveAs_})
        buttons->addWidget(button);
    column->addWidget(scroll, 1);
    column->addWidget(state_);
    column->addLayout(buttons);
    auto* splitter = new QSplitter;
    splitter->addWidget(picture_);
    splitter->addWidget(side);
    splitter->setStretchFactor(0, 1);
    splitter->setSizes({800, 360});
    splitter->setChildrenCollapsible(false);
    side->setMinimumWidth(280);
    picture_->setMinimumSize(320, 180);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(splitter);
    resize(1180, 480);
    setWindowTitle(QStringLiteral("Vitrel"));

    save_->setObjectName(QStringLiteral("save"));
    saveAs_->setObjectName(QStringLiteral("saveAs"));
    reset_->setObjectName(QStringLiteral("reset"));
    state_->setObjectName(QStringLiteral("state"));
    QObject::connect(save_, &QPushButton::clicked, this, [this] { save(path_); });
    QObject::connect(saveAs_, &QPushButton::clicked, this, [this] { saveAs(); });
    QObject::connect(reset_, &QPushButton::clicked, this, [this] { controls_->reset(), showState(); });
    auto* keys = new QShortcut(QKeySequence::Save, this);
    QObject::connect(keys, &QShortcut::activated, save_, &QPushButton::click);
    controls_->onChange = [this](const std::string& key, const Json& value) {
        player_.say(Json{{"set", {{key, value}}}}.dump(-1, ' ', false, Json::error_handler_t::replace));
        state_->clear();
        showState();
    };
    picture_->onRetry = [this] { player_.reload(); };
    picture_->setFailureText(tr("The composition has stopped playing."), tr("Click to try again."));
    player_.onWords = [this](const std::string& words) { heard(words); };
    picture_->setLink(&player_);
    showState();
}

PanelWindow::~PanelWindow()
{
    player_.onWords = nullptr;
    picture_->setLink(nullptr);
}

void PanelWindow::heard(const std::string& words)
{
    // The player is confined, and what it plays may have taken it over.
    constexpr int kDeepest = 64;
    constexpr std::size_t kLongest = 16u << 20, kMostMembers = 10'000;
    if (words.size() > kLongest || !qc::isShapedForParsing(words, kDeepest, kMostMembers))
        return;
    const Json said = Json::parse(words, nullptr, false);
    if (!said.is_object())
        return;
    if (const auto file = said.find("file"); file != said.end() && file->is_string() && path_.empty()) {
        path_ = file->get<std::string>();
        setWindowTitle(QFileInfo(QString::fromStdString(path_)).fileName() + QStringLiteral(" – Vitrel"));
    }
    if (const auto inputs = said.find("inputs"); inputs != said.end())
        controls_->setInputs(controlledInputs(*inputs));
    if (const auto fed = said.find("fed"); fed != said.end() && fed->is_object()) {
        for (const auto& [key, value] : fed->items())
            controls_->setFed(key, value);
    }
    showState();
}

void PanelWindow::save(const std::string& target)
{
    const std::string problem = saveWithValues(path_, target, controls_->changed());
    if (problem.empty() && target == path_)
        controls_->keepChanges();
    state_->setText(QString::fromStdString(problem.empty() ? tr("Saved.").toStdString() : problem));
    showState();
}

void PanelWindow::saveAs()
{
    const QFileInfo now(QString::fromStdString(path_));
    const QString target = QFileDialog::getSaveFileName(this, QString(),
        now.dir().filePath(now.completeBaseName() + QStringLiteral(".qtz")),
        tr("Compositions") + QStringLiteral(" (*.qtz *.json)"));
    if (!target.isEmpty())
        save(target.toStdString());
}

void PanelWindow::showState()
{
    const bool isChanged = !controls_->changed().empty();
    const bool isOwn = !path_.empty() && QFileInfo(QString::fromStdString(path_)).isWritable();
    reset_->setEnabled(isChanged);
    save_->setEnabled(isChanged && isOwn);
    saveAs_->setEnabled(!path_.empty());
}

} // namespace vitrel
