// Feeds arbitrary text to the XML document reader and the conversion built on it. Besides
// crashes, hangs and sanitizer reports it checks that the document a table makes of it, and the
// document made of the fuzzer's text taken as a table, read without error.

#include "convert/conversion.h"
#include "convert/xmlcontainer.h"

#include <QString>
#include <QXmlStreamReader>

#include <cstdint>
#include <cstdlib>

namespace {

void check(bool condition) {
    if (!condition)
        std::abort();
}

bool wellFormed(const QByteArray& xml) {
    QXmlStreamReader reader(xml);
    while (!reader.atEnd())
        reader.readNext();
    return !reader.hasError();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
    XmlContainer doc(text);
    doc.parse(-1);
    doc.computeItemLengths();
    for (const bool names : {false, true}) {
        const Conversion::Rows rows = Conversion::convertXmlToTable(text, names);
        check(wellFormed(Conversion::convertTableToXml(rows, LINE_ENDING_UNIX)));
    }
    // The text as a table: lines of cells split at "|", titles first.
    Conversion::Rows table;
    for (const QString& line : text.split(QLatin1Char('\n')))
        table.push_back(line.split(QLatin1Char('|')));
    check(wellFormed(Conversion::convertTableToXml(table, LINE_ENDING_WINDOWS)));
    return 0;
}
