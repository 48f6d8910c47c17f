// orvane-bench launcher: the command launcher with every command in its list. Figures: the time
// from building the launcher to its first paint, against one 16 ms frame; and the time of one
// keystroke's updateOptionList over all options, against a quarter of a frame, with the fuzzy
// scoring of the same options alone as the floor that no list could beat.

#include "benchregistry.h"
#include "benchutil.h"

#include "util/fuzzysearchutilities.h"
#include "window/launcher.h"
#include "window/mainwindow.h"
#include "window/optionlistwidget.h"
#include "window/paneview.h"

#include <QApplication>
#include <QLineEdit>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

// Notes the first paint of the widget it watches.
class PaintWatch : public QObject {
public:
    bool painted = false;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint)
            painted = true;
        return QObject::eventFilter(watched, event);
    }
};

using BenchUtil::median;

int runLauncher(const QStringList& args) {
    using BenchUtil::Figure;
    const qint64 opens = BenchUtil::optionInt(args, QStringLiteral("--opens"), 30);
    if (opens < 1) {
        std::fprintf(stderr, "launcher: --opens must be at least 1\n");
        return 2;
    }
    MainWindow window;
    window.setAttribute(Qt::WA_DeleteOnClose, false);
    window.resize(1200, 800);
    window.show();
    for (int i = 0; i < 10; ++i)
        QApplication::processEvents();

    // Every record of the table, as the list will show them once all are wired.
    std::vector<OptionData> options;
    for (const Command& command : window.getCommands().getCommands())
        options.push_back(
            OptionData{MainWindow::makeCommandLauncherName(command), {}, {}, command.shortcut, {}});

    // Open: construction, list, placement, and the event loop until the first paint.
    std::vector<double> openMs;
    std::vector<double> openCpuMs;
    for (qint64 i = 0; i < opens; ++i) {
        PaintWatch watch;
        BenchUtil::Timer timer;
        auto* launcher = new Launcher(window.getSettings(), &window);
        launcher->setQueryTitle(QStringLiteral("Command:"));
        launcher->setOptions(options);
        launcher->installEventFilter(&watch);
        window.getPaneView()->setLauncher(launcher);
        while (!watch.painted && timer.seconds() < 5)
            QApplication::processEvents();
        openMs.push_back(timer.seconds() * 1e3);
        openCpuMs.push_back(timer.cpuSeconds() * 1e3);
        launcher->removeEventFilter(&watch);
        window.getPaneView()->closeLauncher();
        QApplication::processEvents();
    }
    // The same through the command itself, with the wired commands it lists today.
    std::vector<double> commandOpenMs;
    for (qint64 i = 0; i < opens; ++i) {
        BenchUtil::Timer timer;
        window.onCommandLauncher();
        Launcher* launcher = window.getLauncher();
        PaintWatch watch;
        launcher->installEventFilter(&watch);
        while (!watch.painted && timer.seconds() < 5)
            QApplication::processEvents();
        commandOpenMs.push_back(timer.seconds() * 1e3);
        launcher->removeEventFilter(&watch);
        window.getPaneView()->closeLauncher();
        QApplication::processEvents();
    }

    // Keystrokes: words typed letter by letter, then cleared, over the open list.
    auto* launcher = new Launcher(window.getSettings(), &window);
    launcher->setOptions(options);
    window.getPaneView()->setLauncher(launcher);
    QApplication::processEvents();
    const QStringList words = {QStringLiteral("insert rows"), QStringLiteral("sort col"),
                               QStringLiteral("go to cell"),  QStringLiteral("toggle"),
                               QStringLiteral("ssc"),         QStringLiteral("save as"),
                               QStringLiteral("filter sel")};
    std::vector<QString> queries;
    for (const QString& word : words) {
        for (qsizetype n = 1; n <= word.size(); ++n)
            queries.push_back(word.left(n));
        queries.push_back(QString());
    }
    std::vector<double> keyMs;
    std::vector<double> keyCpuMs;
    std::vector<double> scoreMs;
    std::vector<int> positions;
    for (int round = 0; round < 3; ++round) {
        for (const QString& query : queries) {
            BenchUtil::Timer timer;
            // Through the prompt, as a key would: the list, the launcher's height, the paint.
            launcher->getPromptEditor()->setText(query);
            QApplication::processEvents();
            keyMs.push_back(timer.seconds() * 1e3);
            keyCpuMs.push_back(timer.cpuSeconds() * 1e3);

            BenchUtil::Timer scoreTimer;
            int sum = 0;
            for (const OptionData& option : options) {
                int score = -1;
                Utilities::fuzzySearchScoreAndMatch(score, positions, query, option.option);
                sum += score;
            }
            scoreMs.push_back(scoreTimer.seconds() * 1e3);
            if (sum == 42) // keeps the loop from being dropped
                std::fprintf(stderr, " ");
        }
    }
    window.getPaneView()->closeLauncher();

    const double frameMs = 16.0;
    const double openMedian = median(openMs);
    const double keyMedian = median(keyMs);
    const double keyWorst = *std::max_element(keyMs.begin(), keyMs.end());
    std::vector<Figure> figures;
    figures.push_back({"launcher", "options", double(options.size()), "options", 0, ""});
    figures.push_back({"launcher", "open to first paint, all commands (median)", openMedian, "ms", frameMs,
                       "one 16 ms frame"});
    figures.push_back({"launcher", "open to first paint, all commands (worst)",
                       *std::max_element(openMs.begin(), openMs.end()), "ms", frameMs, "one 16 ms frame"});
    figures.push_back({"launcher", "open to first paint, CPU time of the GUI thread (median)",
                       median(openCpuMs), "ms", frameMs, "one 16 ms frame"});
    figures.push_back({"launcher", "open by the command, wired commands (median)", median(commandOpenMs),
                       "ms", frameMs, "one 16 ms frame"});
    figures.push_back({"launcher", "keystroke, updateOptionList + paint (median)", keyMedian, "ms",
                       frameMs / 4, "a quarter of a 16 ms frame"});
    figures.push_back({"launcher", "keystroke, updateOptionList + paint (worst)", keyWorst, "ms", frameMs / 4,
                       "a quarter of a 16 ms frame"});
    // The machine is shared: the GUI thread's own CPU time shows the cost without the waits.
    figures.push_back({"launcher", "keystroke, CPU time of the GUI thread (median)", median(keyCpuMs), "ms",
                       frameMs / 4, "a quarter of a 16 ms frame"});
    figures.push_back({"launcher", "keystroke, CPU time of the GUI thread (worst)",
                       *std::max_element(keyCpuMs.begin(), keyCpuMs.end()), "ms", frameMs / 4,
                       "a quarter of a 16 ms frame"});
    figures.push_back({"launcher", "keystroke, updateOptionList + paint (median)", keyMedian, "ms",
                       median(scoreMs), "fuzzy scoring of the same options alone"});
    BenchUtil::printFigures(figures);
    return openMedian <= frameMs && keyMedian <= frameMs / 4 ? 0 : 1;
}

} // namespace

BenchRegistration launcherRegistration("launcher",
                                       "launcher [--opens N]: command launcher with every command, open to "
                                       "first paint and time per keystroke",
                                       &runLauncher, true);
