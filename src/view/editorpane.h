#pragma once

#include <QPlainTextEdit>

class Theme;

// The multi-line editor under the tables that always shows the main cell. Keys that end an edit
// or move away become signals; with the navigation flag on, Return and Tab stay in the text.
class EditorPane : public QPlainTextEdit {
    Q_OBJECT

public:
    explicit EditorPane(QWidget* parent = nullptr);

    void setConsumeNavigationKeys(bool on) { consumeNavigationKeys = on; }
    // The pane wears the colours of the cells it edits.
    void setTheme(const Theme& theme);
    bool getConsumeNavigationKeys() const { return consumeNavigationKeys; }
    // Feeds a key that started an edit elsewhere, as if it had been typed here.
    void typeKey(QKeyEvent* event) { keyPressEvent(event); }

signals:
    void editingFinishedSignal();
    void nextRowWithColumnResetSignal();
    void nextColumnWithColumnResetSignal();
    void previousColumnWithColumnResetSignal();
    void EditorPaneFocusInSignal();
    void EditorPaneFocusOutSignal();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    bool focusNextPrevChild(bool next) override;

private:
    bool consumeNavigationKeys = true;
};
