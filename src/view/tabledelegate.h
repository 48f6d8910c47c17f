#pragma once

#include "preferences/theme.h"

#include <QFont>
#include <QFontMetricsF>
#include <QPointer>
#include <QStyledItemDelegate>

#include <optional>

class QuickEdit;

// Paints a cell from the model's roles (display, background, foreground, font) with as few
// model calls as painting needs: every visible cell costs one call per role.
//
// It also makes the QuickEdit of an in-cell edit and watches its keys. The model is never
// written from here: the view writes the text into every target cell and through the undo
// stack, so setModelData has nothing to do.
class TableDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    explicit TableDelegate(QObject* parent = nullptr);

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

    // --- Editor -----------------------------------------------------------------------------
    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                          const QModelIndex& index) const override;
    void setEditorData(QWidget* editor, const QModelIndex& index) const override;
    void setModelData(QWidget* editor, QAbstractItemModel* model, const QModelIndex& index) const override;
    void updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const override;
    void setEditorBackgroundColor(const QColor& color) { editorBackground = color; }
    void setTextColor(const QColor& color) { editorText = color; }
    void setFont(const QFont& font) {
        editorFont = font;
        hasEditorFont = true;
    }
    void setTextSize(int size);
    QColor getEditorBackgroundColor() const { return editorBackground; }
    QColor getEditorTextColor() const { return editorText; }
    // The next editor starts with no text instead of the cell's.
    void setStartEmpty(bool on) { startEmpty = on; }
    bool getStartEmpty() const { return startEmpty; }
    void setTextEditedMuted(bool on) { textEditedMuted = on; }
    void setHighlightHeaderRows(bool on) { highlightHeaderRows = on; }
    void setHighlightHeaderCols(bool on) { highlightHeaderCols = on; }
    // The open editor, null when none is open.
    QuickEdit* getEditor() const;

    void setNumHeaderRows(int n) { numHeaderRows = n; }
    void setNumHeaderCols(int n) { numHeaderCols = n; }
    int getNumHeaderRows() const { return numHeaderRows; }
    int getNumHeaderCols() const { return numHeaderCols; }
    void setTheme(const Theme& t) { theme = t; }
    QColor backgroundColor() const { return theme.CellColor; }
    QColor textColor() const { return theme.TextColor; }

    // Horizontal inset of the text in a cell.
    static constexpr int textInset = 4;
    // The line a cell shows in a one-line row: its first line, with an ellipsis when more follow.
    static QString shownLine(const QString& text);

public slots:
    void commitAndCloseEditor();
    void onTextEdited(const QString& text);

signals:
    void editorCreatedSignal();
    void textEditedSignal(QString text);
    void stopEditingSignal();
    void nextRowWithColumnResetSignal();
    void nextColumnWithColumnResetSignal();
    void previousColumnWithColumnResetSignal();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    // Metrics of the last font painted with: a grid paints with one or two fonts only.
    const QFontMetricsF& metricsFor(const QFont& font) const;

    mutable QFont metricsFont;
    mutable std::optional<QFontMetricsF> metrics;
    int numHeaderRows = 1;
    int numHeaderCols = 0;
    Theme theme;

    mutable QPointer<QuickEdit> editor;
    mutable bool startEmpty = false;
    bool textEditedMuted = false;
    bool highlightHeaderRows = true;
    bool highlightHeaderCols = true;
    QColor editorBackground{0x33, 0x33, 0x33};
    QColor editorText{Qt::white};
    QFont editorFont;
    bool hasEditorFont = false;
};
