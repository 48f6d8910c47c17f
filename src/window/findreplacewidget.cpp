#include "window/findreplacewidget.h"

#include <QComboBox>
#include <QEvent>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QShortcut>
#include <QToolButton>

FindReplaceWidget::FindReplaceWidget(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("findReplaceWidget"));
    grid = new QGridLayout(this);
    grid->setContentsMargins(6, 4, 6, 4);
    grid->setHorizontalSpacing(4);
    grid->setVerticalSpacing(3);

    findCombo = makeCombo(tr("Find"));
    replaceCombo = makeCombo(tr("Replace"));
    filterCombo = makeCombo(tr("Files to search, e.g. *.csv"));
    connect(findCombo, &QComboBox::editTextChanged, this, &FindReplaceWidget::onFindEdited);
    connect(replaceCombo, &QComboBox::editTextChanged, this, &FindReplaceWidget::onReplaceEdited);

    caseButton =
        makeToggle(QStringLiteral("Aa"), tr("Case Sensitive (alt+a)"), QStringLiteral("Alt+A"), false);
    wordButton = makeToggle(QStringLiteral("W"), tr("Match Whole Word (alt+shift+w)"),
                            QStringLiteral("Alt+Shift+W"), false);
    cellButton = makeToggle(QStringLiteral("[ ]"), tr("Match Whole Cell (alt+shift+l)"),
                            QStringLiteral("Alt+Shift+L"), false);
    regexButton =
        makeToggle(QStringLiteral(".*"), tr("Regular Expressions (alt+/)"), QStringLiteral("Alt+/"), false);
    selectedButton = makeToggle(QStringLiteral("Sel"), tr("Match Only in Selected Cells (alt+shift+s)"),
                                QStringLiteral("Alt+Shift+S"), false);
    highlightButton = makeToggle(QStringLiteral("Hi"), tr("Highlight Matches"), QString(), true);
    previewButton = makeToggle(QStringLiteral("Pre"), tr("Preview Replace (alt+shift+p)"),
                               QStringLiteral("Alt+Shift+P"), false);
    connect(caseButton, &QToolButton::toggled, this, &FindReplaceWidget::onCaseSensitiveToggled);
    connect(wordButton, &QToolButton::toggled, this, &FindReplaceWidget::onWholeWordToggled);
    connect(cellButton, &QToolButton::toggled, this, &FindReplaceWidget::onWholeCellToggled);
    connect(regexButton, &QToolButton::toggled, this, &FindReplaceWidget::onRegexToggled);
    connect(selectedButton, &QToolButton::toggled, this, &FindReplaceWidget::onInSelectedCellsToggled);
    connect(highlightButton, &QToolButton::toggled, this, &FindReplaceWidget::onHighlightToggled);
    connect(previewButton, &QToolButton::toggled, this, &FindReplaceWidget::onPreviewReplaceToggled);

    findPrevButton = makeButton(tr("Find Prev"), &FindReplaceWidget::onFindPrevButtonClicked);
    findNextButton = makeButton(tr("Find Next"), &FindReplaceWidget::onFindNextButtonClicked);
    findAllButton = makeButton(tr("Find All"), &FindReplaceWidget::onFindAllButtonClicked);
    replacePrevButton = makeButton(tr("Replace Prev"), &FindReplaceWidget::onReplacePrevButtonClicked);
    replaceNextButton = makeButton(tr("Replace Next"), &FindReplaceWidget::onReplaceNextButtonClicked);
    replaceAllButton = makeButton(tr("Replace All"), &FindReplaceWidget::onReplaceAllButtonClicked);
    findAllFilesButton = makeButton(tr("Find"), &FindReplaceWidget::onFindAllFilesButtonClicked);
    replaceAllFilesButton = makeButton(tr("Replace"), &FindReplaceWidget::onReplaceAllFilesButtonClicked);

    allFilesButton = new QToolButton(this);
    allFilesButton->setText(tr("All Files"));
    allFilesButton->setToolTip(tr("Find and Replace in All Open Files"));
    allFilesButton->setCheckable(true);
    allFilesButton->setAutoRaise(true);
    connect(allFilesButton, &QToolButton::clicked, this, &FindReplaceWidget::allFilesRequestedSignal);

    closeButton = new QToolButton(this);
    closeButton->setText(QStringLiteral("\u00d7"));
    closeButton->setToolTip(tr("Close (esc)"));
    closeButton->setAutoRaise(true);
    connect(closeButton, &QToolButton::clicked, this, &FindReplaceWidget::closeSignal);

    feedbackLabel = new QLabel(this);
    feedbackLabel->setObjectName(QStringLiteral("findFeedback"));

    auto* toggles = new QHBoxLayout;
    toggles->setSpacing(2);
    for (QToolButton* b : {caseButton, wordButton, cellButton, regexButton, selectedButton, highlightButton})
        toggles->addWidget(b);
    auto* replaceToggles = new QHBoxLayout;
    replaceToggles->setSpacing(2);
    replaceToggles->addWidget(previewButton);
    replaceToggles->addStretch(1);

    grid->addWidget(findCombo, 0, 0);
    grid->addLayout(toggles, 0, 1);
    grid->addWidget(findPrevButton, 0, 2);
    grid->addWidget(findNextButton, 0, 3);
    grid->addWidget(findAllButton, 0, 4);
    grid->addWidget(closeButton, 0, 6);
    grid->addWidget(allFilesButton, 0, 5);
    grid->addWidget(replaceCombo, 1, 0);
    grid->addLayout(replaceToggles, 1, 1);
    grid->addWidget(replacePrevButton, 1, 2);
    grid->addWidget(replaceNextButton, 1, 3);
    grid->addWidget(replaceAllButton, 1, 4);
    grid->addWidget(filterCombo, 2, 0);
    grid->addWidget(findAllFilesButton, 2, 3);
    grid->addWidget(replaceAllFilesButton, 2, 4);
    grid->addWidget(feedbackLabel, 3, 0, 1, 7);
    grid->setColumnStretch(0, 1);
    setFindConfiguration();
}

QComboBox* FindReplaceWidget::makeCombo(const QString& placeholder) {
    auto* combo = new QComboBox(this);
    combo->setEditable(true);
    combo->setInsertPolicy(QComboBox::NoInsert);
    combo->setMaxCount(kMaxRecentStrings);
    combo->setMinimumWidth(260);
    combo->lineEdit()->setPlaceholderText(placeholder);
    // The combo box keeps the focus and hands keys to its line edit past any filter there, so
    // both are watched.
    combo->installEventFilter(this);
    combo->lineEdit()->installEventFilter(this);
    return combo;
}

QToolButton* FindReplaceWidget::makeToggle(const QString& text, const QString& tip, const QString& keys,
                                           bool checked) {
    auto* button = new QToolButton(this);
    button->setText(text);
    button->setToolTip(tip);
    button->setCheckable(true);
    button->setChecked(checked);
    button->setAutoRaise(true);
    if (!keys.isEmpty()) {
        auto* shortcut = new QShortcut(QKeySequence(keys), this);
        shortcut->setContext(Qt::WidgetWithChildrenShortcut);
        connect(shortcut, &QShortcut::activated, button, &QToolButton::toggle);
    }
    return button;
}

QPushButton* FindReplaceWidget::makeButton(const QString& text, void (FindReplaceWidget::*slot)()) {
    auto* button = new QPushButton(text, this);
    button->setAutoDefault(false);
    button->setFocusPolicy(Qt::TabFocus);
    connect(button, &QPushButton::clicked, this, slot);
    return button;
}

// --- Configurations ------------------------------------------------------------------------------

void FindReplaceWidget::setFindConfiguration() {
    mode = 0;
    rebuild();
}

void FindReplaceWidget::setReplaceConfiguration() {
    mode = 1;
    rebuild();
}

void FindReplaceWidget::setAllFilesConfiguration() {
    mode = 2;
    rebuild();
}

void FindReplaceWidget::rebuild() {
    const bool replacing = mode >= 1;
    const bool allFiles = mode == 2;
    for (QWidget* w : std::initializer_list<QWidget*>{replaceCombo, previewButton, replacePrevButton,
                                                      replaceNextButton, replaceAllButton})
        w->setVisible(replacing);
    for (QWidget* w : std::initializer_list<QWidget*>{filterCombo, findAllFilesButton, replaceAllFilesButton})
        w->setVisible(allFiles);
    {
        const QSignalBlocker blocker(allFilesButton);
        allFilesButton->setChecked(allFiles);
    }
    feedbackLabel->clear();
    adjustSize();
    setFixedHeight(sizeHint().height());
    emitFindReplaceQuery();
}

// --- The query -----------------------------------------------------------------------------------

FindReplaceQuery FindReplaceWidget::getFindReplaceQuery(bool edited) const {
    FindReplaceQuery query;
    query.mode = mode;
    const auto text = [edited](const QComboBox* combo) {
        if (edited || combo->count() == 0)
            return combo->currentText();
        return combo->itemText(0);
    };
    query.findStr = text(findCombo);
    query.replaceStr = text(replaceCombo);
    query.filterStr = text(filterCombo);
    query.caseSensitive = caseButton->isChecked();
    query.wholeWord = wordButton->isChecked();
    query.wholeCell = cellButton->isChecked();
    query.regex = regexButton->isChecked();
    query.inSelectedCells = selectedButton->isChecked();
    query.highlightMatches = highlightButton->isChecked();
    query.previewReplace = mode >= 1 && previewButton->isChecked();
    return query;
}

void FindReplaceWidget::setFindReplaceQuery(const FindReplaceQuery& query) {
    const QSignalBlocker blocker(this);
    findCombo->setEditText(query.findStr);
    replaceCombo->setEditText(query.replaceStr);
    filterCombo->setEditText(query.filterStr);
    caseButton->setChecked(query.caseSensitive);
    wordButton->setChecked(query.wholeWord);
    cellButton->setChecked(query.wholeCell);
    regexButton->setChecked(query.regex);
    selectedButton->setChecked(query.inSelectedCells);
    highlightButton->setChecked(query.highlightMatches);
    previewButton->setChecked(query.previewReplace);
}

void FindReplaceWidget::emitFindReplaceQuery() {
    emit findReplaceQuerySignal(getFindReplaceQuery(true));
}

void FindReplaceWidget::setFindText(const QString& text) {
    findCombo->setEditText(text);
}

void FindReplaceWidget::focusFind() {
    findCombo->setFocus(Qt::ShortcutFocusReason);
    findCombo->lineEdit()->selectAll();
}

void FindReplaceWidget::addToList(QComboBox* combo, const QString& text) {
    if (text.isEmpty())
        return;
    const QSignalBlocker blocker(combo);
    const QString current = combo->currentText();
    const int at = combo->findText(text, Qt::MatchExactly | Qt::MatchCaseSensitive);
    if (at >= 0)
        combo->removeItem(at);
    combo->insertItem(0, text);
    while (combo->count() > kMaxRecentStrings)
        combo->removeItem(combo->count() - 1);
    combo->setEditText(current);
}

void FindReplaceWidget::addFindStringToList(const QString& text) {
    addToList(findCombo, text);
}

void FindReplaceWidget::addReplaceStringToList(const QString& text) {
    addToList(replaceCombo, text);
}

void FindReplaceWidget::addFilterStringToList(const QString& text) {
    addToList(filterCombo, text);
}

QStringList FindReplaceWidget::recentFindStrings() const {
    QStringList out;
    for (int i = 0; i < findCombo->count(); ++i)
        out << findCombo->itemText(i);
    return out;
}

void FindReplaceWidget::recordTexts() {
    addFindStringToList(findCombo->currentText());
    if (mode >= 1)
        addReplaceStringToList(replaceCombo->currentText());
    if (mode == 2)
        addFilterStringToList(filterCombo->currentText());
}

// --- Feedback --------------------------------------------------------------------------------

void FindReplaceWidget::noMatch(const QString& text) {
    showFeedback(tr("No matches found for \"%1\".").arg(text));
}

void FindReplaceWidget::showFeedback(const QString& text) {
    feedbackLabel->setText(text);
    feedbackLabel->adjustSize();
}

QString FindReplaceWidget::feedbackText() const {
    return feedbackLabel->text();
}

// --- Slots -----------------------------------------------------------------------------------

void FindReplaceWidget::onFindEdited() {
    feedbackLabel->clear();
    emitFindReplaceQuery();
}

void FindReplaceWidget::onReplaceEdited() {
    emitFindReplaceQuery();
}

void FindReplaceWidget::onCaseSensitiveToggled() {
    emitFindReplaceQuery();
}

void FindReplaceWidget::onWholeWordToggled() {
    emitFindReplaceQuery();
}

void FindReplaceWidget::onWholeCellToggled() {
    emitFindReplaceQuery();
}

void FindReplaceWidget::onRegexToggled() {
    emitFindReplaceQuery();
}

void FindReplaceWidget::onInSelectedCellsToggled() {
    emitFindReplaceQuery();
}

void FindReplaceWidget::onHighlightToggled() {
    emitFindReplaceQuery();
}

void FindReplaceWidget::onPreviewReplaceToggled() {
    emitFindReplaceQuery();
}

void FindReplaceWidget::onFindNextButtonClicked() {
    recordTexts();
    feedbackLabel->clear();
    emit findNextButtonClickedSignal(getFindReplaceQuery(false));
}

void FindReplaceWidget::onFindPrevButtonClicked() {
    recordTexts();
    feedbackLabel->clear();
    emit findPrevButtonClickedSignal(getFindReplaceQuery(false));
}

void FindReplaceWidget::onFindAllButtonClicked() {
    recordTexts();
    feedbackLabel->clear();
    emit findAllButtonClickedSignal(getFindReplaceQuery(false));
}

void FindReplaceWidget::onReplaceNextButtonClicked() {
    recordTexts();
    feedbackLabel->clear();
    emit replaceNextButtonClickedSignal(getFindReplaceQuery(false));
}

void FindReplaceWidget::onReplacePrevButtonClicked() {
    recordTexts();
    feedbackLabel->clear();
    emit replacePrevButtonClickedSignal(getFindReplaceQuery(false));
}

void FindReplaceWidget::onReplaceAllButtonClicked() {
    recordTexts();
    feedbackLabel->clear();
    emit replaceAllButtonClickedSignal(getFindReplaceQuery(false));
}

void FindReplaceWidget::onFindAllFilesButtonClicked() {
    recordTexts();
    feedbackLabel->clear();
    emit findAllFilesButtonClickedSignal(getFindReplaceQuery(false));
}

void FindReplaceWidget::onReplaceAllFilesButtonClicked() {
    recordTexts();
    feedbackLabel->clear();
    emit replaceAllFilesButtonClickedSignal(getFindReplaceQuery(false));
}

bool FindReplaceWidget::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::ShortcutOverride) {
        // Return and Escape belong to the search bar while it has the focus, not to the window's
        // shortcuts.
        auto* key = static_cast<QKeyEvent*>(event);
        const Qt::KeyboardModifiers mods = key->modifiers() & ~Qt::KeypadModifier;
        const bool enter = key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter;
        if ((enter && (mods == Qt::NoModifier || mods == Qt::ShiftModifier)) ||
            key->key() == Qt::Key_Escape) {
            event->accept();
            return true;
        }
        return QWidget::eventFilter(watched, event);
    }
    if (event->type() != QEvent::KeyPress)
        return QWidget::eventFilter(watched, event);
    const auto* key = static_cast<QKeyEvent*>(event);
    if (key->key() == Qt::Key_Escape) {
        emit closeSignal();
        return true;
    }
    if (key->key() != Qt::Key_Return && key->key() != Qt::Key_Enter)
        return QWidget::eventFilter(watched, event);
    const Qt::KeyboardModifiers mods = key->modifiers() & ~Qt::KeypadModifier;
    if (mods != Qt::NoModifier && mods != Qt::ShiftModifier)
        return QWidget::eventFilter(watched, event); // alt+return and friends are the window's
    const bool back = mods == Qt::ShiftModifier;
    if (watched == replaceCombo || watched == replaceCombo->lineEdit())
        back ? onReplacePrevButtonClicked() : onReplaceNextButtonClicked();
    else if (watched == filterCombo || watched == filterCombo->lineEdit())
        onFindAllFilesButtonClicked();
    else
        back ? onFindPrevButtonClicked() : onFindNextButtonClicked();
    return true;
}
