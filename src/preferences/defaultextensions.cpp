#include "preferences/defaultextensions.h"

#include "util/fileparameterutilities.h"

namespace PreferenceFiles {

std::vector<ExtensionData> getDefaultExtensions() {
    struct Row {
        const char* extension;
        const char* delimiter;
        const char* saveDelimiter;
    };
    static constexpr Row rows[] = {
        {"csv", "(auto)", ","}, {"tsv", "\\t", "\\t"}, {"tab", "\\t", "\\t"},
        {"dsv", ";", ";"},      {"psv", "|", "|"},
    };

    std::vector<ExtensionData> table;
    table.reserve(std::size(rows));
    for (const Row& row : rows) {
        ExtensionData data;
        data.extension = QString::fromLatin1(row.extension);
        data.delimiter = QString::fromLatin1(row.delimiter);
        data.saveDelimiter = QString::fromLatin1(row.saveDelimiter);
        data.lineEnding = Utilities::getLineEndingFromPlatform();
        data.encoding = UTF_8;
        data.parsingStandard = RFC_4180;
        table.push_back(data);
    }
    return table;
}

} // namespace PreferenceFiles
