#include "view/editorpane.h"

#include "preferences/theme.h"

#include <QFocusEvent>
#include <QKeyEvent>

EditorPane::EditorPane(QWidget* parent) : QPlainTextEdit(parent) {
    setObjectName(QStringLiteral("editorPane"));
    setLineWrapMode(QPlainTextEdit::WidgetWidth);
    setTabChangesFocus(false);
    setFrameShape(QFrame::NoFrame);
}

void EditorPane::setTheme(const Theme& theme) {
    QPalette p = palette();
    p.setColor(QPalette::Base, theme.CellColor);
    p.setColor(QPalette::Text, theme.TextColor);
    p.setColor(QPalette::Highlight, theme.SelectedCellColor);
    p.setColor(QPalette::HighlightedText, theme.TextColor);
    p.setColor(QPalette::Window, theme.Background1Color);
    setPalette(p);
}

void EditorPane::keyPressEvent(QKeyEvent* event) {
    const Qt::KeyboardModifiers mods = event->modifiers();
    const int key = event->key();
    const bool returnOrEnter = key == Qt::Key_Return || key == Qt::Key_Enter;
    const bool plain = mods == Qt::NoModifier || (key == Qt::Key_Enter && mods == Qt::KeypadModifier);

    if (key == Qt::Key_Escape && mods == Qt::NoModifier) {
        emit editingFinishedSignal();
        return;
    }
    if (returnOrEnter && (mods & Qt::ControlModifier) && !consumeNavigationKeys) {
        // The command key inserts the newline that a plain Return doesn't.
        QKeyEvent plainReturn(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, QStringLiteral("\n"));
        QPlainTextEdit::keyPressEvent(&plainReturn);
        return;
    }
    if (key == Qt::Key_Tab && (mods & Qt::ControlModifier) && !consumeNavigationKeys) {
        insertPlainText(QStringLiteral("\t"));
        return;
    }
    if (!consumeNavigationKeys) {
        if (returnOrEnter && plain) {
            emit editingFinishedSignal();
            emit nextRowWithColumnResetSignal();
            return;
        }
        if (key == Qt::Key_Tab && mods == Qt::NoModifier) {
            emit editingFinishedSignal();
            emit nextColumnWithColumnResetSignal();
            return;
        }
        if (key == Qt::Key_Backtab) {
            emit editingFinishedSignal();
            emit previousColumnWithColumnResetSignal();
            return;
        }
    } else if ((returnOrEnter || key == Qt::Key_Tab) && (mods & Qt::ControlModifier)) {
        // Consumed navigation: the command key changes nothing.
        QKeyEvent stripped(QEvent::KeyPress, key, mods & ~Qt::ControlModifier, event->text());
        QPlainTextEdit::keyPressEvent(&stripped);
        return;
    }
    QPlainTextEdit::keyPressEvent(event);
}

bool EditorPane::focusNextPrevChild(bool) {
    // Tab and Backtab are keys of the editor, never focus moves.
    return false;
}

void EditorPane::focusInEvent(QFocusEvent* event) {
    QPlainTextEdit::focusInEvent(event);
    if (event->reason() == Qt::BacktabFocusReason)
        emit editingFinishedSignal();
    else if (event->reason() == Qt::MouseFocusReason)
        emit EditorPaneFocusInSignal();
}

void EditorPane::focusOutEvent(QFocusEvent* event) {
    QPlainTextEdit::focusOutEvent(event);
    if (event->reason() == Qt::MouseFocusReason)
        emit EditorPaneFocusOutSignal();
}
