#pragma once

#include <QMainWindow>

// One top-level window of the program.
class MainWindow : public QMainWindow {
    Q_OBJECT

public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;
};
