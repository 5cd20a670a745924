#pragma once

#include "programs/configure/SheetTexts.h"
#include "programs/thumbnails/CompositionFacts.h"

#include <QLabel>

namespace vitrel {

// Title, author and description, each shortened; a line or two, or nothing.
QString aboutInWords(const CompositionFacts& facts);
// Classes of patches that a composition would need, as one line.
QString missingInWords(const CompositionFacts& facts, const SheetTexts& texts);

// What a composition's file says of itself, in a few lines beneath its name, and a warning in words if it can't play in
// full here. Hidden where there is nothing to say. Main thread.
class AboutLabel : public QLabel
{
public:
    explicit AboutLabel(const SheetTexts& texts);

    void showAbout(const CompositionFacts& about);

private:
    const SheetTexts texts_;
};

} // namespace vitrel
