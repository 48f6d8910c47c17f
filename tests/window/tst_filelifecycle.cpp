#include "window/mainwindow.h"

#include "panes/tabbar.h"
#include "storage/editabledatacontainer.h"
#include "storage/mappedfile.h"
#include "storage/piecereader.h"
#include "table/tablemodel.h"
#include "util/msgbox.h"
#include "util/msgboxanswers.h"
#include "view/tableview.h"
#include "window/filedialoghelper.h"
#include "window/paneview.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QMimeData>
#include <QPointer>
#include <QProgressDialog>
#include <QPushButton>
#include <QScopeGuard>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QUndoCommand>
#include <QUndoStack>

#include <cerrno>
#include <cstring>

namespace {

constexpr qint64 kMiB = 1 << 20;

QString writeFile(const QString& path, const QByteArray& content) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(content);
    return path;
}

// `size` bytes of two-column lines.
QString writeSizedFile(const QString& path, qint64 size) {
    const QByteArray line = QByteArray(61, 'a') + ",b\n"; // 64 bytes
    QByteArray content = line.repeated(size / line.size());
    content += QByteArray(size - content.size(), 'c');
    return writeFile(path, content);
}

QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void editCell(TableView* view, int row, int col, const QString& text) {
    TableModel* model = view->tableModel();
    model->setData(model->index(row, col), text);
}

using Answers = MsgBoxAnswers;

// Undo commands don't exist yet; any pushed command makes the stack dirty.
class MarkDirty : public QUndoCommand {
public:
    void redo() override {}
    void undo() override {}
};

} // namespace

class TestFileLifecycle : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> dir;
    QString path(const QString& name) const { return dir->filePath(name); }

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        TableView::autoFitWarningHook = [](const QString&, bool&) { return false; };
    }
    void init() {
        dir = std::make_unique<QTemporaryDir>();
        QVERIFY(dir->isValid());
        FileDialogHelper::saveFileNameHook = nullptr;
        FileDialogHelper::existingDirectoryHook = nullptr;
    }
    void cleanup() { dir.reset(); }

    // --- Opening ------------------------------------------------------------------------------

    // A read that fails in the middle of the file: the user is told why, and the table goes, so
    // that no part of the file can be saved over it.
    void failedLoadIsToldAndClosed_data() {
        QTest::addColumn<int>("error");
        QTest::addColumn<QString>("reason");
        QTest::newRow("input/output error") << EIO << QString::fromLocal8Bit(std::strerror(EIO));
        QTest::newRow("file got shorter")
            << 0 << QStringLiteral("The file got shorter while it was being read.");
    }
    void failedLoadIsToldAndClosed() {
        QFETCH(int, error);
        QFETCH(QString, reason);
        const QByteArray content = QByteArray("alpha,beta\n").repeated(2000);
        const QString file = writeFile(path("broken.csv"), content);
        MainWindow window;
        Answers answers;
        PieceReader::setReadFaultForTesting(content.size() / 2, error);
        window.openFiles({file});
        PieceReader::setReadFaultForTesting(-1, 0);
        QTRY_COMPARE(answers.texts(), QStringList{QStringLiteral("File failed to load.\n\n") + reason});
        QTRY_COMPARE(window.getNumTables(), 1);
        QVERIFY(window.getActiveFilepath().isEmpty());
        QCOMPARE(readFile(file), content);
    }

    // Another program rewrites a file open read-only: the user is told, the file is read again,
    // and the table shows the new cells, never a mix of both.
    void readOnlyFileChangedIsReadAgain() {
        const QString file = writeSizedFile(path("big.csv"), kMiB);
        MainWindow window;
        window.setMinimumFileSizeAskAboutReadOnlyMb(1);
        Answers answers;
        answers.queue = {0}; // "Open as Read-Only"
        QVERIFY(window.openFiles({file}));
        QVERIFY(window.isReadOnly(file));
        TableData& data = window.getActiveTable()->tableModel()->getTableData();
        QCOMPARE(data.getValueModel(0, 1).toString(), QStringLiteral("b"));

        QFile f(file);
        QVERIFY(f.open(QIODevice::ReadWrite));
        QVERIFY(f.resize(kMiB / 2));
        QVERIFY(f.seek(0));
        QVERIFY(f.write("new,cell\n") > 0);
        QVERIFY(
            f.setFileTime(QDateTime::currentDateTime().addSecs(-3600), QFileDevice::FileModificationTime));
        f.close();

        QVERIFY(data.getValueModel(1, 1).toString().isEmpty()); // the read that notices it
        QTRY_COMPARE(answers.texts().size(), 2);
        QVERIFY(answers.texts().last().startsWith(QStringLiteral("This file has been changed externally.")));
        TableData& again = window.getActiveTable()->tableModel()->getTableData();
        QTRY_COMPARE(again.getValueModel(0, 0).toString(), QStringLiteral("new"));
        QCOMPARE(again.getValueModel(0, 1).toString(), QStringLiteral("cell"));
        QCOMPARE(again.numRawRows(), int(kMiB / 2 / 64) + 1);
    }

    void openFileAlreadyOpenIsReactivatedWithoutLoad() {
        const QString a = writeFile(path("a.csv"), "1,2\n");
        const QString b = writeFile(path("b.csv"), "1,2,3\n");
        MainWindow window;
        QVERIFY(window.openFiles({a, b}));
        QCOMPARE(window.getActiveFilepath(), a);
        const EditableDataContainer* before = window.getContainer(b);
        writeFile(b, "changed\nrows\nhere\n");
        // Even a question-for-every-size threshold asks nothing for an open file.
        window.setMinimumFileSizeAskAboutReadOnlyMb(0);
        Answers answers;
        window.openFile(b);
        QVERIFY(answers.asked.isEmpty());
        QCOMPARE(window.getActiveFilepath(), b);
        QCOMPARE(window.getContainer(b), before);
        QCOMPARE(window.getTableSizeLabelText(), QStringLiteral("1 row x 3 columns"));
        QCOMPARE(window.getNumTables(), 2);
    }

    void untitledTableGivesWay_data() {
        QTest::addColumn<bool>("touched");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("untouched goes") << false << QStringList{"a.csv", "b.csv"};
        QTest::newRow("with cells stays") << true << QStringList{"untitled", "a.csv", "b.csv"};
    }
    void untitledTableGivesWay() {
        QFETCH(bool, touched);
        QFETCH(QStringList, expected);
        const QString a = writeFile(path("a.csv"), "1,2\n");
        const QString b = writeFile(path("b.csv"), "3,4\n");
        MainWindow window;
        TableView* untitled = window.getActiveTable();
        QVERIFY(untitled);
        if (touched)
            editCell(untitled, 0, 0, QStringLiteral("kept"));
        Answers answers;
        QVERIFY(window.openFiles({a, b}));
        QVERIFY(answers.asked.isEmpty());
        QCOMPARE(window.getActiveFilepath(), a);
        QStringList names;
        TabBar* tabs = window.getPaneView()->getTabBar();
        for (int i = 0; i < tabs->count(); ++i)
            names.append(tabs->nameAt(i));
        QCOMPARE(names, expected);
        QCOMPARE(window.windowTitle(), QStringLiteral("a.csv - Orvane"));
        QCOMPARE(window.getSelectionLabelText(), QStringLiteral("Selected: 1 cell"));
        QCOMPARE(window.getCellLengthLabelText(), QStringLiteral("Cell Length: 1"));
        QVERIFY(window.getRecentFilepaths().contains(a));
        QVERIFY(window.getRecentFilepaths().contains(b));
    }

    // The large-file question, the Read-Only setting and the preference-file rule.
    void largeFileQuestion_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<qint64>("size");
        QTest::addColumn<int>("thresholdMb");
        QTest::addColumn<bool>("readOnlySetting");
        QTest::addColumn<int>("answer");
        QTest::addColumn<bool>("asked");
        QTest::addColumn<bool>("opened");
        QTest::addColumn<bool>("readOnly");
        QTest::addColumn<bool>("recent");
        QTest::newRow("at the threshold, read-only")
            << "a.csv" << kMiB << 1 << false << 0 << true << true << true << true;
        QTest::newRow("at the threshold, edit mode")
            << "a.csv" << kMiB << 1 << false << 1 << true << true << false << true;
        QTest::newRow("at the threshold, cancel")
            << "a.csv" << kMiB << 1 << false << 2 << true << false << false << false;
        QTest::newRow("box closed") << "a.csv" << kMiB << 1 << false << -1 << true << false << false << false;
        QTest::newRow("one byte under")
            << "a.csv" << kMiB - 1 << 1 << false << 0 << false << true << false << true;
        QTest::newRow("threshold 2, 2 MiB - 1")
            << "a.csv" << 2 * kMiB - 1 << 2 << false << 0 << false << true << false << true;
        QTest::newRow("read-only setting")
            << "a.csv" << kMiB << 1 << true << 1 << false << true << true << true;
        QTest::newRow("preference file")
            << "Settings (User).csv" << kMiB << 0 << false << 0 << false << true << false << false;
        QTest::newRow("preference file, read-only setting")
            << "Shortcuts (User).csv" << qint64(10) << 0 << true << 0 << false << true << false << false;
    }
    void largeFileQuestion() {
        QFETCH(QString, name);
        QFETCH(qint64, size);
        QFETCH(int, thresholdMb);
        QFETCH(bool, readOnlySetting);
        QFETCH(int, answer);
        QFETCH(bool, asked);
        QFETCH(bool, opened);
        QFETCH(bool, readOnly);
        QFETCH(bool, recent);
        const QString file = writeSizedFile(path(name), size);
        MainWindow window;
        window.setMinimumFileSizeAskAboutReadOnlyMb(thresholdMb);
        window.getSettings().setValue(ReadOnly, readOnlySetting);
        Answers answers;
        answers.queue = {answer};
        QCOMPARE(window.openFiles({file}), opened);
        QCOMPARE(answers.asked.size(), asked ? 1 : 0);
        if (asked) {
            const MsgBox::Question& q = answers.asked.first();
            QCOMPARE(q.text, QStringLiteral(
                                 "This file is large (%1 MB).\nWould you like to open it in read-only mode?")
                                 .arg(size >> 20));
            QCOMPARE(q.buttons.size(), size_t(3));
            QCOMPARE(q.buttons[0].text, QStringLiteral("Open as &Read-Only"));
            QCOMPARE(q.buttons[0].fixedWidth, 130);
            QCOMPARE(q.buttons[1].text, QStringLiteral("Open in &Edit Mode"));
            QCOMPARE(q.buttons[1].fixedWidth, 130);
            QCOMPARE(q.buttons[2].text, QStringLiteral("&Cancel"));
            QCOMPARE(q.buttons[2].role, QMessageBox::DestructiveRole);
            QCOMPARE(q.defaultButton, 0);
        }
        QCOMPARE(window.getTableView(file) != nullptr, opened);
        if (!opened) {
            QCOMPARE(window.getOpenFilepaths(), QStringList{QString()});
            return;
        }
        QCOMPARE(window.isReadOnly(file), readOnly);
        QCOMPARE(window.getModeLabelText(),
                 readOnly ? QStringLiteral("Read-Only") : QStringLiteral("Editable"));
        QCOMPARE(window.getContext().intersects(ContextReadOnly), readOnly);
        QCOMPARE(window.getRecentFilepaths().contains(file), recent);
        TableData& data = window.getActiveTable()->tableModel()->getTableData();
        QCOMPARE(data.getDataContainerType(), readOnly ? TableData::ReadOnly : TableData::Editable);
        QCOMPARE(data.numRawRows(), int((size + 63) / 64));
        if (size >= 64)
            QCOMPARE(data.getValueModel(0, 1).toString(), QStringLiteral("b"));
    }

    // Opening a file that is open already (a second launch, a recent file) goes to its table: its
    // unsaved edits stay marked, so closing it still asks. A second open that comes while the
    // large-file question of the first stands opens nothing more.
    void openingAnOpenFileAgain() {
        const QString small = writeFile(path("open.csv"), "a,b\n1,2\n");
        MainWindow window;
        window.setAttribute(Qt::WA_DeleteOnClose, false);
        QVERIFY(window.openFiles({small}));
        TableView* view = window.getTableView(small);
        editCell(view, 1, 1, QStringLiteral("edited"));
        QVERIFY(view->isModified());
        QVERIFY(window.openFiles({small}));
        QCOMPARE(window.getAllTableViews().size(), qsizetype(1));
        QVERIFY(view->isModified());

        const QString big = writeSizedFile(path("twice.csv"), kMiB);
        window.setMinimumFileSizeAskAboutReadOnlyMb(1);
        int questions = 0;
        MsgBox::answerHook = [&](const MsgBox::Question&) {
            // The first question is answered after the same file has come again and its own
            // question was answered: edit mode both times.
            if (++questions == 1)
                window.openFiles({big});
            return 1;
        };
        QVERIFY(window.openFiles({big}));
        MsgBox::answerHook = nullptr;
        QCOMPARE(questions, 2);
        QCOMPARE(window.getAllTableViews().size(), qsizetype(2));
        QCOMPARE(window.getActiveTable(), window.getTableView(big));
    }

    // A file open in another window is shown there rather than opened again, and saving another
    // table under its name follows the same rule as within one window.
    void oneTableAFileAcrossWindows() {
        const QString shared = writeFile(path("shared.csv"), "a,b\n1,2\n");
        const QString mine = writeFile(path("mine.csv"), "x\n");
        MainWindow first;
        first.setAttribute(Qt::WA_DeleteOnClose, false);
        MainWindow second;
        second.setAttribute(Qt::WA_DeleteOnClose, false);
        QVERIFY(first.openFiles({shared}));
        TableView* held = first.getTableView(shared);
        editCell(held, 1, 1, QStringLiteral("edited"));
        second.openFiles({shared});
        QVERIFY(!second.getTableView(shared));
        QCOMPARE(first.getActiveTable(), held);
        QVERIFY(held->isModified());

        QVERIFY(second.openFiles({mine}));
        FileDialogHelper::saveFileNameHook = [&](const QString&, const QString&, const QString&) {
            return shared;
        };
        Answers answers;
        QVERIFY(!second.commandSaveFileAs());
        QCOMPARE(answers.asked.size(), qsizetype(1));
        QCOMPARE(readFile(shared), QByteArray("a,b\n1,2\n"));
        held->markClean();
        QVERIFY(second.commandSaveFileAs());
        QVERIFY(!first.getTableView(shared));
        QVERIFY(second.getTableView(shared));
        QCOMPARE(readFile(shared), QByteArray("x\n"));
    }

    void cancellingTheFirstActivatesTheSecond() {
        const QString big = writeSizedFile(path("big.csv"), kMiB);
        const QString small = writeFile(path("small.csv"), "x,y\n");
        MainWindow window;
        window.setMinimumFileSizeAskAboutReadOnlyMb(1);
        Answers answers;
        answers.queue = {2};
        QVERIFY(window.openFiles({big, small}));
        QCOMPARE(answers.asked.size(), 1);
        QCOMPARE(window.getOpenFilepaths(), QStringList{small});
        QCOMPARE(window.getActiveFilepath(), small);
    }

    // Up to 24 MiB a load runs at once; above it on the load thread, with a progress overlay.
    void loadThreadLimit_data() {
        QTest::addColumn<qint64>("size");
        QTest::addColumn<bool>("async");
        QTest::newRow("exactly 24 MiB") << qint64(25165824) << false;
        QTest::newRow("one byte more") << qint64(25165825) << true;
    }
    void loadThreadLimit() {
        QFETCH(qint64, size);
        QFETCH(bool, async);
        const QString file = writeSizedFile(path("limit.csv"), size);
        MainWindow window;
        QVERIFY(window.openFiles({file}));
        TableView* view = window.getActiveTable();
        QCOMPARE(view->isLoading(), async);
        if (async) {
            QTRY_VERIFY(window.getPaneView()->getProgressOverlay(view) != nullptr || !view->isLoading());
            // No command that needs a table may start on it while it loads.
            if (window.getPaneView()->getProgressOverlay(view))
                QVERIFY(!(window.getContext().intersects(ContextTableReady)));
            QTRY_VERIFY_WITH_TIMEOUT(!view->isLoading(), 8000);
            QTRY_VERIFY(window.getPaneView()->getProgressOverlay(view) == nullptr);
            QVERIFY(window.getContext().intersects(ContextTableReady));
        }
        QCOMPARE(view->tableModel()->getTableData().numRawRows(), int((size + 63) / 64));
        QCOMPARE(window.getTableSizeLabelText(),
                 MainWindow::tableSizeText(int((size + 63) / 64), 2, int((size + 63) / 64), 2));
        QFile::remove(file);
    }

    void cancellingALoadClosesTheTable() {
        const QString file = writeSizedFile(path("cancel.csv"), 25165825);
        MainWindow window;
        QVERIFY(window.openFiles({file}));
        TableView* view = window.getActiveTable();
        QTRY_VERIFY(window.getPaneView()->getProgressOverlay(view) != nullptr || !view->isLoading());
        if (!view->isLoading())
            QSKIP("the load ended before it could be cancelled");
        // Through the overlay's own button, which the close must survive.
        auto* cancel = window.getPaneView()->getProgressOverlay(view)->findChild<QPushButton*>();
        QVERIFY(cancel);
        QTest::mouseClick(cancel, Qt::LeftButton);
        QCOMPARE(window.getOpenFilepaths(), QStringList{QString()});
    }

    // Escape does what the progress page's Cancel does, once the page is up.
    void escapeCancelsALoad() {
        const QString file = writeSizedFile(path("escape.csv"), 25165825);
        // The load (on its own thread) waits once its file is mapped, so that the page comes up.
        MappedFile::setAfterMapForTesting([] { QThread::msleep(1500); });
        const auto restore = qScopeGuard([] { MappedFile::setAfterMapForTesting({}); });
        MainWindow window;
        window.show();
        QVERIFY(window.openFiles({file}));
        TableView* view = window.getActiveTable();
        QTRY_VERIFY((window.getPaneView()->getProgressOverlay(view) &&
                     window.getPaneView()->getProgressOverlay(view)->isVisible()) ||
                    !view->isLoading());
        if (!view->isLoading())
            QSKIP("the load ended before it could be cancelled");
        QTest::keyClick(QApplication::focusWidget() ? QApplication::focusWidget() : &window, Qt::Key_Escape);
        QCOMPARE(window.getOpenFilepaths(), QStringList{QString()});
    }

    // --- Closing ------------------------------------------------------------------------------

    void closingPicksTheNextTable_data() {
        QTest::addColumn<int>("closeIndex");
        QTest::addColumn<int>("activeIndex");
        QTest::addColumn<QStringList>("left");
        QTest::addColumn<QString>("active");
        QTest::newRow("index 0") << 0 << 0 << QStringList{"b", "c"} << "b";
        QTest::newRow("index 1") << 1 << 1 << QStringList{"a", "c"} << "a";
        QTest::newRow("index 2") << 2 << 2 << QStringList{"a", "b"} << "b";
        QTest::newRow("not active") << 2 << 0 << QStringList{"a", "b"} << "a";
    }
    void closingPicksTheNextTable() {
        QFETCH(int, closeIndex);
        QFETCH(int, activeIndex);
        QFETCH(QStringList, left);
        QFETCH(QString, active);
        MainWindow window;
        QVERIFY(window.openFiles(
            {writeFile(path("a"), "1\n"), writeFile(path("b"), "2\n"), writeFile(path("c"), "3\n")}));
        PaneView* pane = window.getPaneView();
        window.setActiveTable(pane->getTableAt(activeIndex));
        QVERIFY(window.closeFile(pane->getTableAt(closeIndex)));
        QStringList names;
        for (TableView* view : window.getAllTableViews())
            names.append(MainWindow::tableName(view));
        QCOMPARE(names, left);
        QCOMPARE(MainWindow::tableName(window.getActiveTable()), active);
        QCOMPARE(pane->getTabBar()->currentIndex(), pane->getTableIndex(window.getActiveTable()));
    }

    void closingTheLastLeavesAFreshTable() {
        const QString a = writeFile(path("a.csv"), "1,2\n");
        MainWindow window;
        QVERIFY(window.openFiles({a}));
        QVERIFY(window.commandCloseFile());
        QCOMPARE(window.getNumTables(), 1);
        QCOMPARE(window.getActiveFilepath(), QString());
        QCOMPARE(window.windowTitle(), QStringLiteral("untitled - Orvane"));
        QVERIFY(window.getContext().intersects(ContextTableReady));
        QVERIFY(!(window.getContext().intersects(ContextFileOnDisk)));
        QVERIFY(window.getWatchedFiles().isEmpty());
    }

    // Typing into a new table, of a fresh window or of Ctrl+N: the text lands in its first cell,
    // as in a file just opened.
    void typingIntoANewTable_data() {
        QTest::addColumn<bool>("newFile");
        QTest::newRow("fresh window") << false;
        QTest::newRow("Ctrl+N") << true;
    }
    void typingIntoANewTable() {
        QFETCH(bool, newFile);
        const QString a = writeFile(path("a.csv"), "1,2\n");
        MainWindow window;
        if (newFile)
            QVERIFY(window.openFiles({a}));
        window.show();
        window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        if (newFile)
            QTest::keyClick(window.getActiveTable(), Qt::Key_N, Qt::ControlModifier);
        TableView* fresh = window.getActiveTable();
        QCOMPARE(window.getActiveFilepath(), QString());
        QCOMPARE(QApplication::focusWidget(), fresh);
        for (const char key : {'a', 'b', 'c'}) // the first key opens the editor, which has the rest
            QTest::keyClick(QApplication::focusWidget(), key);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
        QCOMPARE(fresh->tableModel()->index(0, 0).data().toString(), QStringLiteral("abc"));
    }

    // With a save after each edit, a save that fails says so, and the edit it didn't write is
    // asked about on closing instead of going with the table.
    void saveAfterEachEditThatFails() {
        const QString a = writeFile(path("gone/a.csv"), "1,2\n");
        MainWindow window;
        QVERIFY(window.openFiles({a}));
        window.saveAfterEachEdit(true);
        const auto off = qScopeGuard([&window] { window.saveAfterEachEdit(false); });
        TableView* view = window.getActiveTable();
        QVERIFY(view->getSaveAfterEachEdit());
        Answers answers;
        QVERIFY(view->setDelimiterForFileSave(QStringLiteral(";")));
        QCOMPARE(readFile(a), QByteArray("1;2\n"));
        QTRY_VERIFY(!view->isModified());

        QVERIFY(QDir(path("gone")).removeRecursively());
        QVERIFY(view->setDelimiterForFileSave(QStringLiteral("|")));
        QTRY_COMPARE(answers.texts().size(), 1);
        QCOMPARE(answers.texts().first().section(QLatin1Char('\n'), 0, 0),
                 QStringLiteral("File failed to save."));
        QVERIFY(view->isModified());
        answers.queue = {2}; // Cancel
        QVERIFY(!window.closeFile(view));
        QCOMPARE(answers.texts().last(), QStringLiteral("Do you want to save changes to a.csv?"));
        QCOMPARE(window.getActiveTable(), view);
    }

    void closingADirtyTable_data() {
        QTest::addColumn<int>("answer");
        QTest::addColumn<bool>("closed");
        QTest::addColumn<QByteArray>("onDisk");
        QTest::newRow("save") << 0 << true << QByteArray("edited,2\n");
        QTest::newRow("don't save") << 1 << true << QByteArray("1,2\n");
        QTest::newRow("cancel") << 2 << false << QByteArray("1,2\n");
        QTest::newRow("box closed") << -1 << false << QByteArray("1,2\n");
    }
    void closingADirtyTable() {
        QFETCH(int, answer);
        QFETCH(bool, closed);
        QFETCH(QByteArray, onDisk);
        const QString a = writeFile(path("a.csv"), "1,2\n");
        const QString b = writeFile(path("b.csv"), "3\n");
        MainWindow window;
        QVERIFY(window.openFiles({a, b}));
        TableView* view = window.getTableView(a);
        editCell(view, 0, 0, QStringLiteral("edited"));
        QVERIFY(view->isModified());
        QCOMPARE(window.getPaneView()->getTabBar()->tabText(0), QStringLiteral("a.csv *"));
        window.setActiveTable(window.getTableView(b));
        Answers answers;
        answers.queue = {answer};
        QCOMPARE(window.closeFile(view), closed);
        QCOMPARE(answers.texts(), QStringList{"Do you want to save changes to a.csv?"});
        QCOMPARE(answers.asked[0].buttons[1].text, QStringLiteral("Do&n't Save"));
        QCOMPARE(answers.asked[0].buttons[2].role, QMessageBox::RejectRole);
        QCOMPARE(window.getTableView(a) == nullptr, closed);
        QCOMPARE(readFile(a), onDisk);
        // Asking made it the active table.
        if (!closed)
            QCOMPARE(window.getActiveFilepath(), a);
    }

    // Text typed into a cell that is still being edited, in its line editor or in the editor
    // pane, is a change: closing the table or the window, or turning the table read-only, asks
    // about it, and a save writes it.
    void leavingAnEdit_data() {
        QTest::addColumn<bool>("withPane");
        QTest::addColumn<QString>("how");
        QTest::addColumn<int>("answer");
        QTest::addColumn<QByteArray>("onDisk");
        QTest::newRow("line editor, close, save") << false << "close" << 0 << QByteArray("typed,2\n");
        QTest::newRow("line editor, close, cancel") << false << "close" << 2 << QByteArray("1,2\n");
        QTest::newRow("pane, close, save") << true << "close" << 0 << QByteArray("typed,2\n");
        QTest::newRow("pane, window, save") << true << "window" << 0 << QByteArray("typed,2\n");
        QTest::newRow("line editor, window, don't save") << false << "window" << 1 << QByteArray("1,2\n");
        QTest::newRow("line editor, read-only, save") << false << "read-only" << 0 << QByteArray("typed,2\n");
    }
    void leavingAnEdit() {
        QFETCH(bool, withPane);
        QFETCH(QString, how);
        QFETCH(int, answer);
        QFETCH(QByteArray, onDisk);
        const QString a = writeFile(path("a.csv"), "1,2\n");
        auto* window = new MainWindow;
        QPointer<MainWindow> alive(window);
        const auto cleanup = qScopeGuard([&alive] { delete alive.data(); });
        QVERIFY(window->openFiles({a}));
        window->showEditorPane(withPane, false);
        window->show();
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window));
        TableView* view = window->getActiveTable();
        view->moveSelectionAbsolute(0, 0);
        view->setFocus();
        for (const char key : {'t', 'y', 'p', 'e', 'd'}) // the first key opens the editor
            QTest::keyClick(QApplication::focusWidget(), key);
        QVERIFY(view->isEditing());
        QCOMPARE(view->getQuickEdit() == nullptr, withPane);

        Answers answers;
        answers.queue = {answer};
        if (how == QStringLiteral("window"))
            window->close();
        else if (how == QStringLiteral("close"))
            window->closeFile(view);
        else
            window->commandToggleReadOnly();
        QCOMPARE(answers.texts(), QStringList{"Do you want to save changes to a.csv?"});
        QCOMPARE(readFile(a), onDisk);
        if (answer == 2) {
            QCOMPARE(window->getTableView(a), view);
            QVERIFY(!view->isEditing());
            QCOMPARE(view->tableModel()->index(0, 0).data().toString(), QStringLiteral("typed"));
        }
    }

    void dirtyReadOnlyTableClosesWithoutQuestion() {
        const QString a = writeFile(path("a.csv"), "1,2\n");
        MainWindow window;
        window.getSettings().setValue(ReadOnly, true);
        QVERIFY(window.openFiles({a}));
        TableView* view = window.getActiveTable();
        QVERIFY(view->isReadOnly());
        view->undoStack()->push(new MarkDirty);
        QVERIFY(view->isModified());
        Answers answers;
        QVERIFY(window.closeFile(view));
        QVERIFY(answers.asked.isEmpty());
    }

    void windowCloseStopsAtTheFirstRefusal() {
        const QString a = writeFile(path("a.csv"), "1,2\n");
        const QString b = writeFile(path("b.csv"), "3,4\n");
        auto* window = new MainWindow;
        QPointer<MainWindow> guard(window);
        int closedSignals = 0;
        connect(window, &MainWindow::mainWindowClosedSignal, this, [&] { ++closedSignals; });
        QVERIFY(window->openFiles({a, b}));
        editCell(window->getTableView(a), 0, 0, QStringLiteral("x"));
        editCell(window->getTableView(b), 0, 0, QStringLiteral("y"));
        {
            Answers answers;
            answers.queue = {1, 2};
            QCloseEvent event;
            QCoreApplication::sendEvent(window, &event);
            QVERIFY(!event.isAccepted());
            QCOMPARE(answers.asked.size(), 2);
            QCOMPARE(closedSignals, 0);
            QCOMPARE(window->getOpenFilepaths(), QStringList{b});
        }
        {
            Answers answers;
            answers.queue = {1};
            QCloseEvent event;
            QCoreApplication::sendEvent(window, &event);
            QVERIFY(event.isAccepted());
            QCOMPARE(closedSignals, 1);
        }
        delete window;
        QCOMPARE(readFile(a), QByteArray("1,2\n"));
    }

    void closeAllFiles() {
        MainWindow window;
        QVERIFY(window.openFiles({writeFile(path("a"), "1\n"), writeFile(path("b"), "2\n")}));
        QVERIFY(window.commandCloseAllFiles());
        QCOMPARE(window.getOpenFilepaths(), QStringList{QString()});
    }

    // --- Saving -------------------------------------------------------------------------------

    void saveWritesAndCleans() {
        const QString a = writeFile(path("a.csv"), "1,2\n3,4\n");
        MainWindow window;
        QVERIFY(window.openFiles({a}));
        editCell(window.getActiveTable(), 1, 1, QStringLiteral("four"));
        QVERIFY(window.commandSaveFile());
        QCOMPARE(readFile(a), QByteArray("1,2\n3,four\n"));
        QVERIFY(!window.getActiveTable()->isModified());
        QCOMPARE(window.getPaneView()->getTabBar()->tabText(0), QStringLiteral("a.csv"));
        QVERIFY(window.getContext().intersects(ContextFileOnDisk));
    }

    // A long save has its progress dialog for as long as it writes, and none after.
    void longSaveShowsProgress() {
        QByteArray content;
        for (int i = 0; i < 60000; ++i)
            content += "row " + QByteArray::number(i) + ",some words to fill the line,more\n";
        const QString a = writeFile(path("a.csv"), content);
        MainWindow window;
        QVERIFY(window.openFiles({a}));
        TableView* view = window.getActiveTable();
        editCell(view, 0, 0, QStringLiteral("first"));
        int reportsWithDialog = 0;
        connect(view->tableModel(), &TableModel::saveProgressSignal, this, [&] {
            reportsWithDialog +=
                view->findChild<QProgressDialog*>(QStringLiteral("saveProgressDialog")) ? 1 : 0;
        });
        QVERIFY(window.commandSaveFile());
        QVERIFY(reportsWithDialog >= 2);
        QVERIFY(!view->findChild<QProgressDialog*>(QStringLiteral("saveProgressDialog")));
        QVERIFY(readFile(a).startsWith("first,some"));
        QVERIFY(!view->isModified());
    }
    // The file is written with the save delimiter and read again with it.
    void saveWithAnotherDelimiterReloads() {
        const QString a = writeFile(path("a.csv"), "1;2\n3;4\n");
        MainWindow window;
        QVERIFY(window.openFiles({a}));
        QCOMPARE(window.getDelimiterLabelText(), QStringLiteral("Delimiters (Load, Save): ;, ,"));
        QVERIFY(window.saveFile(window.getActiveTable()));
        QCOMPARE(readFile(a), QByteArray("1,2\n3,4\n"));
        QCOMPARE(window.getFileParameters(a).delimiter, QStringLiteral(","));
        QCOMPARE(window.getTableSizeLabelText(), QStringLiteral("2 rows x 2 columns"));
        QCOMPARE(window.getDelimiterLabelText(), QStringLiteral("Delimiter: ,"));
    }

    void saveAs_data() {
        QTest::addColumn<bool>("userDelimiter");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("extension's delimiter") << false << QByteArray("1\t2\n");
        QTest::newRow("user's delimiter kept") << true << QByteArray("1|2\n");
    }
    void saveAs() {
        QFETCH(bool, userDelimiter);
        QFETCH(QByteArray, expected);
        const QString a = writeFile(path("a.csv"), "1,2\n");
        const QString target = path("out/b.tsv");
        QDir().mkpath(path("out"));
        MainWindow window;
        QVERIFY(window.openFiles({a}));
        TableView* view = window.getActiveTable();
        if (userDelimiter) {
            view->tableModel()->setDelimiter(QStringLiteral("|"), QStringLiteral("|"));
            view->tableModel()->setUserSetDelimiter(true);
        }
        QString dialogTitle, dialogStart, dialogFilter;
        FileDialogHelper::saveFileNameHook = [&](const QString& title, const QString& start,
                                                 const QString& filter) {
            dialogTitle = title;
            dialogStart = start;
            dialogFilter = filter;
            return target;
        };
        QVERIFY(window.commandSaveFileAs());
        QCOMPARE(dialogTitle, QStringLiteral("Save File"));
        QCOMPARE(dialogStart, a);
        QVERIFY(dialogFilter.startsWith(QStringLiteral("All Files (*.*);;")));
        QCOMPARE(readFile(target), expected);
        QCOMPARE(readFile(a), QByteArray("1,2\n"));
        QCOMPARE(window.getActiveFilepath(), target);
        QCOMPARE(window.windowTitle(), QStringLiteral("b.tsv - Orvane"));
        QCOMPARE(window.getPaneView()->getTabBar()->tabText(0), QStringLiteral("b.tsv"));
        QCOMPARE(window.getWatchedFiles(), QStringList{target});
        QCOMPARE(window.getRecentFilepaths().first(), target);
        QCOMPARE(window.getTableSizeLabelText(), QStringLiteral("1 row x 2 columns"));
    }

    // A table read in place, saved as a file whose extension means another delimiter: the file
    // is still read as it was indexed, written with the new delimiter, and read again from there.
    void saveAsReadOnlyWithAnotherDelimiter() {
        QByteArray content;
        for (int r = 0; r < 20000; ++r)
            content += QByteArray::number(r) + ",\"a, \"\"b\"\"\",c" + QByteArray::number(r % 7) + "\n";
        const QString a = writeFile(path("big.csv"), content);
        const QString target = path("out/b.tsv");
        QDir().mkpath(path("out"));
        MainWindow window;
        window.setMinimumFileSizeAskAboutReadOnlyMb(0);
        Answers answers;
        answers.queue = {0}; // "Open as Read-Only"
        QVERIFY(window.openFiles({a}));
        QVERIFY(window.isReadOnly(a));
        FileDialogHelper::saveFileNameHook = [&](const QString&, const QString&, const QString&) {
            return target;
        };
        QVERIFY(window.commandSaveFileAs());
        QByteArray expected = content;
        expected.replace(",\"a, ", "\t\"a, ").replace("\",c", "\"\tc");
        QCOMPARE(readFile(target), expected);
        QCOMPARE(readFile(a), content);
        TableData& data = window.getActiveTable()->tableModel()->getTableData();
        QTRY_COMPARE(data.getValueModel(19999, 1).toString(), QStringLiteral("a, \"b\""));
        QCOMPARE(data.getValueModel(19999, 2).toString(), QStringLiteral("c0"));
        QCOMPARE(window.getTableSizeLabelText(), QStringLiteral("20,000 rows x 3 columns"));
    }

    // Saving under the name of a file open in another tab: that tab closes once the file is
    // written, so no two tables stand for one file; with unsaved changes of its own it keeps the
    // file and nothing is written.
    void saveAsOntoAnOpenFile_data() {
        QTest::addColumn<bool>("visibleOnly");
        QTest::addColumn<bool>("otherEdited");
        QTest::newRow("save as") << false << false;
        QTest::newRow("save visible data as") << true << false;
        QTest::newRow("the other with unsaved changes") << false << true;
    }
    void saveAsOntoAnOpenFile() {
        QFETCH(bool, visibleOnly);
        QFETCH(bool, otherEdited);
        const QString a = writeFile(path("a.csv"), "a,1\n");
        const QString b = writeFile(path("b.csv"), "b,2\n");
        MainWindow window;
        window.setAttribute(Qt::WA_DeleteOnClose, false);
        QVERIFY(window.openFiles({a, b}));
        TableView* first = window.getTableView(a);
        editCell(first, 0, 0, QStringLiteral("A"));
        if (otherEdited)
            editCell(window.getTableView(b), 0, 0, QStringLiteral("B"));
        window.setActiveTable(first);
        FileDialogHelper::saveFileNameHook = [&](const QString&, const QString&, const QString&) {
            return b;
        };
        Answers answers;
        const bool saved = visibleOnly ? window.commandSaveVisibleDataAs() : window.commandSaveFileAs();
        QCOMPARE(saved, !otherEdited);
        // Saved as: the first table is now the file; a copy of the visible data opens anew.
        QCOMPARE(window.getAllTableViews().size(), qsizetype(otherEdited || visibleOnly ? 2 : 1));
        if (otherEdited) {
            QCOMPARE(readFile(b), QByteArray("b,2\n"));
            QCOMPARE(answers.texts(),
                     QStringList{QStringLiteral("This file is open in another tab with unsaved changes:\n%1\n"
                                                "Save or close it there first.")
                                     .arg(QDir::toNativeSeparators(b))});
            QCOMPARE(window.getTableView(b)->tableModel()->getTableData().getValueModel(0, 0).toString(),
                     QStringLiteral("B"));
            return;
        }
        QCOMPARE(readFile(b), QByteArray("A,1\n"));
        const QStringList open = window.getOpenFilepaths();
        QCOMPARE(open.count(b), qsizetype(1));
        QCOMPARE(window.getTableView(b)->tableModel()->getTableData().getValueModel(0, 0).toString(),
                 QStringLiteral("A"));
        QCOMPARE(open.contains(a), visibleOnly);
    }

    void saveAsCancelled() {
        const QString a = writeFile(path("a.csv"), "1,2\n");
        MainWindow window;
        QVERIFY(window.openFiles({a}));
        FileDialogHelper::saveFileNameHook = [](const QString&, const QString&, const QString&) {
            return QString();
        };
        QVERIFY(!window.commandSaveFileAs());
        QCOMPARE(window.getActiveFilepath(), a);
    }

    void saveVisibleDataOnly() {
        const QString a = writeFile(path("a.csv"), "h1,h2\nr1,x\nr2,y\n");
        const QString target = path("visible.csv");
        MainWindow window;
        QVERIFY(window.openFiles({a}));
        TableView* view = window.getActiveTable();
        view->tableModel()->getTableData().concealRawRows({1});
        FileDialogHelper::saveFileNameHook = [&](const QString&, const QString&, const QString&) {
            return target;
        };
        Answers answers;
        QVERIFY(window.commandSaveVisibleDataAs());
        QVERIFY(answers.asked.isEmpty());
        QCOMPARE(readFile(target), QByteArray("h1,h2\nr2,y\n"));
        // The table keeps its file; the copy opens as a table of its own and becomes active.
        QCOMPARE(window.getOpenFilepaths(), (QStringList{a, target}));
        QCOMPARE(window.getActiveFilepath(), target);
        QCOMPARE(view->tableModel()->getTableData().getFilepath(), a);
    }

    void saveVisibleDataOnlyAsksForALargeCopy() {
        const QString a = writeFile(path("a.csv"), "1,2\n");
        const QString target = path("visible.csv");
        MainWindow window;
        QVERIFY(window.openFiles({a}));
        window.setMinimumFileSizeAskAboutReadOnlyMb(0);
        Answers answers;
        answers.queue = {2};
        FileDialogHelper::saveFileNameHook = [&](const QString&, const QString&, const QString&) {
            return target;
        };
        QVERIFY(window.commandSaveVisibleDataAs());
        QCOMPARE(answers.texts(),
                 QStringList{"The new file is large (0 MB).\nHow would you like to open it?"});
        QCOMPARE(answers.asked[0].buttons[0].text, QStringLiteral("&Read-Only\nMode"));
        QCOMPARE(answers.asked[0].buttons[2].fixedHeight, 40);
        QCOMPARE(readFile(target), QByteArray("1,2\n"));
        QVERIFY(!window.getTableView(target));
    }

    // Saving into a folder that can't exist (its parent is a regular file).
    void saveFailure_data() {
        QTest::addColumn<bool>("saveAs");
        QTest::newRow("save as") << true;
        QTest::newRow("save") << false;
    }
    void saveFailure() {
        QFETCH(bool, saveAs);
        const QString a = writeFile(path("sub/a.csv"), "1,2\n");
        MainWindow window;
        QVERIFY(window.openFiles({a}));
        TableView* view = window.getActiveTable();
        editCell(view, 0, 0, QStringLiteral("new"));
        Answers answers;
        if (saveAs) {
            writeFile(path("blocker"), "not a folder");
            FileDialogHelper::saveFileNameHook = [&](const QString&, const QString&, const QString&) {
                return path("blocker/b.csv");
            };
            QVERIFY(!window.commandSaveFileAs());
            QCOMPARE(readFile(a), QByteArray("1,2\n"));
            QCOMPARE(window.getActiveFilepath(), a);
            QVERIFY(!window.getRecentFilepaths().contains(path("blocker/b.csv")));
        } else {
            QVERIFY(QDir(path("sub")).removeRecursively());
            writeFile(path("sub"), "now a file");
            QVERIFY(!window.commandSaveFile());
            QCOMPARE(readFile(path("sub")), QByteArray("now a file"));
        }
        // The message gives the system's reason on a second line.
        QCOMPARE(answers.texts().size(), 1);
        const QStringList lines = answers.texts().first().split(QLatin1Char('\n'));
        QCOMPARE(lines.size(), 2);
        QCOMPARE(lines.first(), QStringLiteral("File failed to save."));
        QVERIFY(!lines.last().isEmpty());
        QVERIFY(view->isModified());
        QCOMPARE(window.getPaneView()->getTabBar()->tabText(0), QStringLiteral("a.csv *"));
    }

    // "Save" in the close question, the save fails: the table stays open with its edits, whether
    // one tab, every tab or the window was being closed.
    void failedSaveStopsClose_data() {
        QTest::addColumn<QString>("how");
        QTest::newRow("close tab") << QStringLiteral("tab");
        QTest::newRow("close all") << QStringLiteral("all");
        QTest::newRow("close window") << QStringLiteral("window");
    }
    void failedSaveStopsClose() {
        QFETCH(QString, how);
        const QString a = writeFile(path("sub/a.csv"), "1,2\n");
        const QString b = writeFile(path("b.csv"), "3,4\n");
        MainWindow window;
        QVERIFY(window.openFiles({a, b}));
        TableView* view = window.getTableView(a);
        QCOMPARE(window.getActiveTable(), view);
        editCell(view, 0, 0, QStringLiteral("mine"));
        QVERIFY(QDir(path("sub")).removeRecursively());
        writeFile(path("sub"), "now a file");

        Answers answers;
        answers.queue = {0}; // Save
        bool closed = true;
        if (how == QStringLiteral("tab")) {
            closed = window.commandCloseFile();
        } else if (how == QStringLiteral("all")) {
            closed = window.commandCloseAllFiles();
        } else {
            QCloseEvent event;
            QCoreApplication::sendEvent(&window, &event);
            closed = event.isAccepted();
        }
        QVERIFY(!closed);
        QCOMPARE(answers.texts().size(), 2);
        QVERIFY(answers.texts().at(1).startsWith(QStringLiteral("File failed to save.\n")));
        QCOMPARE(window.getTableView(a), view);
        QVERIFY(view->isModified());
        QCOMPARE(view->tableModel()->data(view->tableModel()->index(0, 0)).toString(),
                 QStringLiteral("mine"));
        QVERIFY(window.getTableView(b));
        QCOMPARE(readFile(path("sub")), QByteArray("now a file"));
    }

    void filetypeFilters() {
        MainWindow window;
        const QString open = window.getFiletypeFilter(true);
        QVERIFY(open.startsWith(QStringLiteral("Table Files (*.csv ")));
        QVERIFY(open.endsWith(QStringLiteral(");;All Files (*.*)")));
        const QString save = window.getFiletypeFilter(false);
        QVERIFY(save.startsWith(QStringLiteral("All Files (*.*);;CSV File (*.csv);;")));
        QVERIFY(save.contains(QStringLiteral(";;TSV File (*.tsv);;")));
        QVERIFY(save.endsWith(QStringLiteral(";;No Extension (*.)")));
    }

    // --- Reload and file mode -----------------------------------------------------------------

    void reloadAsksAboutUnsavedChanges_data() {
        QTest::addColumn<int>("answer");
        QTest::addColumn<bool>("reloaded");
        QTest::addColumn<QByteArray>("onDisk");
        QTest::newRow("save") << 0 << true << QByteArray("mine,2\n");
        QTest::newRow("discard") << 1 << true << QByteArray("theirs,2\n");
        QTest::newRow("cancel") << 2 << false << QByteArray("theirs,2\n");
    }
    void reloadAsksAboutUnsavedChanges() {
        QFETCH(int, answer);
        QFETCH(bool, reloaded);
        QFETCH(QByteArray, onDisk);
        const QString a = writeFile(path("a.csv"), "1,2\n");
        MainWindow window;
        QVERIFY(window.openFiles({a}));
        TableView* view = window.getActiveTable();
        editCell(view, 0, 0, QStringLiteral("mine"));
        writeFile(a, "theirs,2\n");
        Answers answers;
        answers.queue = {answer};
        QCOMPARE(window.commandReloadFile(), reloaded);
        QCOMPARE(answers.asked.size(), 1);
        QCOMPARE(answers.asked[0].buttons[1].text, QStringLiteral("&Discard"));
        QVERIFY(answers.asked[0].buttons[0].fitWidthToText);
        QCOMPARE(readFile(a), onDisk);
        QCOMPARE(view->isModified(), !reloaded);
        const QString first = view->tableModel()->getTableData().getValueModel(0, 0).toString();
        QCOMPARE(first,
                 reloaded ? QString::fromUtf8(onDisk.left(onDisk.indexOf(','))) : QStringLiteral("mine"));
    }

    void readOnlyToggle() {
        const QString a = writeFile(path("a.csv"), "1,2\n");
        MainWindow window;
        QVERIFY(window.openFiles({a}));
        window.commandToggleReadOnly();
        QCOMPARE(window.getModeLabelText(), QStringLiteral("Read-Only"));
        QVERIFY(window.getContext().intersects(ContextReadOnly));
        QCOMPARE(window.getActiveTable()->tableModel()->getTableData().getDataContainerType(),
                 TableData::ReadOnly);
        window.commandToggleReadOnly();
        QCOMPARE(window.getModeLabelText(), QStringLiteral("Editable"));
        QVERIFY(!(window.getContext().intersects(ContextReadOnly)));
    }

    // Switching a table with unsaved changes to read-only asks first.
    void readOnlyToggleWithUnsavedChanges_data() {
        QTest::addColumn<int>("answer");
        QTest::addColumn<bool>("readOnly");
        QTest::addColumn<QByteArray>("onDisk");
        QTest::newRow("save") << 0 << true << QByteArray("mine,2\n");
        QTest::newRow("don't save") << 1 << true << QByteArray("1,2\n");
        QTest::newRow("cancel") << 2 << false << QByteArray("1,2\n");
    }
    void readOnlyToggleWithUnsavedChanges() {
        QFETCH(int, answer);
        QFETCH(bool, readOnly);
        QFETCH(QByteArray, onDisk);
        // Enough lines that the file-indexed container sees all columns of a small file.
        const QByteArray rest = QByteArray("x,y\n").repeated(20);
        const QString a = writeFile(path("a.csv"), "1,2\n" + rest);
        MainWindow window;
        QVERIFY(window.openFiles({a}));
        editCell(window.getActiveTable(), 0, 0, QStringLiteral("mine"));
        Answers answers;
        answers.queue = {answer};
        window.commandToggleReadOnly();
        QCOMPARE(answers.texts(), QStringList{"Do you want to save changes to a.csv?"});
        QCOMPARE(readFile(a), onDisk + rest);
        QCOMPARE(window.getActiveTable()->isReadOnly(), readOnly);
        QCOMPARE(window.getContext().intersects(ContextReadOnly), readOnly);
        QCOMPARE(window.getActiveTable()->isModified(), !readOnly);
        // Read-only shows the file as it is on disk.
        const QString first =
            window.getActiveTable()->tableModel()->getTableData().getValueModel(0, 0).toString();
        QCOMPARE(first, answer == 1 ? QStringLiteral("1") : QStringLiteral("mine"));
    }

    // --- Rename, move, duplicate, delete ------------------------------------------------------

    void renameFollowsTheFile() {
        const QString a = writeFile(path("a.csv"), "1,2\n");
        const QString b = path("renamed.csv");
        MainWindow window;
        QVERIFY(window.openFiles({a}));
        QVERIFY(window.renameFile(a, b));
        QVERIFY(!QFile::exists(a));
        QCOMPARE(window.getActiveFilepath(), b);
        QCOMPARE(window.windowTitle(), QStringLiteral("renamed.csv - Orvane"));
        QCOMPARE(window.getPaneView()->getTabBar()->nameAt(0), QStringLiteral("renamed.csv"));
        QCOMPARE(window.getWatchedFiles(), QStringList{b});
        QVERIFY(window.getRecentFilepaths().contains(b));
        QVERIFY(!window.getRecentFilepaths().contains(a));
        QVERIFY(!window.renameFile(path("missing.csv"), path("other.csv")));
    }

    void moveToAnotherFolder_data() {
        QTest::addColumn<bool>("targetExists");
        QTest::addColumn<int>("answer");
        QTest::addColumn<bool>("moved");
        QTest::newRow("free target") << false << -1 << true;
        QTest::newRow("overwrite") << true << 0 << true;
        QTest::newRow("don't overwrite") << true << 1 << false;
        QTest::newRow("cancel") << true << 2 << false;
    }
    void moveToAnotherFolder() {
        QFETCH(bool, targetExists);
        QFETCH(int, answer);
        QFETCH(bool, moved);
        const QString a = writeFile(path("a.csv"), "mine\n");
        QDir().mkpath(path("other"));
        const QString target = path("other/a.csv");
        if (targetExists)
            writeFile(target, "theirs\n");
        MainWindow window;
        QVERIFY(window.openFiles({a}));
        int dialogs = 0;
        FileDialogHelper::existingDirectoryHook = [&](const QString& title, const QString& start) {
            ++dialogs;
            [&] {
                QCOMPARE(title, QStringLiteral("Select Folder"));
                QCOMPARE(start, dir->path());
            }();
            // "Don't overwrite" asks for a folder again; the second time the user gives up.
            return dialogs == 1 ? path("other") : QString();
        };
        Answers answers;
        answers.queue = {answer};
        QCOMPARE(window.commandMoveFile(), moved);
        QCOMPARE(answers.asked.size(), targetExists ? 1 : 0);
        if (targetExists) {
            QCOMPARE(answers.asked[0].text,
                     QStringLiteral("A file already exists there. Do you want to overwrite it?"));
            QCOMPARE(answers.asked[0].defaultButton, 1);
        }
        QCOMPARE(dialogs, answer == 1 ? 2 : 1);
        QCOMPARE(QFile::exists(a), !moved);
        QCOMPARE(readFile(target), moved ? QByteArray("mine\n") : QByteArray("theirs\n"));
        QCOMPARE(window.getActiveFilepath(), moved ? target : a);
        QCOMPARE(window.getWatchedFiles(), QStringList{moved ? target : a});
    }

    // A file of that name open in another window stays where it is: the move is refused.
    void moveOntoAFileOpenElsewhere() {
        const QString a = writeFile(path("a.csv"), "mine\n");
        QDir().mkpath(path("other"));
        const QString target = writeFile(path("other/a.csv"), "theirs\n");
        MainWindow window;
        MainWindow elsewhere;
        QVERIFY(window.openFiles({a}));
        QVERIFY(elsewhere.openFiles({target}));
        FileDialogHelper::existingDirectoryHook = [&](const QString&, const QString&) {
            return path("other");
        };
        Answers answers;
        QVERIFY(!window.commandMoveFile());
        QCOMPARE(answers.texts(), QStringList{"That file is open in another tab. Close it first."});
        QCOMPARE(readFile(target), QByteArray("theirs\n"));
        QVERIFY(QFile::exists(a));
    }

    void moveMessages() {
        MainWindow window;
        Answers answers;
        FileDialogHelper::existingDirectoryHook = [&](const QString&, const QString&) { return dir->path(); };
        // A table never saved has no file to move.
        QVERIFY(!window.commandMoveFile());
        QCOMPARE(answers.texts(), QStringList{"The file doesn't exist. Save it first."});
        // Moving into its own folder is nothing.
        const QString a = writeFile(path("a.csv"), "1\n");
        QVERIFY(window.openFiles({a}));
        answers.asked.clear();
        QVERIFY(!window.commandMoveFile());
        QVERIFY(answers.asked.isEmpty());
        QVERIFY(QFile::exists(a));
    }

    void duplicate_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("removeSource");
        QTest::addColumn<bool>("done");
        QTest::addColumn<QString>("message");
        QTest::newRow("copy") << "a Duplicate.csv" << false << true << QString();
        QTest::newRow("same name") << "a.csv" << false << false
                                   << "Choose a different name from the original.";
        QTest::newRow("source gone") << "b.csv" << true << false << "The file doesn't exist. Save it first.";
    }
    void duplicate() {
        QFETCH(QString, name);
        QFETCH(bool, removeSource);
        QFETCH(bool, done);
        QFETCH(QString, message);
        const QString a = writeFile(path("a.csv"), "1,2\n");
        MainWindow window;
        QVERIFY(window.openFiles({a}));
        if (removeSource)
            QFile::remove(a);
        Answers answers;
        QCOMPARE(window.duplicateFile(a, name), done);
        QCOMPARE(answers.texts(), message.isEmpty() ? QStringList() : QStringList{message});
        if (done) {
            QCOMPARE(readFile(path(name)), QByteArray("1,2\n"));
            QCOMPARE(window.getActiveFilepath(), path(name));
            QCOMPARE(window.getNumTables(), 2);
        }
    }

    void deleteFile_data() {
        QTest::addColumn<int>("answer");
        QTest::addColumn<bool>("deleted");
        QTest::newRow("delete") << 0 << true;
        QTest::newRow("don't delete") << 1 << false;
    }
    void deleteFile() {
        QFETCH(int, answer);
        QFETCH(bool, deleted);
        const QString a = writeFile(path("a.csv"), "1,2\n");
        MainWindow window;
        QVERIFY(window.openFiles({a}));
        editCell(window.getActiveTable(), 0, 0, QStringLiteral("unsaved"));
        Answers answers;
        answers.queue = {answer};
        QCOMPARE(window.commandDeleteFile(), deleted);
        // Deleting asks once and never about saving.
        QCOMPARE(answers.texts(), QStringList{"Are you sure you want to delete file a.csv?"});
        QCOMPARE(answers.asked[0].buttons[1].text, QStringLiteral("Do&n't Delete"));
        QCOMPARE(QFile::exists(a), !deleted);
        QCOMPARE(window.getTableView(a) == nullptr, deleted);
        QCOMPARE(window.getRecentFilepaths().contains(a), !deleted);
    }

    // --- Drops --------------------------------------------------------------------------------

    void dropOpensFilesAndFolders() {
        const QString a = writeFile(path("a.csv"), "1\n");
        const QString b = writeFile(path("b.csv"), "2\n");
        QDir().mkpath(path("folder"));
        MainWindow window;
        auto* mime = new QMimeData;
        mime->setUrls({QUrl::fromLocalFile(path("folder")), QUrl::fromLocalFile(a),
                       QUrl(QStringLiteral("https://x.y/z.csv")), QUrl::fromLocalFile(b)});
        QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, mime, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(&window, &enter);
        QVERIFY(enter.isAccepted());
        QDropEvent drop(QPointF(5, 5), Qt::CopyAction, mime, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(&window, &drop);
        QCOMPARE(window.getOpenFilepaths(), (QStringList{a, b}));
        QCOMPARE(window.getActiveFilepath(), a);
        QCOMPARE(window.makeConfigData().sidebarFolderpathList, QStringList{path("folder")});

        QMimeData remote;
        remote.setUrls({QUrl(QStringLiteral("https://x.y/z.csv"))});
        QDragEnterEvent refused(QPoint(5, 5), Qt::CopyAction, &remote, Qt::LeftButton, Qt::NoModifier);
        refused.setAccepted(false);
        QCoreApplication::sendEvent(&window, &refused);
        QVERIFY(!refused.isAccepted());
        delete mime;
    }

    // Settings reach the panes and every open table.
    void settingsReachPanesAndTables() {
        MainWindow window;
        window.resize(900, 600);
        window.show();
        QVERIFY(window.openFiles({writeFile(path("a.csv"), "1,2\n"), writeFile(path("b.csv"), "3,4\n")}));
        window.getSettings().setValue(ShowTabBar, false);
        window.propagateSettings();
        QVERIFY(!window.getPaneView()->getTabBar()->isVisible());
        QVERIFY(!window.makeConfigData().paneVisibility.showTabBar);
        window.setMinNumTableRows(40);
        window.setNumBufferCols(3);
        for (TableView* view : window.getAllTableViews()) {
            QCOMPARE(view->tableModel()->getMinNumTableRows(), 40);
            QCOMPARE(view->tableModel()->getNumBufferCols(), 3);
        }
        window.setMinimumFileSizeAskAboutReadOnlyMb(7);
        QCOMPARE(window.getSettings().getValueInt(MinFileSizeReadOnlyQuery), 7);
        // A table opened later takes the window's settings.
        QVERIFY(window.openFiles({writeFile(path("c.csv"), "5\n")}));
        QCOMPARE(window.getActiveTable()->tableModel()->getMinNumTableRows(), 40);
        window.setAttribute(Qt::WA_DeleteOnClose, false);
    }

    // --- Structure ----------------------------------------------------------------------------

    void structureAndPanes() {
        MainWindow window;
        window.resize(900, 600);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QCOMPARE(window.getPaneView()->getTabBar()->height(), 28);
        QVERIFY(window.testAttribute(Qt::WA_DeleteOnClose));
        QVERIFY(window.acceptDrops());
        QCOMPARE(window.minimumWidth(), 200);
        window.showTabBar(false, true);
        QTRY_VERIFY(!window.getPaneView()->getTabBar()->isVisible());
        window.showTabBar(true, true);
        QTRY_COMPARE(window.getPaneView()->getTabBar()->height(), 28);
        // The side bar comes at its default width.
        window.showSideBar(true, false);
        QCOMPARE(window.getSideBarWidth(), MainWindow::kDefaultSidebarWidth);
        QVERIFY(window.makeConfigData().paneVisibility.showSideBar);
        window.showSideBar(false, false);
        // A side pane is capped to two thirds of the window; the table area takes what it gives up.
        window.setMetadataShowWidth(5000);
        window.showMetadata(true, false);
        QCOMPARE(window.getMetadataWidth(), (window.width() + 1) * 2 / 3);
        window.showMetadata(false, true);
        QTRY_COMPARE(window.getMetadataWidth(), 0);
        window.setAttribute(Qt::WA_DeleteOnClose, false);
    }
};

QTEST_MAIN(TestFileLifecycle)
#include "tst_filelifecycle.moc"
