#include "util/uuidutilities.h"

#include "util/textutilities.h"

#include <QDateTime>
#include <QRandomGenerator64>

namespace Utilities {

namespace {

QString shaped(QString uuid, bool braces, bool upperCase) {
    if (upperCase)
        uuid = uuid.toUpper();
    return braces ? QLatin1Char('{') + uuid + QLatin1Char('}') : uuid;
}

// 8-4-4-4-12 hex digits of the two 64-bit halves.
QString formatUuid(quint64 high, quint64 low, bool upperCase) {
    const char* digits = upperCase ? "0123456789ABCDEF" : "0123456789abcdef";
    QString out(36, Qt::Uninitialized);
    int at = 0;
    for (int i = 0; i < 32; ++i) {
        if (i == 8 || i == 12 || i == 16 || i == 20)
            out[at++] = QLatin1Char('-');
        const quint64 word = i < 16 ? high : low;
        const int shift = 60 - 4 * (i % 16);
        out[at++] = QLatin1Char(digits[(word >> shift) & 0xf]);
    }
    return out;
}

} // namespace

QString generateUuid(bool braces, bool upperCase, UuidType type) {
    return shaped(createUuid(type), braces, upperCase);
}

void generateUuids(std::vector<QString>& out, bool braces, bool upperCase, UuidType type) {
    if (type != UuidV7) {
        for (QString& uuid : out)
            uuid = generateUuid(braces, upperCase, type);
        return;
    }
    // 48 bits of milliseconds, the version, 12 random bits, the variant and 62 random bits.
    // Within one millisecond the 74 random bits count up from a random start instead.
    QRandomGenerator64* random = QRandomGenerator64::system();
    quint64 lastMs = 0;
    quint64 counterHigh = 0; // the 12 bits after the version
    quint64 counterLow = 0;  // the 62 bits after the variant
    for (QString& uuid : out) {
        quint64 ms = quint64(QDateTime::currentMSecsSinceEpoch());
        if (ms > lastMs || (counterHigh == 0 && counterLow == 0 && lastMs == 0)) {
            lastMs = ms;
            counterHigh = random->generate() & 0x7ffu; // room to count up in
            counterLow = random->generate64() & 0x3fffffffffffffffULL;
        } else {
            ms = lastMs;
            counterLow = (counterLow + 1 + (random->generate() & 0xffffu)) & 0x3fffffffffffffffULL;
            if (counterLow < 0x10000u && ++counterHigh > 0xfffu) {
                // The counter ran out: borrow the next millisecond.
                lastMs = ++ms;
                counterHigh = 0;
            }
        }
        const quint64 high = (ms << 16) | 0x7000u | counterHigh;
        const quint64 low = 0x8000000000000000ULL | counterLow;
        uuid = formatUuid(high, low, upperCase);
        if (braces)
            uuid = QLatin1Char('{') + uuid + QLatin1Char('}');
    }
}

} // namespace Utilities
