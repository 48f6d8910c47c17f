// The cheap tests in front of regular expression filters never contradict the pattern engine,
// and a table filtered through them conceals exactly what matching each cell would.

#include "table/filterdata.h"
#include "table/regexprefilter.h"
#include "table/tablemodel.h"
#include "tablemodelfixture.h"

#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTest>

using namespace Fixture;

namespace {

QString randomPattern(QRandomGenerator& random) {
    static const char* const items[] = {"a",     "b",    "c",           "A",   "x",   ".",
                                        "[a-c]", "[^b]", "[]a]",        "\\.", "\\d", "(a|b)",
                                        "\\n",   "\\b",  "[[:alpha:]]", " ",   "k",   "s"};
    static const char* const quantifiers[] = {"", "", "", "*", "+", "?", "{2}", "{1,}", "{0,2}", "+?"};
    QString pattern;
    if (random.bounded(2))
        pattern += u'^';
    const int count = static_cast<int>(random.bounded(5));
    for (int i = 0; i < count; ++i) {
        pattern += QLatin1String(items[random.bounded(int(std::size(items)))]);
        pattern += QLatin1String(quantifiers[random.bounded(int(std::size(quantifiers)))]);
        if (random.bounded(25) == 0)
            pattern += QStringLiteral("|b");
        if (random.bounded(40) == 0)
            pattern += QStringLiteral("(?i)");
    }
    if (random.bounded(2))
        pattern += u'$';
    return pattern;
}

QString randomCell(QRandomGenerator& random) {
    // Letters in both cases, the characters that fold onto ASCII letters, and line ends.
    static const char16_t chars[] = {u'a',  u'b',  u'c', u'A', u'B', u'x',   u'.',   u'1',
                                     u'\n', u'\r', u' ', u'k', u's', 0x212A, 0x017F, 0x00E9};
    QString cell;
    const int length = static_cast<int>(random.bounded(7));
    for (int i = 0; i < length; ++i)
        cell += QChar(chars[random.bounded(int(std::size(chars)))]);
    return cell;
}

} // namespace

class TestRegexPrefilter : public QObject {
    Q_OBJECT

private slots:
    void neverContradictsTheEngine() {
        QRandomGenerator random(20261124);
        int decided = 0;
        int checked = 0;
        for (int p = 0; p < 3000; ++p) {
            const QString pattern = randomPattern(random);
            const bool caseSensitive = random.bounded(2) == 0;
            const QRegularExpression re(pattern, caseSensitive ? QRegularExpression::NoPatternOption
                                                               : QRegularExpression::CaseInsensitiveOption);
            if (!re.isValid())
                continue;
            const RegexPrefilter prefilter(pattern, caseSensitive);
            for (int c = 0; c < 40; ++c) {
                const QString cell = randomCell(random);
                const bool expected = re.match(cell).hasMatch();
                RegexPrefilter::Verdict verdict = prefilter.check(QStringView(cell));
                bool ascii = true;
                for (QChar ch : cell)
                    ascii = ascii && ch.unicode() < 128;
                if (ascii) {
                    const QByteArray bytes = cell.toLatin1();
                    const RegexPrefilter::Verdict onBytes = prefilter.check(
                        std::string_view(bytes.constData(), static_cast<std::size_t>(bytes.size())));
                    QCOMPARE(onBytes, verdict);
                }
                ++checked;
                if (verdict == RegexPrefilter::Unknown)
                    continue;
                ++decided;
                QVERIFY2((verdict == RegexPrefilter::Yes) == expected,
                         qPrintable(QStringLiteral("pattern %1 (%2) on \"%3\"")
                                        .arg(pattern, caseSensitive ? u"case" : u"no case", cell)));
            }
        }
        // Most random cells are decided: the test checks the shortcuts, not only the fallback.
        QVERIFY2(decided > checked / 3, qPrintable(QStringLiteral("%1 of %2").arg(decided).arg(checked)));
    }

    void whatThePatternsGive_data() {
        QTest::addColumn<QString>("pattern");
        QTest::addColumn<bool>("caseSensitive");
        QTest::addColumn<QString>("cell");
        QTest::addColumn<int>("verdict");
        const int no = RegexPrefilter::No;
        const int yes = RegexPrefilter::Yes;
        const int unknown = RegexPrefilter::Unknown;
        QTest::newRow("anchored set, first char out") << "^[a-c].*[aeiou]$" << false << "dove" << no;
        QTest::newRow("anchored set, last char out") << "^[a-c].*[aeiou]$" << false << "bird" << no;
        QTest::newRow("anchored sets pass, engine decides")
            << "^[a-c].*[aeiou]$" << false << "Cone" << unknown;
        QTest::newRow("whole cell literal") << "^kiwi$" << true << "kiwi" << yes;
        QTest::newRow("whole cell literal, longer") << "^kiwi$" << true << "kiwis" << no;
        QTest::newRow("whole cell literal, line end") << "^kiwi$" << true << "kiwi\n" << unknown;
        QTest::newRow("caseless literal") << "KiW" << false << "a kiwi" << yes;
        QTest::newRow("case-sensitive literal") << "KiW" << true << "a kiwi" << no;
        QTest::newRow("caseless, non-ASCII cell") << "k" << false << QString(QChar(0x212A)) << unknown;
        QTest::newRow("escaped dot literal") << "a\\.b" << true << "axb" << no;
        QTest::newRow("required literal in a longer pattern") << "x\\d+yz" << true << "x12y" << no;
        QTest::newRow("top-level alternation reads nothing") << "^a|b" << true << "zzz" << unknown;
        QTest::newRow("inline option reads nothing") << "(?i)abc" << true << "ABC" << unknown;
        QTest::newRow("optional first item") << "^a?b" << true << "b" << unknown;
        QTest::newRow("empty pattern") << "" << true << "anything" << yes;
        QTest::newRow("prefix literal") << "^ab" << true << "abc" << yes;
        QTest::newRow("suffix literal") << "bc$" << true << "abd" << no;
    }
    void whatThePatternsGive() {
        QFETCH(QString, pattern);
        QFETCH(bool, caseSensitive);
        QFETCH(QString, cell);
        QFETCH(int, verdict);
        QCOMPARE(static_cast<int>(RegexPrefilter(pattern, caseSensitive).check(QStringView(cell))), verdict);
    }

    // Filtering a table reads ASCII cells in place and others decoded; both ways, and with the
    // table transposed, the concealed rows are those filterMatch rejects cell by cell.
    void tableScanAgreesWithCellMatch() {
        QRandomGenerator random(7);
        QStringList lines{QStringLiteral("head,other")};
        for (int r = 0; r < 300; ++r) {
            QString cell = randomCell(random);
            cell.remove(u'\n').remove(u'\r');
            lines << cell + QStringLiteral(",x");
        }
        const QStringList filters{QStringLiteral("#^[a-c]"),  QStringLiteral("#b$"), QStringLiteral("#k"),
                                  QStringLiteral("#^(a|b)c"), QStringLiteral("a*"),  QStringLiteral("#[")};
        for (const auto type : {TableData::Editable, TableData::ReadOnly}) {
            auto model = load(lines, type);
            for (const bool transposed : {false, true}) {
                if (transposed)
                    model->getTableData().toggleTranspose();
                for (const QString& text : filters) {
                    for (const bool caseSensitive : {false, true}) {
                        FilterData filter;
                        filter.range = transposed ? Range(0, RangeType::Row, RangeIndexType::Raw)
                                                  : Range(0, RangeType::Col, RangeIndexType::Raw);
                        filter.filterStr = text;
                        filter.caseSensitive = caseSensitive;
                        filter.convertFilterStrToRegexList();
                        TableModel::ConcealmentState state;
                        state.filters = {filter};
                        QVERIFY(model->computeConcealment(state, false));
                        std::vector<int> expected;
                        const TableData& data = model->getTableData();
                        const int headers =
                            std::max(transposed ? model->getNumHeaderCols() : model->getNumHeaderRows(), 0);
                        for (int i = headers; i < 301; ++i) {
                            const QString cell =
                                (transposed ? data.getValueRaw(0, i) : data.getValueRaw(i, 0)).toString();
                            if (!model->filterMatch(filter, cell))
                                expected.push_back(i);
                        }
                        QVERIFY(!expected.empty());
                        QCOMPARE(transposed ? state.concealedCols : state.concealedRows, expected);
                    }
                }
            }
        }
    }
};

QTEST_GUILESS_MAIN(TestRegexPrefilter)
#include "tst_regexprefilter.moc"
