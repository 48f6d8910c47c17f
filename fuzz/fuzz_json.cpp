// Feeds arbitrary text to the JSON scanner and the conversion built on it. Besides crashes,
// hangs and sanitizer reports it checks what the program relies on: a preview reads a prefix of
// what a full read reads, and the document a table makes of it is JSON that a strict reader takes.

#include "convert/conversion.h"
#include "convert/jsoncontainer.h"

#include <QJsonDocument>
#include <QString>

#include <cstdint>
#include <cstdlib>

namespace {

void check(bool condition) {
    if (!condition)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
    JsonContainer full(text);
    full.parse(-1);
    full.computeItemLengths();
    JsonContainer preview(text);
    preview.parse(3);
    check(preview.size() <= full.size());
    for (qsizetype i = 0; i < preview.size(); ++i) {
        check(preview[static_cast<unsigned long>(i)]->type == full[static_cast<unsigned long>(i)]->type);
        check(preview[static_cast<unsigned long>(i)]->header() ==
              full[static_cast<unsigned long>(i)]->header());
    }
    for (const bool names : {false, true}) {
        const Conversion::Rows rows = Conversion::convertJsonToTable(text, names);
        QJsonParseError error;
        QJsonDocument::fromJson(Conversion::convertTableToJson(rows, LINE_ENDING_UNIX), &error);
        check(error.error == QJsonParseError::NoError);
    }
    return 0;
}
