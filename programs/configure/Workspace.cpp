#include "programs/configure/Workspace.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDesktopServices>
#include <QStringList>
#include <QUrl>

namespace vitrel {
namespace {

// A file manager that the call has to start takes a while.
constexpr int kMostWait = 10000; // milliseconds

void openFolderOf(const NSURL& file)
{
    const std::string& path = file.path();
    const auto slash = path.rfind('/');
    if (slash == path.npos)
        return;
    const NSURL folder = NSURL::fileURLWithPath(path.substr(0, slash + 1));
    QDesktopServices::openUrl(QUrl::fromEncoded(QByteArray::fromStdString(folder.absoluteString())));
}

} // namespace

void Workspace::activateFileViewerSelectingURLs(const std::vector<NSURL>& files)
{
    if (files.empty())
        return;
    auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return openFolderOf(files.front());
    QStringList addresses;
    for (const NSURL& file : files)
        addresses << QString::fromStdString(file.absoluteString());
    auto call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("/org/freedesktop/FileManager1"), QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("ShowItems"));
    call << addresses << QString();
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, kMostWait));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, [watcher, first = files.front()] {
        if (watcher->isError())
            openFolderOf(first);
        watcher->deleteLater();
    });
}

bool Workspace::openURL(const std::string& address)
{
    const QUrl url(QString::fromStdString(address), QUrl::StrictMode);
    return url.isValid() && QDesktopServices::openUrl(url);
}

} // namespace vitrel
