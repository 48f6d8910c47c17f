#pragma once

#include "preferences/settings.h"
#include "preferences/theme.h"
#include "window/optiondata.h"

#include <QFont>
#include <QWidget>

#include <vector>

class OptionListWidget;
class QLabel;
class QLineEdit;
class QVBoxLayout;

// The floating panel over the table through which every command is typed and every value is
// asked for: a title, an optional description, the prompt, an optional feedback line and an
// optional list of options. Enter answers with the selected option, or with the typed text
// when no option shows.
class Launcher : public QWidget {
    Q_OBJECT

public:
    static constexpr int kTitleHeight = 20;
    static constexpr int kPromptHeight = 25;
    static constexpr int kMaxListHeight = 300;

    explicit Launcher(const Settings& settings, QWidget* parent = nullptr);

    void setQueryTitle(const QString& text);
    void setQueryDescription(const QString& text);
    void setEditorText(const QString& text);
    void setEditorSelection(int start, int length);
    void setEditorCursorPosition(int position);
    void setCloseOnResponse(bool on) { closeOnResponse = on; }
    void setOptions(const std::vector<OptionData>& options);
    void setupEntryFeedback();
    void setEntryFeedbackText(const QString& text);
    // Hugs the content, with `extra` pixels more.
    void adjustHeight(int extra);
    void propagateSettings(const Settings& newSettings);
    void setTheme(const Theme& theme);
    QString getSelectedResponseString() const;

    QLineEdit* getPromptEditor() const { return prompt; }
    OptionListWidget* getOptionList() const { return optionList; }
    QLabel* getTitleLabel() const { return titleLabel; }
    QLabel* getDescriptionLabel() const { return descriptionLabel; }
    QLabel* getEntryFeedbackLabel() const { return feedbackLabel; }

public slots:
    void closeLauncher();
    void putFocusInPromptEditor();
    void onCurrentTableChanged(const QString& name);
    void returnPromptString();
    void returnOptionResponseString(const QString& response);
    void onPressEnter();
    void onPressUp();
    void onPressDown();
    void onPressPageUp();
    void onPressPageDown();

signals:
    void launcherResponseSignal(QString response);
    void launcherResponseWithStateSignal(QString response, int selectionStart, int selectionLength,
                                         int cursorPosition);
    void promptEditedSignal(QString text);
    void selectionChangedSignal(QString response);
    void launcherClosedSignal();
    void goBackSignal();
    // Escape: the window puts the table back as it was before the launcher.
    void launcherEscapedSignal();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void applyTheme();

    Settings settings;
    Theme theme;
    QVBoxLayout* layout = nullptr;
    QLabel* titleLabel = nullptr;
    QLabel* descriptionLabel = nullptr;
    QLineEdit* prompt = nullptr;
    QLabel* feedbackLabel = nullptr;
    OptionListWidget* optionList = nullptr;
    QFont titleFont;
    QFont descriptionFont;
    QFont promptFont;
    QFont feedbackFont;
    QMetaObject::Connection listConnection;
    bool closeOnResponse = true;
    bool responded = false;
};
