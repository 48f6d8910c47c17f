#include "util/appdatautilities.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

namespace {

void writeFile(const QString& path, const QByteArray& content) {
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
}

QByteArray readFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return "<missing>";
    return file.readAll();
}

} // namespace

class TestAppDataUtilities : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void noRemnantIsNothingToDo() {
        QTemporaryDir data;
        writeFile(data.filePath("Orvane.ini"), "x");
        QVERIFY(Utilities::handleAppDataInRedundantFolders(data.path()));
        QCOMPARE(readFile(data.filePath("Orvane.ini")), QByteArray("x"));
        QVERIFY(Utilities::handleAppDataInRedundantFolders(QString()));
    }

    // Files move up, existing targets are replaced by the remnant's version, and the emptied
    // remnant goes.
    void movesFilesUp_data() {
        QTest::addColumn<bool>("targetExists");
        QTest::newRow("plain move") << false;
        QTest::newRow("target exists") << true;
    }
    void movesFilesUp() {
        QFETCH(bool, targetExists);
        QTemporaryDir data;
        QVERIFY(QDir(data.path()).mkdir("Orvane"));
        writeFile(data.filePath("Orvane/Settings (User).csv"), "remnant settings");
        writeFile(data.filePath("Orvane/.hidden"), "dot");
        writeFile(data.filePath("Orvane/Orvane.ini"), "remnant ini");
        if (targetExists)
            writeFile(data.filePath("Orvane.ini"), "newer but replaced");

        QVERIFY(Utilities::handleAppDataInRedundantFolders(data.path()));
        QCOMPARE(readFile(data.filePath("Settings (User).csv")), QByteArray("remnant settings"));
        QCOMPARE(readFile(data.filePath(".hidden")), QByteArray("dot"));
        QCOMPARE(readFile(data.filePath("Orvane.ini")), QByteArray("remnant ini"));
        QVERIFY(!QDir(data.filePath("Orvane")).exists());
    }

    // A target that is a folder can be neither removed as a file nor copied onto: that file
    // stays behind, the others still move, and the remnant keeps what it still holds.
    void fileThatCannotMoveKeepsTheFolder() {
        QTemporaryDir data;
        QVERIFY(QDir(data.path()).mkpath("Orvane"));
        QVERIFY(QDir(data.path()).mkpath("blocked.csv/inside"));
        writeFile(data.filePath("Orvane/blocked.csv"), "stays");
        writeFile(data.filePath("Orvane/free.csv"), "moves");

        QVERIFY(!Utilities::handleAppDataInRedundantFolders(data.path()));
        QCOMPARE(readFile(data.filePath("Orvane/blocked.csv")), QByteArray("stays"));
        QCOMPARE(readFile(data.filePath("free.csv")), QByteArray("moves"));
        QVERIFY(!QFile::exists(data.filePath("Orvane/free.csv")));
        QVERIFY(QDir(data.filePath("blocked.csv/inside")).exists());
    }

    void nestedFolderKeepsTheRemnant() {
        QTemporaryDir data;
        QVERIFY(QDir(data.path()).mkpath("Orvane/Themes"));
        writeFile(data.filePath("Orvane/Themes/Dark.csv"), "theme");
        writeFile(data.filePath("Orvane/a.csv"), "a");

        QVERIFY(!Utilities::handleAppDataInRedundantFolders(data.path()));
        QCOMPARE(readFile(data.filePath("a.csv")), QByteArray("a"));
        QCOMPARE(readFile(data.filePath("Orvane/Themes/Dark.csv")), QByteArray("theme"));
    }

    void defaultFolderIsTheTestLocation() {
        const QString location = Utilities::getAppDataLocation();
        QVERIFY(location.contains(".qttest"));
        QVERIFY(Utilities::handleAppDataInRedundantFolders());
    }
};

QTEST_GUILESS_MAIN(TestAppDataUtilities)
#include "tst_appdatautilities.moc"
