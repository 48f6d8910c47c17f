#pragma once

#include <QDockWidget>
#include <QPointer>
#include <QString>

#include <vector>

class Commands;
class MainWindow;
class QLabel;
class QListWidget;
class QPushButton;
class TableView;

// The guided tour beside the tutorial table: short steps that each name a command and its
// key, ticked when the command runs on the tutorial table. Only steps whose command is built
// are shown. It hides while another table is in front and closes for good with its close button.
class TutorialWindow : public QDockWidget {
    Q_OBJECT

public:
    struct StepDefinition {
        const char* command; // the command's name in the command table
        const char* title;
        const char* text;
    };
    // Every step the tour knows, in tour order, whether its command is built or not.
    static const std::vector<StepDefinition>& allSteps();

    TutorialWindow(MainWindow* window, TableView* table, const Commands& commands);

    TableView* getTable() const { return table; }
    int stepCount() const { return static_cast<int>(steps.size()); }
    int currentStep() const { return current; }
    bool isDone(int step) const;
    int doneCount() const;
    QString stepCommand(int step) const;
    QString stepTitle(int step) const;
    // How to run the step's command: its keys as the window has them, else the launcher and
    // its menu.
    QString stepHowTo(int step) const;
    QListWidget* getStepList() const { return stepList; }
    QPushButton* getBackButton() const { return backButton; }
    QPushButton* getNextButton() const { return nextButton; }

public slots:
    void next();
    void back();
    void goToStep(int step);

signals:
    void stepDoneSignal(int step);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct Step {
        const StepDefinition* definition;
        QAction* action;
        QString category;
        bool done = false;
    };
    void markDone(int step);
    void refresh();

    QPointer<MainWindow> mainWindow;
    QPointer<TableView> table;
    // For telling the table's events apart: it is still sent some while it is being destroyed,
    // when it is no longer a TableView.
    const QObject* tableObject = nullptr;
    QAction* launcherAction = nullptr;
    std::vector<Step> steps;
    int current = 0;
    bool hiddenWithTable = false;

    QListWidget* stepList = nullptr;
    QLabel* headingLabel = nullptr;
    QLabel* textLabel = nullptr;
    QLabel* howToLabel = nullptr;
    QLabel* progressLabel = nullptr;
    QPushButton* backButton = nullptr;
    QPushButton* nextButton = nullptr;
};
