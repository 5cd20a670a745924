#include "preferences/PreferencesWC.h"
#include "platform/appkit/controls/NSOpenPanel.h"
#include "support/RecordingWorkspace.h"
#include "support/TestSurroundings.h"

#include <gmock/gmock.h>

#include <sstream>

namespace vitrel {
namespace {

using testing::ElementsAre, testing::IsEmpty, testing::IsNull;

constexpr const char* kForm = R"(<ui version="4.0"><widget class="QDialog" name="PreferencesWC">
 <layout class="QVBoxLayout" name="v"><item><widget class="QLineEdit" name="searchfield">
  <property name="search" stdset="0"><bool>true</bool></property>
  <property name="action" stdset="0"><string>searchFieldDidChange:</string></property></widget></item>
 <item><widget class="QListView" name="tableviewQuartzCompositions"/></item>
 <item><widget class="QCheckBox" name="checkboxUseRandomScreenSaver">
  <property name="action" stdset="0"><string>checkboxUseRandomScreenSaver:</string></property></widget></item>
 <item><widget class="QLabel" name="labelVersion"/></item><item><widget class="QLabel" name="labelMusicAppsSupport"/></item>
 <item><widget class="QFrame" name="box"><layout class="QHBoxLayout" name="h"><item><widget class="QLabel" name="rssURLLabel"/></item>
  <item><widget class="QLineEdit" name="rssURLTextField">
   <property name="action" stdset="0"><string>textFieldRSSFeedURL:</string></property></widget></item></layout></widget></item>
 <item><widget class="QPushButton" name="ok"><property name="text"><string>OK</string></property>
  <property name="action" stdset="0"><string>buttonOK:</string></property></widget></item>
</layout></widget></ui>)";

// The view that plays what the sheet chooses.
struct Player : NSObject, CompositionChangeReceiver {
    int told = 0;
    void fileDidChange() override { ++told; }
};

std::vector<std::string> words(const std::string& text)
{
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

// The sheet over a list of paths of one word each, the first of them active unless said.
struct Sheet : TestSurroundings {
    std::string form = bundleFolder.write("PreferencesWC.ui", kForm);
    RecordingWorkspace desktop;
    std::shared_ptr<Player> player = std::make_shared<Player>();
    std::shared_ptr<NSOpenPanel> panel;
    int ended = 0;
    std::shared_ptr<PreferencesWC> controller;

    explicit Sheet(const std::string& paths = "", const std::string& active = "")
    {
        const auto list = words(paths);
        if (!list.empty())
            store.setValueForKey(kIdentifier, "Files Paths", Array(list.begin(), list.end()));
        if (!active.empty())
            store.setValueForKey(kIdentifier, "Active File Path", active);
        surroundings.workspace = &desktop;
        surroundings.showOpenPanel = [this](std::shared_ptr<NSOpenPanel> shown) { panel = std::move(shown); };
        surroundings.endSheet = [this](const std::shared_ptr<NSWindow>&) { ++ended; };
        open();
    }
    void open()
    {
        controller = PreferencesWC::initWithWindowNibName(surroundings, "PreferencesWC");
        controller->window()->setDelegate(player);
        settle();
        player->told = 0;
    }
    void settle()
    {
        for (int turn = 0; turn < 10; ++turn)
            loop.turn();
    }
    NSTableView& table() { return *controller->tableviewQuartzCompositions(); }
    std::string shown()
    {
        std::string text;
        for (int row = 0; row < table().numberOfRows(); ++row) {
            const auto name = table().dataSource()->tableViewObjectValueForTableColumnRow(table(), nullptr, row);
            text += (row == table().selectedRow() ? "*" : "") + *name.as<std::string>() + " ";
        }
        return text;
    }
    void type(const std::string& filter)
    {
        controller->searchfield()->setStringValue(filter);
        controller->searchfield()->sendAction();
        settle();
    }
    // The store's list with its active entry marked, or that entry alone behind a bar.
    std::string stored()
    {
        std::string text;
        bool listed = false;
        const auto active = controller->filePathActive();
        for (const auto& path : controller->filesPaths()) {
            text += (path == active ? "*" : "") + path + " ";
            listed = listed || path == active;
        }
        return listed ? text : text + "| " + active.value_or("none");
    }
};

TEST(PreferencesWC, ShowsTheListInItsOrderWithTheActiveOneChosen)
{
    EXPECT_EQ(Sheet().shown(), "");
    EXPECT_EQ(Sheet("/z/B.qtz /a/A.qtz /q/B.qtz", "/q/B.qtz").shown(), "B.qtz A.qtz *B.qtz ");
    EXPECT_EQ(Sheet("/a/A.qtz /a/B.qtz", "/gone.qtz").shown(), "A.qtz B.qtz ") << "the active path isn't in the list";
    Sheet twice("/a /a", "/a");
    EXPECT_EQ(twice.shown(), "*a a ") << "one file twice is two rows";
    for (const int row : {-1, 2, 3})
        EXPECT_EQ(twice.table().dataSource()->tableViewObjectValueForTableColumnRow(twice.table(), nullptr, row), "");
}

TEST(PreferencesWC, RemovingMakesTheOneThatMovesUpActive)
{
    const std::tuple<const char*, const char*, const char*, const char*> cases[]
        = {{"/a /b /c", "/c", "/a *b", "the tail steps back"}, {"/a /b /c", "/a", "*b /c", "the successor moves up"},
            {"/a /b /c", "/b", "/a *c", "in the middle, too"}, {"/a", "/a", "|", "the only one leaves the empty text"},
            {"/a /b", "/x", "/a /b |", "one that isn't listed takes nothing out"},
            {"/a /b /a", "/a", "*b", "both entries of one file go"},
            {"/b /a /a", "/a", "*b", "and the last place is counted in what is left"}};
    for (const auto& [paths, active, after, why] : cases) {
        Sheet in(paths, active);
        in.controller->quartzRemoveFile();
        in.settle();
        std::string expected;
        for (const auto& word : words(after)) // "*b" is the path /b
            expected += (word[0] == '*' ? "*/" + word.substr(1) : word) + " ";
        EXPECT_EQ(in.stored(), expected) << paths << " less " << active << ": " << why;
        EXPECT_GE(in.player->told, 1) << paths << ": the view is told";
        EXPECT_TRUE(in.controller->filePathActive().has_value());
    }
}

TEST(PreferencesWC, TheFilterMatchesNamesAloneAndLeavesTheActiveOneActive)
{
    const std::tuple<const char*, const char*, const char*> cases[]
        = {{"", "Aurora.qtz bar.qtz Étoile.qtz ", "no filter"}, {"AUR", "Aurora.qtz ", "case doesn't matter"},
            {"qtz", "Aurora.qtz bar.qtz Étoile.qtz ", "the ending takes part"}, {"zoo", "", "folders don't"},
            {"étoile", "Étoile.qtz ", "nor does the case of other letters"},
            {"E\xCC\x81TO", "Étoile.qtz ", "nor how an accent is written"}, {".*", "", "a plain text, no pattern"}};
    Sheet in("/zoo/Aurora.qtz /zoo/bar.qtz /zoo/Étoile.qtz", "/zoo/bar.qtz");
    for (const auto& [filter, shown, why] : cases) {
        in.type(filter);
        std::string unmarked = in.shown();
        std::erase(unmarked, '*');
        EXPECT_EQ(unmarked, shown) << filter << ": " << why;
        EXPECT_EQ(in.controller->filePathActive(), "/zoo/bar.qtz") << filter;
    }
    in.type("");
    EXPECT_EQ(in.shown(), "Aurora.qtz *bar.qtz Étoile.qtz ") << "clearing it chooses its row again";
}

TEST(PreferencesWC, AChosenRowBecomesActiveOnceAndTheViewHearsOfIt)
{
    Sheet in("/a /b /c", "/a");
    std::vector<int> scrolled;
    in.table().onScroll = [&](int row) { scrolled.push_back(row); };
    in.controller->updateView();
    in.settle();
    EXPECT_THAT(std::exchange(scrolled, {}), ElementsAre(0)) << "the selected row is brought in sight all the same";
    in.table().chooseRow(2);
    in.settle();
    EXPECT_THAT(scrolled, ElementsAre(2));
    EXPECT_EQ(in.stored(), "/a /b */c ");
    EXPECT_EQ(in.player->told, 1) << "updating the view afterwards chooses nothing anew";
    in.type("b");
    in.table().chooseRow(0);
    in.settle();
    EXPECT_EQ(in.stored(), "/a */b /c ") << "a row of the filtered list";
    in.type("zzz");
    in.table().chooseRow(0);
    in.settle();
    EXPECT_EQ(in.stored(), "/a */b /c ") << "a row that isn't there";
}

TEST(PreferencesWC, AddsWhatThePanelGivesAndMakesTheLastActive)
{
    Sheet in("/a", "/a");
    const std::string real = in.bundleFolder.write("Real.qtz", "x");
    in.controller->quartzAddFile();
    ASSERT_TRUE(in.panel);
    EXPECT_TRUE(in.panel->canChooseFiles() && !in.panel->canChooseDirectories() && in.panel->allowsMultipleSelection());
    EXPECT_THAT(in.panel->allowedFileTypes(), ElementsAre("qtz"));
    in.panel->end(NSOpenPanel::kOK, {NSURL::fileURLWithPath(real), NSURL::fileURLWithPath("/gone.qtz")});
    in.settle();
    EXPECT_EQ(in.stored(), "/a " + real + " */gone.qtz ");
    EXPECT_NE(in.store.valueForKey("host", real), std::nullopt) << "a bookmark";
    EXPECT_EQ(in.store.valueForKey("host", "/gone.qtz"), std::nullopt) << "no file, no bookmark";
    EXPECT_EQ(in.log.size(), 2u) << "a line for each, whether or not it went well";
    EXPECT_EQ(in.player->told, 1) << "by the change of the selection";
    in.controller->quartzAddFile();
    in.panel->end(NSOpenPanel::kCancel, {NSURL::fileURLWithPath("/b")});
    in.settle();
    EXPECT_EQ(in.stored(), "/a " + real + " */gone.qtz ") << "a cancel";
    in.controller->openPanelDidOpenFiles({NSURL::fileURLWithPath(real)});
    EXPECT_EQ(in.controller->filesPaths().size(), 4u) << "no test for what is there already";
}

TEST(PreferencesWC, TheMenuActsOnTheClickedRowAndNotOnTheSelection)
{
    Sheet in("/a /b /c", "/a");
    EXPECT_EQ(in.table().menu()->title(), "Files Menu");
    const auto& items = in.table().menu()->itemArray();
    ASSERT_EQ(items.size(), 3u);
    EXPECT_EQ(items[0]->title() + items[0]->keyEquivalent(), "Show in Finder");
    EXPECT_TRUE(items[1]->isSeparatorItem());
    EXPECT_EQ(items[2]->title() + items[2]->keyEquivalent(), "Delete");
    for (const int row : {-1, 3}) {
        in.table().setClickedRow(row);
        items[0]->sendAction();
        items[2]->sendAction();
    }
    EXPECT_EQ(in.stored(), "*/a /b /c ") << "outside any row";
    EXPECT_THAT(in.desktop.shown, IsEmpty());
    in.table().setClickedRow(1);
    items[0]->sendAction();
    EXPECT_THAT(in.desktop.shown, ElementsAre("/b"));
    items[2]->sendAction();
    EXPECT_EQ(in.stored(), "/a */c ");
    in.controller->keyDown({36});
    EXPECT_EQ(in.stored(), "/a */c ") << "another key";
    in.controller->keyDown({51});
    EXPECT_EQ(in.stored(), "*/a ");
}

TEST(PreferencesWC, TheFeedFieldIsOnForCompositionsThatShowFeeds)
{
    Sheet in("/a.qtz", "/a.qtz");
    const auto label = in.controller->rssURLLabel(), field = in.controller->rssURLTextField();
    const auto tip = "Download the Muralis RSS Visualizer Quartz composition to use RSS feeds support";
    EXPECT_FALSE(field->isEnabled() || label->isEnabled()) << "not known yet to show one";
    EXPECT_EQ(label->textColor(), NSTextColor::secondaryLabelColor);
    EXPECT_EQ(field->toolTip(), tip);
    EXPECT_EQ(label->toolTip(), tip);
    label->setToolTip(std::nullopt);
    in.store.setValueForKey(Sheet::kIdentifier, "a.qtz: Is RSS Visualizer", true);
    in.store.setValueForKey(Sheet::kIdentifier, "a.qtz: RSS URL", "http://old");
    in.controller->updateView();
    EXPECT_TRUE(field->isEnabled() && label->isEnabled());
    EXPECT_EQ(label->toolTip(), tip) << "on or off";
    EXPECT_EQ(label->textColor(), NSTextColor::textColor);
    EXPECT_EQ(field->textColor(), NSTextColor::textColor) << "the label's alone";
    EXPECT_EQ(field->stringValue(), "http://old");
    for (const char* typed : {" not checked ", ""}) {
        field->setStringValue(typed);
        in.player->told = 0;
        field->sendAction();
        EXPECT_EQ(in.store.valueForKey(Sheet::kIdentifier, "a.qtz: RSS URL"), Value(typed));
        EXPECT_EQ(in.player->told, 1);
    }
    Sheet none;
    none.controller->rssURLTextField()->setStringValue("http://x");
    none.controller->rssURLTextField()->sendAction();
    EXPECT_EQ(none.player->told, 1) << "told without an active composition, too";
    EXPECT_THAT(none.store.dictionaryForDomain(Sheet::kIdentifier), testing::SizeIs(1)) << "the random switch alone";
}

// As the window description names them.
TEST(PreferencesWC, KnowsItsActionsByName)
{
    const Sheet in;
    for (const std::string name : {"buttonOK", "buttonCancel", "quartzAddFile", "quartzRemoveFile", "menuRemoveFile",
             "showInFinder", "searchFieldDidChange", "checkboxUseRandomScreenSaver", "checkboxListenToSound",
             "textFieldRSSFeedURL", "webpageQuartzComps"}) {
        const auto action = in.controller->actionNamed(name + ":");
        EXPECT_EQ(action ? action->name : "none", name);
        EXPECT_FALSE(in.controller->actionNamed(name));
    }
}

TEST(PreferencesWC, EveryEditIsStoredAtOnceAndCancelTakesNothingBack)
{
    Sheet in("/a /b", "/a");
    const auto random = [&] { return in.store.valueForKey(Sheet::kIdentifier, "Use Random Screen Saver"); };
    EXPECT_EQ(random(), Value(false)) << "absent is stored as false";
    const auto box = in.controller->checkboxUseRandomScreenSaverControl();
    box->setState(NSButton::kOn);
    box->sendAction();
    EXPECT_EQ(random(), Value(true));
    in.controller->updateView();
    EXPECT_EQ(random(), Value(true)) << "what is stored stays";
    EXPECT_EQ(box->state(), NSButton::kOn);
    in.table().chooseRow(1);
    in.controller->buttonCancel();
    EXPECT_EQ(in.ended, 1);
    EXPECT_EQ(in.stored(), "/a */b ");
    box->setState(NSButton::kOff);
    in.controller->buttonOK();
    EXPECT_EQ(in.ended, 2);
    EXPECT_EQ(random(), Value(false));
}

TEST(PreferencesWC, TellsItsVersionTheMusicNoteAndTheWebPage)
{
    Sheet in;
    EXPECT_TRUE(in.controller->labelMusicAppsSupport()->isHidden());
    in.surroundings.systemVersion = {10, 14, 0};
    in.controller->updateView();
    EXPECT_FALSE(in.controller->labelMusicAppsSupport()->isHidden());
    in.controller->webpageQuartzComps();
    EXPECT_THAT(in.desktop.opened, IsEmpty()) << "the bundle names no site";
    for (const char* site : {"", "https://example.org", "https://example.org/"}) {
        in.bundleFolder.write("Info.plist",
            "<plist><dict><key>CFBundleIdentifier</key><string>org.example.saver</string>"
            "<key>CFBundleShortVersionString</key><string>2.5</string><key>CFBundleVersion</key><string>77</string>"
            "<key>VitrelWebsite</key><string>"
                + std::string(site) + "</string></dict></plist>");
        const NSBundle bundle(in.bundleFolder.path());
        in.surroundings.classBundle = &bundle;
        in.controller->updateView();
        EXPECT_EQ(in.controller->labelVersion()->stringValue(), "Version 2.5 (77)");
        in.controller->webpageQuartzComps();
    }
    const std::string page = "https://example.org/apps/muralis/quartz/";
    EXPECT_THAT(in.desktop.opened, ElementsAre(page, page)) << "an empty name is none";
    in.surroundings.classBundle = nullptr;
}

// A pop-up opened on a list that is filled, a table that outlives its controller, a bundle without the description.
TEST(PreferencesWC, StandsWithoutAWindowDescriptionAndLeavesItsTableBehind)
{
    Sheet in("/a /b", "/a");
    const auto table = in.controller->tableviewQuartzCompositions();
    in.controller.reset();
    in.settle();
    EXPECT_THAT(table->dataSource(), IsNull());
    table->chooseRow(1);
    const std::string form = kForm;
    for (const auto& broken : {std::string("<ui><widget class='QDialog'>"), "<!DOCTYPE ui [<!ENTITY a 'x'>]>" + form,
             "<!DOCTYPE ui [<!ATTLIST widget x CDATA 'x'>]>" + form}) {
        in.bundleFolder.write("PreferencesWC.ui", broken);
        in.open();
        EXPECT_THAT(in.controller->tableviewQuartzCompositions(), IsNull()) << broken.substr(0, 50);
    }
    in.controller->quartzRemoveFile();
    EXPECT_EQ(in.stored(), "*/b ");
    EXPECT_EQ(in.player->told, 1);
    in.controller->setUseRandomScreenSaver(true);
    in.controller->saveData();
    EXPECT_EQ(in.store.valueForKey(Sheet::kIdentifier, "Use Random Screen Saver"), Value(true)) << "by a command";
    in.surroundings.classBundle = nullptr;
    in.controller->quartzRemoveFile();
    in.controller->openPanelDidOpenFiles({NSURL::fileURLWithPath("/c")});
    EXPECT_EQ(in.stored(), "| none") << "a saver without a name stores nothing";
}

} // namespace
} // namespace vitrel
