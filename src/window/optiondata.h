#pragma once

#include <QString>

// One row of a launcher list.
struct OptionData {
    QString option;      // what is matched and shown large
    QString description; // a line under it
    QString value;       // for a setting, its current value
    QString shortcut;
    QString response; // what choosing it returns; empty: the option text
};
