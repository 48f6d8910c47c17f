#include "convert/openurldialog.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

OpenUrlDialog::OpenUrlDialog(QWidget* parent) : QDialog(parent) {
    setWindowTitle(QStringLiteral("Open URL"));
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(new QLabel(QStringLiteral("URL of a JSON or XML document:"), this));
    urlEdit = new QLineEdit(this);
    urlEdit->setPlaceholderText(QStringLiteral("https://"));
    urlEdit->setMinimumWidth(480);
    layout->addWidget(urlEdit);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    buttons->button(QDialogButtonBox::Ok)->setText(QStringLiteral("&Open"));
    QPushButton* open = buttons->button(QDialogButtonBox::Ok);
    open->setEnabled(false);
    connect(urlEdit, &QLineEdit::textChanged, open,
            [open](const QString& text) { open->setEnabled(!text.trimmed().isEmpty()); });
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons);
}

QString OpenUrlDialog::getUrl() const {
    return urlEdit->text().trimmed();
}
