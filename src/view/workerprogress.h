#pragma once

#include "table/tablemodel.h"
#include "table/tablemodelworker.h"

#include <QProgressDialog>

// A progress dialog with Cancel over the model's worker for as long as it lives: create one on
// the stack around a call that runs on the worker. It appears only when the work is still far
// from done after a moment, so quick jobs show nothing; Cancel asks the worker to stop.
class WorkerProgress {
public:
    WorkerProgress(QWidget* parent, TableModel* model, const QString& label, const QString& title,
                   const QString& objectName = QStringLiteral("workerProgressDialog"))
        : dialog(label, QObject::tr("Cancel"), 0, 100, parent) {
        dialog.setObjectName(objectName);
        dialog.setWindowTitle(title);
        dialog.setWindowModality(Qt::WindowModal);
        dialog.setMinimumDuration(300);
        dialog.setAutoReset(false);
        dialog.setAutoClose(false);
        dialog.setValue(0);
        QObject::connect(model->getWorker(), &Worker::updateProgressSignal, &dialog,
                         [this](float fraction) { dialog.setValue(static_cast<int>(fraction * 100.0f)); });
        QObject::connect(&dialog, &QProgressDialog::canceled, model, &TableModel::cancelWorker);
    }
    WorkerProgress(const WorkerProgress&) = delete;
    WorkerProgress& operator=(const WorkerProgress&) = delete;

private:
    QProgressDialog dialog;
};
