#include "window/mainwindow.h"

MainWindow::MainWindow(QWidget* parent) : QMainWindow(parent)
{
    setWindowTitle(QStringLiteral("Orvane"));
}

MainWindow::~MainWindow() = default;
