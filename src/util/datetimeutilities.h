#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>

// Date and time conversion between the forms a table holds: ISO 8601, Unix epoch seconds and
// milliseconds, spreadsheet serial numbers and custom formats. Times are read and written in UTC.

enum class DateTimeFormatType {
    IsoDateTime = 0,
    IsoDate = 1,
    Seconds = 2,
    Milliseconds = 3,
    Excel = 4,
    Custom = 5,
};

namespace Utilities {

QString convertDateTimeFormatTypeToString(DateTimeFormatType type);
// The type of a label, or false for text that is none.
bool convertStringToDateTimeFormatType(const QString& text, DateTimeFormatType& out);

// `text` read in `from` and written in `to`; text that doesn't read stays as it is.
QString convertDateTimeFormat(const QString& text, DateTimeFormatType from, DateTimeFormatType to,
                              const QString& fromCustom, const QString& toCustom);
// Invalid when the text doesn't read.
QDateTime convertStringToDateTime(const QString& text, DateTimeFormatType type, const QString& custom);
QString convertDateTimeToString(const QDateTime& dateTime, DateTimeFormatType type, const QString& custom);

// Custom formats take the letters of QDateTime formats; a backslash makes the next character
// literal ("\\" a backslash), as do single quotes. Two-digit years 00-68 are 2000-2068.
QDateTime convertCustomStringToDateTime(const QString& text, const QString& format);
QString convertCustomDateTimeToString(const QDateTime& dateTime, const QString& format);

// `text` split at each `separator` that no backslash escapes; "\\" stands for a backslash and
// "\<separator>" for the separator itself.
QStringList splitStringUseEscapeChar(const QString& text, const QString& separator);

// A custom format that reads `text` ("07/04/2024" -> "MM/dd/yyyy"), or an empty string.
QString dateTimeFormatDetect(const QString& text);

} // namespace Utilities
