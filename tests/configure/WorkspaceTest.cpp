// The desktop's file manager as it is really asked, over a bus of the test's own.
#include "programs/configure/Workspace.h"

#include "support/BusDaemon.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QTest>

namespace vitrel {
namespace {

struct FileManager : QDBusVirtualObject {
    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& bus) override
    {
        calls << message.interface() + QLatin1Char('.') + message.member() + QLatin1Char(' ')
                + message.arguments().value(0).toStringList().join(QLatin1Char(' '));
        bus.send(fails ? message.createErrorReply(QStringLiteral("org.example.No"), QString()) : message.createReply());
        return true;
    }
    QStringList calls;
    bool fails = false;
};

TEST(Workspace, HasTheFileManagerShowFilesWhateverTheirNames)
{
    const TemporaryFolder folder;
    const std::string address = "unix:path=" + (folder / "bus");
    const BusDaemon daemon(address);
    if (!daemon.isThere())
        GTEST_SKIP() << "no dbus-daemon";
    ASSERT_EQ(setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1), 0);
    FileManager manager;
    auto bus = QDBusConnection::connectToBus(QString::fromStdString(address), QStringLiteral("manager"));
    ASSERT_TRUE(bus.registerService(QStringLiteral("org.freedesktop.FileManager1")));
    ASSERT_TRUE(bus.registerVirtualObject(
        QStringLiteral("/org/freedesktop/FileManager1"), &manager, QDBusConnection::SingleNode));

    Workspace desktop;
    desktop.activateFileViewerSelectingURLs({});
    desktop.activateFileViewerSelectingURLs(
        {NSURL::fileURLWithPath("/a b/two\nlines%.qtz"), NSURL::fileURLWithPath("/\xFF.qtz")});
    ASSERT_TRUE(QTest::qWaitFor([&] { return !manager.calls.isEmpty(); }));
    manager.fails = true;
    desktop.activateFileViewerSelectingURLs({NSURL::fileURLWithPath("/c.qtz")});
    ASSERT_TRUE(QTest::qWaitFor([&] { return manager.calls.size() > 1; }));
    EXPECT_EQ(manager.calls.join(QLatin1Char('\n')).toStdString(),
        "org.freedesktop.FileManager1.ShowItems file:///a%20b/two%0Alines%25.qtz file:///%FF.qtz\n"
        "org.freedesktop.FileManager1.ShowItems file:///c.qtz");
    QTest::qWait(20); // the answer that it can't arrives, and asks for the folder instead
    QDBusConnection::disconnectFromBus(QStringLiteral("manager"));
}

} // namespace
} // namespace vitrel
