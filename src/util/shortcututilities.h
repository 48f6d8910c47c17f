#pragma once

#include <QKeySequence>
#include <QList>
#include <QString>

// The shortcut grammar: alternatives split by "|", "cmd" the platform's main modifier and
// "ctrl" the physical Control key, chords with ",", and Enter and Return as twins. An
// alternative that doesn't parse is dropped, without a message.
QList<QKeySequence> getKeySequenceList(const QString& text);
// The same; without `twins` only the alternatives as written, with no Enter or Return added.
QList<QKeySequence> parseShortcut(const QString& text, bool twins);
