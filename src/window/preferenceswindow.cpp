#include "window/preferenceswindow.h"

#include "window/fileextensionswidget.h"
#include "window/settingswidget.h"
#include "window/shortcutswidget.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QVBoxLayout>

PreferencesWindow::PreferencesWindow(const Settings& settings, const Commands& commands,
                                     const std::vector<ExtensionData>& extensions, QWidget* parent)
    : QWidget(parent, Qt::Window) {
    setWindowTitle(tr("Preferences - %2").arg(QStringLiteral("Orvane")));
    setAttribute(Qt::WA_DeleteOnClose);
    resize(900, 700);
    auto* layout = new QVBoxLayout(this);
    tabs = new QTabWidget(this);
    settingsWidget = new SettingsWidget(settings, tabs);
    shortcutsWidget = new ShortcutsWidget(commands, tabs);
    extensionsWidget = new FileExtensionsWidget(extensions, tabs);
    tabs->addTab(settingsWidget, tr("Settings"));
    tabs->addTab(shortcutsWidget, tr("Keyboard Shortcuts"));
    tabs->addTab(extensionsWidget, tr("File Extension Options"));
    layout->addWidget(tabs, 1);
    connect(settingsWidget, &SettingsWidget::updateSignal, this, &PreferencesWindow::onSettingsUpdated);
    connect(shortcutsWidget, &ShortcutsWidget::updateSignal, this, &PreferencesWindow::onShortcutsUpdated);
    connect(extensionsWidget, &FileExtensionsWidget::updateSignal, this,
            &PreferencesWindow::onPreferencesUpdated);
    connect(settingsWidget, &SettingsWidget::openFileMetadataSignal, this,
            &PreferencesWindow::openFileMetadataSignal);
    connect(extensionsWidget, &FileExtensionsWidget::makeExtensionsFileSignal, this,
            &PreferencesWindow::makeExtensionsFileSignal);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    auto* cancel = new QPushButton(tr("Cancel"), this);
    auto* applyButton = new QPushButton(tr("Apply"), this);
    auto* ok = new QPushButton(tr("OK"), this);
    ok->setDefault(true);
    for (QPushButton* button : {cancel, applyButton, ok})
        buttons->addWidget(button);
    layout->addLayout(buttons);
    connect(cancel, &QPushButton::clicked, this, &QWidget::close);
    connect(applyButton, &QPushButton::clicked, this, &PreferencesWindow::onApplyClicked);
    connect(ok, &QPushButton::clicked, this, &PreferencesWindow::onOkClicked);
}

void PreferencesWindow::openTab(TabType tab) {
    tabs->setCurrentIndex(tab);
    QWidget* widget = tabs->currentWidget();
    if (QLineEdit* search = widget->findChild<QLineEdit*>())
        search->setFocus();
    else
        widget->setFocus();
}

bool PreferencesWindow::apply(bool closing) {
    bool written = false;
    bool stayed = false;
    if (settingsDirty) {
        settingsWidget->apply();
        settingsDirty = false;
        written = true;
    }
    if (shortcutsDirty) {
        if (shortcutsWidget->checkRedundantShortcuts(closing)) {
            shortcutsWidget->apply();
            shortcutsDirty = false;
            written = true;
        } else {
            stayed = true;
        }
    }
    if (extensionsDirty) {
        extensionsWidget->apply();
        extensionsDirty = false;
        written = true;
    }
    if (written)
        emit updateSignal();
    return !stayed;
}

void PreferencesWindow::onOkClicked() {
    if (apply(true))
        close();
}

void PreferencesWindow::onApplyClicked() {
    apply(false);
}

void PreferencesWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier) {
        close();
        return;
    }
    QWidget::keyPressEvent(event);
}
