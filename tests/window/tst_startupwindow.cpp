#include "window/mainwindow.h"

#include "table/tablemodel.h"
#include "util/msgbox.h"
#include "view/frozentableview.h"
#include "view/tableview.h"

#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

// A window started with files on the command line makes its empty table only when no file opens,
// and it stands behind every question asked on the way.
class TestStartupWindow : public QObject {
    Q_OBJECT

private:
    QTemporaryDir home;
    QTemporaryDir dir;

    QString writeFile(const QString& name, const QByteArray& content) const {
        const QString path = dir.filePath(name);
        QFile file(path);
        if (file.open(QIODevice::WriteOnly))
            file.write(content);
        return path;
    }

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        QVERIFY(home.isValid());
        qputenv("HOME", home.path().toLocal8Bit());
        QVERIFY(dir.isValid());
    }

    void firstTableFromFiles_data() {
        QTest::addColumn<QStringList>("names");  // "-" before a name: the file is missing
        QTest::addColumn<bool>("askLarge");      // every file counts as large
        QTest::addColumn<int>("answer");         // to every message box
        QTest::addColumn<QString>("activeName"); // empty: the untitled table
        QTest::addColumn<bool>("readOnly");
        QTest::addColumn<int>("questions");

        QTest::newRow("file opens") << QStringList{"a.csv"} << false << -1 << "a.csv" << false << 0;
        QTest::newRow("missing file") << QStringList{"-gone.csv"} << false << -1 << "" << false << 1;
        QTest::newRow("missing, then one that opens")
            << QStringList{"-gone.csv", "b.csv"} << false << -1 << "b.csv" << false << 1;
        QTest::newRow("large, read-only") << QStringList{"a.csv"} << true << 0 << "a.csv" << true << 1;
        QTest::newRow("large, edit mode") << QStringList{"a.csv"} << true << 1 << "a.csv" << false << 1;
        QTest::newRow("large, canceled") << QStringList{"a.csv"} << true << 2 << "" << false << 1;
    }

    void firstTableFromFiles() {
        QFETCH(QStringList, names);
        QFETCH(bool, askLarge);
        QFETCH(int, answer);
        QFETCH(QString, activeName);
        QFETCH(bool, readOnly);
        QFETCH(int, questions);

        QStringList paths;
        for (const QString& name : names)
            paths.append(name.startsWith('-') ? dir.filePath(name.mid(1)) : writeFile(name, "x,y\n1,2\n"));

        auto* window = new MainWindow(MainWindow::FilesToFollow{});
        QCOMPARE(window->getNumTables(), 0);
        if (askLarge)
            window->setMinimumFileSizeAskAboutReadOnlyMb(0);
        int asked = 0;
        MsgBox::answerHook = [&](const MsgBox::Question&) {
            ++asked;
            // A question never stands over a window without a table.
            if (window->getNumTables() != 1 || !window->getActiveTable())
                return -99;
            return answer;
        };
        window->openFiles(paths);
        window->ensureTable();
        MsgBox::answerHook = nullptr;

        QCOMPARE(asked, questions);
        QCOMPARE(window->getNumTables(), 1);
        TableView* active = window->getActiveTable();
        QVERIFY(active);
        const QString activePath = window->getActiveFilepath();
        if (activeName.isEmpty()) {
            QVERIFY(activePath.isEmpty());
            QCOMPARE(active->tableModel()->rowCountRaw(), 0);
        } else {
            QVERIFY(activePath.endsWith('/' + activeName));
            QCOMPARE(active->tableModel()->rowCountRaw(), 2);
        }
        QCOMPARE(active->isReadOnly(), readOnly);
        // Nothing more to make: the table stays the one there is.
        window->ensureTable();
        QCOMPARE(window->getNumTables(), 1);
        QCOMPARE(window->getActiveTable(), active);
        delete window;
    }

    // The frozen columns take every row height when they are first shown after a load.
    void frozenColumnsTakeRowHeightsWhenShown() {
        MainWindow window;
        QByteArray content = "h,x\n";
        for (int r = 0; r < 40; ++r)
            content += r % 7 == 3 ? "\"a\nb\nc\",1\n" : "a,1\n";
        QVERIFY(window.openFiles({writeFile("tall.csv", content)}));
        TableView* view = window.getActiveTable();
        view->setAutoFitRowHeight(true);
        view->syncFrozenPartsAfterLoad();
        view->setNumberOfHeaderColumns(1, false);
        view->setFreezeHeaderColumns(true, false);
        const FrozenTableView* frozen = view->frozenView(2);
        QVERIFY(view->rowHeight(4) > view->rowHeight(1));
        for (int r = 0; r < view->tableModel()->rowCountModel(); ++r)
            QCOMPARE(frozen->rowHeight(r), view->rowHeight(r));
        window.setAttribute(Qt::WA_DeleteOnClose, false);
    }
};

QTEST_MAIN(TestStartupWindow)
#include "tst_startupwindow.moc"
