#include "util/clipboardutilities.h"

#include <QChar>
#include <QList>

#include <algorithm>
#include <cstring>
#include <map>
#include <utility>

namespace {

constexpr char kRecordSeparator = 30;

bool isRowEnd(char ch) {
    return ch == '\n' || ch == '\r' || ch == kRecordSeparator;
}

// The blanks QByteArray::trimmed takes off.
bool isAsciiSpace(char ch) {
    return ch == ' ' || ch == '\t' || ch == '\n' || ch == '\v' || ch == '\f' || ch == '\r';
}

const char* findByte(const char* from, const char* end, char ch) {
    return from < end ? static_cast<const char*>(std::memchr(from, ch, std::size_t(end - from))) : nullptr;
}

// A line of the input, without its LF and its blanks at both ends.
struct Span {
    qsizetype from = 0;
    qsizetype to = 0;
};

std::vector<Span> trimmedLineSpans(const QByteArray& bytes) {
    std::vector<Span> lines;
    const char* p = bytes.constData();
    const qsizetype n = bytes.size();
    qsizetype start = 0;
    for (;;) {
        const char* lf = findByte(p + start, p + n, '\n');
        const qsizetype end = lf ? lf - p : n;
        qsizetype a = start;
        qsizetype b = end;
        while (a < b && isAsciiSpace(p[a]))
            ++a;
        while (b > a && isAsciiSpace(p[b - 1]))
            --b;
        lines.push_back({a, b});
        if (!lf)
            break;
        start = end + 1;
    }
    return lines;
}

bool spanHasPipe(const char* p, const Span& line) {
    return findByte(p + line.from, p + line.to, '|') != nullptr;
}

bool isMarkdownSeparator(const char* p, const Span& line) {
    bool dash = false;
    bool pipe = false;
    for (qsizetype i = line.from; i < line.to; ++i) {
        const char ch = p[i];
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
qsizetype markdownSeparatorIndex(const char* p, const std::vector<Span>& lines) {
    for (std::size_t i = 1; i < lines.size(); ++i) {
        if (lines[i].from == lines[i].to)
            continue;
        if (isMarkdownSeparator(p, lines[i]) && spanHasPipe(p, lines[i - 1]))
            return qsizetype(i);
    }
    return -1;
}

// Replaces every "<br>" from `from` on with a line break, in place: the writer puts a line
// break in a Markdown cell that way, and Markdown renders it as one.
void markdownBreaks(QByteArray& bytes, qsizetype from) {
    char* p = bytes.data();
    const qsizetype n = bytes.size();
    qsizetype out = from;
    for (qsizetype i = from; i < n;) {
        if (p[i] == '<' && i + 4 <= n && std::memcmp(p + i, "<br>", 4) == 0) {
            p[out++] = '\n';
            i += 4;
        } else {
            p[out++] = p[i++];
        }
    }
    bytes.truncate(out);
}

// One Markdown row into the block: outer pipes off, split on pipes that no backslash escapes,
// fields trimmed.
void appendMarkdownRow(const char* p, qsizetype from, qsizetype to, Utilities::TextBlock& out) {
    if (from < to && p[from] == '|')
        ++from;
    if (to > from && p[to - 1] == '|' && !(to - from >= 2 && p[to - 2] == '\\'))
        --to;
    auto store = [&](qsizetype a, qsizetype b) {
        while (a < b && isAsciiSpace(p[a]))
            ++a;
        while (b > a && isAsciiSpace(p[b - 1]))
            --b;
        const qsizetype start = out.bytes.size();
        bool tag = findByte(p + a, p + b, '<') != nullptr;
        if (!findByte(p + a, p + b, '\\')) {
            out.bytes.append(p + a, b - a);
            if (tag)
                markdownBreaks(out.bytes, start);
            out.endCell();
            return;
        }
        for (qsizetype i = a; i < b; ++i) {
            if (p[i] == '\\' && i + 1 < b && p[i + 1] == '|') {
                out.bytes.append('|');
                ++i;
                continue;
            }
            out.bytes.append(p[i]);
        }
        if (tag)
            markdownBreaks(out.bytes, start);
        out.endCell();
    };
    qsizetype fieldStart = from;
    for (qsizetype i = from; i < to; ++i) {
        if (p[i] == '\\' && i + 1 < to && p[i + 1] == '|') {
            ++i;
        } else if (p[i] == '|') {
            store(fieldStart, i);
            fieldStart = i + 1;
        }
    }
    store(fieldStart, to);
    out.endRow();
}

// --- HTML ------------------------------------------------------------------------------------

bool equalsLower(const char* p, qsizetype len, const char* lower) {
    const auto n = qsizetype(std::strlen(lower));
    if (len != n)
        return false;
    for (qsizetype i = 0; i < n; ++i) {
        if (char(p[i] | 0x20) != lower[i])
            return false;
    }
    return true;
}

// Tag names: ASCII letters and digits, and any byte of a non-ASCII character.
bool isNameByte(char ch) {
    const auto u = uchar(ch);
    return (u >= '0' && u <= '9') || (char(u | 0x20) >= 'a' && char(u | 0x20) <= 'z') || u >= 0x80;
}

// The first "<table" that a name character doesn't continue ("<tables" is no table).
qsizetype findTableTag(const char* p, qsizetype n) {
    for (qsizetype i = 0;;) {
        const char* lt = findByte(p + i, p + n, '<');
        if (!lt)
            return -1;
        const qsizetype at = lt - p;
        if (at + 6 >= n)
            return -1;
        if (equalsLower(lt + 1, 5, "table")) {
            const char ch = p[at + 6];
            if (ch == '>' || ch == '/' || isAsciiSpace(ch))
                return at;
        }
        i = at + 1;
    }
}

// A "<br>", "<br/>" or "<br />" (any case) at `s`: its length, else 0.
qsizetype brTagLength(const char* s, const char* end) {
    if (end - s < 4 || s[0] != '<' || char(s[1] | 0x20) != 'b' || char(s[2] | 0x20) != 'r')
        return 0;
    const char* q = s + 3;
    while (q < end && isAsciiSpace(*q))
        ++q;
    if (q < end && *q == '/')
        ++q;
    return q < end && *q == '>' ? q + 1 - s : 0;
}

// The code point at `p` in valid UTF-8, and its length.
char32_t codePointAt(const char* p, const char* end, int& length) {
    const auto b = uchar(p[0]);
    length = b < 0x80 ? 1 : b < 0xE0 ? 2 : b < 0xF0 ? 3 : b < 0xF8 ? 4 : 1;
    if (end - p < length) {
        length = 1;
        return b;
    }
    if (length == 1)
        return b;
    char32_t code = b & (length == 2 ? 0x1F : length == 3 ? 0x0F : 0x07);
    for (int i = 1; i < length; ++i)
        code = (code << 6) | (uchar(p[i]) & 0x3F);
    return code;
}

void appendUtf8(QByteArray& out, char32_t code) {
    if (code < 0x80) {
        out.append(char(code));
    } else if (code < 0x800) {
        out.append(char(0xC0 | (code >> 6)));
        out.append(char(0x80 | (code & 0x3F)));
    } else if (code < 0x10000) {
        out.append(char(0xE0 | (code >> 12)));
        out.append(char(0x80 | ((code >> 6) & 0x3F)));
        out.append(char(0x80 | (code & 0x3F)));
    } else {
        out.append(char(0xF0 | (code >> 18)));
        out.append(char(0x80 | ((code >> 12) & 0x3F)));
        out.append(char(0x80 | ((code >> 6) & 0x3F)));
        out.append(char(0x80 | (code & 0x3F)));
    }
}

// Trims the characters QString::trimmed takes off, Unicode blanks included.
void trimUnicodeSpace(std::string& text) {
    std::size_t from = 0;
    while (from < text.size()) {
        int length = 1;
        const char32_t code = codePointAt(text.data() + from, text.data() + text.size(), length);
        if (!QChar::isSpace(code))
            break;
        from += std::size_t(length);
    }
    std::size_t to = text.size();
    while (to > from) {
        std::size_t start = to - 1;
        while (start > from && (uchar(text[start]) & 0xC0) == 0x80 && to - start < 4)
            --start;
        int length = 1;
        const char32_t code = codePointAt(text.data() + start, text.data() + to, length);
        if (!QChar::isSpace(code))
            break;
        to = start;
    }
    text = text.substr(from, to - from);
}

// Appends `text` with its entities decoded: the named ones of tables and numeric references.
void appendDecodedEntities(const char* s, std::size_t n, QByteArray& out) {
    static const std::map<std::string_view, std::string_view> named{
        {"amp", "&"},  {"lt", "<"},          {"gt", ">"},   {"quot", "\""},
        {"apos", "'"}, {"nbsp", "\xC2\xA0"}, {"tab", "\t"}, {"newline", "\n"},
    };
    const char* end = s + n;
    for (const char* p = s; p < end;) {
        const char* amp = findByte(p, end, '&');
        if (!amp) {
            out.append(p, end - p);
            return;
        }
        out.append(p, amp - p);
        p = amp + 1;
        const char* semi = findByte(p, end, ';');
        if (!semi || semi - amp > 12) {
            out.append('&');
            continue;
        }
        const std::string_view name(p, std::size_t(semi - p));
        if (!name.empty() && name.front() == '#') {
            const bool hex = name.size() > 1 && (name[1] == 'x' || name[1] == 'X');
            const std::string_view digits = name.substr(hex ? 2 : 1);
            bool ok = false;
            const uint code = QByteArray(digits.data(), qsizetype(digits.size())).toUInt(&ok, hex ? 16 : 10);
            if (ok && code > 0 && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF)) {
                appendUtf8(out, code);
                p = semi + 1;
                continue;
            }
        } else if (const auto it = named.find(name); it != named.end()) {
            out.append(it->second.data(), qsizetype(it->second.size()));
            p = semi + 1;
            continue;
        }
        out.append('&');
    }
}

// Stands for "<br>" while tags go and blanks collapse; no valid UTF-8 text holds this byte.
constexpr char kBreakMark = '\xFF';

// One HTML cell's text into the block: tags removed, runs of blanks and source line breaks as
// one blank, trimmed, "<br>" as a line break (a cell of nothing but breaks is empty, as
// spreadsheets write empty cells), entities decoded.
void appendHtmlCell(const char* s, qsizetype len, Utilities::TextBlock& out, std::string& a, std::string& b) {
    const char* end = s + len;
    // Most cells are plain words: nothing to remove, collapse, trim or decode.
    bool plain = len == 0 || (uchar(s[0]) < 0x80 && !isAsciiSpace(s[0]) && uchar(end[-1]) < 0x80 &&
                              !isAsciiSpace(end[-1]));
    for (const char* p = s; plain && p < end; ++p) {
        const char ch = *p;
        plain = ch != '<' && ch != '&' && ch != '\t' && ch != '\r' && ch != '\n' &&
                !(ch == ' ' && p + 1 < end && p[1] == ' ');
    }
    if (plain) {
        out.bytes.append(s, len);
        out.endCell();
        return;
    }
    // "<br>" to the mark first, then every other tag out; a "<" without a ">" is text.
    a.clear();
    for (const char* p = s; p < end;) {
        if (const qsizetype br = brTagLength(p, end)) {
            a += kBreakMark;
            p += br;
        } else {
            a += *p++;
        }
    }
    b.clear();
    for (std::size_t i = 0; i < a.size();) {
        const char ch = a[i];
        if (ch == '<') {
            const std::size_t gt = a.find('>', i);
            if (gt != std::string::npos) {
                i = gt + 1;
                continue;
            }
        }
        if (ch == ' ' || ch == '\t' || ch == '\r' || ch == '\n') {
            if (b.empty() || b.back() != ' ')
                b += ' ';
        } else {
            b += ch;
        }
        ++i;
    }
    trimUnicodeSpace(b);
    if (b.find(kBreakMark) != std::string::npos) {
        // Blanks around a break are the source's layout, not the cell's.
        a.clear();
        bool onlyBreaks = true;
        for (std::size_t i = 0; i < b.size(); ++i) {
            if (b[i] == ' ' &&
                ((i > 0 && b[i - 1] == kBreakMark) || (i + 1 < b.size() && b[i + 1] == kBreakMark)))
                continue;
            onlyBreaks = onlyBreaks && b[i] == kBreakMark;
            a += b[i] == kBreakMark ? '\n' : b[i];
        }
        b = onlyBreaks ? std::string() : a;
    }
    appendDecodedEntities(b.data(), b.size(), out.bytes);
    out.endCell();
}

// Texts that hold invalid UTF-8 are read as QString would: a replacement character for each
// bad sequence. Valid input, the usual case, is left alone.
void makeValidUtf8(Utilities::TextBlock& block) {
    if (QByteArrayView(block.bytes).isValidUtf8())
        return;
    QByteArray bytes;
    qsizetype from = 0;
    for (qsizetype& end : block.cellEnds) {
        bytes += QString::fromUtf8(block.bytes.constData() + from, end - from).toUtf8();
        from = end;
        end = bytes.size();
    }
    block.bytes = std::move(bytes);
}

void finishBlock(Utilities::TextBlock& block) {
    makeValidUtf8(block);
    // The block may be kept for undo: no more room than a quarter over its text.
    if (block.bytes.capacity() > block.bytes.size() + block.bytes.size() / 4)
        block.bytes.squeeze();
    block.cellEnds.shrink_to_fit();
    block.rowEnds.shrink_to_fit();
}

void quoteField(QString& value) {
    value.replace(QStringLiteral("\""), QStringLiteral("\"\""));
    value.prepend(u'"');
    value.append(u'"');
}

} // namespace

namespace Utilities {

void blockToRanges(const TextBlock& block, RangeVector& out) {
    std::vector<std::vector<QVariant>> rows(std::size_t(block.numRows()));
    for (qsizetype r = 0; r < block.numRows(); ++r) {
        auto& row = rows[std::size_t(r)];
        row.reserve(std::size_t(block.rowEnd(r) - block.rowBegin(r)));
        for (qsizetype i = block.rowBegin(r); i < block.rowEnd(r); ++i)
            row.emplace_back(block.text(i));
    }
    makeParsedBlock(out, std::move(rows));
}

void rangesToBlock(const RangeVector& parsed, TextBlock& out) {
    out.clear();
    for (const auto& row : parsedRows(parsed)) {
        for (const QVariant& value : row) {
            out.bytes += value.toString().toUtf8();
            out.endCell();
        }
        out.endRow();
    }
}

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

void parseCsvBlock(const QByteArray& input, TextBlock& out, char delimiter, bool useQuotes) {
    out.clear();
    const char* p = input.constData();
    const qsizetype n = input.size();
    // The texts are never longer than the input.
    out.bytes.reserve(n);
    auto runEnd = [&](qsizetype i) {
        while (i < n && p[i] != delimiter && !isRowEnd(p[i]))
            ++i;
        return i;
    };
    qsizetype i = 0;
    while (i < n) {
        // One row: fields up to a row end or the end of the input.
        for (;;) {
            if (useQuotes && i < n && p[i] == '"') {
                ++i;
                for (;;) {
                    const char* quote = findByte(p + i, p + n, '"');
                    const qsizetype end = quote ? quote - p : n;
                    out.bytes.append(p + i, end - i);
                    i = quote ? end + 1 : n;
                    if (!quote || i >= n || p[i] == delimiter || isRowEnd(p[i]))
                        break;
                    if (p[i] == '"') {
                        out.bytes.append('"');
                        ++i;
                        continue;
                    }
                    // Lax: the quote ended nothing, the rest of the field is plain text.
                    const qsizetype rest = runEnd(i);
                    out.bytes.append(p + i, rest - i);
                    i = rest;
                    break;
                }
            } else {
                const qsizetype end = runEnd(i);
                out.bytes.append(p + i, end - i);
                i = end;
            }
            out.endCell();
            if (i >= n)
                break;
            const char ch = p[i++];
            if (ch == delimiter)
                continue; // a delimiter at the very end leaves an empty last field
            if (ch == '\r' && i < n && p[i] == '\n')
                ++i;
            break;
        }
        out.endRow();
    }
    finishBlock(out);
}

void parseCsvByteArray(QByteArray& bytes, RangeVector& out, char delimiter, bool useQuotes) {
    TextBlock block;
    parseCsvBlock(bytes, block, delimiter, useQuotes);
    blockToRanges(block, out);
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
    const std::vector<Span> lines = trimmedLineSpans(bytes);
    return lines.size() >= 2 && markdownSeparatorIndex(bytes.constData(), lines) >= 0;
}

void parseMarkdownBlock(const QByteArray& bytes, TextBlock& out) {
    out.clear();
    const char* p = bytes.constData();
    const std::vector<Span> lines = trimmedLineSpans(bytes);
    const qsizetype separator = markdownSeparatorIndex(p, lines);
    if (separator < 0)
        return;
    out.bytes.reserve(bytes.size());
    for (auto i = std::size_t(separator - 1); i < lines.size(); ++i) {
        if (qsizetype(i) == separator)
            continue;
        if (!spanHasPipe(p, lines[i]))
            break;
        appendMarkdownRow(p, lines[i].from, lines[i].to, out);
    }
    finishBlock(out);
}

void parseMarkdownTableByteArray(const QByteArray& bytes, RangeVector& out) {
    TextBlock block;
    parseMarkdownBlock(bytes, block);
    blockToRanges(block, out);
}

bool containsHtmlTable(const QByteArray& bytes) {
    const char* p = bytes.constData();
    const char* end = p + bytes.size();
    for (const char* lt = findByte(p, end, '<'); lt; lt = findByte(lt + 1, end, '<')) {
        if (end - lt >= 6 && equalsLower(lt + 1, 5, "table"))
            return true;
    }
    return false;
}

void parseHtmlBlock(const QByteArray& input, TextBlock& out) {
    out.clear();
    // Valid UTF-8 from here on, so that a byte no valid text holds can mark a line break.
    QByteArray valid;
    if (!QByteArrayView(input).isValidUtf8())
        valid = QString::fromUtf8(input).toUtf8();
    const QByteArray& text = valid.isNull() ? input : valid;
    const char* p = text.constData();
    const qsizetype n = text.size();
    const qsizetype table = findTableTag(p, n);
    if (table < 0)
        return;
    // One pass over the tags: rows and cells open and close by their tags, and a cell or row
    // also ends where the next one starts, as HTML lets the closing tags out.
    std::string scratchA;
    std::string scratchB;
    bool rowOpen = false;
    qsizetype rowCells = 0;
    qsizetype cellStart = -1;
    auto closeCell = [&](qsizetype at) {
        if (cellStart < 0)
            return;
        appendHtmlCell(p + cellStart, at - cellStart, out, scratchA, scratchB);
        ++rowCells;
        cellStart = -1;
    };
    auto closeRow = [&](qsizetype at) {
        closeCell(at);
        if (rowOpen && rowCells > 0)
            out.endRow();
        rowOpen = false;
        rowCells = 0;
    };
    const char* gtOfTable = findByte(p + table, p + n, '>');
    qsizetype pos = gtOfTable ? gtOfTable - p : -1;
    while (pos >= 0 && pos < n) {
        const char* ltp = findByte(p + pos, p + n, '<');
        if (!ltp)
            break;
        const qsizetype lt = ltp - p;
        qsizetype i = lt + 1;
        const bool closing = i < n && p[i] == '/';
        if (closing)
            ++i;
        const qsizetype nameStart = i;
        while (i < n && isNameByte(p[i]))
            ++i;
        const char* name = p + nameStart;
        const qsizetype nameLength = i - nameStart;
        const char* gt = findByte(p + i, p + n, '>');
        const qsizetype after = gt ? gt - p + 1 : n;
        if (closing && equalsLower(name, nameLength, "table")) {
            closeRow(lt);
            break;
        }
        if (equalsLower(name, nameLength, "tr")) {
            closeRow(lt);
            rowOpen = !closing;
        } else if (equalsLower(name, nameLength, "td") || equalsLower(name, nameLength, "th")) {
            closeCell(lt);
            if (!closing) {
                rowOpen = true;
                cellStart = after;
            }
        }
        pos = after;
    }
    if (rowOpen)
        closeRow(n);
    finishBlock(out);
}

void parseHtmlTableByteArray(const QByteArray& bytes, RangeVector& out) {
    TextBlock block;
    parseHtmlBlock(bytes, block);
    blockToRanges(block, out);
}

void parseStraightTextBlock(const QByteArray& bytes, TextBlock& out) {
    out.clear();
    if (bytes.isEmpty())
        return;
    const char* p = bytes.constData();
    const qsizetype n = bytes.size();
    out.bytes.reserve(n);
    for (qsizetype start = 0;;) {
        const char* lf = findByte(p + start, p + n, '\n');
        qsizetype end = lf ? lf - p : n;
        // A final line break makes no extra empty line.
        if (!lf && start == n && start > 0)
            break;
        const qsizetype next = end + 1;
        if (end > start && p[end - 1] == '\r')
            --end;
        out.bytes.append(p + start, end - start);
        out.endCell();
        out.endRow();
        if (!lf)
            break;
        start = next;
    }
    finishBlock(out);
}

void parseStraightTextByteArray(const QByteArray& bytes, RangeVector& out) {
    TextBlock block;
    parseStraightTextBlock(bytes, block);
    blockToRanges(block, out);
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

void MarkdownTableWriter::addRow(const std::vector<QString>& row) {
    if (widths.size() < row.size())
        widths.resize(row.size(), 0);
    for (std::size_t c = 0; c < row.size(); ++c) {
        const QString& text = row[c];
        const qsizetype start = texts.size();
        bool plain = true;
        for (const QChar ch : text)
            plain = plain && ch != u'|' && ch != u'\n' && ch != u'\r';
        if (plain) {
            texts += text;
        } else {
            QString escaped = text;
            escaped.replace(u'|', QStringLiteral("\\|"));
            // A line break would end the row; Markdown cells take "<br>" instead.
            escaped.replace(QStringLiteral("\r\n"), QStringLiteral("<br>"));
            escaped.replace(u'\n', QStringLiteral("<br>"));
            texts += escaped;
        }
        cellEnds.push_back(texts.size());
        widths[c] = std::max(widths[c], texts.size() - start);
    }
    rowEnds.push_back(qsizetype(cellEnds.size()));
}

QString MarkdownTableWriter::finish() {
    // Every row has the same length: all of it is known before the first character.
    qsizetype lineLength = 2;
    for (const qsizetype width : widths)
        lineLength += std::max<qsizetype>(width, 1) + 3;
    QString out;
    out.reserve(lineLength * qsizetype(rowEnds.size() + 1));
    qsizetype cell = 0;
    for (std::size_t r = 0; r < rowEnds.size(); ++r) {
        out += u'|';
        for (std::size_t c = 0; c < widths.size(); ++c) {
            qsizetype length = 0;
            out += u' ';
            // Rows shorter than the widest are filled with empty cells.
            if (cell < rowEnds[r]) {
                const qsizetype from = cell == 0 ? 0 : cellEnds[std::size_t(cell - 1)];
                length = cellEnds[std::size_t(cell)] - from;
                out += QStringView(texts).mid(from, length);
                ++cell;
            }
            out.resize(out.size() + widths[c] - length, u' ');
            out += QLatin1String(" |");
        }
        out += u'\n';
        if (r == 0) {
            out += u'|';
            for (const qsizetype width : widths) {
                out += u' ';
                // A separator needs a dash even over an empty column.
                out.resize(out.size() + std::max<qsizetype>(width, 1), u'-');
                out += QLatin1String(" |");
            }
            out += u'\n';
        }
    }
    *this = MarkdownTableWriter();
    return out;
}

void HtmlTableWriter::addRow(const std::vector<QString>& row) {
    const QLatin1String open = header ? QLatin1String("<th>") : QLatin1String("<td>");
    const QLatin1String close = header ? QLatin1String("</th>") : QLatin1String("</td>");
    header = false;
    out += QLatin1String("<tr>");
    for (const QString& cell : row) {
        out += open;
        out += escapeHtmlCellText(cell);
        out += close;
    }
    out += QLatin1String("</tr>\n");
}

QString HtmlTableWriter::finish() {
    out += QLatin1String("</table>\n");
    return std::exchange(out, QString());
}

QString buildMarkdownTable(const std::vector<std::vector<QString>>& rows) {
    MarkdownTableWriter writer;
    for (const auto& row : rows)
        writer.addRow(row);
    return writer.finish();
}

QString buildHtmlTable(const std::vector<std::vector<QString>>& rows) {
    HtmlTableWriter writer;
    for (const auto& row : rows)
        writer.addRow(row);
    return writer.finish();
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
