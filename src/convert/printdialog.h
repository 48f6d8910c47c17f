#pragma once

#include "convert/printsettings.h"

#include <QDialog>
#include <QPageRanges>
#include <QStringList>

#include <memory>
#include <vector>

class QButtonGroup;
class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;
class QSpinBox;
class PrintPreviewWidget;
class TablePrinter;
class TableView;

// The options of printing a table, beside a live preview, and the way out to a printer or a PDF
// file. Modal: the table is not edited while it is open.
class PrintDialog : public QDialog {
    Q_OBJECT

public:
    // `exportToPdf` opens it with the PDF file as the destination.
    PrintDialog(TableView* view, bool exportToPdf, const PrintSettings& settings, QWidget* parent = nullptr);
    ~PrintDialog() override;

    PrintSettings printSettings() const;
    void applySettings(const PrintSettings& settings);
    static QPageRanges parsePageRanges(const QString& text);

    // The text of the destination that writes a PDF file.
    static QString pdfPrinterName();
    // The PDF file proposed for a table: beside it with its name, or "untitled.pdf".
    static QString defaultOutputFile(const QString& tableFilepath);

    TablePrinter* getTablePrinter() const { return printer.get(); }
    PrintPreviewWidget* getPreviewWidget() const { return preview; }
    QString getOutputFile() const;
    void setOutputFile(const QString& path);
    void setPageRangeText(const QString& text);
    // The files of the other open tables, which the PDF must not be written over.
    void setOpenTableFiles(const QStringList& paths);
    // Prints or exports as the button does.
    void onPrintClicked();

signals:
    void printDialogClosingSignal();

protected:
    void done(int result) override;

private:
    QGroupBox* createPageSetupGroup();
    QGroupBox* createPrinterGroup();
    QGroupBox* createPrintRangeGroup();
    QGroupBox* createCSVOptionsGroup();
    void onOptionChanged();
    void onUnitsChanged();
    void onPrinterChanged();
    void onPageChanged(int page);
    void updatePreviewPages();
    void setUnitRanges(const QString& units);
    bool isPdf() const;
    enum class PrintResult { NotStarted, Canceled, Done };
    PrintResult printToPrinter(TablePrinter& target, bool pdf);
    // Whether the PDF path names the file of the printed table or of another open one.
    bool writesOverTableFile(const QString& path) const;
    static QString partFileOf(const QString& path);

    TableView* view;
    QStringList openTableFiles;
    bool exportToPdf;
    QString storedPrinterName;
    QString lastUnits;
    bool closing = false;
    // While pages go out, the options hold still and the dialog stays.
    bool printing = false;
    std::unique_ptr<TablePrinter> printer;
    PrintPreviewWidget* preview = nullptr;
    // The document pages the preview browses, from 0.
    std::vector<int> previewPages;

    QComboBox* pageSizeComboBox = nullptr;
    QDoubleSpinBox* widthSpinBox = nullptr;
    QDoubleSpinBox* heightSpinBox = nullptr;
    QComboBox* orientationComboBox = nullptr;
    QDoubleSpinBox* marginLeftSpinBox = nullptr;
    QDoubleSpinBox* marginRightSpinBox = nullptr;
    QDoubleSpinBox* marginTopSpinBox = nullptr;
    QDoubleSpinBox* marginBottomSpinBox = nullptr;
    QComboBox* unitsComboBox = nullptr;

    QComboBox* printerNameComboBox = nullptr;
    QLabel* locationLabel = nullptr;
    QLabel* typeLabel = nullptr;
    QLineEdit* outputFileEdit = nullptr;
    QPushButton* outputFileButton = nullptr;
    QSpinBox* copiesSpinBox = nullptr;
    QCheckBox* collateCheckBox = nullptr;
    QCheckBox* reverseCheckBox = nullptr;
    QComboBox* duplexComboBox = nullptr;

    QRadioButton* printAllRadio = nullptr;
    QRadioButton* pageRangeRadio = nullptr;
    QLineEdit* pageRangeEdit = nullptr;
    QRadioButton* currentPageRadio = nullptr;
    QCheckBox* selectedRowsCheckBox = nullptr;
    QCheckBox* selectedColumnsCheckBox = nullptr;

    QCheckBox* headerRowsCheckBox = nullptr;
    QCheckBox* headerColumnsCheckBox = nullptr;
    QCheckBox* rowLabelsCheckBox = nullptr;
    QCheckBox* columnLabelsCheckBox = nullptr;
    QCheckBox* rowGridlinesCheckBox = nullptr;
    QCheckBox* columnGridlinesCheckBox = nullptr;
    QCheckBox* centerVerticallyCheckBox = nullptr;
    QCheckBox* centerHorizontallyCheckBox = nullptr;
    QRadioButton* rowWiseRadio = nullptr;
    QRadioButton* columnWiseRadio = nullptr;
    QCheckBox* fileTitleCheckBox = nullptr;
    QCheckBox* pageNumbersCheckBox = nullptr;

    QPushButton* printButton = nullptr;
};
