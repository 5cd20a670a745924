// What comes along, the grid, what plays under the pointer and on the whole screen.
#include "configure/Sheet.h"

#include <gmock/gmock.h>

#include <QScrollBar>

#include <thread>

namespace vitrel {
namespace {

using testing::ElementsAre, testing::IsEmpty, testing::SizeIs;

const auto kThree = [](Sheet& in) { Sheet::bundleWith(in.bundle, {"Muralis RSS Almanac", "Vinyl", "Zebra"}); };

struct Gallery : Sheet {
    explicit Gallery(const std::vector<std::string>& paths = {}, const std::string& active = "",
        const std::function<void(Sheet&)>& prepare = kThree)
        : Sheet(paths, active, prepare)
    { }

    // Headings in brackets.
    std::string rows()
    {
        std::string text;
        const auto* model = list().model();
        for (int row = 0; row < model->rowCount(); ++row) {
            const auto index = model->index(row, 0);
            const auto name = index.data().toString().toStdString();
            const bool isHeading = !(model->flags(index) & Qt::ItemIsEnabled);
            text += (row ? " " : "") + std::string(list().selectionModel()->isSelected(index) ? "*" : "")
                + (isHeading ? "[" + name + "]" : name);
        }
        return text;
    }
    std::string active()
    {
        return value("Active File Path").value_or("none").as<std::string>()->substr(bundle.path().size());
    }
    void pointAt(int row)
    {
        const QPointF place = placeOf(row);
        QMouseEvent move(QEvent::MouseMove, place, list().viewport()->mapToGlobal(place), Qt::NoButton, {}, {});
        QCoreApplication::sendEvent(list().viewport(), &move);
        settle();
    }
    void rest(double seconds)
    {
        fastForwardBy(Seconds(seconds));
        settle();
    }
    QColor colorAt(int row) { return list().viewport()->grab().toImage().pixelColor(placeOf(row) - QPoint(0, 10)); }
};

TEST(Gallery, WhatComesAlongIsChosenInPlaceAndNeverListedOrRemoved)
{
    Gallery in({"/a.qtz", "/b.qtz"}, "/b.qtz");
    EXPECT_EQ(in.rows(), "[Included] Almanac Vinyl Zebra [My Compositions] a.qtz *b.qtz");
    in.clickRow(2);
    EXPECT_EQ(in.rows(), "[Included] Almanac *Vinyl Zebra [My Compositions] a.qtz b.qtz");
    EXPECT_EQ(in.active(), "/Vinyl.qtz");
    EXPECT_EQ(in.controller->filesPaths(), (std::vector<std::string>{"/a.qtz", "/b.qtz"}));
    EXPECT_EQ(in.reloads(), 1);
    EXPECT_EQ(in.find<QLabel>("compositionName").text(), QLatin1String("Vinyl"));
    EXPECT_FALSE(in.button("removeButton").isEnabled());
    in.key(in.list(), Qt::Key_Delete);
    EXPECT_EQ(in.active(), "/Vinyl.qtz");
    const std::tuple<Qt::Key, const char*, const char*> keys[]
        = {{Qt::Key_Up, "Almanac", "up"}, {Qt::Key_Up, "Almanac", "no heading is reached"},
            {Qt::Key_Down, "Vinyl", "down"}, {Qt::Key_Down, "Zebra", "down again"},
            {Qt::Key_Down, "a.qtz", "over a heading"}, {Qt::Key_Up, "Zebra", "and back"},
            {Qt::Key_End, "b.qtz", "the last"}, {Qt::Key_Home, "Almanac", "the first that isn't a heading"}};
    for (const auto& [key, name, why] : keys) {
        in.key(in.list(), key);
        EXPECT_THAT(in.rows(), testing::HasSubstr("*" + std::string(name))) << why;
    }
    in.clickRow(5);
    EXPECT_EQ(in.stored(), "*/a.qtz /b.qtz");
    in.click("removeButton");
    EXPECT_EQ(in.rows(), "[Included] Almanac Vinyl Zebra [My Compositions] *b.qtz");
    in.click("removeButton");
    EXPECT_EQ(in.rows(), "[Included] *Almanac Vinyl Zebra") << "the default plays, as with any empty list";
    in.clickRow(3);
    EXPECT_EQ(in.rows(), "[Included] Almanac Vinyl *Zebra") << "without a list, too";
}

TEST(Gallery, TheFilterTakesBothGroupsAndTheirHeadings)
{
    Gallery in({"/vine.qtz", "/b.qtz"}, "/b.qtz");
    const std::pair<const char*, const char*> cases[] = {{"v", "[Included] Vinyl [My Compositions] vine.qtz"},
        {"iny", "[Included] Vinyl"}, {"qtz", "[My Compositions] vine.qtz *b.qtz"}, {"nothing", ""}};
    for (const auto& [filter, shown] : cases) {
        in.search().clear();
        in.type(in.search(), filter);
        EXPECT_EQ(in.rows(), shown) << filter;
    }
    in.search().clear();
    in.settle();
    EXPECT_EQ(in.rows(), "[Included] Almanac Vinyl Zebra [My Compositions] vine.qtz *b.qtz");
}

TEST(Gallery, TheGridHasSeveralInALineAndIsRemembered)
{
    Gallery in({"/a.qtz", "/b.qtz", "/c.qtz"}, "/a.qtz");
    in.window->resize(980, 640);
    in.click("gridButton");
    EXPECT_EQ(in.value("Settings View"), Value("grid"));
    in.settle();
    const auto place = [&](int row) { return in.list().visualRect(in.list().model()->index(row, 0)); };
    EXPECT_EQ(place(1).top(), place(2).top());
    EXPECT_LT(place(1).left(), place(2).left());
    EXPECT_GT(place(3).top(), place(2).top());
    EXPECT_GE(place(0).width(), 2 * place(1).width()) << "a heading has a line of its own";
    EXPECT_GE(place(1).width(), 232);
    in.clickRow(1);
    const std::tuple<Qt::Key, const char*> keys[]
        = {{Qt::Key_Right, "Vinyl"}, {Qt::Key_Down, "Zebra"}, {Qt::Key_Down, "a.qtz"}, {Qt::Key_Right, "b.qtz"},
            {Qt::Key_Left, "a.qtz"}, {Qt::Key_Up, "Zebra"}, {Qt::Key_Up, "Almanac"}, {Qt::Key_Up, "Almanac"}};
    for (const auto& [key, name] : keys) {
        in.key(in.list(), key);
        EXPECT_THAT(in.rows(), testing::HasSubstr("*" + std::string(name)));
    }
    in.click("listButton");
    EXPECT_EQ(in.value("Settings View"), Value("list"));
    EXPECT_EQ(place(1).left(), place(2).left());
}

TEST(Gallery, OnlyCellsThatAreSeenWantPicturesAndOursHaveTheirs)
{
    std::vector<std::string> paths;
    for (int k = 0; k < 10000; ++k)
        paths.push_back("/zoo/" + std::to_string(k) + ".qtz");
    Gallery in(paths, "/zoo/0.qtz", [](Sheet& in) {
        Sheet::bundleWith(in.bundle, {"Vinyl"});
        in.bundle.write("pictures/Vinyl.jpg", "");
        in.disk.setValueForKey(Sheet::kDomain, "Settings View", "grid");
    });
    const auto& asked = *StandInThumbnails::last;
    EXPECT_EQ(asked.given.at(in.bundle / "Vinyl.qtz"), in.bundle / "pictures/Vinyl.jpg");
    in.list().verticalScrollBar()->setValue(in.list().verticalScrollBar()->maximum());
    QTest::qWait(100);
    EXPECT_THAT(asked.wanted, SizeIs(testing::AllOf(testing::Ge(4u), testing::Le(12u))));
    EXPECT_EQ(asked.wanted.back(), "/zoo/9999.qtz");
}

TEST(Gallery, PlaysWhatThePointerRestsOnAndNothingElse)
{
    Gallery in;
    const auto children = [] { return StandInPreview::all.size() - 1; };
    in.pointAt(1);
    in.rest(1);
    EXPECT_EQ(children(), 0u) << "not in the list";
    in.click("gridButton");
    in.pointAt(2);
    in.rest(0.2);
    in.pointAt(1);
    in.rest(0.2);
    EXPECT_EQ(children(), 0u) << "on its way";
    in.rest(0.2);
    ASSERT_EQ(children(), 1u);
    StandInPreview& child = *StandInPreview::last;
    EXPECT_THAT(child.words, ElementsAre("--file", in.bundle / "Muralis RSS Almanac.qtz", "--demo"));
    EXPECT_EQ(child.width * 9 / 16, child.height);
    EXPECT_GT(child.width, 200);
    child.frameWidth = 16;
    child.pixels.assign(16 * 9, 0xFFFF0000);
    child.state = PreviewLink::State::playing;
    child.link->onChange();
    in.settle();
    EXPECT_EQ(in.colorAt(1), QColor(Qt::red));
    EXPECT_NE(in.colorAt(2), QColor(Qt::red));
    in.pointAt(2);
    EXPECT_EQ(children(), 0u);
    EXPECT_NE(in.colorAt(1), QColor(Qt::red)) << "the still picture again";
    in.rest(0.4);
    ASSERT_EQ(children(), 1u);
    StandInPreview::last->state = PreviewLink::State::failed;
    StandInPreview::last->link->onChange();
    in.rest(5);
    EXPECT_EQ(children(), 0u) << "one that can't be played isn't tried again";
    in.pointAt(1);
    in.rest(0.4);
    ASSERT_EQ(children(), 1u);
    QEvent leave(QEvent::Leave);
    QCoreApplication::sendEvent(in.list().viewport(), &leave);
    EXPECT_EQ(children(), 0u);
}

// A program stands in for the saver's: it writes down what it is told and stays until it is ended.
TEST(Gallery, FillsTheScreenByKeyAndButtonOnceAndEndsWithTheWindow)
{
    std::string told;
    const auto until = [](Sheet& in, const std::function<bool()>& holds) {
        for (int k = 0; k < 1000 && !holds(); ++k) {
            in.settle();
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return holds();
    };
    TemporaryFolder place;
    const auto read = [&] { return TemporaryFolder::read(place / "told"); };
    std::optional<Gallery> in;
    in.emplace(std::vector<std::string>{"/my own.qtz"}, "/my own.qtz", [&](Sheet& sheet) {
        kThree(sheet);
        sheet.program = place.write("saver", "#!/bin/sh\necho \"$*\" $$ >>" + place.path() + "/told\nexec sleep 600\n");
        chmod(sheet.program.c_str(), 0700);
    });
    in->key(in->list(), Qt::Key_Space);
    ASSERT_TRUE(until(*in, [&] { return !read().empty(); }));
    const std::string first = read();
    EXPECT_THAT(first, testing::StartsWith("play --no-fade --monitors all --file /my own.qtz "));
    EXPECT_FALSE(in->button("tryButton").isEnabled());
    EXPECT_FALSE(StandInPreview::last->shown) << "nobody sees the preview";
    in->key(in->list(), Qt::Key_Space);
    in->settle();
    EXPECT_EQ(read(), first) << "one at a time";
    EXPECT_EQ(in->stored(), "*/my own.qtz");
    const auto process = [](const std::string& line) { return std::stoi(line.substr(line.rfind(' ') + 1)); };
    kill(process(first), SIGTERM);
    ASSERT_TRUE(until(*in, [&] { return in->button("tryButton").isEnabled(); })) << "the window is there again";
    EXPECT_TRUE(StandInPreview::last->shown);
    in->click("tryButton");
    ASSERT_TRUE(until(*in, [&] { return read().size() > first.size(); }));
    in.reset();
    EXPECT_EQ(kill(process(read()), 0), -1) << "it ends with the window";
}

} // namespace
} // namespace vitrel
