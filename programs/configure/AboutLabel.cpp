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

QString aboutInWords(const CompositionFacts& facts)
{
    const QString title = shownName(facts.title), author = shownName(facts.author);
    const QString who = title.isEmpty() || author.isEmpty() ? title + author : title + QStringLiteral(" · ") + author;
    QStringList lines;
    for (const QString& text : {who, shownName(facts.description)}) {
        if (!text.isEmpty())
            lines << shortened(text);
    }
    return lines.join(QLatin1Char('\n'));
}

void AboutLabel::showAbout(const CompositionFacts& about)
{
    QStringList lines, whole;
    if (const QString text = aboutInWords(about); !text.isEmpty())
        lines << text;
    if (const QString text = missingInWords(about, texts_); !text.isEmpty())
        lines << QStringLiteral("⚠ ") + text;
    for (const std::string& text : {about.title, about.author, about.description}) {
        if (!text.empty())
            whole << shownName(text);
    }
    for (const std::string& name : about.missing)
        whole << QStringLiteral("⚠ ") + shownName(name);
    setText(lines.join(QLatin1Char('\n')));
    setToolTip(escapedText(whole.join(QLatin1Char('\n'))).replace(QLatin1Char('\n'), QStringLiteral("<br>")));
    setVisible(!lines.isEmpty());
}

} // namespace vitrel
