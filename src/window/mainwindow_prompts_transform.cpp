// Prompts of the cell transformations: formats to convert between, widths, counts, separators,
// series, ranges of random values and the forms of UUIDs. Answers are read by pure functions
// in util/ and handed to one TableView operation.

#include "window/mainwindow.h"

#include "preferences/settingutilities.h"
#include "storage/fileparameters.h"
#include "table/celltransform.h"
#include "table/tablemodel.h"
#include "util/datetimeutilities.h"
#include "util/fileparameterutilities.h"
#include "util/numberutilities.h"
#include "util/promptutilities.h"
#include "util/stringutilities.h"
#include "view/tableview.h"
#include "window/launcher.h"
#include "window/optiondata.h"
#include "window/paneview.h"

#include <QClipboard>
#include <QGuiApplication>

namespace {

// More cells than anyone reshapes into one line.
constexpr int kMaxLineLength = 1000000;

std::vector<OptionData> dateTimeOptions() {
    std::vector<OptionData> options;
    for (int t = 0; t <= int(DateTimeFormatType::Custom); ++t)
        options.push_back(
            OptionData{Utilities::convertDateTimeFormatTypeToString(DateTimeFormatType(t)), {}, {}, {}, {}});
    return options;
}

const QString& customFormatHelp() {
    static const QString help = QStringLiteral(
        "Letters: <b>yyyy</b> <b>yy</b> year, <b>MM</b> <b>MMM</b> <b>MMMM</b> month, <b>dd</b> day, "
        "<b>ddd</b> weekday,<br><b>hh</b> <b>mm</b> <b>ss</b> <b>zzz</b> time, <b>AP</b> AM/PM. "
        "<b>\\</b> or <b>'...'</b> for literal text.<br>Example: <b>MM/dd/yyyy hh:mm AP</b>");
    return help;
}

// The cell a format of one's own is guessed from and tried on while it is typed: the main cell
// when it has the shape of a date or time, else the first selected cell that has one, as the
// main cell of a selected column is its header. Only the first cells are looked at, so that a
// column of empty cells costs nothing.
QString dateSampleCell(const TableModel& model) {
    const TableData& data = model.getTableData();
    const Range& main = model.getMainCell();
    const QString mainText = data.getValueModel(main.row, main.col).toString();
    if (!Utilities::dateTimeFormatDetect(mainText).isEmpty())
        return mainText;
    const CellTransform::CellWalk walk = CellTransform::selectionWalk(model);
    for (std::size_t i = 0; i < std::min<std::size_t>(walk.size(), 1000); ++i) {
        const auto [row, col] = walk.at(i);
        const QString text = data.getValueModel(row, col).toString();
        if (!Utilities::dateTimeFormatDetect(text).isEmpty())
            return text;
    }
    return mainText;
}

} // namespace

void MainWindow::raiseTransformPrompt(const QString& title, const QString& description,
                                      const std::vector<OptionData>& options, const QString& text,
                                      std::function<bool(const QString&)> take,
                                      std::function<QString(const QString&)> preview) {
    if (!activeTable)
        return;
    Launcher* launcher = makePromptLauncher(title, description);
    if (!options.empty())
        launcher->setOptions(options);
    if (!text.isEmpty())
        launcher->setEditorText(text);
    if (preview) {
        launcher->setupEntryFeedback();
        connect(launcher, &Launcher::promptEditedSignal, launcher, [launcher, preview](const QString& typed) {
            launcher->setEntryFeedbackText(preview(typed));
        });
        launcher->setEntryFeedbackText(preview(text));
    }
    connect(launcher, &Launcher::launcherResponseSignal, this,
            [this, title, description, options, take, preview](const QString& response) {
                paneView->clearPrevOptionList();
                if (activeModel)
                    activeModel->clearHighlightedRange();
                if (!activeTable || activeTable->isReadOnly() || take(response))
                    return;
                // An answer that doesn't read comes back in the prompt, to be put right.
                raiseTransformPrompt(title, description, options, response, take, preview);
            });
    if (options.empty())
        connect(launcher, &Launcher::launcherEscapedSignal, this, [this] {
            if (activeModel)
                activeModel->clearHighlightedRange();
        });
    paneView->setLauncher(launcher);
    launcher->adjustHeight(0);
}

// --- Format -------------------------------------------------------------------------------------

void MainWindow::onConvertDateTimeFormatPrompt() {
    raiseTransformPrompt(
        tr("Select Format to Convert From:"), QString(), dateTimeOptions(), QString(),
        [this](const QString& response) {
            DateTimeFormatType from;
            if (!Utilities::convertStringToDateTimeFormatType(response, from))
                return false;
            dateFromType = int(from);
            dateFromCustom.clear();
            auto askTarget = [this] {
                raiseTransformPrompt(
                    tr("Select Format to Convert To:"), QString(), dateTimeOptions(), QString(),
                    [this](const QString& answer) {
                        DateTimeFormatType to;
                        if (!Utilities::convertStringToDateTimeFormatType(answer, to))
                            return false;
                        dateToType = int(to);
                        if (to != DateTimeFormatType::Custom) {
                            activeTable->convertDateTimeFormat(DateTimeFormatType(dateFromType), to,
                                                               dateFromCustom, QString());
                            return true;
                        }
                        raiseTransformPrompt(tr("Type in Custom Format to Convert To:"), customFormatHelp(),
                                             {}, QString(), [this](const QString& format) {
                                                 if (format.trimmed().isEmpty())
                                                     return false;
                                                 activeTable->convertDateTimeFormat(
                                                     DateTimeFormatType(dateFromType),
                                                     DateTimeFormatType::Custom, dateFromCustom, format);
                                                 return true;
                                             });
                        return true;
                    });
            };
            if (from != DateTimeFormatType::Custom) {
                askTarget();
                return true;
            }
            // The shape of a selected cell, as a first guess at the format.
            const QString sample = dateSampleCell(*activeModel);
            const QString guess = Utilities::dateTimeFormatDetect(sample);
            raiseTransformPrompt(
                tr("Type in Custom Format to Convert From:"), customFormatHelp(), {}, guess,
                [this, askTarget](const QString& format) {
                    if (format.trimmed().isEmpty())
                        return false;
                    dateFromCustom = format;
                    askTarget();
                    return true;
                },
                [sample](const QString& format) {
                    const QDateTime dt = Utilities::convertCustomStringToDateTime(sample, format);
                    return dt.isValid() ? tr("\"%1\" reads as %2").arg(sample, dt.toString(Qt::ISODate))
                                        : tr("\"%1\" doesn't read with this format").arg(sample);
                });
            return true;
        });
}

void MainWindow::onConvertNumberFormatPrompt() {
    std::vector<OptionData> options;
    for (const NumberFormatType type : {NumberFormatType::DotDecimal, NumberFormatType::CommaDecimal})
        options.push_back(OptionData{Utilities::convertNumberFormatTypeToString(type),
                                     Utilities::numberFormatTypeExample(type),
                                     {},
                                     {},
                                     {}});
    raiseTransformPrompt(tr("Select Format to Convert To:"),
                         tr("(Assumes numbers are currently in the opposite format.)"), options, QString(),
                         [this](const QString& response) {
                             NumberFormatType to;
                             if (!Utilities::convertStringToNumberFormatType(response, to))
                                 return false;
                             const NumberFormatType from = to == NumberFormatType::DotDecimal
                                                               ? NumberFormatType::CommaDecimal
                                                               : NumberFormatType::DotDecimal;
                             activeTable->convertNumberFormat(from, to);
                             return true;
                         });
}

// --- Numbers ------------------------------------------------------------------------------------

void MainWindow::onZeroFillWholeNumbersPrompt() {
    raiseTransformPrompt(tr("Zero-Fill to How Many Digits?"),
                         tr("Whole numbers get zeros in front up to this width.<br>Example: <b>5</b>: "
                            "<b>42</b> -> <b>00042</b>"),
                         {}, QString(), [this](const QString& response) {
                             int width = 0;
                             if (!Utilities::parseCountString(width, response, 1, 1000))
                                 return false;
                             activeTable->zeroFillWholeNumbers(width);
                             return true;
                         });
}

void MainWindow::onRandomValuesPrompt(bool decimals) {
    QString guide = tr("Guide:");
    guide += decimals ? tr("<br>Press enter for 0.0 to 10.0.") : tr("<br>Press enter for 0 to 100.");
    guide += tr("<br>Type a single number for the range of 0 to that number.");
    guide += tr("<br>Range: Separate min and max with <b>-</b>. Example: <b>1-5</b>");
    guide +=
        tr("<br>Individual Values: Separate with a comma or space. Example: <b>1,3,5</b> or <b>1 3 5</b>");
    guide += tr("<br>You can mix ranges and individual values. Example: <b>1-5,7,9,11</b>");
    guide += tr("<br>You can also have multiple ranges. Example: <b>1-5, 15-20</b>");
    guide += tr("<br>The numbers are decided according to a uniform distribution.");
    raiseTransformPrompt(tr("Enter the range or values to select from:"), guide, {}, QString(),
                         [this, decimals](const QString& response) {
                             std::vector<std::pair<double, double>> ranges;
                             int places = 0;
                             if (!Utilities::parseRandomRanges(response, decimals, ranges, &places))
                                 return false;
                             if (decimals)
                                 activeTable->placeRandomValuesDouble(ranges, places);
                             else
                                 activeTable->placeRandomValuesInt(ranges);
                             return true;
                         });
}

void MainWindow::onSetNumberOfDecimalsPrompt() {
    raiseTransformPrompt(
        tr("Number of Decimals:"),
        tr("Numbers are rounded or padded with zeros.<br>Example: <b>2</b>: <b>3.14159</b> -> "
           "<b>3.14</b>, <b>7</b> -> <b>7.00</b>"),
        {}, QString(), [this](const QString& response) {
            int count = 0;
            if (!Utilities::parseCountString(count, response, 0, 100))
                return false;
            activeTable->setNumDecimals(count);
            return true;
        });
}

// --- Multi-cell ---------------------------------------------------------------------------------

void MainWindow::onFillSelectedCellsWithSeriesPrompt() {
    const QString help =
        tr("For text, separate with spaces.") +
        tr("<br>For text that includes spaces, enclose with double quotes.") +
        tr("<br>For text that includes double quotes, use \\ as an escape character (i.e. \\\")") +
        tr("<br>For numbers, the first number is the first value. The second number is the "
           "interval.");
    raiseTransformPrompt(
        tr("Fill Selected Cells With Series:"), help, {}, QString(),
        [this](const QString& response) {
            if (response.trimmed().isEmpty())
                return false;
            activeTable->fillSelectedCellsWithSeries(response, false, false);
            return true;
        },
        [this](const QString& typed) {
            if (typed.trimmed().isEmpty() || !activeModel)
                return QString();
            const QStringList items = Utilities::computeSeriesStrings(typed, 4);
            return tr("Series: %1")
                .arg(items.join(QStringLiteral(", ")) +
                     (items.size() == 4 ? QStringLiteral(", ...") : QString()));
        });
}

void MainWindow::onReshapeSelectedCellsPrompt(bool rowWise) {
    const QString title = rowWise ? tr("Number of Columns per Row:") : tr("Number of Rows per Column:");
    raiseTransformPrompt(
        title, tr("The selected cells are laid out again from the top left cell."), {}, QString(),
        [this, rowWise](const QString& response) {
            int length = 0;
            if (!Utilities::parseCountString(length, response, 1, kMaxLineLength))
                return false;
            if (rowWise)
                activeTable->reshapeSelectionRowWise(length);
            else
                activeTable->reshapeSelectionColWise(length);
            return true;
        },
        [this, rowWise](const QString& typed) {
            // The new shape as you type: its size below the prompt and its place in the table.
            int length = 0;
            if (!activeModel || !Utilities::parseCountString(length, typed, 1, kMaxLineLength)) {
                if (activeModel)
                    activeModel->clearHighlightedRange();
                return QString();
            }
            const auto cells = CellTransform::selectionIndexes(*activeModel);
            if (cells.empty())
                return QString();
            int top = cells.front().first, left = cells.front().second;
            for (const auto& [row, col] : cells) {
                top = std::min(top, row);
                left = std::min(left, col);
            }
            const qint64 count = qint64(cells.size());
            const qint64 lines = (count + length - 1) / length;
            const qint64 rows = rowWise ? lines : std::min<qint64>(length, count);
            const qint64 cols = rowWise ? std::min<qint64>(length, count) : lines;
            Range block(RangeType::Table, RangeIndexType::Raw);
            block.row = activeModel->getRawFromModelRow(top);
            block.col = activeModel->getRawFromModelCol(left);
            block.endRow = int(std::min<qint64>(block.row + rows - 1, INT_MAX - 1));
            block.endCol = int(std::min<qint64>(block.col + cols - 1, INT_MAX - 1));
            RangeVector highlight;
            highlight.push_back(block);
            activeModel->setHighlightedRange(highlight);
            return tr("%L1 rows x %L2 columns").arg(rows).arg(cols);
        });
}

// --- String manipulation ------------------------------------------------------------------------

void MainWindow::onJoinSelectedCellsPrompt(int kind) {
    const QString help = tr("For example, a comma or a space.") + tr("<br>For no separator, press enter.") +
                         tr("<br>For newline, type <b>\\n</b>.") + tr("<br>For tab, type <b>\\t</b>.");
    raiseTransformPrompt(tr("Type in a Separator:"), help, {}, QString(),
                         [this, kind](const QString& response) {
                             QString separator;
                             Utilities::evaluateAndConvertSeparatorString(response, separator);
                             if (kind == 1)
                                 activeTable->joinSelectedCellsVertically(separator);
                             else
                                 activeTable->joinSelectedCellsHorizontally(separator, kind == 2);
                             return true;
                         });
}

void MainWindow::onSplitSelectedCellsPrompt(int kind) {
    const Axis axis = kind == 1 ? Axis::Col : Axis::Row;
    const bool cellsOnly = kind == 2;
    std::vector<OptionData> options{OptionData{tr("Split by Delimiter"), {}, {}, {}, {}},
                                    OptionData{tr("Split by Index"), {}, {}, {}, {}}};
    raiseTransformPrompt(
        tr("Select a Split Option:"), QString(), options, QString(),
        [this, axis, cellsOnly](const QString& response) {
            if (response == tr("Split by Index")) {
                raiseTransformPrompt(
                    tr("Type in Index(es):"),
                    tr("Character positions to cut before, separated with spaces.<br>Example: "
                       "<b>4 7</b>: <b>20240115</b> -> <b>2024</b>, <b>011</b>, <b>5</b>"),
                    {}, QString(), [this, axis, cellsOnly](const QString& answer) {
                        std::vector<int> indexes;
                        if (!Utilities::evaluateAndConvertIndexString(answer, indexes))
                            return false;
                        activeTable->splitSelectedCells(axis, indexes, cellsOnly);
                        return true;
                    });
                return true;
            }
            if (response != tr("Split by Delimiter"))
                return false;
            raiseTransformPrompt(tr("Type in Delimiter:"),
                                 tr("For every character apart, press enter.") +
                                     tr("<br>For newline, type <b>\\n</b>.") +
                                     tr("<br>For tab, type <b>\\t</b>."),
                                 {}, QString(), [this, axis, cellsOnly](const QString& answer) {
                                     QString delimiter;
                                     Utilities::evaluateAndConvertSeparatorString(answer, delimiter);
                                     activeTable->splitSelectedCells(axis, delimiter, cellsOnly);
                                     return true;
                                 });
            return true;
        });
}

void MainWindow::onKeepPartOfCellsPrompt(int part) {
    if (part == 1) {
        raiseTransformPrompt(
            tr("Type in Index and Number of Characters:"),
            tr("Separate numbers with spaces.") + tr("<br>Index 0 is the first character, -1 the last.") +
                tr("<br>A negative number of characters keeps those left of the index.") +
                tr("<br>Examples on <b>Lorem Ipsum</b>: <b>2 5</b> -> <b>rem I</b>, <b>-5 3</b> -> "
                   "<b>Ips</b>, <b>7 -4</b> -> <b>em I</b>"),
            {}, QString(), [this](const QString& response) {
                int index = 0;
                int count = 0;
                if (!Utilities::parseIndexAndCount(response, index, count))
                    return false;
                activeTable->keepOnlyMiddlePartOfCells(index, count);
                return true;
            });
        return;
    }
    const bool left = part == 0;
    const QString help = left ? tr("<br>To keep the first 4 characters, type <b>4</b>.") +
                                    tr("<br>Example: <b>Lorem Ipsum</b> -> <b>Lore</b>") +
                                    tr("<br>To keep all but the last 4 characters, type <b>-4</b>.") +
                                    tr("<br>Example: <b>Lorem Ipsum</b> -> <b>Lorem I</b>")
                              : tr("<br>To keep the last 4 characters, type <b>4</b>.") +
                                    tr("<br>Example: <b>Lorem Ipsum</b> -> <b>psum</b>") +
                                    tr("<br>To keep all but the first 4 characters, type <b>-4</b>.") +
                                    tr("<br>Example: <b>Lorem Ipsum</b> -> <b>m Ipsum</b>");
    raiseTransformPrompt(tr("Type in Index:"), help.mid(4), {}, QString(),
                         [this, left](const QString& response) {
                             bool ok = false;
                             const int index = response.trimmed().toInt(&ok);
                             if (!ok)
                                 return false;
                             if (left)
                                 activeTable->keepOnlyLeftPartOfCells(index);
                             else
                                 activeTable->keepOnlyRightPartOfCells(index);
                             return true;
                         });
}

// --- Data ---------------------------------------------------------------------------------------

void MainWindow::onPrependOrAppendPrompt(bool append) {
    raiseTransformPrompt(append ? tr("Type in Text to Append:") : tr("Type in Text to Prepend:"),
                         tr("Empty cells stay empty."), {}, QString(),
                         [this, append](const QString& response) {
                             if (response.isEmpty())
                                 return true;
                             if (append)
                                 activeTable->appendSingleValueToSelectedCells(response);
                             else
                                 activeTable->prependSingleValueToSelectedCells(response);
                             return true;
                         });
}

void MainWindow::onFillSelectedCellsWithUuidGuidPrompt() {
    const UuidType type = settings.getUuidType();
    const QString kind = Utilities::convertUuidTypeToString(type);
    std::vector<OptionData> options{
        OptionData{tr("Lower Case"), tr("%1, e.g. 0191b6a2-...").arg(kind), {}, {}, QStringLiteral("lower")},
        OptionData{tr("Upper Case"), tr("%1, e.g. 0191B6A2-...").arg(kind), {}, {}, QStringLiteral("upper")},
        OptionData{tr("Lower Case With Braces"),
                   tr("%1, e.g. {0191b6a2-...}").arg(kind),
                   {},
                   {},
                   QStringLiteral("lower braces")},
        OptionData{tr("Upper Case With Braces"),
                   tr("%1, e.g. {0191B6A2-...}").arg(kind),
                   {},
                   {},
                   QStringLiteral("upper braces")}};
    raiseTransformPrompt(tr("Select UUID/GUID Form:"), QString(), options, QString(),
                         [this, type](const QString& response) {
                             const QString r = response.toLower();
                             if (!r.contains(QLatin1String("lower")) && !r.contains(QLatin1String("upper")))
                                 return false;
                             activeTable->fillCellsWithUuids(r.contains(QLatin1String("brace")),
                                                             r.contains(QLatin1String("upper")), type);
                             return true;
                         });
}

void MainWindow::onListCharacterEncodingsPrompt() {
    std::vector<OptionData> options;
    for (int e = 0; e < kNumEncodingTypes; ++e)
        options.push_back(
            OptionData{Utilities::convertEncodingTypeToString(EncodingType(e)), {}, {}, {}, {}});
    Launcher* launcher =
        makePromptLauncher(tr("Character Encodings:"), tr("Select one to copy its name to the clipboard."));
    launcher->setOptions(options);
    connect(launcher, &Launcher::launcherResponseSignal, this, [this](const QString& response) {
        paneView->clearPrevOptionList();
        if (!response.isEmpty())
            QGuiApplication::clipboard()->setText(response);
    });
    paneView->setLauncher(launcher);
}

void MainWindow::onFirstIdValuePrompt() {
    raiseTransformPrompt(tr("First ID Value:"),
                         tr("A whole number; the rows below the header count up from it."), {},
                         QStringLiteral("1"), [this](const QString& response) {
                             bool ok = false;
                             const int first = response.trimmed().toInt(&ok);
                             if (!ok)
                                 return false;
                             activeTable->addIdColumn(first);
                             return true;
                         });
}

void MainWindow::onSetUuidTypePrompt() {
    std::vector<OptionData> options{
        OptionData{QStringLiteral("v4"), tr("Random"), {}, {}, {}},
        OptionData{QStringLiteral("v7"), tr("Time-ordered: sorts by the time it was made"), {}, {}, {}}};
    Launcher* launcher = makePromptLauncher(tr("Set UUID Type:"), QString());
    launcher->setOptions(options);
    connect(launcher, &Launcher::launcherResponseSignal, this, [this](const QString& response) {
        paneView->clearPrevOptionList();
        const UuidType type = Utilities::convertUuidStringToType(response, settings.getUuidType());
        settings.setValue(UuidTypeOption, int(type));
    });
    paneView->setLauncher(launcher);
}
