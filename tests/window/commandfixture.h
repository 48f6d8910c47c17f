#pragma once

// The fixture table and the surroundings that the command tests share: a home of their own, a
// text editor that starts nothing, and a sink for links, so that no command reaches the
// machine's programs, browser or settings.

#include "window/commands.h"
#include "window/filedialoghelper.h"
#include "window/mainwindow.h"
#include "window/windowtesthelpers.h"

#include <QDesktopServices>
#include <QFile>
#include <QObject>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

#include <memory>

// Rows 0-7, columns 0-4: a header, words, an empty row (4), an empty column (3) and the
// trailing empty column that trailing delimiters make; row 6 holds a link and an address.
inline const QByteArray kCommandFixture = "h0,h1,h2,,h4,\n"
                                          "a1,b1,c1,,e1,\n"
                                          "a2,b2,c2,,e2,\n"
                                          "a3,,c3,,e3,\n"
                                          ",,,,,\n"
                                          "a5,b5,c5,,e5,\n"
                                          "https://example.org/x,me@example.org,c6,,e6,\n"
                                          "a7,b7,c7,,e7,\n";

inline QString writeFile(const QString& path, const QByteArray& content) {
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(content);
    return path;
}

inline QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline const Command& command(const MainWindow& window, const QString& name) {
    const Command* found = window.getCommands().findByName(name);
    if (!found)
        qFatal("no command %s", qPrintable(name));
    return *found;
}

// Where the links that commands open go, instead of to a browser or the file manager.
class UrlSink : public QObject {
    Q_OBJECT

public slots:
    void open(const QUrl& url) { opened << url; }

public:
    QList<QUrl> opened;
};

class CommandFixture {
public:
    QTemporaryDir home;
    // A text editor first on the path that only notes the file it was given, so that the
    // command starting one starts no real program from a test.
    QTemporaryDir bin;
    UrlSink urlSink;
    std::unique_ptr<QTemporaryDir> dir;

    QString fixture() const { return writeFile(dir->filePath(QStringLiteral("table.csv")), kCommandFixture); }

    // A window with the fixture open and a 2 x 2 block selected from (1, 1).
    std::unique_ptr<MainWindow> openWindow() const {
        auto window = std::make_unique<MainWindow>();
        window->setAttribute(Qt::WA_DeleteOnClose, false);
        window->openFile(fixture());
        selectBlock(window->getActiveTable(), 1, 1, 2, 2);
        return window;
    }

    QString editedPath() const { return bin.filePath(QStringLiteral("edited")); }

    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        // The preference files that commands write stay in this test's own home.
        QVERIFY(home.isValid());
        qputenv("HOME", home.path().toLocal8Bit());
        TableView::autoFitWarningHook = [](const QString&, bool&) { return false; };
        QVERIFY(bin.isValid());
        QFile editor(bin.filePath(QStringLiteral("gnome-text-editor")));
        QVERIFY(editor.open(QIODevice::WriteOnly));
        editor.write("#!/bin/sh\necho \"$1\" > \"$(dirname \"$0\")/edited\"\n");
        editor.close();
        QVERIFY(editor.setPermissions(editor.permissions() | QFileDevice::ExeOwner));
        qputenv("PATH", bin.path().toLocal8Bit() + ':' + qgetenv("PATH"));
        for (const char* scheme : {"http", "https", "mailto", "file"})
            QDesktopServices::setUrlHandler(QString::fromLatin1(scheme), &urlSink, "open");
    }

    void cleanupTestCase() {
        for (const char* scheme : {"http", "https", "mailto", "file"})
            QDesktopServices::unsetUrlHandler(QString::fromLatin1(scheme));
    }

    void init() {
        dir = std::make_unique<QTemporaryDir>();
        QVERIFY(dir->isValid());
        FileDialogHelper::saveFileNameHook = [](const QString&, const QString&, const QString&) {
            return QString();
        };
        FileDialogHelper::openFileNamesHook = [](const QString&, const QString&, const QString&) {
            return QStringList();
        };
        FileDialogHelper::existingDirectoryHook = [](const QString&, const QString&) { return QString(); };
    }

    void cleanup() {
        FileDialogHelper::saveFileNameHook = nullptr;
        FileDialogHelper::openFileNamesHook = nullptr;
        FileDialogHelper::existingDirectoryHook = nullptr;
    }
};
