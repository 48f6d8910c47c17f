#pragma once

#include <QString>

// The per-user data folder and its upkeep.
namespace Utilities {

// The per-user data folder: "Orvane" in the writable generic data location, whatever the
// application name is at the time of the call.
QString getAppDataLocation();
// "Tutorial (Fake Data).csv" in the data folder.
QString getTutorialFilepath();

// Earlier versions kept their files one level too deep, in an "Orvane" subfolder of the data
// folder. Moves each file of that subfolder up, replacing what is there, and removes the
// subfolder once it holds nothing else. Returns false when something had to stay behind.
bool handleAppDataInRedundantFolders();
bool handleAppDataInRedundantFolders(const QString& dataFolder);

} // namespace Utilities
