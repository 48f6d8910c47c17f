// Column Lookup as a user runs it: the command, then its seven prompts answered with keys in
// the launcher, on a real window with two files; the result saved to disk and undone.

#include "table/tabledata.h"
#include "table/tablemodel.h"
#include "view/tableview.h"
#include "window/commands.h"
#include "window/launcher.h"
#include "window/mainwindow.h"
#include "window/optionlistwidget.h"
#include "window/paneview.h"
#include "window/prevoptionwidget.h"
#include "window/windowtesthelpers.h"

#include <QAction>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QUndoStack>

class TestColumnLookupCommand : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> dir;
    std::unique_ptr<MainWindow> window;

    QString write(const QString& name, const QByteArray& content) {
        const QString path = dir->filePath(name);
        QFile file(path);
        if (file.open(QIODevice::WriteOnly))
            file.write(content);
        return path;
    }
    void run(const QString& name) {
        const Command* c = window->getCommands().findByName(name);
        QVERIFY2(c && c->action->isEnabled(), qPrintable(name));
        c->action->trigger();
    }
    // Types into the open prompt, which must have `title`, and presses Return.
    void answer(const QString& title, const QString& text) {
        Launcher* launcher = window->getLauncher();
        QVERIFY2(launcher, qPrintable(title));
        QCOMPARE(launcher->getTitleLabel()->text(), title);
        QTest::keyClicks(launcher->getPromptEditor(), text);
        QTest::keyClick(launcher->getPromptEditor(), Qt::Key_Return);
        QCoreApplication::processEvents();
    }

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void init() {
        dir = std::make_unique<QTemporaryDir>();
        window = std::make_unique<MainWindow>();
        window->setAttribute(Qt::WA_DeleteOnClose, false);
        window->show();
    }
    void cleanup() {
        window.reset();
        dir.reset();
    }

    void fromAnotherFileIntoNewColumns() {
        const QString people = write(QStringLiteral("people.csv"), "id,name,city\n1,ann,oslo\n2,bob,rome\n");
        const QString orders = write(QStringLiteral("orders.csv"), "order,customer\nA,2\nB,3\nC,1\n");
        window->openFile(people);
        window->openFile(orders);
        TableView* dest = window->getActiveTable();
        QCOMPARE(MainWindow::tableName(dest), QStringLiteral("orders.csv"));
        const QStringList before = cells(dest);
        const QString selectionBefore = selection(dest);

        run(QStringLiteral("Column Lookup"));
        answer(QStringLiteral("Select the File to Look Up Data From:"), QStringLiteral("people"));
        // The source shows while its columns are chosen, the typed one lit and named (columns
        // count from 0 unless the first index is set otherwise).
        QCOMPARE(MainWindow::tableName(window->getActiveTable()), QStringLiteral("people.csv"));
        Launcher* launcher = window->getLauncher();
        QTest::keyClicks(launcher->getPromptEditor(), QStringLiteral("0"));
        QCOMPARE(launcher->getEntryFeedbackLabel()->text(), QStringLiteral("Column 0"));
        QTest::keyClick(launcher->getPromptEditor(), Qt::Key_Return);
        answer(QStringLiteral("Enter the Source Value Column(s):"), QStringLiteral("*"));
        QCOMPARE(window->getPaneView()->getPrevOptions().size(), std::size_t(3));
        QCOMPARE(window->getPaneView()->getPrevOptions().back()->getAnswer(), QStringLiteral("Columns 1-2"));
        // "(Current file)" is the table the command started from.
        QCOMPARE(window->getActiveTable(), dest);
        answer(QStringLiteral("Select the File to Write Data To:"), QString());
        answer(QStringLiteral("Enter the Destination Key Column:"), QStringLiteral("1"));
        answer(QStringLiteral("Enter the Destination Value Column:"), QString());
        answer(QStringLiteral("Do you want to insert new columns or overwrite existing columns?"),
               QStringLiteral("insert"));
        QTRY_VERIFY(!window->getLauncher());
        QCOMPARE(window->getActiveTable(), dest);
        const QStringList after{"order,customer,name,city", "A,2,bob,rome", "B,3,,", "C,1,ann,oslo"};
        QCOMPARE(cells(dest).mid(0, 4), after);

        // Saved as shown; the row no value reached is written as it was read.
        QVERIFY(window->saveFile(dest));
        QFile file(orders);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("order,customer,name,city\nA,2,bob,rome\nB,3\nC,1,ann,oslo\n"));

        // One step: one undo gives back the table and the selection.
        run(QStringLiteral("Undo"));
        QCOMPARE(cells(dest), before);
        QCOMPARE(selection(dest), selectionBefore);
    }

    // Large tables are read on their workers (behind a progress dialog) and give what small
    // ones give: every key found, a missing one left alone, one undo step.
    void largeTablesReadOnTheirWorkers() {
        constexpr int kRows = 60000; // 120,000 cells a table, past the worker's threshold
        QByteArray people = "id,name\n";
        QByteArray orders = "order,customer\n";
        for (int i = 0; i < kRows; ++i) {
            people += QByteArray::number(i) + ",n" + QByteArray::number(i) + "\n";
            orders += "o" + QByteArray::number(i) + "," +
                      QByteArray::number(kRows - 1 - i + (i == 7 ? kRows : 0)) + "\n";
        }
        window->openFile(write(QStringLiteral("people.csv"), people));
        TableView* source = window->getActiveTable();
        window->openFile(write(QStringLiteral("orders.csv"), orders));
        TableView* dest = window->getActiveTable();
        QVERIFY(source && dest && source != dest);
        const int steps = dest->undoStack()->count();
        QVERIFY(dest->columnLookup(source->tableModel(), 0, {1}, 1, 2, true, QString()));
        const TableData& data = dest->tableModel()->getTableData();
        QCOMPARE(data.getValueModel(0, 2).toString(), QStringLiteral("name"));
        for (int i = 0; i < kRows; i += 997)
            QCOMPARE(data.getValueModel(i + 1, 2).toString(),
                     i == 7 ? QString() : QStringLiteral("n%1").arg(kRows - 1 - i));
        QCOMPARE(data.getValueModel(8, 2).toString(), QString()); // its key is in no row of people
        QCOMPARE(data.getValueModel(kRows, 2).toString(), QStringLiteral("n0"));
        QCOMPARE(dest->undoStack()->count(), steps + 1);
    }

    // A read-only table is read from but never offered to be written to.
    void readOnlySource() {
        const QString people = write(QStringLiteral("people.csv"), "id,name\n1,ann\n2,bob\n");
        const QString orders = write(QStringLiteral("orders.csv"), "order,customer\nA,2\n");
        TableView* source = window->addTableEditorFromFile(people, true, false);
        QVERIFY(source && source->isReadOnly());
        window->openFile(orders);
        TableView* dest = window->getActiveTable();
        QVERIFY(dest != source);
        run(QStringLiteral("Column Lookup"));
        answer(QStringLiteral("Select the File to Look Up Data From:"), QStringLiteral("people"));
        QCOMPARE(window->getActiveTable(), source);
        answer(QStringLiteral("Enter the Source Key Column:"), QStringLiteral("0"));
        answer(QStringLiteral("Enter the Source Value Column(s):"), QStringLiteral("1"));
        Launcher* launcher = window->getLauncher();
        QVERIFY(launcher && launcher->getOptionList());
        QCOMPARE(launcher->getOptionList()->getNumVisibleOptions(), 1); // "(Current file)" only
        answer(QStringLiteral("Select the File to Write Data To:"), QString());
        answer(QStringLiteral("Enter the Destination Key Column:"), QStringLiteral("1"));
        answer(QStringLiteral("Enter the Destination Value Column:"), QString());
        answer(QStringLiteral("Do you want to insert new columns or overwrite existing columns?"),
               QStringLiteral("insert"));
        QCOMPARE(cells(dest).mid(0, 2), (QStringList{"order,customer,name", "A,2,bob"}));
    }

    // Within one file, over an existing column; a key answer that names no column ends the chain
    // and changes nothing.
    void sameFileOverwrite() {
        const QString path = write(QStringLiteral("t.csv"), "k,v,w\na,1,x\nb,2,y\n");
        window->openFile(path);
        TableView* view = window->getActiveTable();
        const QStringList before = cells(view);
        const int steps = view->undoStack()->count();

        run(QStringLiteral("Column Lookup"));
        answer(QStringLiteral("Select the File to Look Up Data From:"), QString());
        answer(QStringLiteral("Enter the Source Key Column:"), QStringLiteral("9"));
        QTRY_VERIFY(!window->getLauncher());
        QVERIFY(window->getPaneView()->getPrevOptions().empty());
        QCOMPARE(cells(view), before);
        QCOMPARE(view->undoStack()->count(), steps);

        view->moveSelectionAbsolute(1, 0); // the key column is the selected one
        run(QStringLiteral("Column Lookup"));
        answer(QStringLiteral("Select the File to Look Up Data From:"), QString());
        answer(QStringLiteral("Enter the Source Key Column:"), QString());
        answer(QStringLiteral("Enter the Source Value Column(s):"), QStringLiteral("1"));
        answer(QStringLiteral("Select the File to Write Data To:"), QString());
        answer(QStringLiteral("Enter the Destination Key Column:"), QString());
        answer(QStringLiteral("Enter the Destination Value Column:"), QStringLiteral("2"));
        answer(QStringLiteral("Do you want to insert new columns or overwrite existing columns?"),
               QStringLiteral("overwrite"));
        QCOMPARE(cells(view).mid(0, 3), (QStringList{"k,v,w", "a,1,1", "b,2,2"}));
        QCOMPARE(view->undoStack()->count(), steps + 1);
        run(QStringLiteral("Undo"));
        QCOMPARE(cells(view), before);
    }
};

QTEST_MAIN(TestColumnLookupCommand)
#include "tst_lookupcommand.moc"
