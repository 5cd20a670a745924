#include "programs/configure/ProgramRuns.h"

#include <QProcess>
#include <QTimer>

#include <utility>

namespace vitrel {
namespace {

constexpr qsizetype kMostOutput = 64 << 10;

} // namespace

ProgramRuns::~ProgramRuns()
{
    for (QProcess* process : running_) {
        process->disconnect();
        process->kill();
        process->waitForFinished(1000);
        delete process;
    }
}

void ProgramRuns::run(const std::vector<std::string>& words, std::function<void(std::optional<ProgramRun>)> ended)
{
    auto* process = new QProcess;
    running_.push_back(process);
    process->setProcessChannelMode(QProcess::MergedChannels);
    process->setStandardInputFile(QProcess::nullDevice());
    QStringList arguments;
    for (std::size_t k = 1; k < words.size(); ++k)
        arguments << QString::fromStdString(words[k]);
    const auto end = [this, process, ended = std::move(ended)](bool well) {
        // An error and an end may both be told.
        if (std::erase(running_, process) == 0)
            return;
        const QByteArray output = process->readAll().left(kMostOutput);
        process->deleteLater();
        if (well)
            ended(ProgramRun{process->exitCode(), output.toStdString()});
        else
            ended(std::nullopt);
    };
    connect(process, &QProcess::finished, this,
        [end](int, QProcess::ExitStatus status) { end(status == QProcess::NormalExit); });
    connect(process, &QProcess::errorOccurred, this, [end](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            end(false);
    });
    QTimer::singleShot(kPatience, process, &QProcess::kill);
    process->start(words.empty() ? QString() : QString::fromStdString(words[0]), arguments, QIODevice::ReadOnly);
}

} // namespace vitrel
