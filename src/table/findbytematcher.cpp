#include "table/findbytematcher.h"

#include <cstring>

namespace {

unsigned char foldAscii(unsigned char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<unsigned char>(c + ('a' - 'A')) : c;
}

// Eight bytes at a time: any byte with its top bit set makes the cell non-ASCII.
bool isAscii(std::string_view bytes) {
    const char* p = bytes.data();
    std::size_t n = bytes.size();
    while (n >= 8) {
        quint64 word;
        std::memcpy(&word, p, 8);
        if (word & 0x8080808080808080ULL)
            return false;
        p += 8;
        n -= 8;
    }
    for (; n > 0; --n, ++p) {
        if (static_cast<unsigned char>(*p) & 0x80)
            return false;
    }
    return true;
}

bool isAsciiText(const QString& text) {
    for (const QChar c : text) {
        if (c.unicode() >= 0x80)
            return false;
    }
    return true;
}

// Escapes that stand for a class of characters or a position: one atom, never a literal.
bool isClassEscape(char c) {
    return std::strchr("dDwWsSbBAzZGhHvVRXK", c) != nullptr;
}

} // namespace

FindByteMatcher::FindByteMatcher(const FindReplaceQuery& query, EncodingType encoding, bool hasCodec,
                                 const std::array<bool, 256>& delimiters, const QRegularExpression* re)
    : caseSensitive(query.caseSensitive), delimiterLookup(delimiters) {
    // Only where ASCII bytes decode to the same characters and nothing else decodes to them.
    const bool asciiKept = encoding == UTF_8 || encoding == ISO_8859_1 || !hasCodec;
    if (!asciiKept || query.findStr.isEmpty())
        return;
    if (query.regex) {
        if (!re || !re->isValid())
            return;
        regex = *re;
        for (std::string& literal : requiredLiterals(query.findStr)) {
            if (!caseSensitive) {
                for (char& c : literal)
                    c = static_cast<char>(foldAscii(static_cast<unsigned char>(c)));
            }
            literals.push_back(std::move(literal));
        }
        mode = Mode::Regex;
        return;
    }
    if (!isAsciiText(query.findStr)) {
        // Without case folding, a character beyond ASCII is never found in an ASCII cell.
        if (caseSensitive)
            mode = Mode::NeverInAscii;
        return;
    }
    needle = query.findStr.toLatin1().toStdString();
    if (!caseSensitive) {
        for (char& c : needle)
            c = static_cast<char>(foldAscii(static_cast<unsigned char>(c)));
    }
    mode = query.wholeCell ? Mode::WholeCell : (query.wholeWord ? Mode::WholeWord : Mode::Plain);
}

qsizetype FindByteMatcher::findFrom(std::string_view text, qsizetype from) const {
    const std::size_t m = needle.size();
    if (from < 0 || static_cast<std::size_t>(from) + m > text.size())
        return -1;
    if (caseSensitive) {
        const void* hit =
            memmem(text.data() + from, text.size() - static_cast<std::size_t>(from), needle.data(), m);
        return hit ? static_cast<const char*>(hit) - text.data() : -1;
    }
    const auto* t = reinterpret_cast<const unsigned char*>(text.data());
    const auto* nd = reinterpret_cast<const unsigned char*>(needle.data());
    const unsigned char first = nd[0];
    const std::size_t last = text.size() - m;
    for (std::size_t i = static_cast<std::size_t>(from); i <= last; ++i) {
        if (foldAscii(t[i]) != first)
            continue;
        std::size_t k = 1;
        while (k < m && foldAscii(t[i + k]) == nd[k])
            ++k;
        if (k == m)
            return static_cast<qsizetype>(i);
    }
    return -1;
}

bool FindByteMatcher::contains(std::string_view text, std::string_view lit) const {
    if (lit.empty())
        return true;
    if (lit.size() > text.size())
        return false;
    if (caseSensitive)
        return memmem(text.data(), text.size(), lit.data(), lit.size()) != nullptr;
    const auto* t = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t last = text.size() - lit.size();
    for (std::size_t i = 0; i <= last; ++i) {
        std::size_t k = 0;
        while (k < lit.size() && foldAscii(t[i + k]) == static_cast<unsigned char>(lit[k]))
            ++k;
        if (k == lit.size())
            return true;
    }
    return false;
}

FindByteMatcher::Verdict FindByteMatcher::classify(std::string_view bytes) const {
    if (mode == Mode::Off || !isAscii(bytes))
        return Undecided;
    switch (mode) {
    case Mode::Off:
        return Undecided;
    case Mode::NeverInAscii:
        return NoMatch;
    case Mode::WholeCell: {
        if (bytes.size() != needle.size())
            return NoMatch;
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            const auto c = static_cast<unsigned char>(bytes[i]);
            if ((caseSensitive ? c : foldAscii(c)) != static_cast<unsigned char>(needle[i]))
                return NoMatch;
        }
        return Match;
    }
    case Mode::Plain:
        return findFrom(bytes, 0) >= 0 ? Match : NoMatch;
    case Mode::WholeWord: {
        const auto n = static_cast<qsizetype>(needle.size());
        const auto size = static_cast<qsizetype>(bytes.size());
        for (qsizetype p = findFrom(bytes, 0); p >= 0; p = findFrom(bytes, p + 1)) {
            const bool before =
                p == 0 || delimiterLookup[static_cast<unsigned char>(bytes[std::size_t(p - 1)])];
            const bool after =
                p + n >= size || delimiterLookup[static_cast<unsigned char>(bytes[std::size_t(p + n)])];
            if (before && after)
                return Match;
        }
        return NoMatch;
    }
    case Mode::Regex: {
        for (const std::string& literal : literals) {
            if (!contains(bytes, literal))
                return NoMatch;
        }
        // The ASCII bytes widened in place: the same text the decoder gives, without a new string.
        buffer.resize(static_cast<qsizetype>(bytes.size()));
        QChar* out = buffer.data();
        for (std::size_t i = 0; i < bytes.size(); ++i)
            out[i] = QChar(static_cast<char16_t>(static_cast<unsigned char>(bytes[i])));
        return regex.match(QStringView(buffer)).hasMatch() ? Match : NoMatch;
    }
    }
    return Undecided;
}

std::vector<std::string> FindByteMatcher::requiredLiterals(const QString& pattern) {
    std::vector<std::string> runs;
    if (pattern.contains(QLatin1Char('|')) || pattern.contains(QLatin1String("(?")) ||
        pattern.contains(QLatin1String("(*")) || pattern.contains(QLatin1String("\\Q")))
        return {};
    std::string run;
    const auto endRun = [&]() {
        if (!run.empty())
            runs.push_back(run);
        run.clear();
    };
    const qsizetype n = pattern.size();
    const auto at = [&](qsizetype i) -> char16_t { return i < n ? pattern.at(i).unicode() : u'\0'; };
    const auto isQuantifier = [](char16_t c) { return c == u'*' || c == u'+' || c == u'?' || c == u'{'; };
    // Skips a quantifier at `i` (with its lazy or possessive mark); false when a brace doesn't
    // make a quantifier we can read.
    const auto skipQuantifier = [&](qsizetype& i) {
        if (at(i) == u'{') {
            qsizetype k = i + 1;
            while (k < n && ((at(k) >= u'0' && at(k) <= u'9') || at(k) == u','))
                ++k;
            if (at(k) != u'}' || k == i + 1)
                return false;
            i = k + 1;
        } else {
            ++i;
        }
        if (at(i) == u'?' || at(i) == u'+')
            ++i;
        return true;
    };
    qsizetype i = 0;
    while (i < n) {
        const char16_t c = at(i);
        char literal = 0;
        qsizetype next = i + 1;
        if (c == u'\\') {
            const char16_t e = at(i + 1);
            if (e == u'\0' || e >= 0x80)
                return {};
            if ((e >= u'0' && e <= u'9') || (e >= u'a' && e <= u'z') || (e >= u'A' && e <= u'Z')) {
                if (!isClassEscape(static_cast<char>(e)))
                    return {}; // code points, back-references, properties: not read here
                next = i + 2;
            } else {
                literal = static_cast<char>(e);
                next = i + 2;
            }
        } else if (c == u'[') {
            qsizetype k = i + 1;
            if (at(k) == u'^')
                ++k;
            if (at(k) == u']')
                ++k;
            while (k < n && at(k) != u']') {
                if (at(k) == u'\\')
                    ++k;
                else if (at(k) == u'[' && at(k + 1) == u':')
                    return {};
                ++k;
            }
            if (k >= n)
                return {};
            next = k + 1;
        } else if (c == u'(') {
            int depth = 1;
            qsizetype k = i + 1;
            while (k < n && depth > 0) {
                if (at(k) == u'\\') {
                    ++k;
                } else if (at(k) == u'[') {
                    // A class inside the group: its brackets don't count.
                    ++k;
                    if (at(k) == u'^')
                        ++k;
                    if (at(k) == u']')
                        ++k;
                    while (k < n && at(k) != u']') {
                        if (at(k) == u'\\')
                            ++k;
                        ++k;
                    }
                } else if (at(k) == u'(') {
                    ++depth;
                } else if (at(k) == u')') {
                    --depth;
                }
                ++k;
            }
            if (depth != 0)
                return {};
            next = k;
        } else if (c == u')' || isQuantifier(c)) {
            return {}; // a quantifier with nothing before it, or a stray bracket
        } else if (c >= 0x20 && c < 0x7f && c != u'.' && c != u'^' && c != u'$') {
            literal = static_cast<char>(c);
        }
        // An atom that may be absent or repeated ends the run; one that repeats keeps its
        // first occurrence.
        if (isQuantifier(at(next))) {
            const char16_t q = at(next);
            if (literal && q == u'+')
                run.push_back(literal);
            endRun();
            if (!skipQuantifier(next))
                return {};
        } else if (literal) {
            run.push_back(literal);
        } else {
            endRun();
        }
        i = next;
    }
    endRun();
    return runs;
}
