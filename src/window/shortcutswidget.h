#pragma once

#include "preferences/preferencefiles.h"

#include <QWidget>

#include <vector>

class Commands;
class QLineEdit;
class QTableWidget;

// The "Keyboard Shortcuts" tab: every command with its shortcuts in a line of text, several
// of them separated by "|".
class ShortcutsWidget : public QWidget {
    Q_OBJECT

public:
    explicit ShortcutsWidget(const Commands& commands, QWidget* parent = nullptr);

    // Writes the shortcuts file from the lines.
    bool apply();
    void restoreDefaults();
    void filter(const QString& text);
    // True when no shortcut stands on two commands, or the user wants the changes anyway;
    // `closing` words the question for the window that is about to close.
    bool checkRedundantShortcuts(bool closing);
    // Shortcut text -> the commands that have it, for those with more than one.
    std::map<QString, QStringList> findRedundantShortcuts() const;

    // The user's shortcut from the line's text: "(none)" empties it, unreadable text is the default.
    static QString userValue(const PreferenceFiles::ShortcutEntry& entry, const QString& text);
    QLineEdit* shortcutEdit(const QString& name) const;
    QLineEdit* getSearchEdit() const { return searchEdit; }

signals:
    void updateSignal();

private:
    std::vector<PreferenceFiles::ShortcutEntry> entries;
    std::vector<QLineEdit*> edits;
    QTableWidget* table = nullptr;
    QLineEdit* searchEdit = nullptr;
};
