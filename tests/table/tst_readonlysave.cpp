// A read-only table saved from its file: filtered rows and hidden columns drop out of a save of
// the visible data only, sorted tables keep the order they show, and every such save writes the
// bytes the same table writes when it is held in memory.
#include "tablemodelfixture.h"

#include "table/filterdata.h"
#include "table/sortdata.h"

#include <QFile>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTest>

using namespace Fixture;

namespace {

FilterData makeFilter(const QString& text, int col) {
    FilterData filter;
    filter.range = Range(col, RangeType::Col, RangeIndexType::Raw);
    filter.filterStr = text;
    filter.convertFilterStrToRegexList();
    return filter;
}

QByteArray saved(LoadedModel& m, const QString& name, bool visibleOnly) {
    const QString path = m.dir->filePath(name);
    if (!m->getTableData().saveCSV(path, true, visibleOnly))
        return "save failed";
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestReadOnlySave : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void visibleDataOnly_data() {
        QTest::addColumn<bool>("sorted");
        QTest::addColumn<QByteArray>("visible");
        QTest::addColumn<QByteArray>("whole");
        QTest::newRow("file order") << false << QByteArray("k,b\n1,x\n3,z\n")
                                    << QByteArray("k,a,b\n2,q,y\n1,p,x\n3,,z\n");
        QTest::newRow("sorted") << true << QByteArray("k,b\n1,x\n3,z\n")
                                << QByteArray("k,a,b\n1,p,x\n2,q,y\n3,,z\n");
    }
    // A filter leaves out the row of 2, column a is hidden: a save of the visible data writes
    // neither, a whole save writes both, in the order the table shows.
    void visibleDataOnly() {
        QFETCH(bool, sorted);
        QFETCH(QByteArray, visible);
        QFETCH(QByteArray, whole);
        for (const auto type : {TableData::Editable, TableData::ReadOnly}) {
            LoadedModel m = load({"k,a,b", "2,q,y", "1,p,x", "3,,z"}, type);
            QCOMPARE(m->isReadOnly(), type == TableData::ReadOnly);
            if (sorted)
                QVERIFY(m->sortRows(SortData{SortType::Ascending, Axis::Row, 0}, false));
            m->setAndApplyFilterAndHiddenArraysList({makeFilter(QStringLiteral("1|3"), 0)}, {}, {1});
            QCOMPARE(saved(m, QStringLiteral("visible.csv"), true), visible);
            QCOMPARE(saved(m, QStringLiteral("whole.csv"), false), whole);
        }
    }

    // Thousands of rows, read a batch at a time by the read-only save, with every third one and
    // a column hidden, against the same table held in memory.
    void manyRowsAsInMemory() {
        QRandomGenerator rng(3);
        QStringList lines;
        for (int r = 0; r < 9500; ++r) {
            QStringList cells;
            const int width = rng.bounded(1, 7);
            for (int c = 0; c < width; ++c) {
                switch (rng.bounded(5)) {
                case 0:
                    cells << QString();
                    break;
                case 1:
                    cells << QStringLiteral("\"q,%1\"").arg(r);
                    break;
                case 2:
                    cells << QStringLiteral("\"two\nlines\"");
                    break;
                default:
                    cells << QString::number(rng.bounded(100000));
                    break;
                }
            }
            lines << cells.join(QLatin1Char(','));
        }
        std::vector<int> hiddenRows;
        for (int r = 1; r < 9500; r += 3)
            hiddenRows.push_back(r);
        QByteArray expected[2];
        for (const auto type : {TableData::Editable, TableData::ReadOnly}) {
            LoadedModel m = load(lines, type);
            m->setAndApplyFilterAndHiddenArraysList({}, hiddenRows, {2});
            for (const bool visibleOnly : {false, true}) {
                const QByteArray bytes = saved(m, QStringLiteral("out.csv"), visibleOnly);
                QVERIFY(bytes.size() > 100000);
                if (type == TableData::Editable)
                    expected[visibleOnly] = bytes;
                else
                    QVERIFY2(bytes == expected[visibleOnly], visibleOnly ? "visible only" : "whole");
            }
        }
    }
};

QTEST_GUILESS_MAIN(TestReadOnlySave)
#include "tst_readonlysave.moc"
