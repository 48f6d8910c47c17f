#pragma once

#include <QColor>
#include <QModelIndexList>
#include <QString>
#include <QTableView>

#include <vector>

class AnalysisTableModel;
class PercentBarDelegate;
class QMimeData;

// The read-only grid of the analysis tools, with its Copy and Select All and a context menu
// that offers them.
class AnalysisTableView : public QTableView {
    Q_OBJECT
    Q_PROPERTY(QColor percentBarColor READ getPercentBarColor WRITE setPercentBarColor NOTIFY
                   percentBarColorChangedSignal)
    Q_PROPERTY(QColor percentBackgroundColor READ getPercentBackgroundColor WRITE setPercentBackgroundColor
                   NOTIFY percentBackgroundColorChangedSignal)

public:
    AnalysisTableView(bool showHorizontalHeader, bool showVerticalHeader, QWidget* parent = nullptr);

    AnalysisTableModel* analysisModel() const { return tableModel; }

    // With it, right clicks go to the parent, which builds its own menu.
    void letParentControlContextMenu() { parentMenu = true; }

    // The smallest rectangle around the selected cells, unselected cells in it empty.
    void copySelectedCellsToClipboard() const;
    // Every cell, and with `includeHeaders` the row and column labels first.
    void copyTableToClipboard(bool includeHeaders) const;
    std::vector<std::vector<QString>> selectedCellTexts() const;
    std::vector<std::vector<QString>> tableTexts(bool includeHeaders) const;
    // Comma text (fields quoted where needed) under "text/csv" and tab text as plain text.
    static QMimeData* mimeDataOf(const std::vector<std::vector<QString>>& rows);

    QColor getPercentBarColor() const { return barColor; }
    QColor getPercentBackgroundColor() const { return backgroundColor; }
    void setPercentBarColor(const QColor& color);
    void setPercentBackgroundColor(const QColor& color);

public slots:
    void onCopy();
    void onSelectAll();

signals:
    void percentBarColorChangedSignal(const QColor& color);
    void percentBackgroundColorChangedSignal(const QColor& color);

protected:
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    AnalysisTableModel* tableModel;
    PercentBarDelegate* delegate;
    QColor barColor{0xbb, 0xbb, 0x00};
    QColor backgroundColor{0x3a, 0x3a, 0x3a};
    bool parentMenu = false;
};
