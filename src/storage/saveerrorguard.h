#pragma once

#include <QSaveFile>
#include <QString>

// Keeps the reason a save failed: when the writer returns, whatever the file reported (a folder
// without write permission, a full disk, a failed rename) lands in `error` for the window to show.
class SaveErrorGuard {
public:
    SaveErrorGuard(const QSaveFile& file, QString& error) : file(file), error(error) { error.clear(); }
    ~SaveErrorGuard() {
        if (file.error() != QFileDevice::NoError)
            error = file.errorString();
    }
    SaveErrorGuard(const SaveErrorGuard&) = delete;
    SaveErrorGuard& operator=(const SaveErrorGuard&) = delete;

private:
    const QSaveFile& file;
    QString& error;
};
