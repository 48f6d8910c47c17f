#pragma once

#include "table/findreplacequery.h"

#include <QTableWidget>

#include <vector>

class Theme;

// The find-all list: a count, then one row per match with its place and its text. A click on a
// match asks the window to go there.
class FindResultsWidget : public QTableWidget {
    Q_OBJECT

public:
    explicit FindResultsWidget(QWidget* parent = nullptr);

    void setup();
    void setResults(const std::vector<FindResult>& results);
    const std::vector<FindResult>& getResults() const { return results; }

public slots:
    void onCellClicked(int row, int col);
    // The list takes the table's colours: cells, selection and the quieter text of places.
    void setTheme(const Theme& theme);

signals:
    // Raw row and column of the match.
    void resultSelectedSignal(int rawRow, int rawCol);

private:
    void colourPlaces();

    std::vector<FindResult> results;
    QColor placeColor;
};
