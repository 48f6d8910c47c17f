#pragma once

#include <QObject>
#include <QPointer>
#include <QProgressDialog>

class TableModel;

// A progress dialog with Cancel over the model's worker for as long as it lives: create one on
// the stack around a call that runs on the worker. It appears only when the work is still far
// from done after a moment, so quick jobs show nothing; Cancel asks the worker to stop.
//
// Until the dialog shows, nothing else keeps the user from editing cells that the worker is
// reading, so the window takes no keys or clicks while this lives (the dialog, a window of its
// own, still takes its Cancel). When the dialog was shown, the keys go back afterwards to the
// widget that had them (or to the table), also where no window manager hands the focus back from
// a closed modal dialog.
class WorkerProgress : public QObject {
public:
    // Without `cancellable` the dialog has no Cancel: for work that can't stop halfway.
    WorkerProgress(QWidget* parent, TableModel* model, const QString& label, const QString& title,
                   const QString& objectName = QStringLiteral("workerProgressDialog"),
                   bool cancellable = true);
    ~WorkerProgress() override;
    WorkerProgress(const WorkerProgress&) = delete;
    WorkerProgress& operator=(const WorkerProgress&) = delete;

    // Whether one lives now, anywhere.
    static bool anyAlive() { return alive > 0; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    static inline int alive = 0;
    QProgressDialog dialog;
    QPointer<QWidget> owner;
    QPointer<QWidget> blocked;
    QPointer<QWidget> focused;
};
