#pragma once

// Helpers of the view tests: a model that counts its cell reads, a view on it at a fixed
// size, and mouse events with an explicit button state.

#include "../table/tablemodelfixture.h"

#include "view/tableview.h"

#include <QApplication>
#include <QHeaderView>
#include <QMouseEvent>
#include <QScrollBar>
#include <QSignalSpy>
#include <QStandardPaths>

#include <memory>

namespace ViewFixture {

class CountingModel : public TableModel {
public:
    CountingModel() : TableModel(true) {}
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override {
        if (role == Qt::DisplayRole)
            ++displayCalls;
        return TableModel::data(index, role);
    }
    mutable qint64 displayCalls = 0;
};

struct ShownTable {
    std::unique_ptr<QTemporaryDir> dir;
    std::unique_ptr<CountingModel> model;
    std::unique_ptr<TableView> view;
};

// Writes `lines` (or `rows` x `cols` generated cells when lines is empty) and shows it.
inline ShownTable makeTable(const QStringList& lines, int width = 800, int height = 600, int rows = 0,
                            int cols = 0) {
    ShownTable t;
    t.dir = std::make_unique<QTemporaryDir>();
    const QString path = t.dir->filePath(QStringLiteral("t.csv"));
    QFile file(path);
    if (file.open(QIODevice::WriteOnly)) {
        if (!lines.isEmpty()) {
            for (const QString& line : lines)
                file.write(line.toUtf8() + '\n');
        } else {
            QByteArray chunk;
            for (int r = 0; r < rows; ++r) {
                for (int c = 0; c < cols; ++c) {
                    if (c)
                        chunk += ',';
                    chunk += QByteArray::number(r);
                }
                chunk += '\n';
                if (chunk.size() > (1 << 20)) {
                    file.write(chunk);
                    chunk.clear();
                }
            }
            file.write(chunk);
        }
        file.close();
    }
    t.model = std::make_unique<CountingModel>();
    t.model->loadCSV(path, false, TableData::Editable, QStringLiteral(","), QStringLiteral(","), UTF_8,
                     RFC_4180);
    t.view = std::make_unique<TableView>();
    t.view->setModel(t.model.get());
    t.view->resize(width, height);
    t.view->onLoadFinished();
    t.view->show();
    if (!QTest::qWaitForWindowExposed(t.view.get()))
        qWarning("table view not exposed");
    return t;
}

inline void mouse(QWidget* target, QEvent::Type type, QPoint pos, Qt::MouseButton button,
                  Qt::MouseButtons buttons, Qt::KeyboardModifiers mods = Qt::NoModifier) {
    QMouseEvent event(type, QPointF(pos), target->mapToGlobal(QPointF(pos)), button, buttons, mods);
    QApplication::sendEvent(target, &event);
}

inline QPoint cellCenter(AbstractTableView* view, int row, int col) {
    return view->visualRect(view->model()->index(row, col)).center();
}

inline void click(AbstractTableView* view, int row, int col, Qt::KeyboardModifiers mods = Qt::NoModifier) {
    const QPoint p = cellCenter(view, row, col);
    mouse(view->viewport(), QEvent::MouseButtonPress, p, Qt::LeftButton, Qt::LeftButton, mods);
    mouse(view->viewport(), QEvent::MouseButtonRelease, p, Qt::LeftButton, Qt::NoButton, mods);
}

inline QString mainCell(const TableModel& m) {
    return QStringLiteral("%1,%2").arg(m.getMainCell().row).arg(m.getMainCell().col);
}

inline QString texts(const TableModel& m, const std::vector<std::pair<int, int>>& cells) {
    QStringList out;
    for (const auto& [r, c] : cells)
        out << Fixture::text(m, r, c, Qt::EditRole);
    return out.join(QLatin1Char('|'));
}

} // namespace ViewFixture
