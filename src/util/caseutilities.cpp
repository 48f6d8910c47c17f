#include "util/caseutilities.h"

#include <algorithm>
#include <iterator>

namespace Utilities {

namespace {

bool isLower(QChar c) {
    return (c >= QLatin1Char('a') && c <= QLatin1Char('z')) || c.category() == QChar::Letter_Lowercase;
}

bool isUpper(QChar c) {
    return (c >= QLatin1Char('A') && c <= QLatin1Char('Z')) || c.category() == QChar::Letter_Uppercase;
}

// The length of the first character of `word`: two for one outside the Basic Multilingual
// Plane, so that a case change never cuts it in half and leaves a lone surrogate behind.
qsizetype firstCharLength(const QString& word) {
    return word.size() >= 2 && word.at(0).isHighSurrogate() && word.at(1).isLowSurrogate() ? 2 : 1;
}

// The first character of `word` as it begins a capitalised word: its title case form where it
// has one ("ǆ" becomes "ǅ", not "Ǆ"), and only the first letter of an upper case that grows
// ("ß" becomes "Ss").
QString titleFirst(const QString& word) {
    const qsizetype n = firstCharLength(word);
    const char32_t c = n == 2 ? QChar::surrogateToUcs4(word.at(0), word.at(1)) : word.at(0).unicode();
    const char32_t title = QChar::toTitleCase(c);
    if (title != c)
        return QString::fromUcs4(&title, 1);
    const QString upper = word.left(n).toUpper();
    return n == 1 && upper.size() > 1 ? upper.left(1) + upper.mid(1).toLower() : upper;
}

QString capitalized(const QString& word) {
    return titleFirst(word) + word.mid(firstCharLength(word)).toLower();
}

} // namespace

QStringList separateWords(const QString& text) {
    QString marked;
    marked.reserve(text.size() + 8);
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (i > 0 && text.size() >= 2 && isUpper(c) && isLower(text.at(i - 1)))
            marked += QLatin1Char('_');
        switch (c.unicode()) {
        case ' ':
        case '-':
        case ',':
        case '/':
            marked += QLatin1Char('_');
            break;
        default:
            marked += c;
        }
    }
    return marked.split(QLatin1Char('_'), Qt::SkipEmptyParts);
}

// A text without any word (" - ", "/") stays as it is in every style: there is nothing to
// convert, and an empty cell would lose what it held.
QString convertToTitleCase(const QString& text) {
    static constexpr const char* smallWords[] = {"a",  "an",  "and", "as", "at", "but", "by",  "from",
                                                 "in", "nor", "not", "of", "on", "or",  "the", "to"};
    const QStringList words = separateWords(text);
    if (words.isEmpty())
        return text;
    QString out;
    out.reserve(text.size());
    for (qsizetype i = 0; i < words.size(); ++i) {
        const QString word = words[i].toLower();
        if (i > 0)
            out += QLatin1Char(' ');
        const bool inner = i > 0 && i + 1 < words.size();
        const bool small = inner && word.size() <= 4 &&
                           std::any_of(std::begin(smallWords), std::end(smallWords),
                                       [&word](const char* s) { return word == QLatin1String(s); });
        if (small) {
            out += word;
        } else {
            out += titleFirst(word);
            out += QStringView(word).mid(firstCharLength(word));
        }
    }
    return out;
}

QString convertToUpperCamelCase(const QString& text) {
    const QStringList words = separateWords(text);
    if (words.isEmpty())
        return text;
    QString out;
    for (const QString& word : words)
        out += capitalized(word);
    return out;
}

QString convertToLowerCamelCase(const QString& text) {
    const QStringList words = separateWords(text);
    if (words.isEmpty())
        return text;
    QString out;
    for (qsizetype i = 0; i < words.size(); ++i)
        out += i == 0 ? words[i].toLower() : capitalized(words[i]);
    return out;
}

QString convertToUpperSnakeCase(const QString& text) {
    const QStringList words = separateWords(text);
    return words.isEmpty() ? text : words.join(QLatin1Char('_')).toUpper();
}

QString convertToLowerSnakeCase(const QString& text) {
    const QStringList words = separateWords(text);
    return words.isEmpty() ? text : words.join(QLatin1Char('_')).toLower();
}

QString convertToAcronym(const QString& text) {
    const QStringList words = separateWords(text);
    if (words.isEmpty())
        return text;
    QString out;
    for (const QString& word : words)
        out += word.left(firstCharLength(word)).toUpper();
    return out;
}

} // namespace Utilities
