#include "window/helpwindow.h"

#include "preferences/theme.h"

#include <QKeyEvent>
#include <QPalette>
#include <QTextDocument>

HelpWindow::HelpWindow(const QString& title, const QUrl& helpPage, const Theme& theme, QWidget* parent)
    : QTextBrowser(parent), page(helpPage) {
    // A window of its own over its main window, gone when closed.
    setWindowFlag(Qt::Window);
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(title);
    setOpenExternalLinks(true);
    setReadOnly(true);
    document()->setDocumentMargin(16);
    setTheme(theme);
    resize(760, 640);
}

void HelpWindow::keyPressEvent(QKeyEvent* event) {
    // A page to read and put away: Escape closes it, as it would a dialog.
    if (event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier) {
        close();
        return;
    }
    QTextBrowser::keyPressEvent(event);
}

QString HelpWindow::htmlStyle(const Theme& theme) {
    return QStringLiteral("body { color: %1; background-color: %2; }\n"
                          "h1, h2, h3 { color: %3; }\n"
                          "a { color: %4; }\n"
                          "code, kbd { background-color: %5; color: %1; }\n"
                          "th { background-color: %6; color: %1; }\n"
                          "td, th { padding: 3px 8px; }\n")
        .arg(theme.TextColor.name(), theme.Background1Color.name(), theme.StaticTextColor.name(),
             theme.HighlightedButtonColor.name(), theme.Background3Color.name(), theme.HeaderColor.name());
}

void HelpWindow::setTheme(const Theme& theme) {
    QPalette colours = palette();
    colours.setColor(QPalette::Base, theme.Background1Color);
    colours.setColor(QPalette::Text, theme.TextColor);
    setPalette(colours);
    document()->setDefaultStyleSheet(htmlStyle(theme));
    // The style sheet applies when a page is read: read it again.
    if (source() == page)
        reload();
    else
        setSource(page);
}
