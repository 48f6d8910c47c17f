#pragma once

#include "table/findreplacequery.h"

#include <QWidget>

class QComboBox;
class QGridLayout;
class QLabel;
class QPushButton;
class QToolButton;

// The find area's search bar: the text to find, the replacement and the file filter, each with
// its recent strings, the switches of the query and the buttons that act on it. It only emits
// queries; the window decides which table they go to.
class FindReplaceWidget : public QWidget {
    Q_OBJECT

public:
    static constexpr int kMaxRecentStrings = 20;

    explicit FindReplaceWidget(QWidget* parent = nullptr);

    void setFindConfiguration();
    void setReplaceConfiguration();
    void setAllFilesConfiguration();
    int getMode() const { return mode; }

    // With `edited` the texts as typed; otherwise the newest recent strings.
    FindReplaceQuery getFindReplaceQuery(bool edited) const;
    void setFindReplaceQuery(const FindReplaceQuery& query);
    void emitFindReplaceQuery();
    void setFindText(const QString& text);
    void focusFind();

    // Puts `text` at the head of its list of recent strings.
    void addFindStringToList(const QString& text);
    void addReplaceStringToList(const QString& text);
    void addFilterStringToList(const QString& text);
    QStringList recentFindStrings() const;

    QComboBox* findBox() const { return findCombo; }
    QComboBox* replaceBox() const { return replaceCombo; }
    QString feedbackText() const;

public slots:
    void noMatch(const QString& text);
    void showFeedback(const QString& text);
    void onFindEdited();
    void onReplaceEdited();
    void onCaseSensitiveToggled();
    void onWholeWordToggled();
    void onWholeCellToggled();
    void onRegexToggled();
    void onInSelectedCellsToggled();
    void onHighlightToggled();
    void onPreviewReplaceToggled();
    void onFindNextButtonClicked();
    void onFindPrevButtonClicked();
    void onFindAllButtonClicked();
    void onReplaceNextButtonClicked();
    void onReplacePrevButtonClicked();
    void onReplaceAllButtonClicked();
    void onFindAllFilesButtonClicked();
    void onReplaceAllFilesButtonClicked();

signals:
    void findReplaceQuerySignal(FindReplaceQuery query);
    void findNextButtonClickedSignal(FindReplaceQuery query);
    void findPrevButtonClickedSignal(FindReplaceQuery query);
    void findAllButtonClickedSignal(FindReplaceQuery query);
    void replaceNextButtonClickedSignal(FindReplaceQuery query);
    void replacePrevButtonClickedSignal(FindReplaceQuery query);
    void replaceAllButtonClickedSignal(FindReplaceQuery query);
    void findAllFilesButtonClickedSignal(FindReplaceQuery query);
    void replaceAllFilesButtonClickedSignal(FindReplaceQuery query);
    void closeSignal();
    // The user asked for the all-files form (true) or back to one table (false).
    void allFilesRequestedSignal(bool on);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QToolButton* makeToggle(const QString& text, const QString& tip, const QString& keys, bool checked);
    QPushButton* makeButton(const QString& text, void (FindReplaceWidget::*slot)());
    QComboBox* makeCombo(const QString& placeholder);
    void recordTexts();
    void rebuild();
    static void addToList(QComboBox* combo, const QString& text);

    int mode = 0;
    QGridLayout* grid = nullptr;
    QComboBox* findCombo = nullptr;
    QComboBox* replaceCombo = nullptr;
    QComboBox* filterCombo = nullptr;
    QToolButton* caseButton = nullptr;
    QToolButton* wordButton = nullptr;
    QToolButton* cellButton = nullptr;
    QToolButton* regexButton = nullptr;
    QToolButton* selectedButton = nullptr;
    QToolButton* highlightButton = nullptr;
    QToolButton* previewButton = nullptr;
    QPushButton* findNextButton = nullptr;
    QPushButton* findPrevButton = nullptr;
    QPushButton* findAllButton = nullptr;
    QPushButton* replaceNextButton = nullptr;
    QPushButton* replacePrevButton = nullptr;
    QPushButton* replaceAllButton = nullptr;
    QPushButton* findAllFilesButton = nullptr;
    QPushButton* replaceAllFilesButton = nullptr;
    QToolButton* allFilesButton = nullptr;
    QToolButton* closeButton = nullptr;
    QLabel* feedbackLabel = nullptr;
};
