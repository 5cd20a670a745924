#pragma once

#include "platform/foundation/Value.h"

#include <memory>
#include <optional>
#include <string>

namespace vitrel {

class DefaultsStore;
struct SettingsSurroundings;

// One domain of the stored defaults, beneath what the command line sets. Keeps nothing itself: each read goes to the
// store and sees what any process wrote last, each change is stored before the call returns. Any thread.
class NSUserDefaults
{
public:
    NSUserDefaults(DefaultsStore& store, std::string domain);
    virtual ~NSUserDefaults() = default;

    // The domain that a host keeps for itself, beside those of the savers.
    static constexpr const char* kHostDomain = "host";
    static std::shared_ptr<NSUserDefaults> standardUserDefaults(const SettingsSurroundings& surroundings);

    std::optional<Value> objectForKey(const std::string& key) const;
    // Absent, too, for a value of another kind.
    std::optional<std::string> stringForKey(const std::string& key) const;
    std::optional<Array> arrayForKey(const std::string& key) const;
    std::shared_ptr<const Bytes> dataForKey(const std::string& key) const; // null if absent
    // False if absent. A number is true unless 0; of texts "YES", "true" and "1" are.
    bool boolForKey(const std::string& key) const;

    // Nothing removes the key.
    void setObjectForKey(const Value& value, const std::string& key);
    void setBoolForKey(bool value, const std::string& key);
    void removeObjectForKey(const std::string& key);
    // False if something is still only in memory.
    bool synchronize();

    const std::string& domain() const { return domain_; }

private:
    DefaultsStore& store_;
    const std::string domain_;
};

} // namespace vitrel
