#pragma once

#include "storage/fileparameters.h"

#include <QByteArray>
#include <QString>

#include <cstdint>

// Deterministic delimited test data: the same options give the same bytes on every machine.
// Rows mix integers, decimals, words, dates, empty cells and quoted cells that hold the
// delimiter, doubled quotes and line breaks; some rows are shorter or longer than the rest.
struct DataGenOptions {
    qint64 sizeBytes = 100LL << 20; // the output stops at the first row end at or past this size
    quint64 seed = 1;
    char delimiter = ',';
    EncodingType encoding = UTF_8; // 2- and 4-byte encodings widen each ASCII byte
    LineEndingType lineEnding = LINE_ENDING_UNIX;
    int columns = 10;      // the usual row width
    int raggedPercent = 5; // rows with another width
    int quotedPercent = 8; // cells that need quotes
    int emptyPercent = 10; // empty cells
};

// A small, fast generator (splitmix64) so that data generation never dominates a benchmark.
class DataRandom {
public:
    explicit DataRandom(quint64 seed) : state(seed) {}
    quint64 next() {
        quint64 z = (state += 0x9E3779B97F4A7C15ULL);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
        return z ^ (z >> 31);
    }
    // Uniform in [0, bound).
    quint32 below(quint32 bound) { return static_cast<quint32>((next() >> 32) * bound >> 32); }

private:
    quint64 state;
};

class DataGenerator {
public:
    explicit DataGenerator(const DataGenOptions& options);

    // Appends whole rows to `out` until it has grown by at least `bytes` (in the encoding).
    void appendRows(QByteArray& out, qint64 bytes);
    qint64 rowsWritten() const { return rows; }

private:
    void appendCell(QByteArray& ascii);
    void appendAscii(QByteArray& out, const QByteArray& ascii) const;

    DataGenOptions opts;
    DataRandom random;
    qint64 rows = 0;
    QByteArray line; // the row under construction, in ASCII
};

// Whole data sets, in memory or as a file.
QByteArray generateDelimitedData(const DataGenOptions& options);
bool generateDelimitedFile(const QString& path, const DataGenOptions& options,
                           qint64* bytesWritten = nullptr);
