// Feeds arbitrary patterns and cells to the regular expression prefilter and checks it against
// the pattern engine: whenever it decides a cell, the engine must agree, on the text and on the
// bytes of an ASCII cell alike.

#include "table/regexprefilter.h"

#include <QByteArray>
#include <QRegularExpression>
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
    if (size < 1)
        return 0;
    // The first byte picks case sensitivity; the rest is a pattern and a cell, split at the
    // first newline.
    const bool caseSensitive = data[0] & 1;
    const QString input = QString::fromUtf8(reinterpret_cast<const char*>(data + 1), qsizetype(size - 1));
    const qsizetype split = input.indexOf(u'\n');
    const QString pattern = split < 0 ? input : input.left(split);
    const QString cell = split < 0 ? QString() : input.mid(split + 1);
    const QRegularExpression re(pattern, caseSensitive ? QRegularExpression::NoPatternOption
                                                       : QRegularExpression::CaseInsensitiveOption);
    if (!re.isValid())
        return 0;
    const RegexPrefilter prefilter(pattern, caseSensitive);
    const RegexPrefilter::Verdict verdict = prefilter.check(QStringView(cell));
    const QRegularExpressionMatch match = re.match(cell);
    if (verdict != RegexPrefilter::Unknown)
        check((verdict == RegexPrefilter::Yes) == match.hasMatch());
    bool ascii = true;
    for (const QChar c : cell)
        ascii = ascii && c.unicode() < 128;
    if (ascii) {
        const QByteArray bytes = cell.toLatin1();
        check(prefilter.check(std::string_view(bytes.constData(), static_cast<std::size_t>(bytes.size()))) ==
              verdict);
    }
    return 0;
}
