#include "analysis/analysistablemodel.h"

#include <algorithm>

void AnalysisTableModel::setCellFunctions(TextFunction text, FractionFunction fraction) {
    beginResetModel();
    textFunction = std::move(text);
    fractionFunction = std::move(fraction);
    endResetModel();
}

void AnalysisTableModel::setRowCount(int n) {
    beginResetModel();
    n = std::max(0, n);
    if (cells.empty()) {
        rows = n;
        endResetModel();
        return;
    }
    std::vector<Cell> grown(std::size_t(n) * std::size_t(cols));
    for (int r = 0; r < std::min(rows, n); ++r)
        for (int c = 0; c < cols; ++c)
            grown[std::size_t(r) * cols + c] = std::move(cells[std::size_t(r) * cols + c]);
    cells = std::move(grown);
    rows = n;
    endResetModel();
}

void AnalysisTableModel::setColumnCount(int n) {
    beginResetModel();
    n = std::max(0, n);
    unselectableCols.resize(std::size_t(n), false);
    if (cells.empty()) {
        cols = n;
        endResetModel();
        return;
    }
    std::vector<Cell> grown(std::size_t(rows) * std::size_t(n));
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < std::min(cols, n); ++c)
            grown[std::size_t(r) * n + c] = std::move(cells[std::size_t(r) * cols + c]);
    cells = std::move(grown);
    cols = n;
    unselectableCols.resize(std::size_t(n), false);
    endResetModel();
}

AnalysisTableModel::Cell* AnalysisTableModel::cellAt(int row, int col) {
    if (row < 0 || col < 0 || row >= rows || col >= cols)
        return nullptr;
    if (cells.empty())
        cells.resize(std::size_t(rows) * std::size_t(cols));
    return &cells[std::size_t(row) * std::size_t(cols) + std::size_t(col)];
}

const AnalysisTableModel::Cell* AnalysisTableModel::storedCell(int row, int col) const {
    if (row < 0 || col < 0 || row >= rows || col >= cols || cells.empty())
        return nullptr;
    return &cells[std::size_t(row) * std::size_t(cols) + std::size_t(col)];
}

double AnalysisTableModel::fractionAt(int row, int col) const {
    const Cell* cell = storedCell(row, col);
    if (cell && cell->fraction >= 0)
        return cell->fraction;
    return fractionFunction ? fractionFunction(row, col) : -1.0;
}

void AnalysisTableModel::setCell(int row, int col, const QString& text) {
    if (Cell* cell = cellAt(row, col)) {
        cell->text = text;
        cell->fraction = -1.0;
        emit dataChanged(index(row, col), index(row, col));
    }
}

void AnalysisTableModel::setPercentCell(int row, int col, double fraction, const QString& text) {
    if (Cell* cell = cellAt(row, col)) {
        cell->text = text;
        cell->fraction = std::clamp(fraction, 0.0, 1.0);
        emit dataChanged(index(row, col), index(row, col));
    }
}

void AnalysisTableModel::setHeaderData(Qt::Orientation orientation, const QList<QString>& labels) {
    (orientation == Qt::Horizontal ? colLabels : rowLabels) = labels;
    const int count = orientation == Qt::Horizontal ? cols : rows;
    if (count > 0)
        emit headerDataChanged(orientation, 0, count - 1);
}

void AnalysisTableModel::setColumnSelectable(int col, bool selectable) {
    if (col >= 0 && col < cols)
        unselectableCols[std::size_t(col)] = !selectable;
}

void AnalysisTableModel::setTextRow(int row, bool text) {
    if (row < 0)
        return;
    if (std::size_t(row) >= textRows.size())
        textRows.resize(std::size_t(row) + 1, false);
    textRows[std::size_t(row)] = text;
}

void AnalysisTableModel::setTextColumn(int col, bool text) {
    if (col < 0)
        return;
    if (std::size_t(col) >= textCols.size())
        textCols.resize(std::size_t(col) + 1, false);
    textCols[std::size_t(col)] = text;
}

void AnalysisTableModel::clear() {
    beginResetModel();
    rows = cols = 0;
    cells.clear();
    rowLabels.clear();
    colLabels.clear();
    unselectableCols.clear();
    endResetModel();
}

void AnalysisTableModel::refreshAll() {
    if (rows > 0 && cols > 0)
        emit dataChanged(index(0, 0), index(rows - 1, cols - 1));
}

QString AnalysisTableModel::cellText(int row, int col) const {
    if (row < 0 || col < 0 || row >= rows || col >= cols)
        return {};
    const Cell* cell = storedCell(row, col);
    if ((!cell || cell->text.isNull()) && textFunction)
        return textFunction(row, col);
    return cell ? cell->text : QString();
}

int AnalysisTableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : rows;
}

int AnalysisTableModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : cols;
}

QVariant AnalysisTableModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= rows || index.column() >= cols)
        return {};
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
        return cellText(index.row(), index.column());
    case PercentRole: {
        const double fraction = fractionAt(index.row(), index.column());
        return fraction >= 0 ? QVariant(fraction) : QVariant();
    }
    case Qt::TextAlignmentRole: {
        const bool text = std::size_t(index.row()) < textRows.size() && textRows[std::size_t(index.row())];
        if (std::size_t(index.column()) < textCols.size() && textCols[std::size_t(index.column())])
            return QVariant::fromValue(Qt::Alignment(Qt::AlignLeft | Qt::AlignVCenter));
        // Numbers line up at their last digit; titles and names sit in the middle.
        return QVariant::fromValue(text || fractionAt(index.row(), index.column()) >= 0
                                       ? Qt::Alignment(Qt::AlignCenter)
                                       : Qt::Alignment(Qt::AlignRight | Qt::AlignVCenter));
    }
    default:
        return {};
    }
}

QVariant AnalysisTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    const QList<QString>& labels = orientation == Qt::Horizontal ? colLabels : rowLabels;
    if (section >= 0 && section < labels.size())
        return labels.at(section);
    return QString::number(section + 1);
}

Qt::ItemFlags AnalysisTableModel::flags(const QModelIndex& index) const {
    if (!index.isValid())
        return Qt::NoItemFlags;
    if (std::size_t(index.column()) < unselectableCols.size() &&
        unselectableCols[std::size_t(index.column())])
        return Qt::ItemIsEnabled;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable;
}
