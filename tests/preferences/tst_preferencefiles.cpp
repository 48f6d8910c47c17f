#include "preferences/defaultextensions.h"
#include "preferences/preferencefiles.h"
#include "preferences/settings.h"
#include "preferences/theme.h"
#include "table/tablemodel.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

using namespace PreferenceFiles;

namespace {

struct RegistryGuard {
    Settings settings;
    ~RegistryGuard() { settings.clear(); }
};

QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeAll(const QString& path, const QByteArray& content) {
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(content);
}

QList<QByteArray> lines(const QString& path) {
    QList<QByteArray> out = readAll(path).split('\n');
    if (!out.isEmpty() && out.last().isEmpty())
        out.removeLast();
    return out;
}

// The user value of a setting as the file now says it; a null string when it has no row.
QString userValue(const QString& path, const QString& name) {
    TableModel model(false);
    loadTable(model, path);
    int row = -1;
    std::vector<int> cols;
    if (!findHeader(model, settingsHeader(), 2, row, cols))
        return QStringLiteral("<no header>");
    const auto values = model.parseIntoMapStringString(cols[0], cols[1], row, true);
    const auto it = values.find(name);
    return it == values.end() ? QString() : it->second;
}

ExtensionData extensionOf(const std::vector<ExtensionData>& table, const QString& extension) {
    for (const ExtensionData& data : table) {
        if (data.extension == extension)
            return data;
    }
    return {};
}

} // namespace

class TestPreferenceFiles : public QObject {
    Q_OBJECT

private:
    QTemporaryDir dir;
    QString path(const char* name) const { return dir.filePath(QString::fromLatin1(name)); }

private slots:
    void initTestCase() { QVERIFY(dir.isValid()); }

    void settingsFileLayout() {
        RegistryGuard g;
        const QString file = path("settings-layout.csv");
        QVERIFY(makeSettingsFile(g.settings, file));
        const QList<QByteArray> rows = lines(file);
        int editable = 0;
        for (const Setting* s : g.settings.getSettings())
            editable += s->userEditable ? 1 : 0;
        QCOMPARE(rows.size(), editable + 8);
        QCOMPARE(rows[0], QByteArray("\"Place your desired setting in the \"\"User Value\"\" column.\",,,,"));
        QCOMPARE(rows[6], QByteArray(",,,,!!! Make changes below !!!"));
        QCOMPARE(rows[7], QByteArray("Setting,Scope,Type,Default Value,User Value"));
        // Sorted by name, every default value shown and every user value blank.
        QVERIFY(rows[8].startsWith("Auto-Fit Column Width,Table,true|false,true,"));
        QVERIFY(rows.contains("Text Size,Global,integer >= 1,12,"));
        QVERIFY(rows.contains("Theme,Global,theme,Dark,"));
        QVERIFY(testSettingsFileValidity(file));
    }

    // The header is searched for in the first 100 rows: comment rows above it are fine, up to a point.
    void settingsHeaderSearch_data() {
        QTest::addColumn<int>("extraRows");
        QTest::addColumn<bool>("valid");
        QTest::newRow("as made") << 0 << true;
        // Made, the header stands at row 7.
        QTest::newRow("row 50") << 43 << true;
        QTest::newRow("row 99") << 92 << true;
        QTest::newRow("row 100") << 93 << false;
        QTest::newRow("row 150") << 143 << false;
    }
    void settingsHeaderSearch() {
        QFETCH(int, extraRows);
        QFETCH(bool, valid);
        RegistryGuard g;
        const QString file = path("settings-moved.csv");
        g.settings.setValue(TextSize, 17);
        QVERIFY(makeSettingsFile(g.settings, file));
        writeAll(file, QByteArray("my note\n").repeated(extraRows) + readAll(file));
        QCOMPARE(testSettingsFileValidity(file), valid);

        RegistryGuard read;
        TableModel model(false);
        QVERIFY(loadTable(model, file));
        QCOMPARE(applyUserSettings(model, read.settings), valid);
        QCOMPARE(read.settings.getValueInt(TextSize), valid ? 17 : 12);
    }

    // Columns found by name: moved, or the user value column gone.
    void settingsColumns_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<bool>("valid");
        QTest::addColumn<int>("textSize");
        QTest::newRow("columns swapped") << QByteArray("User Value,Setting\n15,Text Size\n") << true << 15;
        QTest::newRow("header to the right")
            << QByteArray("x,y,Setting,User Value\n,,Text Size,9\n") << true << 9;
        QTest::newRow("user value column removed")
            << QByteArray("Setting,Scope,Type,Default Value\nText Size,Global,x,20\n") << false << 12;
        QTest::newRow("header in the wrong case")
            << QByteArray("setting,user value\nText Size,20\n") << false << 12;
        QTest::newRow("garbage") << QByteArray("\x01\x02\"\"\",\n\n,,\"") << false << 12;
        QTest::newRow("empty") << QByteArray() << false << 12;
    }
    void settingsColumns() {
        QFETCH(QByteArray, content);
        QFETCH(bool, valid);
        QFETCH(int, textSize);
        const QString file = path("settings-columns.csv");
        writeAll(file, content);
        QCOMPARE(testSettingsFileValidity(file), valid);
        RegistryGuard g;
        TableModel model(false);
        loadTable(model, file);
        applyUserSettings(model, g.settings);
        QCOMPARE(g.settings.getValueInt(TextSize), textSize);
    }

    // Each text of the file against the value it gives; bad text means the default.
    void userValues_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("blank is the default") << "Show Row Labels"
                                              << ""
                                              << "true";
        QTest::newRow("bool any case") << "Show Row Labels"
                                       << " FALSE "
                                       << "false";
        QTest::newRow("bool garbage") << "Show Row Labels"
                                      << "nope"
                                      << "true";
        QTest::newRow("int") << "Minimum Number of Table Rows"
                             << "7"
                             << "7";
        QTest::newRow("int garbage") << "Minimum Number of Table Rows"
                                     << "seven"
                                     << "50";
        QTest::newRow("theme") << "Theme"
                               << "solarized LIGHT"
                               << "Solarized Light";
        QTest::newRow("unknown theme") << "Theme"
                                       << "Neon"
                                       << "Dark";
        QTest::newRow("refresh") << "Behavior When File Is Changed Externally"
                                 << "ask"
                                 << "ask";
    }
    void userValues() {
        QFETCH(QString, name);
        QFETCH(QString, text);
        QFETCH(QString, expected);
        const QString file = path("settings-values.csv");
        writeAll(file, QStringLiteral("Setting,User Value\n\"%1\",\"%2\"\n").arg(name, text).toUtf8());
        RegistryGuard g;
        TableModel model(false);
        QVERIFY(loadTable(model, file));
        QVERIFY(applyUserSettings(model, g.settings));
        QCOMPARE(g.settings.convertValueToStringForFile(g.settings.find(name)->type), expected);
    }

    // The upgrade keeps what the user set, blanks what equals the default and drops the unknown.
    void updateSettings() {
        const QString file = path("settings-update.csv");
        // An older file: a default that has since changed, with the user value left blank,
        // a value the user set, one equal to today's default, one no longer known, and a note.
        writeAll(file, "old comment\n"
                       "Setting,Scope,Type,Default Value,User Value,My Notes\n"
                       "Minimum Number of Table Rows,Global,integer >= 1,30,,keep?\n"
                       "Text Size,Global,integer >= 1,12,16,bigger\n"
                       "Show Row Labels,Global,true|false,true,true,\n"
                       "Retired Setting,Global,true|false,true,false,\n");
        updateSettingsFile(file);
        QVERIFY(testSettingsFileValidity(file));
        QCOMPARE(userValue(file, QStringLiteral("Text Size")), QStringLiteral("16"));
        QCOMPARE(userValue(file, QStringLiteral("Minimum Number of Table Rows")), QString(""));
        QCOMPARE(userValue(file, QStringLiteral("Show Row Labels")), QString(""));
        QVERIFY(userValue(file, QStringLiteral("Retired Setting")).isNull());
        QVERIFY(!readAll(file).contains("old comment"));
        // The blank value follows today's default.
        RegistryGuard g;
        TableModel model(false);
        loadTable(model, file);
        applyUserSettings(model, g.settings);
        QCOMPARE(g.settings.getValueInt(MinTableRows), 50);
        QCOMPARE(g.settings.getValueInt(TextSize), 16);

        // A file without its header is made anew; a missing one stays missing.
        writeAll(file, "nothing,here\n");
        updateSettingsFile(file);
        QVERIFY(testSettingsFileValidity(file));
        updateSettingsFile(path("missing.csv"));
        QVERIFY(!QFile::exists(path("missing.csv")));
    }

    void writeSetting() {
        const QString file = path("settings-write.csv");
        writeAll(file, "a comment the user wrote\n"
                       "Setting,User Value\n"
                       "Text Size,\n");
        RegistryGuard g;
        g.settings.setValue(TextSize, 14);
        QVERIFY(writeSettingToFile(g.settings, TextSize, file));
        g.settings.setValue(ShowRowLabels, false);
        QVERIFY(writeSettingToFile(g.settings, ShowRowLabels, file));
        // The user's own line stays as written; only the setting's row changes.
        QCOMPARE(lines(file), (QList<QByteArray>{"a comment the user wrote", "Setting,User Value",
                                                 "Text Size,14", "Show Row Labels,false"}));
        // Back at the default, the cell is blank again.
        g.settings.setValue(TextSize, 12);
        QVERIFY(writeSettingToFile(g.settings, TextSize, file));
        QCOMPARE(lines(file).at(2), QByteArray("Text Size,"));
    }

    void shortcutTexts_data() {
        QTest::addColumn<QString>("cell");
        QTest::addColumn<QString>("defaultShortcut");
        QTest::addColumn<QString>("resolved");
        QTest::newRow("blank keeps the default") << ""
                                                 << "cmd+s"
                                                 << "cmd+s";
        QTest::newRow("none") << "(none)"
                              << "cmd+s"
                              << "";
        QTest::newRow("none any case") << " (NONE) "
                                       << "cmd+s"
                                       << "";
        QTest::newRow("two with a bar") << "alt+q|f9"
                                        << "cmd+s"
                                        << "alt+q|f9";
        QTest::newRow("unreadable") << "sdfg+++"
                                    << "cmd+s"
                                    << "cmd+s";
        QTest::newRow("new for a command without") << "cmd+shift+9"
                                                   << ""
                                                   << "cmd+shift+9";
    }
    void shortcutTexts() {
        QFETCH(QString, cell);
        QFETCH(QString, defaultShortcut);
        QFETCH(QString, resolved);
        QCOMPARE(resolveUserShortcut(cell, defaultShortcut), resolved);
    }

    void shortcutCells_data() {
        QTest::addColumn<QString>("defaultShortcut");
        QTest::addColumn<QString>("shortcut");
        QTest::addColumn<QString>("cell");
        QTest::newRow("default") << "cmd+s"
                                 << "cmd+s"
                                 << "";
        QTest::newRow("emptied") << "cmd+s"
                                 << ""
                                 << "(none)";
        QTest::newRow("changed") << "cmd+s"
                                 << "f9"
                                 << "f9";
        QTest::newRow("neither") << ""
                                 << ""
                                 << "";
    }
    void shortcutCells() {
        QFETCH(QString, defaultShortcut);
        QFETCH(QString, shortcut);
        QFETCH(QString, cell);
        QCOMPARE(userShortcutCell(defaultShortcut, shortcut), cell);
    }

    void shortcutsFile() {
        const QString file = path("shortcuts.csv");
        std::vector<ShortcutEntry> entries{
            {"Save File", "cmd+s", "cmd+s"}, {"Undo", "cmd+z", ""}, {"About", "", "f1|alt+a"}};
        QVERIFY(makeShortcutsFile(entries, file));
        const QList<QByteArray> rows = lines(file);
        QCOMPARE(rows.size(), 15);
        QCOMPARE(rows[5], QByteArray("separate them with a bar (|).,,"));
        QCOMPARE(rows[10], QByteArray(",,!!! Make changes below !!!"));
        QCOMPARE(rows[11], QByteArray("Command,Default Shortcut,User Shortcut"));
        QCOMPARE(rows[12], QByteArray("Save File,cmd+s,"));
        QCOMPARE(rows[13], QByteArray("Undo,cmd+z,(none)"));
        QCOMPARE(rows[14], QByteArray("About,(none),f1|alt+a"));
        QVERIFY(testShortcutsFileValidity(file));

        // The upgrade reads the user's texts back onto the entries and writes the file anew.
        std::vector<ShortcutEntry> fresh{
            {"About", "", ""}, {"Save File", "cmd+s", "cmd+s"}, {"Undo", "cmd+z", "cmd+z"}};
        updateShortcutsFile(fresh, file);
        QCOMPARE(fresh[0].shortcut, QStringLiteral("f1|alt+a"));
        QCOMPARE(fresh[1].shortcut, QStringLiteral("cmd+s"));
        QCOMPARE(fresh[2].shortcut, QString());
        QCOMPARE(lines(file).at(12), QByteArray("About,(none),f1|alt+a"));
    }

    void extensionsFileLayout() {
        const QString file = path("extensions.csv");
        QVERIFY(makeExtensionsFile(file));
        const QList<QByteArray> rows = lines(file);
        QCOMPARE(rows.size(), 15);
        QCOMPARE(rows[0], QByteArray("\"For a given file extension,\",--- Delimiter ---,--- Line Ending ---,"
                                     "--- Encoding ---,--- Parsing Standard ---"));
        QCOMPARE(rows[8], QByteArray(",,,,"));
        QCOMPARE(rows[9], QByteArray("Extension,Delimiter,Line Ending,Encoding,Parsing Standard"));
        QCOMPARE(rows[10], QByteArray("csv,(auto),Unix,UTF-8,RFC 4180"));
        QCOMPARE(rows[11], QByteArray("tsv,\\t,Unix,UTF-8,RFC 4180"));
        QCOMPARE(rows[14], QByteArray("psv,|,Unix,UTF-8,RFC 4180"));
        QVERIFY(testExtensionsFileValidity(file));

        TableModel model(false);
        QVERIFY(loadTable(model, file));
        std::vector<ExtensionData> table;
        QVERIFY(readUserExtensions(model, table));
        QCOMPARE(int(table.size()), 5);
        QCOMPARE(extensionOf(table, "csv").delimiter, QStringLiteral("(auto)"));
        QCOMPARE(extensionOf(table, "tab").delimiter, QStringLiteral("\t"));
    }

    // One row of a hand-edited extensions file, and the record it gives.
    void extensionRows_data() {
        QTest::addColumn<QByteArray>("row");
        QTest::addColumn<QString>("extension");
        QTest::addColumn<QString>("delimiter");
        QTest::addColumn<int>("lineEnding");
        QTest::addColumn<int>("encoding");
        QTest::addColumn<int>("standard");
        QTest::newRow("cleaned extension") << QByteArray("\".CSV \",;,Windows,UTF-8,RFC 4180") << "csv"
                                           << ";" << int(LINE_ENDING_WINDOWS) << int(UTF_8) << int(RFC_4180);
        QTest::newRow("quote means comma") << QByteArray("txt,\"\"\"\",Unix,UTF-8,All Quotes") << "txt"
                                           << "," << int(LINE_ENDING_UNIX) << int(UTF_8) << int(ALL_QUOTES);
        QTest::newRow("tab word") << QByteArray("dat,TAB,(platform),ISO 8859-1,Sparse Quotes") << "dat"
                                  << "\t" << int(LINE_ENDING_UNIX) << int(ISO_8859_1) << int(SPARSE_QUOTES);
        QTest::newRow("space") << QByteArray("spc,\\s,,,") << "spc"
                               << " " << int(LINE_ENDING_UNIX) << int(UTF_8) << int(RFC_4180);
        QTest::newRow("no delimiter")
            << QByteArray("one,(none),windows,utf-16le,delimiter only") << "one"
            << "" << int(LINE_ENDING_WINDOWS) << int(UTF_16LE) << int(DELIMITER_ONLY);
        QTest::newRow("garbage standard") << QByteArray("g,|,mystery,mystery,mystery") << "g"
                                          << "|" << int(LINE_ENDING_UNIX) << int(UTF_8) << int(RFC_4180);
    }
    void extensionRows() {
        QFETCH(QByteArray, row);
        QFETCH(QString, extension);
        QFETCH(QString, delimiter);
        QFETCH(int, lineEnding);
        QFETCH(int, encoding);
        QFETCH(int, standard);
        const QString file = path("extension-row.csv");
        writeAll(file,
                 "note\nExtension,Delimiter,Line Ending,Encoding,Parsing Standard\n" + row + "\n,,,,\n");
        TableModel model(false);
        QVERIFY(loadTable(model, file));
        std::vector<ExtensionData> table;
        QVERIFY(readUserExtensions(model, table));
        // The row, then the fallback rows the file lacks.
        QCOMPARE(table.front().extension, extension);
        QCOMPARE(table.front().delimiter, delimiter);
        QCOMPARE(int(table.front().lineEnding), lineEnding);
        QCOMPARE(int(table.front().encoding), encoding);
        QCOMPARE(int(table.front().parsingStandard), standard);
    }

    void extensionFallbackRows() {
        const QString file = path("extension-fallback.csv");
        writeAll(file, "Parsing Standard,Extension,Encoding,Delimiter,Line Ending\n"
                       "RFC 4180,psv,UTF-8,|,Unix\n");
        TableModel model(false);
        QVERIFY(loadTable(model, file));
        std::vector<ExtensionData> table;
        QVERIFY(readUserExtensions(model, table));
        QCOMPARE(int(table.size()), 3);
        QCOMPARE(table[0].extension, QStringLiteral("psv"));
        QCOMPARE(table[0].delimiter, QStringLiteral("|"));
        QCOMPARE(table[1].extension, QStringLiteral("csv"));
        QCOMPARE(table[1].delimiter, QStringLiteral(","));
        QCOMPARE(table[2].extension, QStringLiteral("tsv"));
        QCOMPARE(table[2].delimiter, QStringLiteral("\t"));

        // Four of the five names are not a header: the table stays as it was.
        writeAll(file, "Extension,Delimiter,Line Ending,Encoding\ncsv,;,Unix,UTF-8\n");
        TableModel partial(false);
        QVERIFY(loadTable(partial, file));
        QVERIFY(!readUserExtensions(partial, table));
        QVERIFY(!testExtensionsFileValidity(file));
    }

    // The earlier six-column layout is rewritten in today's; today's is never touched.
    void updateExtensions() {
        const QString file = path("extensions-update.csv");
        writeAll(file, "Extension,Delimiter,Delimiter (Save),Line Ending,Encoding,Parsing Standard\n"
                       " CSV ,;,;,Windows,UTF-8,RFC 4180\n"
                       ",skipped,,,,\n"
                       "bad,toolong,,nonsense,nonsense,nonsense\n");
        updateExtensionsFile(file);
        QList<QByteArray> rows = lines(file);
        QCOMPARE(rows.size(), 12);
        QCOMPARE(rows[9], QByteArray("Extension,Delimiter,Line Ending,Encoding,Parsing Standard"));
        QCOMPARE(rows[10], QByteArray("csv,;,Windows,UTF-8,RFC 4180"));
        QCOMPARE(rows[11], QByteArray("bad,\",\",Unix,UTF-8,RFC 4180"));

        const QByteArray current = readAll(file);
        updateExtensionsFile(file);
        QCOMPARE(readAll(file), current);
    }

    void delimiterTexts_data() {
        QTest::addColumn<QString>("delimiter");
        QTest::addColumn<QString>("text");
        QTest::newRow("tab") << "\t"
                             << "tab";
        QTest::newRow("escaped tab") << "\\t"
                                     << "tab";
        QTest::newRow("space") << " "
                               << "space";
        QTest::newRow("quote") << "\""
                               << ",";
        QTest::newRow("unit separator") << "\x1f"
                                        << "unit separator";
        QTest::newRow("plain") << ";"
                               << ";";
    }
    void delimiterTexts() {
        QFETCH(QString, delimiter);
        QFETCH(QString, text);
        QCOMPARE(convertDelimiterToUserString(delimiter), text);
    }

    // --- Themes ---------------------------------------------------------------------------------

    void builtInThemes_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("name");
        QTest::newRow("dark") << "dark"
                              << "Dark";
        QTest::newRow("light padded") << "  LIGHT "
                                      << "Light";
        QTest::newRow("dracula") << "Dracula"
                                 << "Dracula";
        QTest::newRow("solarized dark") << "solarized dark"
                                        << "Solarized Dark";
        QTest::newRow("solarized light") << "Solarized Light"
                                         << "Solarized Light";
        QTest::newRow("unknown") << "neon"
                                 << "Dark";
        QTest::newRow("empty") << ""
                               << "Dark";
    }
    void builtInThemes() {
        QFETCH(QString, text);
        QFETCH(QString, name);
        const Theme theme = Theme::convertStringToTheme(text);
        QCOMPARE(theme.name, name);
        // Text must stand out from what it is written on.
        const auto contrast = [](const QColor& a, const QColor& b) {
            const auto luminance = [](const QColor& c) {
                const auto channel = [](double v) {
                    return v <= 0.03928 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
                };
                return 0.2126 * channel(c.redF()) + 0.7152 * channel(c.greenF()) +
                       0.0722 * channel(c.blueF());
            };
            const double l1 = luminance(a);
            const double l2 = luminance(b);
            return (std::max(l1, l2) + 0.05) / (std::min(l1, l2) + 0.05);
        };
        QVERIFY2(contrast(theme.TextColor, theme.CellColor) >= 7.0, qPrintable(name));
        QVERIFY2(contrast(theme.TextColor, theme.SelectedCellColor) >= 4.5, qPrintable(name));
        QVERIFY2(contrast(theme.TextColor, theme.SelectedItemColor) >= 3.0, qPrintable(name));
        QVERIFY2(contrast(theme.StaticTextColor, theme.HeaderColor) >= 4.5, qPrintable(name));
        QVERIFY2(contrast(theme.TextColor, theme.Background2Color) >= 7.0, qPrintable(name));
        QVERIFY(theme.getStyleSheet().contains(theme.Background1Color.name()));
    }

    void themeFiles() {
        Theme::clearThemeFileList();
        std::map<QString, std::vector<QString>> roles{
            {"Background1Color", {"ffffff", ""}},         {"CellColor", {"204060", "150"}},
            {"TextColor", {"#804020", "-200"}},           {"HeaderColor", {"gray", "x"}},
            {"SelectedCellColor", {"not a colour", "0"}}, {"LauncherBackgroundAlpha", {"200", "5"}},
        };
        Theme::addOrReplaceTheme("Mine", roles);
        QCOMPARE(Theme::getNamesList().last(), QStringLiteral("Mine"));
        const Theme theme = Theme::convertStringToTheme(" mine ");
        QCOMPARE(theme.name, QStringLiteral("Mine"));
        QCOMPARE(theme.CellColor, QColor(0x20, 0x40, 0x60).lighter(150));
        QCOMPARE(theme.TextColor, QColor(0x80, 0x40, 0x20).darker(200));
        QCOMPARE(theme.HeaderColor, QColor(Qt::gray));
        QCOMPARE(theme.LauncherBackgroundAlpha, 200);
        QCOMPARE(theme.mixFactor, 0.15f);
        // What the file spoils or leaves out comes from the built-in theme of its brightness.
        QCOMPARE(theme.SelectedCellColor, Theme::lightTheme().SelectedCellColor);
        QCOMPARE(theme.HighlightedLineColor, Theme::lightTheme().HighlightedLineColor);

        // A file of the same name replaces the first; refresh follows it.
        roles["CellColor"] = {"#010203", ""};
        Theme::addOrReplaceTheme("Mine", roles);
        QCOMPARE(Theme::getNamesList().count(QStringLiteral("Mine")), 1);
        Theme refreshed = theme;
        refreshed.refresh();
        QCOMPARE(refreshed.CellColor, QColor(1, 2, 3));
        Theme::clearThemeFileList();
        QCOMPARE(Theme::convertStringToTheme("mine").name, QStringLiteral("Dark"));
    }
};

QTEST_GUILESS_MAIN(TestPreferenceFiles)
#include "tst_preferencefiles.moc"
