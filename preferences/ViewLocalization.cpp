#include "preferences/ViewLocalization.h"

#include "platform/appkit/controls/NSButton.h"
#include "platform/appkit/controls/NSTextField.h"
#include "platform/foundation/LocalizedStrings.h"
#include "platform/foundation/Surroundings.h"
#include "support/Stopwatch.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <typeinfo>

namespace vitrel {
namespace {

constexpr std::string_view kMark = ".lsk", kFittingMark = ".lskf";

std::string without(std::string text, std::string_view part)
{
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at))
        text.erase(at, part.size());
    return text;
}

// The class's name without the namespaces around it.
std::string typeName(const NSView& view)
{
    int status = 0;
    const std::unique_ptr<char, void (*)(void*)> name(
        abi::__cxa_demangle(typeid(view).name(), nullptr, nullptr, &status), std::free);
    const std::string whole = name ? name.get() : "";
    const auto colon = whole.rfind(':');
    return colon == std::string::npos ? whole : whole.substr(colon + 1);
}

template <class Item> LocalizationIdentifier identifierOf(Item& item)
{
    const std::optional<std::string> identifier = item.identifier();
    if (!identifier)
        return {};
    const bool marked = identifier->find(kMark) != std::string::npos;
    const bool inThreePieces = std::count(identifier->begin(), identifier->end(), '-') == 2;
    if (!marked && !inThreePieces)
        return {};
    item.setIdentifier(without(without(*identifier, kFittingMark), kMark));
    LocalizationIdentifier found{identifier, identifier->ends_with(kFittingMark)};
    if (*identifier == kFittingMark)
        found.id.reset();
    return found;
}

// The entries of a pop-up button and the columns of a table.
template <class Item>
void localizeEntry(NSView& owner, Item& item, const SettingsSurroundings& surroundings, bool printLogs)
{
    const auto id = localizationIdentifier(item).id;
    localizeToolTip(owner, id, surroundings, printLogs);
    item.setTitle(NSLocalizedString(surroundings, id.value_or(item.title())));
}

void localizeButton(
    NSButton& button, const LocalizationIdentifier& identifier, const SettingsSurroundings& surroundings)
{
    button.setTitle(NSLocalizedString(surroundings, identifier.id.value_or(button.title())));
    if (button.bounds().size.width < button.cell().cellSize().width || identifier.sizeToFit)
        button.sizeToFit();
}

void localizeField(NSTextField& field, const std::optional<std::string>& id, const SettingsSurroundings& surroundings)
{
    field.setStringValue(NSLocalizedString(surroundings, id.value_or(field.stringValue())));
    if (id)
        field.setPlaceholderString(NSLocalizedString(surroundings, *id + ".tooltip"));
    else if (field.placeholderString())
        field.setPlaceholderString(NSLocalizedString(surroundings, *field.placeholderString()));
}

} // namespace

LocalizationIdentifier localizationIdentifier(NSView& item)
{
    return identifierOf(item);
}

LocalizationIdentifier localizationIdentifier(NSMenuItem& item)
{
    return identifierOf(item);
}

LocalizationIdentifier localizationIdentifier(NSTableColumn& item)
{
    return identifierOf(item);
}

void localizeViewAndLog(NSView& view, const SettingsSurroundings& surroundings)
{
    localizeView(view, surroundings, true);
}

void localizeView(NSView& view, const SettingsSurroundings& surroundings, bool printLogs)
{
    Stopwatch watch(*surroundings.clock);
    localizeText(view, surroundings, printLogs);
    if (printLogs)
        watch.addLap(typeName(view) + ".localizeView(_:)");
}

void localizeText(NSView& view, const SettingsSurroundings& surroundings, bool printLogs)
{
    const auto subviews = view.subviews();
    for (const auto& subview : subviews) {
        if (!subview->subviews().empty() && !dynamic_cast<NSButton*>(subview.get()))
            localizeText(*subview, surroundings, printLogs);
        localizeUIItem(*subview, surroundings, printLogs);
    }
}

void localizeUIItem(NSView& view, const SettingsSurroundings& surroundings, bool printLogs)
{
    const auto identifier = localizationIdentifier(view);
    localizeToolTip(view, identifier.id, surroundings, printLogs);
    if (auto* field = dynamic_cast<NSTextField*>(&view)) {
        localizeField(*field, identifier.id, surroundings);
    } else if (auto* popUp = dynamic_cast<NSPopUpButton*>(&view)) {
        for (const auto& entry : popUp->itemArray())
            localizeEntry(view, *entry, surroundings, printLogs);
    } else if (auto* button = dynamic_cast<NSButton*>(&view)) {
        localizeButton(*button, identifier, surroundings);
    } else if (auto* table = dynamic_cast<NSTableView*>(&view)) {
        for (const auto& column : table->tableColumns())
            localizeEntry(view, *column, surroundings, printLogs);
    }
}

void localizeToolTip(NSView& view, const std::optional<std::string>& id, const SettingsSurroundings& surroundings, bool)
{
    if (!id && !view.toolTip())
        return;
    const std::string key = id ? *id + ".tooltip" : *view.toolTip();
    const std::string text = NSLocalizedString(surroundings, key);
    if (text != id.value_or("") + ".tooltip")
        view.setToolTip(text);
}

} // namespace vitrel
