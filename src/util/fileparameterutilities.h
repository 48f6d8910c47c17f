#pragma once

#include "storage/fileparameters.h"

#include <QString>

// Conversions between file parameters and their texts, and the guesses made before a file
// is read (delimiter by counting, byte order by zero bytes).
namespace Utilities {

// Encodings
QString convertEncodingTypeToString(EncodingType type);
QString convertEncodingTypeToCodecName(EncodingType type);
EncodingType convertEncodingStringToType(const QString& text);

// Line endings
QString convertLineEndingTypeToShortString(LineEndingType type, bool abbreviated);
LineEndingType convertLineEndingStringToType(const QString& text);
LineEndingType getLineEndingFromPlatform();

// Parsing standards
QString convertParsingStandardToString(ParsingStandard standard);
ParsingStandard convertParsingStringToStandard(const QString& text);

// Delimiters. "Actual" is the delimiter itself as text (empty for none); "short readable" is
// how the extension table writes it ("\t", "\s", "(none)", ...).
QString convertDelimiterFromActualToShortReadable(const QString& delimiter);
QString convertDelimiterFromShortReadableToActual(const QString& text);
bool delimiterValid(const QString& text);

// Counts the candidate delimiters over the first 10,000 bytes; comma when nothing is found or
// the file can't be read.
char getDelimiterFromAutoDetect(const QString& path);

// Settles the byte order of UTF-16 (1) and UTF-32 (6) from the file's content; other types
// come back unchanged.
EncodingType getEncodingFromBom(EncodingType type, const QString& path);
EncodingType guessEncodingFromFile(EncodingType type, const QString& path);

} // namespace Utilities
