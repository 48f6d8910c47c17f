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

QString capitalized(const QString& word) {
    return word.left(1).toUpper() + word.mid(1).toLower();
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

QString convertToTitleCase(const QString& text) {
    static constexpr const char* smallWords[] = {"a",  "an",  "and", "as", "at", "but", "by",  "from",
                                                 "in", "nor", "not", "of", "on", "or",  "the", "to"};
    const QStringList words = separateWords(text);
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
            out += word.at(0).toUpper();
            out += QStringView(word).mid(1);
        }
    }
    return out;
}

QString convertToUpperCamelCase(const QString& text) {
    QString out;
    for (const QString& word : separateWords(text))
        out += capitalized(word);
    return out;
}

QString convertToLowerCamelCase(const QString& text) {
    const QStringList words = separateWords(text);
    QString out;
    for (qsizetype i = 0; i < words.size(); ++i)
        out += i == 0 ? words[i].toLower() : capitalized(words[i]);
    return out;
}

QString convertToUpperSnakeCase(const QString& text) {
    return separateWords(text).join(QLatin1Char('_')).toUpper();
}

QString convertToLowerSnakeCase(const QString& text) {
    return separateWords(text).join(QLatin1Char('_')).toLower();
}

QString convertToAcronym(const QString& text) {
    QString out;
    for (const QString& word : separateWords(text))
        out += word.left(1).toUpper();
    return out;
}

} // namespace Utilities
