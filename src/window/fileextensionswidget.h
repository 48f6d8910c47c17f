#pragma once

#include "storage/fileparameters.h"

#include <QStringList>
#include <QWidget>

#include <vector>

class QComboBox;
class QTableWidget;

// The "File Extension Options" tab: the parameters each file extension opens and saves with,
// a row of choices per extension and always one empty row at the end for a new one.
class FileExtensionsWidget : public QWidget {
    Q_OBJECT

public:
    enum Column { ExtensionCol, DelimiterCol, LineEndingCol, EncodingCol, StandardCol, DefaultCol, ClearCol };

    explicit FileExtensionsWidget(const std::vector<ExtensionData>& table, QWidget* parent = nullptr);

    // Writes the rows into the extensions file, keeping its notes and rows the tab doesn't show.
    bool apply();
    void restoreDefaults();
    void addEmptyRow();
    // The five texts of a default extension; empty for another.
    static QStringList getDefaultValues(const QString& extension);
    // "(platform)" for the platform choice, otherwise the short text of the ending.
    static QString convertLineEndingWidgetToFileString(const QString& text);

    // The rows as the file will hold them: extension, delimiter, line ending, encoding, standard.
    std::vector<QStringList> rowTexts() const;
    QComboBox* combo(int row, Column col) const;
    int rowCount() const;

signals:
    void updateSignal();
    void makeExtensionsFileSignal();

private:
    void addRow(const QStringList& values);
    void setRow(int row, const QStringList& values);
    // Record Separator, Unit Separator and ASCII Separated Values only make sense together.
    void setAsciiSeparatedValues(int row, bool on);
    void onRowEdited(int row, Column col);

    QTableWidget* table = nullptr;
    bool filling = false;
};
