#pragma once

#include <optional>
#include <string>

namespace vitrel {

// Numbers as text in the current user's locale. Any thread. Decimals below 0 count as 0.

// Exactly `decimals` of them behind the locale's decimal mark, no grouping: 1.5 with 3 is "1,500" in a German locale.
std::string formatLocale(double number, int decimals);
// With grouping, and no sign of a currency whatever the name says. Absent if the platform has no such formatter.
std::optional<std::string> formatCurrency(double number, int maxDecimals, int minDecimals);
// Without decimals if the number is whole to that many, else as formatLocale: 2.0 with 1 is "2", 2.5 is "2.5".
std::string formatWithDecimals(double number, int decimals);

} // namespace vitrel
