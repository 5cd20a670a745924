#include "preferences/VitrelItem.h"

#include "platform/foundation/DefaultsStore.h"
#include "platform/foundation/Surroundings.h"
#include "platform/screensaver/ScreenSaverDefaults.h"
#include "preferences/Settings.h"

namespace vitrel {

VitrelItem::VitrelItem(const SettingsSurroundings& surroundings, std::string filename)
    : surroundings_(&surroundings)
    , filename_(std::move(filename))
{ }

std::shared_ptr<ScreenSaverDefaults> VitrelItem::screenSaverDefaults() const
{
    return Settings::shared(*surroundings_).screenSaverDefaults();
}

std::string VitrelItem::keyID(const std::string& filename, Key key)
{
    const char* raw = "";
    switch (key) {
    case Key::isRSSVisualizer:
        raw = "Is RSS Visualizer";
        break;
    case Key::rssFeedURL:
        raw = "RSS URL";
        break;
    case Key::options:
        raw = "Options";
        break;
    }
    return filename + ": " + raw;
}

std::optional<Value> VitrelItem::dataForKey(Key key) const
{
    return screenSaverDefaults()->objectForKey(keyID(key));
}

std::optional<bool> VitrelItem::boolForKey(Key key) const
{
    const auto value = dataForKey(key);
    if (!value)
        return std::nullopt;
    if (const auto* flag = value->as<bool>())
        return *flag;
    // A number is a boolean if it has the value of one.
    const auto number = value->number();
    if (number == 0.0 || number == 1.0)
        return *number != 0;
    return std::nullopt;
}

std::optional<std::string> VitrelItem::stringForKey(Key key) const
{
    return screenSaverDefaults()->stringForKey(keyID(key));
}

void VitrelItem::setData(const Value& value, Key key)
{
    screenSaverDefaults()->setObjectForKey(value, keyID(key));
}

void VitrelItem::saveData()
{
    screenSaverDefaults()->synchronize();
}

bool VitrelItem::isRSSVisualizer() const
{
    return boolForKey(Key::isRSSVisualizer).value_or(false);
}

void VitrelItem::setIsRSSVisualizer(bool value)
{
    setData(value, Key::isRSSVisualizer);
}

std::optional<std::string> VitrelItem::rssFeedURL() const
{
    return stringForKey(Key::rssFeedURL);
}

void VitrelItem::setRssFeedURL(const std::optional<std::string>& address)
{
    setData(address ? Value(*address) : Value(), Key::rssFeedURL);
}

Dictionary VitrelItem::options() const
{
    const auto stored = dataForKey(Key::options);
    const Dictionary* options = stored ? stored->dictionary() : nullptr;
    return options ? *options : Dictionary();
}

void VitrelItem::changeOptions(const Dictionary& changes)
{
    // They are one value of the store: what another process has just changed of it mustn't be written over.
    const DefaultsStore::Batch change(*surroundings_->defaults, screenSaverDefaults()->domain());
    Dictionary all = options();
    for (const auto& [key, value] : changes) {
        if (value.isNothing())
            all.erase(key);
        else
            all.insert_or_assign(key, value);
    }
    setData(all.empty() ? Value() : Value(std::move(all)), Key::options);
}

} // namespace vitrel
