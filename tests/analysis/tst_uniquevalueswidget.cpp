// The "Unique Values" tab as a user runs it: the command on a real window and table, the grid
// it shows, and the filters its values make on the table, undone with the table's Undo.

#include "analysis/analysistablemodel.h"
#include "analysis/analysistableview.h"
#include "analysis/fileanalysiswindow.h"
#include "analysis/uniquevalueswidget.h"
#include "table/tablemodel.h"
#include "view/tableview.h"
#include "window/commands.h"
#include "window/mainwindow.h"
#include "window/windowtesthelpers.h"

#include <QAction>
#include <QFile>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QStandardPaths>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QUndoStack>

class TestUniqueValuesWidget : public QObject, protected ShownWindowFixture {
    Q_OBJECT

private:
    UniqueValuesWidget* widget() const { return window->getFileAnalysisWindow()->getUniqueValuesWidget(); }
    // The grid: its titles, then each row's value, count and percent.
    QStringList shown() const {
        const AnalysisTableModel* m = widget()->getView()->analysisModel();
        QStringList titles;
        for (int c = 0; c < m->columnCount(); ++c)
            titles << m->headerData(c, Qt::Horizontal).toString();
        QStringList rows{titles.join(u'|')};
        for (int r = 0; r < m->rowCount(); ++r)
            rows << QStringList{m->cellText(r, 0), m->cellText(r, 1), m->cellText(r, 2)}.join(u'|');
        return rows;
    }
    void selectValueRows(const std::vector<int>& rows) {
        AnalysisTableView* grid = widget()->getView();
        grid->clearSelection();
        for (const int r : rows)
            grid->selectionModel()->select(grid->model()->index(r, 0),
                                           QItemSelectionModel::Select | QItemSelectionModel::Rows);
    }
    QStringList shownColumn(int col) const {
        QStringList out;
        for (const QString& row : cells(view))
            out << row.split(u',').value(col);
        return out;
    }

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        QLocale::setDefault(QLocale::c());
    }
    void init() { makeWindow(); }
    void cleanup() { dropWindow(); }

    void countsFilterAndUndo() {
        open("fruit,n\napple,1\nApple,2\npear,3\napple,4\n,5\nx*y,6\nfig,7\n");
        // A hidden row doesn't count.
        view->moveSelectionAbsolute(7, 0);
        QVERIFY(view->hideSelectedRows());
        view->moveSelectionAbsolute(2, 0);
        run(QStringLiteral("Unique Values - Selected Column"));
        FileAnalysisWindow* analysis = window->getFileAnalysisWindow();
        QCOMPARE(analysis->findChild<QTabWidget*>()->currentWidget(), widget());
        QCOMPARE(analysis->findChild<QTabWidget*>()->tabText(2), QStringLiteral("Unique Values"));
        // Natural order, capitals first; the empty text last.
        const QStringList expected{"fruit|Count|Percent|Histogram",
                                   "Apple|1|16.7%",
                                   "apple|2|33.3%",
                                   "pear|1|16.7%",
                                   "x*y|1|16.7%",
                                   "|1|16.7%"};
        QCOMPARE(shown(), expected);
        // The order's mark is the header's, not part of a title that a copy would take.
        const QHeaderView* titles = widget()->getView()->horizontalHeader();
        QVERIFY(titles->isSortIndicatorShown());
        QCOMPARE(titles->sortIndicatorSection(), 0);
        QCOMPARE(titles->sortIndicatorOrder(), Qt::AscendingOrder);
        const AnalysisTableModel* grid = widget()->getView()->analysisModel();
        QCOMPARE(grid->index(1, 3).data(AnalysisTableModel::PercentRole).toDouble(), 1.0);
        QCOMPARE(grid->index(0, 3).data(AnalysisTableModel::PercentRole).toDouble(), 0.5);
        QVERIFY(!(grid->flags(grid->index(0, 3)) & Qt::ItemIsSelectable));

        // Without the empty cells, the shares are of five.
        analysis->onExcludeEmptyCellsToggled(true);
        QCOMPARE(shown().at(2), QStringLiteral("apple|2|40.0%"));
        QCOMPARE(shown().size(), 5);

        // Ordered by count, most first; again, least first.
        widget()->sortColumn(1);
        QCOMPARE(titles->sortIndicatorSection(), 1);
        QCOMPARE(titles->sortIndicatorOrder(), Qt::DescendingOrder);
        widget()->sortColumn(1);
        QCOMPARE(shown().at(4), QStringLiteral("apple|2|40.0%"));
        widget()->sortColumn(0);
        QCOMPARE(shown().at(2), QStringLiteral("apple|2|40.0%"));

        // Filter in "Apple" and "x*y": without regard to case, the asterisk as itself.
        const int steps = view->undoStack()->count();
        const QStringList before = cells(view);
        selectValueRows({0, 3});
        widget()->filterInSelectedValues();
        QCOMPARE(view->tableModel()->getFilterList().size(), std::size_t(1));
        QCOMPARE(view->tableModel()->getFilterList().front().filterStr, QStringLiteral("apple|x\\*y"));
        QCOMPARE(shownColumn(1), (QStringList{"n", "1", "2", "4", "6"}));
        QCOMPARE(view->undoStack()->count(), steps + 1);

        // Out instead: the filter on the column is replaced.
        selectValueRows({2});
        widget()->filterOutSelectedValues();
        QCOMPARE(view->tableModel()->getFilterList().size(), std::size_t(1));
        QCOMPARE(shownColumn(1), (QStringList{"n", "1", "2", "4", "5", "6"}));

        widget()->removeFilter();
        QVERIFY(view->tableModel()->getFilterList().empty());
        run(QStringLiteral("Undo"));
        run(QStringLiteral("Undo"));
        run(QStringLiteral("Undo"));
        QCOMPARE(cells(view), before);
        QVERIFY(view->tableModel()->getFilterList().empty());
    }

    // The filter command opens the values of the main cell's column, ready to be picked; the
    // filter goes to the table the values came from even once another table is active.
    void selectValuesToFilter() {
        open("a,b\n1,x\n2,y\n3,x\n");
        TableView* first = view;
        view->moveSelectionAbsolute(1, 1);
        run(QStringLiteral("Select Values in Selected Column to Filter"));
        QCOMPARE(window->getFileAnalysisWindow()->findChild<QTabWidget*>()->currentWidget(), widget());
        QCOMPARE(shown().size(), 3);
        window->setActiveTable(window->addEmptyTableEditor());
        QVERIFY(window->getActiveTable() != first);
        selectValueRows({0});
        widget()->filterInSelectedValues();
        QCOMPARE(first->tableModel()->rowCountModel(), 3);
        QVERIFY(window->getActiveTable()->tableModel()->getFilterList().empty());
    }
};

QTEST_MAIN(TestUniqueValuesWidget)
#include "tst_uniquevalueswidget.moc"
