#include "view/workerprogress.h"

#include "table/tablemodel.h"
#include "table/tablemodelworker.h"

#include <QApplication>
#include <QWindow>

WorkerProgress::WorkerProgress(QWidget* parent, TableModel* model, const QString& label, const QString& title,
                               const QString& objectName, bool cancellable)
    : dialog(label, cancellable ? QObject::tr("Cancel") : QString(), 0, 100, parent), owner(parent),
      blocked(parent ? parent->window() : nullptr), focused(QApplication::focusWidget()) {
    ++alive;
    dialog.setObjectName(objectName);
    dialog.setWindowTitle(title);
    dialog.setWindowModality(Qt::WindowModal);
    dialog.setMinimumDuration(300);
    dialog.setAutoReset(false);
    dialog.setAutoClose(false);
    dialog.setValue(0);
    QObject::connect(model->getWorker(), &Worker::updateProgressSignal, &dialog,
                     [this](float fraction) { dialog.setValue(static_cast<int>(fraction * 100.0f)); });
    if (cancellable)
        QObject::connect(&dialog, &QProgressDialog::canceled, model, &TableModel::cancelWorker);
    if (blocked)
        qApp->installEventFilter(this);
}

WorkerProgress::~WorkerProgress() {
    --alive;
    if (blocked)
        qApp->removeEventFilter(this);
    const bool shown = dialog.isVisible();
    dialog.hide();
    // The widget that had the keys may be gone or hidden by now (an answered launcher): then
    // the table takes them.
    QWidget* target = focused && focused->isVisible() ? focused.data() : owner.data();
    if (shown && target) {
        target->activateWindow();
        target->setFocus(Qt::OtherFocusReason);
    }
}

bool WorkerProgress::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
    case QEvent::ShortcutOverride: {
        // Shortcuts go off before their key reaches a widget, unless this is taken for the
        // widget's own: accepted here, the key then comes back as a key press and is dropped.
        const auto* widget = qobject_cast<const QWidget*>(watched);
        if (widget && widget->window() == blocked) {
            event->accept();
            return true;
        }
        break;
    }
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::Wheel:
    case QEvent::Drop: {
        const auto* widget = qobject_cast<const QWidget*>(watched);
        const auto* window = qobject_cast<const QWindow*>(watched);
        if ((widget && widget->window() == blocked) || (window && blocked->windowHandle() == window))
            return true;
        break;
    }
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}
