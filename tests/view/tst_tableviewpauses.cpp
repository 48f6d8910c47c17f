// Commands that used to hold the window on a large table without a word: a copied column says
// that it is working, and a new theme leaves the rows and columns as they are sized.

#include "viewfixture.h"

#include "preferences/theme.h"

#include <QProgressDialog>
#include <QUndoStack>

using namespace ViewFixture;

class TestTableViewPauses : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void duplicatedColumnShowsProgressAndUndoes();
    void duplicatedColumnOfRaggedRowsSaves_data();
    void duplicatedColumnOfRaggedRowsSaves();
    void themeKeepsSizes();
};

namespace {

QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

// A copied column rewrites every row of a million cells: the progress dialog shows, its undo
// says so too, and undo, redo and a save after them give back exactly the file's bytes.
void TestTableViewPauses::duplicatedColumnShowsProgressAndUndoes() {
    constexpr int rows = 110000;
    constexpr int cols = 10;
    ShownTable t = makeTable({}, 800, 600, rows, cols);
    const QString path = t.dir->filePath(QStringLiteral("t.csv"));
    const QByteArray original = readAll(path);
    QStringList labels;
    QObject::connect(t.model.get(), &TableModel::longWriteSignal, t.view.get(), [&](bool started) {
        auto* dialog = t.view->findChild<QProgressDialog*>(QStringLiteral("writeProgressDialog"));
        if (started && dialog)
            labels << dialog->labelText();
    });
    // Each cell of the generated table is its row's number: a marked column shows where the copy went.
    t.model->getTableData().setValueModel(rows - 1, 3, QStringLiteral("last"));
    QVERIFY(t.view->duplicateCols(1, true, {3}));
    QCOMPARE(labels, QStringList{QStringLiteral("Changing the table...")});
    QVERIFY(!t.model->isWorkerBusy());
    QCOMPARE(t.model->columnCountRaw(), cols + 1);
    QCOMPARE(t.model->getTableData().getValueModel(rows - 1, 4).toString(), QStringLiteral("last"));
    QCOMPARE(t.model->getTableData().getValueModel(rows - 1, 5).toString(), QString::number(rows - 1));
    QCOMPARE(t.model->getTableData().getValueModel(0, 4).toString(), QStringLiteral("0"));

    labels.clear();
    t.view->undo();
    QCOMPARE(labels, QStringList{QStringLiteral("Undoing...")});
    QCOMPARE(t.model->columnCountRaw(), cols);
    t.view->redo();
    QCOMPARE(t.model->getTableData().getValueModel(rows - 1, 4).toString(), QStringLiteral("last"));
    t.view->undo();
    t.model->getTableData().setValueModel(rows - 1, 3, QString::number(rows - 1));
    const QString saved = t.dir->filePath(QStringLiteral("saved.csv"));
    QVERIFY(t.model->saveCSV(saved, true, false));
    QCOMPARE(readAll(saved), original);
}

// Rows of their own length keep it as a column put in among their fields leaves them: a copy
// inside a row adds one field, and undo gives back the file's bytes.
void TestTableViewPauses::duplicatedColumnOfRaggedRowsSaves_data() {
    QTest::addColumn<int>("col");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("first") << 0 << QByteArray("a,a,b,c\nd,d,e\n\n,,g,h,i\n");
    QTest::newRow("past short rows") << 3 << QByteArray("a,b,c\nd,e\n\n,g,h,i,i\n");
}

void TestTableViewPauses::duplicatedColumnOfRaggedRowsSaves() {
    QFETCH(int, col);
    QFETCH(QByteArray, expected);
    ShownTable t =
        makeTable({QStringLiteral("a,b,c"), QStringLiteral("d,e"), QString(), QStringLiteral(",g,h,i")});
    const QByteArray original = readAll(t.dir->filePath(QStringLiteral("t.csv")));
    QVERIFY(t.view->duplicateCols(1, true, {col}));
    const QString saved = t.dir->filePath(QStringLiteral("saved.csv"));
    QVERIFY(t.model->saveCSV(saved, true, false));
    QCOMPARE(readAll(saved), expected);
    t.view->undo();
    QVERIFY(t.model->saveCSV(saved, true, false));
    QCOMPARE(readAll(saved), original);
}

// A theme only colours the table: widths and heights the user set stay, where sizing them all
// again took most of a second on a large table. A new default width still sizes every column.
void TestTableViewPauses::themeKeepsSizes() {
    ShownTable t = makeTable({}, 800, 600, 2000, 6);
    Settings settings = t.view->getSettings(true);
    t.view->propagateSettings(settings);
    t.view->setColumnWidth(2, 211);
    t.view->setRowHeight(5, 57);
    const QString other =
        settings.getTheme().name == QLatin1String("Light") ? QStringLiteral("Dark") : QStringLiteral("Light");
    settings.setTheme(Theme::convertStringToTheme(other));
    t.view->propagateSettings(settings);
    QCOMPARE(t.view->getSettings(false).getTheme().name, other);
    QCOMPARE(t.view->columnWidth(2), 211);
    QCOMPARE(t.view->rowHeight(5), 57);

    settings.setValue(DefaultColumnWidth, settings.getValueInt(DefaultColumnWidth) + 7);
    t.view->propagateSettings(settings);
    QVERIFY(t.view->columnWidth(2) != 211);
    settings.clear();
}

QTEST_MAIN(TestTableViewPauses)
#include "tst_tableviewpauses.moc"
