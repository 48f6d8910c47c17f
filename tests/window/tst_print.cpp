#include "convert/printdialog.h"
#include "convert/printpreviewwidget.h"
#include "convert/tableprinter.h"
#include "util/msgboxanswers.h"
#include "view/tableview.h"
#include "window/mainwindow.h"
#include "windowtesthelpers.h"

#include <QCheckBox>
#include <QDir>
#include <QFile>
#include <QPaintEngine>
#include <QPainter>
#include <QPrintPreviewWidget>
#include <QProgressDialog>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QTextItem>
#include <QTimer>

namespace {

// A table of a header and `rows` rows: "r<i>" in the first column.
QByteArray tableText(int rows) {
    QByteArray text = "name,value,note\n";
    for (int i = 1; i <= rows; ++i)
        text += QStringLiteral("r%1,%2,note %1\n").arg(i).arg(i * 7).toUtf8();
    return text;
}

QString writeFile(const QString& path, const QByteArray& content) {
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(content);
    return path;
}

// Pages of a PDF as its page objects count them.
int pdfPageCount(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray data = file.readAll();
    if (!data.startsWith("%PDF"))
        return -1;
    static const QRegularExpression page(QStringLiteral("/Type\\s*/Page(?![a-z])"));
    return static_cast<int>(QString::fromLatin1(data).count(page));
}

// A paint device that keeps the texts drawn on it, in order.
class TextRecorder : public QPaintDevice {
public:
    QStringList texts;

    QPaintEngine* paintEngine() const override { return &engine; }

protected:
    int metric(PaintDeviceMetric metric) const override {
        switch (metric) {
        case PdmWidth:
        case PdmHeight:
            return 20000;
        case PdmDpiX:
        case PdmDpiY:
        case PdmPhysicalDpiX:
        case PdmPhysicalDpiY:
            return 1200;
        case PdmDepth:
            return 32;
        case PdmDevicePixelRatio:
            return 1;
        case PdmDevicePixelRatioScaled:
            return static_cast<int>(devicePixelRatioFScale());
        default:
            return 1000;
        }
    }

private:
    class Engine : public QPaintEngine {
    public:
        explicit Engine(QStringList& out) : QPaintEngine(QPaintEngine::AllFeatures), texts(out) {}
        bool begin(QPaintDevice*) override { return true; }
        bool end() override { return true; }
        void updateState(const QPaintEngineState&) override {}
        void drawPixmap(const QRectF&, const QPixmap&, const QRectF&) override {}
        // Lines and rectangles end here; the defaults of the two forms call each other.
        void drawPolygon(const QPointF*, int, PolygonDrawMode) override {}
        void drawPolygon(const QPoint*, int, PolygonDrawMode) override {}
        void drawTextItem(const QPointF&, const QTextItem& item) override { texts.append(item.text()); }
        Type type() const override { return QPaintEngine::User; }

    private:
        QStringList& texts;
    };
    mutable Engine engine{texts};
};

// The texts of document page `n` (from 0).
QStringList pageTexts(TablePrinter* printer, int n, bool rowWise = true) {
    const auto [rowPage, colPage] =
        std::make_pair(rowWise ? n / printer->pagesAcross() : n % printer->pagesDown(),
                       rowWise ? n % printer->pagesAcross() : n / printer->pagesDown());
    TextRecorder recorder;
    QPainter painter(&recorder);
    const QRect page = printer->pageLayout().paintRectPixels(printer->resolution());
    printer->drawPage(painter, QRectF(0, 0, page.width(), page.height()),
                      printer->getRowPages()[static_cast<std::size_t>(rowPage)],
                      printer->getColPages()[static_cast<std::size_t>(colPage)], n + 1, printer->pageCount());
    return recorder.texts;
}

} // namespace

class TestPrint : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> dir;

    std::unique_ptr<MainWindow> openWindow(int rows) {
        auto window = std::make_unique<MainWindow>();
        window->setAttribute(Qt::WA_DeleteOnClose, false);
        window->openFile(writeFile(dir->filePath(QStringLiteral("people.csv")), tableText(rows)));
        return window;
    }

    // Runs a command by its name and gives the dialog it opened.
    static PrintDialog* runCommand(MainWindow& window, const QString& name) {
        const Command* command = window.getCommands().findByName(name);
        if (!command || !command->action->isEnabled())
            return nullptr;
        command->action->trigger();
        return window.getPrintDialog();
    }

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void init() {
        dir = std::make_unique<QTemporaryDir>();
        QVERIFY(dir->isValid());
    }

    // The PDF holds the pages the dialog counted, or those of the typed range; the options
    // of the dialog are kept by the window when it closes.
    void exportWritesThePages_data() {
        QTest::addColumn<QString>("range");
        QTest::addColumn<int>("expected"); // -1: every page
        QTest::newRow("all") << QString() << -1;
        QTest::newRow("a range") << QStringLiteral("1-2") << 2;
        QTest::newRow("pages past the end print nothing more") << QStringLiteral("2, 900-999") << 1;
    }
    void exportWritesThePages() {
        QFETCH(QString, range);
        QFETCH(int, expected);
        MsgBoxAnswers answers;
        answers.queue = {2}; // "Cancel": open neither the file nor its folder
        auto window = openWindow(150);
        PrintDialog* dialog = runCommand(*window, QStringLiteral("Export to PDF"));
        QVERIFY(dialog);
        QVERIFY(dialog->isVisible());
        QCOMPARE(dialog->getOutputFile(), dir->filePath(QStringLiteral("people.pdf")));
        const int total = dialog->getTablePrinter()->pageCount();
        QVERIFY2(total > 2, qPrintable(QString::number(total)));
        if (!range.isEmpty())
            dialog->setPageRangeText(range);
        const QString out = dir->filePath(QStringLiteral("out.pdf"));
        dialog->setOutputFile(out);
        const PrintSettings chosen = dialog->printSettings();
        dialog->onPrintClicked();

        QCOMPARE(pdfPageCount(out), expected < 0 ? total : expected);
        QCOMPARE(answers.texts(), QStringList{QStringLiteral("PDF file has been created successfully.")});
        QCOMPARE(answers.asked.front().title, QStringLiteral("PDF Created"));
        QTRY_VERIFY(!window->getPrintDialog());
        QCOMPARE(window->getPrintSettings(), chosen);
    }

    // "Current Page" prints the page the preview shows, whichever that is.
    void currentPageOnly() {
        MsgBoxAnswers answers;
        auto window = openWindow(150);
        PrintDialog* dialog = runCommand(*window, QStringLiteral("Export to PDF"));
        QVERIFY(dialog);
        QRadioButton* current = nullptr;
        for (QRadioButton* radio : dialog->findChildren<QRadioButton*>()) {
            if (radio->text() == QStringLiteral("Current Page"))
                current = radio;
        }
        QVERIFY(current);
        current->click();
        const int total = dialog->getTablePrinter()->pageCount();
        QCOMPARE(dialog->getPreviewWidget()->getPageCount(), total);
        dialog->getPreviewWidget()->setCurrentPage(3);
        QCOMPARE(dialog->getTablePrinter()->pagesToPrint(), std::vector<int>{2});
        const QString out = dir->filePath(QStringLiteral("current.pdf"));
        dialog->setOutputFile(out);
        dialog->onPrintClicked();
        QCOMPARE(pdfPageCount(out), 1);
    }

    // A folder that isn't there: the program's message, no file, and the dialog stays for
    // another try.
    void exportToMissingFolderFails() {
        MsgBoxAnswers answers;
        auto window = openWindow(5);
        PrintDialog* dialog = runCommand(*window, QStringLiteral("Export to PDF"));
        QVERIFY(dialog);
        const QString out = dir->filePath(QStringLiteral("missing/out.pdf"));
        dialog->setOutputFile(out);
        dialog->onPrintClicked();
        QCOMPARE(answers.texts(), QStringList{QStringLiteral("Failed to create a PDF file.")});
        QCOMPARE(answers.asked.front().title, QStringLiteral("Export Failed"));
        QVERIFY(!QFile::exists(out));
        QCOMPARE(window->getPrintDialog(), dialog);
        QVERIFY(dialog->isVisible());
        dialog->reject();
    }

    // Canceling an export over a PDF that is there already leaves that PDF as it was, and no
    // half-written file beside it; a finished export replaces it.
    void canceledExportKeepsTheOldFile() {
        MsgBoxAnswers answers;
        answers.queue = {2}; // "Cancel" in the question after the finished export
        auto window = openWindow(20000);
        PrintDialog* dialog = runCommand(*window, QStringLiteral("Export to PDF"));
        QVERIFY(dialog);
        const QString out = writeFile(dir->filePath(QStringLiteral("out.pdf")), "the old PDF");
        dialog->setOutputFile(out);
        // The progress bar, once it shows, hands the event loop a turn: Cancel then.
        bool canceled = false;
        QTimer::singleShot(0, dialog, [dialog, &canceled] {
            if (auto* progress = dialog->findChild<QProgressDialog*>()) {
                progress->cancel();
                canceled = true;
            }
        });
        dialog->onPrintClicked();
        QVERIFY(canceled);
        QFile old(out);
        QVERIFY(old.open(QIODevice::ReadOnly));
        QCOMPARE(old.readAll(), QByteArray("the old PDF"));
        old.close();
        QCOMPARE(QDir(dir->path()).entryList(QDir::Files | QDir::Hidden).filter(QStringLiteral(".part")),
                 QStringList());
        QVERIFY(dialog->isVisible());

        dialog->setPageRangeText(QStringLiteral("1-2"));
        dialog->onPrintClicked();
        QCOMPARE(pdfPageCount(out), 2);
        QCOMPARE(QDir(dir->path()).entryList(QDir::Files | QDir::Hidden).filter(QStringLiteral(".part")),
                 QStringList());
    }

    // The file of an open table typed as the output (the printed one, however spelled, or
    // another): the file keeps its rows, the program says why, and the dialog stays for
    // another name.
    void exportOverAnOpenTablesFileIsRefused_data() {
        QTest::addColumn<QString>("name");
        QTest::newRow("the printed table's") << QStringLiteral("people.csv");
        QTest::newRow("through a detour") << QStringLiteral("sub/../people.csv");
        QTest::newRow("another open table's") << QStringLiteral("other.csv");
    }
    void exportOverAnOpenTablesFileIsRefused() {
        QFETCH(QString, name);
        MsgBoxAnswers answers;
        auto window = openWindow(5);
        QVERIFY(QDir(dir->path()).mkdir(QStringLiteral("sub")));
        const QString other = writeFile(dir->filePath(QStringLiteral("other.csv")), tableText(3));
        window->openFile(other);
        window->openFile(dir->filePath(QStringLiteral("people.csv"))); // active again
        PrintDialog* dialog = runCommand(*window, QStringLiteral("Export to PDF"));
        QVERIFY(dialog);
        QCOMPARE(dialog->getOutputFile(), dir->filePath(QStringLiteral("people.pdf")));
        dialog->setOutputFile(dir->filePath(name));
        dialog->onPrintClicked();
        QCOMPARE(answers.texts(),
                 QStringList{QStringLiteral("The PDF can't be written over the file of an open table.")});
        QCOMPARE(answers.asked.front().title, QStringLiteral("Export Failed"));
        for (const auto& [file, rows] :
             {std::pair{QStringLiteral("people.csv"), 5}, {QStringLiteral("other.csv"), 3}}) {
            QFile table(dir->filePath(file));
            QVERIFY(table.open(QIODevice::ReadOnly));
            QCOMPARE(table.readAll(), tableText(rows));
        }
        QCOMPARE(window->getPrintDialog(), dialog);
        QVERIFY(dialog->isVisible());
        dialog->reject();
    }

    // Header rows print at the top of every page down, and each shown row of the body exactly
    // once, in order, on the pages of the first column of pages.
    void headerRowsRepeatAndRowsPrintOnce() {
        auto window = openWindow(150);
        // Hidden rows stay off paper.
        selectBlock(window->getActiveTable(), 2, 0, 4, 2);
        QVERIFY(window->commandHideSelectedRows());
        PrintDialog* dialog = runCommand(*window, QStringLiteral("Print"));
        QVERIFY(dialog);
        TablePrinter* printer = dialog->getTablePrinter();
        QCOMPARE(printer->pagesAcross(), 1);
        QVERIFY(printer->pagesDown() > 2);
        QStringList printedRows;
        for (int n = 0; n < printer->pageCount(); ++n) {
            const QStringList texts = pageTexts(printer, n);
            QVERIFY2(texts.contains(QStringLiteral("name")), qPrintable(texts.join(QLatin1Char('|'))));
            QVERIFY(texts.contains(QStringLiteral("people.csv")));
            QVERIFY(texts.contains(QStringLiteral("%1 / %2").arg(n + 1).arg(printer->pageCount())));
            for (const QString& text : texts) {
                if (QRegularExpression(QStringLiteral("^r\\d+$")).match(text).hasMatch())
                    printedRows.append(text);
            }
        }
        QStringList expected;
        for (int i = 1; i <= 150; ++i) {
            if (i < 2 || i > 4)
                expected.append(QStringLiteral("r%1").arg(i));
        }
        QCOMPARE(printedRows, expected);
        dialog->reject();
    }

    // Only the selected rows and columns print, with the header row; an empty choice prints nothing.
    void selectionOnly() {
        auto window = openWindow(40);
        TableView* view = window->getActiveTable();
        selectBlock(view, 3, 1, 5, 2); // rows r3-r5, columns "value" and "note"
        PrintDialog* dialog = runCommand(*window, QStringLiteral("Print"));
        QVERIFY(dialog);
        PrintSettings settings = dialog->printSettings();
        settings.selectedRowsOnly = true;
        settings.selectedColumnsOnly = true;
        dialog->applySettings(settings);
        TablePrinter* printer = dialog->getTablePrinter();
        QCOMPARE(printer->pageCount(), 1);
        const QStringList texts = pageTexts(printer, 0);
        for (const QString& text : {QStringLiteral("value"), QStringLiteral("note"), QStringLiteral("21"),
                                    QStringLiteral("note 3"), QStringLiteral("35"), QStringLiteral("note 5")})
            QVERIFY2(texts.contains(text), qPrintable(text));
        for (const QString& text : {QStringLiteral("name"), QStringLiteral("r3"), QStringLiteral("note 6"),
                                    QStringLiteral("note 2")})
            QVERIFY2(!texts.contains(text), qPrintable(text));
        // Only the header row chosen: it prints on every page anyway, so no page is left.
        selectBlock(view, 0, 0, 0, 2);
        dialog->applySettings(settings);
        QCOMPARE(printer->pageCount(), 0);
        QCOMPARE(dialog->getPreviewWidget()->getPageCount(), 0);
        QPushButton* print = nullptr;
        for (QPushButton* button : dialog->findChildren<QPushButton*>()) {
            // "Print" names a printer, "Export" the PDF file (the only choice without printers).
            if (button->text() == QStringLiteral("&Print") || button->text() == QStringLiteral("&Export"))
                print = button;
        }
        QVERIFY(print);
        QVERIFY(!print->isEnabled());
        dialog->reject();
    }

    // A table of one row of data is one page, with its header on it; columns too wide for a
    // page go across, and column-wise order walks down first.
    void pagesAcrossAndOrder() {
        auto window = openWindow(1);
        PrintDialog* dialog = runCommand(*window, QStringLiteral("Print"));
        QVERIFY(dialog);
        QCOMPARE(dialog->getTablePrinter()->pageCount(), 1);
        QVERIFY(pageTexts(dialog->getTablePrinter(), 0).contains(QStringLiteral("name")));
        dialog->reject();

        window.reset(); // a file open in a window opens nowhere else
        window = openWindow(150);
        TableView* view = window->getActiveTable();
        for (int col = 0; col < 3; ++col)
            view->setColumnWidth(col, 500);
        dialog = runCommand(*window, QStringLiteral("Print"));
        QVERIFY(dialog);
        PrintSettings settings = dialog->printSettings();
        settings.rowWise = false;
        dialog->applySettings(settings);
        TablePrinter* printer = dialog->getTablePrinter();
        QVERIFY(printer->pagesAcross() > 1);
        QVERIFY(printer->pagesDown() > 1);
        // Column-wise, page 2 is the second page down in the first column of pages: "name"
        // column and the rows after the first page's.
        const QStringList second = pageTexts(printer, 1, false);
        QVERIFY(second.contains(QStringLiteral("name")));
        QVERIFY(!second.contains(QStringLiteral("r1")));
        const int firstOfSecond = printer->getRowPages()[1].startIndex;
        QVERIFY(second.contains(QStringLiteral("r%1").arg(firstOfSecond)));
        // A header column goes at the left of every page across.
        view->setNumberOfHeaderColumns(1, false);
        settings.rowWise = true;
        dialog->applySettings(settings);
        QVERIFY(printer->pagesAcross() > 1);
        for (int across = 0; across < printer->pagesAcross(); ++across) {
            const QStringList texts = pageTexts(printer, across);
            QVERIFY2(texts.contains(QStringLiteral("r1")), qPrintable(QString::number(across)));
        }
        dialog->reject();
    }

    // The preview draws one page at a time, however many the table has, and its buttons browse.
    void previewPaintsOnePage() {
        auto window = openWindow(400);
        PrintDialog* dialog = runCommand(*window, QStringLiteral("Print"));
        QVERIFY(dialog);
        PrintPreviewWidget* preview = dialog->getPreviewWidget();
        const int total = dialog->getTablePrinter()->pageCount();
        QVERIFY(total > 5);
        QCOMPARE(preview->getPageCount(), total);
        auto* inner = preview->findChild<QPrintPreviewWidget*>();
        QVERIFY(inner);
        inner->updatePreview();
        QCOMPARE(inner->pageCount(), 1);
        preview->setCurrentPage(total);
        QCOMPARE(preview->getCurrentPage(), total);
        QCOMPARE(inner->pageCount(), 1);
        // A range narrows what is browsed.
        dialog->setPageRangeText(QStringLiteral("2-3"));
        QCOMPARE(preview->getPageCount(), 2);
        QVERIFY(preview->getCurrentPage() <= 2);
        dialog->reject();
    }

    // A change of an option shows at once in the preview.
    void optionChangeRepaintsThePreview() {
        auto window = openWindow(60);
        PrintDialog* dialog = runCommand(*window, QStringLiteral("Print"));
        QVERIFY(dialog);
        QVERIFY(QTest::qWaitForWindowExposed(dialog));
        auto* inner = dialog->getPreviewWidget()->findChild<QPrintPreviewWidget*>();
        QVERIFY(inner);
        QTest::qWait(50);
        const QImage before = inner->grab().toImage();
        QSignalSpy painted(dialog->getPreviewWidget(), &PrintPreviewWidget::paintRequested);
        QCheckBox* title = nullptr;
        for (QCheckBox* box : dialog->findChildren<QCheckBox*>()) {
            if (box->text() == QStringLiteral("File Title"))
                title = box;
        }
        QVERIFY(title && title->isChecked());
        title->click();
        QVERIFY(!dialog->getTablePrinter()->getSettings().showTitle);
        QCOMPARE(painted.count(), 1);
        QTest::qWait(50);
        QVERIFY(inner->grab().toImage() != before);
        dialog->reject();
    }

    // Every option goes into the widgets and comes back out as it went in.
    void settingsRoundTrip() {
        auto window = openWindow(3);
        PrintDialog* dialog = runCommand(*window, QStringLiteral("Print"));
        QVERIFY(dialog);
        PrintSettings s;
        s.pageSize = QStringLiteral("Custom");
        s.customWidth = 7.25;
        s.customHeight = 9.5;
        s.isPortrait = false;
        s.marginLeft = 0.25;
        s.marginRight = 0.75;
        s.marginTop = 1.25;
        s.marginBottom = 1.5;
        s.printerName = PrintDialog::pdfPrinterName();
        s.copies = 3;
        s.collate = true;
        s.reverse = true;
        s.duplexMode = QStringLiteral("Short Edge (Landscape)");
        s.showTitle = false;
        s.showPageNumbers = false;
        s.showRowHeaders = false;
        s.showColumnHeaders = false;
        s.showRowLabels = true;
        s.showColumnLabels = true;
        s.rowWise = false;
        s.selectedRowsOnly = true;
        s.selectedColumnsOnly = true;
        s.showRowGridlines = false;
        s.showColumnGridlines = false;
        s.centerVertically = true;
        s.centerHorizontally = true;
        dialog->applySettings(s);
        QCOMPARE(dialog->printSettings(), s);
        QCOMPARE(dialog->getTablePrinter()->getSettings(), s);
        s.pageUnits = s.marginUnits = QStringLiteral("Millimeters");
        s.customWidth = 200;
        s.customHeight = 280;
        s.marginLeft = 10;
        s.marginRight = 12.5;
        s.marginTop = 15;
        s.marginBottom = 20;
        dialog->applySettings(s);
        QCOMPARE(dialog->printSettings(), s);
        dialog->reject();
    }
};

QTEST_MAIN(TestPrint)
#include "tst_print.moc"
