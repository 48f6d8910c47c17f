#include "datagen.h"

#include "util/fileparameterutilities.h"

#include <QFile>

#include <algorithm>
#include <array>
#include <cstdio>

namespace {

constexpr std::array<const char*, 24> kWords = {
    "alpha",  "bravo",   "charlie", "delta", "echo",    "foxtrot",  "golf",    "hotel",
    "india",  "juliett", "kilo",    "lima",  "mike",    "november", "oscar",   "papa",
    "quebec", "romeo",   "sierra",  "tango", "uniform", "victor",   "whiskey", "zulu"};

} // namespace

DataGenerator::DataGenerator(const DataGenOptions& options) : opts(options), random(options.seed) {
    line.reserve(4096);
}

void DataGenerator::appendCell(QByteArray& ascii) {
    const quint32 roll = random.below(100);
    if (roll < static_cast<quint32>(opts.emptyPercent))
        return;
    if (roll < static_cast<quint32>(opts.emptyPercent + opts.quotedPercent)) {
        // A quoted cell: the delimiter, a doubled quote or a line break inside.
        ascii += '"';
        ascii += kWords[random.below(kWords.size())];
        switch (random.below(3)) {
        case 0:
            ascii += opts.delimiter;
            ascii += ' ';
            break;
        case 1:
            ascii += "\"\"";
            break;
        default:
            ascii += '\n';
            break;
        }
        ascii += kWords[random.below(kWords.size())];
        ascii += '"';
        return;
    }
    char number[32];
    switch (random.below(4)) {
    case 0: {
        const int n = std::snprintf(number, sizeof number, "%u", random.below(1000000));
        ascii.append(number, n);
        break;
    }
    case 1: {
        const int n =
            std::snprintf(number, sizeof number, "%u.%02u", random.below(100000), random.below(100));
        ascii.append(number, n);
        break;
    }
    case 2: {
        const int n = std::snprintf(number, sizeof number, "20%02u-%02u-%02u", random.below(30),
                                    1 + random.below(12), 1 + random.below(28));
        ascii.append(number, n);
        break;
    }
    default:
        ascii += kWords[random.below(kWords.size())];
        if (random.below(2) == 0) {
            ascii += ' ';
            ascii += kWords[random.below(kWords.size())];
        }
        break;
    }
}

void DataGenerator::appendAscii(QByteArray& out, const QByteArray& ascii) const {
    const int width = Utilities::numBytesPerChar(opts.encoding);
    if (width == 1) {
        out += ascii;
        return;
    }
    const bool big = Utilities::getEndianness(opts.encoding) == Utilities::Endianness::Big;
    const qsizetype start = out.size();
    out.resize(start + ascii.size() * width, '\0');
    char* p = out.data() + start;
    for (const char c : ascii) {
        p[big ? width - 1 : 0] = c;
        p += width;
    }
}

void DataGenerator::appendRows(QByteArray& out, qint64 bytes) {
    const qint64 target = out.size() + bytes;
    while (out.size() < target) {
        line.clear();
        int width = opts.columns;
        if (random.below(100) < static_cast<quint32>(opts.raggedPercent))
            width = 1 + static_cast<int>(random.below(static_cast<quint32>(opts.columns) * 2));
        for (int col = 0; col < width; ++col) {
            if (col > 0 && opts.delimiter != 0)
                line += opts.delimiter;
            appendCell(line);
        }
        if (opts.lineEnding == LINE_ENDING_WINDOWS)
            line += "\r\n";
        else if (opts.lineEnding == LINE_ENDING_RECORD_SEPARATOR)
            line += '\x1e';
        else
            line += '\n';
        appendAscii(out, line);
        ++rows;
    }
}

QByteArray generateDelimitedData(const DataGenOptions& options) {
    DataGenerator generator(options);
    QByteArray out;
    out.reserve(options.sizeBytes + 4096);
    generator.appendRows(out, options.sizeBytes);
    return out;
}

bool generateDelimitedFile(const QString& path, const DataGenOptions& options, qint64* bytesWritten) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    DataGenerator generator(options);
    constexpr qint64 kChunk = 8LL << 20;
    QByteArray chunk;
    chunk.reserve(kChunk + 65536);
    qint64 written = 0;
    while (written < options.sizeBytes) {
        chunk.clear();
        generator.appendRows(chunk, std::min(kChunk, options.sizeBytes - written));
        if (file.write(chunk) != chunk.size())
            return false;
        written += chunk.size();
    }
    if (bytesWritten)
        *bytesWritten = written;
    return file.flush();
}
