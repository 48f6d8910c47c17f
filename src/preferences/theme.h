#pragma once

#include <QColor>
#include <QMetaType>
#include <QString>

// The colours of the user interface. Only the built-in dark palette exists so far; every other
// name falls back to it.
class Theme {
public:
    QString name = QStringLiteral("Dark");

    QColor Background1Color{0x22, 0x22, 0x22};
    QColor Background2Color{0x11, 0x11, 0x11};
    QColor Background3Color{0x3a, 0x3a, 0x3a};
    QColor Background4Color{0x66, 0x66, 0x66};
    QColor Background5Color{0x44, 0x44, 0x44};
    QColor HeaderColor{0x33, 0x33, 0x33};
    QColor TextColor{Qt::white};
    QColor StaticTextColor{0xd6, 0xd6, 0xd6};
    QColor HighlightedCellTextColor{0x00, 0x88, 0x22};
    QColor SelectedTextColor{0x66, 0x66, 0xcc};
    QColor InactiveTabTextColor{0xbb, 0xbb, 0xbb};
    QColor DisabledTextColor{0x88, 0x88, 0x88};
    QColor CellColor{0x22, 0x22, 0x22};
    QColor CellShade1Color{0x33, 0x33, 0x33};
    QColor CellShade2Color{0x44, 0x44, 0x44};
    QColor SelectedCellColor{0x44, 0x00, 0x44};
    QColor HeaderCellColor{0x00, 0x00, 0x66};
    QColor HeaderCellShade1Color{0x22, 0x22, 0x77};
    QColor HeaderCellShade2Color{0x44, 0x44, 0xaa};
    QColor HighlightedCellColor{0xbb, 0xbb, 0x00};
    QColor HighlightedCellShade1Color{0x99, 0x99, 0x00};
    QColor HighlightedCellShade2Color{0x66, 0x66, 0x00};
    QColor HighlightedLineColor{0xff, 0x00, 0x00};
    QColor CellBorderColor{0xdd, 0x55, 0x55};
    QColor SelectedItemColor{0x66, 0x66, 0xcc};
    QColor HoverItemColor{0x88, 0x88, 0xee};
    QColor HistogramBarColor{0xbb, 0xbb, 0x00};
    QColor FuzzySearchHighlightedTextColor{0xff, 0x00, 0x00};
    QColor ButtonTextColor{Qt::white};
    QColor HighlightedButtonColor{0x99, 0xbb, 0xff};
    QColor MainCellColor{0x33, 0x33, 0x33};
    int LauncherBackgroundAlpha = 230;
    float mixFactor = 0.2f;

    static Theme darkTheme();
    // Lower-cased and trimmed; an unknown name gives the dark theme.
    static Theme convertStringToTheme(const QString& text);

    bool operator==(const Theme& other) const { return name == other.name; }
};

Q_DECLARE_METATYPE(Theme)
