#include "preferences/theme.h"

#include <QRegularExpression>

#include <array>

namespace {

struct Role {
    const char* name;
    QColor Theme::*member;
};

const std::array<Role, 31>& roles() {
    static const std::array<Role, 31> table{{
        {"Background1Color", &Theme::Background1Color},
        {"Background2Color", &Theme::Background2Color},
        {"Background3Color", &Theme::Background3Color},
        {"Background4Color", &Theme::Background4Color},
        {"Background5Color", &Theme::Background5Color},
        {"HeaderColor", &Theme::HeaderColor},
        {"TextColor", &Theme::TextColor},
        {"StaticTextColor", &Theme::StaticTextColor},
        {"HighlightedCellTextColor", &Theme::HighlightedCellTextColor},
        {"SelectedTextColor", &Theme::SelectedTextColor},
        {"InactiveTabTextColor", &Theme::InactiveTabTextColor},
        {"DisabledTextColor", &Theme::DisabledTextColor},
        {"CellColor", &Theme::CellColor},
        {"CellShade1Color", &Theme::CellShade1Color},
        {"CellShade2Color", &Theme::CellShade2Color},
        {"SelectedCellColor", &Theme::SelectedCellColor},
        {"HeaderCellColor", &Theme::HeaderCellColor},
        {"HeaderCellShade1Color", &Theme::HeaderCellShade1Color},
        {"HeaderCellShade2Color", &Theme::HeaderCellShade2Color},
        {"HighlightedCellColor", &Theme::HighlightedCellColor},
        {"HighlightedCellShade1Color", &Theme::HighlightedCellShade1Color},
        {"HighlightedCellShade2Color", &Theme::HighlightedCellShade2Color},
        {"HighlightedLineColor", &Theme::HighlightedLineColor},
        {"CellBorderColor", &Theme::CellBorderColor},
        {"SelectedItemColor", &Theme::SelectedItemColor},
        {"HoverItemColor", &Theme::HoverItemColor},
        {"HistogramBarColor", &Theme::HistogramBarColor},
        {"FuzzySearchHighlightedTextColor", &Theme::FuzzySearchHighlightedTextColor},
        {"ButtonTextColor", &Theme::ButtonTextColor},
        {"HighlightedButtonColor", &Theme::HighlightedButtonColor},
        {"MainCellColor", &Theme::MainCellColor},
    }};
    return table;
}

const QString kAlpha = QStringLiteral("LauncherBackgroundAlpha");

std::vector<Theme::ThemeFileType>& themeFiles() {
    static std::vector<Theme::ThemeFileType> list;
    return list;
}

// Fills the roles from 31 colour texts in the order of roles().
Theme make(const char* name, const std::array<const char*, 31>& colours, int alpha, float mix,
           const char* link, const char* handle) {
    Theme theme;
    theme.name = QString::fromLatin1(name);
    for (std::size_t i = 0; i < colours.size(); ++i)
        theme.*(roles()[i].member) = QColor::fromString(QLatin1String(colours[i]));
    theme.LauncherBackgroundAlpha = alpha;
    theme.mixFactor = mix;
    theme.LinkColor = QColor::fromString(QLatin1String(link));
    theme.ScrollBarHandleColor = QColor::fromString(QLatin1String(handle));
    return theme;
}

QColor convertStringToColor(const QString& text) {
    const QString key = text.trimmed().toLower();
    if (key == u"black")
        return QColor(Qt::black);
    if (key == u"white")
        return QColor(Qt::white);
    if (key == u"gray" || key == u"grey")
        return QColor(Qt::gray);
    return QColor::fromString(key);
}

} // namespace

Theme Theme::darkTheme() {
    return Theme();
}

Theme Theme::lightTheme() {
    return make("Light",
                {"#f3f3f3", "#ffffff", "#e2e2e2", "#9a9a9a", "#d2d2d2", "#e6e6e6", "#1a1a1a", "#333333",
                 "#006b1b", "#1f56c9", "#5c5c5c", "#8a8a8a", "#ffffff", "#f0f0f0", "#e0e0e0", "#c6dafc",
                 "#dce6f5", "#ccdaf0", "#b4c8e9", "#fff1a0", "#f5e37a", "#e9d256", "#d40000", "#d04848",
                 "#bcd2f7", "#d6e4fb", "#c9a800", "#d40000", "#1a1a1a", "#1f56c9", "#e4edfc"},
                240, 0.15f, "#1f56c9", "#b8b8b8");
}

Theme Theme::draculaTheme() {
    return make("Dracula",
                {"#282a36", "#1e1f29", "#343746", "#6272a4", "#44475a", "#21222c", "#f8f8f2", "#e2e2dc",
                 "#50fa7b", "#bd93f9", "#a4a8bc", "#7a7f99", "#282a36", "#303241", "#3a3c4e", "#5b4386",
                 "#3b2f5c", "#4a3a73", "#5d4a8f", "#6b6420", "#5c5619", "#4d4813", "#ff5555", "#ff79c6",
                 "#6d55a8", "#8a72c9", "#f1fa8c", "#ff79c6", "#f8f8f2", "#8be9fd", "#44475a"},
                235, 0.2f, "#8be9fd", "#565a73");
}

Theme Theme::solarizedDark() {
    return make("Solarized Dark",
                {"#002b36", "#00212b", "#073642", "#586e75", "#0a4453", "#073642", "#eee8d5", "#93a1a1",
                 "#859900", "#268bd2", "#839496", "#657b83", "#002b36", "#073642", "#0d4150", "#1d5577",
                 "#0b3d5c", "#124a6b", "#1a5a80", "#6a5500", "#5c4a00", "#4d3e00", "#dc322f", "#cb4b16",
                 "#2d6a99", "#3b7fb3", "#b58900", "#dc322f", "#eee8d5", "#2aa198", "#0e4a5a"},
                235, 0.2f, "#2aa198", "#29505c");
}

Theme Theme::solarizedLight() {
    return make("Solarized Light",
                {"#fdf6e3", "#fffbf0", "#eee8d5", "#93a1a1", "#e4ddc8", "#eee8d5", "#073642", "#43575e",
                 "#5f7000", "#1b6aa5", "#657b83", "#93a1a1", "#fdf6e3", "#f3ecd8", "#e9e2cc", "#cde0ea",
                 "#e1e8e3", "#d3ded9", "#c1d1cc", "#f5e08a", "#ecd56a", "#e0c64a", "#dc322f", "#cb4b16",
                 "#c4dbe9", "#d9e7ef", "#b58900", "#dc322f", "#073642", "#1b6aa5", "#e9f0e6"},
                240, 0.15f, "#1b6aa5", "#c9c2ad");
}

Theme Theme::convertStringToTheme(const QString& text) {
    const QString key = text.trimmed().toLower();
    if (key == u"light")
        return lightTheme();
    if (key == u"dark")
        return darkTheme();
    if (key == u"dracula")
        return draculaTheme();
    if (key == u"solarized dark")
        return solarizedDark();
    if (key == u"solarized light")
        return solarizedLight();
    for (const ThemeFileType& file : themeFiles()) {
        if (file.name.trimmed().toLower() == key)
            return loadThemeFile(file);
    }
    return darkTheme();
}

Theme Theme::loadThemeFile(const ThemeFileType& file) {
    static const QRegularExpression bareHex(QStringLiteral("^[0-9a-fA-F]{6}$"));
    std::map<QString, QString> colours;
    for (const auto& [role, values] : file.map) {
        QString colour = values.empty() ? QString() : values[0].trimmed();
        if (role == kAlpha) {
            colours[role] = colour;
            continue;
        }
        if (bareHex.match(colour).hasMatch())
            colour.prepend(QLatin1Char('#'));
        bool ok = false;
        const int modifier = values.size() > 1 ? values[1].trimmed().toInt(&ok, 10) : 0;
        QColor made = convertStringToColor(colour);
        if (made.isValid() && ok && modifier >= 1)
            made = made.lighter(modifier);
        else if (made.isValid() && ok && modifier < 0)
            made = made.darker(-modifier);
        colours[role] = made.isValid() ? made.name() : QString();
    }
    // What the file leaves out or spoils comes from the built-in theme of its kind, so a file
    // with a few roles is a variation of light or dark rather than black on black.
    const QColor background = convertStringToColor(colours[QStringLiteral("Background1Color")]);
    Theme theme = background.isValid() && background.lightness() > 128 ? lightTheme() : darkTheme();
    theme.name = file.name;
    theme.mixFactor = 0.15f;
    for (const Role& role : roles()) {
        const QColor colour = convertStringToColor(colours[QString::fromLatin1(role.name)]);
        if (colour.isValid())
            theme.*(role.member) = colour;
    }
    if (const auto it = colours.find(kAlpha); it != colours.end()) {
        bool ok = false;
        const int alpha = it->second.toInt(&ok, 10);
        theme.LauncherBackgroundAlpha = ok ? std::clamp(alpha, 0, 255) : 0;
    }
    return theme;
}

void Theme::addOrReplaceTheme(const QString& name, const std::map<QString, std::vector<QString>>& map) {
    for (ThemeFileType& file : themeFiles()) {
        if (file.name == name) {
            file.map = map;
            return;
        }
    }
    themeFiles().push_back({name, map});
}

void Theme::clearThemeFileList() {
    themeFiles().clear();
}

const std::vector<Theme::ThemeFileType>& Theme::getThemeFileList() {
    return themeFiles();
}

QStringList Theme::getNamesList() {
    QStringList names{QStringLiteral("Dark"), QStringLiteral("Light"), QStringLiteral("Dracula"),
                      QStringLiteral("Solarized Dark"), QStringLiteral("Solarized Light")};
    for (const ThemeFileType& file : themeFiles())
        names.append(file.name);
    return names;
}

QStringList Theme::getRoleNames() {
    QStringList names;
    for (const Role& role : roles())
        names.append(QString::fromLatin1(role.name));
    names.append(kAlpha);
    return names;
}

void Theme::refresh() {
    *this = convertStringToTheme(name);
}

bool Theme::isDark() const {
    return Background1Color.lightness() <= 128;
}

QString Theme::getHtmlStyle() const {
    return QStringLiteral("<style>"
                          "a { color: %1; }"
                          "hr { background-color: %2; height: 1px; border: none; }"
                          "code { color: %3; background-color: %4; }"
                          "</style>")
        .arg(LinkColor.name(), Background4Color.name(), TextColor.name(), Background3Color.name());
}

QString Theme::getStyleSheet() const {
    const auto c = [](const QColor& colour) { return colour.name(); };
    QString sheet;
    sheet += QStringLiteral("QToolTip { color: %1; background-color: %2; border: 1px solid %3; }")
                 .arg(c(TextColor), c(Background3Color), c(Background4Color));
    sheet += QStringLiteral("QMenuBar { background-color: %1; color: %2; }"
                            "QMenuBar::item { background: transparent; padding: 3px 8px; }"
                            "QMenuBar::item:selected { background-color: %3; color: %4; }")
                 .arg(c(HeaderColor), c(StaticTextColor), c(SelectedItemColor), c(TextColor));
    sheet += QStringLiteral("QMenu { background-color: %1; color: %2; border: 1px solid %3; }"
                            "QMenu::item { padding: 4px 24px 4px 20px; }"
                            "QMenu::item:selected { background-color: %4; color: %2; }"
                            "QMenu::item:disabled { color: %5; }"
                            "QMenu::separator { height: 1px; background-color: %3; margin: 4px 8px; }")
                 .arg(c(Background3Color), c(TextColor), c(Background4Color), c(SelectedItemColor),
                      c(DisabledTextColor));
    sheet += QStringLiteral("QStatusBar { background-color: %1; color: %2; }"
                            "QStatusBar QLabel { background: transparent; color: %2; }"
                            "QStatusBar::item { border: none; }")
                 .arg(c(HeaderColor), c(StaticTextColor));
    sheet += QStringLiteral("QLabel { background: transparent; }");
    sheet += QStringLiteral("QPushButton { color: %1; background-color: %2; border: 1px solid %3;"
                            " border-radius: 3px; padding: 4px 12px; }"
                            "QPushButton:hover { border-color: %4; }"
                            "QPushButton:default { border: 2px solid %4; }"
                            "QPushButton:pressed { background-color: %5; }"
                            "QPushButton:disabled { color: %6; }")
                 .arg(c(ButtonTextColor), c(Background3Color), c(Background4Color), c(HighlightedButtonColor),
                      c(Background5Color), c(DisabledTextColor));
    sheet += QStringLiteral("QLineEdit, QSpinBox, QComboBox, QPlainTextEdit, QTextEdit {"
                            " color: %1; background-color: %2; border: 1px solid %3;"
                            " selection-background-color: %4; selection-color: %1; }"
                            "QLineEdit:focus, QSpinBox:focus, QComboBox:focus { border-color: %5; }"
                            "QComboBox QAbstractItemView { background-color: %2; color: %1;"
                            " selection-background-color: %4; }")
                 .arg(c(TextColor), c(Background2Color), c(Background4Color), c(SelectedItemColor),
                      c(HighlightedButtonColor));
    sheet += QStringLiteral("QCheckBox, QRadioButton { background: transparent; color: %1; }"
                            "QCheckBox::indicator { width: 14px; height: 14px; border: 1px solid %2;"
                            " border-radius: 3px; background-color: %3; }"
                            "QCheckBox::indicator:checked { background-color: %4; border-color: %5; }"
                            "QRadioButton::indicator { width: 12px; height: 12px; border: 1px solid %2;"
                            " border-radius: 7px; background-color: %3; }"
                            "QRadioButton::indicator:checked { background-color: %4; border-color: %5; }")
                 .arg(c(TextColor), c(Background4Color), c(Background2Color), c(SelectedItemColor),
                      c(HighlightedButtonColor));
    // The page arrows of the print preview, drawn in the text colour.
    sheet += QStringLiteral("PrintPreviewWidget { qproperty-navButtonColor: %1; }").arg(c(TextColor));
    sheet += QStringLiteral("QTabWidget::pane { border: 1px solid %1; }"
                            "QTabBar::tab { color: %2; background-color: %3; padding: 4px 12px; }"
                            "QTabBar::tab:selected { color: %4; background-color: %5; }")
                 .arg(c(Background4Color), c(InactiveTabTextColor), c(HeaderColor), c(TextColor),
                      c(Background1Color));
    sheet += QStringLiteral("QHeaderView { background-color: %1; }"
                            "QHeaderView::section { color: %2; background-color: %1;"
                            " border: none; border-right: 1px solid %3; border-bottom: 1px solid %3;"
                            " padding: 0px 4px; }")
                 .arg(c(HeaderColor), c(StaticTextColor), c(Background5Color));
    sheet += QStringLiteral("QTableView, QTableWidget, QListView, QTreeView { color: %1;"
                            " background-color: %2; gridline-color: %3; selection-background-color: %4;"
                            " selection-color: %1; }"
                            "QTableCornerButton::section { background-color: %5; border: none; }")
                 .arg(c(TextColor), c(CellColor), c(Background5Color), c(SelectedCellColor), c(HeaderColor));
    sheet += QStringLiteral("QScrollBar { background-color: %1; border: none; }"
                            "QScrollBar:vertical { width: 12px; } QScrollBar:horizontal { height: 12px; }"
                            "QScrollBar::handle { background-color: %2; border-radius: 4px; margin: 2px; }"
                            "QScrollBar::handle:vertical { min-height: 24px; }"
                            "QScrollBar::handle:horizontal { min-width: 24px; }"
                            "QScrollBar::handle:hover { background-color: %3; }"
                            "QScrollBar::add-line, QScrollBar::sub-line { width: 0px; height: 0px; }"
                            "QScrollBar::add-page, QScrollBar::sub-page { background: none; }")
                 .arg(c(Background1Color), c(ScrollBarHandleColor), c(Background4Color));
    sheet += QStringLiteral("QSplitter::handle { background-color: %1; }").arg(c(Background2Color));
    sheet += QStringLiteral("QMessageBox, QDialog { background-color: %1; }"
                            "QMessageBox QLabel { color: %2; }")
                 .arg(c(Background1Color), c(TextColor));
    sheet += QStringLiteral("QProgressBar { border: 1px solid %1; background-color: %2; color: %3;"
                            " text-align: center; }"
                            "QProgressBar::chunk { background-color: %4; }")
                 .arg(c(Background4Color), c(Background2Color), c(TextColor), c(SelectedItemColor));
    return sheet;
}

QPalette Theme::getPalette() const {
    QPalette palette;
    palette.setColor(QPalette::Window, Background1Color);
    palette.setColor(QPalette::WindowText, TextColor);
    palette.setColor(QPalette::Base, Background2Color);
    palette.setColor(QPalette::AlternateBase, Background3Color);
    palette.setColor(QPalette::Text, TextColor);
    palette.setColor(QPalette::Button, Background3Color);
    palette.setColor(QPalette::ButtonText, ButtonTextColor);
    palette.setColor(QPalette::Highlight, SelectedItemColor);
    palette.setColor(QPalette::HighlightedText, TextColor);
    palette.setColor(QPalette::ToolTipBase, Background3Color);
    palette.setColor(QPalette::ToolTipText, TextColor);
    palette.setColor(QPalette::PlaceholderText, DisabledTextColor);
    palette.setColor(QPalette::Link, LinkColor);
    palette.setColor(QPalette::Mid, Background5Color);
    palette.setColor(QPalette::Dark, Background2Color);
    palette.setColor(QPalette::Light, Background4Color);
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, DisabledTextColor);
    return palette;
}
