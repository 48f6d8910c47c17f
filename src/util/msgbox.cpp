#include "util/msgbox.h"

#include <QAbstractButton>
#include <QCheckBox>
#include <QFontMetrics>
#include <QPushButton>

#include <algorithm>

std::function<int(const MsgBox::Question&)> MsgBox::answerHook;

MsgBox::MsgBox(QWidget* parent) : QMessageBox(parent) {
    setTextFormat(Qt::PlainText);
    // Follows the window's palette, so the box wears the theme of the window that asks.
    if (parent)
        setPalette(parent->window()->palette());
}

int MsgBox::ask(QWidget* parent, const QString& text, const std::vector<Button>& buttons, int defaultButton,
                const QString& informativeText) {
    Question question;
    question.text = text;
    question.informativeText = informativeText;
    question.buttons = buttons;
    question.defaultButton = defaultButton;
    return showQuestion(parent, question);
}

int MsgBox::askTitled(QWidget* parent, const QString& title, const QString& text,
                      const std::vector<Button>& buttons, int defaultButton, const QString& informativeText) {
    Question question;
    question.title = title;
    question.text = text;
    question.informativeText = informativeText;
    question.buttons = buttons;
    question.defaultButton = defaultButton;
    return showQuestion(parent, question);
}

int MsgBox::ask(QWidget* parent, const Question& question) {
    return showQuestion(parent, question);
}

void MsgBox::inform(QWidget* parent, const QString& text) {
    Question question;
    question.text = text;
    question.buttons = {{QStringLiteral("Ok"), QMessageBox::AcceptRole}};
    question.defaultButton = 0;
    showQuestion(parent, question);
}

int MsgBox::showQuestion(QWidget* parent, const Question& question) {
    if (answerHook) {
        const int answer = answerHook(question);
        return answer >= 0 && answer < static_cast<int>(question.buttons.size()) ? answer : -1;
    }
    MsgBox box(parent);
    if (!question.title.isEmpty())
        box.setWindowTitle(question.title);
    box.setTextFormat(question.textFormat);
    box.setText(question.text);
    if (!question.checkBoxText.isEmpty()) {
        auto* checkBox = new QCheckBox(question.checkBoxText, &box);
        checkBox->setChecked(question.checked && *question.checked);
        box.setCheckBox(checkBox);
    }
    if (!question.informativeText.isEmpty())
        box.setInformativeText(question.informativeText);
    std::vector<QAbstractButton*> made;
    box.ensurePolished();
    for (const Button& entry : question.buttons) {
        QPushButton* button = box.addButton(entry.text, entry.role);
        // Polished first, so that the font and the padding are the theme's: a set width never
        // clips the label, it only widens a button past what the text needs.
        button->ensurePolished();
        const int needed = button->sizeHint().width();
        if (entry.fitWidthToText) {
            const QFontMetrics metrics(button->font());
            QString plain = entry.text;
            plain.remove(QLatin1Char('&'));
            const int width = metrics.horizontalAdvance(plain) + 2 * metrics.averageCharWidth() + 16;
            button->setFixedWidth(std::max(width, needed));
        } else if (entry.fixedWidth > 0) {
            button->setFixedWidth(std::max(entry.fixedWidth, needed));
        }
        if (entry.fixedHeight > 0)
            button->setFixedHeight(entry.fixedHeight);
        made.push_back(button);
    }
    if (question.defaultButton >= 0 && question.defaultButton < static_cast<int>(made.size()))
        box.setDefaultButton(static_cast<QPushButton*>(made[question.defaultButton]));
    box.exec();
    if (question.checked && box.checkBox())
        *question.checked = box.checkBox()->isChecked();
    const auto it = std::find(made.begin(), made.end(), box.clickedButton());
    return it == made.end() ? -1 : static_cast<int>(it - made.begin());
}
