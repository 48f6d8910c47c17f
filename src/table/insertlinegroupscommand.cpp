#include "table/insertlinegroupscommand.h"

#include "table/tablemodel.h"

#include <climits>

InsertLineGroupsCommand::InsertLineGroupsCommand(TableModel* model, Axis axis,
                                                 const std::vector<std::pair<int, int>>& groups)
    : TableUndoCommand(model, true), axis(axis) {
    setText(QStringLiteral("InsertLineGroupsCommand"));
    const bool rows = axis == Axis::Row;
    const int rawCount = rows ? model->rowCountRaw() : model->columnCountRaw();
    const int modelCount = rows ? model->rowCountModel() : model->columnCountModel();
    // The raw line before which each group goes: the next shown line, or the end.
    std::vector<std::pair<int, int>> places;
    qint64 total = 0;
    for (const auto& [line, lines] : groups) {
        if (line < 0 || line >= modelCount || lines < 1)
            continue;
        const int next = line + 1;
        const int raw = next >= modelCount ? rawCount
                        : rows             ? model->getRawFromModelRow(next)
                                           : model->getRawFromModelCol(next);
        places.emplace_back(raw, lines);
        total += lines;
    }
    const int viewCount = rows ? model->rowCount() : model->columnCount();
    if (places.empty() || total > qint64(INT_MAX) - std::max(rawCount, viewCount) - 1) {
        isValid = false;
        return;
    }
    count = int(total);
    // The new lines are added after the last and moved into their gaps with the rest.
    map.assign(std::size_t(rawCount) + std::size_t(count), 0);
    int shift = 0;
    int fresh = rawCount;
    std::size_t g = 0;
    const auto openGaps = [&](int before) {
        for (; g < places.size() && places[g].first <= before; ++g) {
            for (int k = 0; k < places[g].second; ++k)
                map[std::size_t(fresh++)] = places[g].first + shift + k;
            shift += places[g].second;
        }
    };
    for (int raw = 0; raw < rawCount; ++raw) {
        openGaps(raw);
        map[std::size_t(raw)] = raw + shift;
    }
    openGaps(INT_MAX);
    selectionAfter = model->getSelection();
    if (model->hasConcealmentLists()) {
        const auto moved = [this, rawCount](int raw) {
            return raw >= 0 && raw < rawCount ? map[std::size_t(raw)] : raw + count;
        };
        if (rows)
            populateFilterLists(moved, {});
        else
            populateFilterLists({}, moved);
    }
}

void InsertLineGroupsCommand::redo() {
    const RawSize before = rawSize();
    model->insertLineGroups(axis, map, count);
    applyFilterList(false);
    TableUndoCommand::redo();
    finishDataChange(false, before, {}, {});
}

void InsertLineGroupsCommand::undo() {
    const RawSize before = rawSize();
    model->removeLineGroups(axis, map, count);
    applyFilterList(true);
    TableUndoCommand::undo();
    finishDataChange(true, before, {}, {});
}
