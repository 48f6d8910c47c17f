// TableView: the cell transformations. Each reads the selection through the core engine, turns
// the texts with a pure string function or a layout rule, and pushes one undo command.

#include "view/tableview.h"

#include "table/celltransform.h"
#include "table/tablemodel.h"
#include "util/caseutilities.h"
#include "util/datetimeutilities.h"
#include "util/numberutilities.h"
#include "util/stringutilities.h"
#include "util/uuidutilities.h"
#include "view/workerprogress.h"

#include <QDateTime>

#include <algorithm>
#include <map>
#include <optional>
#include <random>

using CellTransform::CellText;

namespace {

// Past this many selected cells the work would hold the window for a noticeable moment: it
// runs on the model's worker behind a progress dialog.
constexpr qint64 kWorkerCells = 100000;

// The command `make` builds over `cells` cells, pushed. Past kWorkerCells, `make` is told to
// do its reading on the model's worker while a progress dialog offers Cancel (then nothing is
// pushed) and the window takes no input.
bool pushBuilt(TableView* view, qint64 cells, const QString& label, const QString& title,
               const std::function<TableUndoCommand*(bool useThread)>& make) {
    TableModel* m = view->tableModel();
    const bool useThread = cells > kWorkerCells;
    TableUndoCommand* command = nullptr;
    {
        std::optional<WorkerProgress> progress;
        if (useThread)
            progress.emplace(view, m, label, title);
        command = make(useThread);
    }
    return view->pushCommand(command, label, title);
}

} // namespace

bool TableView::transformSelectedCells(const std::function<QString(const QString&)>& fn) {
    return transformSelectedCells([&fn](const QString& text, std::size_t) { return fn(text); }, true);
}

bool TableView::transformSelectedCells(const std::function<QString(const QString&, std::size_t)>& fn,
                                       bool skipEmpty) {
    TableModel* m = tableModel();
    if (!m || isReadOnly())
        return false;
    return pushBuilt(this, m->numSelectedCells(), QObject::tr("Transforming cells..."),
                     QObject::tr("Transform"),
                     [&](bool useThread) { return CellTransform::mapCommand(*m, fn, skipEmpty, useThread); });
}

bool TableView::clearLargeSelection() {
    TableModel* m = tableModel();
    const qint64 cells = m ? m->numSelectedCells() : 0;
    if (cells <= kWorkerCells || isReadOnly())
        return false;
    const auto empty = [](const QString&, std::size_t) { return QString(); };
    pushBuilt(this, cells, QObject::tr("Clearing cells..."), QObject::tr("Clear"),
              [&](bool useThread) { return CellTransform::mapCommand(*m, empty, true, useThread); });
    return true;
}

// --- Case ---------------------------------------------------------------------------------------

bool TableView::upperCase() {
    return transformSelectedCells([](const QString& t) { return t.toUpper(); });
}

bool TableView::lowerCase() {
    return transformSelectedCells([](const QString& t) { return t.toLower(); });
}

bool TableView::titleCase() {
    return transformSelectedCells(&Utilities::convertToTitleCase);
}

bool TableView::upperCamelCase() {
    return transformSelectedCells(&Utilities::convertToUpperCamelCase);
}

bool TableView::lowerCamelCase() {
    return transformSelectedCells(&Utilities::convertToLowerCamelCase);
}

bool TableView::upperSnakeCase() {
    return transformSelectedCells(&Utilities::convertToUpperSnakeCase);
}

bool TableView::lowerSnakeCase() {
    return transformSelectedCells(&Utilities::convertToLowerSnakeCase);
}

bool TableView::convertToAcronym() {
    return transformSelectedCells(&Utilities::convertToAcronym);
}

// --- Format and numbers -------------------------------------------------------------------------

bool TableView::convertDateTimeFormat(DateTimeFormatType from, DateTimeFormatType to,
                                      const QString& fromCustom, const QString& toCustom) {
    return transformSelectedCells([&](const QString& t) {
        return Utilities::convertDateTimeFormat(t, from, to, fromCustom, toCustom);
    });
}

bool TableView::convertNumberFormat(NumberFormatType from, NumberFormatType to) {
    return transformSelectedCells(
        [&](const QString& t) { return Utilities::convertNumberFormat(t, from, to); });
}

bool TableView::placeCurrentDateTimeStamp() {
    TableModel* m = tableModel();
    if (!m || isReadOnly())
        return false;
    const QString now = QDateTime::currentDateTimeUtc().toString(Qt::ISODate);
    return transformSelectedCells([&now](const QString&, std::size_t) { return now; }, false);
}

bool TableView::zeroFillWholeNumbers(int width) {
    return transformSelectedCells(
        [width](const QString& t) { return Utilities::zeroFillWholeNumbers(t, width); });
}

bool TableView::removeLeadingZeros() {
    return transformSelectedCells(&Utilities::removeLeadingZeros);
}

bool TableView::setNumDecimals(int count) {
    return transformSelectedCells([count](const QString& t) { return Utilities::setNumDecimals(t, count); });
}

// --- Text ---------------------------------------------------------------------------------------

bool TableView::trimSelectedCells() {
    return transformSelectedCells([](const QString& t) { return t.trimmed(); });
}

bool TableView::keepOnlyLeftPartOfCells(int index) {
    return transformSelectedCells([index](const QString& t) { return Utilities::keepLeftPart(t, index); });
}

bool TableView::keepOnlyRightPartOfCells(int index) {
    return transformSelectedCells([index](const QString& t) { return Utilities::keepRightPart(t, index); });
}

bool TableView::keepOnlyMiddlePartOfCells(int index, int count) {
    return transformSelectedCells(
        [index, count](const QString& t) { return Utilities::keepMiddlePart(t, index, count); });
}

bool TableView::prependSingleValueToSelectedCells(const QString& text) {
    return transformSelectedCells([&text](const QString& t) { return text + t; });
}

bool TableView::appendSingleValueToSelectedCells(const QString& text) {
    return transformSelectedCells([&text](const QString& t) { return t + text; });
}

// --- Multi-cell ---------------------------------------------------------------------------------

bool TableView::copyMainCellContentsToAllSelectedCells() {
    TableModel* m = tableModel();
    if (!m || isReadOnly())
        return false;
    const Range& main = m->getMainCell();
    const QString text = m->getTableData().getValueModel(main.row, main.col).toString();
    return transformSelectedCells([&text](const QString&, std::size_t) { return text; }, false);
}

bool TableView::fillSelectedCellsWithSeries(const QString& text, bool prepend, bool append) {
    TableModel* m = tableModel();
    if (!m || isReadOnly())
        return false;
    const auto count = static_cast<int>(std::min<qint64>(m->numSelectedCells(), INT_MAX));
    // Item i goes to cell i; once the items run out the cells stay as they are. The items are
    // made on the first call, so that a long series is made on the worker too.
    QStringList items;
    bool made = false;
    return transformSelectedCells(
        [&](const QString& cell, std::size_t i) {
            if (!made) {
                items = Utilities::computeSeriesStrings(text, count);
                made = true;
            }
            if (i >= std::size_t(items.size()))
                return cell;
            const QString& item = items[qsizetype(i)];
            return prepend ? item + cell : append ? cell + item : item;
        },
        false);
}

namespace {

bool reshapeSelected(TableView* view, int lineLength, bool rowWise) {
    TableModel* m = view->tableModel();
    if (!m || view->isReadOnly())
        return false;
    return pushBuilt(
        view, m->numSelectedCells(), QObject::tr("Reshaping cells..."), QObject::tr("Reshape"),
        [&](bool useThread) { return CellTransform::reshapeCommand(*m, lineLength, rowWise, useThread); });
}

bool joinSelected(TableView* view, const QString& separator, bool horizontally, bool closeGap) {
    TableModel* m = view->tableModel();
    if (!m || view->isReadOnly())
        return false;
    return pushBuilt(view, m->numSelectedCells(), QObject::tr("Joining cells..."), QObject::tr("Join"),
                     [&](bool useThread) {
                         return CellTransform::joinCommand(*m, separator, horizontally, closeGap, useThread);
                     });
}

} // namespace

bool TableView::reshapeSelectionRowWise(int width) {
    return reshapeSelected(this, width, true);
}

bool TableView::reshapeSelectionColWise(int height) {
    return reshapeSelected(this, height, false);
}

// --- Join and split -----------------------------------------------------------------------------

bool TableView::joinSelectedCellsHorizontally(const QString& separator, bool closeGap) {
    return joinSelected(this, separator, true, closeGap);
}

bool TableView::joinSelectedCellsVertically(const QString& separator) {
    return joinSelected(this, separator, false, false);
}

bool TableView::joinSelectedCellsHorizontallyMoveRowLeft(const QString& separator) {
    return joinSelectedCellsHorizontally(separator, true);
}

namespace {

bool splitSelected(TableView* view, Axis axis, bool cellsOnly,
                   const std::function<QStringList(const QString&)>& split) {
    TableModel* m = view->tableModel();
    if (!m || view->isReadOnly())
        return false;
    return pushBuilt(
        view, m->numSelectedCells(), QObject::tr("Splitting cells..."), QObject::tr("Split"),
        [&](bool useThread) { return CellTransform::splitCommand(*m, axis, cellsOnly, split, useThread); });
}

} // namespace

bool TableView::splitSelectedCells(Axis axis, const QString& delimiter, bool cellsOnly) {
    return splitSelected(this, axis, cellsOnly, [&delimiter](const QString& t) {
        return Utilities::splitByDelimiter(t, delimiter);
    });
}

bool TableView::splitSelectedCells(Axis axis, const std::vector<int>& indexes, bool cellsOnly) {
    return splitSelected(this, axis, cellsOnly,
                         [&indexes](const QString& t) { return Utilities::splitByIndex(t, indexes); });
}

// --- Random values, UUIDs, ID column ------------------------------------------------------------

namespace {

template <typename Make>
bool fillRandom(TableView* view, const std::vector<std::pair<double, double>>& ranges, Make make) {
    TableModel* m = view->tableModel();
    if (!m || view->isReadOnly() || ranges.empty())
        return false;
    std::random_device device;
    std::mt19937 generator(device());
    std::uniform_int_distribution<std::size_t> pick(0, ranges.size() - 1);
    return view->transformSelectedCells(
        [&](const QString&, std::size_t) { return make(generator, ranges[pick(generator)]); }, false);
}

} // namespace

bool TableView::placeRandomValuesInt(const std::vector<std::pair<double, double>>& ranges) {
    return fillRandom(this, ranges, [](std::mt19937& g, const std::pair<double, double>& r) {
        std::uniform_int_distribution<qint64> value(qint64(r.first), qint64(r.second));
        return QString::number(value(g));
    });
}

bool TableView::placeRandomValuesDouble(const std::vector<std::pair<double, double>>& ranges, int places) {
    const int decimals = std::clamp(places, 2, 15);
    return fillRandom(this, ranges, [decimals](std::mt19937& g, const std::pair<double, double>& r) {
        std::uniform_real_distribution<double> value(r.first, std::nextafter(r.second, r.second + 1));
        return QString::number(std::min(value(g), r.second), 'f', decimals);
    });
}

bool TableView::fillCellsWithUuids(bool braces, bool upperCase, UuidType type) {
    TableModel* m = tableModel();
    if (!m || isReadOnly())
        return false;
    // Made all at once on the first call, so that version 7 ones keep their order across the
    // selection, and on the worker when the selection is large.
    std::vector<QString> uuids;
    const auto count = static_cast<std::size_t>(std::max<qint64>(0, m->numSelectedCells()));
    return transformSelectedCells(
        [&](const QString&, std::size_t i) {
            if (uuids.empty()) {
                uuids.resize(count);
                Utilities::generateUuids(uuids, braces, upperCase, type);
            }
            return i < uuids.size() ? std::move(uuids[i]) : Utilities::generateUuid(braces, upperCase, type);
        },
        false);
}

bool TableView::hasIdColumn() const {
    const TableModel* m = tableModel();
    if (!m || m->columnCountModel() == 0)
        return false;
    const int headerRow = std::max(0, m->getNumHeaderRows() - 1);
    return m->getTableData().getValueModel(headerRow, 0).toString() == QLatin1String("ID");
}

bool TableView::addIdColumn(int firstValue) {
    TableModel* m = tableModel();
    if (!m || isReadOnly())
        return false;
    return pushBuilt(
        this, m->rowCountModel(), QObject::tr("Numbering rows..."), QObject::tr("ID Column"),
        [&](bool useThread) { return CellTransform::addIdColumnCommand(*m, firstValue, useThread); });
}

bool TableView::updateIdColumn() {
    TableModel* m = tableModel();
    if (!m || isReadOnly() || !hasIdColumn())
        return false;
    // Renumbered from the number of the first row, shown or not, 1 when it holds none.
    const int headers = m->getNumHeaderRows();
    bool ok = false;
    const TableData& data = m->getTableData();
    int first = data.getValueRaw(headers, data.getRawFromModelCol(0)).toString().toInt(&ok);
    if (!ok)
        first = 1;
    return pushBuilt(this, m->rowCountModel(), QObject::tr("Numbering rows..."), QObject::tr("ID Column"),
                     [&](bool useThread) { return CellTransform::idColumnCommand(*m, first, useThread); });
}
