#pragma once

#include "table/tableundocommand.h"

#include <functional>
#include <memory>
#include <vector>

// Several table commands as one undo step. Each step is built only when the one before it has
// run, so that it reads the table as that one left it (cells written after lines were
// inserted); undo runs them back in reverse order.
class SequenceCommand : public TableUndoCommand {
public:
    using Step = std::function<TableUndoCommand*(TableModel*)>;

    SequenceCommand(TableModel* model, std::vector<Step> steps);
    ~SequenceCommand() override;

    void undo() override;
    void redo() override;

private:
    std::vector<Step> factories;
    std::vector<std::unique_ptr<TableUndoCommand>> done;
};
