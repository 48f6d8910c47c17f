#pragma once

#include "window/optiondata.h"

#include <QColor>
#include <QFont>
#include <QStaticText>
#include <QWidget>

#include <vector>

// One row of a launcher list: the option, its description and value lines, and its shortcut.
// The row paints its own text: the option line changes with every keystroke, and laying out a
// rich text label per row per key cost more than a frame allows. fillWidget() prepares what a
// row needs to paint the first time it is shown, so that a list of hundreds opens at once.
class OptionWidget : public QWidget {
    Q_OBJECT

public:
    // What a row looks like; one copy shared by the rows of a list.
    struct Style {
        QString highlightOpen; // the tags getHighlightedText() puts around matched characters
        QString highlightClose;
        QColor background;
        QColor selectedBackground;
        QColor optionColor;
        QColor highlightColor;
        QColor descriptionColor;
        QColor shortcutColor;
        QFont optionFont;
        QFont highlightFont; // the option font, bold
        QFont descriptionFont;
    };

    OptionWidget(const OptionData& data, const Style* style, QWidget* parent = nullptr);

    const OptionData& getData() const { return data; }
    const QString& getOptionText() const { return optionText; }
    QString getResponseString() const { return data.response.isEmpty() ? data.option : data.response; }
    bool isFilled() const { return filled; }
    bool isSelected() const { return selected; }
    // The option text as shown, as HTML with the highlight tags around matched characters.
    QString getHighlightedText() const;

    void setSelected(bool on);
    void setDescription(const QString& text);
    // The heights of the option line, description line, value line, the margins and the whole row.
    void computeHeights(int& option, int& description, int& value, int& margins, int& total) const;
    void setHeights(int option, int description, int value);
    void fillWidget();
    void updateOptionLabel();
    void highlightOption(const std::vector<int>& positions);
    void updateColors();
    void setStyleSheetAndHTMLTagStrings(const Style* newStyle);

signals:
    void clickedSignal(QString response);
    void selectedSignal(QString response);

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    // A stretch of the option text, matched or not.
    struct Run {
        qsizetype start;
        qsizetype length;
        bool matched;
    };
    void prepareDescription();

    OptionData data;
    const Style* style;
    QString optionText;
    QString valueText;
    std::vector<Run> runs;
    // Rich descriptions (bold examples, a file name) keep their laid-out text between paints.
    QStaticText richDescription;
    bool descriptionIsRich = false;
    bool showDescription = false;
    bool showValue = false;
    bool showShortcut = false;
    bool selected = false;
    bool filled = false;
};
