#include "util/stringutilities.h"

#include <QRegularExpression>

#include <algorithm>

namespace Utilities {

QStringList computeSeriesStrings(const QString& text, int count) {
    QStringList out;
    if (count <= 0)
        return out;
    const QStringList parts = text.split(QLatin1Char(' '), Qt::KeepEmptyParts);
    if (parts.size() == 2) {
        bool okStart = false;
        bool okStep = false;
        const int start = parts[0].toInt(&okStart, 10);
        const int step = parts[1].toInt(&okStep, 10);
        if (okStart && okStep) {
            for (qint64 i = 0; i < count; ++i)
                out.append(QString::number(qint64(start) + i * step));
            return out;
        }
        const double startD = parts[0].toDouble(&okStart);
        const double stepD = parts[1].toDouble(&okStep);
        if (okStart && okStep) {
            for (int i = 0; i < count; ++i)
                out.append(QString::number(double(i) * stepD + startD, 'g', 6));
            return out;
        }
    }
    // Text: protect the escapes, split at the quotes, and put the escapes back in each piece.
    const QString mark = QStringLiteral("\\dq/dq");
    QString protectedText = text;
    protectedText.replace(QLatin1Char('/'), QStringLiteral("//"));
    protectedText.replace(QStringLiteral("\\\""), mark);
    const QStringList pieces = protectedText.split(QLatin1Char('"'), Qt::KeepEmptyParts);
    auto restore = [&mark](QString piece) {
        piece.replace(mark, QStringLiteral("\""));
        piece.replace(QStringLiteral("//"), QStringLiteral("/"));
        return piece;
    };
    for (qsizetype i = 0; i < pieces.size() && out.size() < count; ++i) {
        if (i % 2 == 1) {
            out.append(restore(pieces[i]));
            continue;
        }
        for (const QString& word : pieces[i].split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
            if (out.size() >= count)
                break;
            out.append(restore(word));
        }
    }
    return out;
}

bool evaluateAndConvertSeparatorString(const QString& text, QString& out) {
    out.clear();
    out.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c == QLatin1Char('\\') && i + 1 < text.size()) {
            const QChar next = text.at(i + 1);
            if (next == QLatin1Char('n') || next == QLatin1Char('t') || next == QLatin1Char('\\')) {
                out += next == QLatin1Char('n')   ? QLatin1Char('\n')
                       : next == QLatin1Char('t') ? QLatin1Char('\t')
                                                  : next;
                ++i;
                continue;
            }
        }
        out += c;
    }
    return true;
}

bool evaluateAndConvertIndexString(const QString& text, std::vector<int>& out) {
    out.clear();
    static const QRegularExpression separators(QStringLiteral("[\\s,]+"));
    const QStringList parts = text.split(separators, Qt::SkipEmptyParts);
    for (const QString& part : parts) {
        bool ok = false;
        const int index = part.toInt(&ok);
        if (!ok || index <= 0)
            return false;
        out.push_back(index);
    }
    std::sort(out.begin(), out.end());
    out.erase(std::unique(out.begin(), out.end()), out.end());
    return !out.empty();
}

namespace {

// Character positions count characters, not UTF-16 units: one outside the Basic Multilingual
// Plane (most emoji) is one character, and no cut falls between its two halves, which would
// leave text that no file can hold. Texts without such characters need no table.
class CharPositions {
public:
    explicit CharPositions(const QString& text) : text(text) {
        for (qsizetype i = 0; i + 1 < text.size(); ++i) {
            if (isPair(i)) {
                build();
                break;
            }
        }
    }
    qsizetype count() const { return starts.empty() ? text.size() : qsizetype(starts.size()) - 1; }
    // The UTF-16 offset of character `k`, `k` limited to the text.
    qsizetype offset(qint64 k) const {
        const qsizetype at = qsizetype(std::clamp<qint64>(k, 0, count()));
        return starts.empty() ? at : starts[std::size_t(at)];
    }
    // Characters `from` up to (not including) `to`.
    QString slice(qint64 from, qint64 to) const {
        const qsizetype begin = offset(from);
        return text.mid(begin, std::max<qsizetype>(0, offset(to) - begin));
    }

private:
    bool isPair(qsizetype i) const {
        return text.at(i).isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate();
    }
    void build() {
        for (qsizetype i = 0; i < text.size(); i += isPair(i) ? 2 : 1)
            starts.push_back(i);
        starts.push_back(text.size());
    }

    const QString& text;
    std::vector<qsizetype> starts;
};

} // namespace

QStringList splitByDelimiter(const QString& text, const QString& delimiter) {
    if (delimiter.isEmpty()) {
        const CharPositions chars(text);
        QStringList parts;
        parts.reserve(chars.count());
        for (qsizetype i = 0; i < chars.count(); ++i)
            parts.append(chars.slice(i, i + 1));
        return parts;
    }
    return text.split(delimiter, Qt::KeepEmptyParts, Qt::CaseInsensitive);
}

QStringList splitByIndex(const QString& text, const std::vector<int>& indexes) {
    const CharPositions chars(text);
    QStringList parts;
    qsizetype from = 0;
    for (const int index : indexes) {
        if (index >= chars.count())
            break;
        if (index <= from)
            continue;
        parts.append(chars.slice(from, index));
        from = index;
    }
    parts.append(chars.slice(from, chars.count()));
    return parts;
}

QString keepLeftPart(const QString& text, int index) {
    const CharPositions chars(text);
    const qint64 n = chars.count();
    return text.left(chars.offset(index >= 0 ? index : n + index));
}

QString keepRightPart(const QString& text, int index) {
    const CharPositions chars(text);
    const qint64 n = chars.count();
    return text.mid(chars.offset(index >= 0 ? n - index : -qint64(index)));
}

QString keepMiddlePart(const QString& text, int index, int count) {
    const CharPositions chars(text);
    const qint64 n = chars.count();
    const qint64 start = index >= 0 ? index : n + index;
    if (start < 0 || start >= n)
        return QString();
    return count >= 0 ? chars.slice(start, start + count) : chars.slice(start + count, start);
}

bool parseIndexAndCount(const QString& text, int& index, int& count) {
    static const QRegularExpression separators(QStringLiteral("[\\s,]+"));
    const QStringList parts = text.split(separators, Qt::SkipEmptyParts);
    if (parts.size() != 2)
        return false;
    bool okIndex = false;
    bool okCount = false;
    index = parts[0].toInt(&okIndex);
    count = parts[1].toInt(&okCount);
    return okIndex && okCount;
}

} // namespace Utilities
