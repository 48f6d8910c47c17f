#include "window/mainwindow.h"

#include "storage/editabledatacontainer.h"
#include "table/tablemodel.h"
#include "util/fileparameterutilities.h"
#include "util/msgboxanswers.h"
#include "view/tableview.h"
#include "window/launcher.h"
#include "window/paneview.h"

#include <QFile>
#include <QLocale>
#include <QStandardPaths>
#include <QStringEncoder>
#include <QTemporaryDir>
#include <QTest>
#include <QUndoCommand>
#include <QUndoStack>

namespace {

QString writeFile(const QTemporaryDir& dir, const QString& name, const QByteArray& content) {
    const QString path = dir.filePath(name);
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(content);
    return path;
}

QByteArray utf16(const QString& text, bool bigEndian, bool bom) {
    QStringEncoder encoder(bigEndian ? QStringEncoder::Utf16BE : QStringEncoder::Utf16LE,
                           bom ? QStringEncoder::Flag::WriteBom : QStringEncoder::Flag::Default);
    return encoder.encode(text);
}

ExtensionData record(const QString& extension, const QString& delimiter, const QString& saveDelimiter,
                     EncodingType encoding = UTF_8) {
    ExtensionData data;
    data.extension = extension;
    data.delimiter = delimiter;
    data.saveDelimiter = saveDelimiter;
    data.encoding = encoding;
    return data;
}

} // namespace

class TestMainWindow : public QObject {
    Q_OBJECT

private:
    QTemporaryDir home;
    QTemporaryDir dir;

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        // The preference files that commands write stay in this test's own home.
        QVERIFY(home.isValid());
        qputenv("HOME", home.path().toLocal8Bit());
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
        QVERIFY(dir.isValid());
    }

    void tableSizeText_data() {
        QTest::addColumn<QList<int>>("counts");
        QTest::addColumn<QString>("expected");
        QTest::newRow("one by one") << QList<int>{1, 1, 1, 1} << "1 row x 1 column";
        QTest::newRow("empty") << QList<int>{0, 0, 0, 0} << "0 rows x 0 columns";
        QTest::newRow("grouped digits") << QList<int>{1234567, 2, 1234567, 2} << "1,234,567 rows x 2 columns";
        QTest::newRow("rows hidden") << QList<int>{5, 3, 2, 3} << "5 rows x 3 columns (2 rows x 3 columns)";
        // Below two the visible part is singular, zero included.
        QTest::newRow("all hidden") << QList<int>{5, 3, 0, 1} << "5 rows x 3 columns (0 row x 1 column)";
        QTest::newRow("one of one hidden")
            << QList<int>{1, 2, 0, 2} << "1 row x 2 columns (0 row x 2 columns)";
        QTest::newRow("columns hidden")
            << QList<int>{1000, 12, 1000, 1} << "1,000 rows x 12 columns (1,000 rows x 1 column)";
    }
    void tableSizeText() {
        QFETCH(QList<int>, counts);
        QFETCH(QString, expected);
        QCOMPARE(MainWindow::tableSizeText(counts[0], counts[1], counts[2], counts[3]), expected);
    }

    void extensionLookup_data() {
        QTest::addColumn<QString>("extension");
        QTest::addColumn<QString>("delimiter");
        QTest::addColumn<QString>("saveDelimiter");
        QTest::newRow("csv") << "csv"
                             << "(auto)"
                             << ",";
        QTest::newRow("upper case") << "TSV"
                                    << "\\t"
                                    << "\\t";
        QTest::newRow("unknown") << "txt"
                                 << ""
                                 << "";
        QTest::newRow("none") << "(none)"
                              << ""
                              << "";
    }
    void extensionLookup() {
        QFETCH(QString, extension);
        QFETCH(QString, delimiter);
        QFETCH(QString, saveDelimiter);
        MainWindow window;
        const ExtensionData data = window.getExtensionDataFromFileExtension(extension);
        QCOMPARE(data.extension, extension.toLower());
        QCOMPARE(data.delimiter, delimiter);
        QCOMPARE(data.saveDelimiter, saveDelimiter);
        QCOMPARE(data.encoding, UTF_8);
        QCOMPARE(data.parsingStandard, RFC_4180);
    }

    // "(auto)" and missing delimiters come from the file; table delimiters are taken on trust.
    void findFileParameters_data() {
        QTest::addColumn<ExtensionData>("given");
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("delimiter");
        QTest::addColumn<QString>("saveDelimiter");
        QTest::addColumn<int>("encoding");
        const QByteArray semicolons = "a;b;c\n1;2;3\n";
        QTest::newRow("csv counts") << record("csv", "(auto)", ",") << semicolons << ";"
                                    << "," << 0;
        QTest::newRow("auto in any case") << record("csv", "(AUTO)", "(auto)") << semicolons << ";"
                                          << ";" << 0;
        QTest::newRow("tsv from table") << record("tsv", "\\t", "\\t") << semicolons << "\t"
                                        << "\t" << 0;
        QTest::newRow("unknown extension") << record("txt", "", "") << QByteArray("a\tb\n") << "\t"
                                           << "\t" << 0;
        QTest::newRow("no extension field") << record("", "|", "|") << QByteArray("a,b\n") << ","
                                            << "," << 0;
        QTest::newRow("invalid delimiters") << record("x", "ab", "cd") << semicolons << ","
                                            << "," << 0;
        QTest::newRow("invalid save follows load") << record("x", ";", "cd") << QByteArray() << ";"
                                                   << ";" << 0;
        QTest::newRow("no delimiter") << record("x", "(none)", "(none)") << semicolons << ""
                                      << "" << 0;
        QTest::newRow("utf-16 little-endian")
            << record("x", ",", ",", UTF_16) << utf16("a,b\nc,d\n", false, true) << ","
            << "," << int(UTF_16_GUESSED_LE);
        QTest::newRow("utf-16 big-endian")
            << record("x", ",", ",", UTF_16) << utf16("a,b\nc,d\n", true, false) << ","
            << "," << int(UTF_16_GUESSED_BE);
        QTest::newRow("utf-8 stays") << record("x", ",", ",", UTF_8) << utf16("a,b\n", true, false) << ","
                                     << "," << int(UTF_8);
    }
    void findFileParameters() {
        QFETCH(ExtensionData, given);
        QFETCH(QByteArray, content);
        QFETCH(QString, delimiter);
        QFETCH(QString, saveDelimiter);
        QFETCH(int, encoding);
        const QString path = writeFile(dir, QStringLiteral("params.") + QTest::currentDataTag(), content);
        const ExtensionData found = MainWindow::findFileParameters(given, path);
        QCOMPARE(found.delimiter, delimiter);
        QCOMPARE(found.saveDelimiter, saveDelimiter);
        QCOMPARE(int(found.encoding), encoding);
        QCOMPARE(found.extension, given.extension);
    }

    void unreadableUtf16FallsBackToLittleEndian() {
        const ExtensionData found =
            MainWindow::findFileParameters(record("x", ",", ",", UTF_16), dir.filePath("missing"));
        QCOMPARE(found.encoding, UTF_16LE);
        const ExtensionData wide =
            MainWindow::findFileParameters(record("x", ",", ",", UTF_32), dir.filePath("missing"));
        QCOMPARE(wide.encoding, UTF_32LE);
    }

    // Each file loads with its extension's parameters and the status bar tells its size.
    void opensFiles_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("sizeText");
        QTest::addColumn<QString>("delimiter");
        QTest::newRow("csv") << "people.csv" << QByteArray("id,name,age\n1,Ann,30\n2,\"Bo, Jr\",41\n")
                             << "3 rows x 3 columns"
                             << ",";
        QTest::newRow("csv with semicolons")
            << "semi.csv" << QByteArray("a;b\nc;d\ne;f\n") << "3 rows x 2 columns"
            << ";";
        QTest::newRow("tsv") << "cells.tsv" << QByteArray("a,b\tc\n1\t2\n") << "2 rows x 2 columns"
                             << "\t";
        QTest::newRow("one cell") << "one.psv" << QByteArray("x") << "1 row x 1 column"
                                  << "|";
        QTest::newRow("empty file") << "empty.csv" << QByteArray() << "0 rows x 0 columns"
                                    << ",";
        QTest::newRow("no extension") << "plain" << QByteArray("1|2|3|4\n") << "1 row x 4 columns"
                                      << "|";
    }
    void opensFiles() {
        QFETCH(QString, name);
        QFETCH(QByteArray, content);
        QFETCH(QString, sizeText);
        QFETCH(QString, delimiter);
        const QString path = writeFile(dir, name, content);
        MainWindow window;
        QVERIFY(window.openFiles({path}));
        QCOMPARE(window.getActiveFilepath(), path);
        QCOMPARE(window.getTableSizeLabelText(), sizeText);
        QCOMPARE(window.getFileParameters(path).delimiter, delimiter);
        QCOMPARE(window.windowTitle(), name + " - Orvane");
        QCOMPARE(window.getModeLabelText(), QStringLiteral("Editable"));
    }

    // Given parameters replace the extension table's; the byte order still comes from the file.
    void opensWithGivenParameters_data() {
        QTest::addColumn<bool>("bigEndian");
        QTest::addColumn<int>("encoding");
        QTest::newRow("little-endian") << false << int(UTF_16_GUESSED_LE);
        QTest::newRow("big-endian") << true << int(UTF_16_GUESSED_BE);
    }
    void opensWithGivenParameters() {
        QFETCH(bool, bigEndian);
        QFETCH(int, encoding);
        const QString path = writeFile(dir, QStringLiteral("wide-%1.csv").arg(encoding),
                                       utf16("name;value\nalpha;1\nbeta;2\n", bigEndian, true));
        MainWindow window;
        QVERIFY(window.openFiles({path}, record("csv", "(auto)", ",", UTF_16)));
        QCOMPARE(window.getTableSizeLabelText(), QStringLiteral("3 rows x 2 columns"));
        const ExtensionData used = window.getFileParameters(path);
        QCOMPARE(int(used.encoding), encoding);
        QCOMPARE(used.delimiter, QStringLiteral(";"));
        QCOMPARE(window.getEncodingLabelText(), Utilities::convertEncodingTypeToString(UTF_16));
        const EditableDataContainer* container = window.getContainer(path);
        QVERIFY(container);
        const std::vector<char> cell = container->getValue(1, 0);
        QCOMPARE(QByteArray(cell.data(), qsizetype(cell.size())), utf16("alpha", bigEndian, false));
    }

    void openingTwoActivatesTheFirst() {
        const QString a = writeFile(dir, "first.csv", "1,2\n");
        const QString b = writeFile(dir, "second.csv", "1,2,3\n4,5,6\n");
        MainWindow window;
        MsgBoxAnswers answers;
        QVERIFY(window.openFiles({QString(), dir.filePath("nothing.csv"), a, b}));
        QCOMPARE(answers.texts().size(), 1);
        QCOMPARE(window.getOpenFilepaths(), (QStringList{a, b}));
        QCOMPARE(window.getActiveFilepath(), a);
        QCOMPARE(window.getTableSizeLabelText(), QStringLiteral("1 row x 2 columns"));

        // Opening an open file again activates it and reads nothing.
        const EditableDataContainer* container = window.getContainer(b);
        writeFile(dir, "second.csv", "changed\n");
        window.openFile(b);
        QCOMPARE(window.getNumTables(), 2);
        QCOMPARE(window.getContainer(b), container);
        QCOMPARE(window.getActiveFilepath(), b);
        QCOMPARE(window.getTableSizeLabelText(), QStringLiteral("2 rows x 3 columns"));
    }

    void nothingToOpen() {
        MainWindow window;
        MsgBoxAnswers answers;
        QVERIFY(!window.openFiles(
            {dir.filePath("missing.csv"), dir.path(), QString(), dir.filePath("gone.tsv")}));
        // One message names every path that doesn't exist; a folder is no such path.
        QCOMPARE(answers.texts(), QStringList{"These files could not be opened because they don't exist:\n" +
                                              dir.filePath("missing.csv") + "\n" + dir.filePath("gone.tsv")});
        window.openFile(QString());
        // The window's own empty table stays.
        QCOMPARE(window.getNumTables(), 1);
        QCOMPARE(window.getOpenFilepaths(), QStringList{QString()});
        QCOMPARE(window.getTableSizeLabelText(), QStringLiteral("0 rows x 0 columns"));
        QCOMPARE(window.windowTitle(), QStringLiteral("untitled - Orvane"));
        QVERIFY(!QFile::exists(dir.filePath("missing.csv")));
    }

    void foldersGoToTheSideBar() {
        MainWindow window;
        window.openFolder(dir.path());
        window.openFolder(dir.path() + "/");
        window.openFolder(dir.filePath("not-a-folder"));
        QCOMPARE(window.makeConfigData().sidebarFolderpathList, QStringList{dir.path()});
    }

    void destructionHandsOverTheConfig() {
        int emitted = 0;
        ConfigData received;
        {
            auto* window = new MainWindow;
            window->resize(321, 234);
            window->setSidebarShowWidth(123);
            QStringList recent;
            for (int i = 0; i < 60; ++i)
                recent.append(QStringLiteral("/r/%1.csv").arg(i));
            window->setRecentFiles(recent);
            connect(window, &MainWindow::updateConfigFileSignal, this, [&](const ConfigData& data) {
                ++emitted;
                received = data;
            });
            delete window;
        }
        QCOMPARE(emitted, 1);
        QCOMPARE(received.sideBarShowWidth, 123);
        QCOMPARE(received.recentFilepathList.size(), 50);
        QCOMPARE(received.recentFilepathList.first(), QStringLiteral("/r/0.csv"));
        MainWindow restored;
        QVERIFY(restored.restoreGeometry(received.windowGeometry));
        QCOMPARE(restored.size(), QSize(321, 234));
    }

    void closingAnnouncesItself() {
        auto* window = new MainWindow;
        int closed = 0;
        connect(window, &MainWindow::mainWindowClosedSignal, this, [&closed] { ++closed; });
        QPointer<MainWindow> guard(window);
        window->show();
        QVERIFY(window->close());
        QCOMPARE(closed, 1);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(guard.isNull());
    }

    // The sum and mean of the selection follow the selection and every edit of it; many cells
    // are read a slice at a time while the label says so; a read-only table shows none.
    void statusBarSumAndMean() {
        QByteArray rows;
        for (int r = 1; r <= 6000; ++r)
            rows += QByteArray::number(r) + ",x\n";
        const QString path = writeFile(dir, QStringLiteral("sums.csv"), rows);
        MainWindow window;
        QVERIFY(window.openFiles({path}));
        TableView* view = window.getActiveTable();
        TableModel* model = view->tableModel();
        QCOMPARE(window.getStatsLabelText(), QStringLiteral("Sum: 1      Mean: 1"));

        Range block(RangeType::Table, RangeIndexType::Model);
        block.row = 0;
        block.col = 0;
        block.endRow = 3;
        block.endCol = 1;
        block.isMainCell = true;
        model->setSelection(block);
        QCOMPARE(window.getStatsLabelText(), QStringLiteral("Sum: 10      Mean: 2.5"));
        model->setData(model->index(1, 1), QStringLiteral("30"));
        view->undoStack()->push(new QUndoCommand); // edits reach the label through the undo stack
        QTRY_COMPARE(window.getStatsLabelText(), QStringLiteral("Sum: 40      Mean: 8"));

        Range column(0, RangeType::Col, RangeIndexType::Model);
        column.isMainCell = true;
        model->setSelection(column);
        QCOMPARE(window.getStatsLabelText(), QStringLiteral("Sum: ...    Mean: ..."));
        QTRY_COMPARE(window.getStatsLabelText(), QStringLiteral("Sum: 18,003,000      Mean: 3,000.5"));

        // A selection that changes before the reading ends is read afresh.
        model->setSelection(column);
        model->setSelection(block);
        QCOMPARE(window.getStatsLabelText(), QStringLiteral("Sum: 40      Mean: 8"));
        QTest::qWait(50);
        QCOMPARE(window.getStatsLabelText(), QStringLiteral("Sum: 40      Mean: 8"));

        MsgBoxAnswers answers;
        answers.queue = {1}; // Don't Save
        window.commandToggleReadOnly();
        QTRY_VERIFY(view->isReadOnly() && !view->isLoading());
        window.updateStatusBar();
        QCOMPARE(window.getStatsLabelText(), QStringLiteral("Sum: -      Mean: -"));
    }

    // The table size prompts take no more than a million empty lines: two billion used to hold
    // the window for minutes and take gigabytes; the answer comes back to be put right.
    void tableSizePromptsHaveAnUpperBound() {
        MainWindow window;
        QVERIFY(window.commandSetMinimumNumberOfTableRows(QString()));
        Launcher* launcher = window.getPaneView()->getLauncher();
        QVERIFY(launcher);
        QWidget* prompt = launcher->focusProxy();
        QTest::keyClicks(prompt, QStringLiteral("2000000000"));
        QTest::keyClick(prompt, Qt::Key_Return);
        QTRY_VERIFY(window.getPaneView()->getLauncher() && window.getPaneView()->getLauncher() != launcher);
        QCOMPARE(window.getSettings().getValueInt(MinTableRows), 50);
        prompt = window.getPaneView()->getLauncher()->focusProxy();
        QTest::keyClick(prompt, Qt::Key_A, Qt::ControlModifier);
        QTest::keyClicks(prompt, QStringLiteral("1000000"));
        QTest::keyClick(prompt, Qt::Key_Return);
        QCOMPARE(window.getSettings().getValueInt(MinTableRows), 1000000);
        QCOMPARE(window.getActiveTable()->tableModel()->rowCount(), 1000000);
        // Back to the default, which the settings file keeps for the next tests.
        QVERIFY(window.commandSetMinimumNumberOfTableRows(QString()));
        prompt = window.getPaneView()->getLauncher()->focusProxy();
        QTest::keyClicks(prompt, QStringLiteral("50"));
        QTest::keyClick(prompt, Qt::Key_Return);
        QCOMPARE(window.getSettings().getValueInt(MinTableRows), 50);
    }
};

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
