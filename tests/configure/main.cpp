#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <QApplication>

#include <cstdio>
#include <cstdlib>

// The widgets are real; what they are shown on isn't.
int main(int argc, char** argv)
{
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    const vitrel::TemporaryFolder runtime; // of this user alone, as it must be
    setenv("XDG_RUNTIME_DIR", runtime.path().c_str(), 0);
    testing::InitGoogleMock(&argc, argv);
    // What the platform without a screen can't do isn't asked for here.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString& text) {
        if (!text.startsWith(QLatin1String("This plugin does not support")))
            std::fprintf(stderr, "%s\n", qPrintable(text));
    });
    QApplication application(argc, argv);
    // Windows come and go.
    QApplication::setQuitOnLastWindowClosed(false);
    return RUN_ALL_TESTS();
}
