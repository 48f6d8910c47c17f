// Files changed by other programs while they are open: reloaded, asked about, or left alone as
// the setting says, and never taken for the program's own saves.

#include "window/mainwindow.h"

#include "table/range.h"
#include "table/tabledata.h"
#include "table/tablemodel.h"
#include "util/msgboxanswers.h"
#include "view/tableview.h"

#include <QFile>
#include <QPointer>
#include <QScrollBar>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QUndoStack>

namespace {

void writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(bytes);
}

QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString cell(TableView* view, int row, int col) {
    return view->tableModel()->getTableData().getValueModel(row, col).toString();
}

// The wait that gathers a burst of change signals into one check, the time after a save of our
// own in which change signals are its echo, and longer than the first.
constexpr int kDelayMs = 250;
constexpr int kCooldownMs = 700;
constexpr int kSettleMs = 600;

} // namespace

class TestExternalChange : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> dir;
    std::unique_ptr<MainWindow> window;
    QPointer<TableView> view;
    QString path;

    void setBehavior(RefreshBehavior behavior) {
        window->getSettings().setValue(RefreshBehaviorOption, int(behavior));
    }
    void edit(int row, int col, const QString& text) {
        view->tableModel()->setData(view->tableModel()->index(row, col), text);
    }

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        MainWindow::setExternalChangeTimingForTesting(kDelayMs, kCooldownMs);
    }
    void init() {
        dir = std::make_unique<QTemporaryDir>();
        path = dir->filePath(QStringLiteral("watched.csv"));
        writeFile(path, "a,b\n1,2\n");
        window = std::make_unique<MainWindow>();
        window->setAttribute(Qt::WA_DeleteOnClose, false);
        window->openFile(path);
        view = window->getActiveTable();
        QVERIFY(view);
        QCOMPARE(cell(view, 1, 0), QStringLiteral("1"));
    }
    void cleanup() {
        window->getSettings().clear();
        window.reset();
        dir.reset();
    }

    // A clean table follows its file, also one replaced by renaming another over it, and its
    // old undo steps go with the old contents.
    void cleanTableReloads() {
        MsgBoxAnswers answers;
        QSignalSpy loads(view->tableModel(), &TableModel::loadFinishedSignal);
        edit(1, 1, QStringLiteral("saved"));
        QVERIFY(window->saveFile(view));
        QTest::qWait(kSettleMs);
        QCOMPARE(loads.count(), 0); // our own save: nothing read

        QTest::qWait(kCooldownMs); // past the time our own save's signals are taken for its echo
        writeFile(path, "a,b\n1,2\n3,4\n");
        QTRY_COMPARE_WITH_TIMEOUT(cell(view, 2, 0), QStringLiteral("3"), 5000);
        QCOMPARE(loads.count(), 1);
        QVERIFY(!view->isModified());

        const QString other = dir->filePath(QStringLiteral("other.csv"));
        writeFile(other, "x,y\n");
        QVERIFY(QFile::remove(path));
        QVERIFY(QFile::rename(other, path));
        QTRY_COMPARE_WITH_TIMEOUT(cell(view, 0, 0), QStringLiteral("x"), 5000);
        // And it is still watched: the next change is followed too.
        writeFile(path, "z\n");
        QTRY_COMPARE_WITH_TIMEOUT(cell(view, 0, 0), QStringLiteral("z"), 5000);
        QVERIFY(answers.asked.isEmpty());
    }

    // A reload keeps the user's place, the selected cell and the scroll: one after another
    // program made the file grow, and the user's own Reload File.
    void reloadKeepsThePlace_data() {
        QTest::addColumn<bool>("command");
        QTest::newRow("file grows") << false;
        QTest::newRow("Reload File") << true;
    }
    void reloadKeepsThePlace() {
        QFETCH(bool, command);
        MsgBoxAnswers answers;
        window->resize(900, 600);
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
        QByteArray rows;
        for (int r = 0; r < 2000; ++r)
            rows += QByteArray::number(r) + ",x\n";
        // A last row of this case's own, so the wait below is for this write's reload and not
        // satisfied by the table the case before left.
        const QByteArray tag = command ? "reload" : "grow";
        rows += tag + ",x\n";
        writeFile(path, rows);
        QTRY_COMPARE_WITH_TIMEOUT(cell(view, 2000, 0), QString::fromLatin1(tag), 5000);
        QTRY_VERIFY_WITH_TIMEOUT(!view->isLoading(), 5000);

        Range place(1500, 1, RangeIndexType::Model);
        view->tableModel()->setSelection(place);
        view->scrollToCell(1500, 1, false, false);
        // The scroll lands once the rows are laid out, which a loaded machine may delay.
        QTRY_VERIFY_WITH_TIMEOUT(view->verticalScrollBar()->value() > 0, 5000);
        QTest::qWait(50);
        const int scrolled = view->verticalScrollBar()->value();
        if (command) {
            QVERIFY(window->commandReloadFile(QString()));
        } else {
            writeFile(path, rows + "2001,y\n");
            QTRY_COMPARE_WITH_TIMEOUT(cell(view, 2001, 0), QStringLiteral("2001"), 5000);
        }
        // The place comes back once the table is read again.
        QTRY_COMPARE_WITH_TIMEOUT(view->tableModel()->getMainCell().row, 1500, 5000);
        QCOMPARE(view->tableModel()->getMainCell().col, 1);
        QTRY_COMPARE_WITH_TIMEOUT(view->verticalScrollBar()->value(), scrolled, 5000);
        QVERIFY(answers.asked.isEmpty());
    }

    // Unsaved edits are never thrown away unasked: "Ignore" keeps them, and a save then writes
    // them over the other program's change.
    void unsavedEditsAsk() {
        MsgBoxAnswers answers;
        answers.queue = {1}; // Ignore
        edit(1, 0, QStringLiteral("mine"));
        writeFile(path, "a,b\ntheirs,2\n");
        QTRY_COMPARE_WITH_TIMEOUT(answers.asked.size(), 1, 5000);
        QCOMPARE(answers.asked.front().text,
                 QStringLiteral("This file has been changed externally, but you have unsaved changes.\n\n"
                                "Would you like to reload the file or ignore the external changes?"));
        QTest::qWait(kSettleMs);
        QCOMPARE(answers.asked.size(), 1);
        QCOMPARE(cell(view, 1, 0), QStringLiteral("mine"));
        QVERIFY(view->isModified());
        QVERIFY(window->saveFile(view));
        QVERIFY(readFile(path).contains("mine"));

        // "Reload" takes the file as it now is.
        answers.queue = {0};
        QTest::qWait(kCooldownMs);
        edit(1, 1, QStringLiteral("mine again"));
        writeFile(path, "a,b\ntheirs,again\n");
        QTRY_COMPARE_WITH_TIMEOUT(cell(view, 1, 1), QStringLiteral("again"), 5000);
        QCOMPARE(answers.asked.size(), 2);
        QVERIFY(!view->isModified());
    }

    // A cell being typed holds the check back: the typing ends in an edit, which is then asked
    // about like any other.
    void waitsWhileACellIsTyped() {
        MsgBoxAnswers answers;
        answers.queue = {1}; // Ignore
        QSignalSpy loads(view->tableModel(), &TableModel::loadFinishedSignal);
        view->startEditing(true, true);
        QVERIFY(view->isEditing());
        writeFile(path, "a,b\ntheirs,2\n");
        QTest::qWait(kSettleMs);
        QCOMPARE(loads.count(), 0);
        QVERIFY(answers.asked.isEmpty());
        view->stopEditing(true);
        QTRY_COMPARE_WITH_TIMEOUT(answers.asked.size(), 1, 5000);
        QCOMPARE(loads.count(), 0);
    }

    // Asked every time with that setting; two writes close together make one question; with the
    // ignore setting nothing happens at all.
    void askAndIgnoreSettings() {
        MsgBoxAnswers answers;
        setBehavior(RefreshBehaviorAsk);
        answers.queue = {1}; // Don't Reload
        writeFile(path, "a,b\nfirst,2\n");
        QTest::qWait(30);
        writeFile(path, "a,b\nsecond,2\n");
        QTRY_COMPARE_WITH_TIMEOUT(answers.asked.size(), 1, 5000);
        QCOMPARE(answers.asked.front().text,
                 QStringLiteral("This file has been changed externally.\n\nWould you like to reload it?"));
        QTest::qWait(kSettleMs);
        QCOMPARE(answers.asked.size(), 1);
        QCOMPARE(cell(view, 1, 0), QStringLiteral("1"));

        setBehavior(RefreshBehaviorIgnore);
        writeFile(path, "a,b\nthird,2\n");
        QTest::qWait(kSettleMs);
        QCOMPARE(answers.asked.size(), 1);
        QCOMPARE(cell(view, 1, 0), QStringLiteral("1"));
    }

    // A removed file leaves its table open as the only copy of its contents, unsaved, and a save
    // writes the file again.
    void removedFileKeepsTheTable() {
        MsgBoxAnswers answers;
        QVERIFY(!view->isModified());
        QVERIFY(QFile::remove(path));
        QTRY_VERIFY_WITH_TIMEOUT(view && view->isModified(), 5000);
        QCOMPARE(window->getActiveTable(), view.data());
        QCOMPARE(cell(view, 1, 1), QStringLiteral("2"));
        QVERIFY(answers.asked.isEmpty());
        QVERIFY(window->saveFile(view));
        QCOMPARE(readFile(path), QByteArray("a,b\n1,2\n"));
        QVERIFY(!view->isModified());
    }
};

QTEST_MAIN(TestExternalChange)
#include "tst_externalchange.moc"
