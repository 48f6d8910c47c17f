#pragma once

#include "preferences/settings.h"

#include <QWidget>

class QLineEdit;
class QTableWidget;

// The "Settings" tab: one row per setting the user may change, global and default table
// settings apart, each with the widget of its data type and a button for its default.
class SettingsWidget : public QWidget {
    Q_OBJECT

public:
    explicit SettingsWidget(const Settings& current, QWidget* parent = nullptr);
    ~SettingsWidget() override;

    // Reads every widget back into the settings and writes the settings file.
    bool apply();
    void restoreDefaults();
    // Hides the rows whose name lacks `text`.
    void filter(const QString& text);

    // The value widget of a setting, and the file text it shows.
    static QWidget* makeUserValueWidget(const Setting* setting, QWidget* parent);
    static QString userValueText(const Setting* setting, const QWidget* widget);
    static void setUserValueText(const Setting* setting, QWidget* widget, const QString& text);
    // Hands the widget's value to the record.
    static void userValue(Setting* setting, const QWidget* widget);

    const Settings& getSettings() const { return settings; }
    QWidget* valueWidget(const QString& name) const;
    QLineEdit* getSearchEdit() const { return searchEdit; }

signals:
    void updateSignal();
    void openFileMetadataSignal();

private:
    QTableWidget* makeTable(ScopeType scope);

    Settings settings;
    QLineEdit* searchEdit = nullptr;
    std::vector<QTableWidget*> tables;
    std::vector<std::pair<Setting*, QWidget*>> rows;
};
