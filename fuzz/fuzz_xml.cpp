// Feeds arbitrary text to the XML document reader and the conversion built on it, and the
// fuzzer's text taken as a table to the export, looking for crashes, hangs and sanitizer reports.
// Cells go into a document nearly as they stand, so what is written need not read as XML.

#include "convert/conversion.h"
#include "convert/xmlcontainer.h"

#include <QString>

#include <cstdint>
#include <cstdlib>

namespace {

void check(bool condition) {
    if (!condition)
        std::abort();
}

// The declaration comes first whatever the table held.
bool declared(const QByteArray& xml) {
    return xml.startsWith("<?xml");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
    XmlContainer doc(text);
    doc.parse(-1);
    doc.computeItemLengths();
    for (const bool names : {false, true}) {
        const Conversion::Rows rows = Conversion::convertXmlToTable(text, names);
        const QByteArray document = Conversion::convertTableToXml(rows, LINE_ENDING_UNIX);
        check(declared(document));
        Conversion::convertXmlToTable(QString::fromUtf8(document), names);
    }
    // The text as a table: lines of cells split at "|", titles first.
    Conversion::Rows table;
    for (const QString& line : text.split(QLatin1Char('\n')))
        table.push_back(line.split(QLatin1Char('|')));
    check(declared(Conversion::convertTableToXml(table, LINE_ENDING_WINDOWS)));
    return 0;
}
