#pragma once

#include <QTextBrowser>
#include <QUrl>

class Theme;

// A window that shows one of the program's own HTML pages (the user guide, the changelog) in
// the colours of the theme.
class HelpWindow : public QTextBrowser {
    Q_OBJECT

public:
    HelpWindow(const QString& title, const QUrl& page, const Theme& theme, QWidget* parent = nullptr);

    // The style sheet that the pages are shown with, from the theme's colours.
    static QString htmlStyle(const Theme& theme);
    void setTheme(const Theme& theme);

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    QUrl page;
};
