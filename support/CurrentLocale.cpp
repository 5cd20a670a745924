#include "support/CurrentLocale.h"

#include <cstdlib>
#include <string_view>

namespace vitrel {

icu::Locale currentLocale(LocaleCategory category)
{
    std::string_view name;
    for (const char* variable : {"LC_ALL", category == LocaleCategory::Time ? "LC_TIME" : "LC_NUMERIC", "LANG"}) {
        const char* value = std::getenv(variable);
        if (value && *value) {
            name = value;
            break;
        }
    }
    const auto bare = name.substr(0, name.find_first_of(".@"));
    if (!bare.empty() && bare != "C" && bare != "POSIX") {
        const auto locale = icu::Locale::createCanonical(name.data());
        if (!locale.isBogus() && *locale.getLanguage())
            return locale;
    }
    return icu::Locale("en", "US", "POSIX");
}

} // namespace vitrel
