// Rows packed from a load's cell ends: the vector packing of short rows against the plain loop,
// at every cell count around the vector widths and at the byte totals where offsets widen.
#include "storage/packedrow.h"
#include "storage/rowarena.h"

#include <QRandomGenerator>
#include <QtTest>

#include <string>
#include <vector>

namespace {

struct Source {
    std::string bytes;
    std::vector<std::uint64_t> ends;
};

// `count` cells of random lengths that add up to about `total` bytes, some of them empty.
Source makeRow(QRandomGenerator& rng, std::size_t count, std::size_t total) {
    Source s;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t left = total > s.bytes.size() ? total - s.bytes.size() : 0;
        std::size_t length =
            i + 1 == count ? left : (left > 0 ? rng.bounded(0, int(2 * left / (count - i)) + 1) : 0);
        length = std::min(length, left);
        for (std::size_t k = 0; k < length; ++k)
            s.bytes += char(rng.bounded(1, 256));
        s.ends.push_back(s.bytes.size());
    }
    return s;
}

} // namespace

class TestPackedRow : public QObject {
    Q_OBJECT

private slots:
    void cleanup() { PackedRow::setVectorPackingForTesting(true); }

    void packsEveryShape_data() {
        QTest::addColumn<bool>("vector");
        QTest::newRow("plain") << false;
        QTest::newRow("vector where the processor has it") << true;
    }

    void packsEveryShape() {
        QFETCH(bool, vector);
        PackedRow::setVectorPackingForTesting(vector);
        QRandomGenerator rng(24);
        RowArena arena;
        std::vector<Source> sources;
        std::vector<PackedRow> rows;
        // Cell counts on both sides of every multiple of 8, totals on both sides of 64-byte
        // steps and of the one- and two-byte offset limits.
        const std::size_t totals[] = {0, 1, 15, 63, 64, 65, 127, 128, 200, 255, 256, 257, 1000, 65535, 65536};
        for (std::size_t count = 1; count <= 41; ++count) {
            for (const std::size_t total : totals) {
                sources.push_back(makeRow(rng, count, total));
                const Source& s = sources.back();
                rows.push_back(PackedRow::fromParts(s.bytes.data(), s.ends.data(), count, &arena));
            }
        }
        // Every row is checked after all were packed: a row that wrote past its block would
        // have spoilt the one behind it.
        for (std::size_t r = 0; r < rows.size(); ++r) {
            const Source& s = sources[r];
            const PackedRow& row = rows[r];
            QCOMPARE(std::size_t(row.size()), s.ends.size());
            std::uint64_t begin = 0;
            for (std::size_t i = 0; i < s.ends.size(); ++i) {
                const std::string_view expected(s.bytes.data() + begin, s.ends[i] - begin);
                QVERIFY2(row.cell(int(i)) == expected,
                         qPrintable(QStringLiteral("row of %1 cells, %2 bytes, cell %3")
                                        .arg(s.ends.size())
                                        .arg(s.bytes.size())
                                        .arg(i)));
                begin = s.ends[i];
            }
            // A copy of the row edited in place leaves the row and the copy's other cells be.
            PackedRow copy = row;
            if (copy.size() > 1 && copy.replaceCell(0, "")) {
                QVERIFY(copy.cellEmpty(0));
                QCOMPARE(copy.cell(copy.size() - 1), row.cell(row.size() - 1));
                QCOMPARE(row.cell(0), std::string_view(s.bytes.data(), s.ends[0]));
            }
        }
    }

    // Rows packed straight from a text's masks: random end and kept masks over one to six
    // blocks, whose kept bytes sum to either side of the one-byte offset limit, against the cells
    // the masks describe; vector and plain, in an arena (checked once all are packed) and alone.
    void packsFromMasks_data() {
        QTest::addColumn<bool>("vector");
        QTest::addColumn<bool>("inArena");
        QTest::newRow("plain, arena") << false << true;
        QTest::newRow("vector, arena") << true << true;
        QTest::newRow("vector, heap") << true << false;
    }

    void packsFromMasks() {
        QFETCH(bool, vector);
        QFETCH(bool, inArena);
        PackedRow::setVectorPackingForTesting(vector);
        QRandomGenerator rng(77);
        RowArena arena;
        struct Expected {
            std::vector<std::string> cells; // up to the last non-empty one
            int fields = 0;
        };
        std::vector<Expected> expected;
        std::vector<PackedRow> rows;
        for (int round = 0; round < 3000; ++round) {
            const std::size_t blocks = std::size_t(rng.bounded(1, 7));
            std::string text(64 * blocks, '\0');
            for (char& c : text)
                c = char(rng.bounded(1, 256));
            std::vector<std::uint64_t> ends(blocks, 0);
            std::vector<std::uint64_t> kept(blocks, 0);
            // The row runs from `from` to the last end; ends come dense or sparse.
            const std::size_t from =
                std::size_t(rng.bounded(0, int(std::min<std::size_t>(64 * blocks - 1, 70))));
            const std::size_t to = std::size_t(rng.bounded(int(from), int(64 * blocks)));
            const int endChance = rng.bounded(2, 40);
            Expected e;
            std::string cell;
            for (std::size_t i = from; i <= to; ++i) {
                const bool isEnd = i == to || rng.bounded(endChance) == 0;
                if (isEnd) {
                    ends[i / 64] |= std::uint64_t(1) << (i % 64);
                    e.cells.push_back(cell);
                    cell.clear();
                } else if (rng.bounded(8) != 0) { // now and then a byte the row leaves out
                    kept[i / 64] |= std::uint64_t(1) << (i % 64);
                    cell += text[i];
                }
            }
            e.fields = int(e.cells.size());
            while (!e.cells.empty() && e.cells.back().empty())
                e.cells.pop_back();
            expected.push_back(e);
            rows.push_back(PackedRow::fromMasks(text.data(), ends.data(), kept.data(), blocks,
                                                inArena ? &arena : nullptr));
        }
        for (std::size_t r = 0; r < rows.size(); ++r) {
            const PackedRow& row = rows[r];
            const Expected& e = expected[r];
            QCOMPARE(row.fieldsAsRead(), e.fields);
            QCOMPARE(std::size_t(row.size()), e.cells.size());
            for (std::size_t i = 0; i < e.cells.size(); ++i)
                QVERIFY2(row.cell(int(i)) == e.cells[i],
                         qPrintable(QStringLiteral("row %1, cell %2").arg(r).arg(i)));
        }
    }

    void keepsTheFieldsAsRead() {
        RowArena arena;
        const std::string bytes = "abcdef";
        const std::uint64_t ends[] = {2, 2, 6};
        const PackedRow row = PackedRow::fromRead(bytes.data(), ends, 3, 5, &arena);
        QCOMPARE(row.size(), 3);
        QCOMPARE(row.fieldsAsRead(), 5);
        QCOMPARE(row.cell(2), std::string_view("cdef"));
        QVERIFY(row.cellEmpty(1));
    }
};

QTEST_GUILESS_MAIN(TestPackedRow)
#include "tst_packedrow.moc"
