#include "view/quickedit.h"

#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QMouseEvent>

QuickEdit::QuickEdit(QWidget* parent) : QLineEdit(parent) {
    setFrame(false);
    setAttribute(Qt::WA_InputMethodEnabled);
    connect(this, &QuickEdit::unicodeTypingSignal, this, [this](bool on) { unicodeTyping = on; });
    connect(this, &QLineEdit::textEdited, this, [this] { ++textEditedCount; });
}

void QuickEdit::setEditorColors(const QColor& background, const QColor& text) {
    setStyleSheet(QStringLiteral("QLineEdit {background: %1;\n").arg(background.name()) +
                  QStringLiteral("color: %1;}\n").arg(text.name()));
}

void QuickEdit::applyPendingSelectionClear() {
    if (!pendingSelectionClear)
        return;
    pendingSelectionClear = false;
    deselect();
    end(false);
}

void QuickEdit::keyPressEvent(QKeyEvent* event) {
    if (event->nativeScanCode() == kImeScanCode) {
        // The input method owns this key; its result arrives as an input method event.
        event->accept();
        return;
    }
    const Qt::KeyboardModifiers mods = event->modifiers();
    const int key = event->key();
    const bool plainReturn = key == Qt::Key_Return && mods == Qt::NoModifier;
    const bool plainEnter = key == Qt::Key_Enter && (mods == Qt::NoModifier || mods == Qt::KeypadModifier);
    if (plainReturn || plainEnter || key == Qt::Key_Up || key == Qt::Key_Down) {
        // The view moves the selection; the edit ends on the way.
        event->ignore();
        return;
    }
    emit unicodeTypingSignal(true);
    QLineEdit::keyPressEvent(event);
}

void QuickEdit::inputMethodEvent(QInputMethodEvent* event) {
    composing = !event->preeditString().isEmpty();
    const QString before = text();
    const int editedBefore = textEditedCount;
    QLineEdit::inputMethodEvent(event);
    // A commit changes the text without a key press: report it as typing does, once.
    if (text() != before && textEditedCount == editedBefore)
        emit textEdited(text());
}

void QuickEdit::focusInEvent(QFocusEvent* event) {
    QLineEdit::focusInEvent(event);
    applyPendingSelectionClear();
}

void QuickEdit::mousePressEvent(QMouseEvent* event) {
    QLineEdit::mousePressEvent(event);
    event->accept();
}

void QuickEdit::mouseDoubleClickEvent(QMouseEvent* event) {
    QLineEdit::mouseDoubleClickEvent(event);
    event->accept();
}
