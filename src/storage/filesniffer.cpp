#include "storage/filesniffer.h"

#include <QFile>

#include <cstring>

namespace {

bool startsWith(const QByteArray& s, const char* prefix, qsizetype length) {
    return s.size() >= length && std::memcmp(s.constData(), prefix, static_cast<size_t>(length)) == 0;
}

// Valid UTF-8, but for a sequence that the sample's end cuts short.
bool validUtf8(const QByteArray& s, bool wholeFile) {
    const auto* p = reinterpret_cast<const unsigned char*>(s.constData());
    const qsizetype n = s.size();
    for (qsizetype i = 0; i < n;) {
        const unsigned char c = p[i];
        int more = 0;
        if (c < 0x80)
            more = 0;
        else if (c >= 0xC2 && c <= 0xDF)
            more = 1;
        else if (c >= 0xE0 && c <= 0xEF)
            more = 2;
        else if (c >= 0xF0 && c <= 0xF4)
            more = 3;
        else
            return false;
        if (i + more >= n && more > 0)
            return !wholeFile;
        for (int k = 1; k <= more; ++k) {
            if ((p[i + k] & 0xC0) != 0x80)
                return false;
        }
        // Overlong forms, surrogates and values past U+10FFFF.
        if ((c == 0xE0 && p[i + 1] < 0xA0) || (c == 0xED && p[i + 1] > 0x9F) ||
            (c == 0xF0 && p[i + 1] < 0x90) || (c == 0xF4 && p[i + 1] > 0x8F))
            return false;
        i += 1 + more;
    }
    return true;
}

// The encoding from zero bytes: ASCII text in UTF-16 has a zero in every other byte, in UTF-32
// three in every four.
bool encodingFromZeros(const QByteArray& s, char delimiter, EncodingType& found) {
    const auto* p = reinterpret_cast<const unsigned char*>(s.constData());
    const qsizetype n = s.size();
    if (n < 4 || !std::memchr(p, 0, static_cast<size_t>(n)))
        return false;
    qsizetype quads = n / 4, low = 0, high = 0;
    for (qsizetype i = 0; i < quads * 4; i += 4) {
        if (p[i + 1] == 0 && p[i + 2] == 0 && p[i + 3] == 0 && p[i] != 0)
            ++low;
        if (p[i] == 0 && p[i + 1] == 0 && p[i + 2] == 0 && p[i + 3] != 0)
            ++high;
    }
    if (low * 2 > quads || high * 2 > quads) {
        found = low >= high ? UTF_32LE : UTF_32BE;
        return true;
    }
    const qsizetype pairs = n / 2;
    qsizetype even = 0, odd = 0; // a zero at the even (odd) byte of a pair, beside a non-zero one
    for (qsizetype i = 0; i < pairs * 2; i += 2) {
        if (p[i] == 0 && p[i + 1] != 0)
            ++even;
        if (p[i] != 0 && p[i + 1] == 0)
            ++odd;
    }
    const bool little = odd >= even;
    const qsizetype matching = little ? odd : even, other = little ? even : odd;
    // UTF-16 puts its zeros on one side of the pair; stray zeros in one-byte text fall on either.
    if (matching * 4 < pairs || other * 8 > matching)
        return false;
    // Where some units have no zero (CJK text, say), the line breaks or delimiters of a table
    // stand in units of their own: a zero or two in a short one-byte file don't give that.
    bool tableUnits = matching == pairs;
    for (qsizetype i = 0; i < pairs * 2 && !tableUnits; i += 2) {
        const unsigned first = p[i], second = p[i + 1];
        const unsigned unit = little ? first | second << 8 : first << 8 | second;
        tableUnits = unit == KeyChars::LF || unit == KeyChars::CR ||
                     (delimiter != 0 && unit == static_cast<unsigned char>(delimiter));
    }
    if (!tableUnits)
        return false;
    found = little ? UTF_16LE : UTF_16BE;
    return true;
}

int unitWidth(EncodingType e) {
    switch (e) {
    case UTF_16LE:
    case UTF_16BE:
        return 2;
    case UTF_32LE:
    case UTF_32BE:
        return 4;
    default:
        return 1;
    }
}

// The character at unit i of the text, for the encodings sniffed; -1 past the end.
long unitAt(const QByteArray& s, qsizetype offset, int width, bool big, qsizetype i) {
    const qsizetype at = offset + i * width;
    if (at + width > s.size())
        return -1;
    unsigned long v = 0;
    for (int k = 0; k < width; ++k) {
        const auto byte = static_cast<unsigned char>(s[at + k]);
        v |= static_cast<unsigned long>(byte) << (8 * (big ? width - 1 - k : k));
    }
    return static_cast<long>(v);
}

// The quoting style of the fields in the text: all quoted, or none although some hold a quote.
void findQuoting(const QByteArray& s, qsizetype offset, int width, bool big, char delimiter, bool wholeFile,
                 FileSniffer::Findings& f) {
    enum class State { Start, Plain, Quoted, AfterQuote } state = State::Start;
    qsizetype fields = 0, quoted = 0, plainWithQuote = 0;
    bool quoteInPlain = false;
    long previous = -1;
    const auto endField = [&](bool wasQuoted) {
        ++fields;
        quoted += wasQuoted ? 1 : 0;
        plainWithQuote += quoteInPlain ? 1 : 0;
        quoteInPlain = false;
    };
    for (qsizetype i = 0;; ++i) {
        const long c = unitAt(s, offset, width, big, i);
        if (c < 0)
            break;
        const bool separator = c == static_cast<unsigned char>(delimiter) || c == KeyChars::LF ||
                               c == KeyChars::CR || c == KeyChars::RecordSeparator;
        switch (state) {
        case State::Start:
            if (c == KeyChars::Quote)
                state = State::Quoted;
            else if (separator && !(c == KeyChars::LF && previous == KeyChars::CR))
                endField(false);
            else if (!separator)
                state = State::Plain;
            break;
        case State::Plain:
            quoteInPlain = quoteInPlain || c == KeyChars::Quote;
            if (separator) {
                endField(false);
                state = State::Start;
            }
            break;
        case State::Quoted:
            if (c == KeyChars::Quote)
                state = State::AfterQuote;
            break;
        case State::AfterQuote:
            if (c == KeyChars::Quote) {
                state = State::Quoted;
            } else if (separator) {
                endField(true);
                state = State::Start;
            } else {
                state = State::Plain; // text behind the closing quote: not a quoted field
            }
            break;
        }
        previous = c;
    }
    if (wholeFile && state != State::Start)
        endField(state == State::AfterQuote);
    if (fields >= 2 && quoted == fields) {
        f.standardFound = true;
        f.standard = ALL_QUOTES;
    } else if (quoted == 0 && plainWithQuote > 0) {
        f.standardFound = true;
        f.standard = DELIMITER_ONLY;
    }
}

} // namespace

FileSniffer::Findings FileSniffer::sniff(const QByteArray& sample, char delimiter, bool wholeFile) {
    Findings f;
    qsizetype offset = 0;
    if (startsWith(sample, "\xEF\xBB\xBF", 3)) {
        f.encoding = UTF_8;
        offset = 3;
        f.encodingFound = true;
    } else if (startsWith(sample, "\xFF\xFE\x00\x00", 4)) {
        f.encoding = UTF_32LE;
        offset = 4;
        f.encodingFound = true;
    } else if (startsWith(sample, "\x00\x00\xFE\xFF", 4)) {
        f.encoding = UTF_32BE;
        offset = 4;
        f.encodingFound = true;
    } else if (startsWith(sample, "\xFF\xFE", 2)) {
        f.encoding = UTF_16LE;
        offset = 2;
        f.encodingFound = true;
    } else if (startsWith(sample, "\xFE\xFF", 2)) {
        f.encoding = UTF_16BE;
        offset = 2;
        f.encodingFound = true;
    } else if (encodingFromZeros(sample, delimiter, f.encoding)) {
        f.encodingFound = true;
    } else if (!validUtf8(sample, wholeFile)) {
        f.encoding = WINDOWS_1252;
        f.encodingFound = true;
    }

    const EncodingType textEncoding = f.encodingFound ? f.encoding : UTF_8;
    const int width = unitWidth(textEncoding);
    const bool big = textEncoding == UTF_16BE || textEncoding == UTF_32BE;
    const bool quotes = delimiter != 0 && delimiter != '"';
    if (quotes)
        findQuoting(sample, offset, width, big, delimiter, wholeFile, f);
    bool inQuotes = false;
    for (qsizetype i = 0;; ++i) {
        const long c = unitAt(sample, offset, width, big, i);
        if (c < 0)
            break;
        if (quotes && c == '"') {
            inQuotes = !inQuotes;
            continue;
        }
        if (inQuotes || c == static_cast<unsigned char>(delimiter))
            continue;
        if (c == KeyChars::LF) {
            f.lineEnding = LINE_ENDING_UNIX;
            f.lineEndingFound = true;
        } else if (c == KeyChars::RecordSeparator) {
            f.lineEnding = LINE_ENDING_RECORD_SEPARATOR;
            f.lineEndingFound = true;
        } else if (c == KeyChars::CR) {
            const long next = unitAt(sample, offset, width, big, i + 1);
            if (next == KeyChars::LF) {
                f.lineEnding = LINE_ENDING_WINDOWS;
                f.lineEndingFound = true;
            }
        } else {
            continue;
        }
        break;
    }
    return f;
}

FileSniffer::Findings FileSniffer::sniffFile(const QString& path, char delimiter) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QByteArray sample = file.read(kSampleSize);
    return sniff(sample, delimiter, file.atEnd());
}
