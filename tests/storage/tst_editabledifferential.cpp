// Random sequences of edits on the packed container against a plain model that keeps one
// vector per cell under the same rules: logical and physical sizes, stored cell counts and
// every cell must agree after each step.
#include "storage/editabledatacontainer.h"

#include <QRandomGenerator>
#include <QTest>

#include <algorithm>

namespace {

using Cells = std::vector<std::vector<char>>;

bool contains(const std::vector<int>& sorted, int value) {
    return std::binary_search(sorted.begin(), sorted.end(), value);
}

// The model: a row is a vector of cells, an unstored cell is one past the row's end.
struct Model {
    std::vector<Cells> rows;
    int numRows = 0;
    int numCols = 0;

    void resizeCols(int n) {
        for (auto& r : rows)
            if (static_cast<int>(r.size()) > n)
                r.resize(static_cast<size_t>(n));
        numCols = n;
    }
    void setValue(int row, int col, const std::vector<char>& value) {
        if (row < 0 || col < 0)
            return;
        if (row >= static_cast<int>(rows.size())) {
            rows.resize(static_cast<size_t>(row) + 1);
            numRows = row + 1;
        }
        if (col >= numCols)
            resizeCols(col + 1);
        auto& r = rows[static_cast<size_t>(row)];
        if (col >= static_cast<int>(r.size())) {
            if (value.empty())
                return;
            r.resize(static_cast<size_t>(col) + 1);
        }
        r[static_cast<size_t>(col)] = value;
    }
    void resizeRows(int n) {
        if (n < 0)
            return;
        if (static_cast<int>(rows.size()) > n)
            rows.resize(static_cast<size_t>(n));
        numRows = n;
    }
    void setRow(int row, const Cells& cells) {
        if (row < 0)
            return;
        if (row >= static_cast<int>(rows.size()))
            rows.resize(static_cast<size_t>(row) + 1);
        numRows = std::max(numRows, row + 1);
        numCols = std::max(numCols, static_cast<int>(cells.size()));
        Cells r = cells;
        while (!r.empty() && r.back().empty())
            r.pop_back();
        rows[static_cast<size_t>(row)] = r;
    }
    void setCol(int col, const Cells& cells) {
        if (col < 0)
            return;
        numCols = std::max(numCols, col + 1);
        numRows = std::max(numRows, static_cast<int>(cells.size()));
        for (size_t i = 0; i < cells.size(); ++i) {
            if (cells[i].empty()) {
                if (i < rows.size() && static_cast<size_t>(col) < rows[i].size())
                    rows[i][static_cast<size_t>(col)].clear();
                continue;
            }
            if (i >= rows.size())
                rows.resize(i + 1);
            if (static_cast<size_t>(col) >= rows[i].size())
                rows[i].resize(static_cast<size_t>(col) + 1);
            rows[i][static_cast<size_t>(col)] = cells[i];
        }
    }
    void insertRows(int at, const std::vector<Cells>& inserted) {
        if (at < 0 || inserted.empty())
            return;
        if (at > static_cast<int>(rows.size()))
            rows.resize(static_cast<size_t>(at));
        int widest = 0;
        std::vector<Cells> trimmed;
        for (Cells r : inserted) {
            widest = std::max(widest, static_cast<int>(r.size()));
            while (!r.empty() && r.back().empty())
                r.pop_back();
            trimmed.push_back(r);
        }
        rows.insert(rows.begin() + at, trimmed.begin(), trimmed.end());
        numRows = std::max(numRows, at) + static_cast<int>(inserted.size());
        numCols = std::max(numCols, widest);
    }
    void insertCols(int at, const std::vector<Cells>& cols) {
        if (at < 0 || cols.empty())
            return;
        size_t tallest = 0;
        size_t lastNeeded = 0;
        for (const auto& column : cols) {
            tallest = std::max(tallest, column.size());
            for (size_t i = column.size(); i > 0; --i)
                if (!column[i - 1].empty()) {
                    lastNeeded = std::max(lastNeeded, i);
                    break;
                }
        }
        if (rows.size() < lastNeeded)
            rows.resize(lastNeeded);
        for (size_t i = 0; i < rows.size(); ++i) {
            auto& r = rows[i];
            bool anyValue = false;
            for (const auto& column : cols)
                anyValue = anyValue || (i < column.size() && !column[i].empty());
            if (r.size() <= static_cast<size_t>(at) && !anyValue)
                continue;
            if (r.size() < static_cast<size_t>(at))
                r.resize(static_cast<size_t>(at));
            Cells add(cols.size());
            for (size_t k = 0; k < cols.size(); ++k)
                if (i < cols[k].size())
                    add[k] = cols[k][i];
            r.insert(r.begin() + at, add.begin(), add.end());
            while (!r.empty() && r.back().empty())
                r.pop_back();
        }
        numCols = std::max(numCols, at) + static_cast<int>(cols.size());
        numRows = std::max(numRows, static_cast<int>(tallest));
    }
    void insertEmptyRows(int at, int count) {
        if (at < 0 || count < 1)
            return;
        if (at >= static_cast<int>(rows.size())) {
            numRows = std::max(numRows, at) + count;
            return;
        }
        rows.insert(rows.begin() + at, static_cast<size_t>(count), Cells());
        numRows += count;
    }
    void insertEmptyCols(int at, int count) {
        if (at < 0 || count < 1)
            return;
        if (at >= numCols) {
            numCols = at + count;
            return;
        }
        for (auto& r : rows)
            if (static_cast<int>(r.size()) > at)
                r.insert(r.begin() + at, static_cast<size_t>(count), std::vector<char>());
        numCols += count;
    }
    void removeRows(int at, int count) {
        if (at < 0 || count < 1 || at >= numRows)
            return;
        const int n = std::min(count, numRows - at);
        if (at < static_cast<int>(rows.size()))
            rows.erase(rows.begin() + at, rows.begin() + std::min(at + n, static_cast<int>(rows.size())));
        numRows -= n;
    }
    void removeCols(int at, int count) {
        if (at < 0 || count < 1 || at >= numCols)
            return;
        const int n = std::min(count, numCols - at);
        for (auto& r : rows)
            if (at < static_cast<int>(r.size()))
                r.erase(r.begin() + at, r.begin() + std::min(at + n, static_cast<int>(r.size())));
        numCols -= n;
    }
    void copyRow(int from, int to) {
        if (from < 0 || to < 0 || from == to)
            return;
        if (to >= static_cast<int>(rows.size())) {
            rows.resize(static_cast<size_t>(to) + 1);
            numRows = to + 1;
        }
        rows[static_cast<size_t>(to)] =
            from < static_cast<int>(rows.size()) ? rows[static_cast<size_t>(from)] : Cells();
    }
    void copyCol(int from, int to) {
        if (from < 0 || to < 0 || from == to)
            return;
        if (to >= numCols)
            resizeCols(to + 1);
        for (auto& r : rows) {
            const bool hasFrom =
                static_cast<size_t>(from) < r.size() && !r[static_cast<size_t>(from)].empty();
            if (!hasFrom) {
                if (static_cast<size_t>(to) < r.size())
                    r[static_cast<size_t>(to)].clear();
                continue;
            }
            if (static_cast<size_t>(to) >= r.size())
                r.resize(static_cast<size_t>(to) + 1);
            r[static_cast<size_t>(to)] = r[static_cast<size_t>(from)];
        }
    }
    std::vector<int> emptyRows(int index, GetRowColMaskType type, const std::vector<int>& mask) const {
        std::vector<int> result;
        for (int row = 0; row < std::max(numRows, static_cast<int>(rows.size())); ++row) {
            bool empty = true;
            if (row < static_cast<int>(rows.size())) {
                const Cells& r = rows[static_cast<size_t>(row)];
                for (int col = 0; col < static_cast<int>(r.size()); ++col) {
                    const bool looked = type == MASK_ONLY_LISTED
                                            ? contains(mask, col)
                                            : col >= index && (type == MASK_ALL || !contains(mask, col));
                    if (looked && !r[static_cast<size_t>(col)].empty())
                        empty = false;
                }
            }
            if (empty)
                result.push_back(row);
        }
        return result;
    }
    std::vector<int> emptyCols(int index, GetRowColMaskType type, const std::vector<int>& mask) const {
        std::vector<int> result;
        for (int col = 0; col < numCols; ++col) {
            bool empty = true;
            for (int row = 0; row < static_cast<int>(rows.size()); ++row) {
                const bool looked = type == MASK_ONLY_LISTED
                                        ? contains(mask, row)
                                        : row >= index && (type == MASK_ALL || !contains(mask, row));
                const Cells& r = rows[static_cast<size_t>(row)];
                if (looked && col < static_cast<int>(r.size()) && !r[static_cast<size_t>(col)].empty())
                    empty = false;
            }
            if (empty)
                result.push_back(col);
        }
        return result;
    }
    int width(int row) const {
        if (row < 0 || row >= static_cast<int>(rows.size()))
            return 0;
        const Cells& r = rows[static_cast<size_t>(row)];
        int w = static_cast<int>(r.size());
        while (w > 0 && r[static_cast<size_t>(w) - 1].empty())
            --w;
        return w;
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
    if (c.numRowsPhysical() != static_cast<int>(m.rows.size()))
        return QStringLiteral("physical rows %1 vs %2").arg(c.numRowsPhysical()).arg(m.rows.size());
    for (int r = 0; r < c.numRowsPhysical(); ++r) {
        const Cells& row = m.rows[static_cast<size_t>(r)];
        if (c.numCellsStored(r) != static_cast<int>(row.size()))
            return QStringLiteral("row %1 stores %2 vs %3 cells")
                .arg(r)
                .arg(c.numCellsStored(r))
                .arg(row.size());
        if (c.numColsInRow(r) != m.width(r))
            return QStringLiteral("row %1 width %2 vs %3").arg(r).arg(c.numColsInRow(r)).arg(m.width(r));
        for (int col = 0; col <= static_cast<int>(row.size()); ++col) {
            const std::vector<char> expected =
                col < static_cast<int>(row.size()) ? row[static_cast<size_t>(col)] : std::vector<char>();
            const std::string_view view = c.cellView(r, col);
            if (c.getValue(r, col) != expected || std::vector<char>(view.begin(), view.end()) != expected)
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
                if (n >= 0)
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
                for (int r = static_cast<int>(m.rows.size()) - 1; r >= 0 && m.width(r) == 0; --r)
                    ++emptyRowsAtEnd;
                int widest = 0;
                for (int r = 0; r < static_cast<int>(m.rows.size()); ++r)
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
