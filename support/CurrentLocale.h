#pragma once

// For the sources of this folder: the library's names stay in here.
#include <unicode/locid.h>

namespace vitrel {

enum class LocaleCategory { Time, Numeric };

// The current user's locale for `category`, as the environment has it now: LC_ALL, else the category's own, else LANG.
// With the calendar and the digits that go with it. Never bogus; American English, as computers have it, without one.
icu::Locale currentLocale(LocaleCategory category);

} // namespace vitrel
