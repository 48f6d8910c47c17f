#pragma once

#include <QLineEdit>
#include <QString>

// The one-line editor laid over a cell. Keys that end the edit or move away are left to the
// delegate's event filter and the view; input method composition goes through the same path as
// typing, so that every target cell follows the first composed character.
class QuickEdit : public QLineEdit {
    Q_OBJECT

public:
    // Native scan code that input methods send while they compose.
    static constexpr quint32 kImeScanCode = 229;

    explicit QuickEdit(QWidget* parent = nullptr);

    void setEditorColors(const QColor& background, const QColor& text);
    bool isUnicodeTyping() const { return unicodeTyping; }
    bool isComposing() const { return composing; }
    // Qt selects the whole text of a new line editor; an edit that appends asks for the cursor
    // at the end instead, once the editor has the focus.
    void setPendingSelectionClear(bool on) { pendingSelectionClear = on; }
    bool hasPendingSelectionClear() const { return pendingSelectionClear; }
    void applyPendingSelectionClear();

signals:
    void unicodeTypingSignal(bool on);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void inputMethodEvent(QInputMethodEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    bool unicodeTyping = false;
    bool pendingSelectionClear = false;
    bool composing = false;
    int textEditedCount = 0;
};
