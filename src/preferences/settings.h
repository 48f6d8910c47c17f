#pragma once

#include "preferences/settingtypes.h"
#include "storage/fileparameters.h"

#include <QCoreApplication>

#include <map>
#include <vector>

class QFont;
class Theme;

QString convertSettingDataTypeToString(SettingDataType type);
bool sortSettingByName(const Setting* a, const Setting* b);

// The registry of every user-visible option with its current and default value.
//
// Copies are deliberately shallow: a plain copy shares the Setting records, so every copy sees
// a change made through any other. copySettings() is the one deep copy (give that to a worker).
// The destructor frees nothing; the owner of the original calls clear() once.
class Settings {
    Q_DECLARE_TR_FUNCTIONS(Settings)

public:
    Settings();

    Setting* addSetting(SettingType type, const QString& name, const QVariant& value,
                        const QVariant& defaultValue, ScopeType scope, SettingDataType dataType,
                        bool userEditable);
    Setting* find(const QString& name) const;
    bool contains(const QString& name) const;
    Setting* get(SettingType type) const { return settingsByType.at(type); }
    const std::vector<Setting*>& getSettings() const { return settings; }

    // Typed getters; each throws std::runtime_error("Invalid type") when the setting holds
    // another data type, and std::out_of_range for an unknown key.
    bool getValueBool(SettingType type) const;
    int getValueInt(SettingType type) const;
    float getValueFloat(SettingType type) const;
    QString getValueString(SettingType type) const;
    RefreshBehavior getValueRefreshBehavior(SettingType type) const;
    LineEndingType getValueLineEnding(SettingType type) const;
    EncodingType getValueEncoding(SettingType type) const;
    ParsingStandard getValueParsingStandard(SettingType type) const;
    QFont getFont() const;
    Theme getTheme() const;
    void setTheme(const Theme& theme);
    UuidType getUuidType() const;

    void setValue(SettingType type, const QVariant& value);
    void toggleBoolValue(SettingType type);

    // The text of the settings file: the value passed through its data type's converter.
    QString convertValueToStringForFile(SettingType type) const;
    QString convertDefaultValueToStringForFile(SettingType type) const;
    QVariant convertStringToValue(SettingDataType dataType, const QString& text) const;

    Settings copySettings() const;
    void clear();

private:
    void registerAll();
    void populateDataTypeStringToValFunctionMap();
    void populateDataTypeValToStringFunctionMap();
    const Setting* checked(SettingType type, std::initializer_list<SettingDataType> allowed) const;

    std::vector<Setting*> settings;
    std::map<SettingType, Setting*> settingsByType;
    std::map<QString, Setting*> settingsByName;
    std::map<SettingDataType, std::function<QVariant(const QString&)>> dataTypeStringToValFunctionMap;
    std::map<SettingDataType, std::function<QString(const QVariant&)>> dataTypeValToStringFunctionMap;
};
