#pragma once

#include <QMessageBox>
#include <QString>

#include <functional>
#include <vector>

// The message box through which every question and failure reaches the user. Buttons carry
// their "&" accelerators and roles; the answer is the index of the button pressed.
class MsgBox : public QMessageBox {
    Q_OBJECT

public:
    struct Button {
        QString text;
        QMessageBox::ButtonRole role = QMessageBox::AcceptRole;
        int fixedWidth = 0;  // 0: the style's width
        int fixedHeight = 0; // 0: the style's height
        bool fitWidthToText = false;
    };
    // What a box asks, as a test sees it.
    struct Question {
        QString text;
        QString informativeText;
        std::vector<Button> buttons;
        int defaultButton = -1;
        QString title; // empty: the program's name
        Qt::TextFormat textFormat = Qt::PlainText;
        // A check box under the text when its text is given; it shows and takes back the value
        // that `checked` points to (a test's hook may set it).
        QString checkBoxText;
        bool* checked = nullptr;
    };

    explicit MsgBox(QWidget* parent = nullptr);

    // Shows the question modally; returns the index of the button pressed, or -1 when the box
    // was closed some other way (Escape without a reject button, window closed).
    static int ask(QWidget* parent, const QString& text, const std::vector<Button>& buttons,
                   int defaultButton, const QString& informativeText = QString());
    // The same under a title of its own.
    static int askTitled(QWidget* parent, const QString& title, const QString& text,
                         const std::vector<Button>& buttons, int defaultButton,
                         const QString& informativeText = QString());
    // The question as it stands, for what the shorter forms don't carry (a check box, rich text).
    static int ask(QWidget* parent, const Question& question);
    // A statement with one "Ok" button.
    static void inform(QWidget* parent, const QString& text);

    // Test seam: when set, it answers instead of a box on screen, with a button index.
    static std::function<int(const Question& question)> answerHook;

private:
    static int showQuestion(QWidget* parent, const Question& question);
};
