#include "window/mainwindow.h"

#include "table/tablemodel.h"
#include "util/msgboxanswers.h"
#include "view/frozentableview.h"
#include "view/tabledelegate.h"
#include "view/tableview.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFontMetricsF>
#include <QScopeGuard>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QUndoStack>

namespace {

QString writeFile(const QTemporaryDir& dir, const QString& name, const QByteArray& content) {
    const QString path = dir.filePath(name);
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(content);
    return path;
}

// Width the grid needs to paint a cell's first line whole, in the font it paints it with.
qreal neededWidth(const TableModel* model, int row, int col) {
    const QModelIndex index = model->index(row, col);
    QString text = model->data(index, Qt::DisplayRole).toString();
    text = TableDelegate::shownLine(text);
    const QFont font = model->data(index, Qt::FontRole).value<QFont>();
    return QFontMetricsF(font).horizontalAdvance(text) + 2 * TableDelegate::textInset;
}

} // namespace

class TestGridFit : public QObject {
    Q_OBJECT

private:
    QTemporaryDir dir;

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        QVERIFY(dir.isValid());
    }

    // Every column of a small file is wide enough for its texts, the bold header among them.
    void smallFileFitsOnOpen() {
        const QString path = writeFile(dir, QStringLiteral("people.csv"),
                                       "name,population,date,income\n"
                                       "Alice Johnson,52000000,2024-01-15,52000.75\n"
                                       "Bob,1234,2023-12-31,100\n"
                                       "Carla Montgomery-Smith,987654321,2022-06-01,123456.5\n");
        MainWindow window;
        window.show();
        QVERIFY(window.openFiles({path}));
        TableView* view = window.getActiveTable();
        const TableModel* model = view->tableModel();
        for (int col = 0; col < 4; ++col) {
            for (int row = 0; row < 4; ++row) {
                QVERIFY2(view->columnWidth(col) >= neededWidth(model, row, col),
                         qPrintable(QStringLiteral("row %1 col %2: %3 < %4")
                                        .arg(row)
                                        .arg(col)
                                        .arg(view->columnWidth(col))
                                        .arg(neededWidth(model, row, col))));
            }
        }
    }

    // A file of very many columns opens with each fitted, in time that grows with their count (a
    // header that painted after each resize took seconds here and more than a minute for 200,000
    // columns), and the frozen header row takes the same widths.
    void manyColumnsFitInLinearTime() {
        constexpr int kColumns = 100000;
        QByteArray header;
        for (int c = 0; c < kColumns; ++c)
            header += (c ? "," : "") + QByteArray::number(c % 7 == 0 ? 1000000 + c : c);
        const QString path = writeFile(dir, QStringLiteral("wide.csv"), header + "\nx,y\n");
        MainWindow window;
        window.show();
        // Auto-fit stays on when its question comes.
        TableView::autoFitWarningHook = [](const QString&, bool&) { return false; };
        const auto restore = qScopeGuard([] { TableView::autoFitWarningHook = nullptr; });
        QElapsedTimer timer;
        timer.start();
        QVERIFY(window.openFiles({path}));
        TableView* view = window.getActiveTable();
        QCOMPARE(view->tableModel()->columnCountModel(), kColumns);
        QVERIFY2(timer.elapsed() < 5000, qPrintable(QString::number(timer.elapsed())));
        for (const int col : {0, 7, kColumns - 5, kColumns - 1}) {
            QVERIFY2(view->columnWidth(col) >= neededWidth(view->tableModel(), 0, col),
                     qPrintable(QString::number(col)));
            QCOMPARE(view->frozenView(1)->columnWidth(col), view->columnWidth(col));
        }
        QVERIFY(view->columnWidth(kColumns - 5) > view->columnWidth(kColumns - 4)); // 1099995 against 99996
    }

    // Commands, undo and redo leave rows and columns they did not change as they were, and with
    // auto-fit of row heights off (the default) every row keeps the default height.
    void sizesStayThroughCommands() {
        const QString path = writeFile(dir, QStringLiteral("notes.csv"),
                                       "id,Notes,when\n"
                                       "1,\"first line\nsecond line\nthird\",2024-01-15\n"
                                       "2,a note that runs on for quite a few words in one line,2023-12-31\n"
                                       "3,short,2022-06-01\n");
        MainWindow window;
        window.show();
        QVERIFY(window.openFiles({path}));
        TableView* view = window.getActiveTable();
        auto widths = [view] {
            QList<int> list;
            for (int c = 0; c < 3; ++c)
                list.append(view->columnWidth(c));
            return list;
        };
        auto heights = [view] {
            QList<int> list;
            for (int r = 0; r < 4; ++r)
                list.append(view->rowHeight(r));
            return list;
        };
        const QList<int> startWidths = widths();
        const QList<int> startHeights = heights();
        QVERIFY(startHeights.count(startHeights.first()) == 4);
        QVERIFY(view->insertRows({1}, 1, false));
        QVERIFY(view->moveRowsRelative(1, {3}));
        view->undo();
        view->undo();
        QCOMPARE(view->undoStack()->index(), 0);
        QCOMPARE(widths(), startWidths);
        QCOMPARE(heights(), startHeights);
        view->redo();
        QCOMPARE(widths(), startWidths);
    }

    // A cell of several lines shows its first line and an ellipsis, and its column fits both.
    void multiLineCellShowsThereIsMore() {
        QCOMPARE(TableDelegate::shownLine(QStringLiteral("first\nsecond")),
                 QStringLiteral("first") + QChar(0x2026));
        QCOMPARE(TableDelegate::shownLine(QStringLiteral("first\r\nsecond")),
                 QStringLiteral("first") + QChar(0x2026));
        QCOMPARE(TableDelegate::shownLine(QStringLiteral("one line")), QStringLiteral("one line"));
        const QString path = writeFile(dir, QStringLiteral("lines.csv"), "a,\"first line\nsecond line\"\n");
        MainWindow window;
        window.show();
        QVERIFY(window.openFiles({path}));
        TableView* view = window.getActiveTable();
        QVERIFY(view->columnWidth(1) >= neededWidth(view->tableModel(), 0, 1));
    }

    // F2 on a cell of several lines offers the editor pane instead of a one-line editor that
    // would show only the end of the text.
    void multiLineCellEditsInThePane() {
        const QString path = writeFile(dir, QStringLiteral("edit.csv"), "\"first\nsecond\",b\n");
        MainWindow window;
        window.show();
        QVERIFY(window.openFiles({path}));
        TableView* view = window.getActiveTable();
        MsgBoxAnswers answers;
        answers.queue = {1}; // Don't Open
        view->startEditing(false, true);
        QCOMPARE(answers.texts().size(), 1);
        QVERIFY(answers.texts().first().contains(QStringLiteral("more than one line")));
        QCOMPARE(view->tableModel()->data(view->tableModel()->index(0, 0)).toString(),
                 QStringLiteral("first\nsecond"));
    }

    // Closing the last tab leaves a fresh table, and the status bar speaks of that table.
    void statusBarAfterLastTabCloses() {
        const QString path = writeFile(dir, QStringLiteral("status.csv"), "hello world,b\n");
        MainWindow window;
        window.show();
        QVERIFY(window.openFiles({path}));
        QCOMPARE(window.getCellLengthLabelText(), QStringLiteral("Cell Length: 11"));
        QVERIFY(window.commandCloseFile());
        QCOMPARE(window.getOpenFilepaths(), QStringList{QString()});
        // As a window that starts without a file shows it.
        MainWindow fresh;
        fresh.show();
        QCOMPARE(window.getCellLengthLabelText(), fresh.getCellLengthLabelText());
        QCOMPARE(window.getSelectionLabelText(), fresh.getSelectionLabelText());
        QCOMPARE(window.getTableSizeLabelText(), fresh.getTableSizeLabelText());
    }
};

QTEST_MAIN(TestGridFit)
#include "tst_gridfit.moc"
