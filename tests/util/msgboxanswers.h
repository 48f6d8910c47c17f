#pragma once

#include "util/msgbox.h"

#include <QList>
#include <QStringList>

// Answers every message box from a queue (nothing queued: the box is dismissed) and keeps what
// was asked, for as long as it lives.
struct MsgBoxAnswers {
    QList<int> queue;
    QList<MsgBox::Question> asked;

    MsgBoxAnswers() {
        MsgBox::answerHook = [this](const MsgBox::Question& question) {
            asked.append(question);
            return queue.isEmpty() ? -1 : queue.takeFirst();
        };
    }
    ~MsgBoxAnswers() { MsgBox::answerHook = nullptr; }
    MsgBoxAnswers(const MsgBoxAnswers&) = delete;
    MsgBoxAnswers& operator=(const MsgBoxAnswers&) = delete;

    QStringList texts() const {
        QStringList list;
        for (const MsgBox::Question& q : asked)
            list.append(q.text);
        return list;
    }
};
