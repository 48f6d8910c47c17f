#include "util/shortcututilities.h"

#include <QTest>

namespace {

QStringList keys(const QList<QKeySequence>& sequences) {
    QStringList out;
    for (const QKeySequence& sequence : sequences)
        out.append(sequence.toString(QKeySequence::PortableText));
    return out;
}

} // namespace

class TestShortcutUtilities : public QObject {
    Q_OBJECT

private slots:
    void keySequenceList_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("cmd is control") << QStringLiteral("cmd+s") << QStringList{QStringLiteral("Ctrl+S")};
        QTest::newRow("ctrl is the physical key")
            << QStringLiteral("ctrl+u") << QStringList{QStringLiteral("Meta+U")};
        QTest::newRow("both") << QStringLiteral("ctrl+shift+d|alt+f3")
                              << QStringList{QStringLiteral("Meta+Shift+D"), QStringLiteral("Alt+F3")};
        QTest::newRow("alternatives") << QStringLiteral("del|backspace")
                                      << QStringList{QStringLiteral("Del"), QStringLiteral("Backspace")};
        QTest::newRow("enter gets return")
            << QStringLiteral("cmd+enter")
            << QStringList{QStringLiteral("Ctrl+Enter"), QStringLiteral("Ctrl+Return")};
        QTest::newRow("return gets enter")
            << QStringLiteral("alt+return")
            << QStringList{QStringLiteral("Alt+Return"), QStringLiteral("Alt+Enter")};
        QTest::newRow("twin already listed")
            << QStringLiteral("enter|return")
            << QStringList{QStringLiteral("Enter"), QStringLiteral("Return")};
        QTest::newRow("chord") << QStringLiteral("cmd+k,cmd+k")
                               << QStringList{QStringLiteral("Ctrl+K, Ctrl+K")};
        QTest::newRow("spaces and case")
            << QStringLiteral(" Cmd+Shift+P | CMD+L ")
            << QStringList{QStringLiteral("Ctrl+Shift+P"), QStringLiteral("Ctrl+L")};
        QTest::newRow("bad alternative dropped")
            << QStringLiteral("cme+e|f2") << QStringList{QStringLiteral("F2")};
        QTest::newRow("unknown key dropped") << QStringLiteral("alt+nokey") << QStringList{};
        QTest::newRow("empty") << QStringLiteral("") << QStringList{};
        QTest::newRow("page keys") << QStringLiteral("alt+pgup|home")
                                   << QStringList{QStringLiteral("Alt+PgUp"), QStringLiteral("Home")};
    }
    void keySequenceList() {
        QFETCH(QString, text);
        QFETCH(QStringList, expected);
        QCOMPARE(keys(getKeySequenceList(text)), expected);
    }

    // Without twins only what is written: the command table tells an explicit key from a twin.
    void withoutTwins_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("enter alone") << QStringLiteral("alt+enter")
                                     << QStringList{QStringLiteral("Alt+Enter")};
        QTest::newRow("return alone")
            << QStringLiteral("cmd+alt+return") << QStringList{QStringLiteral("Ctrl+Alt+Return")};
        QTest::newRow("others unchanged") << QStringLiteral("del|backspace")
                                          << QStringList{QStringLiteral("Del"), QStringLiteral("Backspace")};
    }
    void withoutTwins() {
        QFETCH(QString, text);
        QFETCH(QStringList, expected);
        QCOMPARE(keys(parseShortcut(text, false)), expected);
    }
};

QTEST_MAIN(TestShortcutUtilities)
#include "tst_shortcututilities.moc"
