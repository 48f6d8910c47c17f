#pragma once

#include "preferences/settings.h"
#include "preferences/theme.h"

#include <QWidget>

class QLabel;

// A bar above the launcher with an earlier question of a chain and its answer. A click on it
// goes back to that question.
class PrevOptionWidget : public QWidget {
    Q_OBJECT

public:
    static constexpr int kHeight = 20;

    PrevOptionWidget(const QString& question, const QString& answer, QWidget* parent = nullptr);

    const QString& getQuestion() const { return question; }
    const QString& getAnswer() const { return answer; }
    void propagateSettings(const Settings& settings);
    void adjustHeight(int height);

signals:
    // Asks the pane to close the bars from this one on and ...
    void goHereSignal();
    // ... to raise this step's prompt again.
    void expandThisSignal();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void updateText();

    QString question;
    QString answer;
    QLabel* label = nullptr;
    Theme theme;
};
