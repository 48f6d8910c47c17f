#include "util/shortcututilities.h"

#include <QStringList>

QList<QKeySequence> parseShortcut(const QString& text, bool twins) {
    QStringList alternatives;
    for (const QString& part : text.split(QLatin1Char('|'), Qt::SkipEmptyParts)) {
        QString alternative = part.trimmed().toLower();
        // "cmd" is the main modifier and "ctrl" the physical key, which Qt calls Meta where the
        // two differ.
        alternative.replace(QLatin1String("ctrl"), QLatin1String("meta"));
        alternative.replace(QLatin1String("cmd"), QLatin1String("ctrl"));
        if (!alternative.isEmpty())
            alternatives.append(alternative);
    }
    // Enter and Return are twins, so that a shortcut works on both keys.
    const QLatin1String enter("enter");
    const QLatin1String ret("return");
    for (qsizetype i = 0, count = twins ? alternatives.size() : 0; i < count; ++i) {
        QString twin = alternatives.at(i);
        if (twin.contains(enter))
            twin.replace(enter, ret);
        else if (twin.contains(ret))
            twin.replace(ret, enter);
        else
            continue;
        if (!alternatives.contains(twin))
            alternatives.append(twin);
    }
    QList<QKeySequence> sequences;
    for (const QString& alternative : alternatives) {
        const QKeySequence sequence = QKeySequence::fromString(alternative, QKeySequence::PortableText);
        bool known = !sequence.isEmpty();
        for (uint i = 0; known && i < static_cast<uint>(sequence.count()); ++i)
            known = sequence[i].key() != Qt::Key_unknown;
        if (known)
            sequences.append(sequence);
    }
    return sequences;
}

QList<QKeySequence> getKeySequenceList(const QString& text) {
    return parseShortcut(text, true);
}
