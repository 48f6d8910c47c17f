// What an import tab shows of a document written on one line, as most JSON from the web is: the
// text view gets lines it can lay out at once, and the import still reads the source as it is.

#include "convert/fileimportwidget.h"
#include "preferences/settings.h"

#include <QPlainTextEdit>
#include <QTest>
#include <QTextBlock>

class TestImportPreview : public QObject {
    Q_OBJECT

private slots:
    void longLinesShownInPieces_data() {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("record");
        QTest::addColumn<QChar>("lineEnd");
        QTest::newRow("minified JSON")
            << int(FILE_TYPE_JSON) << QStringLiteral("{\"id\":12,\"name\":\"n\"},") << QChar(u',');
        QTest::newRow("XML on one line")
            << int(FILE_TYPE_XML) << QStringLiteral("<r><id>12</id><name>n</name></r>") << QChar(u'>');
        // Nothing to cut after: cut at the limit.
        QTest::newRow("one long string")
            << int(FILE_TYPE_JSON) << QStringLiteral("xxxxxxxxxx") << QChar(u'x');
    }

    void longLinesShownInPieces() {
        QFETCH(int, type);
        QFETCH(QString, record);
        QFETCH(QChar, lineEnd);
        NonTableFile file;
        file.fileType = static_cast<FileType>(type);
        file.source = QStringLiteral("/nowhere/big.doc");
        file.contents = QStringLiteral("[");
        while (file.contents.size() < kImportPreviewChars + 5000)
            file.contents += record;
        file.contents += QStringLiteral("]\n[short line]\n");
        file.truncated = true;
        const QString source = file.contents;

        Settings settings;
        FileImportWidget tab(file, QStringLiteral("/nowhere/big.csv"), settings, true);
        const QTextDocument* document = tab.getContentsEdit()->document();
        QVERIFY(document->blockCount() > kImportPreviewChars / FileImportWidget::kPreviewLineChars);
        for (QTextBlock block = document->begin(); block != document->end(); block = block.next()) {
            QVERIFY2(block.length() - 1 <= FileImportWidget::kPreviewLineChars,
                     qPrintable(QString::number(block.length())));
            if (block.next().isValid() && block.next() != document->lastBlock())
                QCOMPARE(block.text().back(), lineEnd);
        }
        // Only line breaks were added to what is shown, and nothing was taken from what is read.
        QCOMPARE(tab.getContentsEdit()->toPlainText().remove(u'\n'),
                 source.left(kImportPreviewChars) + QStringLiteral("(truncated)"));
        QCOMPARE(tab.getFile().contents, source);
    }

    void shortLinesStayAsTheyAre() {
        NonTableFile file;
        file.fileType = FILE_TYPE_JSON;
        file.source = QStringLiteral("/nowhere/small.json");
        file.contents = QStringLiteral("[\n  {\"a\": 1},\n\n  {\"a\": 2}\n]\n");
        Settings settings;
        FileImportWidget tab(file, QStringLiteral("/nowhere/small.csv"), settings, true);
        QCOMPARE(tab.getContentsEdit()->toPlainText(), file.contents);
    }
};

QTEST_MAIN(TestImportPreview)
#include "tst_importpreview.moc"
