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

// 8-4-4-4-12 hex digits of the two 64-bit halves, in braces when asked.
QString formatUuid(quint64 high, quint64 low, bool upperCase, bool braces) {
    const char* digits = upperCase ? "0123456789ABCDEF" : "0123456789abcdef";
    char16_t buffer[38];
    char16_t* p = buffer;
    if (braces)
        *p++ = u'{';
    for (int i = 0; i < 32; ++i) {
        if (i == 8 || i == 12 || i == 16 || i == 20)
            *p++ = u'-';
        const quint64 word = i < 16 ? high : low;
        *p++ = char16_t(digits[(word >> (60 - 4 * (i % 16))) & 0xf]);
    }
    if (braces)
        *p++ = u'}';
    return QString(reinterpret_cast<const QChar*>(buffer), p - buffer);
}

// xoshiro256**, seeded from the system's generator: a column of a million UUIDs would spend
// most of its time asking the system for randomness, one call per word.
class FastRandom {
public:
    FastRandom() { QRandomGenerator64::system()->fillRange(state, 4); }
    quint64 next() {
        const quint64 result = rotl(state[1] * 5, 7) * 9;
        const quint64 t = state[1] << 17;
        state[2] ^= state[0];
        state[3] ^= state[1];
        state[1] ^= state[2];
        state[0] ^= state[3];
        state[2] ^= t;
        state[3] = rotl(state[3], 45);
        return result;
    }

private:
    static quint64 rotl(quint64 x, int k) { return (x << k) | (x >> (64 - k)); }
    quint64 state[4];
};

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
    FastRandom random;
    quint64 lastMs = 0;
    quint64 counterHigh = 0; // the 12 bits after the version
    quint64 counterLow = 0;  // the 62 bits after the variant
    for (QString& uuid : out) {
        quint64 ms = quint64(QDateTime::currentMSecsSinceEpoch());
        if (ms > lastMs || (counterHigh == 0 && counterLow == 0 && lastMs == 0)) {
            lastMs = ms;
            const quint64 word = random.next();
            counterHigh = word & 0x7ffu; // room to count up in
            counterLow = random.next() & 0x3fffffffffffffffULL;
        } else {
            ms = lastMs;
            counterLow = (counterLow + 1 + (random.next() & 0xffffu)) & 0x3fffffffffffffffULL;
            if (counterLow < 0x10000u && ++counterHigh > 0xfffu) {
                // The counter ran out: borrow the next millisecond.
                lastMs = ++ms;
                counterHigh = 0;
            }
        }
        const quint64 high = (ms << 16) | 0x7000u | counterHigh;
        const quint64 low = 0x8000000000000000ULL | counterLow;
        uuid = formatUuid(high, low, upperCase, braces);
    }
}

} // namespace Utilities
