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
    QString plain;
    QString csv;
    QString html;
    int numRows = 0;
    std::size_t numCols = 0;
    QString single;
    forEachSelectedRowText(includeHeaders, [&](const std::vector<QString>& row) {
        ++numRows;
        numCols = row.size();
        if (numRows == 1 && numCols == 1)
            single = row.front();
        html += QLatin1String("<tr>");
        for (std::size_t i = 0; i < row.size(); ++i) {
            QString tabField = row[i];
            Utilities::convertCellValueToTabField(tabField);
            QString csvField = row[i];
            Utilities::convertCellValueRawToQuotes(csvField);
            if (i > 0) {
                plain += u'\t';
                csv += u',';
            }
            plain += tabField;
            csv += csvField;
            html += QLatin1String("<td>");
            html += Utilities::escapeHtmlCellText(row[i]);
            html += QLatin1String("</td>\n");
        }
        plain += u'\n';
        csv += u'\n';
        html += QLatin1String("</tr>\n");
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
    mime->setText(plain);
    if (numRows == 0)
        return mime;
    mime->setData(QStringLiteral("text/csv"), csv.toUtf8());
    csv.clear();
    html.prepend(kHtmlHead);
    html += kHtmlFoot;
    mime->setHtml(html);
    return mime;
}

void TableModel::convertMimeToCellData(const QMimeData* mime, RangeVector& out) const {
    out.clear();
    if (!mime)
        return;
    if (mime->hasFormat(kDataListType)) {
        readDataList(mime->data(kDataListType), out);
        return;
    }
    for (const QString& type : {QStringLiteral("text/csv"), QStringLiteral("Csv")}) {
        if (mime->hasFormat(type)) {
            QByteArray bytes = mime->data(type);
            Utilities::parseCsvByteArray(bytes, out, ',', true);
            return;
        }
    }
    // An HTML table keeps what plain text loses: spreadsheets write a line break inside a
    // cell as a blank there.
    if (mime->hasHtml()) {
        const QByteArray bytes = mime->html().toUtf8();
        if (Utilities::containsHtmlTable(bytes)) {
            Utilities::parseHtmlTableByteArray(bytes, out);
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
        Utilities::parseCsvByteArray(bytes, out, '\t', true);
}
