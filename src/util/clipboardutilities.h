#pragma once

#include "table/rangevector.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <algorithm>
#include <string_view>
#include <vector>

// Readers and writers of the table texts that travel through the clipboard: delimited text,
// Markdown and HTML tables. Pure functions, no widgets.
//
// Every reader fills `out` with at most one Table range in raw indexes at (0, 0) whose
// `tableValues` hold the parsed rows, each as long as its own fields (ragged rows stay ragged).
// One range per block rather than one per cell keeps a paste of a million cells to one QVariant
// a cell. An input without a table leaves `out` empty.
namespace Utilities {

// A pasted block held compactly: the cells' UTF-8 texts back to back in one byte string, and
// where each cell and each row ends. A million cells cost their text and two numbers a cell
// rather than a value object each. Rows keep their own lengths.
struct TextBlock {
    QByteArray bytes;
    std::vector<qsizetype> cellEnds; // end of cell i in `bytes`
    std::vector<qsizetype> rowEnds;  // end of row r in `cellEnds`
    qsizetype numCols = 0;           // the longest row

    qsizetype numRows() const { return qsizetype(rowEnds.size()); }
    qsizetype numCells() const { return qsizetype(cellEnds.size()); }
    bool empty() const { return cellEnds.empty(); }
    qsizetype rowBegin(qsizetype r) const { return r == 0 ? 0 : rowEnds[std::size_t(r - 1)]; }
    qsizetype rowEnd(qsizetype r) const { return rowEnds[std::size_t(r)]; }
    std::string_view cell(qsizetype i) const {
        const qsizetype from = i == 0 ? 0 : cellEnds[std::size_t(i - 1)];
        return std::string_view(bytes.constData() + from, std::size_t(cellEnds[std::size_t(i)] - from));
    }
    QString text(qsizetype i) const {
        const std::string_view view = cell(i);
        return QString::fromUtf8(view.data(), qsizetype(view.size()));
    }
    void endCell() { cellEnds.push_back(bytes.size()); }
    void endRow() {
        numCols = std::max(numCols, numCells() - (rowEnds.empty() ? 0 : rowEnds.back()));
        rowEnds.push_back(numCells());
    }
    void clear() { *this = TextBlock(); }
};

// The block readers. Each clears `out` and leaves it empty for an input without a table; the
// texts are valid UTF-8 (invalid input bytes read as replacement characters).
void parseCsvBlock(const QByteArray& bytes, TextBlock& out, char delimiter, bool useQuotes);
void parseMarkdownBlock(const QByteArray& bytes, TextBlock& out);
void parseHtmlBlock(const QByteArray& bytes, TextBlock& out);
void parseStraightTextBlock(const QByteArray& bytes, TextBlock& out);
// Between a block and the ranges form below.
void blockToRanges(const TextBlock& block, RangeVector& out);
void rangesToBlock(const RangeVector& parsed, TextBlock& out);

// Delimited text, read byte by byte. Quotes enclose a field when `useQuotes` is on and the
// field starts with one; a doubled quote inside is one quote, and a quote followed by anything
// but a delimiter or a line break is kept as text. LF, CR, CR LF and the record separator (30)
// end a row; a line break at the very end makes no extra row. Fields are read as UTF-8.
void parseCsvByteArray(QByteArray& bytes, RangeVector& out, char delimiter, bool useQuotes);

// The delimiter that splits the lines most consistently: tab, comma, semicolon or pipe, tried
// in that order, a later one winning only when more lines agree on its count. Tab without any.
char detectDelimiterInByteArray(const QByteArray& bytes);

// A line holding "|" directly above a separator line of "-", ":", "|" and blanks.
bool containsMarkdownTable(const QByteArray& bytes);
// The first Markdown table: the header row and the rows under its separator, up to the first
// line without a pipe. Outer pipes are optional, fields are trimmed, "\|" is a literal pipe.
void parseMarkdownTableByteArray(const QByteArray& bytes, RangeVector& out);

// Whether the text holds an HTML table.
bool containsHtmlTable(const QByteArray& bytes);
// The first HTML table: each row's td and th cells in order. Tags go, whitespace of the
// source collapses to one blank, "<br>" is a line break and entities are decoded; a cell that
// is nothing but line breaks is empty, as spreadsheets write empty cells that way.
void parseHtmlTableByteArray(const QByteArray& bytes, RangeVector& out);

// One row per line, column 0, no further parsing.
void parseStraightTextByteArray(const QByteArray& bytes, RangeVector& out);

// The parsed rows of a reader's result; empty when it holds none.
const std::vector<std::vector<QVariant>>& parsedRows(const RangeVector& parsed);
// The number of cells a reader's result holds.
qint64 parsedCellCount(const RangeVector& parsed);
// A reader's result from rows of texts.
void makeParsedBlock(RangeVector& out, std::vector<std::vector<QVariant>>&& rows);

// A field for comma-separated text: in double quotes, inner quotes doubled, when it holds a
// comma, a quote, a line break or the record separator (30), which the reader takes as a row end.
void convertCellValueRawToQuotes(QString& value);
// A field for tab-separated text: quoted like the above when it holds a tab or a line break or
// starts with a quote (or holds the record separator), so that the tab reader gives the same
// text back.
void convertCellValueToTabField(QString& value);
// Cell text as HTML: "&", "<", ">" and '"' as entities, a line break as "<br>", a tab and the
// blanks that HTML would collapse or trim as character references.
QString escapeHtmlCellText(const QString& value);

// A Markdown table of the rows, the first one being the header: "|" escaped, cells padded to
// their column's width, a separator of "-" under the first row. Rows shorter than the widest
// are filled with empty cells.
QString buildMarkdownTable(const std::vector<std::vector<QString>>& rows);
// A bare HTML table: the first row as th cells, the rest as td cells.
QString buildHtmlTable(const std::vector<std::vector<QString>>& rows);

// The same two a row at a time, for selections too large to hold as rows of texts first: the
// Markdown writer keeps the escaped texts in one string until the widths are known.
class MarkdownTableWriter {
public:
    void addRow(const std::vector<QString>& row);
    QString finish();

private:
    QString texts;
    std::vector<qsizetype> cellEnds;
    std::vector<qsizetype> rowEnds;
    std::vector<qsizetype> widths;
};
class HtmlTableWriter {
public:
    void addRow(const std::vector<QString>& row);
    QString finish();

private:
    QString out = QStringLiteral("<table>\n");
    bool header = true;
};

// The formats of a special paste, in the order they are offered, and a line about each.
const QStringList& pasteFormats();
QString pasteFormatDescription(const QString& format);
// A delimiter typed in the prompt: one ASCII character other than a quote or a line break, or
// one of the names tab, comma, semicolon, pipe and space (any case). False for anything else.
bool parsePasteDelimiterString(const QString& text, QString& delimiter);

} // namespace Utilities
