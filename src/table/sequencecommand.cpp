#include "table/sequencecommand.h"

SequenceCommand::SequenceCommand(TableModel* m, std::vector<Step> steps)
    : TableUndoCommand(m, false), factories(std::move(steps)) {
    setText(QStringLiteral("SequenceCommand"));
    isValid = !factories.empty();
}

SequenceCommand::~SequenceCommand() = default;

void SequenceCommand::redo() {
    if (done.empty()) {
        for (const Step& step : factories) {
            std::unique_ptr<TableUndoCommand> command(step(model));
            // A step with nothing to do is left out.
            if (!command || !command->isValid)
                continue;
            command->redo();
            done.push_back(std::move(command));
        }
        factories.clear();
        return;
    }
    for (auto& command : done)
        command->redo();
}

void SequenceCommand::undo() {
    for (auto it = done.rbegin(); it != done.rend(); ++it)
        (*it)->undo();
}
