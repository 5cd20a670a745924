#include "configure/Sheet.h"
#include "platform/foundation/LocalizedStrings.h"
#include "programs/configure/SheetTexts.h"

#include <gmock/gmock.h>

#include <QAccessible>
#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QPalette>
#include <QTabWidget>
#include <QXmlStreamReader>

#include <set>

namespace vitrel {
namespace {

using Table = std::map<std::string, std::string>;

constexpr const char* kLanguages[] = {"en", "de", "fr", "es", "ja", "zh-Hans"};

Table tableOf(const std::string& language)
{
    const auto text = TemporaryFolder::read(VITREL_SHARE "/" + language + ".lproj/Localizable.strings");
    return localizedStringsInText(text).value_or(Table());
}

// Each widget of the description with its dynamic properties and texts, by a reader that isn't ours.
std::map<std::string, std::map<std::string, std::string>> widgetsOfForm()
{
    std::map<std::string, std::map<std::string, std::string>> widgets;
    QXmlStreamReader xml(QByteArray::fromStdString(TemporaryFolder::read(VITREL_SHARE "/PreferencesWC.ui")));
    std::vector<std::string> open;
    std::string property;
    while (!xml.atEnd()) {
        const auto token = xml.readNext();
        const QStringView name = xml.name();
        if (token == QXmlStreamReader::StartElement && name == QLatin1String("widget"))
            open.push_back(xml.attributes().value(QLatin1String("name")).toString().toStdString());
        else if (token == QXmlStreamReader::StartElement && name == QLatin1String("property"))
            property = xml.attributes().value(QLatin1String("name")).toString().toStdString();
        else if (token == QXmlStreamReader::StartElement && name == QLatin1String("string"))
            widgets[open.back()][property] = xml.readElementText().toStdString();
        else if (token == QXmlStreamReader::EndElement && name == QLatin1String("widget"))
            open.pop_back();
    }
    return widgets;
}

TEST(Texts, AllLanguagesHaveTheSameKeysAndPlaces)
{
    const Table english = tableOf("en");
    ASSERT_GT(english.size(), 30u);
    for (const char* language : kLanguages) {
        const Table table = tableOf(language);
        EXPECT_EQ(table.size(), english.size()) << language;
        for (const auto& [key, text] : table) {
            EXPECT_TRUE(english.contains(key)) << language << ": " << key;
            EXPECT_FALSE(text.empty()) << language << ": " << key;
            EXPECT_EQ(key.find("%@") == key.npos, text.find("%@") == text.npos) << language << ": " << key;
        }
    }
}

TEST(Texts, EveryTextOfTheFormHasAKeyInEveryLanguage)
{
    auto widgets = widgetsOfForm();
    int marked = 0;
    for (const char* language : kLanguages) {
        const Table table = tableOf(language);
        std::set<int> mnemonics;
        for (auto& [name, given] : widgets) {
            const std::string identifier = given["identifier"];
            EXPECT_EQ(given["text"].empty(), identifier.empty()) << name << ": a text without a key";
            for (const auto& own : {given["placeholderText"], given["windowTitle"], identifier})
                EXPECT_TRUE(own.empty() || table.contains(own)) << language << ": " << own;
            if (identifier.empty())
                continue;
            ++marked;
            EXPECT_EQ(identifier.substr(0, identifier.find(".lsk")), name) << "by this the widget is found";
            const std::string text = table.contains(identifier) ? table.at(identifier) : "";
            const auto mark = text.find('&');
            EXPECT_TRUE(
                mark == text.npos || mark + 1 == text.size() || mnemonics.insert(std::tolower(text[mark + 1])).second)
                << language << ": " << identifier << " shares its letter";
        }
    }
    EXPECT_EQ(marked, 6 * 11);
}

TEST(Texts, FormatsOfTheControllerAreTranslatedToo)
{
    Sheet in({}, "", [](Sheet& in) { in.surroundings.languages = {"es-MX", "es"}; });
    const SheetTexts texts(in.surroundings);
    EXPECT_EQ(texts("Delete").toStdString(), "Quitar de la lista");
    EXPECT_EQ(texts("Version 0.1 (beta) (7)").toStdString(), "Versión 0.1 (beta) (7)") << "a value like the format";
    for (const char* other : {"Version 1", "version 1 (2)", "A Version 1 (2)", "%@", ""})
        EXPECT_EQ(texts(other).toStdString(), other) << "nothing of ours";
}

// A text that is longer than its place: in the smallest window, with everything shown that can be.
void expectNothingCut(Sheet& in, const std::string& where)
{
    for (const auto* widget : in.window->findChildren<QWidget*>()) {
        const auto* label = qobject_cast<const QLabel*>(widget);
        const bool isControl = qobject_cast<const QAbstractButton*>(widget) || label;
        if (!isControl || !widget->isVisible() || widget->objectName().isEmpty()
            || widget->objectName() == QLatin1String("compositionName"))
            continue;
        const std::string name = where + ": " + widget->objectName().toStdString();
        const int height
            = label && label->wordWrap() ? label->heightForWidth(widget->width()) : widget->minimumSizeHint().height();
        EXPECT_GE(widget->height(), height) << name;
        EXPECT_GE(widget->width(), label && label->wordWrap() ? 0 : widget->minimumSizeHint().width()) << name;
        EXPECT_TRUE(in.window->rect().contains(QRect(widget->mapTo(in.window.get(), QPoint()), widget->size())))
            << name;
    }
    if (!in.list().isVisible())
        return;
    EXPECT_GE(in.find<QWidget>("preview").height(), 90) << where;
    EXPECT_GE(in.list().height(), 2 * in.list().sizeHintForRow(1)) << where;
}

TEST(Texts, FitTheWindowInEveryLanguageAndSize)
{
    TemporaryFolder bundleWithSite;
    std::filesystem::copy(VITREL_SHARE, bundleWithSite.path(), std::filesystem::copy_options::recursive);
    auto information = TemporaryFolder::read(VITREL_SHARE "/Info.plist");
    information.insert(information.find("<key>"), "<key>VitrelWebsite</key><string>https://example.org</string>");
    bundleWithSite.write("Info.plist", information);
    const QPalette light = QApplication::palette();
    QPalette dark(QColor(0x35, 0x35, 0x35), QColor(0x2B, 0x2B, 0x2B));
    dark.setColor(QPalette::Base, QColor(0x1E, 0x1E, 0x1E));
    dark.setColor(QPalette::Highlight, QColor(0x2A, 0x82, 0xDA));
    for (const char* language : kLanguages) {
        for (const auto& [width, height] : {std::pair(640, 420), {860, 560}, {1200, 800}, {1400, 900}}) {
            for (const bool full : {true, false}) {
                QApplication::setPalette(full ? light : dark);
                Sheet in({"/home/user/Pictures/Aurora.qtz",
                             "/home/user/Pictures/A name that is much too long for one line of a list.qtz"},
                    "/home/user/Pictures/Aurora.qtz", [&](Sheet& in) {
                        in.resources = NSBundle(full ? bundleWithSite.path() : in.bundle.path());
                        in.surroundings.languages = {language};
                        if (full)
                            in.surroundings.systemVersion = {10, 14, 0};
                        in.disk.setValueForKey(Sheet::kDomain, "Aurora.qtz: Is RSS Visualizer", full);
                        if (!full)
                            Sheet::bundleWith(in.bundle, {"Vinyl"});
                        if (!full && width > 640)
                            in.disk.setValueForKey(Sheet::kDomain, "Settings View", "grid");
                    });
                in.window->resize(width, height);
                in.settle();
                EXPECT_EQ(in.window->width(), width) << language;
                EXPECT_EQ(in.window->height(), height) << language;
                const std::string name = language + std::string(full ? "-full-" : "-dark-") + std::to_string(width);
                const auto look = [&](const std::string& page) {
                    expectNothingCut(in, name + page);
                    // For whoever looks after a change.
                    if (const char* folder = std::getenv("VITREL_PICTURES"))
                        in.window->grab().save(QString::fromStdString(folder + ("/" + name + page + ".png")));
                };
                look("");
                in.find<QTabWidget>("pages").setCurrentIndex(1);
                in.runs.at(0).ended(ProgramRun{0,
                    full ? "state\tother\nby\thypridle\nadvice\ta listener in hypridle.conf with on-timeout = vitrel "
                           "play\n"
                         : "state\tpossible\n"});
                in.runs.at(1).ended(std::nullopt);
                in.settle();
                look("-start");
            }
        }
    }
    QApplication::setPalette(light);
}

TEST(Texts, WhoHearsTheWindowIsToldEachControlsName)
{
    Sheet in({"/a.qtz"}, "/a.qtz", [](Sheet& in) {
        in.surroundings.languages = {"de"};
        in.surroundings.systemVersion = {10, 14, 0};
    });
    int controls = 0;
    for (auto* widget : in.window->findChildren<QWidget*>()) {
        const bool isControl = widget->focusPolicy() != Qt::NoFocus || widget->objectName() == QLatin1String("preview");
        if (!isControl || !widget->isVisible() || widget->objectName().startsWith(QLatin1String("qt_")))
            continue;
        auto* heard = QAccessible::queryAccessibleInterface(widget);
        ASSERT_TRUE(heard);
        const QString name = heard->text(QAccessible::Name);
        EXPECT_FALSE(name.isEmpty()) << widget->objectName().toStdString();
        EXPECT_FALSE(name.contains(QLatin1Char('&'))) << name.toStdString();
        ++controls;
    }
    EXPECT_GE(controls, 10);
    auto* box = QAccessible::queryAccessibleInterface(&in.button("checkboxListenToSound"));
    EXPECT_TRUE(box->text(QAccessible::Description).contains(QLatin1String("nie ein Mikrofon")));
    EXPECT_EQ(in.feed().accessibleName().toStdString(), "Feed-Adresse:");
    EXPECT_EQ(in.list().accessibleName().toStdString(), "Kompositionen");
}

} // namespace
} // namespace vitrel
