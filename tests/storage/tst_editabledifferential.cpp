// Random sequences of edits on the packed container against a naive model: the whole logical
// table as a rectangle of byte arrays, changed by the plainest reading of each operation. The
// model knows nothing of how the container stores rows; it only tracks how many rows are stored
// at all, which decides a few sizes. Sizes and every cell must agree after each step.
#include "storage/editabledatacontainer.h"

#include <QByteArray>
#include <QRandomGenerator>
#include <QTest>

#include <algorithm>

namespace {

using Cells = std::vector<std::vector<char>>;

bool contains(const std::vector<int>& sorted, int value) {
    return std::binary_search(sorted.begin(), sorted.end(), value);
}

QByteArray toBytes(const std::vector<char>& v) {
    return QByteArray(v.data(), static_cast<qsizetype>(v.size()));
}

struct Model {
    std::vector<std::vector<QByteArray>> grid; // numRows rows of numCols cells each
    int numRows = 0;
    int numCols = 0;
    int stored = 0; // rows up to the last one that ever held a cell, as the container keeps them

    void reshape(int rows, int cols) {
        numRows = rows;
        numCols = cols;
        grid.resize(static_cast<size_t>(rows));
        for (auto& r : grid)
            r.resize(static_cast<size_t>(cols));
    }
    QByteArray& at(int row, int col) { return grid[static_cast<size_t>(row)][static_cast<size_t>(col)]; }
    QByteArray cell(int row, int col) const {
        if (row < 0 || col < 0 || row >= numRows || col >= numCols)
            return {};
        return grid[static_cast<size_t>(row)][static_cast<size_t>(col)];
    }
    int width(int row) const {
        int w = 0;
        for (int col = 0; col < numCols; ++col)
            if (!cell(row, col).isEmpty())
                w = col + 1;
        return w;
    }

    void setValue(int row, int col, const std::vector<char>& value) {
        if (row < 0 || col < 0)
            return;
        if (row >= stored) {
            stored = row + 1;
            reshape(row + 1, numCols); // the size follows the stored rows, even downwards
        }
        if (col >= numCols)
            reshape(numRows, col + 1);
        at(row, col) = toBytes(value);
    }
    void resizeRows(int n) {
        if (n < 0)
            return;
        reshape(n, numCols);
        stored = std::min(stored, n);
    }
    void resizeCols(int n) {
        if (n >= 0)
            reshape(numRows, n);
    }
    void setRow(int row, const Cells& cells) {
        if (row < 0)
            return;
        stored = std::max(stored, row + 1);
        reshape(std::max(numRows, row + 1), std::max(numCols, static_cast<int>(cells.size())));
        for (int col = 0; col < numCols; ++col)
            at(row, col) = col < static_cast<int>(cells.size()) ? toBytes(cells[static_cast<size_t>(col)])
                                                                : QByteArray();
    }
    void setCol(int col, const Cells& cells) {
        if (col < 0)
            return;
        reshape(std::max(numRows, static_cast<int>(cells.size())), std::max(numCols, col + 1));
        for (int row = 0; row < static_cast<int>(cells.size()); ++row) {
            at(row, col) = toBytes(cells[static_cast<size_t>(row)]);
            if (!cells[static_cast<size_t>(row)].empty())
                stored = std::max(stored, row + 1);
        }
    }
    void insertRows(int at, const std::vector<Cells>& inserted) {
        if (at < 0 || inserted.empty())
            return;
        const int count = static_cast<int>(inserted.size());
        int widest = numCols;
        for (const Cells& r : inserted)
            widest = std::max(widest, static_cast<int>(r.size()));
        reshape(std::max(numRows, at), widest);
        grid.insert(grid.begin() + at, static_cast<size_t>(count),
                    std::vector<QByteArray>(static_cast<size_t>(widest)));
        numRows += count;
        for (int k = 0; k < count; ++k)
            for (size_t col = 0; col < inserted[static_cast<size_t>(k)].size(); ++col)
                this->at(at + k, static_cast<int>(col)) = toBytes(inserted[static_cast<size_t>(k)][col]);
        stored = std::max(stored, at) + count;
    }
    void insertCols(int at, const std::vector<Cells>& cols) {
        if (at < 0 || cols.empty())
            return;
        const int count = static_cast<int>(cols.size());
        int tallest = numRows;
        for (const Cells& c : cols) {
            tallest = std::max(tallest, static_cast<int>(c.size()));
            for (int row = 0; row < static_cast<int>(c.size()); ++row)
                if (!c[static_cast<size_t>(row)].empty())
                    stored = std::max(stored, row + 1);
        }
        reshape(tallest, std::max(numCols, at));
        for (int row = 0; row < numRows; ++row) {
            std::vector<QByteArray> add(static_cast<size_t>(count));
            for (int k = 0; k < count; ++k)
                if (row < static_cast<int>(cols[static_cast<size_t>(k)].size()))
                    add[static_cast<size_t>(k)] =
                        toBytes(cols[static_cast<size_t>(k)][static_cast<size_t>(row)]);
            auto& r = grid[static_cast<size_t>(row)];
            r.insert(r.begin() + at, add.begin(), add.end());
        }
        numCols = std::max(numCols, at) + count;
        reshape(numRows, numCols);
    }
    void insertEmptyRows(int at, int count) {
        if (at < 0 || count < 1)
            return;
        reshape(std::max(numRows, at), numCols);
        grid.insert(grid.begin() + at, static_cast<size_t>(count),
                    std::vector<QByteArray>(static_cast<size_t>(numCols)));
        numRows += count;
        if (at < stored)
            stored += count;
    }
    void insertEmptyCols(int at, int count) {
        if (at < 0 || count < 1)
            return;
        reshape(numRows, std::max(numCols, at));
        for (auto& r : grid)
            r.insert(r.begin() + at, static_cast<size_t>(count), QByteArray());
        numCols += count;
    }
    void removeRows(int at, int count) {
        if (at < 0 || count < 1 || at >= numRows)
            return;
        const int n = std::min(count, numRows - at);
        grid.erase(grid.begin() + at, grid.begin() + at + n);
        numRows -= n;
        if (at < stored)
            stored -= std::min(at + n, stored) - at;
    }
    void removeCols(int at, int count) {
        if (at < 0 || count < 1 || at >= numCols)
            return;
        const int n = std::min(count, numCols - at);
        for (auto& r : grid)
            r.erase(r.begin() + at, r.begin() + at + n);
        numCols -= n;
    }
    void copyRow(int from, int to) {
        if (from < 0 || to < 0 || from == to)
            return;
        const std::vector<QByteArray> source = from < numRows
                                                   ? grid[static_cast<size_t>(from)]
                                                   : std::vector<QByteArray>(static_cast<size_t>(numCols));
        if (to >= stored) {
            stored = to + 1;
            reshape(to + 1, numCols);
        }
        grid[static_cast<size_t>(to)] = source;
    }
    void copyCol(int from, int to) {
        if (from < 0 || to < 0 || from == to)
            return;
        if (to >= numCols)
            reshape(numRows, to + 1);
        for (int row = 0; row < numRows; ++row)
            at(row, to) = cell(row, from);
    }
    // Mask rules: only the listed indexes, or from `index` on all but (or all regardless of) them.
    static bool looked(int i, int index, GetRowColMaskType type, const std::vector<int>& mask) {
        if (type == MASK_ONLY_LISTED)
            return contains(mask, i);
        return i >= index && (type == MASK_ALL || !contains(mask, i));
    }
    std::vector<int> emptyRows(int index, GetRowColMaskType type, const std::vector<int>& mask) const {
        std::vector<int> result;
        for (int row = 0; row < numRows; ++row) {
            bool empty = true;
            for (int col = 0; col < numCols; ++col)
                empty = empty && (!looked(col, index, type, mask) || cell(row, col).isEmpty());
            if (empty)
                result.push_back(row);
        }
        return result;
    }
    std::vector<int> emptyCols(int index, GetRowColMaskType type, const std::vector<int>& mask) const {
        std::vector<int> result;
        for (int col = 0; col < numCols; ++col) {
            bool empty = true;
            for (int row = 0; row < numRows; ++row)
                empty = empty && (!looked(row, index, type, mask) || cell(row, col).isEmpty());
            if (empty)
                result.push_back(col);
        }
        return result;
    }
};

class Driver {
public:
    explicit Driver(quint32 seed) : rng(seed) {}

    int index(int limit) { return static_cast<int>(rng.bounded(limit + 3)) - 1; } // -1 .. limit+1
    std::vector<char> value() {
        // Mostly short text, sometimes empty, sometimes long or with zero bytes.
        const quint32 kind = rng.bounded(10);
        if (kind < 3)
            return {};
        const int length =
            kind == 9 ? static_cast<int>(rng.bounded(300)) : 1 + static_cast<int>(rng.bounded(6));
        std::vector<char> cell(static_cast<size_t>(length));
        for (char& ch : cell)
            ch = kind == 8 ? static_cast<char>(rng.bounded(256)) : static_cast<char>('a' + rng.bounded(26));
        return cell;
    }
    Cells line(int maxLength) {
        Cells cells(static_cast<size_t>(rng.bounded(maxLength + 1)));
        for (auto& cell : cells)
            cell = value();
        return cells;
    }
    std::vector<int> mask(int limit) {
        std::vector<int> list;
        for (int i = 0; i < limit + 2; ++i)
            if (rng.bounded(3) == 0)
                list.push_back(i);
        return list;
    }

    QRandomGenerator rng;
};

// The first difference between container and model, or an empty string.
QString difference(EditableDataContainer& c, const Model& m) {
    if (c.numRows() != m.numRows || c.numCols() != m.numCols)
        return QStringLiteral("size %1x%2 vs %3x%4")
            .arg(c.numRows())
            .arg(c.numCols())
            .arg(m.numRows)
            .arg(m.numCols);
    if (c.numRowsPhysical() != m.stored)
        return QStringLiteral("stored rows %1 vs %2").arg(c.numRowsPhysical()).arg(m.stored);
    for (int r = 0; r <= m.numRows; ++r) {
        if (c.numColsInRow(r) != m.width(r))
            return QStringLiteral("row %1 width %2 vs %3").arg(r).arg(c.numColsInRow(r)).arg(m.width(r));
        for (int col = 0; col <= m.numCols; ++col) {
            const QByteArray expected = m.cell(r, col);
            const std::string_view view = c.cellView(r, col);
            if (toBytes(c.getValue(r, col)) != expected ||
                QByteArray(view.data(), static_cast<qsizetype>(view.size())) != expected)
                return QStringLiteral("cell %1,%2 differs").arg(r).arg(col);
        }
    }
    return {};
}

} // namespace

class TestEditableDifferential : public QObject {
    Q_OBJECT

private slots:
    void randomEdits_data() {
        QTest::addColumn<quint32>("seed");
        QTest::addColumn<int>("size"); // rough bound of the indices used
        for (quint32 seed = 1; seed <= 6; ++seed)
            QTest::addRow("small %u", seed) << seed << 6;
        for (quint32 seed = 11; seed <= 14; ++seed)
            QTest::addRow("wider %u", seed) << seed << 20;
    }

    void randomEdits() {
        QFETCH(quint32, seed);
        QFETCH(int, size);
        EditableDataContainer c;
        Model m;
        Driver d(seed);
        for (int step = 0; step < 1500; ++step) {
            const quint32 op = d.rng.bounded(17);
            QString what;
            switch (op) {
            case 0:
            case 1:
            case 2: {
                const int row = d.index(size), col = d.index(size);
                const std::vector<char> value = d.value();
                c.setValue(row, col, value);
                m.setValue(row, col, value);
                what = QStringLiteral("setValue(%1, %2, %3 bytes)").arg(row).arg(col).arg(value.size());
                break;
            }
            case 3: {
                const int n = d.index(size);
                c.resizeRows(n);
                m.resizeRows(n);
                what = QStringLiteral("resizeRows(%1)").arg(n);
                break;
            }
            case 4: {
                const int n = d.index(size);
                c.resizeCols(n);
                m.resizeCols(n);
                what = QStringLiteral("resizeCols(%1)").arg(n);
                break;
            }
            case 5: {
                const int row = d.index(size);
                const Cells cells = d.line(size);
                c.setRow(row, cells);
                m.setRow(row, cells);
                what = QStringLiteral("setRow(%1)").arg(row);
                break;
            }
            case 6: {
                const int col = d.index(size);
                const Cells cells = d.line(size);
                c.setCol(col, cells);
                m.setCol(col, cells);
                what = QStringLiteral("setCol(%1)").arg(col);
                break;
            }
            case 7: {
                const int at = d.index(size);
                std::vector<Cells> lines(d.rng.bounded(3));
                for (auto& line : lines)
                    line = d.line(size);
                c.insertRows(at, lines);
                m.insertRows(at, lines);
                what = QStringLiteral("insertRows(%1, %2)").arg(at).arg(lines.size());
                break;
            }
            case 8: {
                const int at = d.index(size);
                std::vector<Cells> lines(d.rng.bounded(3));
                for (auto& line : lines)
                    line = d.line(size);
                c.insertCols(at, lines);
                m.insertCols(at, lines);
                what = QStringLiteral("insertCols(%1, %2)").arg(at).arg(lines.size());
                break;
            }
            case 9: {
                const int at = d.index(size), count = d.index(3);
                c.insertEmptyRows(at, count);
                m.insertEmptyRows(at, count);
                what = QStringLiteral("insertEmptyRows(%1, %2)").arg(at).arg(count);
                break;
            }
            case 10: {
                const int at = d.index(size), count = d.index(3);
                c.insertEmptyCols(at, count);
                m.insertEmptyCols(at, count);
                what = QStringLiteral("insertEmptyCols(%1, %2)").arg(at).arg(count);
                break;
            }
            case 11: {
                const int at = d.index(size), count = d.index(3);
                c.removeRows(at, count);
                m.removeRows(at, count);
                what = QStringLiteral("removeRows(%1, %2)").arg(at).arg(count);
                break;
            }
            case 12: {
                const int at = d.index(size), count = d.index(3);
                c.removeCols(at, count);
                m.removeCols(at, count);
                what = QStringLiteral("removeCols(%1, %2)").arg(at).arg(count);
                break;
            }
            case 13: {
                const int from = d.index(size), to = d.index(size);
                c.copyRowContentsToAnotherRow(from, to);
                m.copyRow(from, to);
                what = QStringLiteral("copyRow(%1, %2)").arg(from).arg(to);
                break;
            }
            case 14: {
                const int from = d.index(size), to = d.index(size);
                c.copyColContentsToAnotherCol(from, to);
                m.copyCol(from, to);
                what = QStringLiteral("copyCol(%1, %2)").arg(from).arg(to);
                break;
            }
            case 15: {
                // The queries that scan the table; they change nothing.
                const auto type = static_cast<GetRowColMaskType>(d.rng.bounded(3));
                const int index = d.index(size);
                const std::vector<int> mask = d.mask(size);
                QCOMPARE(c.emptyRows(index, type, mask), m.emptyRows(index, type, mask));
                QCOMPARE(c.emptyCols(index, type, mask), m.emptyCols(index, type, mask));
                int emptyRowsAtEnd = 0;
                for (int r = m.stored - 1; r >= 0 && m.width(r) == 0; --r)
                    ++emptyRowsAtEnd;
                int widest = 0;
                for (int r = 0; r < m.numRows; ++r)
                    widest = std::max(widest, m.width(r));
                QCOMPARE(c.numEmptyRowsAtEnd(), emptyRowsAtEnd);
                QCOMPARE(c.numEmptyColsAtEnd(), std::max(m.numCols - widest, 0));
                const int row = d.index(size), col = d.index(size);
                Cells got;
                c.getRow(got, row);
                QCOMPARE(static_cast<int>(got.size()), m.numCols);
                for (int i = 0; i < m.numCols; ++i)
                    QCOMPARE(got[static_cast<size_t>(i)], c.getValue(row, i));
                c.getCol(got, col);
                QCOMPARE(static_cast<int>(got.size()), m.numRows);
                for (int i = 0; i < m.numRows; ++i)
                    QCOMPARE(got[static_cast<size_t>(i)], c.getValue(i, col));
                what = QStringLiteral("queries");
                break;
            }
            default:
                if (d.rng.bounded(20) == 0) {
                    c.clear();
                    m = Model();
                    what = QStringLiteral("clear");
                }
                break;
            }
            const QString why = difference(c, m);
            QVERIFY2(why.isEmpty(), qPrintable(QStringLiteral("step %1, %2: %3").arg(step).arg(what, why)));
        }
    }

    void emptyTableCostsNothing() {
        // A million logical rows and columns with nothing stored: no row exists physically.
        EditableDataContainer c;
        QVERIFY(c.resizeRows(1000000));
        QVERIFY(c.resizeCols(1000000));
        QVERIFY(c.insertEmptyRows(10, 5));
        QCOMPARE(c.numRowsPhysical(), 0);
        QCOMPARE(c.numRows(), 1000005);
        QVERIFY(c.cellView(999999, 999999).empty());
        QCOMPARE(c.numEmptyColsAtEnd(), 1000000);
    }
};

QTEST_GUILESS_MAIN(TestEditableDifferential)
#include "tst_editabledifferential.moc"
