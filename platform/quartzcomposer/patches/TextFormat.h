#pragma once

#include "base/Date.h"
#include "platform/quartzcomposer/graph/PortValue.h"

#include <memory>
#include <string>
#include <vector>

namespace vitrel::qc {

// Directives of a print format (%@ %d %i %u %x %f %g %e %s, with flags, width and precision); %% isn't one.
std::size_t countDirectives(const std::string& format);

// `format` with its directives replaced by the values in turn. %@ and %s give a value's plain text, numbers as their
// shortest decimal; nothing gives no text. Widths and precisions are held to 100.
std::string formatted(const std::string& format, const std::vector<PortValue>& values);

// What stands in `text` at the directives of `format`: numbers for %d and %f and the like, for %@ and %s the text up
// to the format's next character. Ends at the first place that doesn't match.
std::vector<PortValue> scanned(const std::string& format, const std::string& text);

// A decimal pattern as ICU has it ("0.00", "#,##0"). Without one a style: "Currency", "Percent", "Scientific" or "Spell
// Out", as English has them. Any other, and a broken pattern, gives the shortest decimal.
class NumberFormat
{
public:
    explicit NumberFormat(const std::string& pattern = {}, const std::string& style = {});
    std::string format(double number) const;

private:
    struct Implementation;
    std::shared_ptr<Implementation> implementation_;
};

// A date pattern as ICU has it ("HH:mm"), or the C kind if it holds a "%"; in local time and the user's language.
class DateFormat
{
public:
    explicit DateFormat(const std::string& pattern = {});
    std::string format(Date date) const;

private:
    struct Implementation;
    std::shared_ptr<Implementation> implementation_;
};

} // namespace vitrel::qc
