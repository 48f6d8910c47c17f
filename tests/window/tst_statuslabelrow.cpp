// The status bar's labels at every width: what gives way first, what stays readable, and that no
// label is cut off or overlaps another.

#include "window/statuslabelrow.h"

#include "view/tableview.h"
#include "window/commands.h"
#include "window/launcher.h"
#include "window/mainwindow.h"

#include <QAction>
#include <QFile>
#include <QLineEdit>
#include <QStandardPaths>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTest>

namespace {

struct Spec {
    const char* text;
    StatusLabelRow::Side side;
    int rank;
    int keep; // characters kept before higher ranks give way: -1 all, 0 none
};

// Shaped like the window's own bar.
const Spec kSpecs[] = {
    {"201 rows x 5 columns (136 rows x 5 columns)", StatusLabelRow::Side::Left, 3, 20},
    {"Selected: 2 rows, 3 columns", StatusLabelRow::Side::Left, 2, 0},
    {"Cell Length: 12", StatusLabelRow::Side::Left, 1, 0},
    {"Filters: C1, C4, C7", StatusLabelRow::Side::Right, 4, 11},
    {"Delimiter: ,", StatusLabelRow::Side::Right, 5, -1},
    {"UTF-8", StatusLabelRow::Side::Right, 6, -1},
    {"Unix", StatusLabelRow::Side::Right, 7, -1},
    {"Editable", StatusLabelRow::Side::Right, 8, -1},
};

} // namespace

class TestStatusLabelRow : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        TableView::autoFitWarningHook = [](const QString&, bool&) { return false; };
    }

    void givesWayByRank_data() {
        QTest::addColumn<int>("width");
        for (int width : {1200, 900, 700, 600, 500, 400, 250, 120, 40, 0})
            QTest::newRow(qPrintable(QString::number(width))) << width;
    }
    void givesWayByRank() {
        QFETCH(int, width);
        StatusLabelRow row;
        std::vector<QLabel*> labels;
        for (const Spec& spec : kSpecs) {
            const int keep = spec.keep;
            StatusLabelRow::KeepUntil keepUntil;
            if (keep >= 0)
                keepUntil = [keep](const QString&) { return qsizetype(keep); };
            labels.push_back(row.addLabel(spec.side, spec.rank, keepUntil));
            labels.back()->setText(QString::fromLatin1(spec.text));
        }
        row.resize(width, 24);
        row.show();
        QCoreApplication::processEvents();

        const auto whole = [&](std::size_t i) { return row.showsWholeText(labels[i]); };
        const auto gone = [&](std::size_t i) { return labels[i]->width() == 0; };
        int x = 0;
        bool right = false;
        for (std::size_t i = 0; i < labels.size(); ++i) {
            QLabel* label = labels[i];
            // The text itself never changes; a cut label says it all in its tooltip.
            QCOMPARE(label->text(), QString::fromLatin1(kSpecs[i].text));
            QCOMPARE(label->toolTip(), whole(i) ? QString() : label->text());
            if (gone(i))
                continue;
            // In order, inside the row, never over one another.
            if (kSpecs[i].side == StatusLabelRow::Side::Right && !right) {
                right = true;
                QVERIFY(label->x() >= x);
            }
            QVERIFY2(label->x() >= x, qPrintable(label->text()));
            QVERIFY(label->geometry().right() < std::max(1, width));
            x = label->geometry().right() + 1;
            // A cut label still shows a character and the ellipsis.
            if (!whole(i))
                QVERIFY(label->width() > label->fontMetrics().horizontalAdvance(QStringLiteral("W")));
        }
        // Nothing of a label gives way while a label of lower rank still shows more than it keeps.
        for (std::size_t i = 0; i < labels.size(); ++i) {
            if (whole(i))
                continue;
            for (std::size_t j = 0; j < labels.size(); ++j) {
                if (kSpecs[j].rank >= kSpecs[i].rank || gone(j))
                    continue;
                QVERIFY2(kSpecs[j].keep != 0, "a label that keeps nothing shows whole or not at all");
                const QString kept = QString::fromLatin1(kSpecs[j].text).left(kSpecs[j].keep);
                if (kSpecs[j].keep > 0)
                    QVERIFY2(labels[j]->width() <=
                                 labels[j]->fontMetrics().horizontalAdvance(kept + QChar(0x2026)) + 1,
                             qPrintable(labels[j]->text()));
                else
                    QVERIFY(whole(j));
            }
        }
        if (width >= 1200) {
            for (std::size_t i = 0; i < labels.size(); ++i)
                QVERIFY(whole(i));
        }
        // Wide enough for the file's labels, they stay whole whatever else goes.
        if (width >= 500) {
            for (std::size_t i = 4; i < labels.size(); ++i)
                QVERIFY2(whole(i), qPrintable(labels[i]->text()));
        }
    }

    void newTextTakesItsRoom() {
        StatusLabelRow row;
        QLabel* left = row.addLabel(StatusLabelRow::Side::Left, 1);
        QLabel* right = row.addLabel(StatusLabelRow::Side::Right, 2);
        left->setText(QStringLiteral("short"));
        right->setText(QStringLiteral("Editable"));
        row.resize(600, 24);
        row.show();
        QCoreApplication::processEvents();
        left->setText(QStringLiteral("a much longer text than before, still fitting"));
        QCoreApplication::processEvents();
        QVERIFY(row.showsWholeText(left));
        QVERIFY(left->geometry().right() < right->x());
        QCOMPARE(right->geometry().right() + 1 + 30, 600);
    }

    // The window's bar with filters on: every label whole at a usual width; narrow, the file's
    // labels whole and the filters still named.
    void windowWithFilters() {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("table.csv"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("name,city,amount,notes\nn0,Paris,5,x\nn1,Oslo,7,y\nn2,Rome,9,z\n");
        file.close();
        MainWindow window;
        window.setAttribute(Qt::WA_DeleteOnClose, false);
        window.openFile(path);
        TableView* view = window.getActiveTable();
        QVERIFY(view);
        for (const auto& [col, answer] : {std::pair{1, "Paris|Oslo"}, std::pair{3, "x|y"}}) {
            view->moveSelectionAbsolute(1, col);
            window.getCommands().findByName(QStringLiteral("Filter Selected Column"))->action->trigger();
            QLineEdit* editor = window.getLauncher()->getPromptEditor();
            QTest::keyClicks(editor, QString::fromLatin1(answer));
            QTest::keyClick(editor, Qt::Key_Return);
            QCoreApplication::processEvents();
        }
        QCOMPARE(window.getFiltersLabelText(), QStringLiteral("Filters: C1, C3"));
        window.resize(1400, 800);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        auto* row = window.statusBar()->findChild<StatusLabelRow*>();
        QVERIFY(row);
        const QList<QLabel*> labels = row->findChildren<QLabel*>();
        QCOMPARE(labels.size(), 9);
        for (QLabel* label : labels)
            QVERIFY2(row->showsWholeText(label), qPrintable(label->text()));

        window.resize(640, 800);
        QTRY_VERIFY(row->width() < 700);
        QCoreApplication::processEvents();
        for (QLabel* label : labels) {
            const QString text = label->text();
            if (text == window.getModeLabelText() || text == window.getEncodingLabelText() ||
                text == window.getDelimiterLabelText() || text == QStringLiteral("Unix"))
                QVERIFY2(row->showsWholeText(label), qPrintable(text));
            if (text.startsWith(QLatin1String("Filters:"))) {
                QVERIFY(label->width() >
                        label->fontMetrics().horizontalAdvance(QStringLiteral("Filters: C1")));
                QCOMPARE(label->toolTip(), row->showsWholeText(label) ? QString() : text);
            }
        }
        window.hide();
    }
};

QTEST_MAIN(TestStatusLabelRow)
#include "tst_statuslabelrow.moc"
