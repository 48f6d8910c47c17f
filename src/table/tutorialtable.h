#pragma once

#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

class TableModel;

// The table of made-up people that a new user practises on. The same rows on every machine and
// every run, so that the tour can name what the user will see and "Restore Tutorial to Default"
// gives back exactly the first file.
namespace TutorialTable {

constexpr int kNumPeople = 100;

QStringList header();
// kNumPeople rows: ID, last name, first name, birthdate (yyyy-MM-dd) and a yearly income.
std::vector<QStringList> people();
// The header and the people in a plain model, set up to save as UTF-8 CSV.
std::unique_ptr<TableModel> makeModel();
// Writes the table to `path` through the model's save; false when the file could not be written
// (the old file, if any, is left whole).
bool write(const QString& path);

} // namespace TutorialTable
