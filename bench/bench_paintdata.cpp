// paint-data: what painting one screen of cells costs the model. For every visible cell the view
// asks data() for the text and the background; this measures both over a 50 by 20 screen of a
// large table with a large selection and many concealed rows, at several places in the table.
// The limit is the same cells decoded straight from TableData by raw index: what any paint must
// pay at the least.

#include "benchregistry.h"
#include "benchutil.h"

#include "table/range.h"
#include "table/rangevector.h"
#include "table/tabledata.h"
#include "table/tablemodel.h"

#include <QRandomGenerator>

#include <algorithm>
#include <cstdio>
#include <set>
#include <string>
#include <vector>

namespace {

constexpr int kScreenRows = 50;
constexpr int kScreenCols = 20;

// Mixed cell texts: numbers, words, empty cells, now and then a long one.
std::vector<char> cellText(QRandomGenerator& rng, int row, int col) {
    std::string text;
    switch (rng.bounded(6)) {
    case 0:
        break;
    case 1:
        text = std::to_string(rng.bounded(1000000));
        break;
    case 2:
        text = std::to_string(row) + "." + std::to_string(col);
        break;
    case 3:
        text = "word" + std::to_string(rng.bounded(500));
        break;
    case 4:
        text = "a somewhat longer cell text " + std::to_string(row);
        break;
    default:
        text = rng.bounded(100) == 0 ? std::string(5000, 'x') : "x";
        break;
    }
    return std::vector<char>(text.begin(), text.end());
}

void buildTable(TableData& data, int rows, int cols) {
    QRandomGenerator rng(1234);
    constexpr int kChunk = 10000;
    std::vector<std::vector<std::vector<char>>> lines;
    for (int start = 0; start < rows; start += kChunk) {
        const int count = std::min(kChunk, rows - start);
        lines.assign(static_cast<std::size_t>(count), {});
        for (int i = 0; i < count; ++i) {
            auto& line = lines[static_cast<std::size_t>(i)];
            line.reserve(static_cast<std::size_t>(cols));
            for (int c = 0; c < cols; ++c)
                line.push_back(cellText(rng, start + i, c));
        }
        data.insertRowsRaw(start, lines);
    }
}

// Mostly single cells, as "select all matches" leaves them, and one in a hundred a row, column
// or block range with a few exclusions. A tenth of the cells fall on the measured screens.
RangeVector buildSelection(int ranges, int modelRows, int cols, const std::vector<int>& screenTops) {
    QRandomGenerator rng(99);
    RangeVector out;
    out.reserve(static_cast<std::size_t>(ranges));
    for (int i = 0; i < ranges; ++i) {
        if (i % 100 == 99) {
            const int kind = static_cast<int>(rng.bounded(3));
            Range r = kind == 0 ? Range(static_cast<int>(rng.bounded(modelRows)), RangeType::Row,
                                        RangeIndexType::Model)
                      : kind == 1
                          ? Range(static_cast<int>(rng.bounded(cols)), RangeType::Col, RangeIndexType::Model)
                          : Range(RangeType::Table, RangeIndexType::Model);
            if (kind == 2) {
                r.row = static_cast<int>(rng.bounded(modelRows));
                r.col = static_cast<int>(rng.bounded(cols));
                r.endRow = r.row + 5;
                r.endCol = r.col + 3;
            }
            r.excludedRows = {r.row + 1, r.row + 3};
            r.excludedCols = {r.col + 2};
            out.push_back(std::move(r));
        } else if (i % 10 == 0 && !screenTops.empty()) {
            const int top =
                screenTops[static_cast<std::size_t>(rng.bounded(static_cast<int>(screenTops.size())))];
            out.emplace_back(top + static_cast<int>(rng.bounded(kScreenRows)),
                             static_cast<int>(rng.bounded(kScreenCols)), RangeIndexType::Model);
        } else {
            out.emplace_back(static_cast<int>(rng.bounded(modelRows)), static_cast<int>(rng.bounded(cols)),
                             RangeIndexType::Model);
        }
    }
    out.front().isMainCell = true;
    return out;
}

// One screen through the model: text and background of every cell. Returns a checksum so that
// nothing is optimised away.
qint64 paintScreen(const TableModel& model, int top) {
    qint64 sum = 0;
    for (int r = top; r < top + kScreenRows; ++r) {
        for (int c = 0; c < kScreenCols; ++c) {
            const QModelIndex index = model.index(r, c);
            sum += model.data(index, Qt::DisplayRole).toString().size();
            sum += model.data(index, Qt::BackgroundRole).isValid() ? 1 : 0;
        }
    }
    return sum;
}

// The floor: the same cells decoded by raw index, no mapping, no colours.
qint64 decodeScreen(const TableData& data, const std::vector<int>& rawRows) {
    qint64 sum = 0;
    for (const int raw : rawRows) {
        for (int c = 0; c < kScreenCols; ++c)
            sum += data.getValueRaw(raw, c).toString().size();
    }
    return sum;
}

int runPaintData(const QStringList& args) {
    const int rows = static_cast<int>(BenchUtil::optionInt(args, QStringLiteral("--rows"), 1000000));
    const int cols = static_cast<int>(
        std::max<qint64>(kScreenCols, BenchUtil::optionInt(args, QStringLiteral("--cols"), 20)));
    const int ranges = static_cast<int>(BenchUtil::optionInt(args, QStringLiteral("--ranges"), 10000));
    const int concealedCount =
        static_cast<int>(BenchUtil::optionInt(args, QStringLiteral("--concealed"), 100000));
    const int repeats =
        static_cast<int>(std::max<qint64>(1, BenchUtil::optionInt(args, QStringLiteral("--repeats"), 200)));
    if (rows < 2 * kScreenRows || concealedCount >= rows / 2) {
        std::fprintf(stderr, "paint-data: need --rows of at least %d and --concealed below half of them\n",
                     2 * kScreenRows);
        return 2;
    }

    const BenchUtil::Timer buildTimer;
    TableModel model(true);
    buildTable(model.getTableData(), rows, cols);
    QRandomGenerator rng(5);
    std::set<int> drawn;
    while (static_cast<int>(drawn.size()) < concealedCount)
        drawn.insert(static_cast<int>(rng.bounded(rows)));
    const std::vector<int> concealed(drawn.begin(), drawn.end());
    model.getTableData().concealRawRows(concealed);
    const int modelRows = model.rowCountModel();
    const std::vector<int> tops{0, modelRows / 2, modelRows - kScreenRows};
    RangeVector selection = buildSelection(ranges, modelRows, cols, tops);
    model.setSelection(selection, true);
    RangeVector highlight;
    for (int i = 0; i < 200; ++i)
        highlight.emplace_back(static_cast<int>(rng.bounded(rows)), static_cast<int>(rng.bounded(cols)),
                               RangeIndexType::Raw);
    model.setHighlightedRange(highlight);
    model.setShadeEveryOtherRow(true);
    const double buildSeconds = buildTimer.seconds();

    // First paint builds the lookups; it is reported apart.
    BenchUtil::Timer firstTimer;
    qint64 checksum = paintScreen(model, tops[0]);
    const double firstPaint = firstTimer.seconds();

    std::vector<double> modelTimes;
    std::vector<double> floorTimes;
    std::vector<double> modelWall; // the machine is shared: CPU time is the figure, wall time the check
    for (int i = 0; i < repeats; ++i) {
        const int top = tops[static_cast<std::size_t>(i) % tops.size()];
        const BenchUtil::Timer modelTimer;
        checksum += paintScreen(model, top);
        modelTimes.push_back(modelTimer.cpuSeconds());
        modelWall.push_back(modelTimer.seconds());

        std::vector<int> rawRows;
        for (int r = top; r < top + kScreenRows; ++r)
            rawRows.push_back(model.getRawFromModelRow(r));
        const BenchUtil::Timer floorTimer;
        checksum += decodeScreen(model.getTableData(), rawRows);
        floorTimes.push_back(floorTimer.cpuSeconds());
    }
    const double modelUs = BenchUtil::median(modelTimes) * 1e6;
    const double floorUs = BenchUtil::median(floorTimes) * 1e6;
    const qint64 rss = BenchUtil::peakRssBytes();

    std::printf("paint-data: %d rows x %d cols, %d concealed rows, %zu selection ranges, screen %d x %d, "
                "median of %d screens (checksum %lld)\n",
                rows, cols, static_cast<int>(concealed.size()), model.getSelection().size(), kScreenRows,
                kScreenCols, repeats, static_cast<long long>(checksum));
    BenchUtil::printFigures({
        {"paint-data", "screen data(text+bg), CPU", modelUs, "us", floorUs, "raw decode of the same cells"},
        {"paint-data", "screen, wall clock", BenchUtil::median(modelWall) * 1e6, "us", 0, ""},
        {"paint-data", "first screen (lookups built)", firstPaint * 1e6, "us", 0, ""},
        {"paint-data", "table build", buildSeconds, "s", 0, ""},
        {"paint-data", "peak RSS", static_cast<double>(rss) / 1048576.0, "MiB", 0, ""},
    });
    return 0;
}

BenchRegistration registration("paint-data",
                               "paint-data [--rows N] [--cols N] [--ranges N] [--concealed N] [--repeats N]: "
                               "data() text and background for a 50x20 screen, in microseconds",
                               &runPaintData);

} // namespace
