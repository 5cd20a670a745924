#include "configure/Sheet.h"
#include "preferences/Settings.h"

#include <gmock/gmock.h>

#include <QApplication>
#include <QContextMenuEvent>
#include <QDropEvent>
#include <QFileDialog>
#include <QMenu>
#include <QMimeData>
#include <QScrollBar>

namespace vitrel {
namespace {

using testing::ElementsAre;

// Drops what the addresses name onto the window, as a file manager does. False if the window wants none of it.
bool drop(Sheet& in, const std::vector<std::string>& addresses)
{
    QMimeData data;
    QList<QUrl> urls;
    for (const auto& address : addresses)
        urls << QUrl::fromEncoded(QByteArray::fromStdString(address));
    data.setUrls(urls);
    const QPoint place = in.window->rect().center();
    QDragEnterEvent enter(place, Qt::CopyAction | Qt::MoveAction, &data, Qt::LeftButton, {});
    enter.ignore();
    QApplication::sendEvent(in.window.get(), &enter);
    if (!enter.isAccepted())
        return false;
    QDropEvent event(place, Qt::CopyAction | Qt::MoveAction, &data, Qt::LeftButton, {});
    QApplication::sendEvent(in.window.get(), &event);
    in.settle();
    // A file manager that is told "moved" deletes its file.
    EXPECT_EQ(event.dropAction(), Qt::CopyAction);
    return true;
}

QMenu* openMenu(Sheet& in, QPoint place, QContextMenuEvent::Reason reason = QContextMenuEvent::Mouse)
{
    QWidget* target = reason == QContextMenuEvent::Mouse ? in.list().viewport() : static_cast<QWidget*>(&in.list());
    QContextMenuEvent event(reason, place, target->mapToGlobal(place));
    QApplication::sendEvent(target, &event);
    in.settle();
    return qobject_cast<QMenu*>(QApplication::activePopupWidget());
}

void choose(Sheet& in, QMenu* menu, const char* text)
{
    ASSERT_TRUE(menu);
    const QList<QAction*> actions = menu->actions();
    const auto action = std::find_if(
        actions.begin(), actions.end(), [&](const QAction* one) { return one->text() == QLatin1String(text); });
    ASSERT_NE(action, actions.end()) << text;
    // A pointer that hasn't moved since the menu came up chooses nothing on Qt 6.8.
    menu->setActiveAction(*action);
    QTest::keyClick(menu, Qt::Key_Return);
    in.settle();
}

// Line ends, markup and bytes that are no text must not tear a row, a tool tip or the model apart.
TEST(SheetWindow, ShowsNamesHarmlesslyWhateverIsInThem)
{
    Sheet in({"/a/two\nlines.qtz", "/b/<img src=x>.qtz", "/c/\xFF\xFE.qtz", "/d/\xE2\x80\xAEztq.exe.qtz", "/"},
        "/a/two\nlines.qtz");
    EXPECT_EQ(in.shown(), "*two lines.qtz <img src=x>.qtz \xEF\xBF\xBD\xEF\xBF\xBD.qtz  ztq.exe.qtz /");
    EXPECT_TRUE(in.list().model()->index(1, 0).data(Qt::ToolTipRole).toString().contains(QLatin1String("&lt;img")));
    EXPECT_EQ(in.find<QLabel>("compositionName").text(), QLatin1String("two lines.qtz"));
    in.window->grab();
    Sheet deep({"/" + std::string(4000, 'y') + "/" + std::string(4000, 'x') + ".qtz"});
    deep.window->grab();
    deep.clickRow(0);
    EXPECT_EQ(deep.window->width(), 860) << "no name makes the window wider";
}

TEST(SheetWindow, AddsTheCompositionsOfADropAndNothingElse)
{
    Sheet in;
    const auto a = in.folder.write("A b.qtz", ""), upper = in.folder.write("C.QTZ", "");
    const auto odd = in.folder.write("o\xFFld.qtz", ""), text = in.folder.write("d.txt", "");
    const std::string root = "file://" + in.folder.path() + "/";
    EXPECT_FALSE(drop(in,
        {root + "d.txt", root + "gone.qtz", "https://example.org/a.qtz",
            "file://elsewhere" + in.folder.path() + "/C.QTZ"}));
    EXPECT_FALSE(drop(in, {}));
    EXPECT_EQ(in.stored(), " | ");
    EXPECT_TRUE(drop(in, {root + "A%20b.qtz", root + "d.txt", root + "C.QTZ"}));
    EXPECT_EQ(in.stored(), a + " *" + upper);
    EXPECT_EQ(in.shown(), "A b.qtz *C.QTZ");
    EXPECT_EQ(in.reloads(), 1);
    EXPECT_TRUE(drop(in, {root + "o%FFld.qtz"}));
    EXPECT_EQ(in.controller->filesPaths().back(), odd) << "byte for byte";
}

// Looked for by the real process: a folder's compositions come by their names, and what has none says so in a line.
TEST(SheetWindow, BringsInWhatAFolderHoldsWithoutWaitingForIt)
{
    Sheet in({"/there"}, "/there");
    const auto a = in.folder.write("mine/A.qtz", ""), b = in.folder.write("mine/deep/b.qtz", "");
    const auto none = in.folder.write("none/x.txt", "");
    const std::string root = "file://" + in.folder.path() + "/";
    setenv("XDG_DATA_HOME", (in.folder / "data").c_str(), 1);
    auto& text = in.find<QLabel>("bringingText");
    const auto settled = [&] {
        for (int turn = 0; turn < 2000 && in.button("bringingButton").text() == QLatin1String("Stop"); ++turn) {
            in.settle();
            QTest::qWait(5);
        }
        in.settle();
        return text.isVisible() ? text.text().toStdString() : "";
    };
    EXPECT_TRUE(drop(in, {root + "mine"}));
    EXPECT_EQ(text.text(), QStringLiteral("Looking for compositions…"));
    EXPECT_EQ(settled(), "");
    EXPECT_EQ(in.stored(), "/there " + a + " *" + b);
    EXPECT_TRUE(drop(in, {root + "mine"}));
    settled();
    EXPECT_EQ(in.stored(), "/there " + a + " *" + b) << "no row twice";
    EXPECT_TRUE(drop(in, {root + "none"}));
    EXPECT_EQ(settled(), "There is no composition in “none”");
    in.click("bringingButton");
    EXPECT_FALSE(text.isVisible());
    EXPECT_TRUE(drop(in, {root + "mine"}));
    in.click("bringingButton");
    EXPECT_EQ(settled(), "") << "stopped";
    unsetenv("XDG_DATA_HOME");
}

TEST(SheetWindow, AClickedRowBecomesActiveOnceAndIsRemovedByKeyAndByButton)
{
    Sheet in({"/a", "/b", "/c"}, "/a");
    EXPECT_EQ(in.shown(), "*a b c");
    in.clickRow(2);
    EXPECT_EQ(in.stored(), "/a /b */c");
    EXPECT_EQ(in.find<QLabel>("compositionName").text(), QLatin1String("c"));
    in.clickRow(2);
    in.noticeWrites();
    EXPECT_EQ(in.reloads(), 1) << "neither the same row again nor the window's own write is a change";
    in.key(in.list(), Qt::Key_Up);
    EXPECT_EQ(in.stored(), "/a */b /c") << "by key, too";
    in.type(in.search(), "");
    in.key(in.search(), Qt::Key_Delete);
    in.key(in.list(), Qt::Key_Return);
    EXPECT_EQ(in.stored(), "/a */b /c") << "a key in a field edits the field";
    EXPECT_TRUE(in.window->isVisible()) << "return in the list closes nothing";
    in.key(in.list(), Qt::Key_Delete);
    EXPECT_EQ(in.stored(), "/a */c");
    EXPECT_EQ(in.shown(), "a *c");
    in.click("removeButton");
    in.click("removeButton");
    EXPECT_EQ(in.stored(), " | ");
    EXPECT_FALSE(in.button("removeButton").isEnabled());
    EXPECT_TRUE(in.list().viewport()->findChild<QLabel*>()->text().contains(QLatin1String("No compositions yet")));
    EXPECT_EQ(in.find<QLabel>("compositionName").text(), QLatin1String("Built-in composition"));
}

TEST(SheetWindow, FiltersAtEachKeyAndNeverRemovesWhatIsNotSeen)
{
    Sheet in({"/aurora.qtz", "/zebra.qtz", "/aura.qtz"}, "/zebra.qtz");
    in.type(in.search(), "A");
    EXPECT_EQ(in.shown(), "aurora.qtz *zebra.qtz aura.qtz");
    in.type(in.search(), "ur");
    EXPECT_EQ(in.shown(), "aurora.qtz aura.qtz") << "the row that stands where the active one stood isn't chosen";
    EXPECT_FALSE(in.button("removeButton").isEnabled());
    in.key(in.list(), Qt::Key_Delete);
    EXPECT_EQ(in.stored(), "/aurora.qtz */zebra.qtz /aura.qtz");
    in.clickRow(1);
    EXPECT_EQ(in.stored(), "/aurora.qtz /zebra.qtz */aura.qtz") << "though the table had that row selected before";
    in.type(in.search(), "x");
    EXPECT_EQ(in.shown(), "");
    EXPECT_TRUE(in.list().viewport()->findChild<QLabel*>()->text().contains(QLatin1String("Nothing found")));
    in.search().clear();
    in.settle();
    EXPECT_EQ(in.shown(), "aurora.qtz zebra.qtz *aura.qtz");
}

TEST(SheetWindow, TheMenuActsOnTheFileItWasOpenedOn)
{
    Sheet in({"/a", "/b", "/c"}, "/a");
    EXPECT_FALSE(openMenu(in, {10, in.list().viewport()->height() - 3})) << "outside any row";
    QTest::mouseClick(in.list().viewport(), Qt::RightButton, {}, in.placeOf(1));
    QMenu* menu = openMenu(in, in.placeOf(1));
    EXPECT_EQ(in.shown(), "*a b c") << "the row of the menu isn't chosen by it";
    choose(in, menu, "Show in Files");
    EXPECT_THAT(in.desktop.shown, ElementsAre("/b"));
    const std::tuple<std::vector<std::string>, const char*, const char*> cases[]
        = {{{"/b", "/c", "/d"}, "*/c /d", "where the file stands now"}, {{"/c", "/e"}, "*/c /e", "it is gone already"}};
    for (const auto& [meanwhile, left, why] : cases) {
        menu = openMenu(in, in.placeOf(1));
        Sheet::store(in.other(), meanwhile, "/c");
        in.noticeWrites();
        choose(in, menu, "Remove from List");
        EXPECT_EQ(in.stored(), left) << why;
    }
    choose(in, openMenu(in, {0, 0}, QContextMenuEvent::Keyboard), "Show in Files");
    EXPECT_EQ(in.desktop.shown.back(), "/c") << "by key, on the chosen row";
}

TEST(SheetWindow, TheFeedAddressCountsWhenTheUserIsDoneWithIt)
{
    Sheet in({"/a.qtz", "/b.qtz"}, "/a.qtz",
        [](Sheet& in) { in.disk.setValueForKey(Sheet::kDomain, "b.qtz: Is RSS Visualizer", true); });
    EXPECT_FALSE(in.feed().isEnabled());
    in.disk.setValueForKey(Sheet::kDomain, "a.qtz: Is RSS Visualizer", true);
    in.noticeWrites();
    ASSERT_TRUE(in.feed().isEnabled()) << "the preview has seen that it shows feeds";
    const auto address = [&] { return in.value("a.qtz: RSS URL"); };
    in.type(in.feed(), "http://x");
    EXPECT_EQ(address(), std::nullopt) << "half an address";
    in.other().setValueForKey(Sheet::kDomain, "Use Random Screen Saver", true);
    in.noticeWrites();
    EXPECT_EQ(in.feed().text(), QLatin1String("http://x")) << "another's change takes nothing from under the fingers";
    in.key(in.feed(), Qt::Key_Return);
    EXPECT_EQ(address(), Value("http://x"));
    EXPECT_TRUE(in.window->isVisible()) << "return ends the typing, not the window";
    EXPECT_EQ(in.reloads(), 1);
    in.key(in.feed(), Qt::Key_Return);
    EXPECT_EQ(in.reloads(), 1) << "the same text again";
    in.type(in.feed(), "y");
    in.clickRow(1);
    EXPECT_EQ(address(), Value("http://xy")) << "leaving the field ends the typing; it is the old one's address";
    EXPECT_EQ(in.value("b.qtz: RSS URL"), std::nullopt);
    EXPECT_EQ(in.feed().text(), QString());
    in.type(in.feed(), "lost");
    Sheet::store(in.other(), {"/a.qtz", "/b.qtz"}, "/a.qtz");
    in.noticeWrites();
    EXPECT_EQ(in.feed().text(), QLatin1String("http://xy")) << "another composition's address";
    in.key(in.feed(), Qt::Key_Return);
    EXPECT_EQ(address(), Value("http://xy"));
}

TEST(SheetWindow, EndsByEveryWayOutAndKeepsWhatWasDone)
{
    const std::tuple<void (*)(Sheet&), const char*, const char*> cases[] = {
        {[](Sheet& in) { in.click("okButton"); }, "http://x", "OK"},
        {[](Sheet& in) { in.button("okButton").click(); }, "http://x", "OK that takes no focus"},
        {[](Sheet& in) { in.click("cancelButton"); }, "http://x", "Cancel takes nothing back"},
        {[](Sheet& in) { in.key(in.feed(), Qt::Key_Escape); }, nullptr, "Escape drops what is half typed"},
        {[](Sheet& in) { in.window->close(); }, nullptr, "the window's own button"},
    };
    for (const auto& [leave, address, why] : cases) {
        Sheet in({"/a.qtz", "/b.qtz"}, "/a.qtz",
            [](Sheet& in) { in.disk.setValueForKey(Sheet::kDomain, "b.qtz: Is RSS Visualizer", true); });
        in.clickRow(1);
        in.type(in.feed(), "http://x");
        leave(in);
        in.settle();
        EXPECT_FALSE(in.window->isVisible()) << why;
        EXPECT_TRUE(in.controller->window()->isClosed()) << why;
        EXPECT_EQ(in.stored(), "/a.qtz */b.qtz") << why;
        EXPECT_EQ(in.value("b.qtz: RSS URL"), address ? std::optional<Value>(address) : std::nullopt) << why;
    }
}

TEST(SheetWindow, ShowsAtOnceWhatAnotherProcessStoresAndStoresTheBoxes)
{
    Sheet in({"/a", "/b"}, "/a");
    Sheet::store(in.other(), {"/b", "/c"}, "/b");
    in.noticeWrites();
    EXPECT_EQ(in.shown(), "*b c");
    EXPECT_EQ(in.reloads(), 1) << "another file in the row that was chosen before";
    in.type(in.search(), "b");
    Sheet::store(in.other(), {"/b", "/c"}, "/c");
    in.noticeWrites();
    EXPECT_EQ(in.shown(), "b");
    EXPECT_EQ(in.reloads(), 2) << "one that is filtered out";
    EXPECT_EQ(in.find<QLabel>("compositionName").text(), QLatin1String("c"));
    for (const bool random : {true, false}) {
        in.click("checkboxUseRandomScreenSaver");
        EXPECT_EQ(in.value("Use Random Screen Saver"), Value(random)) << "and the other way round";
    }
    in.other().setValueForKey(Sheet::kDomain, "Use Random Screen Saver", true);
    in.noticeWrites();
    EXPECT_TRUE(in.button("checkboxUseRandomScreenSaver").isChecked());
    EXPECT_EQ(in.reloads(), 2);
    EXPECT_TRUE(in.button("checkboxListenToSound").isChecked()) << "until the user says otherwise";
    EXPECT_FALSE(in.value("Listen To Sound")) << "a look stores nothing";
    in.click("checkboxListenToSound");
    EXPECT_EQ(in.value("Listen To Sound"), Value(false));
    EXPECT_EQ(in.reloads(), 3) << "the preview goes deaf";
    EXPECT_FALSE(Settings::shared(in.surroundings).listensToSound());
    in.other().setValueForKey(Sheet::kDomain, "Listen To Sound", true);
    in.noticeWrites();
    EXPECT_TRUE(in.button("checkboxListenToSound").isChecked());
}

TEST(SheetWindow, KeepsItsPlaceInALongListAndWantsPicturesOfTheRowsThatAreSeen)
{
    std::vector<std::string> paths;
    for (int k = 0; k < 1000; ++k)
        paths.push_back("/zoo/" + std::to_string(k) + ".qtz");
    Sheet in(paths, "/zoo/0.qtz");
    QTest::qWait(100);
    const auto& wanted = StandInThumbnails::last->wanted;
    ASSERT_THAT(wanted, testing::SizeIs(testing::AllOf(testing::Ge(4u), testing::Le(12u))));
    EXPECT_EQ(wanted.front(), "/zoo/0.qtz");
    QScrollBar& bar = *in.list().verticalScrollBar();
    bar.setValue(9000);
    in.clickRow(in.list().indexAt({5, 100}).row());
    const int place = bar.value();
    in.noticeWrites();
    EXPECT_EQ(bar.value(), place);
    bar.setValue(3000);
    in.key(in.button("checkboxUseRandomScreenSaver"), Qt::Key_Space);
    in.noticeWrites();
    EXPECT_EQ(bar.value(), 3000) << "its own write doesn't take it back to the chosen row";
    in.list().scrollToBottom();
    QTest::qWait(100);
    EXPECT_EQ(wanted.back(), "/zoo/999.qtz");
    EXPECT_LE(wanted.size(), 12u);
    // Red as the file has it, and nowhere else.
    const auto red = std::make_shared<Bitmap>(Bitmap{192, 108, std::vector<std::uint32_t>(192 * 108, 0xFFFF0000)});
    StandInThumbnails::last->pictures["/zoo/998.qtz"] = red;
    in.thumbnails.onReady("/zoo/998.qtz");
    in.settle();
    const QImage picture = in.list().viewport()->grab().toImage();
    EXPECT_EQ(picture.pixelColor(QPoint(50, in.placeOf(998).y())), QColor(Qt::red));
    EXPECT_NE(picture.pixelColor(QPoint(50, in.placeOf(999).y())), QColor(Qt::red));
}

// A file's name is struck out while there is no such file; a change makes its picture and the preview anew.
TEST(SheetWindow, FollowsTheFilesOfTheList)
{
    TemporaryFolder zoo;
    const std::string file = zoo.write("playing.qtz", "1"), absent = zoo / "later/absent.qtz";
    Sheet in({file, absent}, file);
    const auto isMissing
        = [&](int row) { return in.list().model()->index(row, 0).data(CompositionsModel::kMissingRole).toBool(); };
    EXPECT_FALSE(isMissing(0));
    EXPECT_TRUE(isMissing(1));
    const QImage struck = in.list().viewport()->grab().toImage();
    zoo.write("later/absent.qtz", "1");
    in.noticeWrites();
    EXPECT_FALSE(isMissing(1));
    EXPECT_THAT(StandInThumbnails::last->lookedAgain, ElementsAre(absent));
    EXPECT_NE(in.list().viewport()->grab().toImage(), struck) << "painted anew";
    EXPECT_EQ(in.reloads(), 0);
    zoo.write("playing.qtz", "2");
    in.noticeWrites();
    EXPECT_EQ(in.reloads(), 1);
    std::filesystem::remove(file);
    in.noticeWrites();
    EXPECT_TRUE(isMissing(0));
    EXPECT_EQ(in.reloads(), 1) << "the last good picture stays";
    EXPECT_THAT(StandInThumbnails::last->lookedAgain, ElementsAre(absent, file, file));
}

TEST(SheetWindow, OpensFilesThatItIsStartedWithAndKnowsThoseItHas)
{
    Sheet in({"/a.qtz", "/b.qtz"}, "/a.qtz");
    in.window->openFiles({"/b.qtz"});
    in.settle();
    EXPECT_EQ(in.stored(), "/a.qtz */b.qtz");
    EXPECT_EQ(in.reloads(), 1);
    in.window->openFiles({"/a.qtz", "/new.qtz"});
    in.settle();
    EXPECT_EQ(in.shown(), "a.qtz b.qtz *new.qtz");
    in.window->openFiles({"/newer.qtz", "/a.qtz"});
    in.settle();
    EXPECT_EQ(in.shown(), "*a.qtz b.qtz new.qtz newer.qtz");
}

TEST(SheetWindow, TheDialogAsksForCompositionsAndTheWindowStaysAlive)
{
    Sheet in;
    const auto a = in.folder.write("a.qtz", ""), b = in.folder.write("b.qtz", "");
    in.key(in.list(), Qt::Key_O, Qt::ControlModifier);
    auto* dialog = in.window->findChild<QFileDialog*>();
    ASSERT_TRUE(dialog) << "by shortcut";
    EXPECT_EQ(dialog->nameFilters(), QStringList{QStringLiteral("Compositions (*.qtz *.json)")});
    dialog->reject();
    in.settle();
    EXPECT_EQ(in.stored(), " | ");
    in.click("addButton");
    for (QFileDialog* open : in.window->findChildren<QFileDialog*>())
        dialog = open->isVisible() ? open : dialog;
    dialog->setDirectory(QString::fromStdString(in.folder.path()));
    dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"))->setText(QStringLiteral("\"a.qtz\" \"b.qtz\""));
    QMetaObject::invokeMethod(dialog, "accept");
    in.settle();
    EXPECT_EQ(in.stored(), a + " *" + b);
}

TEST(SheetWindow, ShortcutsAndKeysLeadWhereTheirUsersExpect)
{
    Sheet in({"/a", "/b"}, "/b");
    EXPECT_TRUE(in.list().hasFocus()) << "at the start, not " << in.window->focusWidget()->objectName().toStdString();
    in.key(in.list(), Qt::Key_F, Qt::ControlModifier);
    EXPECT_TRUE(in.search().hasFocus());
    in.key(in.search(), Qt::Key_Down);
    EXPECT_TRUE(in.list().hasFocus());
    in.key(in.search(), Qt::Key_Return);
    EXPECT_TRUE(in.list().hasFocus());
    EXPECT_TRUE(in.window->isVisible());
    std::vector<std::string> order;
    QWidget* widget = &in.search();
    do {
        if (widget->focusPolicy() & Qt::TabFocus && widget->isVisible() && widget->isEnabled())
            order.push_back(widget->objectName().toStdString());
        widget = widget->nextInFocusChain();
    } while (widget != &in.search());
    EXPECT_THAT(order,
        ElementsAre("searchfield", "gridButton", "listButton", "tableviewQuartzCompositions", "addButton",
            "removeButton", "checkboxUseRandomScreenSaver", "tryButton", "okButton", "cancelButton",
            "qt_tabwidget_tabbar"));
}

} // namespace
} // namespace vitrel
