// The import's conversion with progress: the same table as without, progress that only grows,
// and a stop at any point that writes nothing.

#include "convert/conversion.h"
#include "convert/jsoncontainer.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

namespace {

QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
}

QString jsonRecords(int count) {
    QString text = QStringLiteral("[");
    for (int i = 0; i < count; ++i)
        text += QStringLiteral("%1{\"id\": %2, \"tags\": [\"a\", \"b%2\"]}\n").arg(i ? "," : "").arg(i);
    return text + QStringLiteral("]");
}

QString xmlRecords(int count) {
    QString text = QStringLiteral("<list>");
    for (int i = 0; i < count; ++i)
        text += QStringLiteral("<r n=\"%1\"><v>x%1</v></r>\n").arg(i);
    return text + QStringLiteral("</list>");
}

} // namespace

class TestImportConversion : public QObject {
    Q_OBJECT

private slots:
    void progressAndStop_data() {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("text");
        QTest::newRow("json") << int(FILE_TYPE_JSON) << jsonRecords(20000);
        QTest::newRow("xml") << int(FILE_TYPE_XML) << xmlRecords(20000);
    }
    void progressAndStop() {
        QFETCH(int, type);
        QFETCH(QString, text);
        QTemporaryDir dir;
        NonTableFile file;
        file.fileType = static_cast<FileType>(type);
        file.contents = text;
        const ExtensionData parameters{QStringLiteral("csv")};
        const QString plain = dir.filePath(QStringLiteral("plain.csv"));
        QVERIFY(Conversion::convertToTable(file, plain, parameters, true));

        // With progress: the same file, and reports that never go back or past the end.
        qint64 last = -1;
        int reports = 0;
        bool ordered = true;
        const QString followed = dir.filePath(QStringLiteral("followed.csv"));
        bool canceled = false;
        QVERIFY(Conversion::convertToTable(
            file, followed, parameters, true,
            [&](qint64 done, qint64 total) {
                const qint64 at = total > 0 ? done * 1000 / total : 0;
                ordered = ordered && at >= last && at <= 1000;
                last = at;
                ++reports;
                return true;
            },
            &canceled));
        QVERIFY(!canceled);
        QVERIFY(ordered);
        QVERIFY(reports > 3);
        QCOMPARE(readAll(followed), readAll(plain));

        // A stop at each report in turn: nothing written, and told so.
        for (int stopAt = 1; stopAt <= reports; stopAt += std::max(1, reports / 7)) {
            int seen = 0;
            canceled = false;
            const QString stopped = dir.filePath(QStringLiteral("stopped%1.csv").arg(stopAt));
            QVERIFY(!Conversion::convertToTable(
                file, stopped, parameters, true, [&](qint64, qint64) { return ++seen < stopAt; }, &canceled));
            QVERIFY(canceled);
            QVERIFY(!QFile::exists(stopped));
        }
    }

    // The reading stops where it is asked to and keeps what it read.
    void jsonParseStops() {
        JsonContainer whole(jsonRecords(30000));
        QVERIFY(whole.parse([](qint64, qint64) { return true; }));
        JsonContainer plain(jsonRecords(30000));
        plain.parse(-1);
        QCOMPARE(whole.size(), plain.size());
        JsonContainer cut(jsonRecords(30000));
        QVERIFY(!cut.parse([](qint64 done, qint64 total) { return done < total / 2; }));
        QVERIFY(cut.size() > 0 && cut.size() < plain.size());
    }
};

QTEST_MAIN(TestImportConversion)
#include "tst_importconversion.moc"
