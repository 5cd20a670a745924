#include "configure/StandIns.h"
#include "platform/foundation/PropertyList.h"
#include "platform/quartzcomposer/file/CompositionReader.h"
#include "platform/quartzcomposer/file/TextForm.h"
#include "programs/configure/PanelWindow.h"
#include "programs/configure/SavedInputs.h"
#include "support/ManualLoop.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <QComboBox>
#include <QDropEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QPushButton>
#include <QSlider>
#include <QTest>

#include <QCheckBox>
#include <QColorDialog>
#include <QDoubleSpinBox>

namespace vitrel {
namespace {

using Json = nlohmann::ordered_json;
using testing::ElementsAre;

constexpr const char* kText = R"json(// A clock
{
  "inputs": { "Speed": "L.inputPeriod", "Wave": "L.inputType", "On": "B._enable", "Tint": "C.inputColor",
    "Words": "T.inputString", "Cover": "B.inputImage", "Name": "T.inputFontName" },
  "values": {
    "Speed": 2, // slow
    "Words": "Hi"
  },
  "patches": {
    "C": { "class": "QCClear" }, "L": { "class": "QCLFO" }, "T": { "class": "QCTextImage" }, "B": { "class": "QCBillboard" }
  }
}
)json";

struct Panel : testing::Test {
    void SetUp() override
    {
        player.onWords(Json{{"file", path},
            {"inputs",
                {{{"key", "Speed"}, {"type", "number"}, {"title", "The speed"}, {"unit", "seconds"}, {"least", 0},
                     {"most", 4}, {"value", 2}},
                    {{"key", "Wave"}, {"type", "index"}, {"labels", {"Sine", "Cosine", "Triangle"}}, {"value", 0}},
                    {{"key", "On"}, {"type", "boolean"}, {"value", true}},
                    {{"key", "Tint"}, {"type", "color"}, {"value", "#ff000080"}},
                    {{"key", "Words"}, {"type", "string"}, {"value", "Hi"}},
                    {{"key", "Cover"}, {"type", "image"}, {"value", nullptr}},
                    {{"key", "Name"}, {"type", "string"}, {"value", "A"}}, {{"no", "key"}},
                    3}}}.dump());
        window.show();
    }
    template <class Control> Control& at(const char* key)
    {
        auto* found = window.findChild<QWidget*>(QString::fromLatin1(key));
        auto* control = dynamic_cast<Control*>(found);
        return *(control ? control : found->findChild<Control*>());
    }
    std::vector<std::string> said() { return std::exchange(StandInPreview::last->said, {}); }
    TemporaryFolder folder;
    const std::string path = folder.write("clock.json", kText);
    ManualLoop in;
    PreviewLink player{in.loop, "", {}};
    PanelWindow window{player};
};

} // namespace

// Each kind of control by real input; what the player hears is the value as the text form has it.
TEST_F(Panel, EachControlSetsItsInput)
{
    auto& slider = at<QSlider>("Speed");
    slider.setFocus();
    QTest::keyClick(&slider, Qt::Key_End);
    EXPECT_THAT(said(), ElementsAre(R"({"set":{"Speed":4.0}})"));
    EXPECT_EQ(at<QDoubleSpinBox>("Speed").suffix(), QStringLiteral(" seconds"));
    at<QDoubleSpinBox>("Speed").setValue(-7.5); // beyond what the slider spans
    EXPECT_THAT(said(), ElementsAre(R"({"set":{"Speed":-7.5}})"));
    EXPECT_EQ(slider.value(), slider.minimum());
    QTest::keyClick(&at<QComboBox>("Wave"), Qt::Key_Down);
    EXPECT_THAT(said(), ElementsAre(R"({"set":{"Wave":1}})"));
    QTest::mouseClick(&at<QCheckBox>("On"), Qt::LeftButton, {}, QPoint(8, at<QCheckBox>("On").height() / 2));
    EXPECT_THAT(said(), ElementsAre(R"({"set":{"On":false}})"));
    QTest::keyClicks(&at<QLineEdit>("Words"), "!");
    EXPECT_THAT(said(), ElementsAre(R"({"set":{"Words":"Hi!"}})"));
    EXPECT_EQ(at<QPushButton>("Tint").text(), QStringLiteral("#ff000080"));
    QTest::mouseClick(&at<QPushButton>("Tint"), Qt::LeftButton);
    auto* colors = window.findChild<QColorDialog*>();
    ASSERT_TRUE(colors);
    colors->setCurrentColor(QColor(0, 0x10, 0xff, 0x40));
    EXPECT_THAT(said().back(), R"({"set":{"Tint":"#0010ff40"}})");

    QMimeData files;
    files.setUrls({QUrl::fromLocalFile(QString::fromStdString(folder.write("dot.gif", "GIF89a")))});
    QDragEnterEvent enter({1, 1}, Qt::CopyAction | Qt::MoveAction, &files, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(&at<QLabel>("Cover"), &enter);
    QDropEvent drop({1, 1}, Qt::CopyAction | Qt::MoveAction, &files, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(&at<QLabel>("Cover"), &drop);
    EXPECT_EQ(drop.dropAction(), Qt::CopyAction) << "who is told of a move deletes the file";
    EXPECT_THAT(said(), ElementsAre(R"({"set":{"Cover":{"data":"R0lGODlh"}}})"));

    // All goes back to what the composition has.
    QTest::mouseClick(window.findChild<QPushButton*>("reset"), Qt::LeftButton);
    EXPECT_EQ(said().size(), 6u);
    EXPECT_EQ(at<QDoubleSpinBox>("Speed").value(), 2);
    EXPECT_FALSE(window.findChild<QPushButton*>("save")->isEnabled());
}

TEST_F(Panel, WhatTheSaverFeedsIsShownAndNotSet)
{
    player.onWords(R"({"fed": {"Name": "A song", "Cover": {"image": [600, 400]}, "None": 1}})");
    EXPECT_EQ(at<QLabel>("Name").text(), QStringLiteral("A song"));
    EXPECT_THAT(at<QLabel>("Cover").text().toStdString(), testing::HasSubstr("600 × 400"));
    player.onWords(R"({"fed": {"Name": "Another"}})");
    EXPECT_EQ(at<QLabel>("Name").text(), QStringLiteral("Another"));
    EXPECT_TRUE(window.findChild<QLabel*>("Name"));
    // A player that a composition has taken over says anything.
    for (const std::string& words :
        {std::string("no JSON"), std::string(100'000, '['), std::string(R"({"inputs": {"a": 1}})"),
            std::string(R"({"inputs": [{"key": 3, "type": [], "value": {"lines": [1]}, "labels": 4}], "fed": []})"),
            std::string("3")})
        player.onWords(words);
}

// Saved as text, everything else stays as its author wrote it; as a composition it has the same values.
TEST_F(Panel, SavingKeepsTheRest)
{
    at<QDoubleSpinBox>("Speed").setValue(3.5);
    QTest::keyClicks(&at<QLineEdit>("Words"), " you");
    at<QCheckBox>("On").setChecked(false);
    QTest::mouseClick(window.findChild<QPushButton*>("save"), Qt::LeftButton);
    std::string expected = kText;
    expected.replace(expected.find("\"Speed\": 2"), 10, "\"Speed\": 3.5");
    expected.replace(expected.find("\"Hi\""), 4, "\"Hi you\",\n    \"On\": false");
    EXPECT_EQ(TemporaryFolder::read(path), expected);
    EXPECT_FALSE(window.findChild<QPushButton*>("save")->isEnabled()) << "there is nothing to save any more";

    const std::string made = folder / "made.qtz";
    EXPECT_EQ(saveWithValues(path, made, {{"Tint", "#00ff00"}, {"Speed", 1}}), "");
    const auto file = qc::readCompositionFile(made);
    ASSERT_TRUE(file);
    EXPECT_EQ(file->inputParameters.at("Speed"), Value(std::int64_t(1)));
    EXPECT_EQ(file->inputParameters.at("Words"), Value("Hi you"));
    EXPECT_EQ(file->inputParameters.at("Tint"),
        Value(Dictionary{{"red", 0.0}, {"green", 1.0}, {"blue", 0.0}, {"alpha", 1.0}}));
    // And from there on to a text again, with a dropped picture beside it.
    EXPECT_EQ(saveWithValues(made, folder / "back.json", {{"Cover", {{"data", "R0lGODlh"}}}, {"a.b/c", 1}}), "");
    EXPECT_EQ(TemporaryFolder::read(folder / "Cover.gif"), "GIF89a");
    EXPECT_TRUE(qc::readCompositionFile(folder / "back.json"));

    EXPECT_EQ(saveWithValues(folder / "none", made, {}), "can't read " + folder / "none");
    EXPECT_NE(saveWithValues(folder.write("bad.json", "{"), made, {}), "");
    EXPECT_NE(saveWithValues(path, folder / "no/such.qtz", {}), "");
}

// Wherever "values" stands, or doesn't.
TEST(TextWithValues, ChangesNothingElse)
{
    const std::map<std::string, std::string> values{{"a", "1"}, {"b", "\"x\""}};
    const std::pair<const char*, const char*> texts[] = {
        {R"({"patches": {}})", R"({ "values": { "a": 1, "b": "x" },"patches": {}})"},
        {"{}", R"({ "values": { "a": 1, "b": "x" } })"},
        {R"({"values": {}, "patches": {}})", R"({"values": { "a": 1, "b": "x" }, "patches": {}})"},
        {R"({"values": {"b": [1, {"c": 2}], "z": 0}})", R"({"values": {"b": "x", "z": 0, "a": 1}})"},
        {"{\n  \"patches\": {}\n}", "{\n  \"values\": { \"a\": 1, \"b\": \"x\" },\n  \"patches\": {}\n}"},
        {"// a\n{\"values\": {/* b */\"a\" : -3.5e2 /* c */, \"b\":true}}",
            "// a\n{\"values\": {/* b */\"a\" : 1 /* c */, \"b\":\"x\"}}"},
    };
    for (const auto& [text, changed] : texts)
        EXPECT_EQ(qc::textWithValues(text, values).value_or("nothing"), changed);
    for (const char* text : {"[]", "{", R"({"values": 3})"})
        EXPECT_FALSE(qc::textWithValues(text, values)) << text;
}

} // namespace vitrel
