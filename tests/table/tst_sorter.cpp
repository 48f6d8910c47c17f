#include "table/sorter.h"
#include "util/sortutilities.h"

#include <QLocale>
#include <QRandomGenerator>
#include <QTest>

#include <algorithm>
#include <numeric>

// The analysed keys against the literal comparator, on the same merge sort.
class TestSorter : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void differential_data();
    void differential();
    void pairsAgree();
    void packedKeysAgree();
    void stableForEquals();
    void matchesStableSort_data();
    void matchesStableSort();
    void cancel();

private:
    static QString randomKey(QRandomGenerator& rng);
    static QString randomNumber(QRandomGenerator& rng);
};

void TestSorter::initTestCase() {
    QLocale::setDefault(QLocale::c());
}

QString TestSorter::randomKey(QRandomGenerator& rng) {
    static const QStringList words{QStringLiteral("apple"),
                                   QStringLiteral("Apple"),
                                   QStringLiteral("file"),
                                   QStringLiteral("File"),
                                   QStringLiteral("b"),
                                   QStringLiteral("x_y"),
                                   QStringLiteral("\u00e9t\u00e9"),
                                   QStringLiteral("\u00c9T\u00c9"),
                                   QStringLiteral("\u4e2d\u6587"),
                                   QStringLiteral("\U0001F600"),
                                   QStringLiteral("e"),
                                   QStringLiteral("-"),
                                   QStringLiteral("."),
                                   QStringLiteral("$"),
                                   QStringLiteral("\u20ac")};
    const auto number = [&rng]() { return QString::number(rng.bounded(0, 30) - 5); };
    switch (rng.bounded(16)) {
    case 0:
        return QString();
    case 1:
        return number();
    case 2:
        return QStringLiteral("0") + number(); // zero-led, or "0-3"
    case 3:
        return QString::number(rng.bounded(-100, 100) / 8.0);
    case 4:
        return QStringLiteral("%1e%2").arg(rng.bounded(1, 9)).arg(rng.bounded(-3, 4));
    case 5:
        return QStringLiteral("$") + number();
    case 6:
        return QString(rng.bounded(0, 3), u' ') + words.at(rng.bounded(words.size())) + number();
    case 7:
        return number() + QStringLiteral("_") + number();
    case 8:
        return words.at(rng.bounded(words.size())) + number() + words.at(rng.bounded(words.size()));
    case 9:
        return number() + words.at(rng.bounded(words.size()));
    case 10:
        return QString(rng.bounded(1, 4), u' ');
    case 11:
        return QStringLiteral("1,%1").arg(rng.bounded(100, 999));
    case 12:
        return QStringLiteral("a") + QString::number(rng.bounded(1000)) +
               QStringLiteral("99999999999999999999");
    case 13:
        return QStringLiteral("%1.%2.%3").arg(rng.bounded(3)).arg(rng.bounded(3)).arg(rng.bounded(3));
    case 14:
        return number() + QChar(0) + QStringLiteral("\u00e9");
    default:
        return words.at(rng.bounded(words.size()));
    }
}

void TestSorter::differential_data() {
    QTest::addColumn<bool>("descending");
    QTest::addColumn<bool>("caseSensitive");
    QTest::addColumn<bool>("numbersOnly");
    QTest::newRow("ascending, case-sensitive") << false << true << false;
    QTest::newRow("descending, case-sensitive") << true << true << false;
    QTest::newRow("ascending, any case") << false << false << false;
    QTest::newRow("descending, any case") << true << false << false;
    QTest::newRow("numbers and empty cells, ascending") << false << true << true;
    QTest::newRow("numbers and empty cells, descending") << true << true << true;
}

// Keys a numbers-only set takes: values that compare as numbers, and empty cells.
QString TestSorter::randomNumber(QRandomGenerator& rng) {
    switch (rng.bounded(6)) {
    case 0:
        return QString();
    case 1:
        return QString::number(rng.bounded(1, 50) * (rng.bounded(2) ? 1 : -1)); // "0" is zero-led
    case 2:
        return QString::number(rng.bounded(1, 800) / (rng.bounded(2) ? 8.0 : -8.0));
    case 3:
        return QStringLiteral("%1e%2").arg(rng.bounded(1, 9)).arg(rng.bounded(-3, 4));
    case 4:
        return QStringLiteral("-0.%1").arg(rng.bounded(10));
    default:
        return QStringLiteral("1,%1").arg(rng.bounded(100, 999));
    }
}

void TestSorter::differential() {
    QFETCH(bool, descending);
    QFETCH(bool, caseSensitive);
    QFETCH(bool, numbersOnly);
    QRandomGenerator rng(caseSensitive ? 2026u : 2027u);
    if (numbersOnly) {
        // Keys that compare other than by value are refused, so that the caller keeps texts.
        for (const char* text : {"0", "007", " 0", "1_000", "a", "1a", "$5", "   "}) {
            SortKeys refusing(true);
            QVERIFY2(!refusing.add(QString::fromLatin1(text)), text);
        }
    }
    for (int round = 0; round < 30; ++round) {
        // Some rounds from a small pool, so that equal keys are common.
        const int count = rng.bounded(1, 400);
        const int poolSize = round % 3 == 0 ? 12 : count;
        QStringList pool;
        for (int i = 0; i < poolSize; ++i)
            pool.append(numbersOnly ? randomNumber(rng) : randomKey(rng));
        QStringList texts;
        SortKeys keys(numbersOnly);
        for (int i = 0; i < count; ++i) {
            QString key = pool.at(rng.bounded(poolSize));
            if (!caseSensitive)
                key = key.toLower();
            texts.append(key);
            QVERIFY2(keys.add(key), qPrintable(key));
        }
        std::vector<int> expected(static_cast<std::size_t>(count));
        std::iota(expected.begin(), expected.end(), 0);
        std::vector<int> actual = expected;
        Sorter::stableMergeSort(expected, [&texts, descending](int a, int b) {
            return Utilities::qStringCompare(texts.at(a), texts.at(b), descending);
        });
        Sorter::stableMergeSort(actual, keys, descending);
        if (actual != expected) {
            for (std::size_t i = 0; i < actual.size(); ++i) {
                if (actual[i] != expected[i]) {
                    QFAIL(qPrintable(QStringLiteral("round %1, position %2: '%3' where '%4'")
                                         .arg(round)
                                         .arg(i)
                                         .arg(texts.at(actual[i]), texts.at(expected[i]))));
                }
            }
        }
    }
}

void TestSorter::pairsAgree() {
    // Every pair of a mixed sample, both ways: a mismatch names the two texts.
    QRandomGenerator rng(7);
    QStringList texts;
    SortKeys keys;
    for (int i = 0; i < 250; ++i) {
        texts.append(randomKey(rng));
        keys.add(texts.last());
    }
    for (int a = 0; a < texts.size(); ++a) {
        for (int b = 0; b < texts.size(); ++b) {
            for (const bool descending : {false, true}) {
                if (keys.less(a, b, descending) !=
                    Utilities::qStringCompare(texts.at(a), texts.at(b), descending))
                    QFAIL(qPrintable(QStringLiteral("'%1' against '%2'%3")
                                         .arg(texts.at(a), texts.at(b),
                                              descending ? QStringLiteral(" descending") : QString())));
            }
        }
    }
}

void TestSorter::packedKeysAgree() {
    // Names with numbers in them are held packed; around the limits of packing (digit runs of 15
    // and 16, runs of text of 32 and 33, keys of 255 and 256, a full table of words, then keys
    // with new words that must stay plain) every pair must still compare as the texts do, and
    // permute() must keep the packed keys readable.
    QRandomGenerator rng(11);
    QStringList texts;
    SortKeys keys;
    const auto digits = [&rng](int n) {
        QString run;
        for (int i = 0; i < n; ++i)
            run += QChar(u'0' + rng.bounded(10));
        return run;
    };
    static const char* const stems[] = {"IMG_", "img", "file", " x", "a.b", ""};
    for (int i = 0; i < 300; ++i) {
        QString key;
        switch (i % 6) {
        case 0:
            key = QString::fromLatin1(stems[rng.bounded(6)]) + digits(rng.bounded(1, 6)) +
                  (rng.bounded(2) ? QStringLiteral(".png") : QStringLiteral(".txt"));
            break;
        case 1:
            key = QStringLiteral("v") + digits(rng.bounded(14, 18)) + QStringLiteral("-") +
                  digits(rng.bounded(0, 3));
            break;
        case 2:
            key = QString(rng.bounded(32, 34), u'q') + digits(2);
            break;
        case 3:
            key = QStringLiteral("w%1_").arg(i) + digits(3); // a new word each time
            break;
        case 4:
            key = QString(rng.bounded(2), u'0') + digits(rng.bounded(1, 4));
            break;
        default:
            key =
                (QStringLiteral("ab") + digits(1)).repeated(rng.bounded(60, 66)).left(rng.bounded(250, 260));
        }
        texts.append(key);
        keys.add(key);
    }
    std::vector<int> reversed(static_cast<std::size_t>(texts.size()));
    std::iota(reversed.rbegin(), reversed.rend(), 0);
    keys.permute(reversed);
    std::reverse(texts.begin(), texts.end());
    for (int a = 0; a < texts.size(); ++a) {
        for (int b = 0; b < texts.size(); ++b) {
            for (const bool descending : {false, true}) {
                if (keys.less(a, b, descending) !=
                    Utilities::qStringCompare(texts.at(a), texts.at(b), descending))
                    QFAIL(qPrintable(QStringLiteral("'%1' against '%2'").arg(texts.at(a), texts.at(b))));
            }
        }
    }
    // Held plain, 2,000 such names would take at least 18 bytes each.
    SortKeys names;
    for (int i = 0; i < 2000; ++i)
        names.add(QStringLiteral("IMG_%1.png").arg(10000 + i * 37));
    QVERIFY(names.memoryBytes() < 2000 * 18);
}

void TestSorter::stableForEquals() {
    // Lower-cased keys "a" and "A" are equal and keep their order in both directions; so do
    // equal values.
    const QStringList texts{QStringLiteral("A"),   QStringLiteral("b"), QStringLiteral("a"),
                            QStringLiteral("1.0"), QStringLiteral("1"), QStringLiteral("B")};
    for (const bool descending : {false, true}) {
        SortKeys keys;
        for (const QString& text : texts)
            keys.add(text.toLower());
        std::vector<int> order(static_cast<std::size_t>(texts.size()));
        std::iota(order.begin(), order.end(), 0);
        Sorter::stableMergeSort(order, keys, descending);
        QCOMPARE(order,
                 descending ? (std::vector<int>{1, 5, 0, 2, 3, 4}) : (std::vector<int>{3, 4, 0, 2, 1, 5}));
    }
}

void TestSorter::matchesStableSort_data() {
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("distinct");
    QTest::newRow("insertion only") << 100 << 10;
    QTest::newRow("first with a buffer") << 129 << 5;
    QTest::newRow("many equal") << 5000 << 3;
    QTest::newRow("all different") << 100000 << 1000000;
    QTest::newRow("ordered runs") << 70000 << 0;
}

void TestSorter::matchesStableSort() {
    // The merge's buffer is shorter than the runs it merges: the order must still be that of
    // std::stable_sort, equal keys in their first order.
    QFETCH(int, count);
    QFETCH(int, distinct);
    QRandomGenerator rng(static_cast<quint32>(count));
    std::vector<int> values(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        values[static_cast<std::size_t>(i)] = distinct > 0 ? rng.bounded(distinct) : (i % 1000) + i / 20000;
    const auto less = [&values](int a, int b) {
        return values[static_cast<std::size_t>(a)] < values[static_cast<std::size_t>(b)];
    };
    std::vector<int> expected(values.size());
    std::iota(expected.begin(), expected.end(), 0);
    std::vector<int> actual = expected;
    std::stable_sort(expected.begin(), expected.end(), less);
    Sorter::stableMergeSort(actual, less);
    QVERIFY(actual == expected);
}

void TestSorter::cancel() {
    SortKeys keys;
    for (int i = 0; i < 200000; ++i)
        keys.add(QString::number((i * 7919) % 200000));
    std::vector<int> order(keys.size());
    std::iota(order.begin(), order.end(), 0);
    int asked = 0;
    bool thrown = false;
    try {
        Sorter::stableMergeSort(order, keys, false, [&asked](qint64) { return ++asked < 3; });
    } catch (const SortCanceledException& e) {
        thrown = true;
        QCOMPARE(QString::fromLatin1(e.what()), QStringLiteral("Sort operation cancelled by user"));
    }
    QVERIFY(thrown);
    QCOMPARE(asked, 3);
}

QTEST_GUILESS_MAIN(TestSorter)
#include "tst_sorter.moc"
