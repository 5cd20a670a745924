#pragma once

#include <QString>

#include <string>

namespace vitrel {

struct SettingsSurroundings;

// A name or a path as it may be shown: bytes that are no UTF-8 as U+FFFD, line ends and other control characters,
// those of the direction of writing too, as blanks. It can't be read back.
QString shownName(const std::string& bytes);

// `plain` for a place that takes markup for what it is, as tool tips do.
QString escapedText(const QString& plain);

// The window's texts in the user's language. Main thread.
class SheetTexts
{
public:
    // `surroundings` must outlive it.
    explicit SheetTexts(const SettingsSurroundings& surroundings)
        : surroundings_(&surroundings)
    { }

    // A text that is its own key; what isn't known comes back as it is. Texts that the controller has made of a known
    // format are translated, too.
    QString operator()(const std::string& text) const;

private:
    const SettingsSurroundings* surroundings_;
};

} // namespace vitrel
