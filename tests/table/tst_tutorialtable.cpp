#include "table/tablemodel.h"
#include "table/tutorialtable.h"

#include <QDate>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

namespace {

QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The file as a plain join of the rows: none of the cells needs quoting.
QByteArray reference() {
    QByteArray text = TutorialTable::header().join(QLatin1Char(',')).toUtf8() + '\n';
    for (const QStringList& row : TutorialTable::people())
        text += row.join(QLatin1Char(',')).toUtf8() + '\n';
    return text;
}

} // namespace

class TestTutorialTable : public QObject {
    Q_OBJECT

private slots:
    void shape() {
        QCOMPARE(TutorialTable::header(),
                 QStringList({"ID", "Last Name", "First Name", "Birthdate", "Income"}));
        const std::vector<QStringList> rows = TutorialTable::people();
        QCOMPARE(int(rows.size()), 100);
        QCOMPARE(rows.front().mid(0, 3), QStringList({"0", "Smith", "John"}));
        QCOMPARE(rows.back().at(4), QStringLiteral("58000"));
        const QRegularExpression name(QStringLiteral("^[A-Z][a-z]+$"));
        QSet<QString> lastNames;
        for (int i = 0; i < int(rows.size()); ++i) {
            const QStringList& row = rows[std::size_t(i)];
            QCOMPARE(row.size(), 5);
            QCOMPARE(row.at(0), QString::number(i));
            QVERIFY2(name.match(row.at(1)).hasMatch(), qPrintable(row.at(1)));
            QVERIFY2(name.match(row.at(2)).hasMatch(), qPrintable(row.at(2)));
            const QDate birthdate = QDate::fromString(row.at(3), Qt::ISODate);
            QVERIFY2(birthdate.isValid(), qPrintable(row.at(3)));
            QVERIFY(birthdate.year() >= 1950 && birthdate.year() <= 2004);
            bool number = false;
            const int income = row.at(4).toInt(&number);
            QVERIFY(number && income > 0);
            lastNames.insert(row.at(1));
        }
        // Enough variety for sorting and filtering to show something, and some repeats to find.
        QVERIFY(lastNames.size() >= 25);
        QVERIFY(lastNames.size() < 100);
    }

    void sameOnEveryRun() {
        QCOMPARE(TutorialTable::people(), TutorialTable::people());
        QCOMPARE(reference(), reference());
    }

    // Written through the model's save path, the file is exactly the rows joined by commas, and
    // the program reads the same cells back.
    void writtenFileReadsBack() {
        QTemporaryDir dir;
        const QString path = dir.filePath("Tutorial (Fake Data).csv");
        QVERIFY(TutorialTable::write(path));
        QCOMPARE(readAll(path), reference());

        TableModel model;
        model.loadCSV(path, false, TableData::Editable, ",", ",", UTF_8, RFC_4180);
        QCOMPARE(model.rowCountRaw(), 101);
        QCOMPARE(model.columnCountRaw(), 5);
        const std::vector<QStringList> rows = TutorialTable::people();
        for (int col = 0; col < 5; ++col)
            QCOMPARE(model.getTableData().getValueRaw(0, col).toString(), TutorialTable::header().at(col));
        for (int row = 0; row < 100; ++row) {
            for (int col = 0; col < 5; ++col)
                QCOMPARE(model.getTableData().getValueRaw(row + 1, col).toString(),
                         rows[std::size_t(row)].at(col));
        }
    }

    void writeReplacesAnEditedFile() {
        QTemporaryDir dir;
        const QString path = dir.filePath("t.csv");
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("edited,by,the,user\n");
        file.close();
        QVERIFY(TutorialTable::write(path));
        QCOMPARE(readAll(path), reference());
    }

    void writeIntoAMissingFolderFails() {
        QTemporaryDir dir;
        const QString path = dir.filePath("no such folder/t.csv");
        QVERIFY(!TutorialTable::write(path));
        QVERIFY(!QFile::exists(path));
    }
};

QTEST_GUILESS_MAIN(TestTutorialTable)
#include "tst_tutorialtable.moc"
