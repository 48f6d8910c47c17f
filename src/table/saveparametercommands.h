#pragma once

// The commands that change how the file is written: delimiter, line ending, encoding and
// parsing standard. Each keeps the old and the new value.

#include "storage/fileparameters.h"
#include "table/tableundocommand.h"

#include <QString>

class SetDelimiterCommand : public TableUndoCommand {
public:
    SetDelimiterCommand(TableModel* model, const QString& delimiter, QUndoCommand* parent = nullptr);
    void undo() override;
    void redo() override;

private:
    void apply(const QString& delimiter);
    QString oldDelimiter;
    QString newDelimiter;
};

class SetLineEndingCommand : public TableUndoCommand {
public:
    SetLineEndingCommand(TableModel* model, LineEndingType lineEnding, QUndoCommand* parent = nullptr);
    void undo() override;
    void redo() override;

private:
    void apply(LineEndingType lineEnding);
    LineEndingType oldLineEnding;
    LineEndingType newLineEnding;
};

// The cells are stored in the file's encoding, so a new encoding re-encodes them; undo puts
// back the stored bytes as they were, so characters the new encoding lacks are not lost.
class SetEncodingCommand : public TableUndoCommand {
public:
    SetEncodingCommand(TableModel* model, EncodingType encoding, QUndoCommand* parent = nullptr);
    void undo() override;
    void redo() override;

private:
    EncodingType oldEncoding;
    EncodingType newEncoding;
    std::vector<std::vector<std::vector<char>>> oldRows; // raw rows in storage order, set by redo
    std::vector<int> oldRowFields;                       // their fields as read, set by redo
};

class SetParsingStandardCommand : public TableUndoCommand {
public:
    SetParsingStandardCommand(TableModel* model, ParsingStandard standard, QUndoCommand* parent = nullptr);
    void undo() override;
    void redo() override;

private:
    void apply(ParsingStandard standard);
    ParsingStandard oldStandard;
    ParsingStandard newStandard;
};
