#pragma once

#include "storage/fileparameters.h"

#include <vector>

namespace PreferenceFiles {

// The file extension table a new user starts with, in the order the file lists it. Delimiters
// are in the table's own notation ("(auto)", "\t"), not the actual characters.
std::vector<ExtensionData> getDefaultExtensions();

} // namespace PreferenceFiles
