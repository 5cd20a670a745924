#pragma once

#include "platform/foundation/Value.h"

#include <memory>
#include <optional>
#include <string>

namespace vitrel {

class ScreenSaverDefaults;
struct SettingsSurroundings;

// The stored settings of one composition. They go by the file's name alone, so they follow a file into another
// folder, and two files of one name share them. Reads the store at each call. Any thread.
class VitrelItem
{
public:
    enum class Key { isRSSVisualizer, rssFeedURL, options };

    // `filename` is the last part of the composition's path, extension included.
    VitrelItem(const SettingsSurroundings& surroundings, std::string filename);

    const std::string& filename() const { return filename_; }
    std::shared_ptr<ScreenSaverDefaults> screenSaverDefaults() const;

    // Absent when nothing is stored or it isn't a boolean: absent and false differ.
    std::optional<bool> boolForKey(Key key) const;
    std::optional<std::string> stringForKey(Key key) const;
    std::optional<Value> dataForKey(Key key) const;
    // Nothing removes the key.
    void setData(const Value& value, Key key);
    // Brings out what a full disk has kept in memory.
    void saveData();

    // The name in the store: "FILENAME: KEY".
    std::string keyID(Key key) const { return keyID(filename_, key); }
    static std::string keyID(const std::string& filename, Key key);

    // Whether the composition has been seen to show a feed. Absent reads as false.
    bool isRSSVisualizer() const;
    void setIsRSSVisualizer(bool value);
    // The feed's address as it was typed.
    std::optional<std::string> rssFeedURL() const;
    void setRssFeedURL(const std::optional<std::string>& address);

    // What the user has set at the composition's published inputs, by their keys, as saver/CompositionOptions.h stores
    // it. Empty if nothing is stored, or no dictionary. It may name inputs that the composition no longer has.
    Dictionary options() const;
    // Changes these and leaves the others, what other processes store meanwhile too; nothing takes an option back.
    void changeOptions(const Dictionary& changes);

private:
    const SettingsSurroundings* surroundings_;
    std::string filename_;
};

} // namespace vitrel
