// The clipboard commands on a real window: copy and paste between places of a table, the
// special paste with its prompts, cut, and the spread of cell texts into tables.

#include "window/mainwindow.h"

#include "table/tablemodel.h"
#include "util/msgboxanswers.h"
#include "view/tableview.h"
#include "window/commands.h"
#include "window/launcher.h"
#include "window/windowtesthelpers.h"

#include <QAction>
#include <QClipboard>
#include <QDropEvent>
#include <QFile>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QProgressDialog>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QUndoStack>
#include <QUrl>

namespace {

QStringList rawCells(const TableView* view) {
    QStringList rows;
    const TableModel* m = view->tableModel();
    for (int r = 0; r < m->rowCountRaw(); ++r) {
        QStringList row;
        for (int c = 0; c < m->columnCountRaw(); ++c)
            row.append(m->getTableData().getValueRaw(r, c).toString());
        rows.append(row.join(QLatin1Char(';')));
    }
    return rows;
}

void answer(MainWindow& window, const QString& text) {
    Launcher* launcher = window.getLauncher();
    QVERIFY(launcher);
    launcher->getPromptEditor()->setText(text);
    QTest::keyClick(launcher->getPromptEditor(), Qt::Key_Return);
}

} // namespace

class TestClipboardCommands : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> dir;

    std::unique_ptr<MainWindow> openWindow(const QByteArray& content) {
        const QString path = dir->filePath(QStringLiteral("t.csv"));
        QFile file(path);
        if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            file.write(content);
        file.close();
        auto window = std::make_unique<MainWindow>();
        window->setAttribute(Qt::WA_DeleteOnClose, false);
        window->openFile(path);
        return window;
    }

    void trigger(MainWindow& window, const QString& name) {
        const Command* c = window.getCommands().findByName(name);
        QVERIFY2(c && c->action->isEnabled(), qPrintable(name));
        c->action->trigger();
    }

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        TableView::autoFitWarningHook = [](const QString&, bool&) { return false; };
    }
    void init() { dir = std::make_unique<QTemporaryDir>(); }

    void copyThenPasteElsewhere() {
        MsgBoxAnswers answers;
        auto window = openWindow("h,i\n\"a,1\",\"b\nc\"\nd,\n");
        TableView* view = window->getActiveTable();
        selectBlock(view, 1, 0, 2, 1);
        trigger(*window, QStringLiteral("Copy Cell(s)"));
        const QMimeData* mime = QGuiApplication::clipboard()->mimeData();
        QVERIFY(mime->hasFormat(QStringLiteral("text/csv")));
        QVERIFY(mime->hasHtml());
        selectBlock(view, 0, 2, 0, 2);
        trigger(*window, QStringLiteral("Paste Cell(s)"));
        QCOMPARE(rawCells(view), (QStringList{"h;i;a,1;b\nc", "a,1;b\nc;d;", "d;;;"}));
        QCOMPARE(view->undoStack()->count(), 1);
        trigger(*window, QStringLiteral("Undo"));
        QCOMPARE(rawCells(view), (QStringList{"h;i", "a,1;b\nc", "d;"}));
    }

    void cutClearsAndCopies() {
        MsgBoxAnswers answers;
        auto window = openWindow("a,b\nc,d\n");
        TableView* view = window->getActiveTable();
        selectBlock(view, 1, 0, 1, 1);
        trigger(*window, QStringLiteral("Cut Cell(s)"));
        QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("c\td"));
        QCOMPARE(rawCells(view), (QStringList{"a;b", ";"}));
    }

    void pasteSpecial_data() {
        QTest::addColumn<QString>("clipboard");
        QTest::addColumn<QStringList>("answers");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("markdown") << "| k | v |\n|---|---|\n| x | 1 |" << QStringList{"Markdown"}
                                  << QStringList{"k;v", "x;1"};
        QTest::newRow("straight text")
            << "a,b\nc\td" << QStringList{"Straight Text"} << QStringList{"a,b;t", "c\td;"};
        QTest::newRow("delimiter, with a bad answer first")
            << "1;2\n3;4" << QStringList{"Delimiter", "xx", ";"} << QStringList{"1;2", "3;4"};
        QTest::newRow("html from text") << "<table><tr><th>p</th><td>&amp;</td></tr></table>"
                                        << QStringList{"HTML"} << QStringList{"p;&"};
        QTest::newRow("markdown without a table")
            << "no table here" << QStringList{"Markdown"} << QStringList{"s;t"};
    }
    void pasteSpecial() {
        QFETCH(QString, clipboard);
        QFETCH(QStringList, answers);
        QFETCH(QStringList, expected);
        MsgBoxAnswers boxes;
        auto window = openWindow("s,t\n");
        TableView* view = window->getActiveTable();
        selectBlock(view, 0, 0, 0, 0);
        QGuiApplication::clipboard()->setText(clipboard);
        trigger(*window, QStringLiteral("Paste Cell(s) (Special)"));
        QCOMPARE(window->getLauncher()->getTitleLabel()->text(), QStringLiteral("Select Paste Format:"));
        for (const QString& a : answers)
            answer(*window, a);
        QCOMPARE(rawCells(view), expected);
        QCOMPARE(view->undoStack()->count(), expected == QStringList{"s;t"} ? 0 : 1);
    }

    void parseCellContents() {
        MsgBoxAnswers answers;
        auto window = openWindow("x,x\ny,y\n");
        TableView* view = window->getActiveTable();
        // Set straight into the data, so that the file's delimiter sniffing plays no part.
        TableData& data = view->tableModel()->getTableData();
        data.setValueModel(0, 0, QStringLiteral("a,b,c\nd,e,f"));
        data.setValueModel(1, 0, QStringLiteral("k | v\n--|--\n1 | 2"));
        selectBlock(view, 0, 0, 1, 0);
        const QStringList before = rawCells(view);
        trigger(*window, QStringLiteral("Parse Selected Cell Contents as Table"));
        QCOMPARE(rawCells(view), (QStringList{"a;b;c", "k;v;f", "1;2;"}));
        QCOMPARE(view->undoStack()->count(), 1);
        trigger(*window, QStringLiteral("Undo"));
        QCOMPARE(rawCells(view), before);
    }

    // Cells dropped from another program land at the drop point as one step, read like a paste,
    // and the program they came from keeps them.
    void dropFromElsewherePastes() {
        MsgBoxAnswers answers;
        auto window = openWindow("a,b\nc,d\n");
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
        TableView* view = window->getActiveTable();
        QMimeData mime;
        mime.setData(QStringLiteral("text/csv"), "x,\"y\nz\"\n1,2\n");
        mime.setText(QStringLiteral("not this"));
        const QPoint pos = view->visualRect(view->model()->index(1, 1)).center();
        QDragEnterEvent enter(pos, Qt::CopyAction | Qt::MoveAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(view->viewport(), &enter);
        QVERIFY(enter.isAccepted());
        QDropEvent drop(pos, Qt::CopyAction | Qt::MoveAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(view->viewport(), &drop);
        QVERIFY(drop.isAccepted());
        QCOMPARE(drop.dropAction(), Qt::CopyAction);
        QCOMPARE(rawCells(view), (QStringList{"a;b;", "c;x;y\nz", ";1;2"}));
        QCOMPARE(view->undoStack()->count(), 1);
        trigger(*window, QStringLiteral("Undo"));
        QCOMPARE(rawCells(view), (QStringList{"a;b", "c;d"}));

        // A file dropped on the grid is left to the window, which opens it: its path is no cell.
        QMimeData file;
        file.setUrls({QUrl::fromLocalFile(dir->filePath(QStringLiteral("other.csv")))});
        file.setText(dir->filePath(QStringLiteral("other.csv")));
        QDropEvent fileDrop(pos, Qt::CopyAction, &file, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(view->viewport(), &fileDrop);
        QCOMPARE(rawCells(view), (QStringList{"a;b", "c;d"}));
        QCOMPARE(view->undoStack()->index(), 0);
    }

    // A paste of a quarter of a million cells shows the busy page while it runs, is one undo
    // step, and gives the keys back to the table.
    void largePasteShowsPageOneStep() {
        MsgBoxAnswers answers;
        auto window = openWindow("a,b\n");
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
        TableView* view = window->getActiveTable();
        selectBlock(view, 0, 0, 0, 0);
        QByteArray csv;
        for (int r = 0; r < 60000; ++r)
            csv += "cell-" + QByteArray::number(r) + ",alpha,\"y,z\",,12345\n";
        auto* mime = new QMimeData;
        mime->setData(QStringLiteral("text/csv"), csv);
        QGuiApplication::clipboard()->setMimeData(mime);
        bool sawPage = false;
        QTimer::singleShot(0, window.get(), [&] {
            sawPage =
                window->findChild<QProgressDialog*>(QStringLiteral("clipboardProgressDialog")) != nullptr;
        });
        trigger(*window, QStringLiteral("Paste Cell(s)"));
        QVERIFY(sawPage);
        QVERIFY(!window->findChild<QProgressDialog*>(QStringLiteral("clipboardProgressDialog")));
        QCOMPARE(view->undoStack()->count(), 1);
        const TableData& data = view->tableModel()->getTableData();
        QCOMPARE(data.numRawRows(), 60000);
        QCOMPARE(data.getValueRaw(59999, 0).toString(), QStringLiteral("cell-59999"));
        QCOMPARE(data.getValueRaw(59999, 2).toString(), QStringLiteral("y,z"));
        trigger(*window, QStringLiteral("Undo"));
        QCOMPARE(rawCells(view), (QStringList{"a;b"}));
    }

    // A paste that is no table at all, or binary bytes, changes nothing or pastes text, in
    // one step at most.
    void badClipboards_data() {
        QTest::addColumn<QString>("type");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("steps");
        QTest::newRow("image only") << "image/png" << QByteArray("\x89PNG\r\n\x1a\n\0\0", 10) << 0;
        QTest::newRow("html without table") << "text/html" << QByteArray("<p>hello</p>") << 0;
        QTest::newRow("binary as text") << "text/plain" << QByteArray("\0\1\2\xff\xfe\t\x80\n", 8) << 1;
    }
    void badClipboards() {
        QFETCH(QString, type);
        QFETCH(QByteArray, bytes);
        QFETCH(int, steps);
        MsgBoxAnswers answers;
        auto window = openWindow("a,b\n");
        TableView* view = window->getActiveTable();
        selectBlock(view, 0, 0, 0, 0);
        auto* mime = new QMimeData;
        mime->setData(type, bytes);
        QGuiApplication::clipboard()->setMimeData(mime);
        trigger(*window, QStringLiteral("Paste Cell(s)"));
        QCOMPARE(view->undoStack()->count(), steps);
    }
};

QTEST_MAIN(TestClipboardCommands)
#include "tst_clipboardcommands.moc"
