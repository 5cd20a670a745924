#include "preferences/ViewLocalization.h"
#include "platform/appkit/controls/NSButton.h"
#include "platform/appkit/controls/NSTextField.h"
#include "support/TestSurroundings.h"

#include <gmock/gmock.h>

namespace vitrel {
namespace {

struct Texts : TestSurroundings {
    std::shared_ptr<NSView> window = std::make_shared<NSView>();

    Texts()
    {
        bundleFolder.write("en.lproj/Localizable.strings", "\"okButton.lskf\" = \"Fine\";");
        bundleFolder.write("de.lproj/Localizable.strings",
            "/* Knöpfe */ \"okButton.lskf\" = \"Das ist mir alles recht\"; // lang\n"
            "\"okButton.lskf.tooltip\"=\"Sichert\\n\\\"alles\\\"\";\n\"abc-de-fgh\" = \"Feld\";\n"
            "\"abc-de-fgh.tooltip\" = \"Rat\"; \"Plain\" = \"Schlicht\"; \"Hint\" = \"Wink\"; \"entry.lsk\" = "
            "\"Eins\";\n"
            "\"col.lsk\" = \"Name\"; \"pop.lsk.tooltip\" = \"Wahl\";");
        surroundings.languages = {"de-AT", "de"};
    }
    template <class Control> std::shared_ptr<Control> add(const std::optional<std::string>& identifier)
    {
        auto control = std::make_shared<Control>();
        control->setIdentifier(identifier);
        window->addSubview(control);
        return control;
    }
};

TEST(ViewLocalization, AMarkIsTheKeyOnceAndGoesOutOfTheIdentifier)
{
    Texts in;
    const auto box = std::make_shared<NSView>();
    in.window->addSubview(box);
    const auto button = std::make_shared<NSButton>();
    button->setIdentifier("okButton.lskf");
    button->setTitle("OK");
    box->addSubview(button);
    localizeView(*in.window, in.surroundings);
    EXPECT_EQ(button->title(), "Das ist mir alles recht");
    EXPECT_EQ(button->identifier(), "okButton");
    EXPECT_EQ(button->toolTip(), "Sichert\n\"alles\"");
    EXPECT_EQ(button->bounds().size.width, button->cell().cellSize().width) << "fits its text";
    button->setTitle("Plain");
    localizeView(*in.window, in.surroundings);
    EXPECT_EQ(button->title(), "Schlicht") << "a second run finds no mark: the text is the key";
    const auto twice = in.add<NSButton>("a.lsk.lskf.lskf");
    twice->setFrame(makeRect(0, 0, 5000, 10));
    const auto wide = in.add<NSButton>("a.lsk"), narrow = in.add<NSButton>("b.lsk");
    wide->setFrame(makeRect(0, 0, 5000, 10));
    const auto inner = std::make_shared<NSTextField>(); // a button's own views are its own matter
    inner->setStringValue("Plain");
    wide->addSubview(inner);
    localizeView(*in.window, in.surroundings);
    EXPECT_EQ(twice->identifier(), "a") << "all marks go";
    EXPECT_LT(twice->bounds().size.width, 5000);
    EXPECT_EQ(wide->bounds().size.width, 5000) << "it isn't asked to fit";
    EXPECT_EQ(narrow->bounds().size.width, narrow->cell().cellSize().width) << "but has to";
    EXPECT_EQ(inner->stringValue(), "Plain");
}

TEST(ViewLocalization, TellsKeysFromIdentifiersThatAreNone)
{
    const std::tuple<std::optional<std::string>, std::string, std::optional<std::string>, const char*> cases[] = {
        {"abc-de-fgh", "Feld", "abc-de-fgh", "two dashes are a key and stay"},
        {std::nullopt, "Schlicht", std::nullopt, "the text is the key"},
        {"one-dash", "Schlicht", "one-dash", "one dash is no key"}, {"a-b-c-d", "Schlicht", "a-b-c-d", "nor are three"},
        {"gone.lsk", "gone.lsk", "gone", "a key without a translation shows"},
        {".lskf", "Schlicht", "", "a mark alone is no key"}};
    for (const auto& [identifier, text, left, why] : cases) {
        Texts in;
        const auto field = in.add<NSTextField>(identifier);
        field->setStringValue("Plain");
        localizeView(*in.window, in.surroundings);
        EXPECT_EQ(field->stringValue(), text) << why;
        EXPECT_EQ(field->identifier(), left) << why;
    }
}

TEST(ViewLocalization, PlaceholdersEntriesAndColumnsFollow)
{
    Texts in;
    const auto keyed = in.add<NSTextField>("abc-de-fgh"), plain = in.add<NSTextField>(std::nullopt);
    plain->setPlaceholderString("Hint");
    const auto popUp = in.add<NSPopUpButton>("pop.lsk");
    popUp->setTitle("Plain");
    popUp->addItem(NSMenuItem::initWithTitleActionKeyEquivalent("1", {}, ""));
    popUp->itemArray()[0]->setIdentifier("entry.lsk");
    const auto table = in.add<NSTableView>(std::nullopt);
    table->addTableColumn(std::make_shared<NSTableColumn>());
    table->tableColumns()[0]->setIdentifier("col.lsk");
    localizeView(*in.window, in.surroundings);
    EXPECT_EQ(plain->stringValue(), "");
    EXPECT_EQ(keyed->placeholderString(), "Rat") << "the tool tip's key";
    EXPECT_EQ(keyed->toolTip(), "Rat");
    EXPECT_EQ(plain->placeholderString(), "Wink");
    EXPECT_EQ(plain->toolTip(), std::nullopt);
    EXPECT_EQ(popUp->itemArray()[0]->title(), "Eins");
    EXPECT_EQ(popUp->title(), "Plain") << "the button's own identifier serves its tool tip";
    EXPECT_EQ(popUp->toolTip(), "Wahl");
    EXPECT_EQ(table->tableColumns()[0]->title(), "Name");
}

TEST(ViewLocalization, ReportsItsTimeOnlyWhenAsked)
{
    Texts in;
    NSView& empty = *in.window;
    testing::internal::CaptureStdout();
    localizeView(empty, in.surroundings);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    testing::internal::CaptureStdout();
    localizeViewAndLog(empty, in.surroundings);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "⏱- 0.000, Lap 1: 0.000 NSView.localizeView(_:)   \n");
}

TEST(ViewLocalization, TakesTheUsersFirstLanguageThatThereIsElseEnglish)
{
    const std::pair<std::vector<std::string>, const char*> cases[]
        = {{{"fr", "de"}, "Das ist mir alles recht"}, {{"fr"}, "Fine"}, {{}, "Fine"}, {{"../de"}, "Fine"}};
    for (const auto& [languages, text] : cases) {
        Texts in;
        in.surroundings.languages = languages;
        const auto button = in.add<NSButton>("okButton.lskf");
        localizeView(*in.window, in.surroundings);
        EXPECT_EQ(button->title(), text);
    }
}

} // namespace
} // namespace vitrel
