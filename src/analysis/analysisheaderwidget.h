#pragma once

#include "table/rangetypes.h"

#include <QTableView>

class AnalysisTableModel;

// The row or column header of a pivot grid: a read-only grid of header texts, one line of cells
// per header level, where a run of equal outer values shows as one spanned cell. With Axis::Row
// the levels are columns (a left header); with Axis::Col they are rows (a top header).
class AnalysisHeaderWidget : public QTableView {
    Q_OBJECT

public:
    AnalysisHeaderWidget(Axis axis, QWidget* parent = nullptr);

    AnalysisTableModel* analysisModel() const { return headerModel; }
    Axis getAxis() const { return axis; }

    // Sizes the grid: `lines` along the axis, `levels` across it.
    void setShape(int lines, int levels);
    // One cell covers `count` lines from `line` on, at header level `level`.
    void setSpan(int level, int line, int count);
    // The header text at `level` of `line`.
    QString text(int level, int line) const;
    // The lines that the selected cells cover, spans counted whole, ascending.
    std::vector<int> selectedLines() const;

    QSize sizeHint() const override;

private:
    Axis axis;
    AnalysisTableModel* headerModel;
};
