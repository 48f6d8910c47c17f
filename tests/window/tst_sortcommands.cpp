// Sorting as a user meets it in the window: a sort kept over a reload when the setting says so,
// and rows or columns fitted to the contents a sort brings them.

#include "window/mainwindow.h"

#include "table/tablemodel.h"
#include "util/msgboxanswers.h"
#include "view/tableview.h"
#include "window/commands.h"
#include "window/windowtesthelpers.h"

#include <QAction>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QUndoStack>

class TestSortCommands : public QObject, protected ShownWindowFixture {
    Q_OBJECT

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        TableView::autoFitWarningHook = [](const QString&, bool&) { return false; };
    }
    void init() { makeWindow(); }
    void cleanup() { dropWindow(); }

    void reloadKeepsSortWhenSet() {
        open("name,qty\npear,12\napple,5\nfig,30\nleek,7\n");
        view->moveSelectionAbsolute(1, 1);
        run(QStringLiteral("Sort Selected Column - Descending"));
        const QStringList sorted{"name,qty", "fig,30", "pear,12", "leek,7", "apple,5"};
        QCOMPARE(cells(view), sorted);
        QVERIFY(window->getSettings().getValueBool(RetainSortAndFilters));

        MsgBoxAnswers answers;
        answers.queue = {1}; // the sort is a step in the history: discard it
        run(QStringLiteral("Reload File"));
        QCOMPARE(cells(view), sorted);
        const SortData kept = view->tableModel()->getRowSortData();
        QVERIFY(kept.type == SortType::Descending && kept.axis == Axis::Row && kept.index == 1);
        // Part of the reload: nothing to undo, nothing to save.
        QCOMPARE(view->undoStack()->count(), 0);
        QVERIFY(!view->isModified());

        run(QStringLiteral("Toggle Retain Sort and Filters Upon File Refresh"));
        run(QStringLiteral("Reload File"));
        QCOMPARE(cells(view), (QStringList{"name,qty", "pear,12", "apple,5", "fig,30", "leek,7"}));
        QVERIFY(!view->tableModel()->getRowSortData().isValid());
        run(QStringLiteral("Toggle Retain Sort and Filters Upon File Refresh"));
    }

    // With auto-fit of row heights on, a tall row's height goes with it to its new place, both in
    // the sort and in its undo.
    void rowHeightsFollowSortedRows() {
        open("id,note\n3,one\n1,\"two\nlines\nhere\"\n2,three\n");
        view->setAutoFitRowHeight(true);
        QVERIFY(view->rowHeight(2) > view->rowHeight(1));
        view->moveSelectionAbsolute(1, 0);
        run(QStringLiteral("Sort Selected Column - Ascending"));
        QCOMPARE(cells(view).at(1), QStringLiteral("1,two\nlines\nhere"));
        QVERIFY(view->rowHeight(1) > view->rowHeight(2));
        QCOMPARE(view->rowHeight(2), view->rowHeight(3));
        view->undoStack()->undo();
        QVERIFY(view->rowHeight(2) > view->rowHeight(1));
        QCOMPARE(view->rowHeight(1), view->rowHeight(3));
    }

    // Column widths (auto-fit on by default) follow a sort of columns the same way.
    void colWidthsFollowSortedCols() {
        open("id,note\n1,a rather long note that needs room\n2,b\n");
        QVERIFY(view->getAutoFitColWidth());
        QVERIFY(view->columnWidth(1) > view->columnWidth(0));
        view->moveSelectionAbsolute(1, 0);
        run(QStringLiteral("Sort Selected Row - Descending")); // the text before the number
        QCOMPARE(cells(view).at(0), QStringLiteral("note,id"));
        QVERIFY(view->columnWidth(0) > view->columnWidth(1));
        view->undoStack()->undo();
        QCOMPARE(cells(view).at(0), QStringLiteral("id,note"));
        QVERIFY(view->columnWidth(1) > view->columnWidth(0));
    }
};

QTEST_MAIN(TestSortCommands)
#include "tst_sortcommands.moc"
