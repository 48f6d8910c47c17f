#include "table/saveparametercommands.h"

#include "table/tablemodel.h"

// --- Delimiter -------------------------------------------------------------------------------

SetDelimiterCommand::SetDelimiterCommand(TableModel* model, const QString& delimiter, QUndoCommand* parent)
    : TableUndoCommand(model, false, parent), oldDelimiter(model->getDelimiterSave()),
      newDelimiter(delimiter) {
    setText(QStringLiteral("SetDelimiterCommand"));
    isValid = !delimiter.isEmpty() && delimiter != oldDelimiter;
}

void SetDelimiterCommand::apply(const QString& delimiter) {
    model->setDelimiter(model->getDelimiter(), delimiter);
    emit model->updateFindReplaceMatchesSignal();
    model->saveAfterEdit();
}

void SetDelimiterCommand::redo() {
    apply(newDelimiter);
}

void SetDelimiterCommand::undo() {
    apply(oldDelimiter);
}

// --- Line ending -----------------------------------------------------------------------------

SetLineEndingCommand::SetLineEndingCommand(TableModel* model, LineEndingType lineEnding, QUndoCommand* parent)
    : TableUndoCommand(model, false, parent), oldLineEnding(model->getTableData().getLineEnding()),
      newLineEnding(lineEnding) {
    setText(QStringLiteral("SetLineEndingCommand"));
    isValid = lineEnding != oldLineEnding;
}

void SetLineEndingCommand::apply(LineEndingType lineEnding) {
    model->getTableData().setLineEnding(lineEnding);
    emit model->setLineEndingSignal(lineEnding);
    model->saveAfterEdit();
}

void SetLineEndingCommand::redo() {
    apply(newLineEnding);
}

void SetLineEndingCommand::undo() {
    apply(oldLineEnding);
}

// --- Encoding --------------------------------------------------------------------------------

SetEncodingCommand::SetEncodingCommand(TableModel* model, EncodingType encoding, QUndoCommand* parent)
    : TableUndoCommand(model, false, parent), oldEncoding(model->getTableData().getEncoding()),
      newEncoding(encoding) {
    setText(QStringLiteral("SetEncodingCommand"));
    isValid = encoding != oldEncoding;
}

void SetEncodingCommand::redo() {
    TableData& data = model->getTableData();
    // Whole raw rows in storage order, whatever the orientation.
    const bool transposed = data.isTransposed();
    const Axis storageRows = transposed ? Axis::Col : Axis::Row;
    const int count = transposed ? data.numRawCols() : data.numRawRows();
    oldRows.assign(static_cast<std::size_t>(std::max(count, 0)), {});
    for (int i = 0; i < count; ++i)
        readLineRaw(storageRows, i, oldRows[static_cast<std::size_t>(i)]);
    oldRowFields = readRowFieldsAsRead();
    data.setEncoding(newEncoding, true);
    emit model->setEncodingSignal(newEncoding);
    notifyAllChanged();
    model->saveAfterEdit();
}

void SetEncodingCommand::undo() {
    TableData& data = model->getTableData();
    data.setEncoding(oldEncoding, false);
    const Axis storageRows = data.isTransposed() ? Axis::Col : Axis::Row;
    for (std::size_t i = 0; i < oldRows.size(); ++i)
        writeLineRaw(storageRows, static_cast<int>(i), oldRows[i]);
    restoreRowFieldsAsRead(oldRowFields);
    oldRows.clear();
    oldRows.shrink_to_fit();
    oldRowFields.clear();
    emit model->setEncodingSignal(oldEncoding);
    notifyAllChanged();
    model->saveAfterEdit();
}

// --- Parsing standard ------------------------------------------------------------------------

SetParsingStandardCommand::SetParsingStandardCommand(TableModel* model, ParsingStandard standard,
                                                     QUndoCommand* parent)
    : TableUndoCommand(model, false, parent), oldStandard(model->getTableData().getParsingStandard()),
      newStandard(standard) {
    setText(QStringLiteral("SetParsingStandardCommand"));
    isValid = standard != oldStandard;
}

void SetParsingStandardCommand::apply(ParsingStandard standard) {
    model->getTableData().setParsingStandard(standard);
    emit model->setParsingStandardSignal(standard);
    model->saveAfterEdit();
}

void SetParsingStandardCommand::redo() {
    apply(newStandard);
}

void SetParsingStandardCommand::undo() {
    apply(oldStandard);
}
