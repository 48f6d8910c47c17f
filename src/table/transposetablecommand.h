#pragma once

#include "table/tableundocommand.h"

// Exchanges rows and columns of the whole table; the selection turns with it.
class TransposeTableCommand : public TableUndoCommand {
public:
    explicit TransposeTableCommand(TableModel* model, QUndoCommand* parent = nullptr);
    void undo() override;
    void redo() override;

private:
    void toggle();
};
