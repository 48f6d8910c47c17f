// Feeds arbitrary text to the JSON scanner and the conversion built on it. Besides crashes,
// hangs and sanitizer reports it checks what the program relies on: a preview reads a prefix of
// what a full read reads. The document a table makes of it (cells go in nearly as they stand, so
// it need not be strict JSON) is written and read again.

#include "convert/conversion.h"
#include "convert/jsoncontainer.h"

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
        const QByteArray document = Conversion::convertTableToJson(rows, LINE_ENDING_UNIX);
        check(!document.isEmpty());
        Conversion::convertJsonToTable(QString::fromUtf8(document), names);
    }
    return 0;
}
