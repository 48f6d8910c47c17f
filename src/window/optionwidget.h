#pragma once

#include "window/optiondata.h"

#include <QPalette>
#include <QWidget>

#include <vector>

class QLabel;

// One row of a launcher list: the option, its description and value lines, and its shortcut.
// The labels are made by fillWidget() the first time the row is needed, so that a list of
// hundreds opens at once.
class OptionWidget : public QWidget {
    Q_OBJECT

public:
    // What a row's labels look like; one copy shared by the rows of a list.
    struct Style {
        QString highlightOpen;
        QString highlightClose;
        QColor background;
        QColor selectedBackground;
        // Palettes rather than style sheets: a style sheet per label costs a style polish each,
        // and rows fill while the user types.
        QPalette optionPalette;
        QPalette descriptionPalette;
        QPalette shortcutPalette;
        QFont optionFont;
        QFont descriptionFont;
    };

    OptionWidget(const OptionData& data, const Style* style, QWidget* parent = nullptr);

    const OptionData& getData() const { return data; }
    const QString& getOptionText() const { return optionText; }
    QString getResponseString() const { return data.response.isEmpty() ? data.option : data.response; }
    bool isFilled() const { return optionLabel != nullptr; }
    bool isSelected() const { return selected; }
    // The option text as shown, with highlight tags around matched characters.
    const QString& getHighlightedText() const { return highlightedText; }

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
    OptionData data;
    const Style* style;
    QString optionText;
    QString highlightedText;
    QLabel* optionLabel = nullptr;
    QLabel* descriptionLabel = nullptr;
    QLabel* valueLabel = nullptr;
    QLabel* shortcutLabel = nullptr;
    bool showDescription = false;
    bool showValue = false;
    bool showShortcut = false;
    bool selected = false;
};
