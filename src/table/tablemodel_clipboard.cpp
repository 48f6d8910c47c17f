// The two ends of the clipboard: the selection to mime data and mime data to a pasted block.

#include "table/tablemodel.h"

#include "util/clipboardutilities.h"

#include <QDataStream>
#include <QIODevice>
#include <QMap>
#include <QMimeData>

#include <algorithm>
#include <map>
#include <tuple>

namespace {

const QString kDataListType = QStringLiteral("application/x-qabstractitemmodeldatalist");

const QLatin1String kHtmlHead("<!DOCTYPE html>\n<html>\n<style>\ntable {\nborder: 1px solid black;\n"
                              "border-style: solid;\npadding: 0px;\nborder-collapse: collapse;\n}\n"
                              "td {\nborder: 1px solid black;\nborder-style: solid;\npadding: 4px;\n}\n"
                              "</style>\n<body>\n<table>\n");
const QLatin1String kHtmlFoot("</table>\n</body>\n</html>\n");

// Rows read before the texts' final sizes are estimated.
constexpr int kSizeSampleRows = 256;

// UTF-16 text appended as UTF-8, without a temporary array a cell.
void appendUtf8(QByteArray& out, QStringView text) {
    const qsizetype at = out.size();
    out.resize(at + text.size() * 3);
    char* d = out.data() + at;
    const char16_t* p = text.utf16();
    const char16_t* end = p + text.size();
    while (p < end) {
        char32_t code = *p++;
        if (code < 0x80) {
            *d++ = char(code);
            continue;
        }
        if (QChar::isHighSurrogate(code) && p < end && QChar::isLowSurrogate(*p))
            code = QChar::surrogateToUcs4(char16_t(code), *p++);
        else if (QChar::isSurrogate(code))
            code = QChar::ReplacementCharacter;
        if (code < 0x800) {
            *d++ = char(0xC0 | (code >> 6));
        } else if (code < 0x10000) {
            *d++ = char(0xE0 | (code >> 12));
            *d++ = char(0x80 | ((code >> 6) & 0x3F));
        } else {
            *d++ = char(0xF0 | (code >> 18));
            *d++ = char(0x80 | ((code >> 12) & 0x3F));
            *d++ = char(0x80 | ((code >> 6) & 0x3F));
        }
        *d++ = char(0x80 | (code & 0x3F));
    }
    out.truncate(d - out.constData());
}

// Records of the item list form: row, column and the roles of the cell. The gaps of the copied
// selection close up: rows and columns take their place among those present.
void readDataList(const QByteArray& bytes, RangeVector& out) {
    QDataStream stream(bytes);
    std::vector<std::tuple<int, int, QString>> records;
    while (!stream.atEnd()) {
        int row = 0;
        int col = 0;
        QMap<int, QVariant> roles;
        stream >> row >> col >> roles;
        if (stream.status() != QDataStream::Ok)
            break;
        const QVariant value = roles.contains(Qt::DisplayRole) ? roles.value(Qt::DisplayRole)
                               : roles.isEmpty()               ? QVariant()
                                                               : roles.first();
        records.emplace_back(row, col, value.toString());
    }
    std::vector<int> rows;
    std::vector<int> cols;
    for (const auto& [row, col, text] : records) {
        rows.push_back(row);
        cols.push_back(col);
    }
    for (std::vector<int>* list : {&rows, &cols}) {
        std::sort(list->begin(), list->end());
        list->erase(std::unique(list->begin(), list->end()), list->end());
    }
    auto place = [](const std::vector<int>& list, int value) {
        return static_cast<std::size_t>(std::lower_bound(list.begin(), list.end(), value) - list.begin());
    };
    std::vector<std::vector<QVariant>> block(rows.size());
    for (auto& [row, col, text] : records) {
        std::vector<QVariant>& line = block[place(rows, row)];
        const std::size_t at = place(cols, col);
        if (line.size() <= at)
            line.resize(at + 1, QVariant(QString()));
        line[at] = std::move(text);
    }
    Utilities::makeParsedBlock(out, std::move(block));
}

} // namespace

void TableModel::forEachSelectedRowText(bool includeHeaders,
                                        const std::function<void(const std::vector<QString>&)>& visit) const {
    std::vector<int> rows;
    std::vector<int> cols;
    getOrderedSetOfSelectedRows(rows);
    getOrderedSetOfSelectedCols(cols);
    if (rows.empty() || cols.empty())
        return;
    std::vector<QString> texts(cols.size());
    // One block, the usual selection, needs no test per cell.
    const bool wholeBlock = selection.size() == 1 && selection.front().type == RangeType::Table &&
                            selection.front().excludedRows.empty() &&
                            selection.front().excludedCols.empty() && selection.front().excludedCells.empty();
    if (includeHeaders && numHeaderRows > 0 && rows.front() >= numHeaderRows) {
        for (int row = 0; row < numHeaderRows && row < tableData.numModelRows(); ++row) {
            for (std::size_t i = 0; i < cols.size(); ++i)
                texts[i] = tableData.getValueModel(row, cols[i]).toString();
            visit(texts);
        }
    }
    for (const int row : rows) {
        for (std::size_t i = 0; i < cols.size(); ++i)
            texts[i] = wholeBlock || cellInSelection(row, cols[i])
                           ? tableData.getValueModel(row, cols[i]).toString()
                           : QString();
        visit(texts);
    }
}

std::vector<std::vector<QString>> TableModel::getSelectedTextRows(bool includeHeaders) const {
    std::vector<std::vector<QString>> out;
    forEachSelectedRowText(includeHeaders, [&out](const std::vector<QString>& row) { out.push_back(row); });
    return out;
}

QMimeData* TableModel::convertCellDataToMime(bool includeHeaders) const {
    auto* mime = new QMimeData;
    // Plain text as a string, the others as UTF-8 bytes: the HTML document alone carries about
    // ten characters of tags a cell, which would double in UTF-16.
    QString plain;
    QByteArray csv;
    QByteArray html(kHtmlHead.data(), kHtmlHead.size());
    int numRows = 0;
    std::size_t numCols = 0;
    QString single;
    std::vector<int> selectedRows;
    getOrderedSetOfSelectedRows(selectedRows);
    const auto totalRows = qsizetype(selectedRows.size());
    selectedRows = {};
    forEachSelectedRowText(includeHeaders, [&](const std::vector<QString>& row) {
        ++numRows;
        numCols = row.size();
        if (numRows == 1 && numCols == 1)
            single = row.front();
        // Room for all of it once a sample of rows shows the size: growing a large text step
        // by step holds the old and the new buffer at once, again and again.
        if (numRows == kSizeSampleRows && totalRows > 4 * kSizeSampleRows) {
            const double scale = double(totalRows) / kSizeSampleRows * 1.08;
            plain.reserve(qsizetype(double(plain.size()) * scale));
            csv.reserve(qsizetype(double(csv.size()) * scale));
            html.reserve(qsizetype(double(html.size()) * scale));
        }
        html += "<tr>";
        for (std::size_t i = 0; i < row.size(); ++i) {
            QString tabField = row[i];
            Utilities::convertCellValueToTabField(tabField);
            QString csvField = row[i];
            Utilities::convertCellValueRawToQuotes(csvField);
            if (i > 0) {
                plain += u'\t';
                csv += ',';
            }
            plain += tabField;
            appendUtf8(csv, csvField);
            html += "<td>";
            appendUtf8(html, Utilities::escapeHtmlCellText(row[i]));
            html += "</td>\n";
        }
        plain += u'\n';
        csv += '\n';
        html += "</tr>\n";
    });
    if (plain.endsWith(u'\n'))
        plain.chop(1);
    if (numRows == 1 && numCols == 1) {
        // One cell goes as its bare text, so that it pastes into a line of text as it is.
        mime->setText(single);
        if (!includeHeaders) {
            const Range& cell = mainCell;
            QByteArray bytes;
            QDataStream stream(&bytes, QIODevice::WriteOnly);
            QMap<int, QVariant> roles;
            roles.insert(Qt::DisplayRole, single);
            stream << cell.row << cell.col << roles;
            mime->setData(kDataListType, bytes);
        }
        return mime;
    }
    for (auto* text : {&csv, &html}) {
        if (text->capacity() > text->size() + text->size() / 4)
            text->squeeze();
    }
    if (plain.capacity() > plain.size() + plain.size() / 4)
        plain.squeeze();
    mime->setText(plain);
    plain = QString();
    if (numRows == 0)
        return mime;
    mime->setData(QStringLiteral("text/csv"), csv);
    csv = QByteArray();
    html += kHtmlFoot.data();
    // Read back by html() as UTF-8, the encoding an HTML text without a charset is taken in.
    mime->setData(QStringLiteral("text/html"), html);
    return mime;
}

void TableModel::convertMimeToCellData(const QMimeData* mime, RangeVector& out) const {
    Utilities::TextBlock block;
    convertMimeToTextBlock(mime, block);
    Utilities::blockToRanges(block, out);
}

void TableModel::convertMimeToTextBlock(const QMimeData* mime, Utilities::TextBlock& out) const {
    out.clear();
    if (!mime)
        return;
    if (mime->hasFormat(kDataListType)) {
        RangeVector cells;
        readDataList(mime->data(kDataListType), cells);
        Utilities::rangesToBlock(cells, out);
        return;
    }
    for (const QString& type : {QStringLiteral("text/csv"), QStringLiteral("Csv")}) {
        if (mime->hasFormat(type)) {
            Utilities::parseCsvBlock(mime->data(type), out, ',', true);
            return;
        }
    }
    // An HTML table keeps what plain text loses: spreadsheets write a line break inside a
    // cell as a blank there.
    if (mime->hasHtml()) {
        const QByteArray bytes = mime->html().toUtf8();
        if (Utilities::containsHtmlTable(bytes)) {
            Utilities::parseHtmlBlock(bytes, out);
            if (!out.empty())
                return;
        }
    }
    QByteArray bytes;
    if (mime->hasText())
        bytes = mime->text().toUtf8();
    else if (mime->hasFormat(QStringLiteral("text/plain;charset=utf-8")))
        bytes = mime->data(QStringLiteral("text/plain;charset=utf-8"));
    // Only line breaks: a trailing tab is an empty last cell.
    while (bytes.endsWith('\n') || bytes.endsWith('\r'))
        bytes.chop(1);
    if (!bytes.isEmpty())
        Utilities::parseCsvBlock(bytes, out, '\t', true);
}

void TableModel::populateModelUtf8(int top, int left, int numRows, int numCols,
                                   const std::function<void(int, std::vector<std::string_view>&)>& rowTexts) {
    if (readOnly || top < 0 || left < 0 || numRows <= 0 || numCols <= 0)
        return;
    // The grid first grows to hold what is written, so the view knows every cell it is told of.
    growViewTo(top + numRows, left + numCols);
    ++sizeRuleHold;
    {
        const LongWrite write(*this, qint64(numRows) * numCols);
        if (write.isOn())
            tableData.setBlockModelUtf8(top, left, numRows, rowTexts,
                                        [&write, numRows](int done) { write.report(done, numRows); });
        else
            tableData.setBlockModelUtf8(top, left, numRows, rowTexts);
    }
    --sizeRuleHold;
    const int bottom = std::min(top + numRows - 1, rowCountView - 1);
    const int right = std::min(left + numCols - 1, colCountView - 1);
    if (top <= bottom && left <= right)
        emit dataChanged(index(top, left), index(bottom, right));
    enforceTableSize();
    emit newDataCommittedSignal();
}
