#pragma once

#include <QString>
#include <QStringList>

// Word splitting and the case styles built on it. Pure functions, no widgets.
namespace Utilities {

// The words of `text`: a lower-case letter followed by an upper-case one starts a new word, and
// spaces, "-", ",", "/" and "_" separate words. Empty words are dropped.
QStringList separateWords(const QString& text);

// Words with an upper-case first letter, joined by spaces; small words ("of", "the", ...) stay
// lower case unless first or last.
QString convertToTitleCase(const QString& text);
QString convertToUpperCamelCase(const QString& text);
QString convertToLowerCamelCase(const QString& text);
QString convertToUpperSnakeCase(const QString& text);
QString convertToLowerSnakeCase(const QString& text);
// The upper-cased first letter of each word.
QString convertToAcronym(const QString& text);

} // namespace Utilities
