// The grid while a scan runs on the worker: a file read in place has one reader, which the scan
// takes, so the view paints the cells it showed when the scan began.

#include "viewfixture.h"

#include "table/tablemodelworker.h"
#include "view/frozentableview.h"

#include <QElapsedTimer>
#include <QThread>
#include <QTimer>

#include <atomic>

namespace {

QString shown(const TableModel& m, int row, int col) {
    return m.data(m.index(row, col), Qt::DisplayRole).toString();
}

} // namespace

class TestTableViewScan : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void paintsHeldCellsDuringScan_data() {
        QTest::addColumn<int>("type");
        QTest::newRow("read in place") << int(TableData::ReadOnly);
        QTest::newRow("editable") << int(TableData::Editable);
    }
    void paintsHeldCellsDuringScan() {
        QFETCH(int, type);
        const bool inPlace = type == TableData::ReadOnly;
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("t.csv"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("head0,head1,head2\n");
        for (int r = 1; r < 400; ++r)
            file.write(QStringLiteral("r%1a,r%1b,r%1c\n").arg(r).toUtf8());
        file.close();
        TableModel model(true);
        model.loadCSV(path, false, static_cast<TableData::DataContainerType>(type), QStringLiteral(","),
                      QStringLiteral(","), UTF_8, RFC_4180);
        QCOMPARE(model.isReadOnly(), inPlace);
        TableView view;
        view.setModel(&model);
        view.resize(600, 400);
        view.onLoadFinished();
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        view.scrollToRow(200, false, true);
        QCoreApplication::processEvents();
        const int top = view.rowAt(view.frozenHeight() + 2);
        QVERIFY2(top > 100, qPrintable(QString::number(top)));
        const int bottom = view.rowAt(view.viewport()->height() - 1);
        QVERIFY(bottom > top);

        // The scan holds the worker until the checks below have run on this thread.
        std::atomic<bool> release = false;
        QStringList during;
        QTimer::singleShot(0, &model, [&] {
            // Shown, and a page above and below what is shown.
            const int page = bottom - top + 1;
            for (const int row : {0, top, bottom, top - page, bottom + page})
                during << shown(model, row, 0) << shown(model, row, 2);
            // Further off: nothing held of a file read in place.
            during << shown(model, top - 2 * page - 1, 1);
            release = true;
        });
        const bool finished = model.readCellsOnWorker(
            [&](TableModelWorker&) {
                QElapsedTimer bound;
                bound.start();
                while (!release && bound.elapsed() < 10000)
                    QThread::msleep(1);
                return bool(release);
            },
            true);
        QVERIFY(finished);
        const auto cell = [](int row, char col) {
            return row == 0 ? QStringLiteral("head%1").arg(col - 'a')
                            : QStringLiteral("r%1%2").arg(row).arg(col);
        };
        const int page = bottom - top + 1;
        const int far = top - 2 * page - 1;
        QVERIFY(far > 0);
        QCOMPARE(during, (QStringList{cell(0, 'a'), cell(0, 'c'), cell(top, 'a'), cell(top, 'c'),
                                      cell(bottom, 'a'), cell(bottom, 'c'), cell(top - page, 'a'),
                                      cell(top - page, 'c'), cell(bottom + page, 'a'),
                                      cell(bottom + page, 'c'), inPlace ? QString() : cell(far, 'b')}));
        // Afterwards every cell reads from the table again.
        QCOMPARE(shown(model, far, 1), cell(far, 'b'));
        QCOMPARE(shown(model, top, 0), cell(top, 'a'));
    }
};

QTEST_MAIN(TestTableViewScan)
#include "tst_tableviewscan.moc"
