// The side bar and the file metadata pane on a real window: the open files' list following the
// tables, the folder tree, the commands and toggles, and what the metadata pane says.

#include "panes/filemetadatawidget.h"
#include "panes/foldertreemodel.h"
#include "panes/sidebar.h"
#include "util/fileparameterutilities.h"
#include "window/filedialoghelper.h"
#include "window/launcher.h"
#include "window/paneview.h"

#include "../util/msgboxanswers.h"
#include "../window/windowtesthelpers.h"

#include <QDir>
#include <QFileInfo>
#include <QLineEdit>
#include <QListWidget>
#include <QMimeData>
#include <QPushButton>
#include <QSplitter>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <QTreeView>

#include <memory>

namespace {

using Field = FileMetadataWidget::Field;

QStringList listTexts(const SideBar* bar) {
    QStringList texts;
    for (int row = 0; row < bar->getNumOpenFiles(); ++row)
        texts.append(bar->openFileText(row));
    return texts;
}

QStringList childNames(const FolderTreeModel* model, const QModelIndex& parent) {
    QStringList names;
    for (int row = 0; row < model->rowCount(parent); ++row)
        names.append(model->index(row, 0, parent).data().toString());
    return names;
}

bool writeFile(const QString& path, const QByteArray& content) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

} // namespace

class TestSideBar : public QObject {
    Q_OBJECT

private:
    QTemporaryDir home;
    std::unique_ptr<QTemporaryDir> dir;

    QString path(const QString& name) const { return dir->filePath(name); }

    std::unique_ptr<MainWindow> shownWindow() {
        auto window = std::make_unique<MainWindow>();
        window->resize(1200, 700);
        window->show();
        window->propagateSettings();
        return window;
    }

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        QVERIFY(home.isValid());
        qputenv("HOME", home.path().toLocal8Bit());
    }

    void init() {
        dir = std::make_unique<QTemporaryDir>();
        QVERIFY(dir->isValid());
    }

    void cleanup() {
        FileDialogHelper::existingDirectoryHook = nullptr;
        FileDialogHelper::saveFileNameHook = nullptr;
    }

    // The list holds the tables in tab order, marks unsaved changes and follows every change of
    // name, whichever way it comes.
    void openFilesFollowTheTables() {
        auto window = shownWindow();
        SideBar* bar = window->getSideBar();
        QCOMPARE(listTexts(bar), QStringList{"untitled"});
        QVERIFY(openWritten(*window, path("a.csv"), "1,2\n3,4\n"));
        QVERIFY(openWritten(*window, path("b.csv"), "x\n"));
        // The empty table gave way to the first file; the active table is the one selected.
        QCOMPARE(listTexts(bar), (QStringList{"a.csv", "b.csv"}));
        QCOMPARE(bar->selectedRow(), 1);
        QCOMPARE(bar->getOpenFilesList()->item(0)->toolTip(), QDir::toNativeSeparators(path("a.csv")));

        window->setActiveTable(bar->tableAt(0));
        QCOMPARE(bar->selectedRow(), 0);
        TableView* a = window->getActiveTable();
        a->tableModel()->setData(a->tableModel()->index(0, 0), QStringLiteral("9"), Qt::EditRole);
        QCOMPARE(listTexts(bar), (QStringList{"a.csv *", "b.csv"}));
        QVERIFY(runCommand(*window, QStringLiteral("Save File")));
        QCOMPARE(listTexts(bar), (QStringList{"a.csv", "b.csv"}));

        QVERIFY(window->renameFile(path("a.csv"), path("renamed.csv")));
        QCOMPARE(listTexts(bar), (QStringList{"renamed.csv", "b.csv"}));
        QCOMPARE(bar->getOpenFilesList()->item(0)->toolTip(), QDir::toNativeSeparators(path("renamed.csv")));
        QDir().mkpath(path("moved"));
        QVERIFY(window->moveFile(path("b.csv"), path("moved")));
        QCOMPARE(bar->getOpenFilesList()->item(1)->toolTip(), QDir::toNativeSeparators(path("moved/b.csv")));

        FileDialogHelper::saveFileNameHook = [this](const QString&, const QString&, const QString&) {
            return path("saved as.tsv");
        };
        QVERIFY(runCommand(*window, QStringLiteral("Save File As")));
        QCOMPARE(listTexts(bar), (QStringList{"saved as.tsv", "b.csv"}));

        QVERIFY(window->closeFile(window->getActiveTable()));
        QCOMPARE(listTexts(bar), QStringList{"b.csv"});
        QCOMPARE(bar->selectedRow(), 0);
        QVERIFY(runCommand(*window, QStringLiteral("Close File")));
        // A pane always holds a table, and so does the list.
        QCOMPARE(listTexts(bar), QStringList{"untitled"});
        QCOMPARE(bar->tableAt(0), window->getActiveTable());
    }

    // A click on a file makes its table the active one; a right click too, before its menu.
    void clickActivates() {
        auto window = shownWindow();
        openWritten(*window, path("a.csv"), "1\n");
        openWritten(*window, path("b.csv"), "2\n");
        QListWidget* list = window->getSideBar()->getOpenFilesList();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
        const QRect first = list->visualItemRect(list->item(0));
        QVERIFY(first.isValid());
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, first.center());
        QCOMPARE(window->getActiveFilepath(), path("a.csv"));
        QCOMPARE(window->windowTitle(), QStringLiteral("a.csv - Orvane"));
        // The file commands of the list act on the active table, as the tab bar's do.
        QStringList names;
        for (QAction* action : window->getSideBar()->getContextMenuActions()) {
            if (action)
                names.append(action->text().remove(QLatin1Char('&')));
        }
        QVERIFY(names.contains(QStringLiteral("Close File")));
        QVERIFY(names.contains(QStringLiteral("Rename File")));
    }

    // Folders come from the command, from drops and from openFolder; each once. "Close Folder"
    // can run only while one is open.
    void openAndCloseFolders() {
        QVERIFY(QDir().mkpath(path("one")));
        QVERIFY(QDir().mkpath(path("two")));
        auto window = shownWindow();
        SideBar* bar = window->getSideBar();
        QVERIFY(!window->getContext().intersects(ContextFoldersOpen));
        QVERIFY(!runCommand(*window, QStringLiteral("Close Folder")));

        QString askedStart;
        FileDialogHelper::existingDirectoryHook = [&](const QString& title, const QString& start) {
            askedStart = start;
            return title == QLatin1String("Open Folder") ? path("one") : QString();
        };
        QVERIFY(runCommand(*window, QStringLiteral("Open Folder")));
        QCOMPARE(bar->getFolders(), QStringList{path("one")});
        QVERIFY(window->getContext().intersects(ContextFoldersOpen));
        QVERIFY(window->getCommands().findByName(QStringLiteral("Close Folder"))->action->isEnabled());

        auto* mime = new QMimeData;
        mime->setUrls({QUrl::fromLocalFile(path("two")), QUrl::fromLocalFile(path("one"))});
        QDropEvent drop(QPointF(5, 5), Qt::CopyAction, mime, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(window.get(), &drop);
        delete mime;
        window->openFolder(path("two") + "/");
        window->openFolder(path("missing"));
        QCOMPARE(bar->getFolders(), (QStringList{path("one"), path("two")}));
        QCOMPARE(window->makeConfigData().sidebarFolderpathList, bar->getFolders());

        // The folder picked in the tree closes; with none picked, the one opened last.
        bar->getFolderView()->setCurrentIndex(bar->getFolderModel()->index(0, 0));
        QVERIFY(runCommand(*window, QStringLiteral("Close Folder")));
        QCOMPARE(bar->getFolders(), QStringList{path("two")});
        bar->getFolderView()->setCurrentIndex(QModelIndex());
        QVERIFY(runCommand(*window, QStringLiteral("Close Folder")));
        QVERIFY(bar->getFolders().isEmpty());
        QVERIFY(window->makeConfigData().sidebarFolderpathList.isEmpty());
        QVERIFY(!window->getContext().intersects(ContextFoldersOpen));
        QVERIFY(!window->getCommands().findByName(QStringLiteral("Close Folder"))->action->isEnabled());

        // A cancelled dialog opens nothing.
        FileDialogHelper::existingDirectoryHook = [](const QString&, const QString&) { return QString(); };
        QVERIFY(!window->commandOpenFolder());
        QVERIFY(bar->getFolders().isEmpty());
    }

    // A folder is listed when it is expanded: folders first, names in reading order, hidden
    // entries left out, files the program doesn't read dimmed. It follows the disk from then on.
    void folderTreeListsAndFollowsTheDisk() {
        QVERIFY(QDir().mkpath(path("top/sub")));
        QVERIFY(writeFile(path("top/file10.csv"), "a\n"));
        QVERIFY(writeFile(path("top/file2.csv"), "b\n"));
        QVERIFY(writeFile(path("top/Notes.png"), "png"));
        QVERIFY(writeFile(path("top/.hidden.csv"), "h\n"));
        auto window = shownWindow();
        window->openFolder(path("top"));
        FolderTreeModel* model = window->getSideBar()->getFolderModel();
        const QModelIndex top = model->index(0, 0);
        QCOMPARE(top.data().toString(), QStringLiteral("top"));
        // Opening a folder shows its first level.
        QCOMPARE(childNames(model, top), (QStringList{"sub", "file2.csv", "file10.csv", "Notes.png"}));
        const QModelIndex sub = model->index(0, 0, top);
        QVERIFY(model->hasChildren(sub));
        QCOMPARE(model->rowCount(sub), 0);
        QVERIFY(model->canFetchMore(sub));
        model->fetchMore(sub);
        QVERIFY(!model->hasChildren(sub)); // empty, so the arrow goes
        QVERIFY(model->isOpenable(model->index(1, 0, top)));
        QVERIFY(!model->isOpenable(model->index(3, 0, top)));
        QVERIFY(model->index(3, 0, top).data(Qt::ForegroundRole).isValid());

        QVERIFY(writeFile(path("top/file3.csv"), "c\n"));
        QTRY_COMPARE(childNames(model, top),
                     (QStringList{"sub", "file2.csv", "file3.csv", "file10.csv", "Notes.png"}));
        QVERIFY(QFile::remove(path("top/file2.csv")));
        QTRY_COMPARE(childNames(model, top), (QStringList{"sub", "file3.csv", "file10.csv", "Notes.png"}));
        QVERIFY(writeFile(path("top/sub/inner.tsv"), "1\t2\n"));
        QTRY_COMPARE(childNames(model, model->index(0, 0, top)), QStringList{"inner.tsv"});

        // Activating a delimited file opens it; a dimmed one opens nothing.
        QTreeView* tree = window->getSideBar()->getFolderView();
        emit tree->activated(model->index(1, 0, top));
        QCOMPARE(window->getActiveFilepath(), path("top/file3.csv"));
        emit tree->activated(model->indexOfPath(path("top/Notes.png")));
        QCOMPARE(window->getActiveFilepath(), path("top/file3.csv"));
        QCOMPARE(window->getNumTables(), 1);
        // The tree points at the active table's file, also under its new name.
        QCOMPARE(tree->currentIndex().data().toString(), QStringLiteral("file3.csv"));
        QVERIFY(window->renameFile(path("top/file3.csv"), path("top/file4.csv")));
        QTRY_COMPARE(tree->currentIndex().data().toString(), QStringLiteral("file4.csv"));

        // The keys that move through the tree are the table's shortcuts too; in the tree they move
        // in the tree.
        tree->setCurrentIndex(model->index(0, 0, top));
        const QString before = selection(window->getActiveTable());
        QTest::keyClick(tree, Qt::Key_End);
        QCOMPARE(tree->currentIndex().data().toString(), QStringLiteral("Notes.png"));
        QCOMPARE(selection(window->getActiveTable()), before);

        // Closing the folder stops watching all of it.
        QVERIFY(!model->watchedFolders().isEmpty());
        QVERIFY(window->closeFolder(path("top")));
        QVERIFY(model->watchedFolders().isEmpty());
    }

    // Renaming a folder moves the tables of its files along, and a top folder's own entry.
    void renameFolderMovesOpenTables() {
        QVERIFY(QDir().mkpath(path("data/inner")));
        QVERIFY(QDir().mkpath(path("taken")));
        auto window = shownWindow();
        TableView* view = openWritten(*window, path("data/inner/t.csv"), "1,2\n");
        QVERIFY(view);
        window->openFolder(path("data"));
        MsgBoxAnswers answers;
        window->onRenameFolderPrompt(path("data"));
        Launcher* launcher = window->getLauncher();
        QVERIFY(launcher);
        QCOMPARE(launcher->getPromptEditor()->selectedText(), QStringLiteral("data"));
        launcher->getPromptEditor()->setText(QStringLiteral("taken"));
        QTest::keyClick(launcher->getPromptEditor(), Qt::Key_Return);
        QCOMPARE(answers.texts(), QStringList{"A folder already exists at that location."});
        QVERIFY(QFileInfo(path("data")).isDir());

        launcher = window->getLauncher();
        QVERIFY(launcher);
        launcher->getPromptEditor()->setText(QStringLiteral("renamed"));
        QTest::keyClick(launcher->getPromptEditor(), Qt::Key_Return);
        QVERIFY(QFileInfo(path("renamed/inner/t.csv")).isFile());
        QCOMPARE(window->getActiveFilepath(), path("renamed/inner/t.csv"));
        QCOMPARE(window->getSideBar()->getFolders(), QStringList{path("renamed")});
        QCOMPARE(window->makeConfigData().sidebarFolderpathList, QStringList{path("renamed")});
        QCOMPARE(window->getSideBar()->getOpenFilesList()->item(0)->toolTip(),
                 QDir::toNativeSeparators(path("renamed/inner/t.csv")));
        // The table saves to where its file is now.
        view->tableModel()->setData(view->tableModel()->index(0, 0), QStringLiteral("9"), Qt::EditRole);
        QVERIFY(window->commandSaveFile());
        QFile saved(path("renamed/inner/t.csv"));
        QVERIFY(saved.open(QIODevice::ReadOnly));
        QCOMPARE(saved.readAll(), QByteArray("9,2\n"));
        QVERIFY(!QFileInfo::exists(path("data")));

        // A table of the folder in another window moves too.
        auto other = shownWindow();
        QVERIFY(openWritten(*other, path("renamed/inner/u.csv"), "u\n"));
        QVERIFY(window->renameFolder(path("renamed"), path("again")));
        QCOMPARE(other->getActiveFilepath(), path("again/inner/u.csv"));
        QCOMPARE(window->getActiveFilepath(), path("again/inner/t.csv"));
        QCOMPARE(window->getSideBar()->getFolders(), QStringList{path("again")});

        window->onRenameFolderPrompt(path("gone"));
        window->getLauncher()->getPromptEditor()->setText(QStringLiteral("x"));
        QTest::keyClick(window->getLauncher()->getPromptEditor(), Qt::Key_Return);
        QCOMPARE(answers.texts().last(), QStringLiteral("The folder doesn't exist."));
    }

    // The four switches by their commands and keys: the panes, the check marks and what the
    // window hands over for "Orvane.ini" agree.
    void togglesShowAndRemember() {
        auto window = shownWindow();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        SideBar* bar = window->getSideBar();
        const auto checked = [&](const char* name) {
            return window->getCommands().findByName(QString::fromLatin1(name))->action->isChecked();
        };
        QTRY_VERIFY(window->getSideBarWidth() > 0);
        QCOMPARE(window->getSideBarWidth(), 300);
        QVERIFY(checked("Toggle Show Side Bar"));

        QTest::keyClick(window.get(), Qt::Key_B, Qt::ControlModifier | Qt::ShiftModifier);
        QTRY_COMPARE(window->getSideBarWidth(), 0);
        QVERIFY(!checked("Toggle Show Side Bar"));
        QVERIFY(!window->makeConfigData().paneVisibility.showSideBar);
        QTest::keyClick(window.get(), Qt::Key_B, Qt::ControlModifier | Qt::ShiftModifier);
        QTRY_COMPARE(window->getSideBarWidth(), 300);

        QVERIFY(runCommand(*window, QStringLiteral("Toggle Show Side Bar Open Files")));
        QVERIFY(bar->getOpenFilesList()->isHidden() || !bar->isOpenFilesShown());
        QVERIFY(!checked("Toggle Show Side Bar Open Files"));
        QVERIFY(window->getSideBarWidth() > 0);
        QVERIFY(runCommand(*window, QStringLiteral("Toggle Show Side Bar Folders")));
        // With neither part the side bar takes no room, and asking for it brings both back.
        QCOMPARE(window->getSideBarWidth(), 0);
        const PaneVisibility off = window->makeConfigData().paneVisibility;
        QVERIFY(!off.showSideBarOpenFiles && !off.showSideBarFolders);
        QVERIFY(runCommand(*window, QStringLiteral("Toggle Show Side Bar")));
        QTRY_VERIFY(window->getSideBarWidth() > 0);
        QVERIFY(bar->isOpenFilesShown() && bar->isFoldersShown());
        QVERIFY(checked("Toggle Show Side Bar Open Files") && checked("Toggle Show Side Bar Folders"));

        QCOMPARE(window->getMetadataWidth(), 0);
        QTest::keyClick(window.get(), Qt::Key_D, Qt::ControlModifier | Qt::ShiftModifier);
        QTRY_VERIFY(window->getMetadataWidth() >= 380);
        QVERIFY(checked("Toggle Show File Metadata"));
        QVERIFY(window->makeConfigData().paneVisibility.showFileMetadata);
        QTest::keyClick(window.get(), Qt::Key_D, Qt::ControlModifier | Qt::ShiftModifier);
        QTRY_COMPARE(window->getMetadataWidth(), 0);
        QVERIFY(!window->makeConfigData().paneVisibility.showFileMetadata);

        // The buttons at the ends of the status bar are the same switches.
        auto* left = window->findChild<QToolButton*>(QStringLiteral("left_bar_button"));
        auto* right = window->findChild<QToolButton*>(QStringLiteral("right_bar_button"));
        QVERIFY(left && right);
        QVERIFY(left->isChecked() && !right->isChecked());
        QVERIFY(left->toolTip().startsWith(QLatin1String("Open or Close the Sidebar (")));
        left->click();
        QTRY_COMPARE(window->getSideBarWidth(), 0);
        QVERIFY(!left->isChecked() && !checked("Toggle Show Side Bar"));
        right->click();
        QTRY_VERIFY(window->getMetadataWidth() > 0);
        QVERIFY(right->isChecked() && checked("Toggle Show File Metadata"));
        QVERIFY(runCommand(*window, QStringLiteral("Toggle Show Side Bar")));
        QVERIFY(left->isChecked());
    }

    // A width the user dragged the side bar to survives a toggle of one of its parts.
    void draggedWidthStays() {
        auto window = shownWindow();
        QTRY_VERIFY(window->getSideBarWidth() > 0);
        auto* splitter = qobject_cast<QSplitter*>(window->getSideBar()->parentWidget());
        QVERIFY(splitter);
        QList<int> sizes = splitter->sizes();
        sizes[1] += sizes[0] - 410;
        sizes[0] = 410;
        splitter->setSizes(sizes);
        QVERIFY(runCommand(*window, QStringLiteral("Toggle Show Side Bar Folders")));
        QCOMPARE(window->getSideBarWidth(), 410);
        window->propagateSettings();
        QCOMPARE(window->getSideBarWidth(), 410);
        QCOMPARE(window->makeConfigData().sideBarShowWidth, 410);
    }

    // What the pane says of a file, refilled as it changes.
    void metadataTexts() {
        auto window = shownWindow();
        FileMetadataWidget* pane = window->getMetadataWidget();
        QVERIFY(runCommand(*window, QStringLiteral("Toggle Show File Metadata")));
        QCOMPARE(pane->titleText(), QStringLiteral("untitled"));
        QCOMPARE(pane->fieldText(Field::Folder), QStringLiteral("Not saved yet"));
        QCOMPARE(pane->fieldText(Field::Modified), QString());

        QVERIFY(openWritten(*window, path("m.tsv"), "a\tb\tc\r\n1\t2\t3\r\n"));
        QCOMPARE(pane->titleText(), QStringLiteral("m.tsv"));
        QCOMPARE(pane->fieldText(Field::Folder), QDir::toNativeSeparators(dir->path()));
        QCOMPARE(pane->fieldText(Field::Size), QStringLiteral("14 bytes"));
        QVERIFY(!pane->fieldText(Field::Modified).isEmpty());
        QCOMPARE(pane->fieldText(Field::Mode), QStringLiteral("Editable"));
        QCOMPARE(pane->fieldText(Field::Delimiter), QStringLiteral("\\t"));
        QCOMPARE(pane->fieldText(Field::LineEnding),
                 Utilities::convertLineEndingTypeToShortString(LINE_ENDING_WINDOWS, false));
        QCOMPARE(pane->fieldText(Field::Encoding), QStringLiteral("UTF-8"));
        QCOMPARE(pane->fieldText(Field::Rows), QStringLiteral("2"));
        QCOMPARE(pane->fieldText(Field::Columns), QStringLiteral("3"));

        // A row more, then a save: the counts, the size and the date follow.
        TableView* view = window->getActiveTable();
        QVERIFY(runCommand(*window, QStringLiteral("Insert Row(s) After")));
        QCOMPARE(pane->fieldText(Field::Rows), QStringLiteral("3"));
        QVERIFY(runCommand(*window, QStringLiteral("Save File")));
        QCOMPARE(pane->fieldText(Field::Size), FileMetadataWidget::sizeText(QFileInfo(path("m.tsv")).size()));

        // Its buttons run the commands that change the parameters, greyed with them.
        QPushButton* mode = pane->changeButton(Field::Mode);
        QVERIFY(mode && mode->isEnabled());
        mode->click();
        QCOMPARE(pane->fieldText(Field::Mode), QStringLiteral("Read-Only"));
        QVERIFY(!pane->changeButton(Field::Delimiter)->isEnabled());
        mode->click();
        QCOMPARE(pane->fieldText(Field::Mode), QStringLiteral("Editable"));
        QVERIFY(pane->changeButton(Field::Delimiter)->isEnabled());
        pane->changeButton(Field::Encoding)->click();
        QVERIFY(window->getLauncher());
        window->getPaneView()->closeLauncher();

        // Another table, and a rename.
        QVERIFY(openWritten(*window, path("n.csv"), "1,2\n"));
        QCOMPARE(pane->titleText(), QStringLiteral("n.csv"));
        QCOMPARE(pane->fieldText(Field::Delimiter), QStringLiteral(","));
        window->setActiveTable(view);
        QCOMPARE(pane->titleText(), QStringLiteral("m.tsv"));
        QVERIFY(window->renameFile(path("m.tsv"), path("other.tsv")));
        QCOMPARE(pane->titleText(), QStringLiteral("other.tsv"));
    }

    void sizeTexts_data() {
        QTest::addColumn<qint64>("bytes");
        QTest::addColumn<QString>("text");
        QTest::newRow("zero") << qint64(0) << QStringLiteral("0 bytes");
        QTest::newRow("one") << qint64(1) << QStringLiteral("1 byte");
        QTest::newRow("under a kilobyte") << qint64(1023) << QStringLiteral("1,023 bytes");
        QTest::newRow("kilobytes") << qint64(12345) << QStringLiteral("12.3 kB (12,345 bytes)");
        QTest::newRow("gigabytes") << qint64(3'000'000'000) << QStringLiteral("3.0 GB (3,000,000,000 bytes)");
    }
    void sizeTexts() {
        QFETCH(qint64, bytes);
        QFETCH(QString, text);
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
        QCOMPARE(FileMetadataWidget::sizeText(bytes), text);
    }
};

QTEST_MAIN(TestSideBar)
#include "tst_sidebar.moc"
