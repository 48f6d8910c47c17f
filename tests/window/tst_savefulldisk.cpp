// A save from the window onto a disk that fills up half way: the user is told, the file on disk
// keeps its old text, and the table keeps its edits.
#include "storage/abstractdatacontainer.h"
#include "table/tablemodel.h"
#include "util/msgboxanswers.h"
#include "view/tableview.h"
#include "window/mainwindow.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <cstring>

#include <unistd.h>

class TestSaveFullDisk : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void fullDisk() {
        QTemporaryDir mountPoint;
        QVERIFY(mountPoint.isValid());
        if (::geteuid() != 0)
            QSKIP("mounting a small file system needs root");
        if (QProcess::execute(QStringLiteral("mount"),
                              {QStringLiteral("-t"), QStringLiteral("tmpfs"), QStringLiteral("-o"),
                               QStringLiteral("size=1m"), QStringLiteral("tmpfs"), mountPoint.path()}) != 0)
            QSKIP("no tmpfs mount here");
        struct Unmount {
            QString path;
            ~Unmount() { QProcess::execute(QStringLiteral("umount"), {path}); }
        } unmount{mountPoint.path()};

        const QString path = mountPoint.filePath(QStringLiteral("a.csv"));
        {
            QFile f(path);
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write("1,2\n3,4\n");
        }
        MainWindow window;
        QVERIFY(window.openFiles({path}));
        TableView* view = window.getActiveTable();
        TableModel* model = view->tableModel();
        // Two cells of 3 MiB: more than the disk holds.
        const QString big(3 << 20, QLatin1Char('x'));
        model->setData(model->index(0, 0), big);
        model->setData(model->index(1, 1), big);

        MsgBoxAnswers answers;
        QVERIFY(!window.commandSaveFile());
        QCOMPARE(answers.texts().size(), 1);
        QCOMPARE(answers.texts().first().section(QLatin1Char('\n'), 0, 0),
                 QStringLiteral("File failed to save."));
        // The system's reason below, also where the disk took part of a write before it said no.
        QCOMPARE(answers.texts().first().section(QLatin1Char('\n'), 1),
                 QString::fromLocal8Bit(std::strerror(ENOSPC)));
        QFile f(path);
        QVERIFY(f.open(QIODevice::ReadOnly));
        QCOMPARE(f.readAll(), QByteArray("1,2\n3,4\n"));
        QCOMPARE(QDir(mountPoint.path()).entryList(QDir::Files), QStringList{QStringLiteral("a.csv")});
        QVERIFY(view->isModified());
        const std::vector<char> kept = model->getTableData().getDataContainer()->getValue(1, 1);
        QCOMPARE(kept.size(), size_t(big.size()));
    }
};

QTEST_MAIN(TestSaveFullDisk)
#include "tst_savefulldisk.moc"
