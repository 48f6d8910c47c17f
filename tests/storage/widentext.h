#pragma once

#include "storage/fileparameters.h"

#include <QByteArray>

// Each byte of `text` as one character of the encoding, in its byte order; single-byte
// encodings take the text as it is.
inline QByteArray widen(const QByteArray& text, EncodingType encoding) {
    const int width = Utilities::numBytesPerChar(encoding);
    if (width == 1)
        return text;
    const bool big = Utilities::getEndianness(encoding) == Utilities::Endianness::Big;
    QByteArray out;
    out.reserve(text.size() * width);
    for (const char c : text) {
        QByteArray unit(width, '\0');
        unit[big ? width - 1 : 0] = c;
        out += unit;
    }
    return out;
}
