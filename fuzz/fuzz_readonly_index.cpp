// Indexes arbitrary bytes with the read-only container and loads them with the editable one,
// under every standard, several delimiters, one- and multi-byte encodings and small pieces. Where
// both must read a cell alike they must agree: the row count always; every cell whose raw text
// holds no quoting that the two read differently; every row but the last fits in numCols. Cells
// read in one batch equal the cells read one by one.

#include "storage/editabledatacontainer.h"
#include "storage/readonlydatacontainer.h"

#include <QFile>
#include <QTemporaryDir>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

void check(bool condition) {
    if (!condition)
        std::abort();
}

const char kDelimiters[] = {',', ';', '\t', '\x1f', '"', '\n', '\0', '|'};
const EncodingType kEncodings[] = {UTF_8, UTF_16LE, UTF_16BE, UTF_32LE, UTF_32BE, UTF_16};

struct Units {
    int width;
    std::vector<char> quote;
    bool isQuote(const std::vector<char>& cell, size_t unitIndex) const {
        return std::memcmp(cell.data() + unitIndex * width, quote.data(), width) == 0;
    }
};

// A field that the loader unquotes: an opening quote, pairs of quotes or other units, and one
// closing quote as its last unit.
bool wellFormedQuoted(const std::vector<char>& raw, const Units& u) {
    const size_t n = raw.size() / u.width;
    if (n < 2 || !u.isQuote(raw, 0))
        return false;
    for (size_t i = 1; i < n; ++i) {
        if (!u.isQuote(raw, i))
            continue;
        if (i + 1 < n && u.isQuote(raw, i + 1)) {
            ++i;
            continue;
        }
        return i == n - 1;
    }
    return false;
}

QString scratchPath() {
    static QTemporaryDir dir;
    return dir.filePath(QStringLiteral("input.csv"));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2)
        return 0;
    const ParsingStandard standard = static_cast<ParsingStandard>(data[0] % 5);
    const char delimiter = kDelimiters[(data[0] / 5) % std::size(kDelimiters)];
    const EncodingType encoding = kEncodings[data[1] % std::size(kEncodings)];
    const bool widen = (data[1] / 8) % 2 == 0; // wide encodings: each byte one character, or raw units
    const qint64 piece = (data[1] / 16) % 4 == 0 ? 0 : 4 * (1 + (data[1] / 16) % 16);
    data += 2;
    size -= 2;

    const int width = encoding == UTF_8 ? 1 : (encoding == UTF_32LE || encoding == UTF_32BE ? 4 : 2);
    const bool big = encoding == UTF_16BE || encoding == UTF_32BE;
    QByteArray content;
    if (width == 1 || !widen) {
        content =
            QByteArray(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size - size % width));
    } else {
        for (size_t i = 0; i < size; ++i) {
            QByteArray unit(width, '\0');
            unit[big ? width - 1 : 0] = static_cast<char>(data[i]);
            content += unit;
        }
    }
    const QString path = scratchPath();
    {
        QFile f(path);
        check(f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(content) == content.size());
    }

    ReadOnlyDataContainer::setPieceSizeForTesting(piece);
    EditableDataContainer::setPieceSizeForTesting(piece);
    ReadOnlyDataContainer ro;
    EditableDataContainer ed;
    for (AbstractDataContainer* c :
         {static_cast<AbstractDataContainer*>(&ro), static_cast<AbstractDataContainer*>(&ed)}) {
        c->setFilepath(path);
        c->setDelimiter(delimiter, delimiter);
        c->setEncoding(encoding);
        c->setParsingStandard(standard);
    }
    check(ro.loadCSV());
    check(ed.loadCSV());
    check(ro.numRows() == ed.numRows());
    for (int r = 0; r + 1 < ed.numRows(); ++r)
        check(ed.numColsInRow(r) <= ro.numCols());

    const Units u{width,
                  ro.setKeyCharVecs().quote.empty() ? std::vector<char>{'"'} : ro.setKeyCharVecs().quote};
    const bool quoting = delimiter != 0 && delimiter != '"' && standard != DELIMITER_ONLY;
    std::vector<ReadOnlyDataContainer::CellPosition> all;
    std::vector<std::vector<char>> single;
    const qint64 cellCount = static_cast<qint64>(ro.numRows()) * ro.numCols();
    if (cellCount > 200000)
        return 0;
    for (int r = 0; r < ro.numRows(); ++r) {
        for (int c = 0; c < ro.numCols(); ++c) {
            std::vector<char> raw;
            ro.getRawCell(r, c, raw);
            check(raw.size() % width == 0);
            const std::vector<char> value = ro.getValue(r, c, false);
            bool agree = true;
            if (quoting && !raw.empty() && u.isQuote(raw, 0)) {
                // A field that opens with a quote: read-only mode keeps its quotes under "Sparse
                // Quotes" and "ASCII Separated Values", and strips them by its own rule under the
                // other two, which matches the loader only for a well-formed field.
                agree = (standard == RFC_4180 || standard == ALL_QUOTES) && wellFormedQuoted(raw, u);
            } else if (quoting && standard == ALL_QUOTES && !raw.empty()) {
                agree = false; // read-only mode strips the ends of an unquoted cell here
            }
            if (agree)
                check(value == ed.getValue(r, c, false));
            all.push_back({r, c});
            single.push_back(value);
        }
    }
    std::vector<std::vector<char>> batched;
    ro.getValues(all, batched);
    check(batched == single);
    check(ro.getValue(ro.numRows(), 0, false).empty());
    return 0;
}
