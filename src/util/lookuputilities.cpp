#include "util/lookuputilities.h"

#include "util/locationutilities.h"

#include <climits>

namespace Utilities {

LookupColumnAnswer parseLookupColumnAnswer(const QString& text, bool letters) {
    LookupColumnAnswer answer;
    QString trimmed = text.trimmed();
    if (trimmed.isEmpty()) {
        answer.blank = true;
        return answer;
    }
    if (letters) {
        const int col = convertLettersToNumber(trimmed);
        answer.valid = col != INT_MIN && col >= 0;
        answer.col = answer.valid ? col : 0;
        return answer;
    }
    // "col 3" and "column 3" read as the number, as the other column prompts take them.
    static const QString words[] = {QStringLiteral("column"), QStringLiteral("col")};
    for (const QString& word : words) {
        if (trimmed.startsWith(word, Qt::CaseInsensitive)) {
            trimmed = trimmed.mid(word.size()).trimmed();
            break;
        }
    }
    bool ok = false;
    const int col = trimmed.toInt(&ok);
    answer.valid = ok;
    answer.col = ok ? col : 0;
    return answer;
}

LookupColumnsAnswer parseLookupColumnsAnswer(const QString& text, bool letters, int limit) {
    LookupColumnsAnswer answer;
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty()) {
        answer.blank = true;
        return answer;
    }
    if (trimmed == QLatin1String("*")) {
        answer.allButKey = true;
        answer.valid = true;
        return answer;
    }
    QString error;
    const bool read = letters ? parseColsStringColLetters(answer.cols, error, trimmed, limit)
                              : parseColsString(answer.cols, error, trimmed, limit, true);
    answer.valid = read && !answer.cols.empty();
    if (!answer.valid)
        answer.cols.clear();
    return answer;
}

QString computeColRangeFeedbackString(const std::vector<int>& cols, bool letters) {
    if (cols.empty())
        return QStringLiteral("(No column selected)");
    return makeColsStringFromCols(cols, letters, true);
}

bool isInsertNewColumnsAnswer(const QString& text) {
    return text.trimmed() == QLatin1String("Insert new columns");
}

} // namespace Utilities
