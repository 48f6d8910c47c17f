// Filters and hiding driven as a user does: commands, launcher prompts, the status bar, undo,
// and the visible data saved to disk.

#include "window/mainwindow.h"

#include "table/tablemodel.h"
#include "util/msgboxanswers.h"
#include "view/tableview.h"
#include "window/commands.h"
#include "window/filedialoghelper.h"
#include "window/launcher.h"
#include "window/windowtesthelpers.h"

#include <QAction>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QProgressDialog>
#include <QPushButton>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QUndoStack>

namespace {

const QByteArray kFixture = "name,qty,kind\n"
                            "apple,5,fruit\n"
                            "pear,12,fruit\n"
                            "leek,7,veg\n"
                            ",,\n"
                            "fig,30,fruit\n";

} // namespace

class TestFilterCommands : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> dir;
    std::unique_ptr<MainWindow> window;
    TableView* view = nullptr;

    void run(const QString& name) {
        const Command* c = window->getCommands().findByName(name);
        QVERIFY2(c, qPrintable(name));
        QVERIFY2(c->action->isEnabled(), qPrintable(name));
        c->action->trigger();
    }
    void answer(const QString& text) {
        Launcher* launcher = window->getLauncher();
        QVERIFY(launcher);
        launcher->getPromptEditor()->clear();
        QTest::keyClicks(launcher->getPromptEditor(), text);
        QTest::keyClick(launcher->getPromptEditor(), Qt::Key_Return);
        QCoreApplication::processEvents();
    }
    void select(int row, int col) { view->moveSelectionAbsolute(row, col); }
    // A table of 200,000 rows under a filter whose scan lasts for seconds: every row passes it,
    // so it goes in place concealing nothing, and an edit then breaks it in one shown row (a
    // finished scan would keep that row as an exception).
    void openSlowlyFilteredTable() {
        const QString path = dir->filePath(QStringLiteral("long.csv"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QByteArray text = "h,n\n";
        // Each cell costs the pattern below a long backtrack.
        for (int i = 0; i < 200000; ++i)
            text += "aaaaaaaaaaaa," + QByteArray::number(i) + '\n';
        file.write(text);
        file.close();
        window->openFile(path);
        view = window->getActiveTable();
        TableModel* m = view->tableModel();
        QCOMPARE(m->rowCountRaw(), 200001);
        FilterData slow;
        slow.range = Range(0, RangeType::Col, RangeIndexType::Raw);
        slow.filterStr = QStringLiteral("#^(?:a+)+b|a");
        slow.convertFilterStrToRegexList();
        TableModel::ConcealmentState state;
        state.filters = {slow};
        m->setConcealmentState(state);
        m->setData(m->index(3, 0), QStringLiteral("zzz"));
    }
    static FilterData atLeastTen() {
        FilterData numbers;
        numbers.range = Range(1, RangeType::Col, RangeIndexType::Raw);
        numbers.filterStr = QStringLiteral(">=10");
        return numbers;
    }
    static void cancelWorkerDialog(TableView* view) {
        auto* dialog = view->findChild<QProgressDialog*>(QStringLiteral("workerProgressDialog"));
        if (QPushButton* cancel = dialog ? dialog->findChild<QPushButton*>() : nullptr)
            cancel->click();
    }

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        TableView::autoFitWarningHook = [](const QString&, bool&) { return false; };
    }
    void init() {
        dir = std::make_unique<QTemporaryDir>();
        const QString path = dir->filePath(QStringLiteral("table.csv"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(kFixture);
        file.close();
        window = std::make_unique<MainWindow>();
        window->setAttribute(Qt::WA_DeleteOnClose, false);
        window->openFile(path);
        view = window->getActiveTable();
        QVERIFY(view);
    }
    void cleanup() {
        FileDialogHelper::saveFileNameHook = nullptr;
        window.reset();
        dir.reset();
    }

    void addFilterThroughLauncherWithPreview() {
        run(QStringLiteral("Add Filter"));
        answer(QStringLiteral("qty"));
        Launcher* launcher = window->getLauncher();
        QVERIFY(launcher);
        QVERIFY2(launcher->getTitleLabel()->text().startsWith(QLatin1String("Filter C1 (qty)")),
                 qPrintable(launcher->getTitleLabel()->text()));
        QTest::keyClicks(launcher->getPromptEditor(), QStringLiteral("5-10"));
        QCOMPARE(launcher->getEntryFeedbackLabel()->text(), QStringLiteral("2 of 5 rows stay"));
        // The rows that stay light up while the prompt is open.
        QCOMPARE(view->tableModel()->getHighlightedRange().size(), std::size_t(2));
        QTest::keyClick(launcher->getPromptEditor(), Qt::Key_Return);
        QCoreApplication::processEvents();
        QCOMPARE(cells(view), (QStringList{"name,qty,kind", "apple,5,fruit", "leek,7,veg"}));
        QVERIFY(view->tableModel()->getHighlightedRange().empty());
        QCOMPARE(window->getFiltersLabelText(), QStringLiteral("Filters: C1"));
        QVERIFY(window->getContext().contains(ContextFiltersActive));
        QVERIFY(window->getContext().contains(ContextFilteredOrHidden));
        QVERIFY(window->getTableSizeLabelText().contains(QLatin1String("(3 rows x 3 columns)")));
        run(QStringLiteral("Remove All Filters"));
        QCOMPARE(cells(view).size(), 6);
        QCOMPARE(window->getFiltersLabelText(), QStringLiteral("Filters: none"));
        QVERIFY(!window->getContext().contains(ContextFilteredOrHidden));
        run(QStringLiteral("Undo"));
        QCOMPARE(cells(view).size(), 3);
        run(QStringLiteral("Undo"));
        QCOMPARE(cells(view).size(), 6);
    }

    void editAndRefreshKeepsEditedRowUntilRefresh() {
        select(1, 2);
        run(QStringLiteral("Filter Selected Column(s) with Selected Cell Contents"));
        QCOMPARE(cells(view),
                 (QStringList{"name,qty,kind", "apple,5,fruit", "pear,12,fruit", "fig,30,fruit"}));
        // An edit breaks the filter: the row stays until the filters are refreshed.
        view->tableModel()->setData(view->tableModel()->index(2, 2), QStringLiteral("nut"));
        select(1, 0);
        run(QStringLiteral("Filter Selected Row"));
        answer(QString()); // an empty answer leaves the row unfiltered
        QCOMPARE(cells(view).size(), 4);
        run(QStringLiteral("Refresh Filters"));
        QCOMPARE(cells(view), (QStringList{"name,qty,kind", "apple,5,fruit", "fig,30,fruit"}));
    }

    void hideAndShowColumnsAndRows() {
        select(1, 1);
        run(QStringLiteral("Hide Selected Column(s)"));
        QCOMPARE(cells(view).front(), QStringLiteral("name,kind"));
        QVERIFY(window->getContext().contains(ContextHiddenArrays));
        run(QStringLiteral("Hide Empty Row(s)"));
        QCOMPARE(cells(view).size(), 5);
        run(QStringLiteral("Show All Hidden Column(s)"));
        QCOMPARE(cells(view).front(), QStringLiteral("name,qty,kind"));
        select(3, 0);
        run(QStringLiteral("Hide All But Selected Row(s)"));
        QCOMPARE(cells(view), (QStringList{"name,qty,kind", "leek,7,veg"}));
        run(QStringLiteral("Show All Hidden Row(s)"));
        QCOMPARE(cells(view).size(), 6);
        QVERIFY(!window->getContext().contains(ContextHiddenArrays));
    }

    void removeFilteredOutAndHiddenDataThenUndo() {
        const QStringList before = cells(view);
        select(1, 2);
        run(QStringLiteral("Filter Selected Column"));
        answer(QStringLiteral("fruit"));
        select(0, 1);
        run(QStringLiteral("Hide Selected Column(s)"));
        run(QStringLiteral("Remove All Filtered Out and Hidden Data"));
        QCOMPARE(cells(view), (QStringList{"name,kind", "apple,fruit", "pear,fruit", "fig,fruit"}));
        QCOMPARE(view->tableModel()->rowCountRaw(), 4);
        QCOMPARE(window->getFiltersLabelText(), QStringLiteral("Filters: none"));
        run(QStringLiteral("Undo"));
        QCOMPARE(cells(view), (QStringList{"name,kind", "apple,fruit", "pear,fruit", "fig,fruit"}));
        QCOMPARE(view->tableModel()->rowCountRaw(), 6);
        run(QStringLiteral("Undo"));
        run(QStringLiteral("Undo"));
        QCOMPARE(cells(view), before);
    }

    void saveVisibleDataAs() {
        select(1, 1);
        run(QStringLiteral("Filter Selected Column with Regular Expressions"));
        answer(QStringLiteral("^\\d$"));
        QCOMPARE(cells(view).size(), 3);
        const QString target = dir->filePath(QStringLiteral("visible.csv"));
        FileDialogHelper::saveFileNameHook = [target](const QString&, const QString&, const QString&) {
            return target;
        };
        MsgBoxAnswers answers;
        run(QStringLiteral("Save Visible Data As"));
        QFile file(target);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("name,qty,kind\napple,5,fruit\nleek,7,veg\n"));
    }

    void statusBarFilterPrompt() {
        select(1, 1);
        run(QStringLiteral("Filter Selected Column"));
        answer(QStringLiteral(">10"));
        window->onFiltersOptionsPrompt();
        Launcher* launcher = window->getLauncher();
        QVERIFY(launcher);
        QCOMPARE(launcher->getTitleLabel()->text(), QStringLiteral("Filter Commands:"));
        answer(QStringLiteral("Remove All Filters"));
        QCOMPARE(cells(view).size(), 6);
    }

    void reloadKeepsFiltersWhenSet() {
        select(1, 2);
        run(QStringLiteral("Filter Selected Column"));
        answer(QStringLiteral("veg"));
        QCOMPARE(cells(view).size(), 2);
        QVERIFY(window->getSettings().getValueBool(RetainSortAndFilters));
        // A filter is a step in the history, so the reload asks first: discard.
        MsgBoxAnswers answers;
        answers.queue = {1};
        run(QStringLiteral("Reload File"));
        QCOMPARE(cells(view), (QStringList{"name,qty,kind", "leek,7,veg"}));
        QCOMPARE(view->undoStack()->count(), 0);
        QVERIFY(!view->isModified());
        run(QStringLiteral("Toggle Retain Sort and Filters Upon File Refresh"));
        run(QStringLiteral("Reload File"));
        QCOMPARE(cells(view).size(), 6);
        QCOMPARE(window->getFiltersLabelText(), QStringLiteral("Filters: none"));
        run(QStringLiteral("Toggle Retain Sort and Filters Upon File Refresh"));
    }

    // The scans before a change of filters run on the worker under a progress dialog; its
    // Cancel leaves the table, the filters and the history as they were.
    void cancelOfALongScanChangesNothing() {
        openSlowlyFilteredTable();
        TableModel* m = view->tableModel();
        const int undoCount = view->undoStack()->count();
        const int rows = m->rowCountModel();
        bool dialogSeen = false;
        qint64 firedAt = -1;
        QElapsedTimer timer;
        QTimer::singleShot(600, view, [&] {
            // The window answers while the scan runs: the timer fires on time.
            firedAt = timer.elapsed();
            auto* dialog = view->findChild<QProgressDialog*>(QStringLiteral("workerProgressDialog"));
            dialogSeen = dialog && dialog->isVisible();
            cancelWorkerDialog(view);
        });
        timer.start();
        QVERIFY(!view->includeFilterInList(atLeastTen()));
        QVERIFY(dialogSeen);
        QVERIFY2(firedAt < 2000 && timer.elapsed() < 3000,
                 qPrintable(QStringLiteral("%1 %2").arg(firedAt).arg(timer.elapsed())));
        QCOMPARE(m->getFilterList().size(), std::size_t(1));
        QVERIFY(m->getFilterList().front().exceptions.empty());
        QCOMPARE(view->undoStack()->count(), undoCount);
        QCOMPARE(m->rowCountModel(), rows);
        QCOMPARE(m->getTableData().getValueModel(3, 0).toString(), QStringLiteral("zzz"));
    }

    // While a scan runs on the worker, the window's event loop runs too, before its progress
    // dialog shows as well: closing the table or the window from there would delete them under
    // the scan. Neither closes; the scan goes on until it is cancelled.
    void tableStaysOpenWhileItsScanRuns() {
        window->show();
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        openSlowlyFilteredTable();
        QPointer<TableView> guarded(view);
        view->setFocus();
        MsgBoxAnswers answers;
        const int tables = window->getNumTables();
        bool windowClosed = true;
        bool viewAfterKeys = false;
        QTimer::singleShot(100, view, [&] {
            QTest::keyClick(view, Qt::Key_W, Qt::ControlModifier); // Close File
            viewAfterKeys = !guarded.isNull();
            windowClosed = window->close();
        });
        QTimer::singleShot(600, view, [&] { cancelWorkerDialog(view); });
        QVERIFY(!view->includeFilterInList(atLeastTen()));
        QVERIFY(viewAfterKeys);
        QVERIFY(!windowClosed);
        QVERIFY(guarded);
        QVERIFY(window->isVisible());
        QCOMPARE(window->getNumTables(), tables);
        QCOMPARE(view->tableModel()->rowCountRaw(), 200001);
        QVERIFY(answers.asked.isEmpty());
        // Once the scan is over the table closes.
        answers.queue = {1}; // Don't Save, should it ask
        QVERIFY(window->closeFile(view));
        QVERIFY(guarded.isNull());
    }

    void transposeTurnsFiltersAndHiding() {
        select(1, 2);
        run(QStringLiteral("Filter Selected Column"));
        answer(QStringLiteral("fruit"));
        select(1, 1);
        run(QStringLiteral("Hide Selected Column(s)"));
        const QStringList before = cells(view);
        QCOMPARE(before, (QStringList{"name,kind", "apple,fruit", "pear,fruit", "fig,fruit"}));
        const QString label = window->getFiltersLabelText();
        run(QStringLiteral("Transpose Table"));
        QCOMPARE(cells(view), (QStringList{"name,apple,pear,fig", "kind,fruit,fruit,fruit"}));
        QCOMPARE(window->getFiltersLabelText(), QString(label).replace(u'C', u'R'));
        QVERIFY(window->getContext().contains(ContextHiddenArrays));
        // Shown again, the hidden line comes back as the row it now is.
        run(QStringLiteral("Show All Hidden Row(s)"));
        QCOMPARE(cells(view), (QStringList{"name,apple,pear,fig", "qty,5,12,30", "kind,fruit,fruit,fruit"}));
        run(QStringLiteral("Undo"));
        run(QStringLiteral("Undo"));
        QCOMPARE(cells(view), before);
        QCOMPARE(window->getFiltersLabelText(), label);
    }

    void readOnlyTableFilters() {
        run(QStringLiteral("Toggle Read-Only"));
        QVERIFY(view->isReadOnly());
        select(1, 1);
        run(QStringLiteral("Filter Selected Column"));
        answer(QStringLiteral("<10"));
        QCOMPARE(cells(view), (QStringList{"name,qty,kind", "apple,5,fruit", "leek,7,veg"}));
        run(QStringLiteral("Remove All Filters"));
        QCOMPARE(cells(view).size(), 6);
    }
};

QTEST_MAIN(TestFilterCommands)
#include "tst_filtercommands.moc"
