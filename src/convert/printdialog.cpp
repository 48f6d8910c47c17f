#include "convert/printdialog.h"

#include "convert/printlayout.h"
#include "convert/printpreviewwidget.h"
#include "convert/tableprinter.h"
#include "table/tabledata.h"
#include "table/tablemodel.h"
#include "util/msgbox.h"
#include "view/tableview.h"
#include "window/filedialoghelper.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QDesktopServices>
#include <QDir>
#include <QDoubleSpinBox>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPrinterInfo>
#include <QProgressDialog>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QUrl>
#include <QVBoxLayout>

#include <cstdio>

namespace {

const QStringList kPageSizes = {QStringLiteral("Letter"), QStringLiteral("Legal"), QStringLiteral("A4"),
                                QStringLiteral("Custom")};
const QStringList kUnits = {QStringLiteral("Inches"), QStringLiteral("Millimeters"),
                            QStringLiteral("Pixels")};
const QStringList kDuplexModes = {QStringLiteral("Off"), QStringLiteral("Long Edge (Portrait)"),
                                  QStringLiteral("Short Edge (Landscape)")};

// Length of one unit in inches; pixels are screen pixels, 96 to the inch.
double inchesPer(const QString& units) {
    if (units == QStringLiteral("Millimeters"))
        return 1.0 / 25.4;
    if (units == QStringLiteral("Pixels"))
        return 1.0 / 96.0;
    return 1.0;
}

void selectText(QComboBox* box, const QString& text, int fallback = 0) {
    const int index = box->findText(text);
    box->setCurrentIndex(index >= 0 ? index : fallback);
}

QWidget* pair(QWidget* parent, QWidget* first, QWidget* second) {
    auto* holder = new QWidget(parent);
    auto* layout = new QHBoxLayout(holder);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(first);
    layout->addWidget(second);
    layout->addStretch();
    return holder;
}

} // namespace

PrintDialog::PrintDialog(TableView* tableView, bool pdf, const PrintSettings& settings, QWidget* parent)
    : QDialog(parent), view(tableView), exportToPdf(pdf), storedPrinterName(settings.printerName),
      printer(std::make_unique<TablePrinter>(tableView)) {
    setWindowTitle(pdf ? tr("Export to PDF") : tr("Print"));
    preview = new PrintPreviewWidget(printer.get(), this);
    preview->setMinimumWidth(420);
    connect(preview, &PrintPreviewWidget::paintRequested, this, [this](QPrinter* target) {
        // The preview may come with a printer of its own; the pages are cut for this one.
        QPainter painter(target);
        if (painter.isActive())
            printer->printTable(painter);
    });
    connect(preview, &PrintPreviewWidget::pageChanged, this, &PrintDialog::onPageChanged);

    auto* options = new QGridLayout;
    options->addWidget(createPageSetupGroup(), 0, 0);
    options->addWidget(createPrinterGroup(), 1, 0);
    options->addWidget(createPrintRangeGroup(), 0, 1);
    options->addWidget(createCSVOptionsGroup(), 1, 1);
    options->setRowStretch(2, 1);

    auto* cancelButton = new QPushButton(tr("Cancel"), this);
    printButton = new QPushButton(this);
    printButton->setDefault(true);
    connect(cancelButton, &QPushButton::clicked, this, &QDialog::reject);
    connect(printButton, &QPushButton::clicked, this, &PrintDialog::onPrintClicked);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(cancelButton);
    buttons->addWidget(printButton);

    auto* left = new QVBoxLayout;
    left->addLayout(options, 1);
    left->addLayout(buttons);
    auto* layout = new QHBoxLayout(this);
    layout->addLayout(left);
    layout->addWidget(preview, 1);

    applySettings(settings);
    if (exportToPdf)
        selectText(printerNameComboBox, pdfPrinterName());
    if (view && view->tableModel())
        outputFileEdit->setText(defaultOutputFile(view->tableModel()->getTableData().getFilepath()));
    onPrinterChanged();
    resize(1180, 720);
}

PrintDialog::~PrintDialog() {
    // The preview holds the printer: it goes first.
    delete preview;
}

QString PrintDialog::pdfPrinterName() {
    return QStringLiteral("Print to File (PDF)");
}

QString PrintDialog::defaultOutputFile(const QString& tableFilepath) {
    if (tableFilepath.isEmpty())
        return QDir::homePath() + QStringLiteral("/untitled.pdf");
    const QFileInfo info(tableFilepath);
    return info.absolutePath() + QLatin1Char('/') + info.completeBaseName() + QStringLiteral(".pdf");
}

QPageRanges PrintDialog::parsePageRanges(const QString& text) {
    return PrintLayout::parsePageRanges(text);
}

QGroupBox* PrintDialog::createPageSetupGroup() {
    auto* group = new QGroupBox(tr("Page Setup"), this);
    auto* form = new QFormLayout(group);
    pageSizeComboBox = new QComboBox(group);
    pageSizeComboBox->addItems(kPageSizes);
    widthSpinBox = new QDoubleSpinBox(group);
    heightSpinBox = new QDoubleSpinBox(group);
    orientationComboBox = new QComboBox(group);
    orientationComboBox->addItems({tr("Portrait"), tr("Landscape")});
    const auto margin = [group] { return new QDoubleSpinBox(group); };
    marginLeftSpinBox = margin();
    marginRightSpinBox = margin();
    marginTopSpinBox = margin();
    marginBottomSpinBox = margin();
    unitsComboBox = new QComboBox(group);
    unitsComboBox->addItems(kUnits);

    auto* margins = new QWidget(group);
    auto* grid = new QGridLayout(margins);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->addWidget(new QLabel(tr("Left"), margins), 0, 0);
    grid->addWidget(marginLeftSpinBox, 0, 1);
    grid->addWidget(new QLabel(tr("Right"), margins), 0, 2);
    grid->addWidget(marginRightSpinBox, 0, 3);
    grid->addWidget(new QLabel(tr("Top"), margins), 1, 0);
    grid->addWidget(marginTopSpinBox, 1, 1);
    grid->addWidget(new QLabel(tr("Bottom"), margins), 1, 2);
    grid->addWidget(marginBottomSpinBox, 1, 3);

    form->addRow(tr("Page Size:"), pageSizeComboBox);
    form->addRow(tr("Width:"), widthSpinBox);
    form->addRow(tr("Height:"), heightSpinBox);
    form->addRow(tr("Orientation:"), orientationComboBox);
    form->addRow(tr("Margins:"), margins);
    form->addRow(tr("Units:"), unitsComboBox);

    for (QComboBox* box : {pageSizeComboBox, orientationComboBox})
        connect(box, &QComboBox::currentIndexChanged, this, &PrintDialog::onOptionChanged);
    for (QDoubleSpinBox* box : {widthSpinBox, heightSpinBox, marginLeftSpinBox, marginRightSpinBox,
                                marginTopSpinBox, marginBottomSpinBox}) {
        box->setKeyboardTracking(false);
        connect(box, &QDoubleSpinBox::valueChanged, this, &PrintDialog::onOptionChanged);
    }
    connect(unitsComboBox, &QComboBox::currentIndexChanged, this, &PrintDialog::onUnitsChanged);
    return group;
}

QGroupBox* PrintDialog::createPrinterGroup() {
    auto* group = new QGroupBox(tr("Printer"), this);
    auto* form = new QFormLayout(group);
    printerNameComboBox = new QComboBox(group);
    printerNameComboBox->addItems(QPrinterInfo::availablePrinterNames());
    printerNameComboBox->addItem(pdfPrinterName());
    locationLabel = new QLabel(group);
    typeLabel = new QLabel(group);
    outputFileEdit = new QLineEdit(group);
    outputFileButton = new QPushButton(QStringLiteral("..."), group);
    outputFileButton->setFixedWidth(outputFileButton->fontMetrics().horizontalAdvance(QStringLiteral("...")) +
                                    24);
    auto* output = new QWidget(group);
    auto* outputLayout = new QHBoxLayout(output);
    outputLayout->setContentsMargins(0, 0, 0, 0);
    outputLayout->addWidget(outputFileEdit, 1);
    outputLayout->addWidget(outputFileButton);
    copiesSpinBox = new QSpinBox(group);
    copiesSpinBox->setRange(1, 999);
    collateCheckBox = new QCheckBox(tr("Collate"), group);
    reverseCheckBox = new QCheckBox(tr("Reverse"), group);
    duplexComboBox = new QComboBox(group);
    duplexComboBox->addItems(kDuplexModes);

    form->addRow(tr("Name:"), printerNameComboBox);
    form->addRow(tr("Location:"), locationLabel);
    form->addRow(tr("Type:"), typeLabel);
    form->addRow(tr("Output File:"), output);
    form->addRow(tr("Copies:"), copiesSpinBox);
    form->addRow(QString(), pair(group, collateCheckBox, reverseCheckBox));
    form->addRow(tr("Double-sided:"), duplexComboBox);

    connect(printerNameComboBox, &QComboBox::currentIndexChanged, this, &PrintDialog::onPrinterChanged);
    connect(outputFileButton, &QPushButton::clicked, this, [this] {
        const QString path = FileDialogHelper::getSaveFileName(
            this, tr("Export to PDF"), outputFileEdit->text(), QStringLiteral("PDF File (*.pdf)"));
        if (!path.isEmpty())
            outputFileEdit->setText(path);
    });
    connect(duplexComboBox, &QComboBox::currentIndexChanged, this, &PrintDialog::onOptionChanged);
    connect(reverseCheckBox, &QCheckBox::toggled, this, &PrintDialog::onOptionChanged);
    return group;
}

QGroupBox* PrintDialog::createPrintRangeGroup() {
    auto* group = new QGroupBox(tr("Print Range"), this);
    auto* grid = new QGridLayout(group);
    printAllRadio = new QRadioButton(tr("Print All"), group);
    pageRangeRadio = new QRadioButton(tr("Page Range:"), group);
    pageRangeEdit = new QLineEdit(group);
    pageRangeEdit->setPlaceholderText(tr("Example: 1-3, 5, 7-9"));
    currentPageRadio = new QRadioButton(tr("Current Page"), group);
    selectedRowsCheckBox = new QCheckBox(tr("Selected Rows"), group);
    selectedColumnsCheckBox = new QCheckBox(tr("Selected Columns"), group);
    auto* rangeGroup = new QButtonGroup(group);
    for (QRadioButton* radio : {printAllRadio, pageRangeRadio, currentPageRadio})
        rangeGroup->addButton(radio);
    printAllRadio->setChecked(true);

    grid->addWidget(printAllRadio, 0, 0, 1, 2);
    grid->addWidget(pageRangeRadio, 1, 0);
    grid->addWidget(pageRangeEdit, 1, 1);
    grid->addWidget(currentPageRadio, 2, 0, 1, 2);
    grid->addWidget(new QLabel(tr("Selection Only:"), group), 3, 0);
    grid->addWidget(pair(group, selectedRowsCheckBox, selectedColumnsCheckBox), 3, 1);

    for (QRadioButton* radio : {printAllRadio, pageRangeRadio, currentPageRadio})
        connect(radio, &QRadioButton::toggled, this, [this](bool on) {
            if (on)
                onOptionChanged();
        });
    // A typed range selects itself.
    connect(pageRangeEdit, &QLineEdit::textEdited, this, [this] {
        if (!pageRangeRadio->isChecked())
            pageRangeRadio->setChecked(true);
        else
            onOptionChanged();
    });
    for (QCheckBox* box : {selectedRowsCheckBox, selectedColumnsCheckBox})
        connect(box, &QCheckBox::toggled, this, &PrintDialog::onOptionChanged);
    return group;
}

QGroupBox* PrintDialog::createCSVOptionsGroup() {
    auto* group = new QGroupBox(tr("CSV Options"), this);
    auto* form = new QFormLayout(group);
    const auto check = [group](const QString& text) { return new QCheckBox(text, group); };
    headerRowsCheckBox = check(tr("Header Rows"));
    headerColumnsCheckBox = check(tr("Header Columns"));
    rowLabelsCheckBox = check(tr("Row"));
    columnLabelsCheckBox = check(tr("Column"));
    rowGridlinesCheckBox = check(tr("Row"));
    columnGridlinesCheckBox = check(tr("Column"));
    centerVerticallyCheckBox = check(tr("Vertically"));
    centerHorizontallyCheckBox = check(tr("Horizontally"));
    rowWiseRadio = new QRadioButton(tr("Row-wise"), group);
    columnWiseRadio = new QRadioButton(tr("Column-wise"), group);
    auto* orderGroup = new QButtonGroup(group);
    orderGroup->addButton(rowWiseRadio);
    orderGroup->addButton(columnWiseRadio);
    fileTitleCheckBox = check(tr("File Title"));
    pageNumbersCheckBox = check(tr("Page Numbers"));

    form->addRow(tr("Headers:"), pair(group, headerRowsCheckBox, headerColumnsCheckBox));
    form->addRow(tr("Labels:"), pair(group, rowLabelsCheckBox, columnLabelsCheckBox));
    form->addRow(tr("Gridlines:"), pair(group, rowGridlinesCheckBox, columnGridlinesCheckBox));
    form->addRow(tr("Center:"), pair(group, centerVerticallyCheckBox, centerHorizontallyCheckBox));
    form->addRow(tr("Page Order:"), pair(group, rowWiseRadio, columnWiseRadio));
    form->addRow(tr("Misc:"), pair(group, fileTitleCheckBox, pageNumbersCheckBox));

    for (QCheckBox* box : {headerRowsCheckBox, headerColumnsCheckBox, rowLabelsCheckBox, columnLabelsCheckBox,
                           rowGridlinesCheckBox, columnGridlinesCheckBox, centerVerticallyCheckBox,
                           centerHorizontallyCheckBox, fileTitleCheckBox, pageNumbersCheckBox})
        connect(box, &QCheckBox::toggled, this, &PrintDialog::onOptionChanged);
    connect(rowWiseRadio, &QRadioButton::toggled, this, &PrintDialog::onOptionChanged);
    return group;
}

void PrintDialog::setUnitRanges(const QString& units) {
    const double perInch = 1.0 / inchesPer(units);
    const int decimals = units == QStringLiteral("Pixels")        ? 0
                         : units == QStringLiteral("Millimeters") ? 1
                                                                  : 2;
    for (QDoubleSpinBox* box : {widthSpinBox, heightSpinBox}) {
        box->setDecimals(decimals);
        box->setRange(1.0 * perInch, 100.0 * perInch);
        box->setSingleStep(units == QStringLiteral("Inches")   ? 0.5
                           : units == QStringLiteral("Pixels") ? 10
                                                               : 5);
    }
    for (QDoubleSpinBox* box :
         {marginLeftSpinBox, marginRightSpinBox, marginTopSpinBox, marginBottomSpinBox}) {
        box->setDecimals(decimals);
        box->setRange(0.0, 20.0 * perInch);
        box->setSingleStep(units == QStringLiteral("Inches")   ? 0.1
                           : units == QStringLiteral("Pixels") ? 10
                                                               : 1);
    }
}

PrintSettings PrintDialog::printSettings() const {
    PrintSettings s;
    s.pageSize = pageSizeComboBox->currentText();
    s.customWidth = widthSpinBox->value();
    s.customHeight = heightSpinBox->value();
    s.isPortrait = orientationComboBox->currentIndex() == 0;
    s.marginLeft = marginLeftSpinBox->value();
    s.marginRight = marginRightSpinBox->value();
    s.marginTop = marginTopSpinBox->value();
    s.marginBottom = marginBottomSpinBox->value();
    s.pageUnits = unitsComboBox->currentText();
    s.marginUnits = s.pageUnits;
    // Exporting to a PDF keeps the printer that Print starts with.
    s.printerName = exportToPdf && isPdf() ? storedPrinterName : printerNameComboBox->currentText();
    s.copies = copiesSpinBox->value();
    s.collate = collateCheckBox->isChecked();
    s.reverse = reverseCheckBox->isChecked();
    s.duplexMode = duplexComboBox->currentText();
    s.showTitle = fileTitleCheckBox->isChecked();
    s.showPageNumbers = pageNumbersCheckBox->isChecked();
    s.showRowHeaders = headerRowsCheckBox->isChecked();
    s.showColumnHeaders = headerColumnsCheckBox->isChecked();
    s.showRowLabels = rowLabelsCheckBox->isChecked();
    s.showColumnLabels = columnLabelsCheckBox->isChecked();
    s.rowWise = rowWiseRadio->isChecked();
    s.selectedRowsOnly = selectedRowsCheckBox->isChecked();
    s.selectedColumnsOnly = selectedColumnsCheckBox->isChecked();
    s.showRowGridlines = rowGridlinesCheckBox->isChecked();
    s.showColumnGridlines = columnGridlinesCheckBox->isChecked();
    s.centerVertically = centerVerticallyCheckBox->isChecked();
    s.centerHorizontally = centerHorizontallyCheckBox->isChecked();
    return s;
}

void PrintDialog::applySettings(const PrintSettings& s) {
    {
        // One preview at the end, not one per widget.
        const QSignalBlocker blockers[] = {QSignalBlocker(pageSizeComboBox),
                                           QSignalBlocker(widthSpinBox),
                                           QSignalBlocker(heightSpinBox),
                                           QSignalBlocker(orientationComboBox),
                                           QSignalBlocker(marginLeftSpinBox),
                                           QSignalBlocker(marginRightSpinBox),
                                           QSignalBlocker(marginTopSpinBox),
                                           QSignalBlocker(marginBottomSpinBox),
                                           QSignalBlocker(unitsComboBox),
                                           QSignalBlocker(printerNameComboBox),
                                           QSignalBlocker(copiesSpinBox),
                                           QSignalBlocker(collateCheckBox),
                                           QSignalBlocker(reverseCheckBox),
                                           QSignalBlocker(duplexComboBox),
                                           QSignalBlocker(fileTitleCheckBox),
                                           QSignalBlocker(pageNumbersCheckBox),
                                           QSignalBlocker(headerRowsCheckBox),
                                           QSignalBlocker(headerColumnsCheckBox),
                                           QSignalBlocker(rowLabelsCheckBox),
                                           QSignalBlocker(columnLabelsCheckBox),
                                           QSignalBlocker(rowWiseRadio),
                                           QSignalBlocker(columnWiseRadio),
                                           QSignalBlocker(selectedRowsCheckBox),
                                           QSignalBlocker(selectedColumnsCheckBox),
                                           QSignalBlocker(rowGridlinesCheckBox),
                                           QSignalBlocker(columnGridlinesCheckBox),
                                           QSignalBlocker(centerVerticallyCheckBox),
                                           QSignalBlocker(centerHorizontallyCheckBox)};
        Q_UNUSED(blockers);
        selectText(pageSizeComboBox, s.pageSize);
        selectText(unitsComboBox, s.pageUnits);
        lastUnits = unitsComboBox->currentText();
        setUnitRanges(lastUnits);
        widthSpinBox->setValue(s.customWidth);
        heightSpinBox->setValue(s.customHeight);
        orientationComboBox->setCurrentIndex(s.isPortrait ? 0 : 1);
        marginLeftSpinBox->setValue(s.marginLeft);
        marginRightSpinBox->setValue(s.marginRight);
        marginTopSpinBox->setValue(s.marginTop);
        marginBottomSpinBox->setValue(s.marginBottom);
        // A printer that is gone leaves the first one (or the PDF file, with none).
        selectText(printerNameComboBox, s.printerName);
        copiesSpinBox->setValue(s.copies);
        collateCheckBox->setChecked(s.collate);
        reverseCheckBox->setChecked(s.reverse);
        selectText(duplexComboBox, s.duplexMode);
        fileTitleCheckBox->setChecked(s.showTitle);
        pageNumbersCheckBox->setChecked(s.showPageNumbers);
        headerRowsCheckBox->setChecked(s.showRowHeaders);
        headerColumnsCheckBox->setChecked(s.showColumnHeaders);
        rowLabelsCheckBox->setChecked(s.showRowLabels);
        columnLabelsCheckBox->setChecked(s.showColumnLabels);
        rowWiseRadio->setChecked(s.rowWise);
        columnWiseRadio->setChecked(!s.rowWise);
        selectedRowsCheckBox->setChecked(s.selectedRowsOnly);
        selectedColumnsCheckBox->setChecked(s.selectedColumnsOnly);
        rowGridlinesCheckBox->setChecked(s.showRowGridlines);
        columnGridlinesCheckBox->setChecked(s.showColumnGridlines);
        centerVerticallyCheckBox->setChecked(s.centerVertically);
        centerHorizontallyCheckBox->setChecked(s.centerHorizontally);
    }
    onPrinterChanged();
}

bool PrintDialog::isPdf() const {
    return printerNameComboBox->currentText() == pdfPrinterName();
}

void PrintDialog::onPrinterChanged() {
    const bool pdf = isPdf();
    if (pdf) {
        locationLabel->setText(QString());
        typeLabel->setText(tr("PDF file"));
    } else {
        const QPrinterInfo info = QPrinterInfo::printerInfo(printerNameComboBox->currentText());
        locationLabel->setText(info.location());
        typeLabel->setText(info.makeAndModel());
    }
    outputFileEdit->setEnabled(pdf);
    outputFileButton->setEnabled(pdf);
    // One file is written, once, one-sided.
    copiesSpinBox->setEnabled(!pdf);
    collateCheckBox->setEnabled(!pdf);
    duplexComboBox->setEnabled(!pdf);
    printButton->setText(pdf ? tr("&Export") : tr("&Print"));
    onOptionChanged();
}

void PrintDialog::onUnitsChanged() {
    // The page and the margins stay the same size; only the numbers change.
    const QString units = unitsComboBox->currentText();
    const double factor = inchesPer(lastUnits) / inchesPer(units);
    lastUnits = units;
    const QDoubleSpinBox* boxes[] = {widthSpinBox,       heightSpinBox,    marginLeftSpinBox,
                                     marginRightSpinBox, marginTopSpinBox, marginBottomSpinBox};
    std::vector<double> values;
    for (const QDoubleSpinBox* box : boxes)
        values.push_back(box->value() * factor);
    {
        const QSignalBlocker b1(widthSpinBox), b2(heightSpinBox), b3(marginLeftSpinBox),
            b4(marginRightSpinBox), b5(marginTopSpinBox), b6(marginBottomSpinBox);
        setUnitRanges(units);
        widthSpinBox->setValue(values[0]);
        heightSpinBox->setValue(values[1]);
        marginLeftSpinBox->setValue(values[2]);
        marginRightSpinBox->setValue(values[3]);
        marginTopSpinBox->setValue(values[4]);
        marginBottomSpinBox->setValue(values[5]);
    }
    onOptionChanged();
}

void PrintDialog::onOptionChanged() {
    if (!printButton || printing)
        return; // still being built, or pages are going out
    const bool custom = pageSizeComboBox->currentText() == QStringLiteral("Custom");
    widthSpinBox->setEnabled(custom);
    heightSpinBox->setEnabled(custom);
    printer->applySettings(printSettings());
    printer->setPrintPageRanges(pageRangeRadio->isChecked() ? parsePageRanges(pageRangeEdit->text())
                                                            : QPageRanges());
    updatePreviewPages();
}

void PrintDialog::updatePreviewPages() {
    // "Current Page" browses every page, so that the one to print can be chosen.
    if (currentPageRadio->isChecked()) {
        printer->setCurrentPageOnly(false, 0);
        previewPages.resize(static_cast<std::size_t>(printer->pageCount()));
        for (std::size_t i = 0; i < previewPages.size(); ++i)
            previewPages[i] = static_cast<int>(i);
    } else {
        printer->setCurrentPageOnly(false, 0);
        previewPages = printer->pagesToPrint();
    }
    {
        // The page is painted once below; the preview's own paint requests must still pass.
        const QSignalBlocker blocker(preview);
        preview->setPageCount(static_cast<int>(previewPages.size()));
        if (preview->getCurrentPage() == 0 && !previewPages.empty())
            preview->setCurrentPage(1);
    }
    printButton->setEnabled(!previewPages.empty());
    onPageChanged(preview->getCurrentPage());
}

void PrintDialog::onPageChanged(int page) {
    if (printing)
        return;
    const bool shown = page >= 1 && page <= static_cast<int>(previewPages.size());
    const int documentPage = shown ? previewPages[static_cast<std::size_t>(page - 1)] : -1;
    printer->setCurrentPageOnly(currentPageRadio->isChecked(), documentPage);
    // Nothing to show: a page number past the end paints no page at all.
    printer->setPreviewPage(shown ? documentPage : printer->pageCount());
    preview->updatePreview();
}

QString PrintDialog::getOutputFile() const {
    return outputFileEdit->text();
}

void PrintDialog::setOutputFile(const QString& path) {
    outputFileEdit->setText(path);
}

void PrintDialog::setPageRangeText(const QString& text) {
    pageRangeEdit->setText(text);
    if (pageRangeRadio->isChecked())
        onOptionChanged();
    else
        pageRangeRadio->setChecked(true);
}

PrintDialog::PrintResult PrintDialog::printToPrinter(TablePrinter& target, bool pdf) {
    QPainter painter;
    if (!painter.begin(&target))
        return PrintResult::NotStarted;
    target.setPreviewPage(-1);
    // Many pages take a while: a progress bar with Cancel, after a moment.
    QProgressDialog progress(this);
    progress.setWindowTitle(windowTitle());
    progress.setWindowModality(Qt::WindowModal);
    progress.setMinimumDuration(400);
    progress.setAutoClose(false);
    progress.setAutoReset(false);
    progress.setCancelButtonText(tr("Cancel"));
    QElapsedTimer sinceUpdate;
    sinceUpdate.start();
    printing = true;
    const bool finished = target.printTable(painter, [&](int done, int total) {
        if (done == 0 || sinceUpdate.elapsed() >= 50) {
            sinceUpdate.restart();
            progress.setMaximum(total);
            progress.setLabelText((pdf ? tr("Exporting page %1 of %2...") : tr("Printing page %1 of %2..."))
                                      .arg(done + 1)
                                      .arg(total));
            progress.setValue(done);
        }
        return !progress.wasCanceled();
    });
    if (!finished)
        target.abort();
    painter.end();
    printing = false;
    return finished ? PrintResult::Done : PrintResult::Canceled;
}

// Where an export writes before the PDF takes its name: hidden, beside it, so the rename stays
// within one file system.
QString PrintDialog::partFileOf(const QString& path) {
    const QFileInfo info(path);
    return info.dir().filePath(
        QStringLiteral(".%1.%2.part").arg(info.fileName()).arg(QCoreApplication::applicationPid()));
}

bool PrintDialog::writesOverTableFile(const QString& path) const {
    if (path.isEmpty())
        return false;
    QStringList tableFiles = openTableFiles;
    if (view && view->tableModel())
        tableFiles.append(view->tableModel()->getTableData().getFilepath());
    const QFileInfo out(path);
    for (const QString& tableFile : tableFiles) {
        if (tableFile.isEmpty())
            continue;
        const QFileInfo table(tableFile);
        // Canonical paths see through links and "..", but only exist for files that exist.
        if (out.exists() && table.exists() ? out.canonicalFilePath() == table.canonicalFilePath()
                                           : out.absoluteFilePath() == table.absoluteFilePath())
            return true;
    }
    return false;
}

void PrintDialog::setOpenTableFiles(const QStringList& paths) {
    openTableFiles = paths;
}

void PrintDialog::onPrintClicked() {
    const PrintSettings settings = printSettings();
    const bool pdf = isPdf();
    QString path = outputFileEdit->text().trimmed();
    if (pdf) {
        if (!path.isEmpty() && QFileInfo(path).suffix().isEmpty())
            path += QStringLiteral(".pdf");
        if (!path.isEmpty())
            path = QFileInfo(path).absoluteFilePath();
        printer->setOutputFormat(QPrinter::PdfFormat);
        // The pages go to a file beside the chosen one, which takes its name only when all are
        // written: a canceled or failed export leaves a file that was there before as it was.
        printer->setOutputFileName(path.isEmpty() ? path : partFileOf(path));
    } else {
        printer->setOutputFormat(QPrinter::NativeFormat);
        printer->setPrinterName(printerNameComboBox->currentText());
    }
    // A new destination may bring its own page set-up: the chosen one goes on top again.
    printer->applySettings(settings);
    printer->setPrintPageRanges(pageRangeRadio->isChecked() ? parsePageRanges(pageRangeEdit->text())
                                                            : QPageRanges());
    const int shown = preview->getCurrentPage();
    printer->setCurrentPageOnly(currentPageRadio->isChecked(),
                                shown >= 1 && shown <= static_cast<int>(previewPages.size())
                                    ? previewPages[static_cast<std::size_t>(shown - 1)]
                                    : -1);
    printer->setCopyCount(pdf ? 1 : settings.copies);
    printer->setCollateCopies(settings.collate);
    printer->setDocName(printer->getTitle());

    if (printing)
        return;
    if (pdf && writesOverTableFile(path)) {
        // The printer would truncate the table's file before the first page: its data would be
        // gone, and the table on screen would no longer match the disk.
        MsgBox::askTitled(
            this, tr("Export Failed"), tr("The PDF can't be written over the file of an open table."),
            {{tr("&Ok"), QMessageBox::AcceptRole}}, 0, tr("Please choose another output file."));
        return;
    }
    PrintResult result = pdf && path.isEmpty() ? PrintResult::NotStarted : printToPrinter(*printer, pdf);
    if (pdf && !path.isEmpty()) {
        const QString part = partFileOf(path);
        if (result == PrintResult::Done &&
            std::rename(QFile::encodeName(part).constData(), QFile::encodeName(path).constData()) != 0)
            result = PrintResult::NotStarted;
        QFile::remove(part);
    }
    if (result == PrintResult::Canceled)
        return; // the dialog stays for another try
    if (result == PrintResult::NotStarted) {
        if (pdf)
            MsgBox::askTitled(this, tr("Export Failed"), tr("Failed to create a PDF file."),
                              {{tr("&Ok"), QMessageBox::AcceptRole}}, 0,
                              tr("Please check the directory exists and you have write permissions there."));
        else
            MsgBox::askTitled(this, tr("Printing Failed"), tr("Failed to start printing."),
                              {{tr("&Ok"), QMessageBox::AcceptRole}}, 0,
                              tr("Please check your printer connection and settings."));
        return;
    }
    if (pdf) {
        if (!QFileInfo::exists(path)) {
            MsgBox::askTitled(this, tr("Export Failed"),
                              tr("An unknown error occurred while creating the PDF."),
                              {{tr("&Ok"), QMessageBox::AcceptRole}}, 0);
        } else {
            const int answer =
                MsgBox::askTitled(this, tr("PDF Created"), tr("PDF file has been created successfully."),
                                  {{tr("Open &File"), QMessageBox::AcceptRole},
                                   {tr("Open F&older"), QMessageBox::AcceptRole},
                                   {tr("&Cancel"), QMessageBox::RejectRole}},
                                  0, tr("Would you like to open the file or its containing folder?"));
            if (answer == 0)
                QDesktopServices::openUrl(QUrl::fromLocalFile(path));
            else if (answer == 1)
                QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(path).absolutePath()));
        }
    }
    accept();
}

void PrintDialog::done(int result) {
    if (printing)
        return;
    if (!closing) {
        closing = true;
        emit printDialogClosingSignal();
    }
    QDialog::done(result);
}
