#include "window/tutorialwindow.h"

#include "view/tableview.h"
#include "window/commands.h"
#include "window/mainwindow.h"

#include <QAction>
#include <QCoreApplication>
#include <QEvent>
#include <QHBoxLayout>
#include <QKeySequence>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>

namespace {

QString translated(const char* text) {
    return QCoreApplication::translate("TutorialWindow", text);
}

// "Data/Sort" as a menu path the user reads: "Data › Sort". Commands in no menu have none.
QString menuPath(const QString& category) {
    if (category.isEmpty() || category == QLatin1String("-"))
        return QString();
    return category.split(QLatin1Char('/')).join(QStringLiteral(" \u203a "));
}

// At most two of the keys, the way the menus show them.
QString keysText(const QAction* action) {
    QStringList keys;
    if (action) {
        for (const QKeySequence& key : action->shortcuts()) {
            if (keys.size() == 2)
                break;
            keys.append(key.toString(QKeySequence::NativeText));
        }
    }
    return keys.join(QStringLiteral(" or "));
}

} // namespace

const std::vector<TutorialWindow::StepDefinition>& TutorialWindow::allSteps() {
    // Each step asks for one command and says what the table shows afterwards. The people are
    // made up, so nothing here can harm real data.
    static const std::vector<StepDefinition> definitions{
        {"Command Launcher", "Run any command by name",
         "Open the command launcher and type a few letters of what you want, such as \"sort\" or "
         "\"go cell\". The list keeps the commands that match; Return runs the top one. Every "
         "command of the program can be found this way."},
        {"Go to Cell", "Jump to a cell",
         "Go straight to a cell: type a row and a column, for example \"50 3\" for row 50, column 3, "
         "and press Return."},
        {"Select Entire Column(s)", "Select a whole column",
         "Click any cell in the \"Income\" column and select the whole column."},
        {"Sort Selected Column - Ascending", "Sort a column",
         "Click a cell in \"Last Name\" and sort the table by that column, A to Z. The header row "
         "stays on top."},
        {"Add Filter", "Show only some rows",
         "Add a filter, for example for the people named Smith. The other rows are hidden, not "
         "deleted."},
        {"Find", "Find text", "Find the cells that hold \"Smith\"."},
        {"Replace", "Replace text", "Replace \"Smith\" with another name in all cells at once."},
        {"Upper Case", "Change the case of cells", "Select a few names and turn them into upper case."},
        {"Insert Row(s) After", "Add a row", "Insert an empty row below the selected one."},
        {"Copy Cell(s) to Markdown", "Copy as a Markdown table",
         "Select a few rows and copy them as a Markdown table, ready to paste into a document."},
        {"Undo", "Undo a change",
         "Take back the last change. Every change to the cells can be undone, one step at a time."},
        {"Redo", "Redo it", "Bring the change back again."},
        {"Toggle Show Editor Pane", "See a whole cell",
         "Show the editor pane under the table: it shows the full text of the selected cell and "
         "lets you edit it."},
        {"Save File", "Save the table",
         "Save your changes. The tutorial table is yours to change: Help \u203a Restore Tutorial "
         "to Default brings the original back."},
    };
    return definitions;
}

TutorialWindow::TutorialWindow(MainWindow* window, TableView* tutorialTable, const Commands& commands)
    : QDockWidget(tr("Tutorial"), window), mainWindow(window), table(tutorialTable) {
    setObjectName(QStringLiteral("TutorialWindow"));
    setAttribute(Qt::WA_DeleteOnClose);
    // Beside the table and closable; it is not meant to float about on its own.
    setFeatures(QDockWidget::DockWidgetClosable);
    setAllowedAreas(Qt::RightDockWidgetArea | Qt::LeftDockWidgetArea);

    // Steps whose command isn't built yet are left out; they appear once it is.
    for (const StepDefinition& definition : allSteps()) {
        const Command* command = commands.findByName(translated(definition.command));
        if (!command || !command->action || !commands.isWired(*command))
            continue;
        steps.push_back({&definition, command->action, command->category});
    }
    if (const Command* launcher = commands.findByName(QStringLiteral("Command Launcher")))
        launcherAction = launcher->action;

    auto* content = new QWidget(this);
    auto* layout = new QVBoxLayout(content);
    progressLabel = new QLabel(content);
    stepList = new QListWidget(content);
    stepList->setFocusPolicy(Qt::NoFocus);
    stepList->setSelectionMode(QAbstractItemView::SingleSelection);
    for (const Step& step : steps) {
        auto* item = new QListWidgetItem(translated(step.definition->title), stepList);
        // A tick the user can see but not set: only doing the step sets it.
        item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
        item->setData(Qt::CheckStateRole, Qt::Unchecked);
    }
    headingLabel = new QLabel(content);
    QFont headingFont = headingLabel->font();
    headingFont.setBold(true);
    headingFont.setPointSizeF(headingFont.pointSizeF() * 1.15);
    headingLabel->setFont(headingFont);
    headingLabel->setWordWrap(true);
    textLabel = new QLabel(content);
    textLabel->setWordWrap(true);
    howToLabel = new QLabel(content);
    howToLabel->setWordWrap(true);
    howToLabel->setTextFormat(Qt::RichText);

    backButton = new QPushButton(tr("Back"), content);
    nextButton = new QPushButton(tr("Next"), content);
    auto* closeButton = new QPushButton(tr("Close Tutorial"), content);
    for (QPushButton* button : {backButton, nextButton, closeButton})
        button->setFocusPolicy(Qt::NoFocus); // the keys stay with the table
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(backButton);
    buttons->addWidget(nextButton);
    buttons->addStretch();
    buttons->addWidget(closeButton);

    // The whole list at once, without a scroll bar: it is the tour's table of contents.
    if (stepCount() > 0)
        stepList->setFixedHeight(stepList->sizeHintForRow(0) * stepCount() + 2 * stepList->frameWidth() + 4);
    layout->addWidget(progressLabel);
    layout->addWidget(stepList);
    layout->addSpacing(8);
    layout->addWidget(headingLabel);
    layout->addWidget(textLabel);
    layout->addWidget(howToLabel);
    layout->addStretch(1);
    layout->addLayout(buttons);
    content->setMinimumWidth(300);
    setWidget(content);

    connect(backButton, &QPushButton::clicked, this, &TutorialWindow::back);
    connect(nextButton, &QPushButton::clicked, this, &TutorialWindow::next);
    connect(closeButton, &QPushButton::clicked, this, &QWidget::close);
    connect(stepList, &QListWidget::currentRowChanged, this, &TutorialWindow::goToStep);

    for (int index = 0; index < stepCount(); ++index) {
        QAction* action = steps[static_cast<std::size_t>(index)].action;
        // The command, however it was started: key, menu, context menu or launcher.
        connect(action, &QAction::triggered, this, [this, index] {
            if (mainWindow && table && mainWindow->getActiveTable() == table)
                markDone(index);
        });
        // A key changed in the preferences shows at once.
        connect(action, &QAction::changed, this, &TutorialWindow::refresh);
    }
    if (table) {
        tableObject = table;
        table->installEventFilter(this);
        // The window closes the tour with its table; this covers a table that goes some other way.
        connect(table, &QObject::destroyed, this, &QObject::deleteLater);
    }
    refresh();
}

bool TutorialWindow::isDone(int step) const {
    return step >= 0 && step < stepCount() && steps[static_cast<std::size_t>(step)].done;
}

int TutorialWindow::doneCount() const {
    return static_cast<int>(std::count_if(steps.begin(), steps.end(), [](const Step& s) { return s.done; }));
}

QString TutorialWindow::stepCommand(int step) const {
    if (step < 0 || step >= stepCount())
        return QString();
    return translated(steps[static_cast<std::size_t>(step)].definition->command);
}

QString TutorialWindow::stepTitle(int step) const {
    if (step < 0 || step >= stepCount())
        return QString();
    return translated(steps[static_cast<std::size_t>(step)].definition->title);
}

QString TutorialWindow::stepHowTo(int step) const {
    if (step < 0 || step >= stepCount())
        return QString();
    const Step& s = steps[static_cast<std::size_t>(step)];
    const QString name = stepCommand(step).toHtmlEscaped();
    const QString keys = keysText(s.action);
    if (!keys.isEmpty())
        return tr("<b>%1</b>: press <b>%2</b>").arg(name, keys.toHtmlEscaped());
    const QString launcherKeys = keysText(launcherAction);
    const QString menu = menuPath(s.category);
    QString text =
        launcherKeys.isEmpty()
            ? tr("<b>%1</b>: type its name in the command launcher").arg(name)
            : tr("<b>%1</b>: press <b>%2</b> and type its name").arg(name, launcherKeys.toHtmlEscaped());
    if (!menu.isEmpty())
        text += tr(", or find it in the %1 menu").arg(menu.toHtmlEscaped());
    return text;
}

void TutorialWindow::next() {
    goToStep(current + 1);
}

void TutorialWindow::back() {
    goToStep(current - 1);
}

void TutorialWindow::goToStep(int step) {
    if (step < 0 || step >= stepCount() || step == current)
        return;
    current = step;
    refresh();
}

void TutorialWindow::markDone(int step) {
    Step& s = steps[static_cast<std::size_t>(step)];
    if (s.done)
        return;
    s.done = true;
    stepList->item(step)->setData(Qt::CheckStateRole, Qt::Checked);
    // Doing the step in view moves the tour on to the next one still to do.
    if (step == current) {
        for (int later = step + 1; later < stepCount(); ++later) {
            if (!steps[static_cast<std::size_t>(later)].done) {
                current = later;
                break;
            }
        }
    }
    refresh();
    emit stepDoneSignal(step);
}

void TutorialWindow::refresh() {
    const int count = stepCount();
    const int done = doneCount();
    if (count == 0)
        progressLabel->setText(tr("There are no steps to show yet."));
    else if (done == count)
        progressLabel->setText(tr("All %1 steps done: the table is yours to explore.").arg(count));
    else
        progressLabel->setText(tr("%1 of %2 steps done").arg(done).arg(count));
    backButton->setEnabled(current > 0);
    nextButton->setEnabled(current + 1 < count);
    if (count == 0) {
        headingLabel->clear();
        textLabel->clear();
        howToLabel->clear();
        return;
    }
    const Step& s = steps[static_cast<std::size_t>(current)];
    const QString tick = s.done ? QStringLiteral(" \u2714") : QString();
    headingLabel->setText(tr("Step %1 of %2: %3").arg(current + 1).arg(count).arg(stepTitle(current)) + tick);
    textLabel->setText(translated(s.definition->text));
    howToLabel->setText(stepHowTo(current));
    const QSignalBlocker blocker(stepList);
    stepList->setCurrentRow(current);
}

bool TutorialWindow::eventFilter(QObject* watched, QEvent* event) {
    // The tour belongs to its table: it steps aside while another tab is in front.
    if (watched == tableObject) {
        if (event->type() == QEvent::Hide && isVisible() && !event->spontaneous()) {
            hiddenWithTable = true;
            hide();
        } else if (event->type() == QEvent::Show && hiddenWithTable) {
            hiddenWithTable = false;
            show();
        }
    }
    return QDockWidget::eventFilter(watched, event);
}
