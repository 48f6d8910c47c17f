#include "window/launcher.h"

#include "window/optionlistwidget.h"

#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPainterPath>
#include <QScrollBar>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>

namespace {
constexpr int kMargin = 10;
constexpr int kRadius = 8;
} // namespace

Launcher::Launcher(const Settings& launcherSettings, QWidget* parent)
    : QWidget(parent), settings(launcherSettings), theme(launcherSettings.getTheme()),
      titleFont(QStringLiteral("Lucida Grande"), 18), descriptionFont(QStringLiteral("Lucida Grande"), 13),
      promptFont(QStringLiteral("Lucida Grande"), 18), feedbackFont(QStringLiteral("Lucida Grande"), 16) {
    setWindowFlags(windowFlags() | Qt::FramelessWindowHint);
    // Opaque: a see-through panel would make every keystroke repaint the table under it.
    setAttribute(Qt::WA_OpaquePaintEvent);
    setAttribute(Qt::WA_DeleteOnClose);
    // Pixel sizes keep the fixed heights of the title and prompt lines whatever the screen's dots.
    titleFont.setPixelSize(16);
    descriptionFont.setPixelSize(13);
    promptFont.setPixelSize(17);
    feedbackFont.setPixelSize(14);

    layout = new QVBoxLayout(this);
    layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    layout->setSpacing(6);
    titleLabel = new QLabel(this);
    titleLabel->setFont(titleFont);
    titleLabel->setFixedHeight(kTitleHeight);
    titleLabel->setTextFormat(Qt::PlainText);
    layout->addWidget(titleLabel);
    prompt = new QLineEdit(this);
    prompt->setFont(promptFont);
    prompt->setFixedHeight(kPromptHeight);
    prompt->setAttribute(Qt::WA_MacShowFocusRect, false);
    prompt->setFrame(false);
    prompt->installEventFilter(this);
    layout->addWidget(prompt);
    layout->addStretch(1);
    connect(prompt, &QLineEdit::textEdited, this, &Launcher::promptEditedSignal);
    applyTheme();
    setFocusProxy(prompt);
}

void Launcher::applyTheme() {
    titleLabel->setStyleSheet(QStringLiteral("color: %1;").arg(theme.TextColor.name()));
    prompt->setStyleSheet(
        QStringLiteral("QLineEdit { color: %1; background: %2; border: none; border-radius: 3px;"
                       " padding-left: 4px; selection-background-color: %3; }")
            .arg(theme.TextColor.name(), theme.Background1Color.name(), theme.SelectedItemColor.name()));
    if (descriptionLabel)
        descriptionLabel->setStyleSheet(QStringLiteral("color: %1;").arg(theme.StaticTextColor.name()));
    if (feedbackLabel)
        feedbackLabel->setStyleSheet(QStringLiteral("color: %1;").arg(theme.HighlightedButtonColor.name()));
    update();
}

void Launcher::setTheme(const Theme& newTheme) {
    theme = newTheme;
    applyTheme();
    if (optionList)
        optionList->setTheme(theme);
}

void Launcher::propagateSettings(const Settings& newSettings) {
    settings = newSettings;
    setTheme(settings.getTheme());
}

void Launcher::setQueryTitle(const QString& text) {
    titleLabel->setText(text);
}

void Launcher::setQueryDescription(const QString& text) {
    if (!descriptionLabel) {
        descriptionLabel = new QLabel(this);
        descriptionLabel->setFont(descriptionFont);
        descriptionLabel->setTextFormat(Qt::RichText);
        descriptionLabel->setWordWrap(true);
        layout->insertWidget(1, descriptionLabel);
        applyTheme();
    }
    descriptionLabel->setText(text);
}

void Launcher::setEditorText(const QString& text) {
    prompt->setText(text);
}

void Launcher::setEditorSelection(int start, int length) {
    prompt->setSelection(start, length);
}

void Launcher::setEditorCursorPosition(int position) {
    prompt->setCursorPosition(position);
}

void Launcher::setupEntryFeedback() {
    if (feedbackLabel)
        return;
    feedbackLabel = new QLabel(this);
    feedbackLabel->setFont(feedbackFont);
    feedbackLabel->setTextFormat(Qt::PlainText);
    layout->insertWidget(layout->indexOf(prompt) + 1, feedbackLabel);
    applyTheme();
}

void Launcher::setEntryFeedbackText(const QString& text) {
    setupEntryFeedback();
    feedbackLabel->setText(text);
}

void Launcher::setOptions(const std::vector<OptionData>& options) {
    delete optionList;
    optionList = new OptionListWidget(options, theme, this);
    layout->insertWidget(layout->indexOf(prompt) + (feedbackLabel ? 2 : 1), optionList);
    optionList->setFixedHeight(std::min(kMaxListHeight, optionList->neededHeight()));
    optionList->installEventFilter(this);
    // A second list replaces the first, and so does its connection to the prompt.
    disconnect(listConnection);
    listConnection = connect(prompt, &QLineEdit::textChanged, this, [this](const QString& text) {
        optionList->updateOptionList(text);
        optionList->setFixedHeight(std::min(kMaxListHeight, optionList->neededHeight()));
        adjustHeight(0);
    });
    connect(optionList, &OptionListWidget::itemClicked, this, &Launcher::returnOptionResponseString);
    connect(optionList->verticalScrollBar(), &QScrollBar::valueChanged, this,
            &Launcher::putFocusInPromptEditor);
    connect(optionList, &OptionListWidget::selectionChangedSignal, this, &Launcher::selectionChangedSignal);
}

void Launcher::adjustHeight(int extra) {
    int height = extra + 2 * kMargin;
    int shown = 0;
    for (QWidget* child : {static_cast<QWidget*>(titleLabel), static_cast<QWidget*>(descriptionLabel),
                           static_cast<QWidget*>(prompt), static_cast<QWidget*>(feedbackLabel),
                           static_cast<QWidget*>(optionList)}) {
        if (!child || child->isHidden())
            continue;
        int h = child->sizeHint().height();
        if (child->maximumHeight() == child->minimumHeight())
            h = child->maximumHeight();
        else if (child == descriptionLabel && width() > 2 * kMargin)
            h = descriptionLabel->heightForWidth(width() - 2 * kMargin);
        height += h;
        ++shown;
    }
    height += layout->spacing() * std::max(0, shown - 1);
    setFixedHeight(height);
}

QString Launcher::getSelectedResponseString() const {
    return optionList ? optionList->getSelectedResponseString() : QString();
}

void Launcher::closeLauncher() {
    emit launcherClosedSignal();
    close();
}

void Launcher::putFocusInPromptEditor() {
    prompt->setFocus();
}

void Launcher::onCurrentTableChanged(const QString& name) {
    if (optionList)
        optionList->onCurrentTableChanged(name);
}

void Launcher::returnPromptString() {
    // A second Enter before the deferred delete would answer twice.
    if (responded)
        return;
    if (closeOnResponse) {
        responded = true;
        hide();
        deleteLater();
    }
    const QString text = prompt->text();
    const int start = prompt->selectionStart();
    const int length = static_cast<int>(prompt->selectedText().size());
    const int cursor = prompt->cursorPosition();
    emit launcherResponseSignal(text);
    emit launcherResponseWithStateSignal(text, start, length, cursor);
}

void Launcher::returnOptionResponseString(const QString& response) {
    if (responded)
        return;
    if (closeOnResponse) {
        responded = true;
        hide();
        deleteLater();
    }
    emit launcherResponseSignal(response);
}

void Launcher::onPressEnter() {
    if (optionList && optionList->getNumVisibleOptions() > 0 && optionList->getSelectedIndex() >= 0)
        returnOptionResponseString(optionList->getSelectedResponseString());
    else
        returnPromptString();
}

void Launcher::onPressUp() {
    if (optionList)
        optionList->onPressUp();
}

void Launcher::onPressDown() {
    if (optionList)
        optionList->onPressDown();
}

void Launcher::onPressPageUp() {
    if (optionList)
        optionList->selectIndex(std::max(0, optionList->getSelectedIndex() - optionList->rowsPerPage()));
}

void Launcher::onPressPageDown() {
    if (optionList && optionList->getNumVisibleOptions() > 0)
        optionList->selectIndex(std::min(optionList->getNumVisibleOptions() - 1,
                                         optionList->getSelectedIndex() + optionList->rowsPerPage()));
}

bool Launcher::eventFilter(QObject* watched, QEvent* event) {
    if (watched == prompt && event->type() == QEvent::ShortcutOverride) {
        // The launcher's own keys come before the window's shortcuts: Page Down pages the list
        // rather than the table under it.
        auto* key = static_cast<QKeyEvent*>(event);
        const Qt::KeyboardModifiers mods = key->modifiers() & ~Qt::KeypadModifier;
        const int k = key->key();
        const bool plain =
            mods == Qt::NoModifier &&
            (k == Qt::Key_Return || k == Qt::Key_Enter || k == Qt::Key_Up || k == Qt::Key_Down ||
             k == Qt::Key_PageUp || k == Qt::Key_PageDown || k == Qt::Key_Escape);
        const bool back = k == Qt::Key_Minus && (mods & (Qt::ControlModifier | Qt::MetaModifier));
        if (plain || back) {
            event->accept();
            return true;
        }
        return QWidget::eventFilter(watched, event);
    }
    if (watched != prompt || event->type() != QEvent::KeyPress)
        return QWidget::eventFilter(watched, event);
    auto* key = static_cast<QKeyEvent*>(event);
    const Qt::KeyboardModifiers mods = key->modifiers() & ~Qt::KeypadModifier;
    switch (key->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        onPressEnter();
        return true;
    case Qt::Key_Up:
        onPressUp();
        return true;
    case Qt::Key_Down:
        onPressDown();
        return true;
    case Qt::Key_PageUp:
        onPressPageUp();
        return true;
    case Qt::Key_PageDown:
        onPressPageDown();
        return true;
    case Qt::Key_Left:
    case Qt::Key_Right:
        if (mods == Qt::NoModifier && prompt->hasSelectedText()) {
            const int start = prompt->selectionStart();
            const int end = start + static_cast<int>(prompt->selectedText().size());
            prompt->deselect();
            prompt->setCursorPosition(key->key() == Qt::Key_Left ? start : end);
            return true;
        }
        return false;
    case Qt::Key_Minus:
        if (mods & (Qt::ControlModifier | Qt::MetaModifier)) {
            emit goBackSignal();
            return true;
        }
        return false;
    case Qt::Key_Escape:
        emit launcherEscapedSignal();
        closeLauncher();
        return true;
    default:
        return false;
    }
}

void Launcher::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    // Rounded corners by a mask, so that the panel stays opaque.
    QPainterPath path;
    path.addRoundedRect(QRectF(rect()), kRadius, kRadius);
    setMask(QRegion(path.toFillPolygon().toPolygon()));
}

void Launcher::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), theme.Background2Color);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(theme.Background4Color, 1));
    painter.setBrush(theme.Background2Color);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), kRadius, kRadius);
}
