// Indexes arbitrary bytes with the read-only container and loads them with the editable one,
// under every standard, several delimiters, one- and multi-byte encodings and small pieces. Both
// must read the same table: the same size and every cell alike. Cells read in one batch equal
// the cells read one by one. Both save it to the same bytes, in rows and transposed; and where the
// standard can express every cell, the saved file loads back as the same table.

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

QString scratchPath(const char* name) {
    static QTemporaryDir dir;
    return dir.filePath(QString::fromLatin1(name));
}

QByteArray readAll(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
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
    const QString path = scratchPath("input.csv");
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
    check(ro.numCols() == ed.numCols());

    const int unitWidth = ro.getBytesPerChar() >= 2 ? ro.getBytesPerChar() : 1;
    std::vector<ReadOnlyDataContainer::CellPosition> all;
    std::vector<std::vector<char>> single;
    const qint64 cellCount = static_cast<qint64>(ro.numRows() + 1) * (ro.numCols() + 1);
    if (cellCount > 200000)
        return 0;
    for (int r = 0; r <= ro.numRows(); ++r) {
        for (int c = 0; c <= ro.numCols(); ++c) {
            std::vector<char> raw;
            ro.getRawCell(r, c, raw);
            check(raw.size() % static_cast<size_t>(unitWidth) == 0);
            const std::vector<char> value = ro.getValue(r, c, false);
            check(value == ed.getValue(r, c, false));
            all.push_back({r, c});
            single.push_back(value);
        }
    }
    std::vector<std::vector<char>> batched;
    ro.getValues(all, batched);
    check(batched == single);

    for (const bool transposed : {false, true}) {
        const QString fromEditable = scratchPath("editable.csv");
        const QString fromReadOnly = scratchPath("readonly.csv");
        check(ed.saveCSV(fromEditable, false, transposed, {}, {}));
        check(ro.saveCSV(fromReadOnly, false, transposed, {}, {}));
        check(readAll(fromEditable) == readAll(fromReadOnly));
    }

    // Quotes can say anything but for a delimiter that is itself a quote or a line ending.
    const bool expressible = standard != DELIMITER_ONLY && delimiter != 0 && delimiter != '"' &&
                             delimiter != '\n' && delimiter != '\r' && delimiter != '\x1e';
    if (expressible) {
        const QString saved = scratchPath("editable.csv");
        check(ed.saveCSV(saved, false, false, {}, {}));
        EditableDataContainer again;
        again.setFilepath(saved);
        again.setDelimiter(delimiter, delimiter);
        again.setEncoding(encoding);
        again.setParsingStandard(standard);
        check(again.loadCSV());
        check(again.numRows() == ed.numRows());
        for (int r = 0; r < ed.numRows(); ++r)
            for (int c = 0; c < ed.numCols(); ++c)
                check(again.getValue(r, c, false) == ed.getValue(r, c, false));
    }
    return 0;
}
