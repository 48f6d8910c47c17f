// The analysis commands as a user runs them: on a real window and table, with the results read
// off the grid the window shows and off the clipboard.

#include "analysis/fileanalysiswindow.h"

#include "analysis/analysistablemodel.h"
#include "analysis/analysistableview.h"
#include "analysis/columnanalysiswidget.h"
#include "analysis/statisticswidget.h"
#include "table/tablemodel.h"
#include "view/tableview.h"
#include "window/commands.h"
#include "window/mainwindow.h"
#include "window/windowtesthelpers.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QFile>
#include <QMimeData>
#include <QStandardPaths>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>

class TestFileAnalysisWindow : public QObject, protected ShownWindowFixture {
    Q_OBJECT

private:
    // The shown grid, row by row, its row label first; hidden columns left out.
    static QStringList shown(const AnalysisTableView* grid) {
        QStringList rows;
        const AnalysisTableModel* m = grid->analysisModel();
        for (int r = 0; r < m->rowCount(); ++r) {
            QStringList row{m->headerData(r, Qt::Vertical).toString()};
            for (int c = 0; c < m->columnCount(); ++c) {
                if (!grid->isColumnHidden(c))
                    row.append(m->cellText(r, c));
            }
            rows.append(row.join(QLatin1Char('|')));
        }
        return rows;
    }

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        // Numbers show in the system locale; the test reads plain ones.
        QLocale::setDefault(QLocale::c());
    }
    void init() { makeWindow(); }
    void cleanup() { dropWindow(); }

    void statisticsOfAllColumns() {
        open("qty,name\n1,apple\n2,pear\n3,\n4,fig\n");
        window->setHideColsWithNoData(false);
        run(QStringLiteral("Statistics - All Columns"));
        FileAnalysisWindow* analysis = window->getFileAnalysisWindow();
        QVERIFY(analysis && analysis->isVisible());
        QCOMPARE(analysis->findChild<QTabWidget*>()->currentWidget(), analysis->getStatisticsWidget());
        // The tabs there are, in their order; no empty tabs of later tools.
        QStringList tabs;
        for (int i = 0; i < analysis->findChild<QTabWidget*>()->count(); ++i)
            tabs << analysis->findChild<QTabWidget*>()->tabText(i);
        const QStringList order{"Statistics", "Column Analysis", "Unique Values", "Pivot Table"};
        QCOMPARE(tabs, order);
        const QStringList expected{"Column Title|qty|name",
                                   "Number Of Data Points|4|0",
                                   "Sum|10|-",
                                   "Mean|2.5|-",
                                   "Variance|1.25|-",
                                   "Standard Deviation|1.11803398875|-",
                                   "Median|2.5|-",
                                   "Min|1|-",
                                   "Max|4|-",
                                   "20th Percentile|1.6|-",
                                   "40th Percentile|2.2|-",
                                   "60th Percentile|2.8|-",
                                   "80th Percentile|3.4|-"};
        AnalysisTableView* grid = analysis->getStatisticsWidget()->getView();
        QCOMPARE(shown(grid), expected);
        QVERIFY(analysis->windowTitle().contains(QStringLiteral("table.csv")));

        // The option hides the column of words, in both places it is kept.
        analysis->onHideColsWithNoDataToggled(true);
        QCOMPARE(shown(grid).first(), QStringLiteral("Column Title|qty"));

        // Copy of the whole table: labels and the shown columns, as CSV and as tab text.
        analysis->getStatisticsWidget()->onCopyAllButtonClicked();
        const QMimeData* mime = QApplication::clipboard()->mimeData();
        const QString csv = QString::fromUtf8(mime->data(QStringLiteral("text/csv")));
        QVERIFY2(csv.startsWith(QStringLiteral("Column Title,qty\nNumber Of Data Points,4\nSum,10\n")),
                 qPrintable(csv));
        QVERIFY(mime->text().startsWith(QStringLiteral("Column Title\tqty\nNumber Of Data Points\t4\n")));
    }

    // Opened on its own, the window shows the statistics of every column instead of an empty
    // grid; opened again it keeps what it shows.
    void openedAloneShowsStatistics() {
        open("qty,name\n1,apple\n2,pear\n");
        window->setHideColsWithNoData(false);
        run(QStringLiteral("Open File Analysis Window"));
        FileAnalysisWindow* analysis = window->getFileAnalysisWindow();
        QVERIFY(analysis && analysis->isVisible());
        AnalysisTableView* grid = analysis->getStatisticsWidget()->getView();
        QCOMPARE(shown(grid).mid(0, 3),
                 (QStringList{"Column Title|qty|name", "Number Of Data Points|2|0", "Sum|3|-"}));
        analysis->getStatisticsWidget()->compute(StatisticsWidget::SelectedColumns);
        const QStringList selected = shown(grid);
        run(QStringLiteral("Open File Analysis Window"));
        QCOMPARE(shown(grid), selected);
    }

    // Sorted and hidden rows: the rows the table shows, in its order; a selection of cells
    // reads its header too.
    void selectionsAndHiddenRows() {
        open("n\n10\n20\n30\n\"1,000\"\n");
        view->tableModel()->getTableData().concealModelRows({2});
        selectBlock(view, 0, 0, 2, 0); // "n", "10", "30"
        run(QStringLiteral("Statistics - Selected Cells"));
        AnalysisTableView* grid = window->getFileAnalysisWindow()->getStatisticsWidget()->getView();
        QCOMPARE(shown(grid).at(0), QStringLiteral("Column Title|Selection"));
        QCOMPARE(shown(grid).at(2), QStringLiteral("Sum|40"));

        // Shown again at once without the separators, and with them.
        window->getFileAnalysisWindow()->setUseThousandsSeparators(false);
        view->moveSelectionAbsolute(1, 0);
        run(QStringLiteral("Statistics - Selected Columns"));
        QCOMPARE(shown(grid).at(1), QStringLiteral("Number Of Data Points|3"));
        QCOMPARE(shown(grid).at(2), QStringLiteral("Sum|1040"));
        window->getFileAnalysisWindow()->setUseThousandsSeparators(true);
        QLocale grouped = QLocale::system();
        grouped.setNumberOptions(QLocale::DefaultNumberOptions);
        const QString sum = grouped.toString(1040);
        QCOMPARE(shown(grid).at(2), QStringLiteral("Sum|") + sum);

        // Copy of a selection of results, as a block.
        grid->selectionModel()->select(grid->model()->index(1, 0), QItemSelectionModel::Select);
        grid->selectionModel()->select(grid->model()->index(2, 0), QItemSelectionModel::Select);
        grid->onCopy();
        QCOMPARE(QApplication::clipboard()->mimeData()->text(),
                 QStringLiteral("3\n") + sum + QLatin1Char('\n'));
    }

    void columnAnalysis() {
        open("id,word\n1,apple\n22,\n,2024-01-31 00:00:00\n4,pear\n");
        run(QStringLiteral("Column Analysis - All Columns"));
        FileAnalysisWindow* analysis = window->getFileAnalysisWindow();
        QCOMPARE(analysis->findChild<QTabWidget*>()->currentWidget(), analysis->getColumnAnalysisWidget());
        AnalysisTableView* grid = analysis->getColumnAnalysisWidget()->getView();
        const QStringList expected{"Column Title|id|word",
                                   "Number of Fields|4|4",
                                   "Number of Non-Empty Fields|3|3",
                                   "Number of Empty Fields|1|1",
                                   "Percent Non-Empty Fields|75.0%|75.0%",
                                   "Minimum Field Length|1|4",
                                   "Maximum Field Length|2|19",
                                   "Data Type|Numeric|Date, String"};
        QCOMPARE(shown(grid), expected);
        QCOMPARE(grid->model()->index(4, 0).data(AnalysisTableModel::PercentRole).toDouble(), 0.75);

        // Once its table is closed the window reads whichever table is active, never the gone one.
        window->closeFileNoSave(view);
        run(QStringLiteral("Column Analysis - All Columns"));
        QVERIFY(shown(grid).at(0) != expected.at(0));
    }

    // A CSV field in the copy keeps its comma and quotes.
    void copyQuotesFields() {
        std::unique_ptr<QMimeData> mime(AnalysisTableView::mimeDataOf({{"a,b", "say \"hi\""}, {"1", "2"}}));
        QCOMPARE(QString::fromUtf8(mime->data(QStringLiteral("text/csv"))),
                 QStringLiteral("\"a,b\",\"say \"\"hi\"\"\"\n1,2\n"));
        QCOMPARE(mime->text(), QStringLiteral("a,b\tsay \"hi\"\n1\t2\n"));
    }
};

QTEST_MAIN(TestFileAnalysisWindow)
#include "tst_fileanalysiswindow.moc"
