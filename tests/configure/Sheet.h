#pragma once

#include "configure/StandIns.h"
#include "programs/configure/CompositionsModel.h"
#include "programs/configure/ProgramRuns.h"
#include "programs/configure/SheetWindow.h"
#include "programs/thumbnails/Thumbnails.h"
#include "support/RecordingWorkspace.h"
#include "support/TestSurroundings.h"

#include <QAbstractButton>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QTest>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace vitrel {

// The real window over the real controller, the real description and texts, and a store in a folder of its own.
struct Sheet : TestSurroundings {
    static constexpr const char* kDomain = "org.vitrel.Vitrel";

    TemporaryFolder folder;
    DefaultsStore disk{folder / "config", files, sink};
    TemporaryFolder bundle;
    NSBundle resources{bundleWith(bundle, {})};
    RecordingWorkspace desktop;
    std::shared_ptr<PreferencesWC> controller;
    PreviewLink preview{loop, ""};
    Thumbnails thumbnails{loop, "", ""};
    std::string program; // in place of the saver's
    // The programs that the window wants run.
    struct Run {
        std::vector<std::string> words;
        std::function<void(std::optional<ProgramRun>)> ended;
    };
    std::vector<Run> runs;
    std::unique_ptr<SheetWindow> window;

    // The real bundle with these compositions, empty files, in place of those that come along.
    static std::string bundleWith(const TemporaryFolder& place, const std::vector<std::string>& compositions)
    {
        for (const auto& entry : std::filesystem::directory_iterator(VITREL_SHARE)) {
            const auto link = place.path() / entry.path().filename();
            if (entry.path().extension() != ".qtz" && !exists(symlink_status(link)))
                std::filesystem::create_symlink(entry.path(), link);
        }
        for (const auto& name : compositions)
            place.write(name + ".qtz", "");
        return place.path();
    }

    // Open as a list, once `prepare` has run.
    explicit Sheet(
        const std::vector<std::string>& paths = {}, const std::string& active = "",
        const std::function<void(Sheet&)>& prepare = [](Sheet&) {})
    {
        surroundings.defaults = &disk;
        surroundings.classBundle = surroundings.mainBundle = &resources;
        surroundings.workspace = &desktop;
        surroundings.languages = {"en"};
        store(disk, paths, active);
        disk.setValueForKey(kDomain, "Settings View", "list");
        prepare(*this);
        controller = PreferencesWC::initWithWindowNibName(surroundings, "PreferencesWC");
        window = std::make_unique<SheetWindow>(
            surroundings, controller, preview, thumbnails, program, [this](const auto& words, auto ended) {
                runs.push_back({words, std::move(ended)});
            });
        window->resize(860, 560);
        window->show();
        settle();
        StandInPreview::last->reloads = 0;
    }
    ~Sheet()
    {
        window.reset();
        controller.reset();
        settle();
    }

    // Until nothing more happens by itself.
    void settle()
    {
        for (int turn = 0; turn < 6; ++turn) {
            loop.turn();
            QCoreApplication::processEvents();
        }
    }
    // What was written to the store's files has been noticed.
    void noticeWrites()
    {
        settle();
        fastForwardBy(Seconds(1));
        settle();
    }
    static void store(DefaultsStore& store, const std::vector<std::string>& paths, const std::string& active)
    {
        store.setValueForKey(kDomain, "Files Paths", Array(paths.begin(), paths.end()));
        store.setValueForKey(kDomain, "Active File Path", active);
    }
    // Another process, which has a store of its own over the same files.
    DefaultsStore& other()
    {
        if (!other_)
            other_.emplace(folder / "config", files, sink);
        return *other_;
    }
    // What is stored: the list with its active entry marked, or that entry behind a bar if it isn't in the list.
    std::string stored()
    {
        std::string text;
        bool listed = false;
        const auto active = other().valueForKey(kDomain, "Active File Path").value_or("");
        const Value paths = other().valueForKey(kDomain, "Files Paths").value_or(Array());
        for (const Value& path : *paths.array()) {
            listed |= path == active;
            text += (text.empty() ? "" : " ") + std::string(path == active ? "*" : "") + *path.as<std::string>();
        }
        return listed ? text : text + " | " + *active.as<std::string>();
    }
    std::optional<Value> value(const std::string& key) { return other().valueForKey(kDomain, key); }
    static int reloads() { return StandInPreview::last->reloads; }

    template <class Widget> Widget& find(const char* name) { return *window->findChild<Widget*>(name); }
    QAbstractButton& button(const char* name) { return find<QAbstractButton>(name); }
    QLineEdit& search() { return find<QLineEdit>("searchfield"); }
    QLineEdit& feed() { return find<QLineEdit>("rssURLTextField"); }
    QListView& list() { return find<QListView>("tableviewQuartzCompositions"); }

    // The list as it is seen, the chosen row marked.
    std::string shown()
    {
        std::string text;
        const auto* model = list().model();
        for (int row = 0; row < model->rowCount(); ++row) {
            const auto index = model->index(row, 0);
            text += (row ? " " : "") + std::string(list().selectionModel()->isSelected(index) ? "*" : "")
                + index.data().toString().toStdString();
        }
        return text;
    }
    QPoint placeOf(int row) { return list().visualRect(list().model()->index(row, 0)).center(); }
    void clickRow(int row)
    {
        QTest::mouseClick(list().viewport(), Qt::LeftButton, {}, placeOf(row));
        settle();
    }
    void click(const char* name)
    {
        QTest::mouseClick(&button(name), Qt::LeftButton, {}, QPoint(8, button(name).height() / 2));
        settle();
    }
    void key(QWidget& widget, Qt::Key key, Qt::KeyboardModifiers modifiers = {})
    {
        widget.setFocus();
        QTest::keyClick(&widget, key, modifiers);
        settle();
    }
    void type(QLineEdit& field, const char* text)
    {
        field.setFocus();
        QTest::keyClicks(&field, text);
        settle();
    }

private:
    std::optional<DefaultsStore> other_;
};

} // namespace vitrel
