#pragma once

#include "table/range.h"

#include <QRegularExpression>
#include <QSet>
#include <QString>

#include <vector>

// One filter on a column (it conceals rows) or on a row (it conceals columns): the text as
// typed and its compiled form.
class FilterData {
public:
    // One piece of a condition.
    struct ParsedFilterData {
        int type = 0; // 0 text, 1 less than, 2 at most, 3 greater than, 4 at least, 5 between
        QString value;
        QString value2; // upper end of a "between"
        bool negate = false;
        // The numbers of a number form, read once when compiled.
        double number = 0;
        double number2 = 0;

        friend bool operator==(const ParsedFilterData&, const ParsedFilterData&) = default;
    };

    int order = 0;
    Range range{RangeType::Col, RangeIndexType::Raw};
    QString filterStr;
    // Alternatives of conditions of pieces.
    std::vector<std::vector<std::vector<ParsedFilterData>>> parsedList;
    // For a case-sensitive filter, the alternatives that are a whole text and nothing else, looked
    // up at once instead of tried one by one (a filter made of a column's cell texts can hold
    // hundreds of thousands), and the indexes in parsedList of the alternatives left to try.
    QSet<QString> wholeTexts;
    std::vector<std::size_t> otherAlternatives;
    QRegularExpression regex;
    std::vector<int> exceptions; // raw indexes kept visible whatever the filter says
    bool caseSensitive = false;
    bool optionFlag1 = false;
    bool optionFlag2 = false;
    bool isRegex = false;

    // Compiles filterStr into parsedList (or regex, for a text that starts with "#"). A filter
    // without text has an empty list and matches nothing.
    void convertFilterStrToRegexList();
};

// Same place, same text, same flags; the compiled form and the exceptions do not count.
inline bool operator==(const FilterData& a, const FilterData& b) {
    return a.range == b.range && a.filterStr == b.filterStr && a.caseSensitive == b.caseSensitive &&
           a.optionFlag1 == b.optionFlag1 && a.optionFlag2 == b.optionFlag2 && a.isRegex == b.isRegex;
}

inline bool operator!=(const FilterData& a, const FilterData& b) {
    return !(a == b);
}

inline bool sortFilterRowAscending(const FilterData& a, const FilterData& b) {
    return a.range.row < b.range.row;
}
inline bool sortFilterColAscending(const FilterData& a, const FilterData& b) {
    return a.range.col < b.range.col;
}
