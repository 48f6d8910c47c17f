// The save dialog gives a name typed without an extension that of the file type chosen.
#include "window/filedialoghelper.h"

#include <QComboBox>
#include <QDir>
#include <QFileDialog>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString kFilter =
    QStringLiteral("All Files (*.*);;CSV File (*.csv);;TSV File (*.tsv);;No Extension (*.)");

} // namespace

class TestFileDialogHelper : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void defaultSuffixOf_data() {
        QTest::addColumn<QString>("filter");
        QTest::addColumn<QString>("suffix");
        QTest::newRow("one extension") << "CSV File (*.csv)"
                                       << "csv";
        QTest::newRow("all files") << "All Files (*.*)"
                                   << "";
        QTest::newRow("no extension") << "No Extension (*.)"
                                      << "";
        QTest::newRow("several patterns") << "Table Files (*.csv *.tsv)"
                                          << "";
        QTest::newRow("every file") << "All Files (*)"
                                    << "";
    }
    void defaultSuffixOf() {
        QFETCH(QString, filter);
        QFETCH(QString, suffix);
        QCOMPARE(FileDialogHelper::defaultSuffixOf(filter), suffix);
    }

    // The name the dialog hands back (and asks about overwriting) as the user picks a type.
    void typedNameTakesTheChosenType_data() {
        QTest::addColumn<QString>("chosenFilter"); // picked in the dialog, empty: the one given
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("result");
        QTest::newRow("given type") << ""
                                    << "data"
                                    << "data.csv";
        QTest::newRow("own extension kept") << ""
                                            << "data.txt"
                                            << "data.txt";
        QTest::newRow("another type picked") << "TSV File (*.tsv)"
                                             << "data"
                                             << "data.tsv";
        QTest::newRow("no extension picked") << "No Extension (*.)"
                                             << "data"
                                             << "data";
        QTest::newRow("all files picked") << "All Files (*.*)"
                                          << "data"
                                          << "data";
    }
    void typedNameTakesTheChosenType() {
        QFETCH(QString, chosenFilter);
        QFETCH(QString, typed);
        QFETCH(QString, result);
        QTemporaryDir dir;
        QFileDialog dialog(nullptr, QStringLiteral("Save File"), dir.path(), kFilter);
        dialog.setOption(QFileDialog::DontUseNativeDialog);
        FileDialogHelper::prepareSaveDialog(dialog, QStringLiteral("CSV File (*.csv)"));
        QCOMPARE(dialog.selectedNameFilter(), QStringLiteral("CSV File (*.csv)"));
        if (!chosenFilter.isEmpty()) {
            // As the user does: through the dialog's type list.
            auto* types = dialog.findChild<QComboBox*>(QStringLiteral("fileTypeCombo"));
            QVERIFY(types);
            const int index = types->findText(chosenFilter);
            QVERIFY(index >= 0);
            types->setCurrentIndex(index);
            emit types->activated(index); // what a pick in the list sends
            emit types->textActivated(chosenFilter);
        }
        dialog.selectFile(typed);
        QCOMPARE(QDir::cleanPath(dialog.selectedFiles().value(0)), QDir(dir.path()).filePath(result));
    }
};

QTEST_MAIN(TestFileDialogHelper)
#include "tst_filedialoghelper.moc"
