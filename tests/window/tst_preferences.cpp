#include "window/mainwindow.h"

#include "preferences/preferencefiles.h"
#include "preferences/theme.h"
#include "table/tablemodel.h"
#include "util/appdatautilities.h"
#include "util/msgbox.h"
#include "util/msgboxanswers.h"
#include "view/tableview.h"
#include "window/fileextensionswidget.h"
#include "window/launcher.h"
#include "window/preferenceswindow.h"
#include "window/settingswidget.h"
#include "window/shortcutpreferences.h"
#include "window/shortcutswidget.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QSpinBox>
#include <QStandardPaths>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

namespace {

void writeFile(const QString& path, const QByteArray& content) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(content);
}

QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

const Command& command(const MainWindow& window, const QString& name) {
    const Command* found = window.getCommands().findByName(name);
    if (!found)
        qFatal("no command %s", qPrintable(name));
    return *found;
}

QList<QKeySequence> keys(const char* text) {
    QList<QKeySequence> out;
    for (const QByteArray& part : QByteArray(text).split('|'))
        out.append(QKeySequence::fromString(QString::fromLatin1(part)));
    return out;
}

// The model row whose first cell is `key`, below the header.
int rowOf(const TableModel* model, const QString& key) {
    for (int row = 0; row < model->rowCountModel(); ++row) {
        if (model->getTableData().getValueModel(row, 0).toString() == key)
            return row;
    }
    return -1;
}

std::unique_ptr<MainWindow> makeWindow() {
    auto window = std::make_unique<MainWindow>();
    window->setAttribute(Qt::WA_DeleteOnClose, false);
    return window;
}

} // namespace

class TestPreferences : public QObject {
    Q_OBJECT

private:
    QTemporaryDir home;
    std::unique_ptr<QTemporaryDir> dir;

    QString table(const char* name, const QByteArray& content) const {
        const QString path = dir->filePath(QString::fromLatin1(name));
        writeFile(path, content);
        return path;
    }

private slots:
    void initTestCase() {
        // Each start of this test has a data folder of its own.
        QVERIFY(home.isValid());
        qputenv("HOME", home.path().toLocal8Bit());
        QStandardPaths::setTestModeEnabled(true);
        TableView::autoFitWarningHook = [](const QString&, bool&) { return false; };
    }

    void init() {
        dir = std::make_unique<QTemporaryDir>();
        QVERIFY(dir->isValid());
        QDir(Utilities::getAppDataLocation()).removeRecursively();
        bool existed[3];
        PreferenceFiles::setUpPreferenceFiles(existed);
        QCOMPARE(existed[0] || existed[1] || existed[2], false);
    }

    // The files made at start are read back as the defaults.
    void defaultsRoundTrip() {
        auto window = makeWindow();
        QCOMPARE(command(*window, "Select Entire Table").action->shortcuts(), keys("ctrl+a"));
        QCOMPARE(command(*window, "Undo").shortcut, QStringLiteral("cmd+z"));
        QCOMPARE(window->getSettings().getValueInt(TextSize), 12);
        QCOMPARE(window->getExtensionDataFromFileExtension("csv").delimiter, QStringLiteral("(auto)"));
        QCOMPARE(window->getExtensionDataFromFileExtension("tsv").delimiter, QStringLiteral("\t"));
        bool existed[3];
        PreferenceFiles::setUpPreferenceFiles(existed);
        QVERIFY(existed[0] && existed[1] && existed[2]);
    }

    // Keys, the launcher's text and "(none)" follow the file; bad text keeps the default.
    void userShortcuts() {
        writeFile(Utilities::getShortcutsFilepath(), "my own notes\n"
                                                     "User Shortcut,Command\n"
                                                     "alt+shift+q|f9,Select Entire Table\n"
                                                     "(none),Undo\n"
                                                     "nonsense+++,Redo\n"
                                                     "ctrl+f12,About\n");
        auto window = makeWindow();
        QCOMPARE(command(*window, "Select Entire Table").action->shortcuts(), keys("alt+shift+q|f9"));
        QCOMPARE(command(*window, "Select Entire Table").shortcut, QStringLiteral("alt+shift+q|f9"));
        QVERIFY(command(*window, "Undo").action->shortcuts().isEmpty());
        QCOMPARE(command(*window, "Redo").action->shortcuts(), keys("ctrl+y"));
        // "ctrl" is the physical Control key, which Qt names Meta.
        QCOMPARE(command(*window, "About").action->shortcuts(), keys("meta+f12"));

        // The file emptied: every command is back at its default.
        writeFile(Utilities::getShortcutsFilepath(), "Command,User Shortcut\n");
        window->loadCommandsFromFile();
        QCOMPARE(command(*window, "Select Entire Table").action->shortcuts(), keys("ctrl+a"));
        QCOMPARE(command(*window, "Undo").action->shortcuts(), keys("ctrl+z"));
    }

    // Changed and saved in its own tab, a shortcut works at once and the old key no longer does.
    void shortcutEditedInItsTab() {
        MsgBoxAnswers answers;
        auto window = makeWindow();
        window->openFile(table("data.csv", "a,b\n1,2\n3,4\n"));
        TableView* data = window->getActiveTable();
        window->show();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));

        QVERIFY(window->commandEditKeyboardShortcuts());
        TableView* shortcuts = window->getActiveTable();
        QVERIFY(shortcuts != data);
        TableModel* model = shortcuts->tableModel();
        const int row = rowOf(model, QStringLiteral("Select Entire Table"));
        QVERIFY(row > 11);
        QVERIFY(model->setData(model->index(row, 2), QStringLiteral("alt+shift+q")));
        QVERIFY(window->commandSaveFile());

        window->setActiveTable(data);
        data->setFocus();
        data->moveSelectionAbsolute(1, 1);
        QTest::keyClick(data, Qt::Key_A, Qt::ControlModifier);
        QCOMPARE(data->tableModel()->getSelectionSize().numCells, 1);
        QTest::keyClick(data, Qt::Key_Q, Qt::AltModifier | Qt::ShiftModifier);
        QVERIFY(data->tableModel()->getSelectionSize().numCells > 1);
        QCOMPARE(command(*window, "Select Entire Table").shortcut, QStringLiteral("alt+shift+q"));
        QVERIFY(
            readFile(Utilities::getShortcutsFilepath()).contains("Select Entire Table,cmd+a,alt+shift+q"));
    }

    // A default table setting saved from its tab applies to files opened afterwards.
    void tableSettingForNewFiles() {
        MsgBoxAnswers answers;
        auto window = makeWindow();
        QVERIFY(window->commandEditSettings());
        TableModel* model = window->getActiveTable()->tableModel();
        const int row = rowOf(model, QStringLiteral("Number of Header Rows"));
        QVERIFY(row > 7);
        QVERIFY(model->setData(model->index(row, 4), QStringLiteral("2")));
        QVERIFY(
            model->setData(model->index(rowOf(model, QStringLiteral("Text Size")), 4), QStringLiteral("15")));
        QVERIFY(window->commandSaveFile());
        QCOMPARE(window->getSettings().getValueInt(HeaderRows), 2);
        QCOMPARE(window->getSettings().getValueInt(TextSize), 15);

        window->openFile(table("later.csv", "h1,h2\nh3,h4\n1,2\n"));
        QCOMPARE(window->getActiveTable()->getNumHeaderRows(), 2);
    }

    // A new default from the settings file reaches open tables for global settings only: their
    // own table settings stay.
    void openTablesKeepTheirSettings() {
        MsgBoxAnswers answers;
        auto window = makeWindow();
        window->openFile(table("open.csv", "a,b\n1,2\n3,4\n5,6\n"));
        TableView* view = window->getActiveTable();
        view->applyVisibleHeaderRows(3, false, true);
        writeFile(Utilities::getSettingsFilepath(), "Setting,User Value\n"
                                                    "Text Size,16\n"
                                                    "Number of Header Rows,2\n");
        window->onPreferenceChanged(Utilities::getSettingsFilepath());
        QCOMPARE(window->getSettings().getValueInt(TextSize), 16);
        QCOMPARE(window->getSettings().getValueInt(HeaderRows), 2);
        QCOMPARE(view->getNumHeaderRows(), 3);
        Settings seen = view->getSettings(true);
        QCOMPARE(seen.getValueInt(TextSize), 16);
        seen.clear();
        window->openFile(table("next.csv", "a,b\n1,2\n3,4\n"));
        QCOMPARE(window->getActiveTable()->getNumHeaderRows(), 2);
    }

    // A switch of the whole program flipped in a menu is remembered in the settings file; one of
    // a table is not.
    void togglesAreRemembered() {
        MsgBoxAnswers answers;
        auto window = makeWindow();
        window->openFile(table("toggle.csv", "a,b\n1,2\n"));
        command(*window, "Toggle Show Row Labels").action->trigger();
        QVERIFY(readFile(Utilities::getSettingsFilepath())
                    .contains("Show Row Labels,Global,true|false,true,false"));
        command(*window, "Toggle Auto-Fit Column Width").action->trigger();
        QVERIFY(readFile(Utilities::getSettingsFilepath())
                    .contains("Auto-Fit Column Width,Table,true|false,true,\n"));
        // Back at the default, the value is blank again, and the next window starts with it.
        command(*window, "Toggle Show Row Labels").action->trigger();
        QVERIFY(
            readFile(Utilities::getSettingsFilepath()).contains("Show Row Labels,Global,true|false,true,\n"));
        command(*window, "Toggle Show Row Labels").action->trigger();
        auto next = makeWindow();
        QCOMPARE(next->getSettings().getValueBool(ShowRowLabels), false);
    }

    // A number setting of the whole program typed into its prompt is remembered too; one set for
    // a table alone is not.
    void numberSettingsAreRemembered() {
        MsgBoxAnswers answers;
        auto window = makeWindow();
        window->openFile(table("numbers.csv", "a,b\n1,2\n"));
        const auto answer = [&window](const QString& commandName, const QString& text) {
            command(*window, commandName).action->trigger();
            Launcher* launcher = window->getLauncher();
            QVERIFY2(launcher, qPrintable(commandName));
            launcher->getPromptEditor()->setText(text);
            QTest::keyClick(launcher->getPromptEditor(), Qt::Key_Return);
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        };
        answer(QStringLiteral("Set Minimum File Size for Read-Only Mode Query (MB)"), QStringLiteral("2"));
        answer(QStringLiteral("Set Default Row Height"), QStringLiteral("31"));
        answer(QStringLiteral("Set Maximum Row Height for Auto-Fit"), QStringLiteral("77"));
        auto next = makeWindow();
        QCOMPARE(next->getSettings().getValueInt(MinFileSizeReadOnlyQuery), 2);
        QCOMPARE(next->getSettings().getValueInt(DefaultRowHeight), 31);
        QVERIFY(next->getSettings().getValueInt(MaxAutoFitRowHeight) != 77);
    }

    // The extension table follows its file: a new extension opens with its delimiter.
    void extensionsFromTheirTab() {
        MsgBoxAnswers answers;
        auto window = makeWindow();
        QVERIFY(window->commandEditFileExtensionOptions());
        TableModel* model = window->getActiveTable()->tableModel();
        const int row = rowOf(model, QStringLiteral("psv")) + 1;
        QVERIFY(row > 10);
        const QStringList cells{".DAT ", ";", "Windows", "UTF-8", "RFC 4180"};
        for (int col = 0; col < cells.size(); ++col)
            QVERIFY(model->setData(model->index(row, col), cells.at(col)));
        QVERIFY(window->commandSaveFile());
        const ExtensionData dat = window->getExtensionDataFromFileExtension("dat");
        QCOMPARE(dat.delimiter, QStringLiteral(";"));
        QCOMPARE(dat.lineEnding, LINE_ENDING_WINDOWS);

        window->openFile(table("x.dat", "a;b;c\n1;2;3\n"));
        QCOMPARE(window->getActiveTable()->tableModel()->columnCountRaw(), 3);
    }

    // Garbage in every file: the window starts with the defaults, and start-up makes them anew.
    void garbageFiles() {
        for (const QString& path : {Utilities::getSettingsFilepath(), Utilities::getShortcutsFilepath(),
                                    Utilities::getExtensionsFilepath()})
            writeFile(path, QByteArray("\"\x01,\n\xff\xfe\",,\"\n", 12));
        {
            auto window = makeWindow();
            QCOMPARE(command(*window, "Undo").action->shortcuts(), keys("ctrl+z"));
            QCOMPARE(window->getSettings().getValueInt(TextSize), 12);
            QCOMPARE(window->getExtensionDataFromFileExtension("psv").delimiter, QStringLiteral("|"));
        }
        bool existed[3];
        PreferenceFiles::setUpPreferenceFiles(existed);
        QVERIFY(!existed[0] && !existed[1] && !existed[2]);
        QVERIFY(PreferenceFiles::testSettingsFileValidity());
        QVERIFY(PreferenceFiles::testShortcutsFileValidity());
        QVERIFY(PreferenceFiles::testExtensionsFileValidity());
    }

    // Set Theme asks among the theme names, applies the choice and remembers it in the file.
    void setTheme() {
        writeFile(Utilities::getThemesFolderpath() + QStringLiteral("/Ocean.csv"),
                  "Background1Color,003355,\nTextColor,ffffff,\nCellColor,002244,150\n");
        auto window = makeWindow();
        window->openFile(table("t.csv", "a\n"));
        QVERIFY(window->commandSetTheme());
        Launcher* launcher = window->getLauncher();
        QVERIFY(launcher);
        launcher->getPromptEditor()->setText(QStringLiteral("ocean"));
        QTest::keyClick(launcher->getPromptEditor(), Qt::Key_Return);
        QCOMPARE(window->getSettings().getTheme().name, QStringLiteral("Ocean"));
        QCOMPARE(window->getSettings().getTheme().CellColor, QColor(0x00, 0x22, 0x44).lighter(150));
        QVERIFY(readFile(Utilities::getSettingsFilepath()).contains("Theme,Global,theme,Dark,Ocean"));

        // Read back at the next start.
        auto next = makeWindow();
        QCOMPARE(next->getSettings().getTheme().name, QStringLiteral("Ocean"));
    }

    // Every value widget gives back the value it was shown, defaults and changed values alike,
    // so that applying an untouched tab changes nothing.
    void settingWidgetsRoundTrip() {
        Settings settings;
        settings.setValue(FontFamily, QStringLiteral("No Such Font Here"));
        settings.setValue(RefreshBehaviorOption, int(RefreshBehaviorIgnore));
        settings.setValue(UuidTypeOption, int(UuidV7));
        settings.setValue(FirstRowIndex, -3);
        settings.setTheme(Theme::solarizedDark());
        QWidget parent;
        for (const Setting* s : settings.getSettings()) {
            if (!s->userEditable)
                continue;
            QWidget* widget = SettingsWidget::makeUserValueWidget(s, &parent);
            const QString text = settings.convertValueToStringForFile(s->type);
            SettingsWidget::setUserValueText(s, widget, text);
            QCOMPARE(SettingsWidget::userValueText(s, widget).toLower(), text.toLower());
        }
        settings.clear();
    }

    // What the preferences window applies is what the files then say and the window then does.
    void preferencesWindowApplies() {
        MsgBoxAnswers answers;
        auto window = makeWindow();
        QVERIFY(window->commandPreferences());
        PreferencesWindow* prefs = window->getPreferencesWindow();
        QVERIFY(prefs);
        QVERIFY(!prefs->isDirty());

        auto* size = qobject_cast<QSpinBox*>(prefs->getSettingsWidget()->valueWidget("Text Size"));
        QVERIFY(size);
        size->setValue(18);
        QLineEdit* undo = prefs->getShortcutsWidget()->shortcutEdit("Undo");
        undo->selectAll();
        QTest::keyClicks(undo, "alt+shift+u | f8");
        FileExtensionsWidget* extensions = prefs->getFileExtensionsWidget();
        const int last = extensions->rowCount() - 1;
        extensions->combo(last, FileExtensionsWidget::ExtensionCol)->setEditText("txt");
        extensions->combo(last, FileExtensionsWidget::DelimiterCol)->setEditText(";");
        QCOMPARE(extensions->rowCount(), last + 2); // a new empty row follows
        QVERIFY(prefs->isDirty());

        QVERIFY(prefs->apply(false));
        QVERIFY(!prefs->isDirty());
        QCOMPARE(window->getSettings().getValueInt(TextSize), 18);
        QCOMPARE(command(*window, "Undo").action->shortcuts(), keys("alt+shift+u|f8"));
        QCOMPARE(window->getExtensionDataFromFileExtension("txt").delimiter, QStringLiteral(";"));
        QVERIFY(readFile(Utilities::getSettingsFilepath()).contains("Text Size,Global,integer >= 1,12,18"));
        QVERIFY(readFile(Utilities::getShortcutsFilepath()).contains("Undo,cmd+z,alt+shift+u | f8"));
        QVERIFY(readFile(Utilities::getExtensionsFilepath()).contains("txt,;,(platform),UTF-8,RFC 4180"));
        // The file keeps its notes and its own rows.
        QVERIFY(readFile(Utilities::getExtensionsFilepath()).contains("psv,|,Unix,UTF-8,RFC 4180"));
        QVERIFY(readFile(Utilities::getExtensionsFilepath()).contains("--- Delimiter ---"));
    }

    // A shortcut on two commands is asked about: fixing keeps the tab unwritten and dirty.
    void redundantShortcuts_data() {
        QTest::addColumn<int>("answer");
        QTest::addColumn<bool>("written");
        QTest::newRow("fix") << 0 << false;
        QTest::newRow("apply") << 1 << true;
    }
    void redundantShortcuts() {
        QFETCH(int, answer);
        QFETCH(bool, written);
        MsgBoxAnswers answers;
        answers.queue = {answer};
        auto window = makeWindow();
        window->commandPreferences();
        PreferencesWindow* prefs = window->getPreferencesWindow();
        QLineEdit* redo = prefs->getShortcutsWidget()->shortcutEdit("Redo");
        redo->selectAll();
        QTest::keyClicks(redo, "CMD+Z");
        const QByteArray before = readFile(Utilities::getShortcutsFilepath());
        QCOMPARE(prefs->apply(false), written);
        QCOMPARE(answers.asked.size(), 1);
        QVERIFY(answers.asked[0].text.contains("<b>cmd+z</b>:<br>Redo<br>Undo"));
        QCOMPARE(answers.asked[0].buttons[1].text, QStringLiteral("&Apply"));
        QCOMPARE(readFile(Utilities::getShortcutsFilepath()) != before, written);
        QCOMPARE(prefs->isDirty(), !written);
    }

    void preferencesSearchAndCancel() {
        MsgBoxAnswers answers;
        auto window = makeWindow();
        window->commandPreferences();
        QPointer<PreferencesWindow> prefs = window->getPreferencesWindow();
        SettingsWidget* settingsTab = prefs->getSettingsWidget();
        settingsTab->getSearchEdit()->setText("row");
        int shown = 0;
        for (QTableWidget* table : settingsTab->findChildren<QTableWidget*>()) {
            for (int row = 0; row < table->rowCount(); ++row) {
                if (!table->isRowHidden(row)) {
                    ++shown;
                    QVERIFY(table->item(row, 0)->text().contains("row", Qt::CaseInsensitive));
                }
            }
        }
        QVERIFY(shown >= 3);
        // Restore and cancel: nothing is written.
        const QByteArray before = readFile(Utilities::getSettingsFilepath());
        qobject_cast<QSpinBox*>(settingsTab->valueWidget("Text Size"))->setValue(30);
        settingsTab->restoreDefaults();
        QCOMPARE(qobject_cast<QSpinBox*>(settingsTab->valueWidget("Text Size"))->value(), 12);
        prefs->close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!prefs);
        QCOMPARE(readFile(Utilities::getSettingsFilepath()), before);
    }
    // Under every theme's padding and font, a button given a fixed width still shows its whole
    // label (the large-file question's buttons were cut at both ends).
    void themedButtonsShowWholeLabels_data() {
        QTest::addColumn<QString>("theme");
        QTest::newRow("dark") << "dark";
        QTest::newRow("solarized light") << "solarized light";
    }
    void themedButtonsShowWholeLabels() {
        QFETCH(QString, theme);
        const Theme chosen = theme == "dark" ? Theme::darkTheme() : Theme::solarizedLight();
        const QString sheetBefore = qApp->styleSheet();
        qApp->setStyleSheet(chosen.getStyleSheet());
        QStringList clipped;
        int seen = 0;
        QTimer::singleShot(0, [&] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (!box)
                return;
            for (QAbstractButton* button : box->buttons()) {
                ++seen;
                QString label = button->text();
                label.remove('&');
                const int text = button->fontMetrics().horizontalAdvance(label);
                if (button->width() < text + 20)
                    clipped
                        << QString("%1: %2 px for %3 px of text").arg(label).arg(button->width()).arg(text);
            }
            box->reject();
        });
        MsgBox::ask(nullptr, "This file is large (100 MB).",
                    {{"Open as &Read-Only", QMessageBox::AcceptRole, 130},
                     {"Open in &Edit Mode", QMessageBox::AcceptRole, 130},
                     {"&Cancel", QMessageBox::DestructiveRole}},
                    0);
        qApp->setStyleSheet(sheetBefore);
        QCOMPARE(seen, 3);
        QVERIFY2(clipped.isEmpty(), qPrintable(clipped.join("; ")));
    }
};

QTEST_MAIN(TestPreferences)
#include "tst_preferences.moc"
