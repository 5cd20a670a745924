#include "configure/Sheet.h"
#include "preferences/VitrelItem.h"

#include <nlohmann/json.hpp>

#include <gmock/gmock.h>

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QPushButton>
#include <QSlider>
#include <QToolButton>

namespace vitrel {
namespace {

using Json = nlohmann::ordered_json;
using testing::ElementsAre, testing::IsEmpty;

struct Options : testing::Test {
    Sheet in{{"/a/Clock.qtz", "/a/Other.qtz"}, "/a/Clock.qtz"};

    void SetUp() override
    {
        VitrelItem(in.surroundings, "Clock.qtz").changeOptions({{"Calm", true}, {"Gone", 1}, {"Way", "garbage"}});
        says("/a/Clock.qtz");
    }
    void says(const std::string& file)
    {
        in.preview.onWords(Json{{"file", file},
            {"inputs",
                {{{"key", "Size"}, {"type", "number"}, {"title", "Text size"}, {"least", 0.5}, {"most", 2},
                     {"value", 1}},
                    {{"key", "Calm"}, {"type", "boolean"}, {"value", false}},
                    {{"key", "Way"}, {"type", "index"}, {"labels", {"Slow", "Fast"}}, {"value", 0}},
                    {{"key", "Tint"}, {"type", "color"}, {"value", "#ff000080"}},
                    {{"key", "Words"}, {"type", "string"}, {"value", "Hi"}}}}}
                               .dump());
        in.settle();
    }
    QWidget& pane() { return in.find<QWidget>("options"); }
    template <class Control> Control& at(const char* key)
    {
        auto* found = pane().findChild<QWidget*>(QString::fromLatin1(key));
        auto* control = dynamic_cast<Control*>(found);
        return *(control ? control : found->findChild<Control*>());
    }
    QToolButton& takeBack(const char* key) { return at<QToolButton>((std::string("takeBack ") + key).c_str()); }
    std::vector<std::string> said() { return std::exchange(StandInPreview::last->said, {}); }
    Value stored() { return in.value("Clock.qtz: Options").value_or(Value()); }
};

// A slider that is dragged is a file written sixty times a second, or a change that comes to nothing.
TEST_F(Options, AreSeenAtOnceAndStoredAMomentLater)
{
    EXPECT_THAT(said(), ElementsAre(R"({"options":{"Calm":true}})")) << "what fits of the stored ones";
    EXPECT_TRUE(pane().isVisible());
    EXPECT_TRUE(at<QCheckBox>("Calm").isChecked());
    const Value before = stored();
    for (int k = 1; k <= 5; ++k) {
        at<QDoubleSpinBox>("Size").setValue(1 + k / 10.0);
        in.fastForwardBy(Seconds(0.02));
    }
    EXPECT_EQ(said().size(), 5u);
    EXPECT_EQ(stored(), before);
    in.fastForwardBy(Seconds(0.3));
    EXPECT_EQ(*member(*stored().dictionary(), "Size"), Value(1.5));
    EXPECT_EQ(*member(*stored().dictionary(), "Gone"), Value(1)) << "what the composition no longer has stays";
    in.noticeWrites();
    EXPECT_EQ(in.reloads(), 0);
    EXPECT_THAT(said(), IsEmpty()) << "its own write is no news";
    QTest::keyClick(&at<QComboBox>("Way"), Qt::Key_Down);
    at<QLineEdit>("Words").selectAll();
    QTest::keyClicks(&at<QLineEdit>("Words"), "#ff0000");
    EXPECT_EQ(said().back(), R"({"options":{"Calm":true,"Size":1.5,"Way":1,"Words":{"text":"#ff0000"}}})");
    in.window.reset(); // and nothing is lost at the end
    EXPECT_EQ(*member(*stored().dictionary(), "Words"), Value("#ff0000"));
    EXPECT_EQ(*member(*stored().dictionary(), "Way"), Value(1));
}

TEST_F(Options, AreTakenBackOneByOneAndAll)
{
    EXPECT_FALSE(takeBack("Size").isVisible());
    at<QDoubleSpinBox>("Size").setValue(2);
    ASSERT_TRUE(takeBack("Size").isVisible());
    said();
    QTest::mouseClick(&takeBack("Size"), Qt::LeftButton);
    in.settle();
    EXPECT_THAT(said(), ElementsAre(R"({"options":{"Calm":true}})"));
    EXPECT_EQ(at<QDoubleSpinBox>("Size").value(), 1);
    EXPECT_FALSE(takeBack("Size").isVisible());
    in.click("resetOptions");
    EXPECT_THAT(said(), ElementsAre(R"({"options":{}})"));
    EXPECT_FALSE(at<QCheckBox>("Calm").isChecked());
    EXPECT_FALSE(in.button("resetOptions").isEnabled());
    in.fastForwardBy(Seconds(0.3));
    EXPECT_EQ(member(*stored().dictionary(), "Calm"), nullptr);
}

TEST_F(Options, OfAnotherProcessAndAnotherCompositionShowInTheWindow)
{
    said();
    DefaultsStore& other = in.other();
    other.setValueForKey(Sheet::kDomain, "Clock.qtz: Options",
        Dictionary{{"Size", 9.0}, {"Tint", Array{0.0, 1.0, 0.0, 1.0}}, {"Words", "Theirs"}});
    in.noticeWrites();
    EXPECT_EQ(at<QLineEdit>("Words").text(), QStringLiteral("Theirs"));
    EXPECT_EQ(at<QPushButton>("Tint").text(), QStringLiteral("#00ff00ff"));
    EXPECT_FALSE(at<QCheckBox>("Calm").isChecked());
    EXPECT_THAT(said(), ElementsAre(R"({"options":{"Size":2.0,"Tint":"#00ff00ff","Words":"Theirs"}})"));
    EXPECT_EQ(in.reloads(), 0);

    at<QDoubleSpinBox>("Size").setValue(0.75);
    in.clickRow(1);
    EXPECT_EQ(*member(*stored().dictionary(), "Size"), Value(0.75)) << "before another one's are shown";
    EXPECT_FALSE(pane().isEnabled());
    says("/a/Clock.qtz"); // which was under way
    EXPECT_FALSE(pane().isVisible());
    says("/a/Other.qtz");
    EXPECT_TRUE(pane().isVisible());
    EXPECT_EQ(at<QDoubleSpinBox>("Size").value(), 1);
    in.preview.onWords(R"({"file": "/a/Other.qtz", "inputs": []})");
    EXPECT_FALSE(pane().isVisible()) << "there is nothing to set";
    for (const std::string& words : {std::string("no JSON"), std::string(100'000, '['), std::string("[]"),
             std::string(R"({"file": 3, "inputs": []})"), std::string(R"({"inputs": 3, "file": "/a/Other.qtz"})")})
        in.preview.onWords(words);
}

// A stranger's words as markup, or a composition that shows half of itself without a word why.
TEST_F(Options, StandWithWhatTheFileSaysOfItselfAndWhatItLacks)
{
    const auto says = [&](const Json& about, const char* file = "/a/Clock.qtz") {
        in.preview.onWords(Json{{"file", file}, {"inputs", Json::array()}, {"about", about}}.dump());
        const auto& label = in.find<QLabel>("about");
        return label.isVisible() ? label.text().toStdString() : "-";
    };
    EXPECT_EQ(
        says({{"title", "Dawn"}, {"author", "<b>A</b>"}, {"description", "Light"}, {"missing", {"X", "Y", "Z", "W"}}}),
        "Dawn · <b>A</b>\nLight\n⚠ Needs what isn't there: X, Y, Z, …");
    EXPECT_EQ(in.find<QLabel>("about").textFormat(), Qt::PlainText);
    EXPECT_TRUE(in.find<QLabel>("about").toolTip().contains(QLatin1String("&lt;b&gt;A")));
    EXPECT_EQ(says({{"author", "A"}, {"description", std::string(900, 'x')}}).size(), 2 + 159 + 3u);
    for (const Json& odd :
        {Json(), Json(3), Json::array({1}), Json{{"title", 3}, {"missing", "x"}}, Json{{"missing", {1}}}})
        EXPECT_EQ(says(odd), "-") << odd;
    EXPECT_EQ(says({{"title", "Theirs"}}, "/b/Else.qtz"), "-");
}

// What can't play in full looks like any other, or says so to those alone who see.
TEST_F(Options, OfTheListSayAndMarkWhatAFileLacks)
{
    StandInThumbnails::last->facts["/a/Other.qtz"]
        = std::make_shared<const CompositionFacts>(CompositionFacts{"<i>", "Me", "", {"QCMovie"}});
    const auto* model = in.list().model();
    const auto clock = model->match(model->index(0, 0), Qt::DisplayRole, QStringLiteral("Clock.qtz")).value(0);
    const auto other = model->match(model->index(0, 0), Qt::DisplayRole, QStringLiteral("Other.qtz")).value(0);
    const QString lacks = QStringLiteral("Needs what isn't there: QCMovie");
    EXPECT_EQ(clock.data(CompositionsModel::kLacksRole).toString(), QString());
    EXPECT_EQ(other.data(CompositionsModel::kLacksRole).toString(), lacks);
    EXPECT_EQ(other.data(Qt::AccessibleDescriptionRole).toString(), QStringLiteral("/a; ") + lacks);
    const QString tip = other.data(Qt::ToolTipRole).toString();
    EXPECT_TRUE(tip.contains(QStringLiteral("&lt;i&gt; · Me<br>"))) << tip.toStdString();
    in.list().scrollTo(other);
    const QImage marked = in.list().grab().toImage();
    StandInThumbnails::last->facts.clear();
    EXPECT_NE(in.list().grab().toImage(), marked);
}

// Who hears the window or has no mouse finds each option and its button.
TEST_F(Options, AreReachedByKeyAndHaveNames)
{
    EXPECT_EQ(at<QSlider>("Size").accessibleName(), QStringLiteral("Text size"));
    EXPECT_EQ(takeBack("Calm").accessibleName(), QStringLiteral("Back to what the composition has itself: Calm"));
    in.find<QWidget>("checkboxUseRandomScreenSaver").setFocus();
    std::vector<std::string> order;
    for (int k = 0; k < 12; ++k) {
        QTest::keyClick(in.window->focusWidget(), Qt::Key_Tab);
        order.push_back(in.window->focusWidget()->objectName().toStdString());
    }
    EXPECT_THAT(order, testing::IsSupersetOf({"resetOptions", "Calm", "takeBack Calm", "Way", "Tint", "Words"}));
}

} // namespace
} // namespace vitrel
