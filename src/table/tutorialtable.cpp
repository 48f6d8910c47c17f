#include "table/tutorialtable.h"

#include "table/tablemodel.h"
#include "util/fileparameterutilities.h"

#include <QDate>

#include <array>
#include <cstdint>

namespace TutorialTable {

namespace {

constexpr std::array kLastNames{
    "Smith",    "Johnson",   "Williams", "Brown",    "Jones",    "Garcia",   "Miller", "Davis",   "Rodriguez",
    "Martinez", "Hernandez", "Lopez",    "Gonzalez", "Wilson",   "Anderson", "Thomas", "Taylor",  "Moore",
    "Jackson",  "Martin",    "Lee",      "Perez",    "Thompson", "White",    "Harris", "Sanchez", "Clark",
    "Ramirez",  "Lewis",     "Robinson", "Walker",   "Young",    "Allen",    "King",   "Wright",  "Scott",
    "Torres",   "Nguyen",    "Hill",     "Flores",   "Green",    "Adams",    "Nelson", "Baker",   "Hall",
    "Rivera",   "Campbell",  "Mitchell", "Carter",   "Roberts"};

constexpr std::array kFirstNames{
    "John",      "Mary",    "James",   "Patricia", "Robert",   "Jennifer", "Michael",  "Linda",  "William",
    "Elizabeth", "David",   "Barbara", "Richard",  "Susan",    "Joseph",   "Jessica",  "Thomas", "Sarah",
    "Charles",   "Karen",   "Daniel",  "Nancy",    "Matthew",  "Lisa",     "Anthony",  "Betty",  "Mark",
    "Margaret",  "Donald",  "Sandra",  "Steven",   "Ashley",   "Paul",     "Kimberly", "Andrew", "Emily",
    "Joshua",    "Donna",   "Kenneth", "Michelle", "Kevin",    "Carol",    "Brian",    "Amanda", "George",
    "Melissa",   "Timothy", "Deborah", "Ronald",   "Stephanie"};

// A fixed linear congruential sequence: the table must not depend on the library's generator.
class Sequence {
public:
    explicit Sequence(std::uint32_t seed) : state(seed) {}
    // A number in [0, bound).
    std::uint32_t next(std::uint32_t bound) {
        state = state * 1664525u + 1013904223u;
        return (state >> 8) % bound;
    }

private:
    std::uint32_t state;
};

} // namespace

QStringList header() {
    return {QStringLiteral("ID"), QStringLiteral("Last Name"), QStringLiteral("First Name"),
            QStringLiteral("Birthdate"), QStringLiteral("Income")};
}

std::vector<QStringList> people() {
    Sequence random(20240613u);
    std::vector<QStringList> rows;
    rows.reserve(kNumPeople);
    const QDate earliest(1950, 1, 1);
    const int span = static_cast<int>(earliest.daysTo(QDate(2004, 12, 31)));
    for (int id = 0; id < kNumPeople; ++id) {
        // The first person is the familiar one the tour starts from; the last one's income is
        // fixed so that a sort by income has a known row to look for.
        const char* last = id == 0 ? "Smith" : kLastNames[random.next(kLastNames.size())];
        const char* first = id == 0 ? "John" : kFirstNames[random.next(kFirstNames.size())];
        const QDate birthdate = earliest.addDays(random.next(static_cast<std::uint32_t>(span) + 1));
        const int income = id == kNumPeople - 1 ? 58000 : 18000 + static_cast<int>(random.next(133)) * 1000;
        rows.push_back({QString::number(id), QString::fromLatin1(last), QString::fromLatin1(first),
                        birthdate.toString(Qt::ISODate), QString::number(income)});
    }
    return rows;
}

std::unique_ptr<TableModel> makeModel() {
    auto model = std::make_unique<TableModel>(false);
    model->setDelimiter(QStringLiteral(","), QStringLiteral(","));
    model->setExtension(QStringLiteral("csv"));
    TableData& data = model->getTableData();
    data.setLineEnding(Utilities::getLineEndingFromPlatform());
    data.setEncoding(UTF_8, false);
    data.setParsingStandard(RFC_4180);
    const QStringList names = header();
    for (int col = 0; col < names.size(); ++col)
        model->setDataRaw(0, col, names.at(col));
    const std::vector<QStringList> rows = people();
    for (int row = 0; row < static_cast<int>(rows.size()); ++row) {
        for (int col = 0; col < rows[static_cast<std::size_t>(row)].size(); ++col)
            model->setDataRaw(row + 1, col, rows[static_cast<std::size_t>(row)].at(col));
    }
    model->setNumberOfHeaderRows(1);
    return model;
}

bool write(const QString& path) {
    const std::unique_ptr<TableModel> model = makeModel();
    return model->saveCSV(path, true, false);
}

} // namespace TutorialTable
