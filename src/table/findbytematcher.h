#pragma once

#include "storage/fileparameters.h"
#include "table/findreplacequery.h"

#include <QRegularExpression>
#include <QString>

#include <array>
#include <string>
#include <string_view>
#include <vector>

// Decides a query on a cell's stored bytes where that gives exactly the answer of matching the
// decoded text, so that most cells of a search are never decoded: an ASCII cell in an encoding
// that keeps ASCII as it is (the same code units either way, and ASCII case folding is the whole
// of Unicode folding there). Cells with other bytes are left to the caller's decoded path.
//
// One matcher serves one search on one thread: it keeps a buffer between cells.
class FindByteMatcher {
public:
    enum Verdict { NoMatch, Match, Undecided };

    // `regex` is the query's compiled pattern (valid), or null when the query has none.
    FindByteMatcher(const FindReplaceQuery& query, EncodingType encoding, bool hasCodec,
                    const std::array<bool, 256>& delimiters, const QRegularExpression* regex);

    Verdict classify(std::string_view bytes) const;

    // Literal runs every match of `pattern` must contain, ASCII only, as far as a cautious
    // reading of the pattern can tell; empty when it can't tell (alternatives, inline options,
    // escapes it doesn't know). Exposed for tests.
    static std::vector<std::string> requiredLiterals(const QString& pattern);

private:
    enum class Mode { Off, NeverInAscii, Plain, WholeWord, WholeCell, Regex };

    bool contains(std::string_view text, std::string_view needle) const;
    qsizetype findFrom(std::string_view text, qsizetype from) const;

    Mode mode = Mode::Off;
    bool caseSensitive = true;
    std::string needle; // lower case when the search ignores case
    std::vector<std::string> literals;
    std::array<bool, 256> delimiterLookup{};
    QRegularExpression regex;
    mutable QString buffer;
};
