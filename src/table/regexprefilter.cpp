#include "table/regexprefilter.h"

#include <algorithm>
#include <vector>

namespace {

// One element of a pattern as far as the tests need it: a literal ASCII character, a plain set
// of ASCII characters, or anything else.
struct Item {
    enum Kind { Literal, Set, Other };
    Kind kind = Other;
    char ch = 0;
    std::bitset<128> set;
    bool repeated = false; // a quantifier follows
    int minimum = 1;       // least number of repetitions
};

bool isAsciiAlnum(char16_t c) {
    return (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
}

char16_t lowerAscii(char16_t c) {
    return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + (u'a' - u'A')) : c;
}

char16_t upperAscii(char16_t c) {
    return c >= u'a' && c <= u'z' ? static_cast<char16_t>(c - (u'a' - u'A')) : c;
}

void addChar(std::bitset<128>& set, char16_t c, bool caseSensitive) {
    set.set(c);
    if (!caseSensitive) {
        set.set(lowerAscii(c));
        set.set(upperAscii(c));
    }
}

// Reads a bracket class from p[i] == '['; i ends past its ']'. A class of plain ASCII
// characters and ranges becomes a Set, a negated or richer one Other. False for what isn't
// read safely.
bool readClass(const QString& p, qsizetype& i, bool caseSensitive, Item& item) {
    const qsizetype n = p.size();
    ++i;
    bool simple = true;
    if (i < n && p[i] == u'^') {
        simple = false;
        ++i;
    }
    std::bitset<128> set;
    bool first = true;
    while (i < n) {
        const char16_t c = p[i].unicode();
        if (c == u']' && !first) {
            ++i;
            item.kind = simple ? Item::Set : Item::Other;
            item.set = set;
            return true;
        }
        first = false;
        if (c == u'\\') {
            if (i + 1 >= n || p[i + 1] == u'Q' || p[i + 1] == u'E')
                return false;
            simple = false;
            i += 2;
            continue;
        }
        if (c == u'[' && i + 1 < n && (p[i + 1] == u':' || p[i + 1] == u'=' || p[i + 1] == u'.')) {
            const char16_t kind = p[i + 1].unicode();
            const qsizetype close = p.indexOf(QString(QChar(kind)) + u']', i + 2);
            if (close < 0)
                return false;
            simple = false;
            i = close + 2;
            continue;
        }
        if (c >= 128) {
            simple = false;
            ++i;
            continue;
        }
        if (i + 2 < n && p[i + 1] == u'-' && p[i + 2] != u']') {
            const char16_t last = p[i + 2].unicode();
            if (last == u'\\' || last == u'[' || last >= 128 || last < c)
                return false;
            for (char16_t k = c; k <= last; ++k)
                addChar(set, k, caseSensitive);
            i += 3;
            continue;
        }
        addChar(set, c, caseSensitive);
        ++i;
    }
    return false;
}

// Skips a group from p[i] == '('; i ends past its ')'. Its inside only counts as Other, but
// inline options and verbs anywhere change how the rest reads, so they stop the reading.
bool skipGroup(const QString& p, qsizetype& i) {
    const qsizetype n = p.size();
    int depth = 0;
    while (i < n) {
        const char16_t c = p[i].unicode();
        if (c == u'\\') {
            if (i + 1 >= n || p[i + 1] == u'Q' || p[i + 1] == u'E')
                return false;
            i += 2;
            continue;
        }
        if (c == u'[') {
            Item ignored;
            if (!readClass(p, i, true, ignored))
                return false;
            continue;
        }
        if (c == u'(') {
            if (i + 1 < n && (p[i + 1] == u'?' || p[i + 1] == u'*'))
                return false;
            ++depth;
        } else if (c == u')' && --depth == 0) {
            ++i;
            return true;
        }
        ++i;
    }
    return false;
}

// A quantifier at p[i], if any. False for a brace that isn't a plain {m}, {m,} or {m,n}.
bool readQuantifier(const QString& p, qsizetype& i, Item& item) {
    const qsizetype n = p.size();
    if (i >= n)
        return true;
    const char16_t c = p[i].unicode();
    if (c == u'*' || c == u'?') {
        item.repeated = true;
        item.minimum = 0;
        ++i;
    } else if (c == u'+') {
        item.repeated = true;
        ++i;
    } else if (c == u'{') {
        qsizetype k = i + 1;
        int minimum = 0;
        const qsizetype digits = k;
        while (k < n && p[k] >= u'0' && p[k] <= u'9' && k - digits < 6)
            minimum = minimum * 10 + (p[k++].unicode() - u'0');
        if (k == digits || k >= n)
            return false;
        if (p[k] == u',') {
            ++k;
            while (k < n && p[k] >= u'0' && p[k] <= u'9')
                ++k;
        }
        if (k >= n || p[k] != u'}')
            return false;
        item.repeated = true;
        item.minimum = minimum;
        i = k + 1;
    } else {
        return true;
    }
    if (i < n && (p[i] == u'?' || p[i] == u'+'))
        ++i;
    // Stacked quantifiers are either errors or rare enough not to read.
    return i >= n || (p[i] != u'*' && p[i] != u'+' && p[i] != u'?' && p[i] != u'{');
}

bool readPattern(const QString& p, bool caseSensitive, std::vector<Item>& items, bool& anchoredStart,
                 bool& anchoredEnd) {
    const qsizetype n = p.size();
    qsizetype i = 0;
    if (n > 0 && p[0] == u'^') {
        anchoredStart = true;
        i = 1;
    }
    while (i < n) {
        const char16_t c = p[i].unicode();
        Item item;
        if (c == u'$') {
            if (i + 1 != n)
                return false;
            anchoredEnd = true;
            break;
        }
        if (c == u'^' || c == u'|' || c == u')' || c == u'*' || c == u'+' || c == u'?' || c == u'{')
            return false;
        if (c == u'(') {
            if (!skipGroup(p, i))
                return false;
        } else if (c == u'[') {
            if (!readClass(p, i, caseSensitive, item))
                return false;
        } else if (c == u'\\') {
            if (i + 1 >= n || p[i + 1] == u'Q' || p[i + 1] == u'E')
                return false;
            const char16_t escaped = p[i + 1].unicode();
            // An escaped ASCII punctuation character stands for itself; letters and digits are
            // classes, anchors, references or codes.
            if (escaped < 128 && !isAsciiAlnum(escaped)) {
                item.kind = Item::Literal;
                item.ch = static_cast<char>(escaped);
            }
            i += 2;
        } else if (c == u'.' || c >= 128) {
            ++i;
        } else {
            item.kind = Item::Literal;
            item.ch = static_cast<char>(c);
            ++i;
        }
        if (!readQuantifier(p, i, item))
            return false;
        items.push_back(item);
    }
    return true;
}

bool isLineEnd(char16_t c) {
    return c == u'\n' || c == u'\r' || c == u'\v' || c == u'\f' || c == 0x85 || c == 0x2028 || c == 0x2029;
}

char16_t charAt(std::string_view cell, qsizetype k) {
    return static_cast<unsigned char>(cell[static_cast<std::size_t>(k)]);
}

char16_t charAt(QStringView cell, qsizetype k) {
    return cell[k].unicode();
}

} // namespace

RegexPrefilter::RegexPrefilter(const QString& pattern, bool caseSensitiveMatch)
    : caseSensitive(caseSensitiveMatch) {
    std::vector<Item> items;
    if (!readPattern(pattern, caseSensitive, items, anchoredStart, anchoredEnd))
        return;
    const auto settled = [](const Item& item) {
        return (item.kind == Item::Literal || item.kind == Item::Set) && item.minimum >= 1;
    };
    const auto setOf = [this](const Item& item) {
        std::bitset<128> set = item.set;
        if (item.kind == Item::Literal)
            addChar(set, static_cast<char16_t>(item.ch), caseSensitive);
        return set;
    };
    if (anchoredStart && !items.empty() && settled(items.front())) {
        hasFirstSet = true;
        firstSet = setOf(items.front());
    }
    if (anchoredEnd && !items.empty() && settled(items.back())) {
        hasLastSet = true;
        lastSet = setOf(items.back());
    }
    // The longest run of literal characters that every match holds in one piece.
    literalOnly = true;
    QByteArray run;
    const auto close = [&] {
        if (run.size() > literal.size())
            literal = run;
        run.clear();
    };
    for (const Item& item : items) {
        if (item.kind != Item::Literal || item.repeated)
            literalOnly = false;
        if (item.kind != Item::Literal || item.minimum == 0) {
            close();
            continue;
        }
        const char ch =
            caseSensitive ? item.ch : static_cast<char>(lowerAscii(static_cast<char16_t>(item.ch)));
        run += ch;
        if (item.repeated) {
            // More of the same may follow: the run ends, and the last repetition starts the next.
            close();
            run += ch;
        }
    }
    close();
    useful = hasFirstSet || hasLastSet || !literal.isEmpty() || literalOnly;
}

template <typename Cell>
RegexPrefilter::Verdict RegexPrefilter::checkCell(const Cell& cell, qsizetype size) const {
    if (!useful)
        return Unknown;
    const auto fold = [this](char16_t c) { return caseSensitive ? c : lowerAscii(c); };
    if (!caseSensitive) {
        // Caseless matching pairs some non-ASCII characters with ASCII letters.
        for (qsizetype k = 0; k < size; ++k) {
            if (charAt(cell, k) >= 128)
                return Unknown;
        }
    }
    // "$" also matches before a line break that ends the text.
    const bool endUnsure = size > 0 && isLineEnd(charAt(cell, size - 1));
    if (hasFirstSet) {
        const char16_t c = size > 0 ? charAt(cell, 0) : 0;
        if (size == 0 || c >= 128 || !firstSet.test(c))
            return No;
    }
    if (hasLastSet && !endUnsure) {
        const char16_t c = size > 0 ? charAt(cell, size - 1) : 0;
        if (size == 0 || c >= 128 || !lastSet.test(c))
            return No;
    }
    const qsizetype length = literal.size();
    const auto literalAt = [&](qsizetype at) {
        for (qsizetype k = 0; k < length; ++k) {
            if (fold(charAt(cell, at + k)) != static_cast<unsigned char>(literal[k]))
                return false;
        }
        return true;
    };
    const bool found = length == 0 || findLiteral(cell);
    if (!found)
        return No;
    if (!literalOnly)
        return Unknown;
    const bool starts = size >= length && literalAt(0);
    const bool ends = size >= length && literalAt(size - length);
    if (anchoredStart && anchoredEnd) {
        if (size == length && starts)
            return Yes;
        return endUnsure ? Unknown : No;
    }
    if (anchoredStart)
        return starts ? Yes : No;
    if (anchoredEnd) {
        if (ends)
            return Yes;
        return endUnsure ? Unknown : No;
    }
    return Yes;
}

bool RegexPrefilter::findLiteral(std::string_view cell) const {
    const std::string_view text(literal.constData(), static_cast<std::size_t>(literal.size()));
    if (caseSensitive)
        return cell.find(text) != std::string_view::npos;
    const auto equal = [](char a, char b) {
        return lowerAscii(static_cast<unsigned char>(a)) == static_cast<unsigned char>(b);
    };
    return std::search(cell.begin(), cell.end(), text.begin(), text.end(), equal) != cell.end();
}

bool RegexPrefilter::findLiteral(QStringView cell) const {
    // Caseless checks reach here with ASCII cells only, where folding is plain ASCII.
    return cell.indexOf(QLatin1String(literal), 0, caseSensitive ? Qt::CaseSensitive : Qt::CaseInsensitive) >=
           0;
}

RegexPrefilter::Verdict RegexPrefilter::check(std::string_view asciiCell) const {
    return checkCell(asciiCell, static_cast<qsizetype>(asciiCell.size()));
}

RegexPrefilter::Verdict RegexPrefilter::check(QStringView cell) const {
    return checkCell(cell, cell.size());
}
