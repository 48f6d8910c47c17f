#include "util/urlutilities.h"

#include <QTest>

using namespace Utilities;

class TestUrlUtilities : public QObject {
    Q_OBJECT

private slots:
    void hyperlinks_data() {
        QTest::addColumn<QStringList>("texts");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("web address") << QStringList{QStringLiteral("https://example.org/a?b=1")}
                                     << QStringList{QStringLiteral("https://example.org/a?b=1")};
        QTest::newRow("bare host gets a scheme") << QStringList{QStringLiteral(" example.org ")}
                                                 << QStringList{QStringLiteral("http://example.org")};
        QTest::newRow("words are no links")
            << QStringList{QStringLiteral("hello"), QStringLiteral("two words.com"), QString()}
            << QStringList{};
        QTest::newRow("address to write to") << QStringList{QStringLiteral("me@example.org")}
                                             << QStringList{QStringLiteral("mailto:me@example.org")};
        QTest::newRow("file path") << QStringList{QStringLiteral("/tmp/a.csv")}
                                   << QStringList{QStringLiteral("file:///tmp/a.csv")};
    }
    void hyperlinks() {
        QFETCH(QStringList, texts);
        QFETCH(QStringList, expected);
        QStringList urls;
        for (const QUrl& url : buildHyperlinkUrls(texts))
            urls.append(url.toString());
        QCOMPARE(urls, expected);
    }

    void email_data() {
        QTest::addColumn<QStringList>("texts");
        QTest::addColumn<QString>("expected");
        QTest::newRow("one") << QStringList{QStringLiteral("me@example.org")}
                             << QStringLiteral("mailto:me@example.org");
        QTest::newRow("several, others left out")
            << QStringList{QStringLiteral("a@b.cd"), QStringLiteral("not mail"), QStringLiteral(" x@y.z ")}
            << QStringLiteral("mailto:a@b.cd,x@y.z");
        QTest::newRow("no dot after the at") << QStringList{QStringLiteral("me@localhost")} << QString();
        QTest::newRow("none") << QStringList{} << QString();
    }
    void email() {
        QFETCH(QStringList, texts);
        QFETCH(QString, expected);
        QCOMPARE(buildEmailUrl(texts).toString(), expected);
    }

    void search_data() {
        QTest::addColumn<QString>("site");
        QTest::addColumn<QString>("term");
        QTest::addColumn<QString>("expected");
        QTest::newRow("duckduckgo") << QStringLiteral("duckduckgo.com") << QStringLiteral("red fox")
                                    << QStringLiteral("https://duckduckgo.com/?q=red%20fox");
        QTest::newRow("bing") << QStringLiteral("www.bing.com") << QStringLiteral("a&b")
                              << QStringLiteral("https://www.bing.com/search?q=a%26b");
        QTest::newRow("yahoo") << QStringLiteral("search.yahoo.com") << QStringLiteral("x")
                               << QStringLiteral("https://search.yahoo.com/search;?p=x");
        QTest::newRow("google maps") << QStringLiteral("www.google.com/maps") << QStringLiteral("Oslo")
                                     << QStringLiteral("https://www.google.com/maps/search/Oslo");
        QTest::newRow("custom without scheme")
            << QStringLiteral("search.example.org/find?q=") << QStringLiteral("x y")
            << QStringLiteral("https://search.example.org/find?q=x%20y");
        QTest::newRow("custom with scheme") << QStringLiteral("http://s.example/?q=") << QStringLiteral("z")
                                            << QStringLiteral("http://s.example/?q=z");
    }
    void search() {
        QFETCH(QString, site);
        QFETCH(QString, term);
        QFETCH(QString, expected);
        QCOMPARE(buildSearchUrl(site, term).toString(QUrl::FullyEncoded), expected);
    }
};

QTEST_MAIN(TestUrlUtilities)
#include "tst_urlutilities.moc"
