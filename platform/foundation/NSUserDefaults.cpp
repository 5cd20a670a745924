#include "platform/foundation/NSUserDefaults.h"

#include "platform/foundation/DefaultsStore.h"
#include "platform/foundation/Surroundings.h"

#include <algorithm>

#include <strings.h>

namespace vitrel {

NSUserDefaults::NSUserDefaults(DefaultsStore& store, std::string domain)
    : store_(store)
    , domain_(std::move(domain))
{ }

std::shared_ptr<NSUserDefaults> NSUserDefaults::standardUserDefaults(const SettingsSurroundings& surroundings)
{
    return std::make_shared<NSUserDefaults>(*surroundings.defaults, "host");
}

std::optional<Value> NSUserDefaults::objectForKey(const std::string& key) const
{
    return store_.valueForKey(domain_, key);
}

std::optional<std::string> NSUserDefaults::stringForKey(const std::string& key) const
{
    const auto value = objectForKey(key);
    const auto* text = value ? value->as<std::string>() : nullptr;
    return text ? std::optional(*text) : std::nullopt;
}

std::optional<Array> NSUserDefaults::arrayForKey(const std::string& key) const
{
    const auto value = objectForKey(key);
    const auto* array = value ? value->array() : nullptr;
    return array ? std::optional(*array) : std::nullopt;
}

std::shared_ptr<const Bytes> NSUserDefaults::dataForKey(const std::string& key) const
{
    const auto value = objectForKey(key);
    const auto* bytes = value ? value->as<std::shared_ptr<const Bytes>>() : nullptr;
    return bytes ? *bytes : nullptr;
}

bool NSUserDefaults::boolForKey(const std::string& key) const
{
    const auto value = objectForKey(key);
    if (!value)
        return false;
    if (const auto* text = value->as<std::string>())
        return strcasecmp(text->c_str(), "yes") == 0 || strcasecmp(text->c_str(), "true") == 0 || *text == "1";
    return value->number().value_or(0) != 0;
}

void NSUserDefaults::setObjectForKey(const Value& value, const std::string& key)
{
    store_.setValueForKey(domain_, key, value);
}

void NSUserDefaults::setBoolForKey(bool value, const std::string& key)
{
    setObjectForKey(value, key);
}

void NSUserDefaults::removeObjectForKey(const std::string& key)
{
    setObjectForKey(Value(), key);
}

bool NSUserDefaults::synchronize()
{
    return store_.synchronize(domain_);
}

} // namespace vitrel
