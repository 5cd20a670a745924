#include "programs/configure/BringingBar.h"

#include "platform/foundation/Files.h"
#include "programs/bundles/Bringing.h"
#include "programs/child/ChildProcess.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

#include <sys/wait.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <utility>

namespace vitrel {

namespace {

namespace fs = std::filesystem;

// Ten thousand names on a slow disk, or the largest archive.
constexpr Seconds kPatience{120};
constexpr std::size_t kMostBytes = 64u << 20;

} // namespace

BringingBar::BringingBar(RunLoop& loop, std::string program, const SheetTexts& texts)
    : loop_(loop)
    , program_(std::move(program))
    , texts_(texts)
    , text_(new QLabel)
    , button_(new QPushButton)
{
    text_->setTextFormat(Qt::PlainText);
    text_->setWordWrap(true);
    text_->setObjectName(QStringLiteral("bringingText"));
    button_->setAutoDefault(false);
    button_->setObjectName(QStringLiteral("bringingButton"));
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(text_, 1);
    row->addWidget(button_);
    QObject::connect(button_, &QPushButton::clicked, this, [this] { stop(); });
    hide();
}

BringingBar::~BringingBar()
{
    stop();
}

void BringingBar::say(const QString& text, bool isBusy)
{
    text_->setText(text);
    button_->setText(texts_(isBusy ? "Stop" : "Close"));
    setVisible(!text.isEmpty());
}

void BringingBar::bring(const std::vector<std::string>& paths)
{
    waiting_.push_back(paths);
    if (!process_)
        next();
}

void BringingBar::next()
{
    if (waiting_.empty())
        return;
    std::error_code error;
    // A folder of its own is all that the process may write to besides.
    std::string folder = (fs::temp_directory_path(error) / "vitrel-XXXXXX").string();
    folder_ = ::mkdtemp(folder.data()) ? folder : "";
    std::vector<std::string> words{"vitrel", "bring", "--output", folder_ + "/found", "--"};
    words.insert(words.end(), waiting_.front().begin(), waiting_.front().end());
    waiting_.erase(waiting_.begin());
    process_ = ChildProcess::start(loop_, ChildProcess::Kind::apart, program_, words, -1,
        [this](int status) { ended(WIFEXITED(status) && WEXITSTATUS(status) == 0); });
    if (!process_)
        return ended(false);
    say(texts_("Looking for compositions…"), true);
    patience_ = loop_.scheduledTimer(kPatience, false, [this] { process_->kill(SIGKILL); });
}

void BringingBar::ended(bool well)
{
    if (patience_)
        patience_->invalidate();
    process_.reset();
    const auto bytes = readFile(folder_ + "/found", kMostBytes);
    removeFolder();
    const Brought brought = well && bytes ? broughtOfText(textOf(*bytes)) : Brought();
    QString problem = well ? QString() : texts_("Nothing could be brought in");
    if (!brought.problems.empty()) {
        const auto& [path, reason] = brought.problems.front();
        const bool isNothing = reason == kNoComposition;
        problem = texts_(isNothing ? "There is no composition in “%@”" : "“%@” can't be unpacked here");
        problem.replace(QStringLiteral("%@"), shownName(fs::path(path).filename().string()));
    }
    say(problem, false);
    if (!brought.compositions.empty() && onBrought)
        onBrought(brought.compositions);
    next();
}

void BringingBar::stop()
{
    waiting_.clear();
    if (patience_)
        patience_->invalidate();
    process_.reset(); // which ends it
    removeFolder();
    say({}, false);
}

void BringingBar::removeFolder()
{
    std::error_code error;
    if (!folder_.empty())
        fs::remove_all(std::exchange(folder_, {}), error);
}

} // namespace vitrel
