#include "util/filterutilities.h"

namespace Utilities {

QString applyEscapeCharsToFilterStr(const QString& text) {
    QString out;
    out.reserve(text.size() * 2);
    for (const QChar c : text) {
        // "#" counts only first, "!" only at a condition's start, but escaping them always is
        // harmless and keeps the rule simple.
        if (c == u'\\' || c == u'|' || c == u'&' || c == u'*' || c == u'<' || c == u'>' || c == u'+' ||
            c == u'-' || c == u'!' || c == u'#')
            out += u'\\';
        out += c;
    }
    return out;
}

} // namespace Utilities
