#pragma once

#include <QPointer>
#include <QString>
#include <QWidget>

#include <map>

class Commands;
class QAction;
class QGridLayout;
class QLabel;
class QPushButton;
class TableView;

// What there is to know about the active table's file: its name and folder, size and dates,
// and the parameters it is read and written with (mode, delimiter, line ending, encoding,
// quoting standard) beside buttons that change them, and the table's size. Refilled by the
// window when any of it may have changed; reads only counts and the file's entry on disk.
class FileMetadataWidget : public QWidget {
    Q_OBJECT

public:
    // The fields, in the order shown.
    enum class Field {
        Folder,
        Size,
        Modified,
        Created,
        Mode,
        Delimiter,
        LineEnding,
        Encoding,
        Standard,
        Rows,
        Columns
    };

    explicit FileMetadataWidget(QWidget* parent = nullptr);

    // The commands behind the change buttons.
    void setupActions(const Commands& commands);
    // Shows `view`'s file, or says that there is no table.
    void setTable(const TableView* view);
    // Fills the fields again from the table shown.
    void refresh();
    // Only the two counts, for a table whose size changed.
    void refreshTableSize();
    // The heading (the table's name) and a field's text; empty for a field not shown.
    QString titleText() const;
    QString fieldText(Field field) const;
    // The button that changes a field, null for a field that has none.
    QPushButton* changeButton(Field field) const;

    // A byte count as people read it: "0 bytes", "1 byte", "12.3 KB (12,345 bytes)".
    static QString sizeText(qint64 bytes);

private:
    void addRow(Field field, const QString& title, bool changeable = false);
    void setField(Field field, const QString& text);

    QPointer<const TableView> view;
    QGridLayout* grid = nullptr;
    QLabel* title = nullptr;
    std::map<Field, QLabel*> values;
    std::map<Field, QLabel*> titles;
    std::map<Field, QPushButton*> buttons;
    std::map<Field, QPointer<QAction>> actions;
};
