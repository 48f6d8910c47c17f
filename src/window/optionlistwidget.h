#pragma once

#include "preferences/theme.h"
#include "window/optiondata.h"
#include "window/optionwidget.h"

#include <QScrollArea>

#include <vector>

// The list under a launcher's prompt. Its rows are built once; a query reorders them by
// score, hides those that don't match and highlights the matched characters.
class OptionListWidget : public QScrollArea {
    Q_OBJECT

public:
    // Rows filled when the list opens or changes; the rest fill as they scroll into view.
    static constexpr int kInitialFill = 20;

    explicit OptionListWidget(const std::vector<OptionData>& options, const Theme& theme,
                              QWidget* parent = nullptr);

    int getNumVisibleOptions() const { return numVisibleOptions; }
    int getSelectedIndex() const { return selectedIndex; }
    // The rows in their current order; the first getNumVisibleOptions() show.
    const std::vector<OptionWidget*>& getOrderedOptions() const { return ordered; }
    OptionWidget* getSelectedWidget() const { return selectedWidget; }
    QString getSelectedResponseString() const;
    // The height the list needs to show every visible row.
    int neededHeight() const;
    // How many rows one page of the list holds.
    int rowsPerPage() const;

    void fillListWidgets();
    void updateOptionList(const QString& query);
    void onPressUp();
    void onPressDown();
    void selectIndex(int index);
    void keepOptionTreeItemInView();
    void onCurrentTableChanged(const QString& name);
    void setTheme(const Theme& theme);
    void makeOptionWidgetStyleSheetsAndHTMLTags();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

signals:
    void itemClicked(QString response);
    void selectionChangedSignal(QString response);

private:
    // Places, fills and shows the rows that the view shows or may show at its full height.
    void placeRowsInView();
    void relayout();
    static constexpr int kPlacedHeight = 300;

    std::vector<OptionWidget*> options; // first order
    std::vector<OptionWidget*> ordered; // current order
    std::vector<int> rowTops;           // of the visible rows, and the bottom of the last
    std::vector<OptionWidget*> placed;  // shown, at their place in the current order
    QWidget* content = nullptr;
    int numVisibleOptions = 0;
    int selectedIndex = -1;
    OptionWidget* selectedWidget = nullptr;
    Theme theme;
    OptionWidget::Style style;
};
