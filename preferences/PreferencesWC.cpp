#include "preferences/PreferencesWC.h"

#include "platform/foundation/NSBundle.h"
#include "platform/foundation/RunLoop.h"
#include "platform/foundation/Surroundings.h"
#include "platform/screensaver/ScreenSaverDefaults.h"
#include "preferences/Settings.h"
#include "support/StringKit.h"

#include <algorithm>

namespace vitrel {
namespace {

constexpr const char* kFilesPaths = "Files Paths";
constexpr const char* kActiveFilePath = "Active File Path";
constexpr const char* kUseRandom = "Use Random Screen Saver";
constexpr const char* kFeedToolTip = "Download the Muralis RSS Visualizer Quartz composition to use RSS feeds support";

std::string lastPathComponent(const std::string& path)
{
    return NSURL::fileURLWithPath(path).lastPathComponent();
}

std::string informationText(const NSBundle* bundle, const char* key)
{
    if (!bundle)
        return {};
    const auto* text = textMember(bundle->infoDictionary(), key);
    return text ? *text : std::string();
}

} // namespace

bool PreferencesWC::isCatalinaHTTPAPIFixEnabled(const SettingsSurroundings& surroundings)
{
    return surroundings.systemVersion >= OperatingSystemVersion{10, 14, 0};
}

std::shared_ptr<PreferencesWC> PreferencesWC::initWithWindowNibName(
    const SheetSurroundings& surroundings, const std::string& name)
{
    return std::shared_ptr<PreferencesWC>(new PreferencesWC(surroundings, name));
}

PreferencesWC::~PreferencesWC()
{
    send(tableviewQuartzCompositions_, &NSTableView::setDataSource, nullptr);
    send(tableviewQuartzCompositions_, &NSTableView::setDelegate, nullptr);
}

void PreferencesWC::setOutlet(std::string_view name, const std::shared_ptr<NSView>& view)
{
    const auto take = [&](std::string_view outlet, auto& member) {
        using Control = typename std::decay_t<decltype(member)>::element_type;
        if (outlet == name)
            member = std::dynamic_pointer_cast<Control>(view);
    };
    take("tableviewQuartzCompositions", tableviewQuartzCompositions_);
    take("searchfield", searchfield_);
    take("checkboxUseRandomScreenSaver", checkboxUseRandomScreenSaver_);
    take("checkboxListenToSound", checkboxListenToSound_);
    take("labelListenToSound", labelListenToSound_);
    take("labelVersion", labelVersion_);
    take("labelMusicAppsSupport", labelMusicAppsSupport_);
    take("rssURLLabel", rssURLLabel_);
    take("rssURLTextField", rssURLTextField_);
}

std::optional<Selector> PreferencesWC::actionNamed(std::string_view name) const
{
    static const std::pair<std::string_view, Selector> actions[] = {
        {"buttonOK:", SELECTOR(PreferencesWC, buttonOK)},
        {"buttonCancel:", SELECTOR(PreferencesWC, buttonCancel)},
        {"quartzAddFile:", SELECTOR(PreferencesWC, quartzAddFile)},
        {"quartzRemoveFile:", SELECTOR(PreferencesWC, quartzRemoveFile)},
        {"menuRemoveFile:", SELECTOR(PreferencesWC, menuRemoveFile)},
        {"showInFinder:", SELECTOR(PreferencesWC, showInFinder)},
        {"searchFieldDidChange:", SELECTOR(PreferencesWC, searchFieldDidChange)},
        {"checkboxUseRandomScreenSaver:", SELECTOR(PreferencesWC, checkboxUseRandomScreenSaver)},
        {"checkboxListenToSound:", SELECTOR(PreferencesWC, checkboxListenToSound)},
        {"textFieldRSSFeedURL:", SELECTOR(PreferencesWC, textFieldRSSFeedURL)},
        {"webpageQuartzComps:", SELECTOR(PreferencesWC, webpageQuartzComps)},
    };
    for (const auto& [known, selector] : actions) {
        if (known == name)
            return selector;
    }
    return std::nullopt;
}

void PreferencesWC::windowDidLoad()
{
    NSWindowController::windowDidLoad();
    load();
    updateData();
    updateView();
}

void PreferencesWC::load()
{
    filteredFilesList_.clear();
    const auto menu = NSMenu::initWithTitle("Files Menu");
    const auto add = [&](const char* title, Selector action) {
        const auto item = NSMenuItem::initWithTitleActionKeyEquivalent(title, action, "");
        item->setTarget(shared_from_this());
        menu->addItem(item);
    };
    add("Show in Finder", SELECTOR(PreferencesWC, showInFinder));
    menu->addItem(NSMenuItem::separatorItem());
    add("Delete", SELECTOR(PreferencesWC, menuRemoveFile));
    if (const auto& table = tableviewQuartzCompositions_) {
        table->setDataSource(this);
        table->setDelegate(this);
        table->setMenu(menu);
    }
}

void PreferencesWC::filterFilesList()
{
    filteredFilesList_ = filesPaths();
    const std::string filter = searchfield_ ? lowercaseString(searchfield_->stringValue()) : std::string();
    if (filter.empty())
        return;
    std::erase_if(filteredFilesList_, [&](const std::string& path) {
        return lowercaseString(lastPathComponent(path)).find(filter) == std::string::npos;
    });
}

void PreferencesWC::updateView()
{
    checkDefaults();
    const bool random = send(screensaverDefaults(), &ScreenSaverDefaults::boolForKey, kUseRandom);
    send(checkboxUseRandomScreenSaver_, &NSButton::setState, random ? NSButton::kOn : NSButton::kOff);
    const bool listens = Settings::shared(surroundings()).listensToSound();
    send(checkboxListenToSound_, &NSButton::setState, listens ? NSButton::kOn : NSButton::kOff);
    const NSBundle* bundle = surroundings().classBundle;
    send(labelVersion_, &NSTextField::setStringValue,
        "Version " + informationText(bundle, "CFBundleShortVersionString") + " ("
            + informationText(bundle, "CFBundleVersion") + ")");
    send(labelMusicAppsSupport_, &NSTextField::setHidden, true);
    if (isCatalinaHTTPAPIFixEnabled(surroundings()))
        send(labelMusicAppsSupport_, &NSTextField::setHidden, false);
    surroundings().runLoop->performSelectorWithObjectAfterDelay(
        shared_from_this(), SELECTOR(PreferencesWC, updateTableView), {}, Seconds(0));
    updateViewExtras();
}

void PreferencesWC::checkDefaults()
{
    const auto defaults = screensaverDefaults();
    if (defaults && !defaults->objectForKey(kUseRandom))
        defaults->setBoolForKey(false, kUseRandom);
}

void PreferencesWC::updateViewExtras()
{
    const auto item = Settings::shared(surroundings()).selectedVitrelItem();
    const bool enabled = item && item->isRSSVisualizer();
    for (const auto& field : {rssURLLabel_, rssURLTextField_}) {
        send(field, &NSTextField::setEnabled, enabled);
        send(field, &NSTextField::setToolTip, kFeedToolTip);
    }
    send(rssURLLabel_, &NSTextField::setTextColor, enabled ? NSTextColor::textColor : NSTextColor::secondaryLabelColor);
    send(rssURLTextField_, &NSTextField::setStringValue, item ? item->rssFeedURL().value_or("") : std::string());
}

void PreferencesWC::updateTableView()
{
    send(tableviewQuartzCompositions_, &NSTableView::reloadData);
    updateSelection();
}

void PreferencesWC::updateSelection()
{
    const auto& table = tableviewQuartzCompositions_;
    if (!table)
        return;
    const auto index = fileIndex();
    if (index && index != table->selectedRow() && !filesPaths().empty())
        table->selectRowIndexesByExtendingSelection({*index}, false);
    table->scrollRowToVisible(table->selectedRow());
}

int PreferencesWC::numberOfRowsInTableView(const NSTableView&)
{
    return static_cast<int>(filteredFilesList_.size());
}

Value PreferencesWC::tableViewObjectValueForTableColumnRow(const NSTableView&, const NSTableColumn*, int row)
{
    const bool there = row >= 0 && static_cast<std::size_t>(row) < filteredFilesList_.size();
    return there ? lastPathComponent(filteredFilesList_[static_cast<std::size_t>(row)]) : std::string();
}

void PreferencesWC::tableViewSelectionDidChange(const Value&)
{
    const int row = tableviewQuartzCompositions_->selectedRow();
    if (row < 0)
        return;
    if (static_cast<std::size_t>(row) < filteredFilesList_.size())
        setFilePathActive(filteredFilesList_[static_cast<std::size_t>(row)]);
    delegateNotifyFileDidChange();
    updateView();
}

void PreferencesWC::delegateNotifyFileDidChange()
{
    if (!isWindowLoaded())
        return;
    const auto receiver = std::dynamic_pointer_cast<CompositionChangeReceiver>(window()->delegate());
    send(receiver, &CompositionChangeReceiver::fileDidChange);
}

std::shared_ptr<ScreenSaverDefaults> PreferencesWC::screensaverDefaults() const
{
    const auto identifier = send(surroundings().classBundle, &NSBundle::bundleIdentifier);
    return ScreenSaverDefaults::defaultsForModuleWithName(surroundings(), identifier.value_or(""));
}

std::vector<std::string> PreferencesWC::filesPaths() const
{
    std::vector<std::string> paths;
    const auto stored = send(screensaverDefaults(), &ScreenSaverDefaults::arrayForKey, kFilesPaths);
    for (const Value& entry : stored.value_or(Array())) {
        if (const auto* path = entry.as<std::string>())
            paths.push_back(*path);
    }
    return paths;
}

void PreferencesWC::setFilesPaths(const std::vector<std::string>& paths)
{
    send(screensaverDefaults(), &ScreenSaverDefaults::setObjectForKey, Array(paths.begin(), paths.end()), kFilesPaths);
    saveData();
}

std::optional<std::string> PreferencesWC::filePathActive() const
{
    return send(screensaverDefaults(), &ScreenSaverDefaults::stringForKey, kActiveFilePath);
}

void PreferencesWC::setFilePathActive(const std::string& path)
{
    send(screensaverDefaults(), &ScreenSaverDefaults::setObjectForKey, path, kActiveFilePath);
    saveData();
}

std::optional<int> PreferencesWC::fileIndex() const
{
    const auto active = filePathActive();
    const auto place
        = active ? std::find(filteredFilesList_.begin(), filteredFilesList_.end(), *active) : filteredFilesList_.end();
    if (place == filteredFilesList_.end())
        return std::nullopt;
    return static_cast<int>(place - filteredFilesList_.begin());
}

} // namespace vitrel
