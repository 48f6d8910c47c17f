#pragma once

#include <QColor>
#include <QMetaType>
#include <QPalette>
#include <QString>
#include <QStringList>

#include <map>
#include <vector>

// The colours of the user interface: five built-in themes, and one more per CSV file in the
// user's "Themes" folder, picked by the file's name.
class Theme {
public:
    // A theme file as read: role name -> colour and modifier.
    struct ThemeFileType {
        QString name;
        std::map<QString, std::vector<QString>> map;
    };

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

    // Fixed per built-in theme; a theme file takes them from its nearest built-in kind.
    QColor LinkColor{0x99, 0xbb, 0xff};
    QColor ScrollBarHandleColor{0x55, 0x55, 0x55};

    static Theme darkTheme();
    static Theme lightTheme();
    static Theme draculaTheme();
    static Theme solarizedDark();
    static Theme solarizedLight();
    // Lower-cased and trimmed: a built-in name, then the name of a theme file; anything else
    // gives the dark theme.
    static Theme convertStringToTheme(const QString& text);
    static Theme loadThemeFile(const ThemeFileType& file);
    // Replaces the file theme of that exact name, or adds one.
    static void addOrReplaceTheme(const QString& name, const std::map<QString, std::vector<QString>>& map);
    static void clearThemeFileList();
    static const std::vector<ThemeFileType>& getThemeFileList();
    // The built-in names, then those of the theme files.
    static QStringList getNamesList();
    // The role names a theme file may set, in the order of the roles.
    static QStringList getRoleNames();

    // Made again from its own name, after the theme files changed.
    void refresh();
    // Whether the background is dark: decides the fixed colours of a theme file.
    bool isDark() const;
    // A <style> block for the program's rich texts.
    QString getHtmlStyle() const;
    // The style sheet of the whole program, over the palette that colours what it leaves out.
    QString getStyleSheet() const;
    QPalette getPalette() const;

    bool operator==(const Theme& other) const { return name == other.name; }
};

Q_DECLARE_METATYPE(Theme)
