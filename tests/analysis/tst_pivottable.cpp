// The pivot table as a user makes it: the command on a real window and table, the lists and
// measures changed, the grids read off the screen and the clipboard, a long grouping canceled.

#include "analysis/analysisheaderwidget.h"
#include "analysis/analysistablemodel.h"
#include "analysis/analysistableview.h"
#include "analysis/fileanalysiswindow.h"
#include "analysis/pivottable.h"
#include "analysis/pivottablecontrolswidget.h"
#include "analysis/pivottablewidget.h"
#include "table/tablemodel.h"
#include "view/tableview.h"
#include "window/commands.h"
#include "window/mainwindow.h"
#include "window/windowtesthelpers.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QFile>
#include <QMimeData>
#include <QPushButton>
#include <QStandardPaths>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

class TestPivotTable : public QObject, protected ShownWindowFixture {
    Q_OBJECT

private:
    void open(const QByteArray& content) { ShownWindowFixture::open(content, QStringLiteral("sales.csv")); }
    PivotTableWidget* pivot() const { return window->getFileAnalysisWindow()->getPivotTableWidget(); }
    static QStringList names(const std::vector<ColumnListTableWidget::Item>& items) {
        QStringList out;
        for (const auto& item : items)
            out << item.name;
        return out;
    }
    QStringList listNames(PivotTableControlsWidget::ListType list) const {
        return names(pivot()->getControls()->getColumns(list));
    }
    // The header texts of one level as they show: a spanned cell once, the lines it covers "".
    static QStringList levelTexts(const AnalysisHeaderWidget* header, int level, int lines) {
        QStringList out;
        for (int i = 0; i < lines;) {
            const bool row = header->getAxis() == Axis::Row;
            const int span = std::max(1, row ? header->rowSpan(i, level) : header->columnSpan(level, i));
            out << header->text(level, i);
            for (int k = 1; k < span; ++k)
                out << QString();
            i += span;
        }
        return out;
    }
    // A grid as it shows: the title, the top header levels, then per line the left header texts
    // and the values.
    static QStringList shown(const PivotTable* table) {
        QStringList rows{table->getTitle()};
        const AnalysisTableModel* values = table->getValuesView()->analysisModel();
        const AnalysisHeaderWidget* top = table->getTopHeader();
        for (int l = 0; l < top->analysisModel()->rowCount(); ++l)
            rows << QStringLiteral("top:") + levelTexts(top, l, values->columnCount()).join(QLatin1Char('|'));
        const AnalysisHeaderWidget* left = table->getLeftHeader();
        std::vector<QStringList> leftLevels;
        for (int l = 0; l < left->analysisModel()->columnCount(); ++l)
            leftLevels.push_back(levelTexts(left, l, values->rowCount()));
        for (int r = 0; r < values->rowCount(); ++r) {
            QStringList line;
            for (const QStringList& texts : leftLevels)
                line << texts[r];
            for (int c = 0; c < values->columnCount(); ++c)
                line << values->cellText(r, c);
            rows << line.join(QLatin1Char('|'));
        }
        return rows;
    }

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        QLocale::setDefault(QLocale::c());
    }
    void init() { makeWindow(); }
    void cleanup() { dropWindow(); }

    // The command takes the selected columns: words to the left, numbers to the data; one grid
    // of sums, spanned by region; then the measures, the swap and the clear as the controls do.
    void selectedColumns() {
        open("region,shop,amount\nnorth,b,1\nsouth,a,2\nnorth,a,3\nnorth,b,4\nsouth,a,\n");
        selectBlock(view, 1, 0, 1, 2);
        run(QStringLiteral("Pivot Table - Selected Columns"));
        FileAnalysisWindow* analysis = window->getFileAnalysisWindow();
        QVERIFY(analysis && analysis->isVisible());
        QCOMPARE(analysis->findChild<QTabWidget*>()->currentWidget(), pivot());
        QCOMPARE(listNames(PivotTableControlsWidget::LeftList), (QStringList{"region", "shop"}));
        QCOMPARE(listNames(PivotTableControlsWidget::DataList), QStringList{"amount"});
        QCOMPARE(pivot()->getEmptyTablesText(), QString());
        QCOMPARE(pivot()->getTables().size(), std::size_t(1));
        QCOMPARE(shown(pivot()->getTables()[0]),
                 (QStringList{"Sum", "top:amount", "north|a|3", "|b|5", "south|a|NaN"}));

        // Sum and Count: a column per measure; Count counts the row with no number.
        PivotTableControlsWidget* controls = pivot()->getControls();
        controls->measureCheckBox(PivotTableDataType::Count)->setChecked(true);
        pivot()->refreshBasedOnControls();
        QCOMPARE(shown(pivot()->getTables()[0]),
                 (QStringList{"amount", "top:Sum|Count", "north|a|3|1", "|b|5|2", "south|a|NaN|2"}));

        // Swap: the keys go across the top, the measures stay.
        controls->swapLeftAndTop();
        pivot()->refreshBasedOnControls();
        QCOMPARE(listNames(PivotTableControlsWidget::TopList), (QStringList{"region", "shop"}));
        QVERIFY(controls->measureCheckBox(PivotTableDataType::Count)->isChecked());
        QCOMPARE(shown(pivot()->getTables()[0]),
                 (QStringList{"amount", "top:north||south", "top:a|b|a", "Sum|3|5|NaN", "Count|1|2|2"}));

        // Copy of the whole grid: the corner names the header levels, every header cell is filled.
        controls->swapLeftAndTop();
        controls->measureCheckBox(PivotTableDataType::Count)->setChecked(false);
        pivot()->refreshBasedOnControls();
        pivot()->getTables()[0]->copyTable(false);
        QCOMPARE(QString::fromUtf8(QApplication::clipboard()->mimeData()->data(QStringLiteral("text/csv"))),
                 QStringLiteral("region,shop,amount\nnorth,a,3\nnorth,b,5\nsouth,a,NaN\n"));

        // A header cell selects the values of the lines it spans.
        PivotTable* table = pivot()->getTables()[0];
        table->getLeftHeader()->selectionModel()->select(table->getLeftHeader()->model()->index(0, 0),
                                                         QItemSelectionModel::ClearAndSelect);
        QCOMPARE(table->getValuesView()->selectionModel()->selectedIndexes().size(), 2);

        // Without a measure, and without lists, the label says what is missing.
        controls->measureCheckBox(PivotTableDataType::Sum)->setChecked(false);
        pivot()->refreshBasedOnControls();
        QVERIFY(pivot()->getTables().empty());
        QCOMPARE(pivot()->getEmptyTablesText(), QStringLiteral("Select at least one of the measures."));
        controls->measureCheckBox(PivotTableDataType::Sum)->setChecked(true);
        for (QPushButton* b : controls->findChildren<QPushButton*>()) {
            if (b->text() == QStringLiteral("Clear Data"))
                b->click();
        }
        QVERIFY(pivot()->getTables().empty());
        QCOMPARE(
            pivot()->getEmptyTablesText(),
            QStringLiteral("Populate one of the Header lists and the Data list to see tables.<br>Use the "
                           "<b>Add Selected Columns</b> button."));
    }

    // Rows moved in a list and between lists; hidden rows of the table stay out.
    void movesAndHiddenRows() {
        open("a,b,n\nx,p,1\ny,p,2\nx,q,4\n");
        view->tableModel()->getTableData().concealModelRows({3});
        selectBlock(view, 1, 0, 1, 2);
        run(QStringLiteral("Pivot Table - Selected Columns"));
        PivotTableControlsWidget* controls = pivot()->getControls();
        ColumnListTableWidget* left = controls->list(PivotTableControlsWidget::LeftList);
        ColumnListTableWidget* top = controls->list(PivotTableControlsWidget::TopList);
        controls->moveItems(left, {0}, left, 2); // a below b
        QCOMPARE(listNames(PivotTableControlsWidget::LeftList), (QStringList{"b", "a"}));
        controls->moveItems(left, {0}, top, 0);
        QCOMPARE(listNames(PivotTableControlsWidget::LeftList), QStringList{"a"});
        QCOMPARE(listNames(PivotTableControlsWidget::TopList), QStringList{"b"});
        QVERIFY(pivot()->refresh(false));
        QCOMPARE(shown(pivot()->getTables()[0]), (QStringList{"n - Sum", "top:p", "x|1", "y|2"}));

        // An unticked row is left out, as if it were not there.
        left->item(0, 0)->setCheckState(Qt::Unchecked);
        pivot()->refreshBasedOnControls();
        QCOMPARE(shown(pivot()->getTables()[0]), (QStringList{"Sum", "top:p", "n|3"}));
    }

    // A long grouping canceled shows the halted label and no grid; Compute makes it again.
    void cancel() {
        QByteArray content("k,v\n");
        for (int r = 0; r < 300000; ++r)
            content += "k" + QByteArray::number(r % 1000) + ',' + QByteArray::number(r) + '\n';
        open(content);
        selectBlock(view, 1, 0, 1, 1);
        TableModel* model = view->tableModel();
        QTimer::singleShot(0, model, [model] { model->cancelWorker(); });
        run(QStringLiteral("Pivot Table - Selected Columns"));
        QVERIFY(pivot()->getTables().empty());
        QCOMPARE(pivot()->getEmptyTablesText(), QStringLiteral("Pivot table computation was halted."));
        auto* compute = pivot()->findChild<QPushButton*>(QStringLiteral("computeButton"));
        QVERIFY(compute && compute->isVisible());
        compute->click();
        QCOMPARE(pivot()->getTables().size(), std::size_t(1));
        QCOMPARE(pivot()->getTables()[0]->getValuesView()->analysisModel()->rowCount(), 1000);
        QCOMPARE(pivot()->getEmptyTablesText(), QString());
    }
};

QTEST_MAIN(TestPivotTable)
#include "tst_pivottable.moc"
