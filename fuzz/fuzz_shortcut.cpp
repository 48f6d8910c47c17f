// Feeds arbitrary text to the shortcut grammar. Besides crashes and sanitizer reports it checks
// what the command table relies on: no empty or unknown key comes back, each alternative gives
// at most itself and one twin, and the keys without twins are among those with them.

#include "util/shortcututilities.h"

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
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QList<QKeySequence> all = getKeySequenceList(text);
    const QList<QKeySequence> written = parseShortcut(text, false);
    const qsizetype alternatives = text.count(QLatin1Char('|')) + 1;
    check(all.size() <= 2 * alternatives);
    check(written.size() <= all.size());
    for (const QKeySequence& sequence : all) {
        check(!sequence.isEmpty());
        for (uint i = 0; i < static_cast<uint>(sequence.count()); ++i)
            check(sequence[i].key() != Qt::Key_unknown);
    }
    for (const QKeySequence& sequence : written)
        check(all.contains(sequence));
    return 0;
}
