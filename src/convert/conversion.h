#pragma once

#include "convert/nontablefile.h"
#include "storage/fileparameters.h"

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>
#include <vector>

class TableModel;

// Turns JSON and XML documents into tables and tables into documents. A table keeps a
// document's shape in its first row: each column's title is the path of its values below a
// record, levels joined by "/"; a title ending in "_" names an attribute (XML), and a first
// column whose title ends in "/" holds each record's own name, the title being where the
// records stand. Each row below the titles is one record.
class Conversion : public QObject {
    Q_OBJECT

public:
    using Rows = std::vector<QStringList>;

    // Writes the document as a table file at `path` with the parameters given; false when the
    // file could not be written. A document of neither type is ignored (false).
    static bool convertToTable(const NonTableFile& file, const QString& path, const ExtensionData& parameters,
                               bool preserveStructure);
    // Writes the whole table (hidden rows and columns too) as a document; false when the file
    // could not be written, the old file then being left as it was.
    static bool convertFromTable(FileType type, const TableModel& model, const QString& path);

    // The table of a document, titles first; empty for a document without records (and for
    // XML that does not read whole).
    static Rows convertJsonToTable(const QString& text, bool preserveStructure);
    static Rows convertXmlToTable(const QString& text, bool preserveStructure);
    // The document of a table (titles first), as the bytes of a UTF-8 file.
    static QByteArray convertTableToJson(const Rows& rows, LineEndingType lineEnding);
    static QByteArray convertTableToXml(const Rows& rows, LineEndingType lineEnding);
    // The same over rows read one at a time, row 0 being the titles.
    // `progress`, when given, hears how many rows are done from time to time; when it answers
    // false the work stops and the result is empty (a document is never empty).
    using RowReader = std::function<QStringList(int)>;
    using Progress = std::function<bool(qint64 done, qint64 total)>;
    static QByteArray convertTableToJson(int numRows, const RowReader& rowAt, LineEndingType lineEnding,
                                         const Progress& progress = {});
    static QByteArray convertTableToXml(int numRows, const RowReader& rowAt, LineEndingType lineEnding,
                                        const Progress& progress = {});
    // The document to table conversions with progress: when `progress` answers false the work
    // stops, nothing is written, and `canceled` (when given) is set.
    static bool convertToTable(const NonTableFile& file, const QString& path, const ExtensionData& parameters,
                               bool preserveStructure, const Progress& progress, bool* canceled = nullptr);
    static Rows convertJsonToTable(const QString& text, bool preserveStructure, const Progress& progress,
                                   bool* canceled);
    static Rows convertXmlToTable(const QString& text, bool preserveStructure, const Progress& progress,
                                  bool* canceled);
    // A table's rows as the table holds them, hidden ones too, read one at a time.
    static RowReader tableRowReader(const TableModel& model);
    // Writes a document in one step: a failed write leaves an old file whole.
    static bool writeDocument(const QString& path, const QByteArray& document);

    static void sanitizeXmlHeader(QString& text);
    static void sanitizeXmlAttributeName(QString& text);
    static void sanitizeXmlAttributeValue(QString& text);
    static void sanitizeXmlElementContents(QString& text);
    // Digits after a "/" become the index of the level before them: "a/3/b/0/c" gives
    // "a&3/b&0/c".
    static void modifyHeaderNumericalIndexes(QString& path);
};
