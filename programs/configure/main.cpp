#include "platform/foundation/DefaultsStore.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/LocalizedStrings.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/Surroundings.h"
#include "platform/quartzcomposer/file/CompositionReader.h"
#include "preferences/InitialChoice.h"
#include "programs/bundles/Bringing.h"
#include "programs/child/SaverProgram.h"
#include "programs/configure/DroppedFiles.h"
#include "programs/configure/LoopDriver.h"
#include "programs/configure/PanelWindow.h"
#include "programs/configure/SheetWindow.h"
#include "programs/configure/Workspace.h"
#include "programs/preview/PreviewLink.h"
#include "programs/thumbnails/Thumbnails.h"

#include <QApplication>
#include <QLibraryInfo>
#include <QPalette>
#include <QTranslator>

#include <CLI/CLI.hpp>

#include <cstdlib>
#include <filesystem>
#include <iostream>

#include <unistd.h>

namespace vitrel {
namespace {

namespace fs = std::filesystem;

int complain(const std::string& message, int code = 1)
{
    std::cerr << "vitrel: " << message << '\n';
    return code;
}

// While the toolkit looks for a display. Without one it would end in an abort behind a page of text.
void hearOfMissingDisplay(QtMsgType type, const QMessageLogContext&, const QString&)
{
    if (type == QtFatalMsg)
        _exit(complain("there is no display"));
}

std::unique_ptr<QApplication> makeApplication(int& argc, char** argv)
{
    qInstallMessageHandler(hearOfMissingDisplay);
    auto application = std::make_unique<QApplication>(argc, argv);
    qInstallMessageHandler(nullptr);
    QCoreApplication::setApplicationName(QStringLiteral("vitrel"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VITREL_VERSION));
    QGuiApplication::setDesktopFileName(QStringLiteral("org.vitrel.Vitrel"));
    // A theme that names few of its colours leaves this one black, whatever the ground is.
    QPalette palette = QApplication::palette();
    for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        QColor muted = palette.color(group, QPalette::Text);
        muted.setAlpha(140);
        palette.setColor(group, QPalette::PlaceholderText, muted);
    }
    QApplication::setPalette(palette);
    QApplication::setWindowIcon(QIcon::fromTheme(QStringLiteral("org.vitrel.Vitrel")));
    return application;
}

// The toolkit's own texts, of its file dialog for one.
void translateToolkit(QTranslator& translator)
{
    if (translator.load(QLocale(), QStringLiteral("qtbase"), QStringLiteral("_"),
            QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QCoreApplication::installTranslator(&translator);
}

// The full paths of the compositions among what was named; the others are complained of.
std::vector<std::string> compositionPaths(const std::vector<std::string>& names)
{
    std::vector<std::string> paths;
    for (const auto& name : names) {
        std::error_code error;
        const std::string path = fs::absolute(name, error).lexically_normal();
        if (!takesTimeToBring(path) && compositionsAmong({NSURL::fileURLWithPath(path)}).empty())
            complain(fs::exists(path, error) ? name + " is no composition: " + qc::whyNoComposition(path)
                                             : "there is no file " + name);
        else
            paths.push_back(path);
    }
    return paths;
}

// A player's published inputs beside its picture; `words` are those of the player's command line.
int runPanel(int argc, char** argv, const std::vector<std::string>& words)
{
    const SystemClock clock;
    RunLoop loop(clock);
    int toolkitArgc = std::min(argc, 1);
    const auto application = makeApplication(toolkitArgc, argv);
    QTranslator translator;
    translateToolkit(translator);
    PreviewLink player(loop, saverProgram(), words);
    PanelWindow window(player);
    const LoopDriver driver(loop);
    window.show();
    return QApplication::exec();
}

int run(int argc, char** argv, const std::vector<std::string>& files)
{
    const SystemClock clock;
    RunLoop loop(clock);
    FileSystem fileSystem;
    const LogSink log = standardErrorLog(clock);
    DefaultsStore defaults(userFolder(UserFolder::Config), fileSystem, log);
    const NSBundle bundle = NSBundle::forExecutable();
    SheetSurroundings surroundings;
    surroundings.clock = &clock;
    surroundings.runLoop = &loop;
    surroundings.defaults = &defaults;
    surroundings.classBundle = surroundings.mainBundle = &bundle;
    setInitialChoice(surroundings, false);
    surroundings.languages = userLanguages();
    if (const char* version = std::getenv("VITREL_SYSTEM_VERSION"); version && *version) {
        const auto made = makeOperatingSystemVersion(version);
        if (!made)
            return complain("\"" + std::string(version) + "\" is no system version", 2);
        surroundings.systemVersion = *made;
    }
    int toolkitArgc = std::min(argc, 1);
    const auto application = makeApplication(toolkitArgc, argv);
    QTranslator translator;
    translateToolkit(translator);
    Workspace workspace;
    surroundings.workspace = &workspace;
    const auto controller = PreferencesWC::initWithWindowNibName(surroundings, "PreferencesWC");
    controller->window();
    if (!controller->tableviewQuartzCompositions())
        return complain("the description of the settings window isn't among the resources");
    const std::string program = saverProgram();
    PreviewLink preview(loop, program);
    Thumbnails thumbnails(loop, program, Thumbnails::userFolder());
    SheetWindow window(surroundings, controller, preview, thumbnails, program);
    const LoopDriver driver(loop);
    if (!files.empty())
        window.openFiles(files);
    QObject::connect(&window, &QDialog::finished, application.get(), &QCoreApplication::quit);
    window.show();
    return QApplication::exec();
}

} // namespace
} // namespace vitrel

int main(int argc, char** argv)
{
    // From the saver's program, which has read the command line.
    if (argc > 1 && std::string_view(argv[1]) == "--panel") {
        std::vector<std::string> words(argv + 1, argv + argc);
        return vitrel::runPanel(argc, argv, words);
    }
    CLI::App app("The settings of the screen saver Vitrel, with a live preview", "vitrel-configure");
    app.set_version_flag("--version", "vitrel-configure " VITREL_VERSION);
    std::vector<std::string> files;
    app.add_option(
        "FILE", files, "Compositions to add to the list, folders and ZIP archives of them; the last becomes active");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return error.get_exit_code() == 0 ? app.exit(error) : vitrel::complain(error.what(), 2);
    }
    return vitrel::run(argc, argv, vitrel::compositionPaths(files));
}
