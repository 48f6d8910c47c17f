#pragma once

// Helpers shared by the table model tests: tables loaded from CSV text written to a
// temporary folder, and short constructors for ranges.

#include "table/range.h"
#include "table/rangevector.h"
#include "table/tablemodel.h"

#include <QFile>
#include <QStringList>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace Fixture {

constexpr int End = Range::EndOfTable;

inline Range cell(int row, int col, RangeIndexType type = RangeIndexType::Model) {
    return Range(row, col, type);
}
inline Range rowRange(int row) {
    return Range(row, RangeType::Row, RangeIndexType::Model);
}
inline Range colRange(int col) {
    return Range(col, RangeType::Col, RangeIndexType::Model);
}
inline Range table(int row, int col, int endRow = End, int endCol = End) {
    Range r(RangeType::Table, RangeIndexType::Model);
    r.row = row;
    r.col = col;
    r.endRow = endRow;
    r.endCol = endCol;
    return r;
}

// A grid of `rows` by `cols` whose cell text is "r<row>c<col>", or given lines of CSV.
inline QStringList gridLines(int rows, int cols) {
    QStringList lines;
    for (int r = 0; r < rows; ++r) {
        QStringList cells;
        for (int c = 0; c < cols; ++c)
            cells << QStringLiteral("r%1c%2").arg(r).arg(c);
        lines << cells.join(QLatin1Char(','));
    }
    return lines;
}

// Owns the folder of the file a model was loaded from.
struct LoadedModel {
    std::unique_ptr<QTemporaryDir> dir;
    std::unique_ptr<TableModel> model;
    TableModel* operator->() const { return model.get(); }
    TableModel& operator*() const { return *model; }
};

// A model of the file `bytes` as written, loaded with commas, UTF-8 and RFC 4180.
inline LoadedModel loadBytes(const QByteArray& bytes, TableData::DataContainerType type = TableData::Editable,
                             bool threaded = false) {
    LoadedModel loaded;
    loaded.dir = std::make_unique<QTemporaryDir>();
    const QString path = loaded.dir->filePath(QStringLiteral("table.csv"));
    QFile file(path);
    if (file.open(QIODevice::WriteOnly)) {
        file.write(bytes);
        file.close();
    }
    loaded.model = std::make_unique<TableModel>(true);
    loaded.model->loadCSV(path, threaded, type, QStringLiteral(","), QStringLiteral(","), UTF_8, RFC_4180);
    return loaded;
}

inline LoadedModel load(const QStringList& lines, TableData::DataContainerType type = TableData::Editable,
                        bool threaded = false) {
    QByteArray bytes;
    for (const QString& line : lines)
        bytes += line.toUtf8() + '\n';
    return loadBytes(bytes, type, threaded);
}

// Saves the model over the file it was loaded from and gives what the file then holds; empty
// when the save failed.
inline QByteArray saveAndRead(const LoadedModel& loaded) {
    const QString path = loaded.dir->filePath(QStringLiteral("table.csv"));
    if (!loaded->saveCSV(path, false, false))
        return {};
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline QString text(const TableModel& model, int row, int col, int role = Qt::DisplayRole) {
    return model.data(model.index(row, col), role).toString();
}

} // namespace Fixture
