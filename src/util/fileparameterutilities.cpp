#include "util/fileparameterutilities.h"

#include <QFile>

#include <algorithm>
#include <array>
#include <vector>

namespace Utilities {

namespace {

struct EncodingName {
    EncodingType type;
    const char* display;
    const char* codec;
};

// Display text and codec name of every encoding, in value order.
constexpr std::array<EncodingName, kNumEncodingTypes> kEncodingNames{{
    {UTF_8, "UTF-8", "UTF-8"},
    {UTF_16, "UTF-16", "UTF-16"},
    {UTF_16BE, "UTF-16BE", "UTF-16BE"},
    {UTF_16LE, "UTF-16LE", "UTF-16LE"},
    {UTF_16_GUESSED_BE, "UTF-16", "UTF-16BE"},
    {UTF_16_GUESSED_LE, "UTF-16", "UTF-16LE"},
    {UTF_32, "UTF-32", "UTF-32"},
    {UTF_32LE, "UTF-32LE", "UTF-32LE"},
    {UTF_32BE, "UTF-32BE", "UTF-32BE"},
    {UTF_32_GUESSED_BE, "UTF-32", "UTF-32BE"},
    {UTF_32_GUESSED_LE, "UTF-32", "UTF-32LE"},
    {ISO_8859_1, "ISO 8859-1 (Western European)", "ISO 8859-1"},
    {ISO_8859_2, "ISO 8859-2 (Central European)", "ISO 8859-2"},
    {ISO_8859_3, "ISO 8859-3 (South European)", "ISO 8859-3"},
    {ISO_8859_4, "ISO 8859-4 (North European)", "ISO 8859-4"},
    {ISO_8859_5, "ISO 8859-5 (Latin/Cyrillic)", "ISO 8859-5"},
    {ISO_8859_6, "ISO 8859-6 (Latin/Arabic)", "ISO 8859-6"},
    {ISO_8859_7, "ISO 8859-7 (Latin/Green)", "ISO 8859-7"},
    {ISO_8859_8, "ISO 8859-8 (Latin/Hebrew)", "ISO 8859-8"},
    {ISO_8859_9, "ISO 8859-9 (Turkish)", "ISO 8859-9"},
    {ISO_8859_10, "ISO 8859-10 (Nordic)", "ISO 8859-10"},
    {ISO_8859_13, "ISO 8859-13 (Baltic Rim)", "ISO 8859-13"},
    {ISO_8859_14, "ISO 8859-14 (Celtic)", "ISO 8859-14"},
    {ISO_8859_15, "ISO 8859-15 (Latin-9)", "ISO 8859-15"},
    {ISO_8859_16, "ISO 8859-16 (South-Eastern European)", "ISO 8859-16"},
    {WINDOWS_1250, "Windows-1250 (Central European)", "Windows-1250"},
    {WINDOWS_1251, "Windows-1251 (Cyrillic)", "Windows-1251"},
    {WINDOWS_1252, "Windows-1252 (Western European, ANSI)", "Windows-1252"},
    {WINDOWS_1253, "Windows-1253 (Greek)", "Windows-1253"},
    {WINDOWS_1254, "Windows-1254 (Turkish)", "Windows-1254"},
    {WINDOWS_1255, "Windows-1255 (Hebrew)", "Windows-1255"},
    {WINDOWS_1256, "Windows-1256 (Arabic)", "Windows-1256"},
    {WINDOWS_1257, "Windows-1257 (Baltic)", "Windows-1257"},
    {WINDOWS_1258, "Windows-1258 (Vietnamese)", "Windows-1258"},
    {CP949, "Windows-949 (Korean)", "CP949"},
    {EUC_KR, "EUC-KR (Korean)", "EUC_KR"},
    {EUC_JP, "EUC-JP (Japanese)", "EUC_JP"},
    {ISO_2022_JP, "ISO 2022-JP (Japanese)", "ISO 2022-JP"},
    {SHIFT_JIS, "Shift-JIS (Japanese)", "Shift-JIS"},
    {BIG5_HKSCS, "Big5-HKSCS (Chinese)", "Big5-HKSCS"},
    {BIG5, "Big5 (Chinese)", "Big5"},
    {GB_18030, "GB 18030 (Chinese)", "GB 18030"},
    {KOI8_U, "KOI8-U (Ukrainian)", "KOI8-U"},
    {KOI8_R, "KOI8-R (Russian)", "KOI8-R"},
}};

// Lower case without blanks, "-" and "_": the form in which encoding names are compared.
QString normalizedEncodingText(const QString& text) {
    QString out;
    out.reserve(text.size());
    for (const QChar ch : text) {
        if (ch.isSpace() || ch == u'-' || ch == u'_')
            continue;
        out.append(ch.toLower());
    }
    return out;
}

// The name part of a display text, without the region in parentheses.
QString displayNameKey(const char* display) {
    QString name = QString::fromLatin1(display);
    const qsizetype paren = name.indexOf(u'(');
    if (paren >= 0)
        name.truncate(paren);
    return normalizedEncodingText(name);
}

bool inRange(int value, int low, int high) {
    return value >= low && value <= high;
}

} // namespace

QString convertEncodingTypeToString(EncodingType type) {
    if (!inRange(type, 0, kNumEncodingTypes - 1))
        return QString::fromLatin1(kEncodingNames[UTF_8].display);
    return QString::fromLatin1(kEncodingNames[type].display);
}

QString convertEncodingTypeToCodecName(EncodingType type) {
    if (!inRange(type, 0, kNumEncodingTypes - 1))
        return QString::fromLatin1(kEncodingNames[UTF_8].codec);
    return QString::fromLatin1(kEncodingNames[type].codec);
}

EncodingType convertEncodingStringToType(const QString& text) {
    const QString key = normalizedEncodingText(text);
    if (key.isEmpty())
        return UTF_8;

    // The Unicode names first, the more specific before the plain ones.
    static const std::array<std::pair<const char*, EncodingType>, 7> unicodeKeys{{
        {"utf8", UTF_8},
        {"utf16be", UTF_16BE},
        {"utf16le", UTF_16LE},
        {"utf16", UTF_16},
        {"utf32le", UTF_32LE},
        {"utf32be", UTF_32BE},
        {"utf32", UTF_32},
    }};
    for (const auto& [name, type] : unicodeKeys) {
        if (key.contains(QLatin1String(name)))
            return type;
    }

    // The others by their name or codec name. ISO 8859-1 comes after 8859-10 to -16, whose
    // names contain its own; Big5-HKSCS comes before Big5 for the same reason.
    std::vector<int> order;
    for (int value = ISO_8859_2; value <= ISO_8859_16; ++value)
        order.push_back(value);
    order.push_back(ISO_8859_1);
    for (int value = WINDOWS_1250; value < kNumEncodingTypes; ++value)
        order.push_back(value);
    for (const int value : order) {
        const EncodingName& entry = kEncodingNames[value];
        if (key.contains(displayNameKey(entry.display)) ||
            key.contains(normalizedEncodingText(QString::fromLatin1(entry.codec))))
            return entry.type;
    }
    return UTF_8;
}

QString convertLineEndingTypeToShortString(LineEndingType type, bool abbreviated) {
    if (abbreviated)
        return type == LINE_ENDING_WINDOWS ? QStringLiteral("CRLF") : QStringLiteral("LF");
    switch (type) {
    case LINE_ENDING_WINDOWS:
        return QStringLiteral("Windows");
    case LINE_ENDING_RECORD_SEPARATOR:
        return QStringLiteral("Record Separator");
    default:
        return QStringLiteral("Unix");
    }
}

LineEndingType convertLineEndingStringToType(const QString& text) {
    QString key = text;
    key.remove(u' ');
    key = key.toLower();
    // "crlf" before "lf", which it contains.
    static const std::array<std::pair<const char*, LineEndingType>, 7> keys{{
        {"windows", LINE_ENDING_WINDOWS},
        {"unix", LINE_ENDING_UNIX},
        {"mac", LINE_ENDING_UNIX},
        {"linux", LINE_ENDING_UNIX},
        {"record", LINE_ENDING_RECORD_SEPARATOR},
        {"crlf", LINE_ENDING_WINDOWS},
        {"lf", LINE_ENDING_UNIX},
    }};
    for (const auto& [name, type] : keys) {
        if (key.contains(QLatin1String(name)))
            return type;
    }
    return LINE_ENDING_UNIX;
}

LineEndingType getLineEndingFromPlatform() {
    return LINE_ENDING_UNIX;
}

QString convertParsingStandardToString(ParsingStandard standard) {
    switch (standard) {
    case RFC_4180:
        return QStringLiteral("RFC 4180");
    case DELIMITER_ONLY:
        return QStringLiteral("Delimiter Only");
    case ALL_QUOTES:
        return QStringLiteral("All Quotes");
    case SPARSE_QUOTES:
        return QStringLiteral("Sparse Quotes");
    case ASCII_SEPARATED_VALUES:
        return QStringLiteral("ASCII Separated Values");
    default:
        return QString();
    }
}

ParsingStandard convertParsingStringToStandard(const QString& text) {
    QString key = text;
    key.remove(u' ');
    key.remove(u'-');
    key = key.toLower();
    static const std::array<std::pair<const char*, ParsingStandard>, 5> keys{{
        {"rfc4180", RFC_4180},
        {"delimiter", DELIMITER_ONLY},
        {"allquotes", ALL_QUOTES},
        {"sparsequotes", SPARSE_QUOTES},
        {"asciiseparated", ASCII_SEPARATED_VALUES},
    }};
    for (const auto& [name, standard] : keys) {
        if (key.contains(QLatin1String(name)))
            return standard;
    }
    return UNKNOWN_STANDARD;
}

QString convertDelimiterFromActualToShortReadable(const QString& delimiter) {
    if (delimiter.isEmpty())
        return QStringLiteral("(none)");
    if (delimiter == u"\t")
        return QStringLiteral("\\t");
    if (delimiter == u" ")
        return QStringLiteral("\\s");
    if (delimiter == QString(QChar::fromLatin1(KeyChars::UnitSeparator)))
        return QStringLiteral("unit separator");
    return delimiter;
}

QString convertDelimiterFromShortReadableToActual(const QString& text) {
    const QString key = text.toLower();
    if (key == u"\\t" || key == u"tab")
        return QStringLiteral("\t");
    if (key == u"\\s" || key == u"space")
        return QStringLiteral(" ");
    if (key == u"unit separator")
        return QString(QChar::fromLatin1(KeyChars::UnitSeparator));
    if (key == u"(none)" || key == u"none")
        return QString();
    return text; // "(auto)" and plain delimiters stay as they are
}

bool delimiterValid(const QString& text) {
    const QString key = text.toLower();
    if (key.size() == 1)
        return true;
    return key == u"(none)" || key == u"(auto)" || key == u"tab" || key == u"space" || key == u"\\t" ||
           key == u"\\s";
}

char getDelimiterFromAutoDetect(const QString& path) {
    constexpr char fallback = ',';
    if (path.isEmpty())
        return fallback;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return fallback;
    constexpr qint64 kSampleSize = 10000;
    std::vector<char> sample(kSampleSize);
    const qint64 got = file.read(sample.data(), kSampleSize);
    if (got <= 0)
        return fallback;

    // Counts alone decide; of equal counts the earlier candidate wins, so comma by default.
    constexpr std::array<char, 6> candidates{',', '\t', '|', ';', '^', KeyChars::UnitSeparator};
    std::array<qint64, 256> counts{};
    for (qint64 i = 0; i < got; ++i)
        ++counts[static_cast<unsigned char>(sample[static_cast<size_t>(i)])];
    char best = candidates[0];
    qint64 bestCount = counts[static_cast<unsigned char>(best)];
    for (const char candidate : candidates) {
        const qint64 count = counts[static_cast<unsigned char>(candidate)];
        if (count > bestCount) {
            best = candidate;
            bestCount = count;
        }
    }
    return best;
}

EncodingType getEncodingFromBom(EncodingType type, const QString& path) {
    // The leading bytes are read but have no say: a file with a BOM is judged by its content
    // like one without.
    if (type == UTF_16 || type == UTF_32) {
        QFile file(path);
        if (file.open(QIODevice::ReadOnly)) {
            char lead[4] = {};
            file.read(lead, type == UTF_16 ? 2 : 4);
        }
    }
    return guessEncodingFromFile(type, path);
}

EncodingType guessEncodingFromFile(EncodingType type, const QString& path) {
    if (type != UTF_16 && type != UTF_32)
        return type;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return type;
    const qint64 sampleSize = (std::min<qint64>(file.size(), 1000) / 4) * 4;
    std::vector<unsigned char> sample(static_cast<size_t>(sampleSize));
    const qint64 got = sampleSize > 0 ? file.read(reinterpret_cast<char*>(sample.data()), sampleSize) : 0;
    const qint64 usable = got > 0 ? got : 0;

    if (type == UTF_16) {
        qint64 firstZero = 0;
        qint64 secondZero = 0;
        for (qint64 i = 0; i + 1 < usable; i += 2) {
            firstZero += sample[static_cast<size_t>(i)] == 0;
            secondZero += sample[static_cast<size_t>(i + 1)] == 0;
        }
        return secondZero < firstZero ? UTF_16_GUESSED_BE : UTF_16_GUESSED_LE;
    }
    qint64 lowZero = 0;
    qint64 highZero = 0;
    for (qint64 i = 0; i + 3 < usable; i += 4) {
        const auto at = [&](qint64 k) { return sample[static_cast<size_t>(i + k)]; };
        lowZero += at(0) == 0 && at(1) == 0;
        highZero += at(2) == 0 && at(3) == 0;
    }
    return highZero < lowZero ? UTF_32_GUESSED_BE : UTF_32_GUESSED_LE;
}

} // namespace Utilities
