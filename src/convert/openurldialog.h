#pragma once

#include <QDialog>

class QLineEdit;

// Asks for the address of a JSON or XML document.
class OpenUrlDialog : public QDialog {
    Q_OBJECT

public:
    explicit OpenUrlDialog(QWidget* parent = nullptr);
    QString getUrl() const;
    QLineEdit* getUrlEdit() const { return urlEdit; }

private:
    QLineEdit* urlEdit = nullptr;
};
