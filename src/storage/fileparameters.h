#pragma once

#include <QString>

// The parameters with which a delimited file is read and written.

// Values 1 and 6 know the width but not the byte order yet; 4, 5, 9 and 10 are what the
// opener resolves them to and show the same text as 1 and 6.
enum EncodingType : int {
    UTF_8 = 0,
    UTF_16 = 1,
    UTF_16BE = 2,
    UTF_16LE = 3,
    UTF_16_GUESSED_BE = 4,
    UTF_16_GUESSED_LE = 5,
    UTF_32 = 6,
    UTF_32LE = 7,
    UTF_32BE = 8,
    UTF_32_GUESSED_BE = 9,
    UTF_32_GUESSED_LE = 10,
    ISO_8859_1 = 11,
    ISO_8859_2 = 12,
    ISO_8859_3 = 13,
    ISO_8859_4 = 14,
    ISO_8859_5 = 15,
    ISO_8859_6 = 16,
    ISO_8859_7 = 17,
    ISO_8859_8 = 18,
    ISO_8859_9 = 19,
    ISO_8859_10 = 20,
    ISO_8859_13 = 21,
    ISO_8859_14 = 22,
    ISO_8859_15 = 23,
    ISO_8859_16 = 24,
    WINDOWS_1250 = 25,
    WINDOWS_1251 = 26,
    WINDOWS_1252 = 27,
    WINDOWS_1253 = 28,
    WINDOWS_1254 = 29,
    WINDOWS_1255 = 30,
    WINDOWS_1256 = 31,
    WINDOWS_1257 = 32,
    WINDOWS_1258 = 33,
    CP949 = 34,
    EUC_KR = 35,
    EUC_JP = 36,
    ISO_2022_JP = 37,
    SHIFT_JIS = 38,
    BIG5_HKSCS = 39,
    BIG5 = 40,
    GB_18030 = 41,
    KOI8_U = 42,
    KOI8_R = 43,
};
constexpr int kNumEncodingTypes = 44;

// Only used on save: every reader accepts all line endings at once. 2 and 3 are kept values
// that behave like Unix everywhere.
enum LineEndingType : int {
    LINE_ENDING_WINDOWS = 0,
    LINE_ENDING_UNIX = 1,
    LINE_ENDING_KEPT_2 = 2,
    LINE_ENDING_KEPT_3 = 3,
    LINE_ENDING_RECORD_SEPARATOR = 4,
};

enum ParsingStandard : int {
    RFC_4180 = 0,
    DELIMITER_ONLY = 1,
    ALL_QUOTES = 2,
    SPARSE_QUOTES = 3,
    ASCII_SEPARATED_VALUES = 4,
    UNKNOWN_STANDARD = 5, // text that names no standard; writes like "Delimiter Only"
};

// Which cells of a row (column) an operation covers; `mask` is a sorted list of indexes.
enum GetRowColMaskType : int {
    MASK_ONLY_LISTED = 0,    // only the indexes in the mask
    MASK_ALL_BUT_LISTED = 1, // from the first index on, all but those in the mask
    MASK_ALL = 2,            // from the first index on, all; the mask is ignored
};

// One line of the file extension table, and the parameter set of an open or import.
struct ExtensionData {
    QString extension;                       // without dot, lower case; "(none)" for no extension
    QString delimiter = QStringLiteral(","); // read delimiter, "(none)" or "(auto)"
    QString saveDelimiter = QStringLiteral(",");
    LineEndingType lineEnding = LINE_ENDING_UNIX;
    EncodingType encoding = UTF_8;
    ParsingStandard parsingStandard = RFC_4180;

    bool operator==(const ExtensionData&) const = default;
};

// Byte values the readers and writers care about.
namespace KeyChars {
constexpr char LF = 10;
constexpr char CR = 13;
constexpr char RecordSeparator = 30;
constexpr char UnitSeparator = 31;
constexpr char Quote = 34;
} // namespace KeyChars

// What an encoding's bytes look like: the width of a code unit (2 for UTF-16, 4 for UTF-32, else
// 1) and its byte order, where it has one.
namespace Utilities {
enum class Endianness { Little, Big, None };

constexpr int numBytesPerChar(EncodingType type) {
    if (type >= UTF_16 && type <= UTF_16_GUESSED_LE)
        return 2;
    if (type >= UTF_32 && type <= UTF_32_GUESSED_LE)
        return 4;
    return 1;
}

constexpr Endianness getEndianness(EncodingType type) {
    switch (type) {
    case UTF_16LE:
    case UTF_16_GUESSED_LE:
    case UTF_32LE:
    case UTF_32_GUESSED_LE:
        return Endianness::Little;
    case UTF_16BE:
    case UTF_16_GUESSED_BE:
    case UTF_32BE:
    case UTF_32_GUESSED_BE:
        return Endianness::Big;
    default:
        return Endianness::None;
    }
}

} // namespace Utilities
