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
    // the masks describe; in an arena (checked once all are packed) and alone.
    void packsFromMasks_data() {
        QTest::addColumn<bool>("inArena");
        QTest::newRow("arena") << true;
        QTest::newRow("heap") << false;
    }

    void packsFromMasks() {
        QFETCH(bool, inArena);
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

    // The header takes four bytes while the cell count and the fields as read fit in 14 bits
    // each, eight otherwise; the fields as read fit in 24 bits at most. Rows on both sides of
    // each limit, at each width of offsets, in an arena and alone: their cells, their fields,
    // the size of their block, and copies and edits of them.
    void headerAtItsLimits_data() {
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("fields");
        QTest::addColumn<int>("total");
        QTest::addColumn<int>("fieldsKept");
        QTest::newRow("short, counts at the limit") << 16383 << 16383 << 255 << 16383;
        QTest::newRow("count past the short limit") << 16384 << 16384 << 255 << 16384;
        QTest::newRow("fields past the short limit") << 3 << 16384 << 10 << 16384;
        QTest::newRow("fields at the long limit") << 3 << 16777215 << 10 << 16777215;
        QTest::newRow("fields past the long limit") << 3 << 16777216 << 10 << 0;
        QTest::newRow("fields fewer than cells") << 5 << 4 << 10 << 0;
        QTest::newRow("no cells, fields kept") << 0 << 5 << 0 << 5;
        QTest::newRow("no cells, many fields") << 0 << 20000 << 0 << 20000;
        QTest::newRow("two-byte offsets") << 300 << 301 << 256 << 301;
        QTest::newRow("two-byte offsets, full") << 300 << 300 << 65535 << 300;
        QTest::newRow("four-byte offsets") << 2 << 2 << 65536 << 2;
        QTest::newRow("four-byte offsets, long header") << 16384 << 16400 << 65536 << 16400;
    }

    void headerAtItsLimits() {
        QFETCH(int, count);
        QFETCH(int, fields);
        QFETCH(int, total);
        QFETCH(int, fieldsKept);
        QRandomGenerator rng(5);
        // Cells mostly empty, the last one never, so that all `count` are stored.
        Source s;
        for (int i = 0; i < count; ++i) {
            const int left = total - int(s.bytes.size());
            const int length = i + 1 == count ? left : (rng.bounded(0, count) < left ? 1 : 0);
            s.bytes.append(std::size_t(length), char('a' + i % 26));
            s.ends.push_back(s.bytes.size());
        }
        QCOMPARE(int(s.bytes.size()), total);
        const int offsetSize = total <= 0xFF ? 1 : total <= 0xFFFF ? 2 : 4;
        const std::size_t header = count <= 16383 && fieldsKept <= 16383 ? 4 : 8;
        RowArena arena;
        for (RowArena* in : {&arena, static_cast<RowArena*>(nullptr)}) {
            // Neighbours packed before and after: a block that writes past its end spoils them.
            const std::uint64_t neighbourEnds[] = {3};
            const PackedRow before = PackedRow::fromRead("abc", neighbourEnds, 1, 2, in);
            const PackedRow row = PackedRow::fromRead(s.bytes.data(), s.ends.data(), std::size_t(count),
                                                      std::size_t(fields), in);
            const PackedRow after = PackedRow::fromRead("xyz", neighbourEnds, 1, 1, in);
            const auto check = [&](const PackedRow& r, int fieldsAsRead) {
                QCOMPARE(r.size(), count);
                QCOMPARE(r.fieldsAsRead(), fieldsAsRead);
                std::uint64_t begin = 0;
                for (int i = 0; i < count; ++i) {
                    const std::uint64_t end = s.ends[std::size_t(i)];
                    if (r.cell(i) != std::string_view(s.bytes.data() + begin, end - begin))
                        QFAIL(qPrintable(QStringLiteral("cell %1").arg(i)));
                    begin = end;
                }
                if (count > 0) {
                    const PackedRow::Layout layout = r.layout();
                    QCOMPARE(layout.count, count);
                    QCOMPARE(layout.offsetSize, offsetSize);
                    QCOMPARE(std::string_view(layout.bytes, std::size_t(total)), std::string_view(s.bytes));
                }
            };
            check(row, fieldsKept);
            QCOMPARE(row.blockSize(),
                     count == 0 && fieldsKept == 0
                         ? std::size_t(0)
                         : header + std::size_t(count) * std::size_t(offsetSize) + std::size_t(total));
            const PackedRow copy = row;
            check(copy, fieldsKept);
            QCOMPARE(before.cell(0), std::string_view("abc"));
            QCOMPARE(before.fieldsAsRead(), 2);
            QCOMPARE(after.cell(0), std::string_view("xyz"));
            QCOMPARE(after.fieldsAsRead(), 1);
            if (count == 0)
                continue;
            // An edit in place forgets the fields as read and keeps every other cell; one that
            // grows the last cell (at the same width of offsets) does too.
            PackedRow shrunk = row;
            QVERIFY(shrunk.replaceCell(count - 1, ""));
            QCOMPARE(shrunk.fieldsAsRead(), 0);
            QVERIFY(shrunk.cellEmpty(count - 1));
            QCOMPARE(shrunk.cell(0), row.cell(0));
            PackedRow grown = row;
            if (total + 1 != 0x100 && total + 1 != 0x10000) {
                QVERIFY(grown.replaceCell(count - 1, std::string(row.cell(count - 1)) + "!"));
                QCOMPARE(grown.fieldsAsRead(), 0);
                QCOMPARE(grown.cell(count - 1), std::string(row.cell(count - 1)) + "!");
                QCOMPARE(grown.cell(0), row.cell(0));
                QCOMPARE(grown.size(), count);
            }
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
