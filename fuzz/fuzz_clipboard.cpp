// Feeds arbitrary bytes to the clipboard readers: delimited text, Markdown and HTML tables.
// Besides crashes and sanitizer reports it checks that each gives one block or nothing, and
// that a block the writers make of what was read reads back the same.

#include "util/clipboardutilities.h"

#include <cstdint>
#include <cstdlib>

using namespace Utilities;

namespace {

void check(bool condition) {
    if (!condition)
        std::abort();
}

std::vector<std::vector<QString>> texts(const RangeVector& parsed) {
    std::vector<std::vector<QString>> out;
    for (const auto& row : parsedRows(parsed)) {
        auto& line = out.emplace_back();
        for (const QVariant& v : row)
            line.push_back(v.toString());
    }
    return out;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1)
        return 0;
    // The first byte picks the delimiter and the quoting, the rest is the clipboard.
    const char delimiters[] = "\t,;| ";
    const char delimiter = delimiters[data[0] % 5];
    const bool useQuotes = data[0] & 8;
    QByteArray bytes(reinterpret_cast<const char*>(data + 1), qsizetype(size - 1));

    RangeVector out;
    parseCsvByteArray(bytes, out, delimiter, useQuotes);
    check(out.size() <= 1 && (bytes.isEmpty() == out.empty()));
    if (!out.empty()) {
        // Quoted by the writer, the cells read back unchanged.
        QString text;
        for (const auto& row : texts(out)) {
            for (std::size_t i = 0; i < row.size(); ++i) {
                QString field = row[i];
                convertCellValueRawToQuotes(field);
                text += (i ? QStringLiteral(",") : QString()) + field;
            }
            text += u'\n';
        }
        const auto first = texts(out);
        QByteArray again = text.toUtf8();
        RangeVector back;
        parseCsvByteArray(again, back, ',', true);
        // A lone CR and invalid UTF-8 don't survive the detour through QString unchanged.
        if (!bytes.contains('\r') && QString::fromUtf8(bytes).toUtf8() == bytes)
            check(texts(back) == first);
    }
    detectDelimiterInByteArray(bytes);

    const bool hasMarkdown = containsMarkdownTable(bytes);
    parseMarkdownTableByteArray(bytes, out);
    check(out.size() <= 1 && (hasMarkdown || out.empty()));

    parseHtmlTableByteArray(bytes, out);
    check(out.size() <= 1 && (containsHtmlTable(bytes) || out.empty()));
    if (!out.empty()) {
        RangeVector back;
        parseHtmlTableByteArray(buildHtmlTable(texts(out)).toUtf8(), back);
        check(parsedCellCount(back) == parsedCellCount(out));
    }
    return 0;
}
