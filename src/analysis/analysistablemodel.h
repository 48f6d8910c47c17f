#pragma once

#include <QAbstractTableModel>
#include <QList>
#include <QString>

#include <functional>
#include <vector>

// The read-only grid of the analysis tools: texts, and for some cells a fraction that
// PercentBarDelegate draws as a bar.
class AnalysisTableModel : public QAbstractTableModel {
    Q_OBJECT

public:
    // The role under which a percent cell gives its fraction (0 to 1).
    static constexpr int PercentRole = Qt::UserRole + 1;

    using QAbstractTableModel::QAbstractTableModel;

    // Texts and bar fractions (below 0: no bar) worked out when a cell is shown or copied,
    // for cells that were not set: a result table with a column per table column of a very
    // wide table would otherwise format millions of numbers nobody looks at.
    using TextFunction = std::function<QString(int row, int col)>;
    using FractionFunction = std::function<double(int row, int col)>;
    void setCellFunctions(TextFunction text, FractionFunction fraction = nullptr);

    void setRowCount(int rows);
    void setColumnCount(int cols);
    void setCell(int row, int col, const QString& text);
    void setPercentCell(int row, int col, double fraction, const QString& text);
    void setHeaderData(Qt::Orientation orientation, const QList<QString>& labels);
    void setColumnSelectable(int col, bool selectable);
    // Rows whose cells hold text rather than numbers: centred instead of right-aligned.
    void setTextRow(int row, bool text);
    // Columns whose cells hold text (the values of a column): left-aligned.
    void setTextColumn(int col, bool text);
    void clear();
    // After cells were set with the model's signals blocked: one change for all of them.
    void refreshAll();

    QString cellText(int row, int col) const;

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

private:
    struct Cell {
        QString text;
        double fraction = -1.0; // below 0: no bar
    };

    Cell* cellAt(int row, int col);
    const Cell* storedCell(int row, int col) const;
    double fractionAt(int row, int col) const;

    int rows = 0;
    int cols = 0;
    std::vector<Cell> cells; // row by row; empty until a cell is set
    TextFunction textFunction;
    FractionFunction fractionFunction;
    QList<QString> rowLabels;
    QList<QString> colLabels;
    std::vector<bool> unselectableCols;
    std::vector<bool> textRows;
    std::vector<bool> textCols;
};
