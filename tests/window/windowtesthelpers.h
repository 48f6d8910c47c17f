#pragma once

// What the window tests read off a table, how they open a file and run a command, and how
// they select a block, in one place.

#include "table/range.h"
#include "table/tablemodel.h"
#include "view/tableview.h"
#include "window/commands.h"
#include "window/mainwindow.h"

#include <QAction>
#include <QFile>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

// Writes `content` to `path` and opens it in `window`: its table, or null.
inline TableView* openWritten(MainWindow& window, const QString& path, const QByteArray& content) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        return nullptr;
    file.close();
    window.openFile(path);
    return window.getActiveTable();
}

// Triggers the command named `name` as its menu item would; false when it has no such command
// or it is greyed.
inline bool runCommand(MainWindow& window, const QString& name) {
    const Command* c = window.getCommands().findByName(name);
    if (!c || !c->action->isEnabled())
        return false;
    c->action->trigger();
    return true;
}

// Every shown cell of the table, row by row, the cells of a row joined by `separator`.
inline QStringList cells(const TableView* view, QChar separator = QLatin1Char(',')) {
    QStringList rows;
    const TableModel* m = view->tableModel();
    for (int r = 0; r < m->rowCountModel(); ++r) {
        QStringList row;
        for (int c = 0; c < m->columnCountModel(); ++c)
            row.append(m->data(m->index(r, c), Qt::EditRole).toString());
        rows.append(row.join(separator));
    }
    return rows;
}

// The main cell and every selected cell, as text to compare.
inline QString selection(const TableView* view) {
    const TableModel* m = view->tableModel();
    QStringList parts{QStringLiteral("main %1,%2").arg(m->getMainCell().row).arg(m->getMainCell().col)};
    for (const auto& [row, col] : m->getSelectionIndexes())
        parts.append(QStringLiteral("%1,%2").arg(row).arg(col));
    return parts.join(QLatin1Char(' '));
}

// Selects the block of model cells with its top left cell as the main cell.
inline void selectBlock(TableView* view, int top, int left, int bottom, int right) {
    view->moveSelectionAbsolute(top, left);
    Range block(RangeType::Table, RangeIndexType::Model);
    block.row = top;
    block.col = left;
    block.endRow = bottom;
    block.endCol = right;
    block.isMainCell = true;
    block.mainCellRow = top;
    block.mainCellCol = left;
    view->tableModel()->setSelection(block);
}

// A shown window in a folder of its own, made afresh for each test function: the base of the
// tests that open a file and run commands on it (`init` calls makeWindow, `cleanup` dropWindow).
class ShownWindowFixture {
protected:
    std::unique_ptr<QTemporaryDir> dir;
    std::unique_ptr<MainWindow> window;
    TableView* view = nullptr;

    void makeWindow() {
        dir = std::make_unique<QTemporaryDir>();
        window = std::make_unique<MainWindow>();
        window->setAttribute(Qt::WA_DeleteOnClose, false);
        window->show();
    }
    void dropWindow() {
        window.reset();
        dir.reset();
    }
    void open(const QByteArray& content, const QString& name = QStringLiteral("table.csv")) {
        view = openWritten(*window, dir->filePath(name), content);
        QVERIFY(view);
    }
    void run(const QString& name) { QVERIFY2(runCommand(*window, name), qPrintable(name)); }
};
