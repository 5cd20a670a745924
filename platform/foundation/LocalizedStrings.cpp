#include "platform/foundation/LocalizedStrings.h"

#include "base/Text.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/Surroundings.h"

#include <cstdlib>

namespace vitrel {
namespace {

// A window's texts are some kilobytes.
constexpr std::size_t kMostBytes = std::size_t(1) << 20;

class TableReader
{
public:
    explicit TableReader(std::string_view text)
        : text_(text)
    { }

    std::optional<std::map<std::string, std::string>> read()
    {
        std::map<std::string, std::string> table;
        for (;;) {
            skipBlanks();
            if (at_ == text_.size())
                return table;
            const auto key = quoted();
            if (!key || !take('='))
                return std::nullopt;
            const auto value = quoted();
            if (!value || !take(';'))
                return std::nullopt;
            table[*key] = *value;
        }
    }

private:
    void skipBlanks()
    {
        for (;;) {
            while (at_ < text_.size() && isBlank(text_[at_]))
                ++at_;
            const auto rest = text_.substr(at_);
            if (rest.starts_with("//"))
                at_ += std::min(rest.find('\n'), rest.size());
            else if (rest.starts_with("/*"))
                at_ += std::min(rest.find("*/", 2), rest.size() - 2) + 2;
            else
                return;
        }
    }
    bool take(char mark)
    {
        skipBlanks();
        const bool found = at_ < text_.size() && text_[at_] == mark;
        at_ += found;
        return found;
    }
    std::optional<std::string> quoted()
    {
        if (!take('"'))
            return std::nullopt;
        std::string out;
        while (at_ < text_.size() && text_[at_] != '"') {
            char c = text_[at_++];
            if (c == '\\' && at_ < text_.size()) {
                c = text_[at_++];
                c = c == 'n' ? '\n' : c == 't' ? '\t' : c;
            }
            out += c;
        }
        if (at_ == text_.size())
            return std::nullopt;
        ++at_;
        return out;
    }

    std::string_view text_;
    std::size_t at_ = 0;
};

// "de_AT.UTF-8@euro" as "de-AT" and "de".
void addLanguages(std::string_view locale, std::vector<std::string>& languages)
{
    locale = locale.substr(0, locale.find_first_of(".@"));
    if (locale.empty() || locale == "C" || locale == "POSIX")
        return;
    std::string name(locale);
    for (char& c : name)
        c = c == '_' ? '-' : c;
    const std::string language = name.substr(0, name.find('-'));
    if (language == "zh") {
        const bool traditional = name.find("TW") != name.npos || name.find("HK") != name.npos
            || name.find("MO") != name.npos || name.find("Hant") != name.npos;
        languages.push_back(traditional ? "zh-Hant" : "zh-Hans");
        return;
    }
    languages.push_back(name);
    if (language != name)
        languages.push_back(language);
}

struct Table {
    std::map<std::string, std::string> texts;
};

std::shared_ptr<Table> tableOf(const SettingsSurroundings& surroundings)
{
    auto table = std::make_shared<Table>();
    auto languages = surroundings.languages;
    languages.push_back("en");
    for (const auto& language : languages) {
        // It becomes part of a path.
        if (!surroundings.mainBundle || language.find('/') != language.npos)
            continue;
        const auto bytes = readFile(
            surroundings.mainBundle->resourcePath() + "/" + language + ".lproj/Localizable.strings", kMostBytes);
        if (auto read = bytes ? localizedStringsInText(textOf(*bytes)) : std::nullopt) {
            table->texts = std::move(*read);
            break;
        }
    }
    return table;
}

} // namespace

std::optional<std::map<std::string, std::string>> localizedStringsInText(std::string_view text)
{
    return text.size() > kMostBytes ? std::nullopt : TableReader(text).read();
}

std::vector<std::string> userLanguages()
{
    const auto variable = [](const char* name) {
        const char* value = std::getenv(name);
        return std::string(value ? value : "");
    };
    std::string locale;
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        if (locale.empty())
            locale = variable(name);
    }
    std::vector<std::string> languages;
    addLanguages(locale, languages);
    // A list of languages counts only in a locale that has one, as for every program of the desktop.
    if (languages.empty())
        return languages;
    std::vector<std::string> preferred;
    const std::string list = variable("LANGUAGE");
    for (std::size_t at = 0; at < list.size();) {
        const auto end = std::min(list.find(':', at), list.size());
        addLanguages(std::string_view(list).substr(at, end - at), preferred);
        at = end + 1;
    }
    preferred.insert(preferred.end(), languages.begin(), languages.end());
    return preferred;
}

std::string NSLocalizedString(const SettingsSurroundings& surroundings, const std::string& key)
{
    const Table& table = surroundings.shared.of<Table>([&] { return tableOf(surroundings); });
    const auto found = table.texts.find(key);
    return found == table.texts.end() ? key : found->second;
}

} // namespace vitrel
