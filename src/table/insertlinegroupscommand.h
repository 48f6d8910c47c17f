#pragma once

#include "table/tableundocommand.h"

#include <utility>
#include <vector>

// Inserts empty lines after several model lines at once, a count for each: the table's lines
// move once, however many groups there are (an insert a group moves every line below it each
// time). `axis` Row inserts rows, Col columns; `groups` holds (line, count) in ascending lines.
class InsertLineGroupsCommand : public TableUndoCommand {
public:
    InsertLineGroupsCommand(TableModel* model, Axis axis, const std::vector<std::pair<int, int>>& groups);
    void undo() override;
    void redo() override;

private:
    Axis axis;
    std::vector<int> map; // raw line -> its place once the new lines (the last ones) are in
    int count = 0;
};
