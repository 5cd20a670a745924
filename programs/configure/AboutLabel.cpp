#include "programs/configure/AboutLabel.h"

namespace vitrel {

namespace {

constexpr qsizetype kLongest = 160; // characters that are seen; the tool tip has all
constexpr std::size_t kMostNamed = 3;

QString shortened(const QString& text)
{
    return text.size() > kLongest ? text.left(kLongest - 1).trimmed() + QStringLiteral("…") : text;
}

} // namespace

QString missingInWords(const CompositionFacts& facts, const SheetTexts& texts)
{
    if (facts.missing.empty())
        return {};
    QStringList named;
    for (std::size_t k = 0; k < facts.missing.size() && k < kMostNamed; ++k)
        named << shownName(facts.missing[k]);
    if (facts.missing.size() > kMostNamed)
        named << QStringLiteral("…");
    return texts("Needs what isn't there: %@").replace(QStringLiteral("%@"), named.join(QStringLiteral(", ")));
}

AboutLabel::AboutLabel(const SheetTexts& texts)
    : texts_(texts)
{
    setObjectName(QStringLiteral("about"));
    setTextFormat(Qt::PlainText);
    setWordWrap(true);
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Minimum);
    hide();
}

void AboutLabel::showAbout(const CompositionFacts& about)
{
    QStringList lines, all;
    const QString title = shownName(about.title), author = shownName(about.author);
    const QString who = title.isEmpty() || author.isEmpty() ? title + author : title + QStringLiteral(" · ") + author;
    for (const QString& text : {who, shownName(about.description)}) {
        if (!text.isEmpty())
            lines << shortened(text), all << text;
    }
    if (const QString missing = missingInWords(about, texts_); !missing.isEmpty()) {
        for (QStringList* to : {&lines, &all})
            *to << QStringLiteral("⚠ ") + missing;
    }
    setText(lines.join(QLatin1Char('\n')));
    setToolTip(lines.isEmpty() ? QString() : escapedText(all.join(QLatin1Char('\n'))));
    setVisible(!lines.isEmpty());
}

} // namespace vitrel
