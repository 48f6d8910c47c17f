#pragma once

#include <QString>

// The per-user data folder and its upkeep.
namespace Utilities {

// QStandardPaths' writable AppDataLocation; depends on the application name at the time of call.
QString getAppDataLocation();

// Earlier versions kept their files one level too deep, in an "Orvane" subfolder of the data
// folder. Moves each file of that subfolder up, replacing what is there, and removes the
// subfolder once it holds nothing else. Returns false when something had to stay behind.
bool handleAppDataInRedundantFolders();
bool handleAppDataInRedundantFolders(const QString& dataFolder);

} // namespace Utilities
