#include "util/caseutilities.h"

#include <QSet>

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
    static const QSet<QString> smallWords{
        QStringLiteral("a"),  QStringLiteral("an"),  QStringLiteral("and"), QStringLiteral("as"),
        QStringLiteral("at"), QStringLiteral("but"), QStringLiteral("by"),  QStringLiteral("from"),
        QStringLiteral("in"), QStringLiteral("nor"), QStringLiteral("not"), QStringLiteral("of"),
        QStringLiteral("on"), QStringLiteral("or"),  QStringLiteral("the"), QStringLiteral("to")};
    QStringList words = separateWords(text);
    for (qsizetype i = 0; i < words.size(); ++i) {
        QString word = words[i].toLower();
        const bool inner = i > 0 && i + 1 < words.size();
        words[i] = inner && smallWords.contains(word) ? word : capitalized(word);
    }
    return words.join(QLatin1Char(' '));
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
