#include "util/locationutilities.h"

#include <QRegularExpression>
#include <QStringList>

#include <algorithm>
#include <climits>
#include <optional>

namespace {

// A location is typed by hand; anything longer is not one, and the backtracking patterns
// below should never see an unbounded text.
constexpr qsizetype MaxLocationLength = 1000;

// Upper bound of the entries one column list may produce, so that "0-2000000000" is an error
// and not an allocation of gigabytes.
constexpr long long MaxListedCols = 10'000'000;

std::optional<int> readNumber(const QRegularExpressionMatch& match, QStringView name, bool allowNegative) {
    bool ok = false;
    const int value = match.capturedView(name).toInt(&ok, 10);
    if (!ok || (value < 0 && !allowNegative))
        return std::nullopt;
    return value;
}

// The rest of `text` from `pos` with leading separators dropped. A hyphen right behind the
// previous number ("5-3") separates; after a blank or comma it is a sign ("5, -3").
QString restAfterSeparators(const QString& text, qsizetype pos) {
    qsizetype i = pos;
    while (i < text.size() && !text.at(i).isLetterOrNumber() && text.at(i) != u'-')
        ++i;
    if (i == pos && i < text.size() && text.at(i) == u'-')
        ++i;
    return text.mid(i);
}

struct ColsListSyntax {
    const QRegularExpression& words;
    const QRegularExpression& range;
    bool letters;
};

// Hyphens with blanks around them bind their ends: "2 - 4" is "2-4".
QString joinHyphens(const QString& text) {
    static const QRegularExpression blanksAroundHyphen(QStringLiteral("\\s*-\\s*"));
    QString result = text;
    result.replace(blanksAroundHyphen, QStringLiteral("-"));
    return result;
}

QStringList splitColsList(const QString& text) {
    static const QRegularExpression separators(QStringLiteral("[,\\s]+"));
    return text.split(separators, Qt::SkipEmptyParts);
}

void appendRun(std::vector<int>& out, int first, int last) {
    const int step = first <= last ? 1 : -1;
    for (long long value = first;; value += step) {
        out.push_back(static_cast<int>(value));
        if (value == last)
            break;
    }
}

long long runLength(int first, int last) {
    return std::llabs(static_cast<long long>(last) - first) + 1;
}

QString makeColsError(const QStringList& bad) {
    if (bad.isEmpty())
        return {};
    return (bad.size() == 1 ? QStringLiteral("Column ") : QStringLiteral("Columns ")) +
           bad.join(QStringLiteral(", "));
}

QString colName(int col, bool letters) {
    return letters ? Utilities::convertNumberToLetters(col) : QString::number(col);
}

} // namespace

namespace Utilities {

bool parseCellLocationString(int& row, int& col, const QString& text, bool colLetters, bool userIndexes) {
    if (colLetters)
        return parseCellLocationStringColLetters(row, col, text);

    // The row word is r, ro or row; the column word any start of "column".
    static const QRegularExpression namedRow(QStringLiteral("ro?w?\\s*(?<row>-?\\d+)"));
    static const QRegularExpression namedCol(QStringLiteral("co?l?u?m?n?\\s*(?<col>-?\\d+)"));
    static const QRegularExpression twoNumbers(QStringLiteral("(?<row>-?\\d+)\\s+(?<col>-?\\d+)"));
    static const QRegularExpression rowBeforeNamedCol(
        QStringLiteral("(?<row>-?\\d+).*co?l?u?m?n?\\s*(?<col>-?\\d+)"));
    static const QRegularExpression numberAtEnd(QStringLiteral("^.*\\D(?<row>-?\\d+)"),
                                                QRegularExpression::DotMatchesEverythingOption);
    static const QRegularExpression colBeforeNamedRow(
        QStringLiteral("(?<col>-?\\d+).*ro?w?\\s*(?<row>-?\\d+)"));
    static const QRegularExpression numberBehindBlank(QStringLiteral("\\s+(?<col>-?\\d+)"));
    static const QRegularExpression leadingRow(QStringLiteral("^(?<row>-?\\d+)"));
    static const QRegularExpression leadingCol(QStringLiteral("^(?<col>-?\\d+)"));

    const QString t = text.trimmed().toLower();
    if (t.isEmpty() || t.size() > MaxLocationLength)
        return false;

    const auto rowName = QStringLiteral("row");
    const auto colNameKey = QStringLiteral("col");
    std::optional<int> newRow;
    std::optional<int> newCol;
    qsizetype rowEnd = -1; // where the text behind the row number starts

    const QRegularExpressionMatch rowMatch = namedRow.match(t);
    if (rowMatch.hasMatch()) {
        newRow = readNumber(rowMatch, rowName, userIndexes);
        rowEnd = rowMatch.capturedEnd(rowName);
    }
    const QRegularExpressionMatch colMatch = namedCol.match(t);
    if (colMatch.hasMatch())
        newCol = readNumber(colMatch, colNameKey, userIndexes);

    // Two bare numbers: only when neither position was named, or "col 3 4" would put the
    // named column's number into the row.
    if (!rowMatch.hasMatch() && !colMatch.hasMatch()) {
        const QRegularExpressionMatch m = twoNumbers.match(t);
        if (m.hasMatch()) {
            newRow = readNumber(m, rowName, userIndexes);
            newCol = readNumber(m, colNameKey, userIndexes);
        }
    }

    // Column named, row not: the row is a number before the column word ("3 col 4") or the
    // last number behind the column's ("col 4, 3").
    if (!newRow && newCol && colMatch.hasMatch()) {
        const QRegularExpressionMatch m = rowBeforeNamedCol.match(t);
        if (m.hasMatch()) {
            newRow = readNumber(m, rowName, userIndexes);
        } else {
            const QRegularExpressionMatch end = numberAtEnd.match(t.mid(colMatch.capturedEnd(colNameKey)));
            if (end.hasMatch())
                newRow = readNumber(end, rowName, userIndexes);
        }
    }

    // Row named, column not: the column is a number before the row word ("4 row 3") or one
    // behind a blank after the row's number ("row 3 4").
    if (newRow && !newCol && rowMatch.hasMatch()) {
        const QRegularExpressionMatch m = colBeforeNamedRow.match(t);
        if (m.hasMatch()) {
            newCol = readNumber(m, colNameKey, userIndexes);
        } else {
            const QRegularExpressionMatch behind = numberBehindBlank.match(t.mid(rowEnd));
            if (behind.hasMatch())
                newCol = readNumber(behind, colNameKey, userIndexes);
        }
    }

    // Nothing named: a leading number is the row ("5", "5, 3").
    if (!newRow && !newCol && !rowMatch.hasMatch() && !colMatch.hasMatch()) {
        const QRegularExpressionMatch m = leadingRow.match(t);
        if (m.hasMatch()) {
            newRow = readNumber(m, rowName, userIndexes);
            rowEnd = m.capturedEnd(rowName);
        }
    }

    // A row is known: a number leading what follows it is the column ("5, 3", "r3,4").
    if (newRow && !newCol && rowEnd >= 0) {
        const QRegularExpressionMatch m = leadingCol.match(restAfterSeparators(t, rowEnd));
        if (m.hasMatch())
            newCol = readNumber(m, colNameKey, userIndexes);
    }

    if (newRow)
        row = *newRow;
    if (newCol)
        col = *newCol;
    return newRow || newCol;
}

bool parseCellLocationStringColLetters(int& row, int& col, const QString& text) {
    static const QRegularExpression colThenRow(QStringLiteral("(?<col>[a-z]+)[^0-9a-z]*(?<row>\\d+)"));
    static const QRegularExpression rowThenCol(QStringLiteral("(?<row>\\d+)[^0-9a-z]*(?<col>[a-z]+)"));
    static const QRegularExpression colAlone(QStringLiteral("(?<col>[a-z]+)"));
    static const QRegularExpression rowAlone(QStringLiteral("(?<row>\\d+)"));

    const QString t = text.trimmed().toLower();
    if (t.isEmpty() || t.size() > MaxLocationLength)
        return false;

    const auto rowName = QStringLiteral("row");
    const auto colNameKey = QStringLiteral("col");
    QRegularExpressionMatch m;
    for (const QRegularExpression* re : {&colThenRow, &rowThenCol, &colAlone, &rowAlone}) {
        m = re->match(t);
        if (m.hasMatch())
            break;
    }
    if (!m.hasMatch())
        return false;

    bool found = false;
    if (m.hasCaptured(rowName)) {
        if (const auto value = readNumber(m, rowName, false)) {
            row = *value;
            found = true;
        }
    }
    if (m.hasCaptured(colNameKey)) {
        const int value = convertLettersToNumber(m.captured(colNameKey));
        if (value != INT_MIN) {
            col = value;
            found = true;
        }
    }
    return found;
}

bool parseShapeStringRowWise(int& rows, int& cols, const QString& text) {
    static const QRegularExpression colsOrBare(
        QStringLiteral("^c?o?l?u?m?n?\\s*(?<col>\\d+)\\s*c?o?l?u?m?n?s?$"));
    static const QRegularExpression rowWordFirst(QStringLiteral("^ro?w?\\s*(?<row>\\d+)"));
    static const QRegularExpression rowWordAfter(QStringLiteral("^(?<row>\\d+)\\s*ro?w?s?"));

    const QString t = text.trimmed().toLower();
    if (QRegularExpressionMatch m = colsOrBare.match(t); m.hasMatch()) {
        const auto value = readNumber(m, u"col", false);
        if (value)
            cols = *value;
        return value.has_value();
    }
    for (const QRegularExpression* re : {&rowWordFirst, &rowWordAfter}) {
        if (QRegularExpressionMatch m = re->match(t); m.hasMatch()) {
            const auto value = readNumber(m, u"row", false);
            if (value)
                rows = *value;
            return value.has_value();
        }
    }
    return false;
}

bool parseShapeStringColWise(int& rows, int& cols, const QString& text) {
    static const QRegularExpression rowsOrBare(QStringLiteral("^r?o?w?\\s*(?<row>\\d+)\\s*r?o?w?s?$"));
    static const QRegularExpression colWordFirst(QStringLiteral("^co?l?u?m?n?\\s*(?<col>\\d+)"));
    static const QRegularExpression colWordAfter(QStringLiteral("^(?<col>\\d+)\\s*co?l?u?m?n?s?"));

    const QString t = text.trimmed().toLower();
    if (QRegularExpressionMatch m = rowsOrBare.match(t); m.hasMatch()) {
        const auto value = readNumber(m, u"row", false);
        if (value)
            rows = *value;
        return value.has_value();
    }
    for (const QRegularExpression* re : {&colWordFirst, &colWordAfter}) {
        if (QRegularExpressionMatch m = re->match(t); m.hasMatch()) {
            const auto value = readNumber(m, u"col", false);
            if (value)
                cols = *value;
            return value.has_value();
        }
    }
    return false;
}

bool parseColsString(std::vector<int>& out, QString& error, QString text, int limit, bool userIndexes) {
    // Longest word first, so "columns" does not leave an "umns" behind.
    static const QRegularExpression words(QStringLiteral("columns|column|cols|col"),
                                          QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression range(QStringLiteral("^(?<first>-?\\d+)-(?<last>-?\\d+)$"));

    text = joinHyphens(text);
    text.replace(words, QStringLiteral(","));

    QStringList bad;
    long long listed = 0;
    const auto accept = [&](long long count) {
        if (listed + count > MaxListedCols)
            return false;
        listed += count;
        return true;
    };
    for (const QString& part : splitColsList(text)) {
        if (const QRegularExpressionMatch m = range.match(part); m.hasMatch()) {
            const auto first = readNumber(m, u"first", userIndexes);
            const auto last = readNumber(m, u"last", userIndexes);
            if (first && last && *first <= limit && *last <= limit && accept(runLength(*first, *last)))
                appendRun(out, *first, *last);
            else
                bad << (first && last ? QStringLiteral("%1-%2").arg(*first).arg(*last) : part);
            continue;
        }
        bool ok = false;
        const int value = part.toInt(&ok, 10);
        if (ok && (value >= 0 || userIndexes) && value <= limit && accept(1))
            out.push_back(value);
        else
            bad << part;
    }
    error = makeColsError(bad);
    return error.isEmpty();
}

bool parseColsStringColLetters(std::vector<int>& out, QString& error, QString text, int limit) {
    // The words are column names too ("COL" is column 2429), so they only count as words
    // in front of a name: "Cols A, C" and "Column COL" both read as meant.
    static const QRegularExpression words(QStringLiteral("\\b(COLUMNS|COLUMN|COLS|COL)\\s+(?=[A-Z])"));
    static const QRegularExpression range(QStringLiteral("^(?<first>[A-Z]+)-(?<last>[A-Z]+)$"));

    text = joinHyphens(text.toUpper());
    text.replace(words, QStringLiteral(","));

    QStringList bad;
    long long listed = 0;
    for (const QString& part : splitColsList(text)) {
        int first = INT_MIN;
        int last = INT_MIN;
        if (const QRegularExpressionMatch m = range.match(part); m.hasMatch()) {
            first = convertLettersToNumber(m.captured(u"first"));
            last = convertLettersToNumber(m.captured(u"last"));
        } else {
            first = last = convertLettersToNumber(part);
        }
        const long long count = runLength(first, last);
        if (first != INT_MIN && last != INT_MIN && first <= limit && last <= limit &&
            listed + count <= MaxListedCols) {
            appendRun(out, first, last);
            listed += count;
        } else {
            bad << part;
        }
    }
    error = makeColsError(bad);
    return error.isEmpty();
}

QString makeColsStringFromCol(int col, bool letters, bool prefix) {
    const QString name = colName(col, letters);
    return prefix ? QStringLiteral("Column ") + name : name;
}

QString makeColsStringFromCols(std::vector<int> cols, bool letters, bool prefix) {
    std::sort(cols.begin(), cols.end());
    cols.erase(std::unique(cols.begin(), cols.end()), cols.end());
    if (cols.empty())
        return {};

    QStringList runs;
    for (size_t i = 0; i < cols.size();) {
        size_t j = i;
        while (j + 1 < cols.size() && static_cast<long long>(cols[j + 1]) == cols[j] + 1LL)
            ++j;
        if (j == i)
            runs << colName(cols[i], letters);
        else
            runs << QStringLiteral("%1-%2").arg(colName(cols[i], letters), colName(cols[j], letters));
        i = j + 1;
    }
    const QString list = runs.join(QStringLiteral(", "));
    if (!prefix)
        return list;
    return (cols.size() == 1 ? QStringLiteral("Column ") : QStringLiteral("Columns ")) + list;
}

int convertLettersToNumber(QString text) {
    text = text.toUpper().trimmed();
    if (text.isEmpty())
        return INT_MIN;
    long long sum = 0;
    long long weight = 1;
    for (qsizetype i = text.size() - 1; i >= 0; --i) {
        const char16_t c = text.at(i).unicode();
        if (c < u'A' || c > u'Z')
            return INT_MIN;
        // Once the weight passes int, any further letter overflows the result; stop there
        // rather than overflow the sum.
        if (weight > INT_MAX)
            return INT_MIN;
        sum += (c - u'A' + 1) * weight;
        if (sum - 1 > INT_MAX)
            return INT_MIN;
        weight *= 26;
    }
    return sum < 1 ? INT_MIN : static_cast<int>(sum - 1);
}

QString convertNumberToLetters(int number) {
    if (number < 0)
        return {};
    QString letters;
    for (;;) {
        letters.prepend(QChar(static_cast<char16_t>(u'A' + number % 26)));
        if (number < 26)
            break;
        number = number / 26 - 1;
    }
    return letters;
}

QString computeCellRangeFeedbackString(int row, int col, bool letters) {
    if (row < 0 && col < 0)
        return QStringLiteral("(No cell selected)");
    if (col < 0)
        return QStringLiteral("Row %1").arg(row);
    if (row < 0)
        return QStringLiteral("Column %1").arg(colName(col, letters));
    if (letters)
        return QStringLiteral("Cell %1%2").arg(convertNumberToLetters(col)).arg(row);
    return QStringLiteral("Row %1, Column %2").arg(row).arg(col);
}

} // namespace Utilities
