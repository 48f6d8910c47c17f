// The folder tree keeping up with a folder of many files that changes on disk: many names coming
// or going at once must not hold the window up, and the tree must end up as the disk is.

#include "panes/foldertreemodel.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeView>

namespace {

bool touch(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly);
}

QStringList childNames(const FolderTreeModel& model, const QModelIndex& parent) {
    QStringList names;
    for (int row = 0; row < model.rowCount(parent); ++row)
        names.append(model.index(row, 0, parent).data().toString());
    return names;
}

} // namespace

class TestFolderTreeSync : public QObject {
    Q_OBJECT

private slots:
    void manyChangesAtOnce() {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        // Every other name now; the rest come later, each between two that are listed.
        for (int i = 0; i < 8000; i += 2)
            QVERIFY(touch(dir.filePath(QStringLiteral("f%1.csv").arg(i))));

        FolderTreeModel model;
        model.setTopFolders({dir.path()});
        QTreeView tree;
        tree.setModel(&model);
        tree.resize(300, 600);
        tree.show();
        const QModelIndex top = model.index(0, 0);
        tree.expand(top);
        QCOMPARE(model.rowCount(top), 4000);

        for (int i = 1; i < 8000; i += 2)
            QVERIFY(touch(dir.filePath(QStringLiteral("f%1.csv").arg(i))));
        model.refreshFolder(dir.path());
        QStringList all;
        for (int i = 0; i < 8000; ++i)
            all.append(QStringLiteral("f%1.csv").arg(i));
        QCOMPARE(childNames(model, top), all);

        for (int i = 0; i < 8000; i += 2)
            QVERIFY(QFile::remove(dir.filePath(QStringLiteral("f%1.csv").arg(i))));
        model.refreshFolder(dir.path());
        QStringList odd;
        for (int i = 1; i < 8000; i += 2)
            odd.append(QStringLiteral("f%1.csv").arg(i));
        QCOMPARE(childNames(model, top), odd);
    }

    // Files written one after another, as a program unpacking an archive does: the tree reads the
    // folder again a few times, not once per file.
    void burstOfNewFiles() {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        for (int i = 0; i < 3000; ++i)
            QVERIFY(touch(dir.filePath(QStringLiteral("a%1.csv").arg(i))));
        FolderTreeModel model;
        model.setTopFolders({dir.path()});
        const QModelIndex top = model.index(0, 0);
        model.fetchMore(top);
        QCOMPARE(model.rowCount(top), 3000);
        QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
        QElapsedTimer clock;
        clock.start();
        for (int i = 0; i < 3000; ++i) {
            QVERIFY(touch(dir.filePath(QStringLiteral("b%1.csv").arg(i))));
            if (i % 50 == 0)
                QCoreApplication::processEvents();
        }
        QTRY_COMPARE(model.rowCount(top), 6000);
        // At most a reading per tenth of a second the burst lasted, and the last one.
        const qint64 bound = clock.elapsed() / 100 + 3;
        QVERIFY2(
            inserted.size() <= bound,
            qPrintable(QStringLiteral("%1 insertions in %2 ms").arg(inserted.size()).arg(clock.elapsed())));
    }
};

QTEST_MAIN(TestFolderTreeSync)
#include "tst_foldertreesync.moc"
