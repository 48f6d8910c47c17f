#include "util/clipboardutilities.h"

#include <QList>
#include <QRegularExpression>

#include <algorithm>
#include <map>

namespace {

constexpr char kRecordSeparator = 30;

bool isRowEnd(char ch) {
    return ch == '\n' || ch == '\r' || ch == kRecordSeparator;
}

// Lines split on LF, without their CR, trimmed.
QList<QByteArray> trimmedLines(const QByteArray& bytes) {
    QList<QByteArray> lines = bytes.split('\n');
    for (QByteArray& line : lines)
        line = line.trimmed();
    return lines;
}

bool isMarkdownSeparator(const QByteArray& line) {
    bool dash = false;
    bool pipe = false;
    for (const char ch : line) {
        if (ch == '-')
            dash = true;
        else if (ch == '|')
            pipe = true;
        else if (ch != '\r' && ch != ' ' && ch != ':')
            return false;
    }
    return dash && pipe;
}

// Index of the first separator line that has a pipe line above it; -1 without one.
qsizetype markdownSeparatorIndex(const QList<QByteArray>& lines) {
    for (qsizetype i = 1; i < lines.size(); ++i) {
        if (lines[i].isEmpty())
            continue;
        if (isMarkdownSeparator(lines[i]) && lines[i - 1].contains('|'))
            return i;
    }
    return -1;
}

// The fields of one Markdown row: outer pipes off, split on pipes that no backslash escapes.
std::vector<QVariant> markdownFields(const QByteArray& line) {
    QByteArray text = line;
    if (text.startsWith('|'))
        text.remove(0, 1);
    if (text.endsWith('|') && !text.endsWith("\\|"))
        text.chop(1);
    std::vector<QVariant> fields;
    QByteArray field;
    // The writer puts a line break in a cell as "<br>", which Markdown renders as one.
    auto store = [&fields, &field] {
        QString value = QString::fromUtf8(field.trimmed());
        if (value.contains(u'<'))
            value.replace(QLatin1String("<br>"), QLatin1String("\n"));
        fields.emplace_back(std::move(value));
        field.clear();
    };
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char ch = text[i];
        if (ch == '\\' && i + 1 < text.size() && text[i + 1] == '|') {
            field.append('|');
            ++i;
        } else if (ch == '|') {
            store();
        } else {
            field.append(ch);
        }
    }
    store();
    return fields;
}

// Case-insensitive search for an opening tag `name` (as "<td") that a name character doesn't
// continue: "<th" is not "<thead".
// Searches stop at `to`, so that a tag missing from a row doesn't send every cell's search
// to the end of a long text.
qsizetype findTag(const QString& text, QLatin1String name, qsizetype from, qsizetype to) {
    const QStringView within = QStringView(text).first(std::min(to, text.size()));
    while (from < to) {
        const qsizetype at = within.indexOf(name, from, Qt::CaseInsensitive);
        if (at < 0 || at >= to)
            return -1;
        const qsizetype next = at + name.size();
        if (next >= text.size())
            return -1;
        const QChar ch = text[next];
        if (ch == u'>' || ch == u'/' || ch.isSpace())
            return at;
        from = next;
    }
    return -1;
}

// Stands for "<br>" while tags are removed and source whitespace collapses.
constexpr char16_t kLineBreakMark = 0xE000;

QString decodeEntities(const QString& text) {
    if (!text.contains(u'&'))
        return text;
    static const std::map<QString, QString> named{
        {QStringLiteral("amp"), QStringLiteral("&")},  {QStringLiteral("lt"), QStringLiteral("<")},
        {QStringLiteral("gt"), QStringLiteral(">")},   {QStringLiteral("quot"), QStringLiteral("\"")},
        {QStringLiteral("apos"), QStringLiteral("'")}, {QStringLiteral("nbsp"), QString(QChar(0xA0))},
        {QStringLiteral("tab"), QStringLiteral("\t")}, {QStringLiteral("newline"), QStringLiteral("\n")},
    };
    QString out;
    out.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text[i] != u'&') {
            out.append(text[i]);
            continue;
        }
        const qsizetype semi = text.indexOf(u';', i + 1);
        if (semi < 0 || semi - i > 12) {
            out.append(text[i]);
            continue;
        }
        const QString name = text.mid(i + 1, semi - i - 1);
        bool ok = false;
        char32_t code = 0;
        if (name.startsWith(u'#')) {
            const bool hex = name.size() > 1 && (name[1] == u'x' || name[1] == u'X');
            code = name.mid(hex ? 2 : 1).toUInt(&ok, hex ? 16 : 10);
            ok = ok && code > 0 && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
            if (ok)
                out.append(QString::fromUcs4(&code, 1));
        } else if (auto it = named.find(name); it != named.end()) {
            ok = true;
            out.append(it->second);
        }
        if (ok)
            i = semi;
        else
            out.append(text[i]);
    }
    return out;
}

QString htmlCellText(const QString& inner) {
    static const QRegularExpression lineBreak(QStringLiteral("<br\\s*/?>"),
                                              QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression tag(QStringLiteral("<[^>]*>"));
    static const QRegularExpression sourceBreaks(QStringLiteral("[\\t\\r\\n]+"));
    static const QRegularExpression blanks(QStringLiteral(" {2,}"));
    QString text = inner;
    // Most cells are plain words; the expressions run only where they can change something.
    if (text.contains(u'<')) {
        text.replace(lineBreak, QString(QChar(kLineBreakMark)));
        text.remove(tag);
    }
    if (text.contains(u'\n') || text.contains(u'\t') || text.contains(u'\r'))
        text.replace(sourceBreaks, QStringLiteral(" "));
    if (text.contains(QLatin1String("  ")))
        text.replace(blanks, QStringLiteral(" "));
    text = text.trimmed();
    if (!text.contains(QChar(kLineBreakMark)))
        return decodeEntities(text);
    // Blanks around a break are the source's layout, not the cell's.
    text.replace(QStringLiteral(" ") + QChar(kLineBreakMark), QString(QChar(kLineBreakMark)));
    text.replace(QString(QChar(kLineBreakMark)) + QStringLiteral(" "), QString(QChar(kLineBreakMark)));
    if (!text.isEmpty() &&
        std::all_of(text.cbegin(), text.cend(), [](QChar ch) { return ch == kLineBreakMark; }))
        return QString();
    text.replace(QChar(kLineBreakMark), u'\n');
    return decodeEntities(text);
}

void quoteField(QString& value) {
    value.replace(QStringLiteral("\""), QStringLiteral("\"\""));
    value.prepend(u'"');
    value.append(u'"');
}

} // namespace

namespace Utilities {

void makeParsedBlock(RangeVector& out, std::vector<std::vector<QVariant>>&& rows) {
    out.clear();
    if (rows.empty())
        return;
    Range block(RangeType::Table, RangeIndexType::Raw);
    block.row = 0;
    block.col = 0;
    block.endRow = static_cast<int>(rows.size()) - 1;
    std::size_t widest = 0;
    for (const auto& row : rows)
        widest = std::max(widest, row.size());
    block.endCol = static_cast<int>(widest) - 1;
    block.tableValues = std::move(rows);
    out.push_back(std::move(block));
}

const std::vector<std::vector<QVariant>>& parsedRows(const RangeVector& parsed) {
    static const std::vector<std::vector<QVariant>> none;
    return parsed.empty() ? none : parsed.front().tableValues;
}

qint64 parsedCellCount(const RangeVector& parsed) {
    qint64 count = 0;
    for (const auto& row : parsedRows(parsed))
        count += static_cast<qint64>(row.size());
    return count;
}

void parseCsvByteArray(QByteArray& bytes, RangeVector& out, char delimiter, bool useQuotes) {
    out.clear();
    std::vector<std::vector<QVariant>> rows;
    const qsizetype n = bytes.size();
    const char* p = bytes.constData();
    QByteArray field;
    int state = 0;
    qsizetype i = 0;
    auto store = [&] { rows.back().emplace_back(QString::fromUtf8(field)); };
    while (i < n) {
        const char ch = p[i];
        switch (state) {
        case 0: // start of a row
            rows.emplace_back();
            state = 1;
            break;
        case 1: // start of a field
            field.clear();
            if (ch == delimiter || isRowEnd(ch)) {
                state = 5;
            } else if (useQuotes && ch == '"') {
                state = 3;
                ++i;
            } else {
                state = 2;
            }
            break;
        case 2: { // unquoted field: take the run up to the next delimiter or row end at once
            qsizetype end = i;
            while (end < n && p[end] != delimiter && !isRowEnd(p[end]))
                ++end;
            field.append(p + i, end - i);
            i = end;
            state = 5;
            break;
        }
        case 3: { // quoted field
            const char* quote = static_cast<const char*>(memchr(p + i, '"', static_cast<size_t>(n - i)));
            const qsizetype end = quote ? quote - p : n;
            field.append(p + i, end - i);
            i = end;
            if (quote) {
                state = 4;
                ++i;
            }
            break;
        }
        case 4: // after a quote inside a quoted field
            if (ch == '"') {
                field.append('"');
                state = 3;
                ++i;
            } else if (ch == delimiter || isRowEnd(ch)) {
                state = 5;
            } else {
                state = 2; // lax: the quote ended nothing, the rest is plain text
            }
            break;
        case 5: // end of a field
            store();
            ++i;
            if (ch == delimiter)
                state = 1;
            else
                state = ch == '\r' ? 6 : 0;
            break;
        case 6: // the LF of a CR LF pair
            if (ch == '\n')
                ++i;
            state = 0;
            break;
        }
    }
    if (state >= 1 && state <= 5) {
        // The last field: a delimiter at the very end leaves an empty one.
        if (state == 1)
            field.clear();
        store();
    }
    makeParsedBlock(out, std::move(rows));
}

char detectDelimiterInByteArray(const QByteArray& bytes) {
    QList<QByteArray> lines = bytes.split('\n');
    while (!lines.isEmpty() && lines.back().trimmed().isEmpty())
        lines.removeLast();
    if (lines.isEmpty())
        return '\t';
    const qsizetype lineCount = lines.size();
    char best = '\t';
    qsizetype bestFreq = 0;
    // The space in this list is never tried: a blank splits prose, not tables.
    const char candidates[] = "\t,;| ";
    for (int k = 0; k < 4; ++k) {
        const char candidate = candidates[k];
        std::map<qsizetype, qsizetype> histogram;
        for (const QByteArray& line : lines) {
            const qsizetype count = line.count(candidate);
            if (count > 0)
                ++histogram[count];
        }
        if (histogram.empty())
            continue;
        qsizetype modeFreq = 0;
        for (const auto& [count, freq] : histogram)
            modeFreq = std::max(modeFreq, freq);
        if (2 * modeFreq >= lineCount && modeFreq > bestFreq) {
            best = candidate;
            bestFreq = modeFreq;
        }
    }
    return best;
}

bool containsMarkdownTable(const QByteArray& bytes) {
    const QList<QByteArray> lines = trimmedLines(bytes);
    return lines.size() >= 2 && markdownSeparatorIndex(lines) >= 0;
}

void parseMarkdownTableByteArray(const QByteArray& bytes, RangeVector& out) {
    out.clear();
    const QList<QByteArray> lines = trimmedLines(bytes);
    const qsizetype separator = markdownSeparatorIndex(lines);
    if (separator < 0)
        return;
    std::vector<std::vector<QVariant>> rows;
    for (qsizetype i = separator - 1; i < lines.size(); ++i) {
        if (i == separator)
            continue;
        if (!lines[i].contains('|'))
            break;
        rows.push_back(markdownFields(lines[i]));
    }
    makeParsedBlock(out, std::move(rows));
}

bool containsHtmlTable(const QByteArray& bytes) {
    return bytes.contains("<table") || bytes.contains("<TABLE") ||
           QString::fromUtf8(bytes).contains(QLatin1String("<table"), Qt::CaseInsensitive);
}

void parseHtmlTableByteArray(const QByteArray& bytes, RangeVector& out) {
    out.clear();
    const QString text = QString::fromUtf8(bytes);
    const qsizetype table = findTag(text, QLatin1String("<table"), 0, text.size());
    if (table < 0)
        return;
    // One pass over the tags: rows and cells open and close by their tags, and a cell or row
    // also ends where the next one starts, as HTML lets the closing tags out.
    std::vector<std::vector<QVariant>> rows;
    bool rowOpen = false;
    qsizetype cellStart = -1;
    auto closeCell = [&](qsizetype at) {
        if (cellStart < 0)
            return;
        rows.back().emplace_back(htmlCellText(text.mid(cellStart, at - cellStart)));
        cellStart = -1;
    };
    auto closeRow = [&](qsizetype at) {
        closeCell(at);
        if (rowOpen && rows.back().empty())
            rows.pop_back();
        rowOpen = false;
    };
    const qsizetype n = text.size();
    qsizetype pos = text.indexOf(u'>', table);
    while (pos >= 0 && pos < n) {
        const qsizetype lt = text.indexOf(u'<', pos);
        if (lt < 0)
            break;
        qsizetype i = lt + 1;
        const bool closing = i < n && text[i] == u'/';
        if (closing)
            ++i;
        const qsizetype nameStart = i;
        while (i < n && text[i].isLetterOrNumber())
            ++i;
        const QStringView name = QStringView(text).mid(nameStart, i - nameStart);
        auto is = [&name](QLatin1String tag) { return name.compare(tag, Qt::CaseInsensitive) == 0; };
        const qsizetype gt = text.indexOf(u'>', i);
        const qsizetype after = gt < 0 ? n : gt + 1;
        if (closing && is(QLatin1String("table"))) {
            closeRow(lt);
            break;
        }
        if (is(QLatin1String("tr"))) {
            closeRow(lt);
            if (!closing) {
                rows.emplace_back();
                rowOpen = true;
            }
        } else if (is(QLatin1String("td")) || is(QLatin1String("th"))) {
            closeCell(lt);
            if (!closing) {
                if (!rowOpen) {
                    rows.emplace_back();
                    rowOpen = true;
                }
                cellStart = after;
            }
        }
        pos = after;
    }
    if (rowOpen)
        closeRow(n);
    makeParsedBlock(out, std::move(rows));
}

void parseStraightTextByteArray(const QByteArray& bytes, RangeVector& out) {
    out.clear();
    if (bytes.isEmpty())
        return;
    std::vector<std::vector<QVariant>> rows;
    QList<QByteArray> lines = bytes.split('\n');
    if (lines.size() > 1 && lines.back().isEmpty())
        lines.removeLast();
    rows.reserve(static_cast<std::size_t>(lines.size()));
    for (QByteArray& line : lines) {
        if (line.endsWith('\r'))
            line.chop(1);
        rows.push_back({QVariant(QString::fromUtf8(line))});
    }
    makeParsedBlock(out, std::move(rows));
}

void convertCellValueRawToQuotes(QString& value) {
    for (const QChar ch : std::as_const(value)) {
        if (ch == u',' || ch == u'"' || ch == u'\n' || ch == u'\r' || ch == u'\x1e') {
            quoteField(value);
            return;
        }
    }
}

void convertCellValueToTabField(QString& value) {
    if (value.startsWith(u'"')) {
        quoteField(value);
        return;
    }
    for (const QChar ch : std::as_const(value)) {
        if (ch == u'\t' || ch == u'\n' || ch == u'\r' || ch == u'\x1e') {
            quoteField(value);
            return;
        }
    }
}

QString escapeHtmlCellText(const QString& value) {
    // Most cells need nothing: no special character and no blank at an end or doubled.
    bool plain = !value.startsWith(u' ') && !value.endsWith(u' ');
    for (qsizetype i = 0; plain && i < value.size(); ++i) {
        const char16_t ch = value[i].unicode();
        plain = ch != u'&' && ch != u'<' && ch != u'>' && ch != u'"' && ch != u'\t' && ch != u'\r' &&
                ch != u'\n' && !(ch == u' ' && value[i + 1] == u' ');
    }
    if (plain)
        return value;
    QString out;
    out.reserve(value.size() + value.size() / 8);
    const qsizetype n = value.size();
    for (qsizetype i = 0; i < n; ++i) {
        const QChar ch = value[i];
        switch (ch.unicode()) {
        case u'&':
            out += QLatin1String("&amp;");
            break;
        case u'<':
            out += QLatin1String("&lt;");
            break;
        case u'>':
            out += QLatin1String("&gt;");
            break;
        case u'"':
            out += QLatin1String("&quot;");
            break;
        case u'\t':
            out += QLatin1String("&#9;");
            break;
        case u'\r':
            // CR LF is one break; a lone CR is one too.
            if (i + 1 < n && value[i + 1] == u'\n')
                break;
            out += QLatin1String("<br>");
            break;
        case u'\n':
            out += QLatin1String("<br>");
            break;
        case u' ': {
            // Readers collapse runs of blanks and trim them at the ends of a cell and of a line.
            auto isBreak = [](QChar c) { return c == u'\n' || c == u'\r'; };
            const bool edge = i == 0 || i + 1 == n || isBreak(value[i - 1]) || isBreak(value[i + 1]);
            const bool run = i > 0 && value[i - 1] == u' ';
            out += edge || run ? QLatin1String("&#32;") : QLatin1String(" ");
            break;
        }
        default:
            out += ch;
        }
    }
    return out;
}

QString buildMarkdownTable(const std::vector<std::vector<QString>>& rows) {
    std::size_t numCols = 0;
    for (const auto& row : rows)
        numCols = std::max(numCols, row.size());
    std::vector<qsizetype> widths(numCols, 0);
    std::vector<std::vector<QString>> escaped;
    escaped.reserve(rows.size());
    for (const auto& row : rows) {
        std::vector<QString>& line = escaped.emplace_back();
        line.reserve(numCols);
        for (std::size_t c = 0; c < numCols; ++c) {
            QString text = c < row.size() ? row[c] : QString();
            text.replace(QStringLiteral("|"), QStringLiteral("\\|"));
            // A line break would end the row; Markdown cells take "<br>" instead.
            text.replace(QStringLiteral("\r\n"), QStringLiteral("<br>"));
            text.replace(u'\n', QStringLiteral("<br>"));
            widths[c] = std::max(widths[c], text.size());
            line.push_back(std::move(text));
        }
    }
    QString out;
    for (std::size_t r = 0; r < escaped.size(); ++r) {
        out += u'|';
        for (std::size_t c = 0; c < numCols; ++c) {
            out += u' ';
            out += escaped[r][c].leftJustified(widths[c], u' ');
            out += QLatin1String(" |");
        }
        out += u'\n';
        if (r == 0) {
            out += u'|';
            for (std::size_t c = 0; c < numCols; ++c) {
                out += u' ';
                // A separator needs a dash even over an empty column.
                out += QString(std::max<qsizetype>(widths[c], 1), u'-');
                out += QLatin1String(" |");
            }
            out += u'\n';
        }
    }
    return out;
}

QString buildHtmlTable(const std::vector<std::vector<QString>>& rows) {
    QString out = QStringLiteral("<table>\n");
    for (std::size_t r = 0; r < rows.size(); ++r) {
        const QLatin1String open = r == 0 ? QLatin1String("<th>") : QLatin1String("<td>");
        const QLatin1String close = r == 0 ? QLatin1String("</th>") : QLatin1String("</td>");
        out += QLatin1String("<tr>");
        for (const QString& cell : rows[r]) {
            out += open;
            out += escapeHtmlCellText(cell);
            out += close;
        }
        out += QLatin1String("</tr>\n");
    }
    out += QLatin1String("</table>\n");
    return out;
}

const QStringList& pasteFormats() {
    static const QStringList formats{QStringLiteral("Delimiter"), QStringLiteral("Markdown"),
                                     QStringLiteral("HTML"), QStringLiteral("Straight Text")};
    return formats;
}

QString pasteFormatDescription(const QString& format) {
    if (format == QLatin1String("Delimiter"))
        return QStringLiteral("Text split by a delimiter you choose next");
    if (format == QLatin1String("Markdown"))
        return QStringLiteral("A Markdown table, with or without outer pipes");
    if (format == QLatin1String("HTML"))
        return QStringLiteral("The first HTML table");
    if (format == QLatin1String("Straight Text"))
        return QStringLiteral("Each line into one cell of a column");
    return QString();
}

bool parsePasteDelimiterString(const QString& text, QString& delimiter) {
    static const std::map<QString, QString> names{
        {QStringLiteral("tab"), QStringLiteral("\t")},  {QStringLiteral("\\t"), QStringLiteral("\t")},
        {QStringLiteral("comma"), QStringLiteral(",")}, {QStringLiteral("semicolon"), QStringLiteral(";")},
        {QStringLiteral("pipe"), QStringLiteral("|")},  {QStringLiteral("space"), QStringLiteral(" ")},
    };
    if (text.size() == 1) {
        const QChar ch = text.front();
        if (ch.unicode() >= 0x80 || ch == u'"' || ch == u'\n' || ch == u'\r' || ch.unicode() == 0)
            return false;
        delimiter = text;
        return true;
    }
    const auto it = names.find(text.trimmed().toLower());
    if (it == names.end())
        return false;
    delimiter = it->second;
    return true;
}

} // namespace Utilities
