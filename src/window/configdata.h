#pragma once

#include "convert/printsettings.h"
#include "storage/fileparameters.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

// Which panes and bars a window shows. These are global settings of the window; the record
// travels in ConfigData so that "Orvane.ini" can remember them across runs.
struct PaneVisibility {
    bool showTabBar = true;
    bool showSideBar = true;
    bool showFileMetadata = false;
    bool showSideBarOpenFiles = true;
    bool showSideBarFolders = true;
    bool showEditorPane = false;

    bool operator==(const PaneVisibility&) const = default;
};

// What the import window starts with.
struct ImportDefaults {
    ExtensionData extensionData; // delimiters as actual characters
    bool saveLocalInOriginatingDir = false;
    bool openFilesAfterImport = false;
    bool preserveStructure = false;

    bool operator==(const ImportDefaults&) const = default;
};

// What a main window persists. The window fills it and hands it to Application, which writes
// "Orvane.ini".
struct ConfigData {
    QByteArray windowGeometry; // QWidget::saveGeometry
    int windowState = 0;       // Qt::WindowStates
    int sideBarShowWidth = 0;
    int editorPaneShowHeight = 0;
    QString defaultOpenFolderpath;
    QStringList sidebarFolderpathList;
    QStringList recentFilepathList;
    PaneVisibility paneVisibility;
    bool useThousandsSeparators = true;
    bool hideColsWithNoData = false;
    bool excludeEmptyCells = false;
    ImportDefaults importDefaults;
    PrintSettings printData;

    bool operator==(const ConfigData&) const = default;
};
