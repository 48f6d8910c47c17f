#pragma once

#include <QByteArray>
#include <QString>
#include <QStringView>

#include <bitset>
#include <string_view>

// Cheap tests that decide most cells for a regular expression filter without running the
// pattern engine, which costs several allocations a call. From the pattern it reads what every
// match must have: a first or last character from a set (for a pattern anchored at that end) and
// a run of literal characters. A pattern that is nothing but such a run, with or without
// anchors, is decided entirely. Patterns it does not understand (alternation at the top, inline
// options, verbs, quoting) get no tests at all, so it never changes a result, only its cost.
class RegexPrefilter {
public:
    enum Verdict { No, Yes, Unknown };

    RegexPrefilter() = default;
    RegexPrefilter(const QString& pattern, bool caseSensitive);

    // For a cell whose bytes are all ASCII, in any encoding that is a superset of ASCII.
    Verdict check(std::string_view asciiCell) const;
    Verdict check(QStringView cell) const;

    // Whether check() can ever say something other than Unknown.
    bool isUseful() const { return useful; }

private:
    template <typename Cell> Verdict checkCell(const Cell& cell, qsizetype size) const;
    bool findLiteral(std::string_view cell) const;
    bool findLiteral(QStringView cell) const;

    bool useful = false;
    bool caseSensitive = true;
    bool anchoredStart = false;
    bool anchoredEnd = false;
    bool hasFirstSet = false;
    bool hasLastSet = false;
    // The pattern is only the literal (between its anchors): the tests decide every cell.
    bool literalOnly = false;
    std::bitset<128> firstSet;
    std::bitset<128> lastSet;
    QByteArray literal; // ASCII, lower case when not case sensitive
};
