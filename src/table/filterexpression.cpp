#include "table/filterdata.h"

#include <QStringList>

#include <array>
#include <utility>

namespace {

// The number forms a piece may take, in the order they are tried, each with its type.
const std::array<std::pair<QRegularExpression, int>, 11>& numberForms() {
    static const std::array<std::pair<QRegularExpression, int>, 11> forms = [] {
        const QString number = QStringLiteral(R"((?<%1>(\+|-)?(\d+\.|\d*\.\d+|\d+)((e|E)(\+|-)?\d+)?))");
        const QString n1 = number.arg(QStringLiteral("num1"));
        const QString n2 = number.arg(QStringLiteral("num2"));
        const auto form = [&](const QString& pattern, int type) {
            QString text = pattern;
            text.replace(QStringLiteral("%1"), n1).replace(QStringLiteral("%2"), n2);
            QRegularExpression re(text);
            re.optimize();
            return std::pair<QRegularExpression, int>(std::move(re), type);
        };
        return std::array<std::pair<QRegularExpression, int>, 11>{
            form(QStringLiteral(R"(^\s*<\s*%1\s*$)"), 1),      form(QStringLiteral(R"(^\s*%1\s*>\s*$)"), 1),
            form(QStringLiteral(R"(^\s*<=\s*%1\s*$)"), 2),     form(QStringLiteral(R"(^\s*%1\s*>=\s*$)"), 2),
            form(QStringLiteral(R"(^\s*%1\s*-\s*$)"), 2),      form(QStringLiteral(R"(^\s*>\s*%1\s*$)"), 3),
            form(QStringLiteral(R"(^\s*%1\s*<\s*$)"), 3),      form(QStringLiteral(R"(^\s*>=\s*%1\s*$)"), 4),
            form(QStringLiteral(R"(^\s*%1\s*<=\s*$)"), 4),     form(QStringLiteral(R"(^\s*%1\s*\+\s*$)"), 4),
            form(QStringLiteral(R"(^\s*%1\s*-\s*%2\s*$)"), 5),
        };
    }();
    return forms;
}

// The last step of restoring a text piece: the escaped backslash token and a lone backslash
// (doubled on the way in) become one backslash each, and doubled slashes single again. One scan,
// so a backslash the user typed can't pair with a token beside it.
QString restoreBackslashesAndSlashes(const QString& text) {
    static const QString escapedBackslash = QStringLiteral("\\\\/\\\\/");
    QString out;
    out.reserve(text.size());
    for (qsizetype i = 0; i < text.size();) {
        if (QStringView(text).mid(i).startsWith(escapedBackslash)) {
            out += u'\\';
            i += escapedBackslash.size();
        } else if (text[i] == u'\\' && i + 1 < text.size() && text[i + 1] == u'\\') {
            out += u'\\';
            i += 2;
        } else if (text[i] == u'/' && i + 1 < text.size() && text[i + 1] == u'/') {
            out += u'/';
            i += 2;
        } else {
            out += text[i++];
        }
    }
    return out;
}

// Whether a text can take a number form at all: every form has one of these signs.
bool mayBeNumberForm(const QString& text) {
    for (const QChar c : text)
        if (c == u'<' || c == u'>' || c == u'-' || c == u'+')
            return true;
    return false;
}

} // namespace

void FilterData::convertFilterStrToRegexList() {
    parsedList.clear();
    wholeTexts.clear();
    otherAlternatives.clear();
    isRegex = false;
    if (filterStr.startsWith(u'#')) {
        isRegex = true;
        regex.setPattern(filterStr.mid(1));
        regex.setPatternOptions(caseSensitive ? QRegularExpression::NoPatternOption
                                              : QRegularExpression::CaseInsensitiveOption);
        regex.optimize();
        return;
    }

    // Escaped characters become tokens that no split below can see. Doubling "/" first means a
    // token can't be confused with text the user typed.
    QString work = filterStr;
    work.replace(QStringLiteral("/"), QStringLiteral("//"));
    work.replace(QStringLiteral("\\\\"), QStringLiteral("\\/\\/"));
    work.replace(QStringLiteral("\\|"), QStringLiteral("\\vb/vb"));
    work.replace(QStringLiteral("\\&"), QStringLiteral("\\and/and"));
    work.replace(QStringLiteral("\\*"), QStringLiteral("\\ast/ast"));
    work.replace(QStringLiteral("\\>"), QStringLiteral("\\gt/gt"));
    work.replace(QStringLiteral("\\<"), QStringLiteral("\\lt/lt"));
    work.replace(QStringLiteral("\\+"), QStringLiteral("\\pls/pls"));
    work.replace(QStringLiteral("\\-"), QStringLiteral("\\min/min"));
    work.replace(QStringLiteral("\\!"), QStringLiteral("\\not/not"));
    work.replace(QStringLiteral("\\#"), QStringLiteral("\\lb/lb"));
    work.replace(QStringLiteral("\\"), QStringLiteral("\\\\"));

    const QStringList alternatives = work.split(u'|', Qt::KeepEmptyParts);
    parsedList.resize(static_cast<std::size_t>(alternatives.size()));
    for (qsizetype a = 0; a < alternatives.size(); ++a) {
        auto& conditions = parsedList[static_cast<std::size_t>(a)];
        const QStringList conditionTexts = alternatives[a].split(u'&', Qt::KeepEmptyParts);
        conditions.resize(static_cast<std::size_t>(conditionTexts.size()));
        for (qsizetype c = 0; c < conditionTexts.size(); ++c) {
            QString condition = conditionTexts[c];
            bool negate = false;
            if (condition.startsWith(u'!')) {
                negate = true;
                condition.remove(0, 1);
            }
            condition.replace(QStringLiteral("\\\\not/not"), QStringLiteral("!"));
            auto& pieces = conditions[static_cast<std::size_t>(c)];
            const QStringList pieceTexts = condition.split(u'*', Qt::KeepEmptyParts);
            pieces.reserve(static_cast<std::size_t>(pieceTexts.size()));
            for (const QString& text : pieceTexts) {
                ParsedFilterData piece;
                piece.negate = negate;
                for (const auto& [form, type] : numberForms()) {
                    if (!mayBeNumberForm(text))
                        break; // no form can match, and a long list of texts would try all eleven
                    const QRegularExpressionMatch match = form.match(text);
                    if (!match.hasMatch())
                        continue;
                    piece.type = type;
                    piece.value = match.captured(u"num1").trimmed();
                    piece.number = piece.value.toDouble();
                    if (type == 5) {
                        piece.value2 = match.captured(u"num2").trimmed();
                        piece.number2 = piece.value2.toDouble();
                    }
                    break;
                }
                if (piece.type == 0) {
                    QString value = text;
                    value.replace(QStringLiteral("\\\\lb/lb"), QStringLiteral("#"));
                    value.replace(QStringLiteral("\\\\min/min"), QStringLiteral("-"));
                    value.replace(QStringLiteral("\\\\pls/pls"), QStringLiteral("+"));
                    value.replace(QStringLiteral("\\\\lt/lt"), QStringLiteral("<"));
                    value.replace(QStringLiteral("\\\\gt/gt"), QStringLiteral(">"));
                    value.replace(QStringLiteral("\\\\ast/ast"), QStringLiteral("*"));
                    value.replace(QStringLiteral("\\\\and/and"), QStringLiteral("&"));
                    value.replace(QStringLiteral("\\\\vb/vb"), QStringLiteral("|"));
                    piece.value = restoreBackslashesAndSlashes(value);
                }
                pieces.push_back(std::move(piece));
            }
        }
    }
    for (std::size_t a = 0; a < parsedList.size(); ++a) {
        const auto& conditions = parsedList[a];
        // Alone, such a piece asks for the cell to equal its text (see TableModel::filterMatch).
        if (caseSensitive && conditions.size() == 1 && conditions.front().size() == 1 &&
            conditions.front().front().type == 0 && !conditions.front().front().negate)
            wholeTexts.insert(conditions.front().front().value);
        else
            otherAlternatives.push_back(a);
    }
}
