#pragma once

#include <QString>

// Every option of the print dialog, as remembered between runs.
struct PrintSettings {
    QString pageSize = QStringLiteral("Letter"); // "Letter", "Legal", "A4" or "Custom"
    double customWidth = 8.5;
    double customHeight = 11.0;
    bool isPortrait = true;
    double marginLeft = 0.5;
    double marginRight = 0.5;
    double marginTop = 0.5;
    double marginBottom = 0.5;
    QString marginUnits = QStringLiteral("Inches"); // "Inches", "Millimeters" or "Pixels"
    QString pageUnits = QStringLiteral("Inches");
    QString printerName;
    int copies = 1;
    bool collate = false;
    bool reverse = false;
    QString duplexMode = QStringLiteral("Off"); // "Off", "Long Edge (Portrait)", "Short Edge (Landscape)"
    bool showTitle = true;
    bool showPageNumbers = true;
    bool showRowHeaders = true;
    bool showColumnHeaders = true;
    bool showRowLabels = false;
    bool showColumnLabels = false;
    bool rowWise = true;
    bool selectedRowsOnly = false;
    bool selectedColumnsOnly = false;
    bool showRowGridlines = true;
    bool showColumnGridlines = true;
    bool centerVertically = false;
    bool centerHorizontally = false;

    bool operator==(const PrintSettings&) const = default;
};
