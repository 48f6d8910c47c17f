#pragma once

// Shared body of the loader fuzz targets. The first bytes choose the parameters, the rest is
// the file. Checked on every input: the load succeeds, the sizes are consistent, a load in
// small pieces, a load by the plain scan and a load in parts at once give the table read whole,
// and a table saved under every standard that quotes reads back to the same cells.
#include "storage/editabledatacontainer.h"
#include "util/fileparameterutilities.h"

#include <QFile>
#include <QString>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <unistd.h>

namespace LoadFuzz {

enum class Variant { SingleByte, NoDelimiter, MultiByte, NoDelimiterMultiByte };

inline void check(bool condition) {
    if (!condition)
        std::abort();
}

inline QString scratch(const char* what) {
    return QStringLiteral("/tmp/orvane-fuzz-%1-%2").arg(QString::fromLatin1(what)).arg(::getpid());
}

inline bool writeBytes(const QString& path, const uint8_t* data, size_t size) {
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    return f.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size)) ==
           static_cast<qint64>(size);
}

struct Params {
    char delimiter = ',';
    ParsingStandard standard = RFC_4180;
    EncodingType encoding = UTF_8;
    qint64 pieceSize = 0;
};

inline bool load(EditableDataContainer& c, const QString& path, const Params& p, Variant variant,
                 qint64 pieceSize) {
    EditableDataContainer::setPieceSizeForTesting(pieceSize);
    c.setFilepath(path);
    c.setDelimiter(p.delimiter, p.delimiter);
    c.setParsingStandard(p.standard);
    c.setEncoding(p.encoding);
    bool ok = false;
    switch (variant) {
    case Variant::SingleByte:
        ok = c.loadCSV();
        break;
    case Variant::NoDelimiter:
        ok = c.loadCSVNoDelimiter();
        break;
    case Variant::MultiByte:
        ok = c.loadCSVMultiByte();
        break;
    case Variant::NoDelimiterMultiByte:
        ok = c.loadCSVNoDelimiterMultiByte();
        break;
    }
    EditableDataContainer::setPieceSizeForTesting(0);
    return ok;
}

inline bool sameCells(EditableDataContainer& a, EditableDataContainer& b) {
    if (a.numRows() != b.numRows() || a.numCols() != b.numCols())
        return false;
    for (int r = 0; r < a.numRows(); ++r)
        for (int col = 0; col < a.numCols(); ++col)
            if (a.getValue(r, col) != b.getValue(r, col))
                return false;
    return true;
}

inline void checkRoundTrip(EditableDataContainer& original, const Params& p, Variant variant,
                           ParsingStandard standard, bool viaSave) {
    const QString saved = scratch("saved");
    original.setParsingStandard(standard);
    original.setSaveWithTrailingDelimiters(true);
    if (viaSave) {
        const QString before = original.getFilepath();
        check(original.saveCSV(saved, false, false, {}, {}));
        original.setFilepath(before);
    } else {
        // The lines saveCSV writes, without its sync to disk, which would cost most of the run.
        std::vector<char> bytes;
        if (original.getHasBom() &&
            AbstractDataContainer::isBomConsistentWithEncoding(original.getBom(), p.encoding))
            bytes = original.getBom();
        for (int r = 0; r < original.numRowsPhysical(); ++r)
            original.getRowCSVString(bytes, r, MASK_ALL_BUT_LISTED, {});
        check(writeBytes(saved, reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()));
    }
    EditableDataContainer back;
    Params q = p;
    q.standard = standard;
    check(load(back, saved, q, variant, 0));
    check(back.numRows() == original.numRowsPhysical());
    for (int r = 0; r < original.numRowsPhysical(); ++r)
        for (int col = 0; col < original.numCols(); ++col)
            check(back.getValue(r, col) == original.getValue(r, col));
    QFile::remove(saved);
}

inline int run(const uint8_t* data, size_t size, Variant variant) {
    if (size < 3)
        return 0;
    static const char delimiters[] = {',', ';', '\t', '|', '"', '\n', '\r', 31, 'a', ' '};
    static const EncodingType multiByte[] = {
        UTF_16, UTF_16LE, UTF_16BE, UTF_16_GUESSED_BE, UTF_16_GUESSED_LE,
        UTF_32, UTF_32LE, UTF_32BE, UTF_32_GUESSED_BE, UTF_32_GUESSED_LE};
    static const EncodingType singleByte[] = {UTF_8, ISO_8859_1, SHIFT_JIS, WINDOWS_1252};
    const bool wide = variant == Variant::MultiByte || variant == Variant::NoDelimiterMultiByte;
    const bool delimited = variant == Variant::SingleByte || variant == Variant::MultiByte;

    Params p;
    p.delimiter = delimited ? delimiters[data[0] % sizeof delimiters] : '\0';
    p.standard = ParsingStandard(data[1] % 6);
    p.encoding = wide ? multiByte[(data[1] / 6) % 10] : singleByte[(data[1] / 6) % 4];
    const qint64 smallPiece = 1 + data[2] % 16;

    const QString path = scratch("input");
    if (!writeBytes(path, data + 3, size - 3))
        return 0;

    EditableDataContainer whole;
    check(load(whole, path, p, variant, 0));
    check(whole.numRowsPhysical() <= whole.numRows());
    const int width = Utilities::numBytesPerChar(p.encoding);
    for (int r = 0; r < whole.numRowsPhysical(); ++r) {
        check(whole.numCols() >= whole.numColsInRow(r));
        check(whole.numCols() >= whole.numCellsStored(r));
        for (int col = 0; col < whole.numCellsStored(r); ++col)
            check(whole.getValue(r, col).size() % static_cast<size_t>(width) == 0);
    }
    if (!delimited)
        check(whole.numCols() <= 1);

    EditableDataContainer pieces;
    check(load(pieces, path, p, variant, smallPiece));
    check(sameCells(whole, pieces));
    check(whole.getHasBom() == pieces.getHasBom());

    if (!wide) {
        // The plain scan that every processor runs reads the same table as the best one here.
        EditableDataContainer plain;
        EditableDataContainer::setInstructionSetForTesting(1);
        check(load(plain, path, p, variant, 0));
        EditableDataContainer::setInstructionSetForTesting(0);
        check(sameCells(whole, plain));
    }

    // Read in parts at once, wherever their starts fall, with or without the loader reading
    // parts itself: the same rows, stored alike.
    EditableDataContainer split;
    EditableDataContainer::setSplitLoadForTesting(2 + data[2] % 61, (data[2] & 64) != 0);
    check(load(split, path, p, variant, 0));
    EditableDataContainer::setSplitLoadForTesting(0);
    check(sameCells(whole, split));
    check(split.numRowsPhysical() == whole.numRowsPhysical());
    for (int r = 0; r < whole.numRowsPhysical(); ++r)
        check(split.numCellsStored(r) == whole.numCellsStored(r));

    // Quotes can round-trip any cell unless the delimiter itself is a quote or a line ending.
    const bool quotable = delimited && p.delimiter != '"' && p.delimiter != '\n' && p.delimiter != '\r';
    if (quotable) {
        // A first cell that starts with the bytes of the encoding's BOM is quoted by a save
        // only: the lines alone can't know they start the file.
        bool startsLikeBom = false;
        std::vector<std::vector<char>> marks{AbstractDataContainer::getEncodingBom(p.encoding)};
        if (p.encoding == UTF_16)
            marks = {AbstractDataContainer::getEncodingBom(UTF_16BE),
                     AbstractDataContainer::getEncodingBom(UTF_16LE)};
        if (p.encoding == UTF_32)
            marks = {AbstractDataContainer::getEncodingBom(UTF_32BE),
                     AbstractDataContainer::getEncodingBom(UTF_32LE)};
        if (whole.numRowsPhysical() > 0 && whole.numCellsStored(0) > 0) {
            const std::string_view first = whole.cellView(0, 0);
            for (const std::vector<char>& mark : marks)
                startsLikeBom = startsLikeBom || (!mark.empty() && first.size() >= mark.size() &&
                                                  std::equal(mark.begin(), mark.end(), first.begin()));
        }
        for (const ParsingStandard standard : {ALL_QUOTES, RFC_4180, SPARSE_QUOTES, ASCII_SEPARATED_VALUES})
            checkRoundTrip(whole, p, variant, standard, startsLikeBom);
    }
    QFile::remove(path);
    return 0;
}

} // namespace LoadFuzz
